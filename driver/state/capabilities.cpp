// The bytes of client arrays, which live in the current vertex array object.
#include "driver/state/capabilities.h"

#include "driver/state/shared_objects.h"

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
      return &context->nvRestartEnabled;
    default:
      return nullptr;
  }
  return &currentVertexArray(context)->conventional[row].enabled;
}

}  // namespace qv
