// Setting OpenGL's pixel store parameters.
#include "peer/replay/unpacking.h"

#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_state.h"

namespace qv::peer {
namespace {

void set(GLenum pname, GLint& has, GLint wanted) {
  if (has == wanted) return;
  gl.glPixelStorei(pname, wanted);
  has = wanted;
}

}  // namespace

void setUnpacking(ReplayState& state, const Unpacking& wanted) {
  Unpacking& has = state.unpacking;
  set(GL_UNPACK_ALIGNMENT, has.alignment, wanted.alignment);
  set(GL_UNPACK_ROW_LENGTH, has.rowLength, wanted.rowLength);
  set(GL_UNPACK_IMAGE_HEIGHT, has.imageHeight, wanted.imageHeight);
  set(GL_UNPACK_LSB_FIRST, has.lsbFirst, wanted.lsbFirst);
}

void setPacking(ReplayState& state, const Packing& wanted) {
  Packing& has = state.packing;
  set(GL_PACK_ALIGNMENT, has.alignment, wanted.alignment);
  set(GL_PACK_ROW_LENGTH, has.rowLength, wanted.rowLength);
  set(GL_PACK_IMAGE_HEIGHT, has.imageHeight, wanted.imageHeight);
  set(GL_PACK_SWAP_BYTES, has.swapBytes, wanted.swapBytes);
}

}  // namespace qv::peer
