#pragma once

#include "platform/device.h"

#include <string>

namespace platform
{

/// A text without blanks, control characters and NULs at its ends.
std::string trimmed(const std::string &text);
/// Replaces serial number, world wide name and model by those of an ATA identity, where it has
/// them (ATA8-ACS, IDENTIFY DEVICE: words 10 to 19, 27 to 46, 87 and 108 to 111).
void describeata(const IdentifyData &identity, DiskDescription &description);

} // namespace platform
