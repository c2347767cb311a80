// Capabilities that do not live in an attribute group: client arrays and debug output.
#include "driver/calls/enables.h"

#include "driver/diagnostics/debug_log.h"
#include "driver/diagnostics/record_error.h"

namespace qv {

bool setClientState(GlContext* context, GLenum array, uint8_t value) {
  uint8_t* const byte = clientStateByte(context, array);
  if (byte == nullptr) {
    recordError(context, GL_INVALID_ENUM, 0, "EnableClientState(): bad array");
    return false;
  }
  *byte = value;
  return true;
}

bool setDistantCapability(GlContext* context, GLenum capability, uint8_t value) {
  switch (capability) {
    // GL does not define these as capabilities; glEnable and glDisable take them all the same, and the host is told as well.
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

}  // namespace qv
