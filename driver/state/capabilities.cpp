// The capabilities that do not live in an attribute group: client arrays and debug output.
#include "driver/state/capabilities.h"

#include "driver/diagnostics/debug_log.h"
#include "driver/diagnostics/record_error.h"

namespace qv {

uint8_t* clientStateByte(GlContext* context, GLenum array) {
  uint32_t row = 0;
  switch (array) {
    case GL_VERTEX_ARRAY:
      row = kArrayVertex;
      break;
    case GL_WEIGHT_ARRAY_ARB:
      row = kArrayWeight;
      break;
    case GL_NORMAL_ARRAY:
      row = kArrayNormal;
      break;
    case GL_COLOR_ARRAY:
      row = kArrayColor;
      break;
    case GL_SECONDARY_COLOR_ARRAY:
      row = kArraySecondaryColor;
      break;
    case GL_FOG_COORD_ARRAY:
      row = kArrayFogCoord;
      break;
    case GL_INDEX_ARRAY:
      row = kArrayIndex;
      break;
    case GL_EDGE_FLAG_ARRAY:
      row = kArrayEdgeFlag;
      break;
    case GL_TEXTURE_COORD_ARRAY:
      row = kArrayTexCoord0 + context->clientActiveUnit;
      break;
    case GL_PRIMITIVE_RESTART_NV:
      return &context->restartNvEnabled;
    default:
      return nullptr;
  }
  return &currentVertexArray(context)->conventional[row].enabled;
}

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
