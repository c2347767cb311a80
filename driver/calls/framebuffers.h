// The shadow of framebuffer bindings.
#pragma once

#include "driver/state/gl_context.h"
#include "wire/entry_table.h"

namespace qv {

inline void shadow(op::glBindFramebuffer, GlContext* c, GLenum target, GLuint framebuffer) {
  if (target == GL_DRAW_FRAMEBUFFER || target == GL_FRAMEBUFFER) c->drawFramebuffer = framebuffer;
  if (target == GL_READ_FRAMEBUFFER || target == GL_FRAMEBUFFER) c->readFramebuffer = framebuffer;
}
inline void shadow(op::glBindFramebufferEXT, GlContext* c, GLenum target, GLuint framebuffer) {
  shadow(op::glBindFramebuffer{}, c, target, framebuffer);
}

}  // namespace qv
