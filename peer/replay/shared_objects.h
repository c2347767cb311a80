// SharedObjects: what the host keeps for the contexts of one share set besides GL's own objects.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "peer/replay/host_buffer.h"
#include "peer/replay/name_map.h"
#include "peer/replay/sync_names.h"
#include "peer/replay/texture_memory.h"
#include "peer/replay/uniform_orders.h"

namespace qv::peer {

// The lists that a list calls, as far as its commands name them.
struct ListCalls {
  std::vector<uint32_t> names;
  bool others = false;  // lists that only the call itself tells
  bool any() const { return others || !names.empty(); }
};

// The display lists that there are, as far as they have been compiled by the contexts that know this object.
class KnownLists {
 public:
  // Notes that a list has been compiled, and which others it calls.
  void compiled(uint32_t list, ListCalls calls) {
    const std::lock_guard lock(mutex_);
    calls_[list] = std::move(calls);
  }
  // Notes that the lists of a range are gone, whose names wrap around. Returns those that were known to be there.
  std::vector<uint32_t> deleted(uint32_t first, uint32_t count);
  // Whether the list is known to be there and to call no other.
  bool isLeaf(uint32_t list) const {
    const std::lock_guard lock(mutex_);
    const auto at = calls_.find(list);
    return at != calls_.end() && !at->second.any();
  }
  // Whether the list and all that it calls, and they in turn, are known to be there, without a circle, and `open`, which is being
  // compiled, is none of them.
  bool isWhole(uint32_t list, uint32_t open) const;

 private:
  mutable std::mutex mutex_;
  std::map<uint32_t, ListCalls> calls_;
};

// Every context of the share set has a thread of its own.
class SharedObjects {
 public:
  // Notes that a compiled list may leave a primitive open or close an open one.
  void noteUnbalancedList() { unbalancedLists_.store(true, std::memory_order_relaxed); }
  // Whether calling a list may open or close a primitive.
  bool hasUnbalancedLists() const { return unbalancedLists_.load(std::memory_order_relaxed); }

  // Names that the contexts of the set have in common.
  struct Names {
    NameMap textures, buffers;
    std::unordered_map<GLuint, std::shared_ptr<HostBuffer>> bufferObjects;  // by GL's name
    std::unordered_map<uint64_t, TextureMemory> textureMemory;                // by GL's name, or the target of a name 0
  };
  // `use(names)` under the lock; it may call GL.
  template <typename Use>
  auto withNames(Use&& use) {
    const std::lock_guard lock(mutex_);
    return use(names_);
  }

  // Held while a program is linked or its text replaced, and from a question for a length to the question whose answer has it and
  // that OpenGL would write whole: no other context may make it longer meanwhile.
  std::mutex programChanges;

  KnownLists lists;
  SyncNames syncs;
  UniformOrders uniformOrders;
  std::shared_ptr<Budget> bufferBytes, textureBytes;  // null: unlimited

 private:
  std::atomic<bool> unbalancedLists_{false};
  std::mutex mutex_;
  Names names_;
};

}  // namespace qv::peer
