// What a program exposes: locations and descriptions out of the cache, and the questions about blocks that the host answers.
#include <algorithm>

#include "driver/state/program_objects.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"
#include "driver/stream/text_list.h"

namespace qv {

namespace {

constexpr GLuint kVertexAttributes = 16;
constexpr GLint kMostBlockUniforms = 1 << 20;  // the number is the host's word

template <typename Row, ResourceCache ProgramRecord::*Cache>
GLint locationOf(GLuint program, const GLchar* name) {
  GlContext* const context = enter<Row>();
  if (context == nullptr) return -1;
  const ProgramRecord* const record = findProgram(context, program);
  if (record == nullptr) {
    refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
    return -1;
  }
  return name == nullptr ? -1 : (record->*Cache).resolveLocation(name);
}

// One word of an active uniform; false for a name that the host answers.
bool uniformFact(const ResourceRecord* resource, GLenum pname, GLint& value) {
  switch (pname) {
    case GL_UNIFORM_TYPE:
      value = resource == nullptr ? 0 : static_cast<GLint>(resource->type);
      return true;
    case GL_UNIFORM_SIZE:
      value = resource == nullptr ? 0 : resource->arraySize;
      return true;
    case GL_UNIFORM_NAME_LENGTH:
      value = 1;
      if (resource != nullptr) value += static_cast<GLint>(resource->name.length) + (resource->nameNeedsIndex ? 3 : 0);
      return true;
    default:
      return false;
  }
}

}  // namespace

namespace gl {

GLint APIENTRY glGetUniformLocation(GLuint program, const GLchar* name) {
  return locationOf<op::glGetUniformLocation, &ProgramRecord::uniforms>(program, name);
}
GLint APIENTRY glGetAttribLocation(GLuint program, const GLchar* name) {
  return locationOf<op::glGetAttribLocation, &ProgramRecord::attributes>(program, name);
}

// The size of the buffer is looked at before glBegin is.
void APIENTRY glGetActiveUniform(GLuint program, GLuint index, GLsizei bufSize, GLsizei* length, GLint* size, GLenum* type,
                                 GLchar* name) {
  using Row = op::glGetActiveUniform;
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  context->lastOpcode = Row::kOpcode;
  if (bufSize < 0) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  if (context->insideBegin) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  const ProgramRecord* const record = findProgram(context, program);
  if (record == nullptr || !record->uniforms.describeResource(index, bufSize, length, size, type, name)) {
    refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  }
}

// Its errors are its own: required oddity 117.
void APIENTRY glGetActiveAttrib(GLuint program, GLuint index, GLsizei bufSize, GLsizei* length, GLint* size, GLenum* type,
                                GLchar* name) {
  using Row = op::glGetActiveAttrib;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  if (index >= kVertexAttributes) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  const ProgramRecord* const record = findProgram(context, program);
  if (record == nullptr || !record->attributes.describeResource(index, bufSize, length, size, type, name)) {
    refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  }
}

void APIENTRY glGetActiveUniformName(GLuint program, GLuint index, GLsizei bufSize, GLsizei* length, GLchar* name) {
  using Row = op::glGetActiveUniformName;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  const ProgramRecord* const record = bufSize < 0 ? nullptr : findProgram(context, program);
  if (record == nullptr || !record->uniforms.describeResource(index, bufSize, length, nullptr, nullptr, name)) {
    refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  }
}

// An index out of range is answered and raises no error: required oddity 112.
void APIENTRY glGetActiveUniformsiv(GLuint program, GLsizei count, const GLuint* indices, GLenum pname, GLint* params) {
  using Row = op::glGetActiveUniformsiv;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  const ProgramRecord* const record = count < 0 ? nullptr : findProgram(context, program);
  if (record == nullptr) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  GLint value = 0;
  if (uniformFact(nullptr, pname, value)) {
    for (GLsizei i = 0; i < count; ++i) uniformFact(record->uniforms.at(indices[i]), pname, params[i]);
    return;
  }
  send<Row>(context, program, count, indices, pname, params);
  flushStream(context, 0, params, static_cast<uint32_t>(count) * 4, nullptr, 0);
}

void APIENTRY glGetUniformIndices(GLuint program, GLsizei count, const GLchar* const* names, GLuint* indices) {
  using Row = op::glGetUniformIndices;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  if (count < 0 || findProgram(context, program) == nullptr) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  const TextList texts(count, names);
  if (texts.isTooLong()) return refuse(context, opcodeOf<Row>, GL_OUT_OF_MEMORY);
  const auto pointer = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(names));
  sendTexts<Row>(context, TextListRecord{program, count, pointer, static_cast<uint32_t>(texts.bytes), count}, texts);
  flushStream(context, 0, indices, static_cast<uint32_t>(count) * 4, nullptr, 0);
}

// A name that is no program at all has the error of a program that is not linked, here and below: required oddity 147.
GLuint APIENTRY glGetUniformBlockIndex(GLuint program, const GLchar* name) {
  using Row = op::glGetUniformBlockIndex;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return 0;
  if (findProgram(context, program) == nullptr) {
    refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
    return GL_INVALID_INDEX;
  }
  return Entry<Row>::call(program, name);
}

void APIENTRY glGetActiveUniformBlockiv(GLuint program, GLuint block, GLenum pname, GLint* params) {
  using Row = op::glGetActiveUniformBlockiv;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  if (findProgram(context, program) == nullptr) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  GLint values = 1;
  if (pname == GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES) {
    values = 0;
    Entry<Row>::call(program, block, GL_UNIFORM_BLOCK_ACTIVE_UNIFORMS, &values);
    values = std::clamp(values, 0, kMostBlockUniforms);
  }
  send<Row>(context, program, block, pname, params);
  flushStream(context, 0, params, static_cast<uint32_t>(values) * 4, nullptr, 0);
}

void APIENTRY glGetActiveUniformBlockName(GLuint program, GLuint block, GLsizei bufSize, GLsizei* length, GLchar* name) {
  using Row = op::glGetActiveUniformBlockName;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  if (bufSize < 0 || findProgram(context, program) == nullptr) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  Entry<Row>::call(program, block, bufSize, length, name);
}

}  // namespace gl

}  // namespace qv
