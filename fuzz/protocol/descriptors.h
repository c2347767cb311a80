// Descriptors of every sort that can come with a message.
#pragma once

#include <cstdint>
#include <string>

#include "fuzz/core/random.h"

namespace qv::fuzz {

// A memory file of so many bytes, sealed as the simulated kernel's is; -1 on failure.
int memoryFile(uint64_t bytes, int seals);
// Any descriptor: a memory file of about `bytes` bytes, sealed, half sealed or not at all, a pipe, a socket, a device; -1 for none.
int anyDescriptor(Random& random, uint64_t bytes);
// What this process has open, a line for each.
std::string openDescriptors();

}  // namespace qv::fuzz
