// Replay of glBegin and glEnd, and of the marks that end a frame.
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer::replay {

void glBegin(Replayer& replayer, GLenum mode) {
  gl.glBegin(mode);
  if (!replayer.state().listOpen && mode <= GL_PATCHES) replayer.state().insideBegin = true;
}

void glEnd(Replayer& replayer) {
  gl.glEnd();
  if (!replayer.state().listOpen) replayer.state().insideBegin = false;
}

// Nothing to do: every submission's work is handed over at its end as far as anybody can see it (Context::serve).
void glFlush(Replayer&) {}
void glFinish(Replayer&) {}

}  // namespace qv::peer::replay
