// glPixelStore: a refused value stays here; an accepted one is stored in the context and sent.
#include <cmath>

#include "driver/base/conversion.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv::gl {

void APIENTRY glPixelStorei(GLenum pname, GLint param) {
  GlContext* const context = enter<op::glPixelStorei>();
  if (!context) return;
  if (const GLenum error = setPixelStore(context->pixelStore, pname, param))
    return refuse(context, opcodeOf<op::glPixelStorei>, error);
  send<op::glPixelStorei>(context, pname, param);
}

// The host gets the value that was stored: rounded to the nearest integer, halves upward.
void APIENTRY glPixelStoref(GLenum pname, GLfloat param) {
  GlContext* const context = enter<op::glPixelStoref>();
  if (!context) return;
  const int32_t rounded = truncateTo<int32_t>(std::floor(static_cast<double>(param) + 0.5));
  if (const GLenum error = setPixelStore(context->pixelStore, pname, rounded))
    return refuse(context, opcodeOf<op::glPixelStoref>, error);
  send<op::glPixelStoref>(context, pname, static_cast<GLfloat>(rounded));
}

}  // namespace qv::gl
