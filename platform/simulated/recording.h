#pragma once

#include "platform/decorator.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace platform
{

/// One operation as it was asked for and answered.
struct Operation {
    enum class Kind { open, close, seek, read, write, request };
    Kind kind = Kind::seek;
    std::uint64_t offset = 0; ///< bytes from the start of the disk
    std::uint64_t bytes = 0;  ///< asked for, of a transfer
    std::uint64_t moved = 0;  ///< that moved
    Status status;
    std::string what; ///< name of a request ("flush", "updateproperties", …)
};

/// What happened to one disk, over all its handles. An open that failed is not in it.
struct Recording {
    std::vector<Operation> operations;

    /// Sectors asked for by each read or write, in order: "20, 20, 5".
    [[nodiscard]] std::vector<std::uint64_t> transfers(Operation::Kind kind,
                                                       std::uint32_t bytespersector) const;
    [[nodiscard]] std::size_t count(Operation::Kind kind) const;
    void clear() { operations.clear(); }
};

/// Writes down every operation on any device.
class RecordingDevice : public Decorator
{
public:
    RecordingDevice(std::unique_ptr<Device> decorated, std::shared_ptr<Recording> target);
    ~RecordingDevice() override;

protected:
    Status doseek(std::uint64_t offset) override;
    Transfer doread(void *buffer, std::size_t bytes) override;
    Transfer dowrite(const void *buffer, std::size_t bytes) override;
    Status ask(const char *name, const std::function<Status()> &request) override;

private:
    std::shared_ptr<Recording> recording;
    std::uint64_t position = 0;
};

} // namespace platform
