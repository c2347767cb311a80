// The keeping of errors, and the replay of glGetError.
#include "peer/replay/errors.h"

#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {

void holdGlError(Replayer& replayer) {
  const GLenum error = gl.glGetError();
  GLenum& held = replayer.state().heldError;
  if (held == GL_NO_ERROR) held = error;
}

void refuse(Replayer& replayer, GLenum error) {
  // GL's flag may hold an older error, which comes first. Inside a primitive it cannot be asked.
  if (!replayer.state().insideBegin) holdGlError(replayer);
  GLenum& held = replayer.state().heldError;
  if (held == GL_NO_ERROR) held = error;
}

bool askWhetherPrimitiveIsOpen(Replayer& replayer) {
  GLint answer = -1;
  gl.glGetIntegerv(GL_ARRAY_BUFFER_BINDING, &answer);
  if (answer != -1) return false;
  replayer.state().errorProvoked = true;
  return true;
}

void dropProvokedError(Replayer& replayer) {
  ReplayState& state = replayer.state();
  if (!state.errorProvoked || state.insideBegin) return;
  state.errorProvoked = false;
  const GLenum error = gl.glGetError();
  if (error != GL_INVALID_OPERATION && state.heldError == GL_NO_ERROR) state.heldError = error;
}

namespace replay {

void glGetError(Replayer& replayer) {
  GLenum error = gl.glGetError();
  GLenum& held = replayer.state().heldError;
  if (held != GL_NO_ERROR) {
    // Of two errors the first counts, and one question clears both.
    error = held;
    held = GL_NO_ERROR;
  }
  replayer.answer(&error, sizeof error);
}

}  // namespace replay

}  // namespace qv::peer
