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

// How the driver fetches a limit at each make-current, if it is not known.
enum class Warmed : uint8_t {
  kNo,
  kAsked,  // by a question whose answer the cache stores
  // The same for a limit that bounds an array of the context: straight into its field and clamped here as well, so that a reply
  // which did not pass through the cache cannot leave more than the array holds.
  kStraight,
};

struct LimitRow {
  GLenum pname;
  int32_t LimitCache::*field;
  int32_t unset;  // marker of a limit that is not known
  Clamp clamp = Clamp::kNone;
  int32_t highest = 0;      // for a limit of bindings or units, the length of the context's array: required oddity 37
  uint16_t minVersion = 0;  // below it nothing is stored or answered
  Warmed warmed = Warmed::kNo;
  // Below its version the field is answered all the same, whatever it holds (required oddity 40), and a reply re-clamps it. Such a
  // limit has one marker, and is never answered below 0.
  bool answeredBelow = false;
  GLenum standIn = 0;  // from 3.0 on this limit is answered instead: required oddity 39
};
constexpr uint16_t kStandInFrom = 300;
constexpr int32_t kSecondMarker = -2;  // of a limit whose marker is -1 and that is not answered below its version

// The limits that are fetched stand in the order of their questions.
constexpr LimitRow kLimits[] = {
    {GL_MAX_LIGHTS, &LimitCache::maxLights, 0},
    {GL_MAX_ATTRIB_STACK_DEPTH, &LimitCache::maxAttribStackDepth, 0},
    {GL_MAX_MODELVIEW_STACK_DEPTH, &LimitCache::maxModelviewStackDepth, 0},
    {GL_MAX_PROJECTION_STACK_DEPTH, &LimitCache::maxProjectionStackDepth, 0},
    {GL_MAX_TEXTURE_STACK_DEPTH, &LimitCache::maxTextureStackDepth, 0},
    {GL_MAX_COLOR_MATRIX_STACK_DEPTH, &LimitCache::maxColorMatrixStackDepth, 0},
    {GL_MAX_VIEWPORTS, &LimitCache::maxViewports, 0},
    {GL_MAX_COLOR_ATTACHMENTS, &LimitCache::maxColorAttachments, 0},
    {.pname = GL_MAX_TEXTURE_UNITS,
     .field = &LimitCache::maxTextureUnits,
     .unset = 0,
     .clamp = Clamp::kUnsigned,
     .highest = kTextureUnits,
     .warmed = Warmed::kAsked,
     .standIn = GL_MAX_TEXTURE_IMAGE_UNITS},
    {GL_MAX_TEXTURE_IMAGE_UNITS, &LimitCache::maxTextureImageUnits, 0, Clamp::kUnsigned, kTextureUnits, 0, Warmed::kAsked},
    {GL_MAX_TEXTURE_COORDS, &LimitCache::maxTextureCoords, 0, Clamp::kUnsigned, kTextureUnits, 0, Warmed::kAsked},
    {.pname = GL_NUM_SHADER_BINARY_FORMATS,
     .field = &LimitCache::numShaderBinaryFormats,
     .unset = -1,
     .minVersion = 300,
     .warmed = Warmed::kAsked,
     .answeredBelow = true},
    {GL_MAX_TRANSFORM_FEEDBACK_SEPARATE_ATTRIBS, &LimitCache::maxTransformFeedbackSeparateAttribs, -1, Clamp::kSigned,
     BufferBindings::kTransformFeedback, 0, Warmed::kStraight},
    {.pname = GL_MAX_UNIFORM_BUFFER_BINDINGS,
     .field = &LimitCache::maxUniformBufferBindings,
     .unset = -1,
     .clamp = Clamp::kSigned,
     .highest = BufferBindings::kUniform,
     .minVersion = 300,
     .warmed = Warmed::kStraight,
     .answeredBelow = true},
    {GL_MAX_ATOMIC_COUNTER_BUFFER_BINDINGS, &LimitCache::maxAtomicCounterBufferBindings, -1, Clamp::kSigned,
     BufferBindings::kAtomicCounter, 420, Warmed::kStraight},
    {GL_MAX_SHADER_STORAGE_BUFFER_BINDINGS, &LimitCache::maxShaderStorageBufferBindings, -1, Clamp::kSigned,
     BufferBindings::kShaderStorage, 430, Warmed::kStraight},
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

bool isUnset(const LimitRow& row, int32_t value) {
  return value == row.unset || (row.unset == -1 && !row.answeredBelow && value == kSecondMarker);
}

bool store(GlContext* context, GLenum pname, int32_t value) {
  const LimitRow* const row = limitRow(pname);
  if (row == nullptr) return false;
  int32_t& field = context->limits.*(row->field);
  if (context->contextVersion >= row->minVersion) {
    field = clamped(*row, value);
  } else if (row->answeredBelow) {
    field = clamped(*row, field);
  }
  return true;
}

// Asks for a limit; the reply passes through the cache.
void ask(GLenum pname) {
  GLint scratch = 0;
  gl::glGetIntegerv(pname, &scratch);
}

void warm(GlContext* context, const LimitRow& row) {
  int32_t& field = context->limits.*(row.field);
  if (field != row.unset) return;
  if (context->contextVersion < row.minVersion) {
    if (row.answeredBelow) field = clamped(row, field);
  } else if (row.warmed == Warmed::kAsked) {
    ask(row.pname);
  } else {
    gl::glGetIntegerv(row.pname, &field);
    field = clamped(row, field);
  }
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
  if (row->standIn != 0 && context->contextVersion >= kStandInFrom) {
    row = limitRow(row->standIn);
    if (isUnset(*row, context->limits.*(row->field))) ask(row->pname);
  }
  const int32_t field = context->limits.*(row->field);
  const bool hasVersion = context->contextVersion >= row->minVersion;
  if (hasVersion ? isUnset(*row, field) : !row->answeredBelow) return false;
  value = row->answeredBelow ? std::max(clamped(*row, field), 0) : field;
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
  for (const LimitRow& row : kLimits) {
    if (row.warmed != Warmed::kNo) warm(context, row);
  }
}

}  // namespace qv
