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
        std::error_code error;
        const std::filesystem::path base = std::filesystem::temp_directory_path(error);
        std::random_device random;
        // use it only if this call created it
        for (int i = 0; path.empty() && i < 100; ++i) {
            const auto name = base / ("quarn-" + std::to_string(random()));
            if (std::filesystem::create_directory(name, error))
                path = name.string();
        }
    }
    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;
    ~TempFolder()
    {
        std::error_code error;
        if (!path.empty())
            std::filesystem::remove_all(path, error);
    }

    [[nodiscard]] std::string operator/(const std::string &name) const { return path + "/" + name; }

    std::string path; ///< empty if it could not be created
};
