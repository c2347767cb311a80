// The table of context handles and the list of contexts, both guarded by DriverLock.
#include "driver/icd/context_registry.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "driver/base/driver_lock.h"
#include "driver/state/gl_context.h"

namespace qv {

namespace {

// Slot 0 is never used, so that handle 0 can mean that there is no context. Only grows.
class HandleTable {
 public:
  HandleTable() : slots_(static_cast<GlContext**>(std::calloc(kFirstCapacity, sizeof(GlContext*)))) {}
  ~HandleTable() { std::free(slots_); }
  HandleTable(const HandleTable&) = delete;
  HandleTable& operator=(const HandleTable&) = delete;

  uint32_t capacity() const { return capacity_; }
  GlContext*& operator[](uint32_t index) { return slots_[index]; }

  uint32_t takeFreeIndex() {
    for (uint32_t index = 1; index < capacity_; ++index) {
      if (slots_[index] == nullptr) return index;
    }
    const uint32_t index = capacity_;
    slots_ = static_cast<GlContext**>(std::realloc(slots_, 2 * size_t{capacity_} * sizeof(GlContext*)));
    std::memset(slots_ + capacity_, 0, capacity_ * sizeof(GlContext*));
    capacity_ *= 2;
    return index;
  }

 private:
  static constexpr uint32_t kFirstCapacity = 32;
  GlContext** slots_;
  uint32_t capacity_ = kFirstCapacity;
};

HandleTable ContextHandleTable;
GlContext* ContextList = nullptr;

void leaveShareRing(GlContext* context) {
  GlContext* entry = context->nextSharer;
  while (entry != nullptr && entry->nextSharer != context) entry = entry->nextSharer;
  if (entry != nullptr) entry->nextSharer = context->nextSharer.load();
}

}  // namespace

uint32_t registerContext(GlContext* context) {
  DriverLockHold hold;
  const uint32_t handle = ContextHandleTable.takeFreeIndex();
  ContextHandleTable[handle] = context;
  context->handle = handle;
  context->registryNext = ContextList;
  ContextList = context;
  return handle;
}

GlContext* unregisterContext(uint32_t handle) {
  DriverLockHold hold;
  for (GlContext** link = &ContextList; *link != nullptr; link = &(*link)->registryNext) {
    GlContext* const context = *link;
    if (context->handle != handle) continue;
    ContextHandleTable[handle] = nullptr;
    *link = context->registryNext;
    leaveShareRing(context);
    return context;
  }
  return nullptr;
}

GlContext* lookUpContext(uintptr_t handle) {
  const uint32_t index = static_cast<uint32_t>(handle);
  DriverLockHold hold;
  if (index >= ContextHandleTable.capacity()) return nullptr;
  GlContext* const context = ContextHandleTable[index];
  return context != nullptr && context->handle == index ? context : nullptr;
}

GlContext* findContextOfWindow(HWND window) {
  DriverLockHold hold;
  GlContext* context = ContextList;
  while (context != nullptr && context->window != window) context = context->registryNext;
  return context;
}

void spliceShareRings(GlContext* first, GlContext* second) {
  DriverLockHold hold;
  first->nextSharer = second->nextSharer.exchange(first->nextSharer);
}

}  // namespace qv
