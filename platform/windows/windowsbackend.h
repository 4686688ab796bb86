#pragma once

#include "platform/platform.h"

namespace platform
{

/// The disks of a Windows system.
class WindowsBackend : public Backend
{
public:
    /// The volume of the system directory, by its letter (such a path has no parts), and the disks
    /// that hold Windows, its boot files or a page file.
    Status systemvolumes(std::vector<std::string> &paths) override;
    Status listdisks(std::vector<std::string> &paths) override;
    std::unique_ptr<Device> open(const std::string &path, Access access, Status &status) override;
    /// Mounted volumes are claimable. A disk is refused if it holds a page file, belongs to a
    /// storage pool, or can't be told from the system's.
    Status inuse(const std::string &path, std::string &reason, bool &claimable) override;
    /// The table as the system knows it, and its volumes' file systems and labels.
    Status contents(const std::string &path, DiskContents &answer) override;
};

} // namespace platform
