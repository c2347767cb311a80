// Records of the draws from arrays. The data of arrays in the program's memory follow: the vertex block, array after array, and
// for arrays with a divisor the instance section.
#pragma once

#include "wire/gl_api.h"
#include "wire/record.h"

namespace qv {

// The word `flags` of every draw: the bytes of one vertex in the block, cut to 16 bits, and whether a section follows.
inline constexpr uint32_t kDrawVertexBytes = 0xFFFF, kDrawHasInstances = 0x10000;

// In front of the data of arrays with a divisor.
struct InstanceSection {
  uint32_t bytesAndHead;  // bytes + 8
  uint32_t one;
  uint32_t bytes;
  uint32_t zero;
};

struct DrawArraysRecord {
  GLenum mode;
  GLint first;
  GLsizei count;
  uint32_t flags;

  static constexpr const char* kWords[] = {"mode", "first", "count", "flags"};
  static constexpr bool kOpenTail = true;
};

struct DrawArraysInstancedRecord {
  GLenum mode;
  GLint first;
  GLsizei count;
  uint32_t flags;
  GLsizei instances;

  static constexpr const char* kWords[] = {"mode", "first", "count", "flags", "instances"};
  static constexpr bool kOpenTail = true;
};

struct DrawArraysBaseInstanceRecord {
  GLenum mode;
  GLint first;
  GLsizei count;
  GLsizei instances;
  GLuint baseInstance;
  uint32_t flags;

  static constexpr const char* kWords[] = {"mode", "first", "count", "instances", "baseInstance", "flags"};
  static constexpr bool kOpenTail = true;
};

struct ArrayElementRecord {
  GLint index;
  uint32_t flags;

  static constexpr const char* kWords[] = {"index", "flags"};
  static constexpr bool kOpenTail = true;
};

// Indices in the program's memory follow, unpadded, then words of the call (base vertex, instances), then the vertex block.
// Without a block from minimum and maximum they are all ones and zero.
struct DrawElementsRecord {
  GLenum mode;
  GLsizei count;
  GLenum type;
  uint32_t indices;
  GLuint buffer;  // of the indices; 0: they follow
  uint32_t flags;
  uint32_t indexBytes;
  uint32_t minimum;
  uint32_t maximum;

  static constexpr const char* kWords[] = {"mode",  "count",      "type",    "indices", "buffer",
                                           "flags", "indexBytes", "minimum", "maximum"};
  static constexpr bool kOpenTail = true;
};

struct DrawElementsBaseInstanceRecord {
  GLenum mode;
  GLsizei count;
  GLenum type;
  uint32_t indices;
  GLsizei instances;
  GLint baseVertex;
  GLuint baseInstance;
  GLuint buffer;
  uint32_t flags;
  uint32_t indexBytes;
  uint32_t minimum;
  uint32_t maximum;

  static constexpr const char* kWords[] = {"mode",         "count",  "type",  "indices",    "instances", "baseVertex",
                                           "baseInstance", "buffer", "flags", "indexBytes", "minimum",   "maximum"};
  static constexpr bool kOpenTail = true;
};

// The host reads the draw's words from the buffer bound to GL_DRAW_INDIRECT_BUFFER.
struct DrawArraysIndirectRecord {
  GLenum mode;
  uint32_t offset;

  static constexpr const char* kWords[] = {"mode", "offset"};
};

struct DrawElementsIndirectRecord {
  GLenum mode;
  GLenum type;
  uint32_t offset;

  static constexpr const char* kWords[] = {"mode", "type", "offset"};
};

struct MultiDrawArraysIndirectRecord {
  GLenum mode;
  uint32_t offset;
  GLsizei draws;
  GLsizei stride;

  static constexpr const char* kWords[] = {"mode", "offset", "draws", "stride"};
};

struct MultiDrawElementsIndirectRecord {
  GLenum mode;
  GLenum type;
  uint32_t offset;
  GLsizei draws;
  GLsizei stride;

  static constexpr const char* kWords[] = {"mode", "type", "offset", "draws", "stride"};
};

}  // namespace qv
