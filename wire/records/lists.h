// Records of display lists.
#pragma once

#include "wire/gl_api.h"
#include "wire/record.h"

namespace qv {

// Bytes of one list name. A type that is no list type counts as a byte, and the host refuses it.
constexpr uint32_t listNameBytes(GLenum type) {
  switch (type) {
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
    case GL_2_BYTES:
      return 2;
    case GL_3_BYTES:
      return 3;
    case GL_INT:
    case GL_UNSIGNED_INT:
    case GL_FLOAT:
    case GL_4_BYTES:
      return 4;
    default:
      return 1;
  }
}

// glCallLists: the names follow as the program gave them.
struct CallListsRecord {
  GLsizei count;
  GLenum type;
  uint32_t bytes;  // of the names, cut to 32 bits

  static constexpr const char* kWords[] = {"n", "type", "bytes"};
  uint64_t tailBytes() const { return count < 0 ? 0 : static_cast<uint64_t>(count) * listNameBytes(type); }
  uint32_t tailWidth() const { return listNameBytes(type); }
  static CallListsRecord of(GLsizei count, GLenum type, const void*) {
    CallListsRecord record{count, type, 0};
    record.bytes = static_cast<uint32_t>(record.tailBytes());
    return record;
  }
};

}  // namespace qv
