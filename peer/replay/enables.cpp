// Replay of glEnable and glDisable.
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"

namespace qv::peer {
namespace {

// An OpenGL may take client arrays for capabilities. An array that the guest enables has no data here: GL would read where the
// data of a run once stood. The guest itself keeps which of its arrays are enabled.
constexpr GLenum kPointSizeArray = 0x8B9C;  // GL_POINT_SIZE_ARRAY_OES
bool isClientArray(GLenum capability) {
  switch (capability) {
    case GL_VERTEX_ARRAY:
    case GL_NORMAL_ARRAY:
    case GL_COLOR_ARRAY:
    case GL_INDEX_ARRAY:
    case GL_TEXTURE_COORD_ARRAY:
    case GL_EDGE_FLAG_ARRAY:
    case GL_FOG_COORD_ARRAY:
    case GL_SECONDARY_COLOR_ARRAY:
    case GL_WEIGHT_ARRAY_ARB:
    case GL_MATRIX_INDEX_ARRAY_ARB:
    case kPointSizeArray:
      return true;
    default:
      return false;
  }
}

}  // namespace

namespace replay {

void glEnable(Replayer&, GLenum capability) {
  if (!isClientArray(capability)) gl.glEnable(capability);
}
void glDisable(Replayer&, GLenum capability) {
  if (!isClientArray(capability)) gl.glDisable(capability);
}

}  // namespace replay

}  // namespace qv::peer
