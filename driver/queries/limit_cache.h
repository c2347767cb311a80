// The cache of host limits: which limits a context remembers, and what a reply leaves in it.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv {

class GlContext;

// Stores a limit that a reply has brought. `values` is the reply in the form in which it was asked for; the first value counts.
// True when `pname` is a limit that the cache has a place for.
bool cacheLimit(GlContext* context, GLenum pname, const GLboolean* values);
bool cacheLimit(GlContext* context, GLenum pname, const GLint* values);
bool cacheLimit(GlContext* context, GLenum pname, const GLfloat* values);
bool cacheLimit(GlContext* context, GLenum pname, const GLdouble* values);
// Reads the low half of the first value.
bool cacheLimit(GlContext* context, GLenum pname, const GLint64* values);

// Answers a limit from the cache. False while the limit is not known, and when the context's version does not have it.
bool cachedLimit(GlContext* context, GLenum pname, int32_t& value);

// The number of entries of GL_SHADER_BINARY_FORMATS; 0 while it is not known.
int32_t shaderBinaryFormatCount(const GlContext* context);

// The host's limit of an attribute or matrix stack, by the driver's own glGetIntegerv on the current context; 0 when the host
// gives no answer.
int32_t queryStackLimit(GLenum pname);

// Fetches the limits that the driver itself needs and that are still unset, each by a round trip on the current context,
// which must be `context`.
void warmLimits(GlContext* context);

}  // namespace qv
