// Entry points with a rule of their own that belong to no family.
#include "driver/stream/entry_points.h"
#include "driver/stream/entry_template.h"

namespace qv::gl {
namespace {

// Only the shininess travels: any other pname returns with nothing sent and no error, and there is no begin check. This is
// required as it stands.
template <typename Row, typename T>
void material(GLenum face, GLenum pname, T value) {
  GlContext* const context = currentContext();
  if (!context || pname != GL_SHININESS) return;
  if (context->run.open) closeRun(context, kRunBroken);
  context->lastOpcode = Row::kOpcode;
  Writer<Fixed, GLenum, GLenum, T>::write(*context, opcodeOf<Row>, Plan{}, face, pname, value);
}

template <typename Row>
GLenum framebufferStatus(GLenum target) {
  GlContext* const context = currentContext();
  if (!context) return 0;
  if (context->quirkFlags & kQuirkFramebufferComplete) {
    context->lastOpcode = Row::kOpcode;
    return GL_FRAMEBUFFER_COMPLETE;
  }
  return Entry<Row>::call(target);
}

}  // namespace

void APIENTRY glMaterialf(GLenum face, GLenum pname, GLfloat value) { material<op::glMaterialf>(face, pname, value); }
void APIENTRY glMateriali(GLenum face, GLenum pname, GLint value) { material<op::glMateriali>(face, pname, value); }
GLenum APIENTRY glCheckFramebufferStatus(GLenum target) { return framebufferStatus<op::glCheckFramebufferStatus>(target); }
GLenum APIENTRY glCheckFramebufferStatusEXT(GLenum target) { return framebufferStatus<op::glCheckFramebufferStatusEXT>(target); }

}  // namespace qv::gl
