// Stretch: the host's own copy of a piece of a stream, from which commands are read.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>

namespace qv::peer {

// The room is aligned to 8. It grows with the bytes that arrive and is kept from one flush to the next, because fresh pages cost
// more than the copying.
class Stretch {
 public:
  Stretch();

  uint8_t* memory() { return reinterpret_cast<uint8_t*>(units_.get()); }
  uint64_t capacity() const { return capacity_; }
  // Notes that the stream has a command of so many bytes.
  void need(uint64_t bytes) { needed_ = std::max(needed_, bytes); }
  // Twice the room, or as much as `wanted` needs if that is less. The first `used` bytes stay. False when there is no memory.
  bool grow(uint64_t used, uint64_t wanted);
  // Notes the end of a flush. Gives back room that several flushes in a row did not need.
  void flushEnded();

 private:
  bool allocate(uint64_t used, uint64_t capacity);

  std::unique_ptr<uint64_t[]> units_;
  uint64_t capacity_ = 0;
  uint64_t needed_ = 0;   // by the flushes since the last look
  uint32_t flushes_ = 0;  // since the last look
};

}  // namespace qv::peer
