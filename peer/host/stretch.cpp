// The growing and shrinking of a stretch.
#include "peer/host/stretch.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace qv::peer {
namespace {

// Small enough that a stretch stays in the processor's cache from the copy to the replay.
constexpr uint64_t kFirst = 128 * 1024;
constexpr uint32_t kFlushesToALook = 64;

}  // namespace

Stretch::Stretch() { allocate(0, kFirst); }

bool Stretch::allocate(uint64_t used, uint64_t capacity) {
  // Not initialised: all of it is written before it is read.
  std::unique_ptr<uint64_t[]> fresh(new (std::nothrow) uint64_t[(capacity + 7) / 8]);
  if (fresh == nullptr) return false;
  if (used != 0) std::memcpy(fresh.get(), units_.get(), used);
  units_ = std::move(fresh);
  capacity_ = (capacity + 7) / 8 * 8;
  return true;
}

bool Stretch::grow(uint64_t used, uint64_t wanted) {
  return allocate(used, std::min(std::max(2 * capacity_, kFirst), std::max(wanted, kFirst)));
}

void Stretch::flushEnded() {
  if (capacity_ <= kFirst || ++flushes_ < kFlushesToALook) return;
  if (needed_ < capacity_) allocate(0, std::max(needed_, kFirst));
  needed_ = 0;
  flushes_ = 0;
}

}  // namespace qv::peer
