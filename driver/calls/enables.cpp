// Capabilities that do not live in an attribute group: client arrays and debug output.
#include "driver/calls/enables.h"

#include "driver/diagnostics/debug_log.h"
#include "driver/diagnostics/record_error.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv {

bool setClientState(GlContext* context, GLenum array, uint8_t value) {
  if (storeClientState(context, array, value != 0)) return true;
  recordError(context, GL_INVALID_ENUM, 0, "EnableClientState(): bad array");
  return false;
}

bool setDistantCapability(GlContext* context, GLenum capability, uint8_t value) {
  switch (capability) {
    // Client arrays are no capabilities of GL: required oddity 15.
    case GL_VERTEX_ARRAY:
    case GL_NORMAL_ARRAY:
    case GL_COLOR_ARRAY:
    case GL_INDEX_ARRAY:
    case GL_TEXTURE_COORD_ARRAY:
    case GL_EDGE_FLAG_ARRAY:
      return setClientState(context, capability, value);
    case GL_DEBUG_OUTPUT:
    case GL_DEBUG_OUTPUT_SYNCHRONOUS:
      setDebugCapability(context, capability, value);
      return true;
    default:
      return false;
  }
}

namespace gl {
namespace {

// The host is told neither of an unknown array, which is refused, nor of GL_PRIMITIVE_RESTART_NV, which is the guest's own.
template <typename Row>
void clientState(GLenum array, uint8_t value) {
  GlContext* const context = enter<Row>();
  if (!context || !setClientState(context, array, value) || array == GL_PRIMITIVE_RESTART_NV) return;
  send<Row>(context, array);
}

}  // namespace

void APIENTRY glEnableClientState(GLenum array) { clientState<op::glEnableClientState>(array, 1); }
void APIENTRY glDisableClientState(GLenum array) { clientState<op::glDisableClientState>(array, 0); }

}  // namespace gl
}  // namespace qv
