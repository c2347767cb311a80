// SharedObjects: what the host keeps for the contexts of one share set besides GL's own objects.
#pragma once

#include <atomic>
#include <mutex>

#include "peer/replay/name_map.h"

namespace qv::peer {

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
  };
  // `use(names)` under the lock; it may call GL.
  template <typename Use>
  auto withNames(Use&& use) {
    const std::lock_guard lock(mutex_);
    return use(names_);
  }

 private:
  std::atomic<bool> unbalancedLists_{false};
  std::mutex mutex_;
  Names names_;
};

}  // namespace qv::peer
