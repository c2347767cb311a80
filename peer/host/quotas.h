// What one guest may hold at most.
#pragma once

#include <cstdint>

#include "peer/replay/budget.h"

namespace qv::peer {

// Far above what a program needs that draws; a guest that asks for more is refused, with a line in the log.
struct Quotas {
  uint64_t contexts = 256;
  uint64_t windows = 1024;
  uint64_t allocations = 1024;
  uint64_t allocationBytes = uint64_t{2} << 30;
  uint64_t drawableBytes = uint64_t{2} << 30;  // colours, depths and stencil values of all samples, and accumulation buffers
  uint64_t channelBytes = uint64_t{256} << 20;
  uint64_t bufferBytes = uint64_t{2} << 30;        // contents of buffer objects
  uint64_t textureBytes = uint64_t{4} << 30;       // images of textures, by an estimate
  uint64_t renderbufferBytes = uint64_t{2} << 30;  // by an estimate
  uint64_t listBytes = uint64_t{1} << 30;          // commands that display lists have recorded
};

}  // namespace qv::peer
