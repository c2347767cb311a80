// What a stub GL keeps, and how it touches memory.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "fuzz/core/random.h"
#include "wire/gl_api.h"
#include "wire/pixel_store.h"

namespace qv::fuzz {

struct StubArray {
  bool enabled = false;
  GLint components = 4;
  GLenum type = GL_FLOAT;
  GLsizei stride = 0;
  const uint8_t* pointer = nullptr;
};

struct StubState {
  Random random{0};
  bool tellsVersion = false;  // GL_VERSION is always answered
  bool insideBegin = false;
  bool listOpen = false, listExecutes = false;
  int listPrimitives = 0;
  bool unbalancedLists = false;
  GLuint arrayBuffer = 0, packBuffer = 0, unpackBuffer = 0;
  GLuint readFramebuffer = 0, drawFramebuffer = 0;
  PixelStoreState store;
  uint32_t clientUnit = 0;
  // Position, normal, colour, then texture coordinate sets.
  static constexpr uint32_t kArrays = 3 + 32;
  StubArray arrays[kArrays];
};

extern thread_local StubState stub;

// Reads so many bytes where AddressSanitizer sees it.
inline void readMemory(const void* from, uint64_t bytes) {
  thread_local uint8_t sink[4096];
  const uint8_t* at = static_cast<const uint8_t*>(from);
  while (bytes != 0) {
    const uint64_t piece = std::min<uint64_t>(bytes, sizeof sink);
    std::memcpy(sink, at, piece);
    asm volatile("" : : "r"(sink) : "memory");
    at += piece;
    bytes -= piece;
  }
}
// Writes so many bytes, any value.
inline void writeMemory(void* to, uint64_t bytes) {
  uint8_t* const at = static_cast<uint8_t*>(to);
  std::memset(at, static_cast<int>(stub.random.below(256)), bytes);
  // Small numbers lead further than others.
  if (bytes >= 4 && stub.random.oneIn(2)) {
    const uint32_t small = stub.random.below(70);
    std::memcpy(at, &small, 4);
  }
}

// The bytes of an image in client memory: its end, counted from the pointer.
uint64_t imageEnd(const PixelStoreHalf& store, GLenum format, GLenum type, GLsizei width, GLsizei height, GLsizei depth);

// The functions that know more than their form tells: sets them in qv::peer::gl.
void installStubPixels();
void installStubState();

}  // namespace qv::fuzz
