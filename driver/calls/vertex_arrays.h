// Vertex arrays: shadow steps and the checks of their types.
#pragma once

#include "driver/state/gl_context.h"
#include "wire/entry_table.h"

namespace qv {

// 0 for a type that an array may have, else GL_INVALID_ENUM. The pointer calls take no GL_FIXED.
constexpr GLenum checkArrayType(GLenum type, bool rejectFixed) {
  switch (type) {
    case 0:
    case GL_BYTE:
    case GL_UNSIGNED_BYTE:
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
    case GL_INT:
    case GL_UNSIGNED_INT:
    case GL_FLOAT:
    case GL_DOUBLE:
    case GL_HALF_FLOAT:
    case GL_UNSIGNED_INT_2_10_10_10_REV:
    case GL_INT_2_10_10_10_REV:
    case GL_UNSIGNED_INT_10F_11F_11F_REV:
      return GL_NO_ERROR;
    case GL_FIXED:
      return rejectFixed ? GL_INVALID_ENUM : GL_NO_ERROR;
    default:
      return GL_INVALID_ENUM;
  }
}

inline void shadow(op::glLockArraysEXT, GlContext* c, GLint first, GLsizei count) {
  c->lockedFirst = first;
  c->lockedCount = count;
}
inline void shadow(op::glUnlockArraysEXT, GlContext* c) {
  c->lockedFirst = -1;
  c->lockedCount = 0;
}

}  // namespace qv
