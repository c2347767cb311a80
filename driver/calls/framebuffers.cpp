// The status of framebuffer objects, which a quirk answers without the host.
#include "driver/calls/framebuffers.h"

#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv::gl {
namespace {

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

GLenum APIENTRY glCheckFramebufferStatus(GLenum target) { return framebufferStatus<op::glCheckFramebufferStatus>(target); }
GLenum APIENTRY glCheckFramebufferStatusEXT(GLenum target) { return framebufferStatus<op::glCheckFramebufferStatusEXT>(target); }

}  // namespace qv::gl
