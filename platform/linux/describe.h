#pragma once

#include "platform/atadescription.h"

#include <filesystem>
#include <initializer_list>
#include <string>

namespace platform
{

/// The first text that is not blank; empty if all are.
std::string firsttext(std::initializer_list<std::string> texts);

/// The serial number of the disk with this folder in sysfs, untrimmed; empty if there is none.
std::string sysfsserial(const std::filesystem::path &block);
/// What sysfs says of the disk with this folder; all but the instance.
DiskDescription sysfsdescription(const std::filesystem::path &block);
} // namespace platform
