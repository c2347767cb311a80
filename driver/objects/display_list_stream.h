// DisplayListStream: the guest's shadow recording of a display list; its bytes stay in the guest.
#pragma once

#include <cstdint>

#include "driver/base/command_stream.h"

namespace qv {

struct DisplayListStream final : CommandStream {
  explicit DisplayListStream(uint32_t name) : listId(name) {}
  // Grows in steps of 512 bytes, never flushes and has no upper limit.
  void reserve(uint64_t n) override;

  uint32_t listId;
};

}  // namespace qv
