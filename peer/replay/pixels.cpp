// Replay of glCopyPixels.
#include <algorithm>

#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer::replay {

// Pixels outside the drawable have undefined values. The rectangle is cut to numbers that an OpenGL can add and multiply in 32
// bits: wrapped numbers would lead it outside its memory.
void glCopyPixels(Replayer&, GLint x, GLint y, GLsizei width, GLsizei height, GLenum type) {
  static constexpr GLint kFar = 32768;
  const auto near = [](GLint at) { return std::clamp(at, -kFar, kFar); };
  gl.glCopyPixels(near(x), near(y), std::min(width, kFar), std::min(height, kFar), type);
}

// A name or a value that the guest itself refuses changes nothing.
void glPixelStorei(Replayer& replayer, GLenum pname, GLint value) { setPixelStore(replayer.state().pixelStore, pname, value); }
void glPixelStoref(Replayer& replayer, GLenum pname, GLfloat value) {
  if (value >= -2147483648.0f && value < 2147483648.0f)
    setPixelStore(replayer.state().pixelStore, pname, static_cast<GLint>(value));
}

}  // namespace qv::peer::replay
