// The errors that the host keeps, and the replay of glGetError.
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

bool glRefused(Replayer& replayer) {
  const GLenum error = gl.glGetError();
  GLenum& held = replayer.state().heldError;
  if (held == GL_NO_ERROR) held = error;
  return error != GL_NO_ERROR;
}

void refuse(Replayer& replayer, GLenum error) {
  // An older error in GL's flag comes first. The flag cannot be read inside a primitive.
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
    // The first of two errors is the answer; one query clears both.
    error = held;
    held = GL_NO_ERROR;
  }
  replayer.answer(&error, sizeof error);
}

}  // namespace replay

}  // namespace qv::peer
