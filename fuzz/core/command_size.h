// Whether the bytes of a command are as many as its row tells.
#pragma once

#include <cstdint>
#include <span>

namespace qv::fuzz {

// `command` begins with its header. Of a run the stride and the length count, of a family everything fits.
bool hasItsSize(std::span<const uint8_t> command);

}  // namespace qv::fuzz
