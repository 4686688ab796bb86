#pragma once

#include "platform/device.h"

namespace platform
{

/// Reads the identity of the ATA drive behind an open block device, words in wire order: by an ATA
/// pass-through command, else from the kernel's copy. Fails if the device is no ATA drive, or if a
/// bridge answers in its place.
Status ataidentity(int descriptor, const IdentifyCommand &command, IdentifyData &data);

/// Whether this is the identity of an ATA disk, not one invented by a bridge.
bool issoundidentity(const IdentifyData &data);
/// Restores the wire order of the kernel's copy, in which the bytes of the texts are swapped.
void towireorder(IdentifyData &data);

} // namespace platform
