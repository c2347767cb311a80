// Numbers that the peer keeps: what one guest has sent, and what the peer holds now.
#pragma once

#include <cstdint>

namespace qv::peer {

// Totals of one guest since it attached.
struct GuestStatistics {
  uint64_t packets = 0;      // Escape packets of every kind
  uint64_t flushes = 0;      // of the packets, flushes
  uint64_t frames = 0;       // of the flushes, those with a present mode
  uint64_t roundTrips = 0;   // of the flushes, those that asked for a reply
  uint64_t commands = 0;     // commands replayed, a vertex run counting as one
  uint64_t streamBytes = 0;  // stream bytes received
};

// What is alive in a peer now. All but `logLines` return to their first values when the guests are gone.
struct PeerCounters {
  uint32_t guests = 0;
  uint32_t contexts = 0;    // host contexts, made or still to be made
  uint32_t glContexts = 0;  // of these, the ones with a real OpenGL context
  uint32_t windows = 0;
  uint32_t surfaces = 0;  // drawables behind the windows
  uint32_t channels = 0;  // shared-memory channels, and so replaying threads
  uint32_t allocations = 0;
  uint32_t unused = 0;
  uint64_t mappedBytes = 0;  // guest and channel memory mapped by the peer
  uint64_t logLines = 0;
};

}  // namespace qv::peer
