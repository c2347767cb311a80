// The live numbers behind PeerCounters: one set per peer, changed by all its threads.
#pragma once

#include <atomic>
#include <cstdint>

#include "peer/link/statistics.h"

namespace qv::peer {

struct LiveCounters {
  std::atomic<uint32_t> guests{0}, contexts{0}, glContexts{0}, windows{0}, surfaces{0}, channels{0}, allocations{0};
  std::atomic<uint64_t> mappedBytes{0}, logLines{0};

  PeerCounters read() const;
};

// Holds one count for as long as it lives.
class CountHeld {
 public:
  explicit CountHeld(std::atomic<uint32_t>& counter) : counter_(counter) { counter_.fetch_add(1, std::memory_order_relaxed); }
  CountHeld(const CountHeld&) = delete;
  CountHeld& operator=(const CountHeld&) = delete;
  ~CountHeld() { counter_.fetch_sub(1, std::memory_order_relaxed); }

 private:
  std::atomic<uint32_t>& counter_;
};

}  // namespace qv::peer
