// The entry points of the glGet family and of glIsEnabled.
#include <cstdint>
#include <type_traits>

#include "driver/diagnostics/record_error.h"
#include "driver/queries/forward.h"
#include "driver/queries/limit_cache.h"
#include "driver/queries/shadow_answer.h"
#include "driver/state/capabilities.h"
#include "driver/stream/entry.h"
#include "driver/stream/gl_routines.h"

namespace qv {

namespace {

constexpr uint32_t kViewports = 16;

// Booleans are made from the 32-bit integer form, with its rounding: required oddity 34.
bool answerLocally(GlContext* context, GLenum pname, GLboolean* out) {
  GLint values[ShadowAnswer::kMaxValues] = {};
  int32_t count = 1;
  if (!answerFromShadow(context, pname, values, &count)) return false;
  for (int32_t i = 0; i < count; ++i) out[i] = values[i] != 0;
  return true;
}
template <typename T>
bool answerLocally(GlContext* context, GLenum pname, T* out) {
  return answerFromShadow(context, pname, out);
}

bool answerLocally(GlContext* context, GLenum pname, GLuint index, GLboolean* out) {
  GLint value = 0;
  int32_t count = 1;
  if (answerIndexedFromShadow(context, pname, index, &value, &count)) {
    if (count != 0) *out = value != 0;
    return true;
  }
  return answerUnitEnable(context, pname, index, out);
}
template <typename T>
bool answerLocally(GlContext* context, GLenum pname, GLuint index, T* out) {
  if (answerIndexedFromShadow(context, pname, index, out)) return true;
  GLboolean enabled = 0;
  if (!answerUnitEnable(context, pname, index, &enabled)) return false;
  *out = static_cast<T>(enabled);
  return true;
}

template <typename Row, typename T>
void getValues(GLenum pname, T* out) {
  GlContext* const context = enter<Row>();
  if (context == nullptr || answerLocally(context, pname, out)) return;
  if (forwardGet(context, opcodeOf<Row>, {pname}, pname, out, sizeof(T))) cacheLimit(context, pname, out);
}

template <typename Row, typename T>
void getIndexed(GLenum pname, GLuint index, T* out) {
  GlContext* const context = enter<Row>();
  if (context == nullptr || answerLocally(context, pname, index, out)) return;
  // Only index 0 of a limit is the limit.
  if (forwardGet(context, opcodeOf<Row>, {pname, index}, pname, out, sizeof(T)) && index == 0) {
    cacheLimit(context, pname, out);
  }
}

// The calls that came with viewport arrays check the index of a value that each viewport has; the EXT calls do not.
template <typename Row, typename T>
void getIndexedChecked(GLenum pname, GLuint index, T* out) {
  if (index >= kViewports && (pname == GL_VIEWPORT || pname == GL_SCISSOR_BOX || pname == GL_DEPTH_RANGE)) {
    GlContext* const context = enter<Row>();
    if (context != nullptr) recordError(context, GL_INVALID_VALUE, 0, kErrorText);
    return;
  }
  getIndexed<Row>(pname, index, out);
}

template <typename Row>
GLboolean isUnitEnabled(GLenum pname, GLuint index) {
  GlContext* const context = enter<Row>();
  if (context == nullptr) return GL_FALSE;
  GLboolean enabled = GL_FALSE;
  if (!answerUnitEnable(context, pname, index, &enabled)) {
    askHost(context, opcodeOf<Row>, {pname, index}, &enabled, sizeof enabled);
  }
  return enabled;
}

}  // namespace

namespace gl {

void APIENTRY glGetBooleanv(GLenum pname, GLboolean* data) { getValues<op::glGetBooleanv>(pname, data); }
void APIENTRY glGetIntegerv(GLenum pname, GLint* data) { getValues<op::glGetIntegerv>(pname, data); }
void APIENTRY glGetFloatv(GLenum pname, GLfloat* data) { getValues<op::glGetFloatv>(pname, data); }
void APIENTRY glGetDoublev(GLenum pname, GLdouble* data) { getValues<op::glGetDoublev>(pname, data); }
void APIENTRY glGetInteger64v(GLenum pname, GLint64* data) { getValues<op::glGetInteger64v>(pname, data); }

void APIENTRY glGetBooleani_v(GLenum target, GLuint index, GLboolean* data) {
  getIndexedChecked<op::glGetBooleani_v>(target, index, data);
}
void APIENTRY glGetIntegeri_v(GLenum target, GLuint index, GLint* data) {
  getIndexedChecked<op::glGetIntegeri_v>(target, index, data);
}
void APIENTRY glGetFloati_v(GLenum target, GLuint index, GLfloat* data) {
  getIndexedChecked<op::glGetFloati_v>(target, index, data);
}
void APIENTRY glGetDoublei_v(GLenum target, GLuint index, GLdouble* data) {
  getIndexedChecked<op::glGetDoublei_v>(target, index, data);
}
void APIENTRY glGetInteger64i_v(GLenum target, GLuint index, GLint64* data) {
  getIndexedChecked<op::glGetInteger64i_v>(target, index, data);
}
void APIENTRY glGetBooleanIndexedvEXT(GLenum target, GLuint index, GLboolean* data) {
  getIndexed<op::glGetBooleanIndexedvEXT>(target, index, data);
}
void APIENTRY glGetIntegerIndexedvEXT(GLenum target, GLuint index, GLint* data) {
  getIndexed<op::glGetIntegerIndexedvEXT>(target, index, data);
}

GLboolean APIENTRY glIsEnabled(GLenum cap) {
  GlContext* const context = enter<op::glIsEnabled>();
  if (context == nullptr) return GL_FALSE;
  GLboolean enabled = GL_FALSE;
  if (!answerEnable(context, cap, &enabled)) askHost(context, opcodeOf<op::glIsEnabled>, {cap}, &enabled, sizeof enabled);
  return enabled;
}
GLboolean APIENTRY glIsEnabledi(GLenum target, GLuint index) { return isUnitEnabled<op::glIsEnabledi>(target, index); }
GLboolean APIENTRY glIsEnabledIndexedEXT(GLenum target, GLuint index) {
  return isUnitEnabled<op::glIsEnabledIndexedEXT>(target, index);
}

}  // namespace gl

}  // namespace qv
