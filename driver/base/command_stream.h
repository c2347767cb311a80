// CommandStream: the growing buffer that commands are written into, base of GlContext and DisplayListStream.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

class CommandStream {
 public:
  CommandStream() = default;
  CommandStream(const CommandStream&) = delete;
  CommandStream& operator=(const CommandStream&) = delete;
  // Frees `base`.
  virtual ~CommandStream();
  // Makes at least `n` bytes free behind `cursor`. Called only when `remaining` is below `n`; may move the buffer, so a
  // writer reads `cursor` and `remaining` again afterwards.
  virtual void reserve(uint64_t n) = 0;

  // Invariant: cursor - base + remaining == capacity.
  int32_t lastOpcode = -1;   // opcode of the command last written or refused
  uint8_t* base = nullptr;   // null until the first reserve
  uint8_t* cursor = nullptr; // next byte to write
  uint64_t remaining = 0;    // bytes free from cursor on
  uint64_t capacity = 0;     // bytes allocated

 protected:
  // Makes the buffer `capacity` bytes long. The written bytes are kept; their address may change.
  void reallocate();
};

}  // namespace qv
