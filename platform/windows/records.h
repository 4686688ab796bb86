#pragma once

#include "platform/windows/windows.h"

#include <cstddef>

/// The records and codes of the disk requests. The system's headers define them; these assertions
/// fix the layout that this program relies on.
namespace platform::records
{

static_assert(IOCTL_DISK_GET_DRIVE_GEOMETRY == 0x70000);
static_assert(IOCTL_DISK_UPDATE_PROPERTIES == 0x70140);
static_assert(IOCTL_DISK_GET_PARTITION_INFO == 0x74004);
static_assert(IOCTL_DISK_GET_DRIVE_LAYOUT_EX == 0x70050);
static_assert(IOCTL_DISK_GET_LENGTH_INFO == 0x7405C);
static_assert(IOCTL_STORAGE_GET_DEVICE_NUMBER == 0x2D1080);
static_assert(IOCTL_STORAGE_QUERY_PROPERTY == 0x2D1400);
static_assert(IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS == 0x560000);
static_assert(FSCTL_LOCK_VOLUME == 0x90018);
static_assert(FSCTL_DISMOUNT_VOLUME == 0x90020);
static_assert(SMART_GET_VERSION == 0x74080);
static_assert(SMART_RCV_DRIVE_DATA == 0x7C088);

static_assert(sizeof(DISK_GEOMETRY) == 24);
static_assert(offsetof(DISK_GEOMETRY, Cylinders) == 0);
static_assert(offsetof(DISK_GEOMETRY, MediaType) == 8);
static_assert(offsetof(DISK_GEOMETRY, TracksPerCylinder) == 12);
static_assert(offsetof(DISK_GEOMETRY, SectorsPerTrack) == 16);
static_assert(offsetof(DISK_GEOMETRY, BytesPerSector) == 20);

static_assert(sizeof(PARTITION_INFORMATION) == 32);
static_assert(offsetof(PARTITION_INFORMATION, StartingOffset) == 0);
static_assert(offsetof(PARTITION_INFORMATION, PartitionLength) == 8);

static_assert(sizeof(GET_LENGTH_INFORMATION) == 8);
static_assert(sizeof(STORAGE_DEVICE_NUMBER) == 12);

static_assert(sizeof(DISK_EXTENT) == 24);
static_assert(offsetof(DISK_EXTENT, DiskNumber) == 0);
static_assert(offsetof(VOLUME_DISK_EXTENTS, NumberOfDiskExtents) == 0);
static_assert(offsetof(VOLUME_DISK_EXTENTS, Extents) == 8);

static_assert(sizeof(PARTITION_INFORMATION_EX) == 144);
static_assert(offsetof(PARTITION_INFORMATION_EX, PartitionStyle) == 0);
static_assert(offsetof(PARTITION_INFORMATION_EX, Gpt.PartitionType) == 32);
static_assert(offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry) == 48);

static_assert(sizeof(STORAGE_PROPERTY_QUERY) == 12);
static_assert(offsetof(STORAGE_PROPERTY_QUERY, PropertyId) == 0);
static_assert(offsetof(STORAGE_PROPERTY_QUERY, QueryType) == 4);
static_assert(StorageDeviceProperty == 0 && PropertyStandardQuery == 0);

/// Buffer size for a descriptor with all its texts.
inline constexpr std::size_t descriptorsize = 1064;
static_assert(sizeof(STORAGE_DEVICE_DESCRIPTOR) <= descriptorsize);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, Version) == 0);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, Size) == 4);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, DeviceType) == 8);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, RemovableMedia) == 10);

static_assert(sizeof(GETVERSIONINPARAMS) == 24);
static_assert(offsetof(GETVERSIONINPARAMS, bVersion) == 0);
static_assert(offsetof(GETVERSIONINPARAMS, bRevision) == 1);
static_assert(offsetof(GETVERSIONINPARAMS, bReserved) == 2);
static_assert(offsetof(GETVERSIONINPARAMS, bIDEDeviceMap) == 3);
static_assert(offsetof(GETVERSIONINPARAMS, fCapabilities) == 4);

static_assert(sizeof(IDEREGS) == 8);
static_assert(offsetof(IDEREGS, bFeaturesReg) == 0);
static_assert(offsetof(IDEREGS, bSectorCountReg) == 1);
static_assert(offsetof(IDEREGS, bSectorNumberReg) == 2);
static_assert(offsetof(IDEREGS, bCylLowReg) == 3);
static_assert(offsetof(IDEREGS, bCylHighReg) == 4);
static_assert(offsetof(IDEREGS, bDriveHeadReg) == 5);
static_assert(offsetof(IDEREGS, bCommandReg) == 6);

/// Both identify records end in a one-byte array for the data behind them: none in the request, the
/// identity in the answer.
inline constexpr std::size_t identifyrequestsize = 32;
inline constexpr std::size_t identityoffset = 16;
inline constexpr std::size_t identitysize = 512;
inline constexpr std::size_t identifyanswersize = identityoffset + identitysize;
static_assert(sizeof(SENDCMDINPARAMS) == identifyrequestsize + 1);
static_assert(offsetof(SENDCMDINPARAMS, cBufferSize) == 0);
static_assert(offsetof(SENDCMDINPARAMS, irDriveRegs) == 4);
static_assert(offsetof(SENDCMDINPARAMS, bDriveNumber) == 12);
static_assert(offsetof(SENDCMDINPARAMS, bBuffer) == identifyrequestsize);
static_assert(sizeof(SENDCMDOUTPARAMS) == identityoffset + 1);
static_assert(offsetof(SENDCMDOUTPARAMS, cBufferSize) == 0);
static_assert(offsetof(SENDCMDOUTPARAMS, DriverStatus) == 4);
static_assert(offsetof(SENDCMDOUTPARAMS, bBuffer) == identityoffset);
static_assert(identifyanswersize == 528);

static_assert(sizeof(LARGE_INTEGER) == 8 && sizeof(DWORD) == 4);

} // namespace platform::records
