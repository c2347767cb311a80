// Counts the heap allocations of one thread, whoever makes them: operator new, malloc, a library inside.
#pragma once

#include <cstdint>

namespace qv::test {

// While one lives, allocations of its thread are counted.
class HeapCount {
 public:
  HeapCount();
  ~HeapCount();
  HeapCount(const HeapCount&) = delete;
  HeapCount& operator=(const HeapCount&) = delete;
  // Since the construction.
  uint64_t allocations() const;
};

}  // namespace qv::test
