// The generic stack that all attribute groups and matrices live on; the current state is always the top element.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <new>

#include "driver/stream/gl_api.h"

namespace qv {

// Asks the driver's own glGetIntegerv for `pname` on the current context and returns the first value, 0 if there is none.
int32_t queryStackLimit(GLenum pname);

// `T` is default-constructed to the group's defaults. Element 0 exists from construction; the first push asks for the host's
// limit and allocates limit + 1 elements.
template <typename T>
struct StateStack {
  explicit StateStack(GLenum limit) : limitPname(limit) { elements = allocate(1); }
  StateStack(const StateStack&) = delete;
  StateStack& operator=(const StateStack&) = delete;
  ~StateStack() { std::free(elements); }

  T& current() { return elements[top]; }
  const T& current() const { return elements[top]; }

  // Copies the top element above itself. False, and no change, at the limit.
  bool push() {
    if (capacity == 1) grow();
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
  static T* allocate(uint32_t n) {
    T* const fresh = static_cast<T*>(std::malloc(sizeof(T) * n));
    for (uint32_t i = 0; i < n; ++i) new (fresh + i) T;
    return fresh;
  }
  void grow() {
    const int32_t limit = queryStackLimit(limitPname);
    // A host that fails answers 0 and one that lies may answer anything: the stack then keeps its single element.
    if (limit < 1 || limit > 65536) return;
    const uint32_t wanted = static_cast<uint32_t>(limit) + 1;
    T* const fresh = allocate(wanted);
    fresh[0] = elements[0];
    std::free(elements);
    elements = fresh;
    capacity = wanted;
  }
};

}  // namespace qv
