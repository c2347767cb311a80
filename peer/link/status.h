// The status of a packet that failed.
#pragma once

#include <cstdint>

namespace qv::peer {

inline constexpr int32_t kStatusMalformed = static_cast<int32_t>(0xC000000D);    // STATUS_INVALID_PARAMETER
inline constexpr int32_t kStatusUnavailable = static_cast<int32_t>(0xC0000001);  // STATUS_UNSUCCESSFUL

}  // namespace qv::peer
