// Placing of data in the stream buffer.
#include "peer/replay/stream_buffer.h"

#include <algorithm>

#include "peer/replay/gl_functions.h"

namespace qv::peer {

GLuint StreamBuffer::name() {
  if (name_ == 0) gl.glGenBuffers(1, &name_);
  return name_;
}

void StreamBuffer::resize(uint64_t bytes) {
  bytes_ = bytes;
  next_ = 0;
  usualDraws_ = 0;
  gl.glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(bytes), nullptr, GL_STREAM_DRAW);
}

uint64_t StreamBuffer::take(uint64_t bytes, uint64_t least) {
  constexpr uint64_t kAlignment = 64;
  const auto aligned = [](uint64_t at) { return (at + kAlignment - 1) & ~(kAlignment - 1); };
  if (bytes > kMost || least > kMost) return kNoRoom;
  const uint64_t wanted = aligned(least) + bytes;
  usualDraws_ = wanted <= kUsual ? usualDraws_ + 1 : 0;
  if (wanted > bytes_) {
    resize(std::max(kUsual, wanted));
  } else if (bytes_ > kUsual && usualDraws_ > kPatience) {
    resize(kUsual);
  }
  uint64_t at = aligned(std::max(next_, least));
  if (at + bytes > bytes_) at = aligned(least);
  next_ = at + bytes;
  return at;
}

}  // namespace qv::peer
