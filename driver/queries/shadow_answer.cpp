// The conversions of local answers, the indexed pnames and the capabilities.
#include "driver/queries/shadow_answer.h"

#include <cmath>
#include <type_traits>

#include "driver/base/conversion.h"
#include "driver/diagnostics/debug_log.h"
#include "driver/diagnostics/record_error.h"
#include "driver/state/capabilities.h"
#include "driver/state/shared_objects.h"

namespace qv {

namespace {

template <typename T>
T fromReal(const ShadowAnswer& answer, double value) {
  if constexpr (std::is_same_v<T, GLint>) {
    value *= answer.integerScale;
    return truncateTo<GLint>(answer.rounded ? std::floor(value + 0.5) : value);
  } else if constexpr (std::is_same_v<T, GLint64>) {
    return truncateTo<GLint64>(value);
  } else {
    return static_cast<T>(value);
  }
}

template <typename T>
void convert(const ShadowAnswer& answer, T* out) {
  for (uint32_t i = 0; i < answer.values; ++i) {
    out[i] =
        answer.kind == ShadowAnswer::Kind::kIntegers ? static_cast<T>(answer.integer[i]) : fromReal<T>(answer, answer.real[i]);
  }
}

ShadowAnswer one(int64_t value) {
  ShadowAnswer answer;
  answer.kind = ShadowAnswer::Kind::kIntegers;
  answer.values = 1;
  answer.integer[0] = value;
  return answer;
}

ShadowAnswer name(uint32_t value) { return one(static_cast<int32_t>(value)); }

ShadowAnswer badIndex(GlContext* context) {
  recordError(context, GL_INVALID_VALUE, 0, "glGetIntegeri_v(): bad index");
  ShadowAnswer answer;
  answer.kind = ShadowAnswer::Kind::kNothing;
  answer.booleans = 0;
  return answer;
}

// An indexed binding of buffers; an index beyond the array reads as 0: required oddity 41.
template <uint32_t N>
ShadowAnswer binding(const uint32_t (&names)[N], GLuint index) {
  return name(index < N ? names[index] : 0);
}

// The row is that of a conventional array: required oddity 102.
ShadowAnswer readVertexBinding(GlContext* context, GLenum pname, GLuint index) {
  if (index >= VertexArrayObject::kRows) return badIndex(context);
  const VertexBindingRecord& record = currentVertexArray(context)->bindings[index];
  switch (pname) {
    case GL_VERTEX_BINDING_BUFFER:
      return name(record.buffer);
    case GL_VERTEX_BINDING_OFFSET:
      return one(static_cast<int64_t>(record.offset));
    case GL_VERTEX_BINDING_STRIDE:
      return name(record.stride);
    default:
      return name(record.divisor);
  }
}

ShadowAnswer readIndexed(GlContext* context, GLenum pname, GLuint index) {
  const uint16_t version = context->contextVersion;
  const BufferBindings& buffers = context->buffers;
  switch (pname) {
    // An index beyond the array is no error: required oddity 146.
    case GL_UNIFORM_BUFFER_BINDING:
      return binding(buffers.indexedUniform, index);
    case GL_SHADER_STORAGE_BUFFER_BINDING:
      return version < 430 ? ShadowAnswer{} : binding(buffers.indexedShaderStorage, index);
    case GL_ATOMIC_COUNTER_BUFFER_BINDING:
      return version < 420 ? ShadowAnswer{} : binding(buffers.indexedAtomicCounter, index);
    case GL_TRANSFORM_FEEDBACK_BUFFER_BINDING: {
      // A limit that is not known yet lets no index pass.
      const int64_t limit = context->limits.maxTransformFeedbackSeparateAttribs;
      return index >= limit ? badIndex(context) : binding(buffers.indexedTransformFeedback, index);
    }
    case GL_VERTEX_BINDING_BUFFER:
    case GL_VERTEX_BINDING_OFFSET:
    case GL_VERTEX_BINDING_STRIDE:
    case GL_VERTEX_BINDING_DIVISOR:
      return version < 430 ? ShadowAnswer{} : readVertexBinding(context, pname, index);
    case GL_MAX_COMPUTE_WORK_GROUP_COUNT:
      return version < 430 ? ShadowAnswer{} : one(65535);
    case GL_MAX_COMPUTE_WORK_GROUP_SIZE:
      return version < 430 ? ShadowAnswer{} : one(1024);
    default: {
      const int32_t target = textureBindingByte(pname);
      if (target < 0 || index >= kTextureUnits) return {};
      return name(context->texture.current().units[index].binding(static_cast<uint32_t>(target)));
    }
  }
}

template <typename T>
bool deliver(const ShadowAnswer& answer, T* out, int32_t* count) {
  if (answer.kind == ShadowAnswer::Kind::kHost) return false;
  if (count != nullptr) *count = answer.booleans;
  convert(answer, out);
  return true;
}

}  // namespace

template <typename T>
bool answerFromShadow(GlContext* context, GLenum pname, T* out, int32_t* count) {
  if (count != nullptr) *count = 1;
  if (deliver(readShadow(context, pname), out, count)) return true;
  GLboolean enabled = 0;
  if (!answerEnable(context, pname, &enabled)) return false;
  *out = static_cast<T>(enabled);
  return true;
}

template <typename T>
bool answerIndexedFromShadow(GlContext* context, GLenum pname, GLuint index, T* out, int32_t* count) {
  return deliver(readIndexed(context, pname, index), out, count);
}

template bool answerFromShadow(GlContext*, GLenum, GLint*, int32_t*);
template bool answerFromShadow(GlContext*, GLenum, GLint64*, int32_t*);
template bool answerFromShadow(GlContext*, GLenum, GLfloat*, int32_t*);
template bool answerFromShadow(GlContext*, GLenum, GLdouble*, int32_t*);
template bool answerIndexedFromShadow(GlContext*, GLenum, GLuint, GLint*, int32_t*);
template bool answerIndexedFromShadow(GlContext*, GLenum, GLuint, GLint64*, int32_t*);
template bool answerIndexedFromShadow(GlContext*, GLenum, GLuint, GLfloat*, int32_t*);
template bool answerIndexedFromShadow(GlContext*, GLenum, GLuint, GLdouble*, int32_t*);

bool answerEnable(GlContext* context, GLenum pname, GLboolean* out) {
  const uint8_t* byte = capabilityHome(context, pname).field;
  if (byte == nullptr) byte = clientStateByte(context, pname);
  if (byte != nullptr) {
    *out = *byte;
    return true;
  }
  if (pname != GL_DEBUG_OUTPUT && pname != GL_DEBUG_OUTPUT_SYNCHRONOUS) return false;
  *out = static_cast<GLboolean>(debugInteger(context, pname));
  return true;
}

bool answerUnitEnable(GlContext* context, GLenum pname, GLuint unit, GLboolean* out) {
  const uint8_t* const byte = unitCapabilityHome(context, pname, unit).field;
  if (byte == nullptr) return false;
  *out = *byte;
  return true;
}

}  // namespace qv
