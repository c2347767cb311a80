// Vertex array objects, formats and bindings of attributes, and their switches.
#include "driver/calls/vertex_arrays.h"

#include "driver/state/buffer_bindings.h"
#include "driver/state/shared_objects.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv {
namespace {

template <typename Row>
void switchAttrib(GLuint index, bool on) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (index >= VertexArrayObject::kRows) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  currentVertexArray(context)->generic[index].setEnabled(on);
  send<Row>(context, index);
}

// The command goes out whatever the index is: required oddity 101. An attribute with a divisor of its own falls back to its own
// binding.
template <typename Row>
void setDivisor(GLuint index, GLuint divisor) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  send<Row>(context, index, divisor);
  if (index >= VertexArrayObject::kRows) return;
  VertexArrayObject* const arrays = currentVertexArray(context);
  arrays->generic[index].bindingIndex = static_cast<uint8_t>(index);
  arrays->bindingOf(arrays->generic[index]).divisor = divisor;
}

enum class FormatFamily { Real, Integer, Double };

// What the three format calls check, in this order: the type and the primitive, the size, the offset against a limit of the host,
// the vertex array, and whether size and type fit each other.
GLenum checkFormat(GlContext* context, FormatFamily family, GLint size, GLenum type, GLboolean normalized,
                   GLuint relativeOffset) {
  if (family != FormatFamily::Double) {
    if (const GLenum badType = checkArrayType(type, false)) return badType;
    if (context->insideBegin) return GL_INVALID_OPERATION;
  }
  if ((size < 1 || size > 4) && size != GL_BGRA) return GL_INVALID_VALUE;
  // Without the limit, below version 4.3, no offset passes; the nested call has recorded an error already.
  GLint limit = 0;
  gl::glGetIntegerv(GL_MAX_VERTEX_ATTRIB_RELATIVE_OFFSET, &limit);
  if (relativeOffset >= static_cast<GLuint>(limit < 0 ? 0 : limit)) return GL_INVALID_VALUE;
  const bool smallFloats = type == GL_UNSIGNED_INT_10F_11F_11F_REV;
  if (family != FormatFamily::Real && smallFloats) return GL_INVALID_ENUM;
  if (context->boundVertexArray == 0) return GL_INVALID_OPERATION;
  if (isPackedArrayType(type) && size != 4 && size != GL_BGRA) return GL_INVALID_OPERATION;
  if (size == GL_BGRA && type != GL_UNSIGNED_BYTE && !isPackedArrayType(type)) return GL_INVALID_OPERATION;
  if (smallFloats && size != 3) return GL_INVALID_OPERATION;
  if (family == FormatFamily::Real && size == GL_BGRA && !normalized) return GL_INVALID_OPERATION;
  return GL_NO_ERROR;
}

template <typename Row>
bool setFormat(GlContext* context, FormatFamily family, GLuint index, GLint size, GLenum type, GLboolean normalized,
               GLuint relativeOffset) {
  const GLenum error = checkFormat(context, family, size, type, normalized, relativeOffset);
  if (error != GL_NO_ERROR) {
    refuse(context, opcodeOf<Row>, error);
    return false;
  }
  // An attribute that the guest keeps no record of is the host's to refuse.
  if (index < VertexArrayObject::kRows) {
    currentVertexArray(context)->generic[index].setFormat(static_cast<uint32_t>(size), type, normalized, relativeOffset,
                                                          family == FormatFamily::Integer, family == FormatFamily::Double);
  }
  return true;
}

// The two checks of the calls that change bindings. The bound index is that of the binding.
template <typename Row>
bool mayBind(GlContext* context, GLuint bindingIndex) {
  const GLenum error = bindingIndex >= VertexArrayObject::kRows ? GL_INVALID_VALUE
                       : context->boundVertexArray == 0         ? GL_INVALID_OPERATION
                                                                : GL_NO_ERROR;
  if (error == GL_NO_ERROR) return true;
  refuse(context, opcodeOf<Row>, error);
  return false;
}

}  // namespace

namespace gl {

// Any name will do: required oddity 100.
void APIENTRY glBindVertexArray(GLuint array) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  send<op::glBindVertexArray>(context, array);
  bindVertexArrayName(context, array);
}

