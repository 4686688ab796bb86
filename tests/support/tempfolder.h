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
        const std::filesystem::path base = std::filesystem::temp_directory_path();
        std::random_device random;
        do // use it only if this call created it
            path = (base / ("quarn-" + std::to_string(random()))).string();
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
