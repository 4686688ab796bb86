#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform
{

/// How a disk describes itself, in the system's texts. An empty text is unknown.
struct DiskDescription {
    std::string serial;   ///< serial number, not normalised
    std::string wwn;      ///< world wide name, lower case with its kind in front: "naa.5000c5…"
    std::string bus;      ///< "SATA", "USB", "NVMe", …
    std::string vendor;   ///< may be the bus identifier "ATA"
    std::string model;    ///< without outer blanks
    std::string instance; ///< this stay of the disk in the system; another one after it was removed
};

/// What a disk holds.
struct DiskContents {
    /// A partition, or a file system on the whole disk.
    struct Volume {
        int number = 0;           ///< of the partition, from 1; 0: the whole disk
        std::uint64_t offset = 0; ///< first byte on the disk
        std::uint64_t bytes = 0;
        std::string filesystem; ///< "ext4", "ntfs", "swap", …; empty: none known
        std::string label;
        bool readable = true; ///< false: its content could not be read
    };
    std::string table; ///< "dos", "gpt", …; empty: none
    std::vector<Volume> volumes;
};

} // namespace platform
