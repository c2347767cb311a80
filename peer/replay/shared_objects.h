// SharedObjects: what the host keeps, besides GL's own objects, for the contexts that share objects.
#pragma once

#include <atomic>

namespace qv::peer {

// Of one share set; its contexts have a thread each.
class SharedObjects {
 public:
  // A list has been compiled that may leave a primitive open, or close one.
  void noteUnbalancedList() { unbalancedLists_.store(true, std::memory_order_relaxed); }
  // Whether calling a list may change the answer to whether a primitive is open.
  bool hasUnbalancedLists() const { return unbalancedLists_.load(std::memory_order_relaxed); }

 private:
  std::atomic<bool> unbalancedLists_{false};
};

}  // namespace qv::peer
