// DisplayListStream: the guest's shadow recording of a display list; its bytes stay in the guest.
#pragma once

#include <atomic>
#include <cstdint>

#include "driver/base/command_stream.h"

namespace qv {

// Once it stands in the table of its share group nobody changes its bytes. Other contexts may delete or replace it there while it is
// being scanned, so that it lives until its last user has released it.
struct DisplayListStream final : CommandStream {
  // With room for `bytes` from the beginning.
  explicit DisplayListStream(uint32_t name, uint64_t bytes = 0);
  ~DisplayListStream() override;
  // Grows in steps of 512 bytes, never flushes and has no upper limit.
  void reserve(uint64_t n) override;

  // One more user; under the lock of the share group, so that there is one already.
  void keep() { users_.fetch_add(1, std::memory_order_relaxed); }
  // One user less; the last one destroys it.
  void release() {
    if (users_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

  uint32_t listId;
  char* label = nullptr;  // from malloc; null until one is set
  // A scan that began outside glBegin has changed nothing and found no error: nor will another one.
  std::atomic<bool> inert{false};

 private:
  std::atomic<int32_t> users_{1};
};

}  // namespace qv
