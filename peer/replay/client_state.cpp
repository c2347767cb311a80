// Replay of the client state commands, of which the guest keeps the state.
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"

namespace qv::peer::replay {

// Which arrays the guest has switched on does not concern the host: a draw brings its data along.
void glEnableClientState(Replayer&, GLenum) {}
void glDisableClientState(Replayer&, GLenum) {}
void glClientActiveTexture(Replayer&, GLenum) {}

// The vertex array group is left out: a later pop would bring back pointers to runs that are gone (RunArrays).
void glPushClientAttrib(Replayer&, GLbitfield mask) {
  gl.glPushClientAttrib(mask & ~static_cast<GLbitfield>(GL_CLIENT_VERTEX_ARRAY_BIT));
}

}  // namespace qv::peer::replay