void APIENTRY glDeleteVertexArrays(GLsizei n, const GLuint* arrays) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  send<op::glDeleteVertexArrays>(context, n, arrays);
  for (GLsizei i = 0; i < n; ++i) {
    if (arrays[i] == context->boundVertexArray) context->boundVertexArray = 0;
  }
  context->vertexArrayTable.removeNames(n, arrays);
}

void APIENTRY glEnableVertexAttribArray(GLuint index) { switchAttrib<op::glEnableVertexAttribArray>(index, true); }
void APIENTRY glDisableVertexAttribArray(GLuint index) { switchAttrib<op::glDisableVertexAttribArray>(index, false); }

void APIENTRY glVertexAttribDivisor(GLuint index, GLuint divisor) { setDivisor<op::glVertexAttribDivisor>(index, divisor); }
void APIENTRY glVertexAttribDivisorARB(GLuint index, GLuint divisor) { setDivisor<op::glVertexAttribDivisorARB>(index, divisor); }

void APIENTRY glVertexAttribFormat(GLuint attribindex, GLint size, GLenum type, GLboolean normalized, GLuint relativeoffset) {
  using Row = op::glVertexAttribFormat;
  GlContext* const context = currentContext();
  if (context != nullptr && setFormat<Row>(context, FormatFamily::Real, attribindex, size, type, normalized, relativeoffset))
    send<Row>(context, attribindex, size, type, normalized, relativeoffset);
}
void APIENTRY glVertexAttribIFormat(GLuint attribindex, GLint size, GLenum type, GLuint relativeoffset) {
  using Row = op::glVertexAttribIFormat;
  GlContext* const context = currentContext();
  if (context != nullptr && setFormat<Row>(context, FormatFamily::Integer, attribindex, size, type, GL_FALSE, relativeoffset))
    send<Row>(context, attribindex, size, type, relativeoffset);
}
void APIENTRY glVertexAttribLFormat(GLuint attribindex, GLint size, GLenum type, GLuint relativeoffset) {
  using Row = op::glVertexAttribLFormat;
  GlContext* const context = currentContext();
  if (context != nullptr && setFormat<Row>(context, FormatFamily::Double, attribindex, size, type, GL_FALSE, relativeoffset))
    send<Row>(context, attribindex, size, type, relativeoffset);
}

void APIENTRY glVertexAttribBinding(GLuint attribindex, GLuint bindingindex) {
  using Row = op::glVertexAttribBinding;
  GlContext* const context = currentContext();
  if (context == nullptr || !mayBind<Row>(context, bindingindex)) return;
  if (attribindex < VertexArrayObject::kRows)
    currentVertexArray(context)->generic[attribindex].bindingIndex = static_cast<uint8_t>(bindingindex);
  send<Row>(context, attribindex, bindingindex);
}

void APIENTRY glVertexBindingDivisor(GLuint bindingindex, GLuint divisor) {
  using Row = op::glVertexBindingDivisor;
  GlContext* const context = currentContext();
  if (context == nullptr || !mayBind<Row>(context, bindingindex)) return;
  currentVertexArray(context)->bindings[VertexArrayObject::kRows + bindingindex].divisor = divisor;
  send<Row>(context, bindingindex, divisor);
}

void APIENTRY glBindVertexBuffer(GLuint bindingindex, GLuint buffer, GLintptr offset, GLsizei stride) {
  using Row = op::glBindVertexBuffer;
  GlContext* const context = currentContext();
  if (context == nullptr || !mayBind<Row>(context, bindingindex)) return;
  constexpr GLsizei kMostStride = 2048;
  if (offset < 0 || stride > kMostStride) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  if (buffer != 0 && findBuffer(context, buffer) == nullptr) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  VertexBindingRecord& binding = currentVertexArray(context)->bindings[VertexArrayObject::kRows + bindingindex];
  binding.buffer = buffer;
  binding.offset = static_cast<uint64_t>(offset);
  binding.stride = static_cast<uint32_t>(stride);
  send<Row>(context, bindingindex, buffer, offset, stride);
}

}  // namespace gl
}  // namespace qv
