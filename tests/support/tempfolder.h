#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

/// A folder of a test's own, gone with everything in it at the end.
class TempFolder
{
public:
    TempFolder()
    {
        std::error_code error;
        std::string name = (std::filesystem::temp_directory_path(error) / "quarn-XXXXXX").string();
        if (mkdtemp(name.data()) != nullptr)
            path = name;
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

    std::string path; ///< empty if it could not be made
};
