// Replay of glEnable and glDisable.
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"

namespace qv::peer {
namespace {

// Client arrays, which this OpenGL takes for capabilities too. An array that is on without data of its own would make GL read where
// a run's data once stood. Which arrays are on is the guest's own business, as with glEnableClientState.
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
