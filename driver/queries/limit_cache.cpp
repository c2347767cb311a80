// The cached limits, a row each, and the fetching of those that every context needs.
#include "driver/queries/limit_cache.h"

#include <algorithm>

#include "driver/base/conversion.h"
#include "driver/queries/value_count.h"
#include "driver/state/gl_context.h"
#include "driver/stream/gl_routines.h"

namespace qv {

namespace {

enum class Clamp : uint8_t {
  kNone,
  kUnsigned,  // a negative reply counts as the highest
  kSigned,    // a negative reply counts as 0
};

struct LimitRow {
  GLenum pname;
  int32_t LimitCache::*field;
  int32_t unset;  // value of a limit that is not known; where it is -1, isUnset mostly takes -2 as well
  Clamp clamp;
  int32_t highest;      // for a limit of bindings or units, the length of the context's array: required oddity 37
  uint16_t minVersion;  // below it nothing is stored or answered
};

constexpr LimitRow kLimits[] = {
    {GL_MAX_LIGHTS, &LimitCache::maxLights, 0, Clamp::kNone, 0, 0},
    {GL_MAX_ATTRIB_STACK_DEPTH, &LimitCache::maxAttribStackDepth, 0, Clamp::kNone, 0, 0},
    {GL_MAX_MODELVIEW_STACK_DEPTH, &LimitCache::maxModelviewStackDepth, 0, Clamp::kNone, 0, 0},
    {GL_MAX_PROJECTION_STACK_DEPTH, &LimitCache::maxProjectionStackDepth, 0, Clamp::kNone, 0, 0},
    {GL_MAX_TEXTURE_STACK_DEPTH, &LimitCache::maxTextureStackDepth, 0, Clamp::kNone, 0, 0},
    {GL_MAX_COLOR_MATRIX_STACK_DEPTH, &LimitCache::maxColorMatrixStackDepth, 0, Clamp::kNone, 0, 0},
    {GL_MAX_VIEWPORTS, &LimitCache::maxViewports, 0, Clamp::kNone, 0, 0},
    {GL_MAX_COLOR_ATTACHMENTS, &LimitCache::maxColorAttachments, 0, Clamp::kNone, 0, 0},
    {GL_MAX_TEXTURE_COORDS, &LimitCache::maxTextureCoords, 0, Clamp::kUnsigned, kTextureUnits, 0},
    {GL_MAX_TEXTURE_IMAGE_UNITS, &LimitCache::maxTextureImageUnits, 0, Clamp::kUnsigned, kTextureUnits, 0},
    {GL_MAX_TEXTURE_UNITS, &LimitCache::maxTextureUnits, 0, Clamp::kUnsigned, kTextureUnits, 0},
    {GL_NUM_SHADER_BINARY_FORMATS, &LimitCache::numShaderBinaryFormats, -1, Clamp::kNone, 0, 300},
    {GL_MAX_TRANSFORM_FEEDBACK_SEPARATE_ATTRIBS, &LimitCache::maxTransformFeedbackSeparateAttribs, -1, Clamp::kSigned,
     BufferBindings::kTransformFeedback, 0},
    {GL_MAX_UNIFORM_BUFFER_BINDINGS, &LimitCache::maxUniformBufferBindings, -1, Clamp::kSigned, BufferBindings::kUniform, 300},
    {GL_MAX_ATOMIC_COUNTER_BUFFER_BINDINGS, &LimitCache::maxAtomicCounterBufferBindings, -1, Clamp::kSigned,
     BufferBindings::kAtomicCounter, 420},
    {GL_MAX_SHADER_STORAGE_BUFFER_BINDINGS, &LimitCache::maxShaderStorageBufferBindings, -1, Clamp::kSigned,
     BufferBindings::kShaderStorage, 430},
    {GL_MAX_VERTEX_ATTRIB_BINDINGS, &LimitCache::maxVertexAttribBindings, -1, Clamp::kNone, 0, 430},
    {GL_MAX_VERTEX_ATTRIB_RELATIVE_OFFSET, &LimitCache::maxVertexAttribRelativeOffset, -1, Clamp::kNone, 0, 430},
};

const LimitRow* limitRow(GLenum pname) {
  for (const LimitRow& row : kLimits) {
    if (row.pname == pname) return &row;
  }
  return nullptr;
}

int32_t clamped(const LimitRow& row, int32_t value) {
  switch (row.clamp) {
    case Clamp::kUnsigned:
      return static_cast<int32_t>(std::min(static_cast<uint32_t>(value), static_cast<uint32_t>(row.highest)));
    case Clamp::kSigned:
      return std::clamp(value, 0, row.highest);
    case Clamp::kNone:
      break;
  }
  return value;
}

// Two limits are unset at -1 alone: any other value below 1 of the binary formats came from the host and reads as 0.
bool isUnset(const LimitRow& row, int32_t value) {
  if (value == row.unset) return true;
  const bool oneMarker = row.pname == GL_NUM_SHADER_BINARY_FORMATS || row.pname == GL_MAX_UNIFORM_BUFFER_BINDINGS;
  return row.unset == -1 && value == -2 && !oneMarker;
}

bool store(GlContext* context, GLenum pname, int32_t value) {
  const LimitRow* const row = limitRow(pname);
  if (row == nullptr) return false;
  int32_t& field = context->limits.*(row->field);
  if (context->contextVersion >= row->minVersion) {
    field = clamped(*row, value);
  } else if (pname == GL_MAX_UNIFORM_BUFFER_BINDINGS) {
    field = clamped(*row, field);
  }
  return true;
}

// Asks for a limit whose field is still unset; glGetIntegerv stores the reply through cacheLimit.
void warm(GlContext* context, GLenum pname, uint16_t minVersion) {
  if (context->contextVersion < minVersion) return;
  const LimitRow& row = *limitRow(pname);
  if (context->limits.*(row.field) != row.unset) return;
  GLint scratch = 0;
  gl::glGetIntegerv(pname, &scratch);
}

// The same for a limit that bounds an array of the context. It is fetched straight into its field and clamped here as well,
// so that a reply which did not pass through the cache cannot leave more than the array holds.
void warmBound(GlContext* context, GLenum pname) {
  const LimitRow& row = *limitRow(pname);
  int32_t& field = context->limits.*(row.field);
  if (field != row.unset || context->contextVersion < row.minVersion) return;
  gl::glGetIntegerv(pname, &field);
  field = clamped(row, field);
}

}  // namespace

bool cacheLimit(GlContext* context, GLenum pname, const GLboolean* values) {
  // The byte as it is, so that a boolean stays in the cache: required oddity 38.
  return store(context, pname, *values);
}
bool cacheLimit(GlContext* context, GLenum pname, const GLint* values) { return store(context, pname, *values); }
bool cacheLimit(GlContext* context, GLenum pname, const GLfloat* values) {
  return store(context, pname, truncateTo<int32_t>(static_cast<double>(*values)));
}
bool cacheLimit(GlContext* context, GLenum pname, const GLdouble* values) {
  return store(context, pname, truncateTo<int32_t>(*values));
}
bool cacheLimit(GlContext* context, GLenum pname, const GLint64* values) {
  return store(context, pname, static_cast<int32_t>(*values));
}

bool cachedLimit(GlContext* context, GLenum pname, int32_t& value) {
  const LimitRow* row = limitRow(pname);
  if (row == nullptr) return false;
  const uint16_t version = context->contextVersion;
  if (pname == GL_MAX_TEXTURE_UNITS && version >= 300) {
    // The limit of image units stands for that of fixed-function units: required oddity 39.
    row = limitRow(GL_MAX_TEXTURE_IMAGE_UNITS);
    if (context->limits.maxTextureImageUnits == 0) {
      GLint scratch = 0;
      gl::glGetIntegerv(GL_MAX_TEXTURE_IMAGE_UNITS, &scratch);
    }
  }
  const int32_t field = context->limits.*(row->field);
  if (pname == GL_NUM_SHADER_BINARY_FORMATS || pname == GL_MAX_UNIFORM_BUFFER_BINDINGS) {
    // Below their version these two are answered whatever the field holds: required oddity 40.
    if (version >= row->minVersion && isUnset(*row, field)) return false;
    value = pname == GL_NUM_SHADER_BINARY_FORMATS ? std::max(field, 0) : clamped(*row, field);
    return true;
  }
  if (version < row->minVersion || isUnset(*row, field)) return false;
  value = field;
  return true;
}

int32_t shaderBinaryFormatCount(const GlContext* context) {
  return boundedCount(context->limits.numShaderBinaryFormats, kMostFormats);
}

int32_t queryStackLimit(GLenum pname) {
  GLint limit = 0;
  gl::glGetIntegerv(pname, &limit);
  return limit;
}

void warmLimits(GlContext* context) {
  warm(context, GL_MAX_TEXTURE_UNITS, 0);
  warm(context, GL_MAX_TEXTURE_IMAGE_UNITS, 0);
  warm(context, GL_MAX_TEXTURE_COORDS, 0);
  warm(context, GL_NUM_SHADER_BINARY_FORMATS, 300);
  warmBound(context, GL_MAX_TRANSFORM_FEEDBACK_SEPARATE_ATTRIBS);
  warmBound(context, GL_MAX_UNIFORM_BUFFER_BINDINGS);
  if (context->limits.maxUniformBufferBindings == -1) context->limits.maxUniformBufferBindings = 0;
  warmBound(context, GL_MAX_ATOMIC_COUNTER_BUFFER_BINDINGS);
  warmBound(context, GL_MAX_SHADER_STORAGE_BUFFER_BINDINGS);
}

}  // namespace qv
