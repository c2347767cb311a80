// Records of the commands that read images back. `pointer` is the low word of the program's pointer: an offset when a pack buffer
// is bound; `bytes` is the length of the reply.
#pragma once

#include "wire/gl_api.h"
#include "wire/record.h"

namespace qv {

struct ReadPixelsRecord {
  GLint x, y;
  GLsizei width, height;
  GLenum format, type;
  uint32_t bytes, pointer;

  static constexpr const char* kWords[] = {"x", "y", "width", "height", "format", "type", "bytes", "pointer"};
};

struct GetTexImageRecord {
  GLenum target;
  GLint level;
  GLenum format, type;
  uint32_t bytes, pointer;

  static constexpr const char* kWords[] = {"target", "level", "format", "type", "bytes", "pointer"};
};

struct GetCompressedTexImageRecord {
  GLenum target;
  GLint level;
  uint32_t bytes, pointer;

  static constexpr const char* kWords[] = {"target", "level", "bytes", "pointer"};
};

struct GetPolygonStippleRecord {
  uint32_t bytes, pointer;

  static constexpr const char* kWords[] = {"bytes", "pointer"};
};

struct GetPixelMapRecord {
  GLenum map;
  uint32_t bytes, pointer;

  static constexpr const char* kWords[] = {"map", "bytes", "pointer"};
};

struct GetColorTableRecord {
  GLenum target, format, type;
  uint32_t bytes;

  static constexpr const char* kWords[] = {"target", "format", "type", "bytes"};
};

struct GetColorTableParameterRecord {
  GLenum target, pname;

  static constexpr const char* kWords[] = {"target", "pname"};
};

struct GetConvolutionFilterRecord {
  GLenum target, format, type;
  uint32_t bytes, pointer;

  static constexpr const char* kWords[] = {"target", "format", "type", "bytes", "pointer"};
};

// glGetHistogram and glGetMinmax.
struct GetHistogramRecord {
  GLenum target;
  uint32_t reset;
  GLenum format, type;
  uint32_t bytes, pointer;

  static constexpr const char* kWords[] = {"target", "reset", "format", "type", "bytes", "pointer"};
};

// The row comes as the first reply, the column as the second.
struct GetSeparableFilterRecord {
  GLenum target, format, type;
  uint32_t span, rowBytes, columnBytes, row, column;

  static constexpr const char* kWords[] = {"target", "format", "type", "span", "rowBytes", "columnBytes", "row", "column"};
};

// The row's pixels follow, then the column's.
struct SeparableFilterRecord {
  GLenum target, internalFormat;
  GLsizei width, height;
  GLenum format, type;
  uint32_t row, column, rowBytes, columnBytes;

  static constexpr const char* kWords[] = {"target", "internalFormat", "width",    "height",     "format", "type",
                                           "row",    "column",         "rowBytes", "columnBytes"};
  uint64_t tailBytes() const { return uint64_t{rowBytes} + columnBytes; }
};

// The names follow. The reply has a byte for each.
struct AreTexturesResidentRecord {
  GLsizei count;

  static constexpr const char* kWords[] = {"count"};
  uint64_t tailBytes() const { return count < 0 ? 0 : uint64_t{4} * static_cast<uint32_t>(count); }
};

}  // namespace qv
