// The generic stack that all attribute groups and matrices live on; the current state is always the top element.
#pragma once

#include <cstdint>
#include <new>

#include "wire/gl_api.h"

namespace qv {

// `T` is default-constructed to the group's defaults. Element 0 exists from construction. The first push asks for the limit and
// allocates limit + 1 elements, one more than the host has: required oddity 27.
template <typename T>
struct StateStack {
  explicit StateStack(GLenum limit) : limitPname(limit) { elements = allocate(1); }
  StateStack(const StateStack&) = delete;
  StateStack& operator=(const StateStack&) = delete;
  ~StateStack() { release(elements); }

  T& current() { return elements[top]; }
  const T& current() const { return elements[top]; }

  // Copies the top element above itself. False, and no change, at the limit. `askLimit(limitPname)` is the host's limit.
  template <typename AskLimit>
  bool push(AskLimit&& askLimit) {
    if (capacity == 1) grow(askLimit(limitPname));
    if (top + 1 >= capacity) return false;
    elements[top + 1] = elements[top];
    ++top;
    return true;
  }
  void pop() {
    if (top > 0) --top;
  }

  T* elements = nullptr;
  uint32_t top = 0;
  uint32_t capacity = 1;
  GLenum limitPname;

 private:
  // Stacks begin at a cache line: a store of several words that crosses a line cost glBlendFunc 7.7 instead of 2.1 ns.
  static constexpr std::align_val_t kLine{64};

  static void release(T* old) { ::operator delete(old, kLine); }
  static T* allocate(uint32_t n) {
    T* const fresh = static_cast<T*>(::operator new(sizeof(T) * n, kLine));
    for (uint32_t i = 0; i < n; ++i) new (fresh + i) T{};
    return fresh;
  }
  void grow(int32_t limit) {
    // A host that fails answers 0, and a host that lies may answer anything: the stack then keeps its one element.
    if (limit < 1 || limit > 65536) return;
    const uint32_t wanted = static_cast<uint32_t>(limit) + 1;
    T* const fresh = allocate(wanted);
    fresh[0] = elements[0];
    release(elements);
    elements = fresh;
    capacity = wanted;
  }
};

}  // namespace qv
