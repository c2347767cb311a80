// Replay of glBegin, glEnd and the vertex runs that stand for them, and of the marks that end a frame.
#include "driver/stream/forms.h"
#include "peer/gl_functions.h"
#include "peer/replay/hand_written.h"
#include "peer/replay/replayer.h"
#include "peer/replay/vertex_run.h"

namespace qv::peer {

bool replayBegin(Replayer& replayer, const uint8_t* payload, uint32_t) {
  const GLenum mode = get<GLenum>(payload);
  gl.glBegin(mode);
  if (!replayer.listOpen() && mode <= GL_PATCHES) replayer.setInsideBegin(true);
  return true;
}

bool replayEnd(Replayer& replayer, const uint8_t*, uint32_t) {
  gl.glEnd();
  if (!replayer.listOpen()) replayer.setInsideBegin(false);
  return true;
}

// Nothing to do: every submission's work is handed over at its end as far as anybody can see it (Context::serve).
bool replayFlush(Replayer&, const uint8_t*, uint32_t) { return true; }

// Which arrays the guest has switched on is the guest's own business: a draw brings what it draws from along.
bool replayClientState(Replayer&, const uint8_t*, uint32_t) { return true; }

// The vertex array group is left out: a later pop would bring back arrays of runs long gone (RunArrays).
bool replayPushClientAttrib(Replayer&, const uint8_t* payload, uint32_t) {
  gl.glPushClientAttrib(get<GLbitfield>(payload) & ~static_cast<GLbitfield>(GL_CLIENT_VERTEX_ARRAY_BIT));
  return true;
}

bool replayBrokenRun(Replayer& replayer, const uint8_t* payload, uint32_t bytes) {
  return replayRun(replayer, payload, bytes, false);
}

bool replayEndedRun(Replayer& replayer, const uint8_t* payload, uint32_t bytes) {
  return replayRun(replayer, payload, bytes, true);
}

}  // namespace qv::peer
