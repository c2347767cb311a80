// BufferObject: the guest's record of a buffer, and its copy of the contents once one is needed.
#pragma once

#include <cstdint>

#include "driver/objects/tracked_object.h"
#include "wire/gl_api.h"

namespace qv {

// A copy of a buffer's contents, aligned as the mappings of GL are. It grows with the buffer and never shrinks.
struct ShadowStore {
  static constexpr uint32_t kAlignment = 64;  // GL_MIN_MAP_BUFFER_ALIGNMENT

  ShadowStore() = default;
  ShadowStore(const ShadowStore&) = delete;
  ShadowStore& operator=(const ShadowStore&) = delete;
  ~ShadowStore();

  // Makes room for `size` bytes and keeps what is there; new bytes are as the allocator gives them. Without memory for them the
  // store stays as it is.
  void ensure(uint32_t size);
  // Null until the first ensure() of a size above 0.
  uint8_t* data() const { return base == nullptr ? nullptr : base + alignOffset; }

  uint8_t* base = nullptr;  // from malloc
  uint32_t capacity = 0;
  uintptr_t alignOffset = 0;  // from `base` to the first aligned byte
};

struct BufferObject final : TrackedObject {
  explicit BufferObject(uint32_t firstTarget) : target(firstTarget) {}
  ~BufferObject() override;

  // Whether the host may write the buffer behind the guest's back. Decided by the first target alone, whatever the buffer is
  // bound to later: required oddity 92.
  bool hostWritten() const {
    return target == GL_SHADER_STORAGE_BUFFER || target == GL_ATOMIC_COUNTER_BUFFER || target == GL_TRANSFORM_FEEDBACK_BUFFER ||
           target == GL_TEXTURE_BUFFER;
  }
  bool shadowIsStale() const { return hostContentsNewer != 0 || hostWritten(); }
  // The store as far as it stands for the buffer.
  uint32_t readableBytes() const {
    const auto bytes = static_cast<uint32_t>(size);
    return store.data() == nullptr ? 0 : bytes < store.capacity ? bytes : store.capacity;
  }
  // Maps the whole buffer: its copy's address, null when the copy is empty or cannot grow. False, and null, when it is mapped
  // already.
  bool mapWhole(GLenum newAccess, uint8_t*& pointer);
  bool mapRange(uint32_t accessBits, uint8_t*& pointer, int64_t offset, int64_t length);

  char* label = nullptr;  // from malloc; null until one is set
  uint32_t target;        // of the first bind
  int32_t size = 0;
  uint32_t usage = GL_STATIC_DRAW;
  uint32_t access = GL_READ_WRITE;
  uint32_t accessFlags = 0;  // GL_BUFFER_ACCESS_FLAGS
  uint8_t mapped = 0;        // by glMapBuffer
  uint8_t mappedRange = 0;   // by glMapBufferRange
  ShadowStore store;
  uint8_t hostContentsNewer = 0;
  int64_t mapOffset = 0, mapLength = 0;  // of a mapped range
};

}  // namespace qv
