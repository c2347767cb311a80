// What the guest knows of textures: which names exist, which are bound where, and the parameter values that it repairs.
#pragma once

#include "driver/state/gl_context.h"
#include "driver/state/matrix.h"
#include "wire/entry_table.h"

namespace qv {

// The guest's side of a bind: a name without an object gets its LabelRecord and, if need be, its row, and the active unit of
// the current TextureState remembers the name for one of the five targets that it tracks. Neither the target nor the name is
// checked (required oddity 22). Name 0 gets no row.
void bindTextureName(GlContext* context, GLenum target, GLuint name);

// Whether the name has a row, with or without an object.
bool textureExists(GlContext* context, GLuint name);

// Checks the first value of a glTexParameter. 0: it may go to the host; GL_CLAMP in `value` has become GL_CLAMP_TO_EDGE.
// Otherwise the GL error of a value that a rectangle texture does not take. T is GLint, GLuint or GLfloat.
template <typename T>
GLenum filterTexParameter(GLenum target, GLenum pname, T* value);

inline void shadow(op::glBindTexture, GlContext* c, GLenum target, GLuint texture) { bindTextureName(c, target, texture); }

inline void shadow(op::glActiveTexture, GlContext* c, GLenum texture) {
  const uint32_t unit = texture - GL_TEXTURE0;
  if (unit >= kTextureUnits) return;
  c->texture.current().activeUnit = unit;
  c->activeTextureUnit = unit;
  setMatrixMode(c, c->transform.current().matrixMode);
}
inline void shadow(op::glClientActiveTexture, GlContext* c, GLenum texture) {
  const uint32_t unit = texture - GL_TEXTURE0;
  if (unit < kClientUnits) c->clientActiveUnit = unit;  // required oddity 16
}

}  // namespace qv
