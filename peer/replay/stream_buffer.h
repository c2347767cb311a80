// StreamBuffer: a buffer of the host's own through which the data of draws get to GL.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv::peer {

// One per context. GL carries out uploads and draws in their order, so the room of earlier draws is used again without waiting.
class StreamBuffer {
 public:
  static constexpr uint64_t kUsual = uint64_t{1} << 20, kMost = uint64_t{256} << 20;

  // GL's name. The object is made here if there is none.
  GLuint name();
  // Room for `bytes` at a multiple of 64, at `least` or behind it: its offset. The buffer must be bound to GL_ARRAY_BUFFER.
  // kNoRoom when there is no such room.
  uint64_t take(uint64_t bytes, uint64_t least);

 private:
  static constexpr uint32_t kPatience = 256;  // usual draws before a large buffer is given up

  void resize(uint64_t bytes);

  GLuint name_ = 0;
  uint64_t bytes_ = 0;
  uint64_t next_ = 0;
  uint32_t usualDraws_ = 0;  // since the last large one
};

inline constexpr uint64_t kNoRoom = ~uint64_t{0};

}  // namespace qv::peer
