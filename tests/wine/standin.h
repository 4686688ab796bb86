#pragma once

#include <string>

/// Stands in for the disks and volumes of a Windows system, of which Wine has none: replaces the
/// system calls that the program imports by answers as Microsoft documents them. A disk's sectors
/// are those of a file.
///
/// Each line of a description is a disk or a volume, in words `name=value` without blanks:
///   disk number=1 path=\\?\usbstor#disk&... file=C:\disk length=4294967296 [table=gpt|mbr|pool]
///   [nogeometry]
///        [identity=MODEL|short] [serial=TEXT] [vendor=TEXT] [product=TEXT] [bus=NUMBER]
///        [arrival=NUMBER]
///   volume name=\\?\Volume{1} disk=1 offset=1048576 length=1073741824 [mounts=D:\,C:\mnt\x\]
///        [device=\Device\HarddiskVolume2] [open] [system] [boot] [pagefile]
///        [filesystem=NAME] [label=TEXT]
/// `identity`: SMART answers with this model, or with short records; without it, SMART is refused.
/// `open`: another program has a file open. `system`, `boot`: Windows and its boot files are there.
namespace standin
{

/// Replaces the calls of this process's program.
void install();
/// Makes these disks and volumes the present ones; nothing may be open on the ones before.
void describe(const std::string &description);
/// What happened, one line for each: "lock D:\", "dismount D:\", "refused 2048 512" (a write, in
/// bytes), "closed 1: 33 reads, 67108864 bytes" (a disk's handle).
std::string events();

} // namespace standin
