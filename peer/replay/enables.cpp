// Replay of glEnable and glDisable.
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

// An OpenGL may take client arrays for capabilities. Here they are switched as by glEnableClientState, and in no list.
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

// The six that the guest switches, too; it does not while a list is only compiled.
bool switchesArrays(Replayer& replayer, GLenum capability) {
  switch (capability) {
    case GL_VERTEX_ARRAY:
    case GL_NORMAL_ARRAY:
    case GL_COLOR_ARRAY:
    case GL_INDEX_ARRAY:
    case GL_TEXTURE_COORD_ARRAY:
    case GL_EDGE_FLAG_ARRAY:
      return !replayer.state().listOpen || replayer.state().listExecutes;
    default:
      return false;
  }
}

}  // namespace

namespace replay {

void glEnable(Replayer& replayer, GLenum capability) {
  if (!isClientArray(capability)) return gl.glEnable(capability);
  if (switchesArrays(replayer, capability)) glEnableClientState(replayer, capability);
}
void glDisable(Replayer& replayer, GLenum capability) {
  if (!isClientArray(capability)) return gl.glDisable(capability);
  if (switchesArrays(replayer, capability)) glDisableClientState(replayer, capability);
}

}  // namespace replay

}  // namespace qv::peer
