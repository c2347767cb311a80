// Records of buffer objects. Offsets, sizes and pointers are the low 32 bits of the arguments.
#pragma once

#include "wire/gl_api.h"
#include "wire/record.h"

namespace qv {

struct BufferDataRecord {
  GLenum target;
  uint32_t size;
  uint32_t data;
  GLenum usage;
  uint32_t bytes;  // of the tail: `size`, or 0 without data

  static constexpr const char* kWords[] = {"target", "size", "data", "usage", "bytes"};
  uint64_t tailBytes() const { return bytes; }
};

struct BufferSubDataRecord {
  GLenum target;
  uint32_t offset;
  uint32_t size;
  uint32_t data;
  uint32_t bytes;  // of the tail: `size`, or 0 without data

  static constexpr const char* kWords[] = {"target", "offset", "size", "data", "bytes"};
  uint64_t tailBytes() const { return bytes; }
};

// The reply is that part of the buffer.
struct GetBufferSubDataRecord {
  GLenum target;
  uint32_t offset;
  uint32_t bytes;

  static constexpr const char* kWords[] = {"target", "offset", "bytes"};
};

// The reply is the buffer's first `bytes` bytes; none for 0. The host maps nothing: what the program writes comes back with
// UnmapBufferRecord.
struct MapBufferRecord {
  GLenum target;
  GLenum access;
  uint32_t bytes;

  static constexpr const char* kWords[] = {"target", "access", "bytes"};
};

// The tail is the buffer's new contents.
struct UnmapBufferRecord {
  GLenum target;
  uint32_t bytes;

  static constexpr const char* kWords[] = {"target", "bytes"};
  uint64_t tailBytes() const { return bytes; }
};

struct GetBufferParameterRecord {
  GLenum target;
  GLenum pname;
  uint32_t count;  // values of the reply

  static constexpr const char* kWords[] = {"target", "pname", "count"};
};

// The tail begins with the clear value; what follows it has no meaning.
struct ClearBufferDataRecord {
  GLenum target;
  GLenum internalFormat;
  GLenum format;
  GLenum type;
  uint32_t bytes;  // of the tail: the buffer's size, or 0 without data

  static constexpr const char* kWords[] = {"target", "internalFormat", "format", "type", "bytes"};
  uint64_t tailBytes() const { return bytes; }
};

// The tail is `size` bytes as in ClearBufferDataRecord, or nothing.
struct ClearBufferSubDataRecord {
  GLenum target;
  GLenum internalFormat;
  uint32_t offset;
  uint32_t size;
  GLenum format;
  GLenum type;

  static constexpr const char* kWords[] = {"target", "internalFormat", "offset", "size", "format", "type"};
  static constexpr bool kOpenTail = true;
};

}  // namespace qv
