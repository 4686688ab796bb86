#pragma once

#include <filesystem>
#include <random>
#include <string>
#include <system_error>

/// A temporary folder, deleted with its contents by the destructor.
class TempFolder
{
public:
    TempFolder()
    {
        const std::string base = (std::filesystem::temp_directory_path() / "quarn-").string();
        do // use it only if this call created it
            path = base + std::to_string(std::random_device()());
        while (!std::filesystem::create_directory(path));
    }
    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;
    ~TempFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(path, error);
    }

    [[nodiscard]] std::string operator/(const std::string &name) const { return path + "/" + name; }

    std::string path;
};
