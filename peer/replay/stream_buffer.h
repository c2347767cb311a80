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
  // Notes a draw that needs `bytes`, at most kMost. Gives up a large buffer that draws no longer need; what it held has no place
  // then.
  void use(uint64_t bytes);
  // Makes the buffer at least `bytes` long. Its contents are lost when it was shorter. It must be bound to GL_ARRAY_BUFFER.
  void grow(uint64_t bytes);
  // Another number whenever places in the buffer have ceased to be.
  uint32_t generation() const { return generation_; }

 private:
  static constexpr uint32_t kPatience = 256;  // usual draws before a large buffer is given up

  GLuint name_ = 0;
  uint64_t bytes_ = 0;
  uint32_t generation_ = 0;
  uint32_t usualDraws_ = 0;  // since the last large one
};

}  // namespace qv::peer
