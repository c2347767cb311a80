// The queries of vertex arrays: answered from the record but for the current values of attributes, which the host has.
#include "driver/diagnostics/debug_log.h"
#include "driver/queries/forward.h"
#include "driver/state/shared_objects.h"
#include "driver/stream/entry.h"
#include "driver/stream/gl_routines.h"

namespace qv {
namespace {

// The value of an array's row; false for another name.
bool readRow(VertexArrayObject* arrays, GLuint index, GLenum pname, uint32_t& value) {
  const VertexAttribRecord& row = arrays->generic[index];
  const VertexBindingRecord& binding = arrays->bindingOf(row);
  switch (pname) {
    case GL_VERTEX_ATTRIB_BINDING:
      value = row.bindingIndex;
      return true;
    case GL_VERTEX_ATTRIB_RELATIVE_OFFSET:
      value = row.relativeOffset;
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_ENABLED:
      value = row.enabled;
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_SIZE:
      value = row.size;
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_STRIDE:
      value = row.stride;
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_TYPE:
      value = row.type;
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_LONG:
      value = row.isLong;
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_NORMALIZED:
      value = row.normalized;
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING:
      value = binding.buffer;
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_INTEGER:
      value = row.isInteger;
      return true;
    case GL_VERTEX_ATTRIB_ARRAY_DIVISOR:
      value = binding.divisor;
      return true;
    default:
      return false;
  }
}

template <typename Row, typename T>
void getAttrib(GLuint index, GLenum pname, T* params) {
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  if (index >= VertexArrayObject::kRows) return recordError(context, GL_INVALID_VALUE, 0, "glGetVertexAttrib(): bad index");
  if (pname == GL_CURRENT_VERTEX_ATTRIB) {
    // Attribute 0 has no current value.
    if (index == 0) return recordError(context, GL_INVALID_OPERATION, 0, "GetVertexAttrib(): bad index or pname");
    return askHost(context, opcodeOf<Row>, {index, pname}, params, 4 * sizeof(T));
  }
  uint32_t value = 0;
  if (!readRow(currentVertexArray(context), index, pname, value))
    return recordError(context, GL_INVALID_ENUM, 0, "glGetVertexAttrib(): bad pname");
  *params = static_cast<T>(static_cast<int32_t>(value));
}

// The integer and double forms all go to the host.
template <typename Row, typename T>
void askAttrib(GLuint index, GLenum pname, T* params) {
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  askHost(context, opcodeOf<Row>, {index, pname}, params, (pname == GL_CURRENT_VERTEX_ATTRIB ? 4 : 1) * sizeof(T));
}

const void* asPointer(uint64_t value) { return reinterpret_cast<const void*>(static_cast<uintptr_t>(value)); }

}  // namespace

namespace gl {

void APIENTRY glGetVertexAttribdv(GLuint index, GLenum pname, GLdouble* params) {
  getAttrib<op::glGetVertexAttribdv>(index, pname, params);
}
void APIENTRY glGetVertexAttribfv(GLuint index, GLenum pname, GLfloat* params) {
  getAttrib<op::glGetVertexAttribfv>(index, pname, params);
}
void APIENTRY glGetVertexAttribiv(GLuint index, GLenum pname, GLint* params) {
  getAttrib<op::glGetVertexAttribiv>(index, pname, params);
}
void APIENTRY glGetVertexAttribIiv(GLuint index, GLenum pname, GLint* params) {
  askAttrib<op::glGetVertexAttribIiv>(index, pname, params);
}
void APIENTRY glGetVertexAttribIivEXT(GLuint index, GLenum pname, GLint* params) {
  askAttrib<op::glGetVertexAttribIivEXT>(index, pname, params);
}
void APIENTRY glGetVertexAttribIuiv(GLuint index, GLenum pname, GLuint* params) {
  askAttrib<op::glGetVertexAttribIuiv>(index, pname, params);
}
void APIENTRY glGetVertexAttribIuivEXT(GLuint index, GLenum pname, GLuint* params) {
  askAttrib<op::glGetVertexAttribIuivEXT>(index, pname, params);
}
void APIENTRY glGetVertexAttribLdv(GLuint index, GLenum pname, GLdouble* params) {
  askAttrib<op::glGetVertexAttribLdv>(index, pname, params);
}

void APIENTRY glGetVertexAttribPointerv(GLuint index, GLenum pname, void** pointer) {
  using Row = op::glGetVertexAttribPointerv;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  if (index >= VertexArrayObject::kRows) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  if (pname != GL_VERTEX_ATTRIB_ARRAY_POINTER) return refuse(context, opcodeOf<Row>, GL_INVALID_ENUM);
  *pointer = const_cast<void*>(asPointer(currentVertexArray(context)->generic[index].pointer));
}

void APIENTRY glGetPointerv(GLenum pname, void** params) {
  GlContext* const context = enter<op::glGetPointerv>();
  if (context == nullptr) return;
  const auto row = [&](uint32_t number) {
    *params = const_cast<void*>(asPointer(currentVertexArray(context)->conventional[number].pointer));
  };
  switch (pname) {
    case GL_VERTEX_ARRAY_POINTER:
      return row(kArrayVertex);
    case GL_NORMAL_ARRAY_POINTER:
      return row(kArrayNormal);
    case GL_COLOR_ARRAY_POINTER:
      return row(kArrayColor);
    case GL_INDEX_ARRAY_POINTER:
      return row(kArrayIndex);
    case GL_TEXTURE_COORD_ARRAY_POINTER:
      return row(kArrayTexCoord0 + context->clientActiveUnit);
    case GL_EDGE_FLAG_ARRAY_POINTER:
      return row(kArrayEdgeFlag);
    case GL_FOG_COORD_ARRAY_POINTER:
      return row(kArrayFogCoord);
    case GL_SECONDARY_COLOR_ARRAY_POINTER:
      return row(kArraySecondaryColor);
    case GL_WEIGHT_ARRAY_POINTER_ARB:
      return row(kArrayWeight);
    case GL_FEEDBACK_BUFFER_POINTER:
      *params = context->feedbackBuffer;
      return;
    case GL_SELECTION_BUFFER_POINTER:
      *params = context->selectionBuffer;
      return;
    case GL_DEBUG_CALLBACK_FUNCTION:
    case GL_DEBUG_CALLBACK_USER_PARAM:
      *params = debugPointer(context, pname);
      return;
    default:
      return recordError(context, GL_INVALID_ENUM, 0, "GetPointerv(): bad pname");
  }
}

}  // namespace gl
}  // namespace qv
