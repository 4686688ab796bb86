#include "platform/simulated/simulated.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ios>
#include <system_error>
#include <utility>

namespace platform
{

namespace
{

/// Stores only pages that contain more than zeros.
class MemoryStore : public SectorStore
{
public:
    bool load(std::uint64_t offset, void *buffer, std::size_t bytes) override
    {
        char *target = static_cast<char *>(buffer);
        while (bytes > 0) {
            const auto [start, length] = inpage(offset, bytes);
            const auto page = pages.find(offset / pagesize);
            if (page == pages.end())
                std::memset(target, 0, length);
            else
                std::memcpy(target, page->second->data() + start, length);
            offset += length;
            target += length;
            bytes -= length;
        }
        return true;
    }

    bool save(std::uint64_t offset, const void *buffer, std::size_t bytes) override
    {
        const char *source = static_cast<const char *>(buffer);
        while (bytes > 0) {
            const auto [start, length] = inpage(offset, bytes);
            auto page = pages.find(offset / pagesize);
            if (page == pages.end() &&
                std::any_of(source, source + length, [](char c) { return c != 0; }))
                page = pages.emplace(offset / pagesize, std::make_unique<Page>()).first;
            if (page != pages.end())
                std::memcpy(page->second->data() + start, source, length);
            offset += length;
            source += length;
            bytes -= length;
        }
        return true;
    }

private:
    static constexpr std::size_t pagesize = 4096;
    using Page = std::array<char, pagesize>;

    /// The offset within its page, and how many of `bytes` bytes are in that page.
    static std::pair<std::size_t, std::size_t> inpage(std::uint64_t offset, std::size_t bytes)
    {
        const std::size_t start = static_cast<std::size_t>(offset % pagesize);
        return {start, std::min(bytes, pagesize - start)};
    }

    std::unordered_map<std::uint64_t, std::unique_ptr<Page>> pages;
};

/// Stores each sector at its offset in a file, which other tools can read at any time.
class ImageStore : public SectorStore
{
public:
    explicit ImageStore(std::fstream opened) : file(std::move(opened)) {}

    bool load(std::uint64_t offset, void *buffer, std::size_t bytes) override
    {
        char *target = static_cast<char *>(buffer);
        file.clear();
        file.seekg(static_cast<std::streamoff>(offset));
        file.read(target, static_cast<std::streamsize>(bytes));
        if (file.bad() || (file.fail() && !file.eof()))
            return false;
        // The file may be shorter than the disk; the rest was never written.
        const std::size_t read = static_cast<std::size_t>(file.gcount());
        std::memset(target + read, 0, bytes - read);
        return true;
    }

    bool save(std::uint64_t offset, const void *buffer, std::size_t bytes) override
    {
        file.clear();
        file.seekp(static_cast<std::streamoff>(offset));
        file.write(static_cast<const char *>(buffer), static_cast<std::streamsize>(bytes));
        file.flush();
        return file.good();
    }

private:
    std::fstream file;
};

} // namespace

std::shared_ptr<SectorStore> memorystore()
{
    return std::make_shared<MemoryStore>();
}

std::shared_ptr<SectorStore> imagestore(const std::string &file, std::uint64_t bytes)
{
    std::error_code error;
    if (!std::filesystem::exists(file, error)) {
        std::ofstream(file, std::ios::binary).close();
        std::filesystem::resize_file(file, bytes, error);
        if (error)
            return nullptr;
    }
    std::fstream opened(file, std::ios::binary | std::ios::in | std::ios::out);
    if (!opened)
        return nullptr;
    return std::make_shared<ImageStore>(std::move(opened));
}

} // namespace platform
