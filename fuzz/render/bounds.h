// Bounds of the render target: numbers that only make an OpenGL slow or large are cut, because neither is a finding.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "fuzz/render/known_faults.h"

namespace qv::fuzz {

// One object for each context, whose flushes it sees in their order.
class StreamBounds {
 public:
  // The stream with its numbers cut. Commands that would call lists without end, and those of known faults, are left out;
  // malformed ones, too, unless they may stay.
  std::vector<uint8_t> bound(std::span<const uint8_t> stream, bool mayBeMalformed);

 private:
  bool allowsCall(uint32_t opcode, const uint8_t* fixed, uint64_t bytes);

  uint32_t openList_ = 0, listCalls_ = 0;
  KnownFaults faults_;
};

}  // namespace qv::fuzz
