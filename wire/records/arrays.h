// Records of the calls that set vertex arrays. `buffer` is the name bound to GL_ARRAY_BUFFER at the call: with one the pointer is
// an offset into it, without it has no meaning to the host but whether it is null.
#pragma once

#include "wire/gl_api.h"
#include "wire/record.h"

namespace qv {

struct ArrayPointerRecord {
  uint32_t size;
  GLenum type;
  uint32_t stride;
  uint32_t pointer;
  GLuint buffer;

  static constexpr const char* kWords[] = {"size", "type", "stride", "pointer", "buffer"};
};

// The array has a fixed number of components.
struct TypedPointerRecord {
  GLenum type;
  uint32_t stride;
  uint32_t pointer;
  GLuint buffer;

  static constexpr const char* kWords[] = {"type", "stride", "pointer", "buffer"};
};

struct EdgeFlagPointerRecord {
  uint32_t stride;
  uint32_t pointer;
  GLuint buffer;

  static constexpr const char* kWords[] = {"stride", "pointer", "buffer"};
};

struct AttribPointerRecord {
  GLuint index;
  uint32_t size;
  GLenum type;
  uint32_t normalized;  // in the low byte; the others have no meaning
  uint32_t stride;
  uint32_t pointer;
  GLuint buffer;

  static constexpr const char* kWords[] = {"index", "size", "type", "normalized", "stride", "pointer", "buffer"};
};

// Of integer and double attributes, which are never normalized.
struct PlainAttribPointerRecord {
  GLuint index;
  uint32_t size;
  GLenum type;
  uint32_t stride;
  uint32_t pointer;
  GLuint buffer;

  static constexpr const char* kWords[] = {"index", "size", "type", "stride", "pointer", "buffer"};
};

// Queries of an attribute: 4 values for the current one, 1 for what belongs to its array.
struct GetAttribRecord {
  GLuint index;
  GLenum pname;

  static constexpr const char* kWords[] = {"index", "pname"};
};

}  // namespace qv
