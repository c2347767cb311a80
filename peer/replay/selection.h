// RenderBuffers: the memory that GL writes hit records and feedback values into.
#pragma once

#include <cstdint>
#include <memory>

#include "wire/gl_api.h"

namespace qv::peer {

// A buffer of the host's own in place of the program's.
struct RenderBuffer {
  static constexpr GLsizei kMostWords = 4 << 20;  // GL hears of no more, and tells of an overflow there

  std::unique_ptr<uint32_t[]> words;
  GLsizei size = 0;  // in words
};

// GL keeps the buffers' addresses as long as its context lives.
struct RenderBuffers {
  GLenum mode = GL_RENDER;
  RenderBuffer selection, feedback;
};

}  // namespace qv::peer
