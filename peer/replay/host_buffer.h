// HostBuffer: what the host keeps of one buffer object.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

#include "peer/replay/budget.h"
#include "wire/gl_api.h"

namespace qv::peer {

// A share in what an object of GL's takes of the guest's budgets. GL keeps an object beyond its deletion where it is bound or
// attached: whoever gives an object to GL keeps a share until GL has another one there.
using MemoryShare = std::shared_ptr<const void>;

// Shared by the contexts of a share set. Vertex arrays hold on to it, as GL's hold on to a deleted buffer.
class HostBuffer {
 public:
  explicit HostBuffer(GLuint realName) : real(realName) {}

  // What the present store takes of the budget. Amounts change under the lock of the names.
  std::shared_ptr<Held> memory() const {
    const std::lock_guard lock(mutex_);
    return memory_;
  }
  // Gives the buffer another store.
  void setMemory(std::shared_ptr<Held> memory) {
    const std::lock_guard lock(mutex_);
    memory_.swap(memory);
  }

  std::atomic<GLuint> real;             // GL's name
  std::atomic<uint64_t> bytes{0};       // of its store
  std::atomic<bool> deleted{false};     // GL's name is gone, the store may live on
  std::atomic<bool> rangeBound{false};  // a part of it was bound once, by some context

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<Held> memory_ = std::make_shared<Held>();
};

inline MemoryShare shareOf(const std::shared_ptr<HostBuffer>& buffer) {
  return buffer == nullptr ? nullptr : MemoryShare(buffer->memory());
}

}  // namespace qv::peer
