// The shadow of query objects: which one runs on each target, and which results are known.
#pragma once

#include "driver/state/gl_context.h"
#include "wire/entry_table.h"

namespace qv {

// The query `id` begins on the target, or with 0 the one that runs there ends; also when the host refuses it: required oddity 185.
void trackQuery(GlContext* context, GLenum target, GLuint index, GLuint id);

inline void shadow(op::glBeginQuery, GlContext* c, GLenum target, GLuint id) { trackQuery(c, target, 0, id); }
inline void shadow(op::glEndQuery, GlContext* c, GLenum target) { trackQuery(c, target, 0, 0); }
inline void shadow(op::glBeginQueryIndexed, GlContext* c, GLenum target, GLuint index, GLuint id) {
  trackQuery(c, target, index, id);
}
inline void shadow(op::glEndQueryIndexed, GlContext* c, GLenum target, GLuint index) { trackQuery(c, target, index, 0); }

}  // namespace qv
