// HostBuffer: what the host keeps of one buffer object.
#pragma once

#include <atomic>
#include <cstdint>

#include "peer/replay/budget.h"
#include "wire/gl_api.h"

namespace qv::peer {

// Shared by the contexts of a share set. Vertex arrays hold on to it, as GL's hold on to a deleted buffer.
struct HostBuffer {
  explicit HostBuffer(GLuint realName) : real(realName) {}

  std::atomic<GLuint> real;             // GL's name
  std::atomic<uint64_t> bytes{0};       // of its store
  std::atomic<bool> deleted{false};     // GL's name is gone, the store may live on
  std::atomic<bool> rangeBound{false};  // a part of it was bound once, by some context
  Held memory;                          // changed under the lock of the names
};

}  // namespace qv::peer
