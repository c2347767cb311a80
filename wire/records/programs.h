// Records of the commands on shaders and programs.
#pragma once

#include "wire/gl_api.h"
#include "wire/record.h"

namespace qv {

// Lists of texts: first the texts one behind the other, each with its terminating zero, `bytes` in all, then for each text its
// length without the zero as a word. The count stands there twice. The low halves of the program's pointers mean nothing to the
// host.

// glShaderSource
struct ShaderSourceRecord {
  GLuint shader;
  GLsizei count;
  uint32_t strings, lengths;
  uint32_t bytes;
  GLsizei countAgain;

  static constexpr const char* kWords[] = {"shader", "count", "strings", "lengths", "bytes", "count"};
  uint64_t tailBytes() const { return bytes + (countAgain < 0 ? 0 : uint64_t{4} * static_cast<uint32_t>(countAgain)); }
};

// glCreateShaderProgramv with the type, glGetUniformIndices with the program as `target`
struct TextListRecord {
  GLuint target;
  GLsizei count;
  uint32_t strings;
  uint32_t bytes;
  GLsizei countAgain;

  static constexpr const char* kWords[] = {"target", "count", "strings", "bytes", "count"};
  uint64_t tailBytes() const { return bytes + (countAgain < 0 ? 0 : uint64_t{4} * static_cast<uint32_t>(countAgain)); }
};

// glTransformFeedbackVaryings
struct FeedbackVaryingsRecord {
  GLuint program;
  GLsizei count;
  uint32_t strings;
  uint32_t bytes;
  GLenum mode;
  GLsizei countAgain;

  static constexpr const char* kWords[] = {"program", "count", "strings", "bytes", "mode", "count"};
  uint64_t tailBytes() const { return bytes + (countAgain < 0 ? 0 : uint64_t{4} * static_cast<uint32_t>(countAgain)); }
};

// glGetTransformFeedbackVarying. Replies: length, size and type, a word each; the name.
struct FeedbackVaryingRecord {
  GLuint program, index;
  GLsizei room;  // of the name
  uint32_t length, size, type;

  static constexpr const char* kWords[] = {"program", "index", "room", "length", "size", "type"};
};

// The active uniforms or attributes of a program, asked for after a link. Replies: the list, if it fits the capacity; its bytes and
// the number of its entries, a word each. An entry is ActiveResource and the name with its zero, filled up to a multiple of 4.
struct ActiveResourcesRecord {
  GLuint program;
  uint32_t capacity;

  static constexpr const char* kWords[] = {"program", "capacity"};
};

struct ActiveResource {
  GLenum type;
  GLint arraySize;
  GLint location;  // -1: none
  GLint step;      // between the locations of an array's elements
};

// Bytes of an entry whose name has `length` characters.
constexpr uint32_t activeResourceBytes(uint32_t length) { return (length + sizeof(ActiveResource) + 4) & ~uint32_t{3}; }

// glGetActiveUniformsiv: the indices follow. Reply: a word for each.
struct ActiveUniformsRecord {
  GLuint program;
  GLsizei count;
  GLenum pname;

  static constexpr const char* kWords[] = {"program", "count", "pname"};
  uint64_t tailBytes() const { return count < 0 ? 0 : uint64_t{4} * static_cast<uint32_t>(count); }
  static ActiveUniformsRecord of(GLuint program, GLsizei count, const GLuint*, GLenum pname, GLint*) {
    return {program, count, pname};
  }
};

// glGetUniform: as many values as the uniform has.
struct UniformValueRecord {
  GLuint program;
  GLint location;
  uint32_t count;

  static constexpr const char* kWords[] = {"program", "location", "count"};
};

// glGetActiveAtomicCounterBufferiv
struct AtomicCounterBufferRecord {
  GLuint program, index;
  GLenum pname;
  uint32_t count;  // of values in the reply

  static constexpr const char* kWords[] = {"program", "index", "pname", "count"};
};

// glGetActiveSubroutineUniformiv
struct SubroutineUniformRecord {
  GLuint program;
  GLenum shaderType;
  GLuint index;
  GLenum pname;
  uint32_t count;  // of values in the reply

  static constexpr const char* kWords[] = {"program", "shader type", "index", "pname", "count"};
};

// glGetActiveSubroutineUniformName, glGetActiveSubroutineName. Replies: length; text.
struct SubroutineNameRecord {
  GLuint program;
  GLenum shaderType;
  GLuint index;
  GLsizei room;
  uint32_t length;

  static constexpr const char* kWords[] = {"program", "shader type", "index", "room", "length"};
};

// glGetProgramResourceiv: the properties follow. Replies: the number of values written; `room` values.
struct ProgramResourceRecord {
  GLuint program;
  GLenum kind;  // of resources
  GLuint index;
  GLsizei count;
  GLsizei room;

  static constexpr const char* kWords[] = {"program", "kind", "index", "count", "room"};
  uint64_t tailBytes() const { return count < 0 ? 0 : uint64_t{4} * static_cast<uint32_t>(count); }
};

// glGetProgramStringARB: `bytes` is the length that the host has told before.
struct ProgramStringRecord {
  GLenum target, pname;
  uint32_t bytes;

  static constexpr const char* kWords[] = {"target", "pname", "bytes"};
};

// glGetProgramBinary, of which there is none: no format of binaries is known to the guest. Reply: a length of 0.
struct ProgramBinaryQueryRecord {
  GLuint program;
  GLsizei room;
  uint32_t length, format, binary;

  static constexpr const char* kWords[] = {"program", "room", "length", "format", "binary"};
};

// glProgramBinary, without the binary.
struct ProgramBinaryRecord {
  GLuint program;
  GLenum format;
  uint32_t binary;
  GLsizei length;

  static constexpr const char* kWords[] = {"program", "format", "binary", "length"};
  static ProgramBinaryRecord of(GLuint program, GLenum format, const void* binary, GLsizei length) {
    return {program, format, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(binary)), length};
  }
};

// glShaderBinary, without the binary: the names of the shaders follow.
struct ShaderBinaryRecord {
  GLsizei count;
  GLenum format;
  uint32_t binary;
  GLsizei length;

  static constexpr const char* kWords[] = {"count", "format", "binary", "length"};
  uint64_t tailBytes() const { return count < 0 ? 0 : uint64_t{4} * static_cast<uint32_t>(count); }
  static ShaderBinaryRecord of(GLsizei count, const GLuint*, GLenum format, const void* binary, GLsizei length) {
    return {count, format, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(binary)), length};
  }
};

// glGetShaderPrecisionFormat. Replies: the two ends of the range; the precision.
struct PrecisionFormatRecord {
  GLenum shaderType, precisionType;

  static constexpr const char* kWords[] = {"shader type", "precision type"};
};

}  // namespace qv
