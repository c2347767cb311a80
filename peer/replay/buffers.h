// Buffer objects of the guest: names, bindings and sizes, for whoever replays commands that use them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "peer/replay/host_buffer.h"

namespace qv::peer {

class Replayer;

// An indexed binding of a context.
struct IndexedBuffer {
  GLenum target;
  GLuint index;
  std::shared_ptr<HostBuffer> buffer;
  bool range;  // a part of the buffer, `bytes` from `offset` on as far as the buffer has them
  uint32_t offset, bytes;
  MemoryShare share;  // in the store that GL has there
};

// What a context keeps of the buffers that it has bound.
struct BufferState {
  std::vector<IndexedBuffer> indexed;                        // transform feedback buffers: of the object that is bound
  std::map<GLenum, MemoryShare> bound;                       // by target; arrays and elements are ArrayState's
  std::map<GLuint, std::vector<IndexedBuffer>> ofFeedbacks;  // of the other transform feedback objects, by the guest's names
  GLuint feedback = 0;                                       // the one that is bound

  // Notes that this transform feedback object is bound now.
  void feedbackBound(GLuint name);
};

// The buffer of a guest's name; null for 0 and for a name that was never bound.
std::shared_ptr<HostBuffer> findBuffer(Replayer& replayer, GLuint name);
// The same, made when it is not there. Null for 0, and when the guest has too many names.
std::shared_ptr<HostBuffer> findOrMakeBuffer(Replayer& replayer, GLuint name);
// GL's name; 0 for null and for a buffer that has been deleted.
inline GLuint realName(const std::shared_ptr<HostBuffer>& buffer) {
  return buffer == nullptr || buffer->deleted ? 0 : buffer->real.load();
}

}  // namespace qv::peer
