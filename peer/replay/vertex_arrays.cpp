// Replay of the commands that set vertex arrays.
#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

using Pointer = ArrayState::Pointer;

void setConventional(Replayer& replayer, uint32_t row, const Pointer& pointer) {
  replayer.state().arrays.setPointer(replayer, row, pointer);
}

void setSized(Replayer& replayer, uint32_t row, const ArrayPointerRecord& record) {
  setConventional(replayer, row, {record.size, record.type, record.stride, record.pointer, record.buffer});
}

void setTyped(Replayer& replayer, uint32_t row, uint32_t size, const TypedPointerRecord& record) {
  setConventional(replayer, row, {size, record.type, record.stride, record.pointer, record.buffer});
}

// The row of an attribute. False, with the error raised, for an attribute that there is not.
bool attribRow(Replayer& replayer, GLuint index, uint32_t& row) {
  row = kArrayKinds + index;
  if (index < kArrayKinds) return true;
  refuse(replayer, GL_INVALID_VALUE);
  return false;
}

void setAttrib(Replayer& replayer, GLuint index, const Pointer& pointer) {
  uint32_t row = 0;
  if (attribRow(replayer, index, row)) replayer.state().arrays.setPointer(replayer, row, pointer);
}

void setPlain(Replayer& replayer, const PlainAttribPointerRecord& record, bool wide) {
  setAttrib(replayer, record.index, {record.size, record.type, record.stride, record.pointer, record.buffer, false, !wide, wide});
}

void setFormat(Replayer& replayer, GLuint index, GLint size, GLenum type, bool normalized, bool integer, bool wide,
               GLuint offset) {
  uint32_t row = 0;
  if (attribRow(replayer, index, row))
    replayer.state().arrays.setFormat(row, static_cast<uint32_t>(size), type, normalized, integer, wide, offset);
}

// An attribute with a divisor of its own falls back to its own binding.
void setDivisor(Replayer& replayer, GLuint index, GLuint divisor) {
  uint32_t row = 0;
  if (!attribRow(replayer, index, row)) return;
  replayer.state().arrays.setBinding(row, index);
  replayer.state().arrays.setDivisor(row, divisor);
}

void switchAttrib(Replayer& replayer, GLuint index, bool on) {
  uint32_t row = 0;
  if (attribRow(replayer, index, row)) replayer.state().arrays.setEnabled(row, on);
}

// --- queries ---

// The value of an attribute's array out of the host's copy; false for another name.
bool readArray(ArrayState& arrays, GLuint index, GLenum pname, int32_t& value) {
  const ArrayRow& row = arrays.row(kArrayKinds + index);
  const ArrayBinding& binding = arrays.binding(kArrayKinds + index);
  switch (pname) {
    case GL_VERTEX_ATTRIB_ARRAY_ENABLED:
      value = arrays.isEnabled(kArrayKinds + index);
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_SIZE:
      value = static_cast<int32_t>(row.size);
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_STRIDE:
      value = static_cast<int32_t>(binding.stride);
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_TYPE:
      value = static_cast<int32_t>(row.type);
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_NORMALIZED:
      value = row.normalized;
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_INTEGER:
      value = row.integer;
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_LONG:
      value = row.wide;
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_DIVISOR:
      value = static_cast<int32_t>(binding.divisor);
      return true;
    case GL_VERTEX_ATTRIB_BINDING:
      value = row.bindingIndex;
      return true;
    case GL_VERTEX_ATTRIB_RELATIVE_OFFSET:
      value = static_cast<int32_t>(row.relativeOffset);
      return true;
    default:
      return false;
  }
}

// Current values come from GL; an attribute that GL refuses has no answer.
template <typename T>
void answerAttrib(Replayer& replayer, const GetAttribRecord& record, void(APIENTRY* get)(GLuint, GLenum, T*)) {
  replayer.answer(nullptr, 0);
  T values[4] = {};
  int32_t value = 0;
  if (record.pname != GL_CURRENT_VERTEX_ATTRIB && record.index < kArrayKinds &&
      readArray(replayer.state().arrays, record.index, record.pname, value)) {
    values[0] = static_cast<T>(value);
    return replayer.answer(values, sizeof values[0]);
  }
  if (record.pname != GL_CURRENT_VERTEX_ATTRIB) return refuse(replayer, GL_INVALID_ENUM);
  if (replayer.state().insideBegin) return refuse(replayer, GL_INVALID_OPERATION);
  holdGlError(replayer);
  get(record.index, record.pname, values);
  if (!glRefused(replayer)) replayer.answer(values, sizeof values);
}

}  // namespace

