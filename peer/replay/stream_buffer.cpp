// The size of the stream buffer.
#include "peer/replay/stream_buffer.h"

#include <algorithm>

#include "peer/replay/gl_functions.h"

namespace qv::peer {

GLuint StreamBuffer::name() {
  if (name_ == 0) gl.glGenBuffers(1, &name_);
  return name_;
}

void StreamBuffer::use(uint64_t bytes) {
  usualDraws_ = bytes <= kUsual ? usualDraws_ + 1 : 0;
  if (bytes_ <= kUsual || usualDraws_ <= kPatience) return;
  bytes_ = 0;
  ++generation_;
}

void StreamBuffer::grow(uint64_t bytes) {
  if (bytes <= bytes_) return;
  // By half at least, so that draws that grow do not take a new store each time.
  bytes_ = std::max({kUsual, bytes, bytes_ + bytes_ / 2});
  usualDraws_ = 0;
  gl.glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(bytes_), nullptr, GL_STREAM_DRAW);
}

}  // namespace qv::peer
