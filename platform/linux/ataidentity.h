#pragma once

#include "platform/device.h"

namespace platform
{

/// Fetches the identity of the ATA drive behind an open block device, as its words are on the wire:
/// by a command passed through to the drive, else from the system's own copy. Fails where there is
/// no such drive, or something in between that answers for it.
Status ataidentity(int descriptor, const IdentifyCommand &command, IdentifyData &data);

/// Whether this can be the identity of an ATA disk, and not what a bridge made up.
bool issoundidentity(const IdentifyData &data);
/// Turns the system's copy, in which the texts stand in the order of reading, back into words.
void towireorder(IdentifyData &data);

} // namespace platform
