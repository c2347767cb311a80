// The material calls of which only the shininess travels.
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv::gl {
namespace {

// Any other pname is ignored without an error: required oddity 14. GL allows the calls inside glBegin.
template <typename Row, typename T>
void material(GLenum face, GLenum pname, T value) {
  GlContext* const context = currentContext();
  if (context && pname == GL_SHININESS) send<Row>(context, face, pname, value);
}

}  // namespace

void APIENTRY glMaterialf(GLenum face, GLenum pname, GLfloat value) { material<op::glMaterialf>(face, pname, value); }
void APIENTRY glMateriali(GLenum face, GLenum pname, GLint value) { material<op::glMateriali>(face, pname, value); }

}  // namespace qv::gl
