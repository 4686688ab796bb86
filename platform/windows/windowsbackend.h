#pragma once

#include "platform/platform.h"

namespace platform
{

/// The disks of a Windows system.
class WindowsBackend : public Backend
{
public:
    /// The volume of the system directory, by its letter; such a path has no parts.
    Status systemvolumes(std::vector<std::string> &paths) override;
    Status listdisks(std::vector<std::string> &paths) override;
    std::unique_ptr<Device> open(const std::string &path, Access access, Status &status) override;
};

} // namespace platform
