#pragma once

#include <memory>

/// A buffer of `bytes` bytes, zeroed. A program without memory for a few sectors can't go on: then
/// `message` goes to the standard error stream and the program ends with status 1.
std::unique_ptr<char[]> sectorbuffer(std::size_t bytes, const char *message);
