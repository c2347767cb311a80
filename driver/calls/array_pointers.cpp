// The calls that set where an array lies: each changes the record of the current vertex array and tells the host.
#include "driver/calls/vertex_arrays.h"
#include "driver/state/shared_objects.h"
#include "driver/stream/gl_routines.h"
#include "driver/stream/record_command.h"

namespace qv {
namespace {

// The context of a pointer call, after the two checks that all calls of the conventional arrays share. Null after a refusal.
template <typename Row>
GlContext* enterPointerCall(GLenum type) {
  GlContext* const context = currentContext();
  if (context == nullptr) return nullptr;
  const GLenum badType = checkArrayType(type, true);
  const GLenum error = badType != GL_NO_ERROR ? badType : context->insideBegin ? GL_INVALID_OPERATION : GL_NO_ERROR;
  if (error == GL_NO_ERROR) return context;
  refuse(context, opcodeOf<Row>, error);
  return nullptr;
}

void setConventional(GlContext* context, uint32_t row, GLint size, GLenum type, GLsizei stride, const void* pointer) {
  currentVertexArray(context)->conventional[row].setPointer(static_cast<uint32_t>(size), type, static_cast<uint32_t>(stride),
                                                            pointer, context->buffers.array, GL_FALSE, false, false);
}

template <typename Row>
void sized(GlContext* context, uint32_t row, GLint size, GLenum type, GLsizei stride, const void* pointer) {
  setConventional(context, row, size, type, stride, pointer);
  sendWords<Row>(context, ArrayPointerRecord{static_cast<uint32_t>(size), type, static_cast<uint32_t>(stride), low32(pointer),
                                             context->buffers.array});
}

template <typename Row>
void typed(uint32_t row, GLint size, GLenum type, GLsizei stride, const void* pointer) {
  GlContext* const context = enterPointerCall<Row>(type);
  if (context == nullptr) return;
  setConventional(context, row, size, type, stride, pointer);
  sendWords<Row>(context, TypedPointerRecord{type, static_cast<uint32_t>(stride), low32(pointer), context->buffers.array});
}

// The record of a generic array; null after a refusal.
template <typename Row>
VertexAttribRecord* genericRow(GlContext* context, GLuint index) {
  if (index < VertexArrayObject::kRows) return &currentVertexArray(context)->generic[index];
  refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  return nullptr;
}

template <typename Row>
void plainAttrib(GlContext* context, GLuint index, GLint size, GLenum type, GLsizei stride, const void* pointer, bool wide) {
  VertexAttribRecord* const row = genericRow<Row>(context, index);
  if (row == nullptr) return;
  row->setPointer(static_cast<uint32_t>(size), type, static_cast<uint32_t>(stride), pointer, context->buffers.array, GL_FALSE,
                  !wide, wide);
  sendWords<Row>(context, PlainAttribPointerRecord{index, static_cast<uint32_t>(size), type, static_cast<uint32_t>(stride),
                                                   low32(pointer), context->buffers.array});
}

}  // namespace

namespace gl {

// GL_BGRA needs unsigned bytes in the pointer calls, the packed types are refused: required oddity 145.

void APIENTRY glVertexPointer(GLint size, GLenum type, GLsizei stride, const void* pointer) {
  using Row = op::glVertexPointer;
  if (GlContext* const context = enterPointerCall<Row>(type)) sized<Row>(context, kArrayVertex, size, type, stride, pointer);
}

void APIENTRY glWeightPointerARB(GLint size, GLenum type, GLsizei stride, const void* pointer) {
  using Row = op::glWeightPointerARB;
  if (GlContext* const context = enterPointerCall<Row>(type)) sized<Row>(context, kArrayWeight, size, type, stride, pointer);
}

void APIENTRY glNormalPointer(GLenum type, GLsizei stride, const void* pointer) {
  typed<op::glNormalPointer>(kArrayNormal, 3, type, stride, pointer);
}

void APIENTRY glColorPointer(GLint size, GLenum type, GLsizei stride, const void* pointer) {
  using Row = op::glColorPointer;
  GlContext* const context = enterPointerCall<Row>(type);
  if (context == nullptr) return;
  if (size == GL_BGRA && type != GL_UNSIGNED_BYTE) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  sized<Row>(context, kArrayColor, size, type, stride, pointer);
}

void APIENTRY glSecondaryColorPointer(GLint size, GLenum type, GLsizei stride, const void* pointer) {
  using Row = op::glSecondaryColorPointer;
  GlContext* const context = enterPointerCall<Row>(type);
  if (context == nullptr) return;
  if (size == GL_BGRA && type != GL_UNSIGNED_BYTE) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  const GLint taken = size == GL_BGRA ? size : isPackedArrayType(type) ? 4 : 3;
  sized<Row>(context, kArraySecondaryColor, taken, type, stride, pointer);
}

void APIENTRY glFogCoordPointer(GLenum type, GLsizei stride, const void* pointer) {
  typed<op::glFogCoordPointer>(kArrayFogCoord, 1, type, stride, pointer);
}

void APIENTRY glIndexPointer(GLenum type, GLsizei stride, const void* pointer) {
  typed<op::glIndexPointer>(kArrayIndex, 1, type, stride, pointer);
}

void APIENTRY glEdgeFlagPointer(GLsizei stride, const void* pointer) {
  using Row = op::glEdgeFlagPointer;
  GlContext* const context = enterPointerCall<Row>(0);
  if (context == nullptr) return;
  setConventional(context, kArrayEdgeFlag, 1, 0, stride, pointer);
  sendWords<Row>(context, EdgeFlagPointerRecord{static_cast<uint32_t>(stride), low32(pointer), context->buffers.array});
}

void APIENTRY glTexCoordPointer(GLint size, GLenum type, GLsizei stride, const void* pointer) {
  using Row = op::glTexCoordPointer;
  if (GlContext* const context = enterPointerCall<Row>(type))
    sized<Row>(context, kArrayTexCoord0 + context->clientActiveUnit, size, type, stride, pointer);
}

void APIENTRY glVertexAttribPointer(GLuint index, GLint size, GLenum type, GLboolean normalized, GLsizei stride,
                                    const void* pointer) {
  using Row = op::glVertexAttribPointer;
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  VertexAttribRecord* const row = genericRow<Row>(context, index);
  if (row == nullptr) return;
  if (context->insideBegin) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  if (size == GL_BGRA && (!normalized || type != GL_UNSIGNED_BYTE)) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  row->setPointer(static_cast<uint32_t>(size), type, static_cast<uint32_t>(stride), pointer, context->buffers.array, normalized,
                  false, false);
  sendWords<Row>(context, AttribPointerRecord{index, static_cast<uint32_t>(size), type, normalized, static_cast<uint32_t>(stride),
                                              low32(pointer), context->buffers.array});
}

void APIENTRY glVertexAttribIPointer(GLuint index, GLint size, GLenum type, GLsizei stride, const void* pointer) {
  if (GlContext* const context = currentContext())
    plainAttrib<op::glVertexAttribIPointer>(context, index, size, type, stride, pointer, false);
}
void APIENTRY glVertexAttribIPointerEXT(GLuint index, GLint size, GLenum type, GLsizei stride, const void* pointer) {
  if (GlContext* const context = currentContext())
    plainAttrib<op::glVertexAttribIPointerEXT>(context, index, size, type, stride, pointer, false);
}

void APIENTRY glVertexAttribLPointer(GLuint index, GLint size, GLenum type, GLsizei stride, const void* pointer) {
  using Row = op::glVertexAttribLPointer;
  GlContext* const context = currentContext();
  if (context == nullptr || genericRow<Row>(context, index) == nullptr) return;
  const GLenum error = context->insideBegin                            ? GL_INVALID_OPERATION
                       : type != GL_DOUBLE                             ? GL_INVALID_ENUM
                       : size < 1 || size > 4 || stride < 0            ? GL_INVALID_VALUE
                       : pointer != nullptr && !context->buffers.array ? GL_INVALID_OPERATION
                                                                       : GL_NO_ERROR;
  if (error != GL_NO_ERROR) return refuse(context, opcodeOf<Row>, error);
  plainAttrib<Row>(context, index, size, type, stride, pointer, true);
}

// --- all arrays of one interleaved block ---

namespace {

struct InterleavedFormat {
  GLenum format;
  uint8_t texSize, colorSize, normal, vertexSize, stride, colorOffset, normalOffset, vertexOffset;
  GLenum colorType;
};

constexpr InterleavedFormat kInterleaved[] = {
    {GL_V2F, 0, 0, 0, 2, 8, 0, 0, 0, 0},
    {GL_V3F, 0, 0, 0, 3, 12, 0, 0, 0, 0},
    {GL_C4UB_V2F, 0, 4, 0, 2, 12, 0, 0, 4, GL_UNSIGNED_BYTE},
    {GL_C4UB_V3F, 0, 4, 0, 3, 16, 0, 0, 4, GL_UNSIGNED_BYTE},
    {GL_C3F_V3F, 0, 3, 0, 3, 24, 0, 0, 12, GL_FLOAT},
    {GL_N3F_V3F, 0, 0, 1, 3, 24, 0, 0, 12, 0},
    {GL_C4F_N3F_V3F, 0, 4, 1, 3, 40, 0, 16, 28, GL_FLOAT},
    {GL_T2F_V3F, 2, 0, 0, 3, 20, 0, 0, 8, 0},
    {GL_T4F_V4F, 4, 0, 0, 4, 32, 0, 0, 16, 0},
    {GL_T2F_C4UB_V3F, 2, 4, 0, 3, 24, 8, 0, 12, GL_UNSIGNED_BYTE},
    {GL_T2F_C3F_V3F, 2, 3, 0, 3, 32, 8, 0, 20, GL_FLOAT},
    {GL_T2F_N3F_V3F, 2, 0, 1, 3, 32, 0, 8, 20, 0},
    {GL_T2F_C4F_N3F_V3F, 2, 4, 1, 3, 48, 8, 24, 36, GL_FLOAT},
    {GL_T4F_C4F_N3F_V4F, 4, 4, 1, 4, 60, 16, 32, 44, GL_FLOAT},
};

}  // namespace

void APIENTRY glInterleavedArrays(GLenum format, GLsizei stride, const void* pointer) {
  GlContext* const context = enter<op::glInterleavedArrays>();
  if (context == nullptr) return;
  const InterleavedFormat* found = nullptr;
  for (const InterleavedFormat& each : kInterleaved) {
    if (each.format == format) found = &each;
  }
  if (found == nullptr) return;
  if (stride == 0) stride = found->stride;
  const auto at = [pointer](uint32_t offset) {
    return reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(pointer) + offset);
  };
  for (const GLenum array : {GL_EDGE_FLAG_ARRAY, GL_INDEX_ARRAY, GL_SECONDARY_COLOR_ARRAY, GL_FOG_COORD_ARRAY})
    glDisableClientState(array);
  if (found->texSize != 0) {
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    glTexCoordPointer(found->texSize, GL_FLOAT, stride, pointer);
  } else {
    glDisableClientState(GL_TEXTURE_COORD_ARRAY);
  }
  if (found->colorSize != 0) {
    glEnableClientState(GL_COLOR_ARRAY);
    glColorPointer(found->colorSize, found->colorType, stride, at(found->colorOffset));
  } else {
    glDisableClientState(GL_COLOR_ARRAY);
  }
  if (found->normal) {
    glEnableClientState(GL_NORMAL_ARRAY);
    glNormalPointer(GL_FLOAT, stride, at(found->normalOffset));
  } else {
    glDisableClientState(GL_NORMAL_ARRAY);
  }
  glEnableClientState(GL_VERTEX_ARRAY);
  glVertexPointer(found->vertexSize, GL_FLOAT, stride, at(found->vertexOffset));
}

}  // namespace gl
}  // namespace qv
