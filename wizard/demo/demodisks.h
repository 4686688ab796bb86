#pragma once

#include "platform/simulated/simulated.h"

#include <memory>
#include <string>

/// Three disks to try the program on: the system's, a damaged one and a healthy one. Each keeps its
/// sectors in a sparse image in `folder`, which is made if it is not there.
/// Null, with the reason in `error`, if an image can't be made.
std::unique_ptr<platform::SimulatedBackend> demobackend(const std::string &folder,
                                                        std::string &error);

/// File name of the damaged disk's image, inside the folder.
extern const char *const damagedimage;
