#pragma once

#include "platform/description.h"
#include "platform/status.h"

#include <string>

namespace platform
{

/// Reads what the disk of this node holds: its table, and the file system in each partition.
/// Unsupported without libblkid.
Status readcontents(const std::string &node, DiskContents &contents);

} // namespace platform
