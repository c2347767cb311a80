// Stores and mappings of buffers.
#include "driver/objects/buffer_object.h"

#include <cstdlib>
#include <cstring>

namespace qv {

ShadowStore::~ShadowStore() { std::free(base); }

void ShadowStore::ensure(uint32_t size) {
  if (size <= capacity) return;
  uint8_t* const fresh = static_cast<uint8_t*>(std::malloc(size_t{size} + kAlignment - 1));
  if (fresh == nullptr) return;
  const uintptr_t offset = -reinterpret_cast<uintptr_t>(fresh) % kAlignment;
  // In bounds: the old store has `capacity` bytes, fewer than the new one.
  if (base != nullptr) std::memcpy(fresh + offset, data(), capacity);
  std::free(base);
  base = fresh;
  capacity = size;
  alignOffset = offset;
}

BufferObject::~BufferObject() { std::free(label); }

bool BufferObject::mapWhole(GLenum newAccess, uint8_t*& pointer) {
  pointer = nullptr;
  if (mapped || mappedRange) return false;
  access = newAccess;
  switch (newAccess) {
    case GL_READ_WRITE:
      accessFlags = GL_MAP_READ_BIT | GL_MAP_WRITE_BIT;
      break;
    case GL_READ_ONLY:
      accessFlags = GL_MAP_READ_BIT;
      break;
    case GL_WRITE_ONLY:
      accessFlags = GL_MAP_WRITE_BIT;
      break;
    default:
      break;
  }
  mapped = 1;
  store.ensure(static_cast<uint32_t>(size));
  if (store.capacity >= static_cast<uint32_t>(size)) pointer = store.data();
  return true;
}

bool BufferObject::mapRange(uint32_t accessBits, uint8_t*& pointer, int64_t offset, int64_t length) {
  pointer = nullptr;
  if (mapped || mappedRange) return false;
  accessFlags = accessBits;
  const bool reads = (accessBits & GL_MAP_READ_BIT) != 0, writes = (accessBits & GL_MAP_WRITE_BIT) != 0;
  if (reads) {
    access = writes ? GL_READ_WRITE : GL_READ_ONLY;
  } else if (writes) {
    access = GL_WRITE_ONLY;
  }
  mappedRange = 1;
  store.ensure(static_cast<uint32_t>(size));
  mapOffset = offset;
  mapLength = length;
  if (store.capacity >= static_cast<uint32_t>(size) && store.data() != nullptr) pointer = store.data() + offset;
  return true;
}

}  // namespace qv
