// Exclusive ownership of a video present source.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/win32.h"

namespace qv {

inline constexpr uint32_t kNoSource = 0xFFFFFFFF;

NTSTATUS TakeSourceOwner(uint32_t source);
NTSTATUS ReleaseSourceOwner(uint32_t source);

// Releases the source in `owned`, if there is one, and leaves kNoSource there. The word is exchanged first: of two threads only
// one releases the source, and a source that is taken meanwhile is not forgotten.
void giveUpSource(std::atomic<uint32_t>& owned);

}  // namespace qv
