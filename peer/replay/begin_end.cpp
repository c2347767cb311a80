// Replay of glBegin and glEnd, and of the marks that end a frame.
#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer::replay {

void glBegin(Replayer& replayer, GLenum mode) {
  if (!replayer.state().insideBegin) replayer.state().arrays.beforePrimitive(replayer);
  gl.glBegin(mode);
  replayer.state().primitiveOpened(mode);
}

void glEnd(Replayer& replayer) {
  gl.glEnd();
  replayer.state().primitiveClosed();
  dropProvokedError(replayer);
}

// Nothing to do: at the end of every flush the host makes its work visible to whoever may see it (Context::serve).
void glFlush(Replayer&) {}

// The guest does not wait for it, but what it asks afterwards about fences and queries it asks of finished work.
void glFinish(Replayer&) { gl.glFinish(); }

}  // namespace qv::peer::replay
