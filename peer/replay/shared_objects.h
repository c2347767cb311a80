// SharedObjects: what the host keeps for the contexts of one share set besides GL's own objects.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "peer/replay/host_buffer.h"
#include "peer/replay/name_map.h"
#include "peer/replay/sync_names.h"
#include "peer/replay/uniform_orders.h"

namespace qv::peer {

// The display lists that there are, as far as they have been compiled by the contexts that know this object.
class KnownLists {
 public:
  // Notes that a list has been compiled, and whether it calls others.
  void compiled(uint32_t list, bool callsOthers) {
    const std::lock_guard lock(mutex_);
    callsOthers_[list] = callsOthers;
  }
  void deleted(uint32_t first, uint32_t count) {
    const std::lock_guard lock(mutex_);
    const uint64_t end = uint64_t{first} + count;
    callsOthers_.erase(callsOthers_.lower_bound(first),
                       end > UINT32_MAX ? callsOthers_.end() : callsOthers_.lower_bound(static_cast<uint32_t>(end)));
  }
  // Whether the list is known to be there and to call no other.
  bool isLeaf(uint32_t list) const {
    const std::lock_guard lock(mutex_);
    const auto at = callsOthers_.find(list);
    return at != callsOthers_.end() && !at->second;
  }

 private:
  mutable std::mutex mutex_;
  std::map<uint32_t, bool> callsOthers_;
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
  };
  // `use(names)` under the lock; it may call GL.
  template <typename Use>
  auto withNames(Use&& use) {
    const std::lock_guard lock(mutex_);
    return use(names_);
  }

  KnownLists lists;
  SyncNames syncs;
  UniformOrders uniformOrders;
  std::shared_ptr<Budget> bufferBytes;  // null: unlimited

 private:
  std::atomic<bool> unbalancedLists_{false};
  std::mutex mutex_;
  Names names_;
};

}  // namespace qv::peer
