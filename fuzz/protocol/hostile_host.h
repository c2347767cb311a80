// HostileHost: a host that answers a guest's messages and flushes with anything, against the guest's half of the peer.
#pragma once

#include <cstdint>

#include "fuzz/core/random.h"

namespace qv::fuzz {

// A guest of that host: so many packets, flushes and allocations.
void runGuestOfHostileHost(uint64_t seed, uint32_t actions);

}  // namespace qv::fuzz
