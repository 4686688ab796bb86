#pragma once

#include "platform/device.h"

#include <filesystem>
#include <initializer_list>
#include <string>

namespace platform
{

/// A text without blanks, control characters and NULs at its ends.
std::string trimmed(const std::string &text);
/// The first text that is not blank; empty if all are.
std::string firsttext(std::initializer_list<std::string> texts);

/// The serial number of the disk with this folder in sysfs, untrimmed; empty if there is none.
std::string sysfsserial(const std::filesystem::path &block);
/// What sysfs says of the disk with this folder; all but the instance.
DiskDescription sysfsdescription(const std::filesystem::path &block);
/// Replaces serial number, world wide name and model by those of an ATA identity, where it has
/// them (ATA8-ACS, IDENTIFY DEVICE: words 10 to 19, 27 to 46, 87 and 108 to 111).
void describeata(const IdentifyData &identity, DiskDescription &description);

} // namespace platform
