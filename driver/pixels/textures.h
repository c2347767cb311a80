// What the guest knows of textures: which names exist, which are bound where, and the parameter values that it repairs.
#pragma once

#include "driver/stream/gl_api.h"

namespace qv {

class GlContext;

// The guest's side of a bind: a name without an object gets its LabelRecord and, if need be, its row, and the active unit of
// the current TextureState remembers the name for one of the five targets that it tracks. Neither the target nor the name is
// checked. Name 0 gets no row.
void bindTextureName(GlContext* context, GLenum target, GLuint name);

// Whether the name has a row, be it without an object.
bool textureExists(GlContext* context, GLuint name);

// Looks at the first value of a glTexParameter: 0 when it may go to the host, with GL_CLAMP replaced in `value` by
// GL_CLAMP_TO_EDGE, or the GL error of a value that a rectangle texture does not take. T is GLint, GLuint or GLfloat.
template <typename T>
GLenum filterTexParameter(GLenum target, GLenum pname, T* value);

}  // namespace qv