namespace replay {

void glVertexPointer(Replayer& replayer, const ArrayPointerRecord& record) { setSized(replayer, kArrayVertex, record); }
void glWeightPointerARB(Replayer& replayer, const ArrayPointerRecord& record) { setSized(replayer, kArrayWeight, record); }
void glColorPointer(Replayer& replayer, const ArrayPointerRecord& record) { setSized(replayer, kArrayColor, record); }
void glSecondaryColorPointer(Replayer& replayer, const ArrayPointerRecord& record) {
  setSized(replayer, kArraySecondaryColor, record);
}
void glTexCoordPointer(Replayer& replayer, const ArrayPointerRecord& record) {
  setSized(replayer, kArrayTexCoord0 + replayer.state().arrays.clientUnit(), record);
}
void glNormalPointer(Replayer& replayer, const TypedPointerRecord& record) { setTyped(replayer, kArrayNormal, 3, record); }
void glFogCoordPointer(Replayer& replayer, const TypedPointerRecord& record) { setTyped(replayer, kArrayFogCoord, 1, record); }
void glIndexPointer(Replayer& replayer, const TypedPointerRecord& record) { setTyped(replayer, kArrayIndex, 1, record); }
void glEdgeFlagPointer(Replayer& replayer, const EdgeFlagPointerRecord& record) {
  setConventional(replayer, kArrayEdgeFlag, {1, 0, record.stride, record.pointer, record.buffer});
}
void glVertexAttribPointer(Replayer& replayer, const AttribPointerRecord& record) {
  setAttrib(replayer, record.index,
            {record.size, record.type, record.stride, record.pointer, record.buffer, (record.normalized & 0xFF) != 0});
}
void glVertexAttribIPointer(Replayer& replayer, const PlainAttribPointerRecord& record) { setPlain(replayer, record, false); }
void glVertexAttribIPointerEXT(Replayer& replayer, const PlainAttribPointerRecord& record) { setPlain(replayer, record, false); }
void glVertexAttribLPointer(Replayer& replayer, const PlainAttribPointerRecord& record) { setPlain(replayer, record, true); }

void glVertexAttribFormat(Replayer& replayer, GLuint index, GLint size, GLenum type, GLboolean normalized, GLuint offset) {
  setFormat(replayer, index, size, type, normalized != 0, false, false, offset);
}
void glVertexAttribIFormat(Replayer& replayer, GLuint index, GLint size, GLenum type, GLuint offset) {
  setFormat(replayer, index, size, type, false, true, false, offset);
}
void glVertexAttribLFormat(Replayer& replayer, GLuint index, GLint size, GLenum type, GLuint offset) {
  setFormat(replayer, index, size, type, false, false, true, offset);
}
void glVertexAttribBinding(Replayer& replayer, GLuint index, GLuint binding) {
  uint32_t row = 0, bound = 0;
  if (attribRow(replayer, index, row) && attribRow(replayer, binding, bound)) replayer.state().arrays.setBinding(row, binding);
}
void glVertexBindingDivisor(Replayer& replayer, GLuint binding, GLuint divisor) {
  uint32_t row = 0;
  if (attribRow(replayer, binding, row)) replayer.state().arrays.setDivisor(row, divisor);
}
void glBindVertexBuffer(Replayer& replayer, GLuint binding, GLuint buffer, GLintptr offset, GLsizei stride) {
  uint32_t row = 0;
  if (!attribRow(replayer, binding, row)) return;
  if (stride < 0) refuse(replayer, GL_INVALID_VALUE);
  replayer.state().arrays.setVertexBuffer(replayer, row, buffer, static_cast<uint32_t>(offset), static_cast<uint32_t>(stride));
}
void glVertexAttribDivisor(Replayer& replayer, GLuint index, GLuint divisor) { setDivisor(replayer, index, divisor); }
void glVertexAttribDivisorARB(Replayer& replayer, GLuint index, GLuint divisor) { setDivisor(replayer, index, divisor); }
void glEnableVertexAttribArray(Replayer& replayer, GLuint index) { switchAttrib(replayer, index, true); }
void glDisableVertexAttribArray(Replayer& replayer, GLuint index) { switchAttrib(replayer, index, false); }

void glBindVertexArray(Replayer& replayer, GLuint name) { replayer.state().arrays.bindVertexArray(replayer, name); }
void glDeleteVertexArrays(Replayer& replayer, GLsizei n, Reader& data) {
  const Elements<GLuint> names = data.elements<GLuint>(data.left() / sizeof(GLuint));
  if (n < 0) return refuse(replayer, GL_INVALID_VALUE);
  if (replayer.state().insideBegin) return refuse(replayer, GL_INVALID_OPERATION);
  for (uint64_t i = 0; i < names.size(); ++i) replayer.state().arrays.deleteVertexArray(names[i]);
}

void glGetVertexAttribdv(Replayer& replayer, const GetAttribRecord& record) {
  answerAttrib<GLdouble>(replayer, record, gl.glGetVertexAttribdv);
}
void glGetVertexAttribfv(Replayer& replayer, const GetAttribRecord& record) {
  answerAttrib<GLfloat>(replayer, record, gl.glGetVertexAttribfv);
}
void glGetVertexAttribiv(Replayer& replayer, const GetAttribRecord& record) {
  answerAttrib<GLint>(replayer, record, gl.glGetVertexAttribiv);
}
void glGetVertexAttribIiv(Replayer& replayer, const GetAttribRecord& record) {
  answerAttrib<GLint>(replayer, record, gl.glGetVertexAttribIiv);
}
void glGetVertexAttribIivEXT(Replayer& replayer, const GetAttribRecord& record) {
  answerAttrib<GLint>(replayer, record, gl.glGetVertexAttribIivEXT);
}
void glGetVertexAttribIuiv(Replayer& replayer, const GetAttribRecord& record) {
  answerAttrib<GLuint>(replayer, record, gl.glGetVertexAttribIuiv);
}
void glGetVertexAttribIuivEXT(Replayer& replayer, const GetAttribRecord& record) {
  answerAttrib<GLuint>(replayer, record, gl.glGetVertexAttribIuivEXT);
}
void glGetVertexAttribLdv(Replayer& replayer, const GetAttribRecord& record) {
  answerAttrib<GLdouble>(replayer, record, gl.glGetVertexAttribLdv);
}

}  // namespace replay

}  // namespace qv::peer
