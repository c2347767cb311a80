// Replay of glCopyPixels.
#include <algorithm>

#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"

namespace qv::peer::replay {

// Pixels outside the drawable have undefined values. The rectangle is cut to numbers that an OpenGL can add and multiply in 32
// bits: wrapped numbers would lead it outside its memory.
void glCopyPixels(Replayer&, GLint x, GLint y, GLsizei width, GLsizei height, GLenum type) {
  static constexpr GLint kFar = 32768;
  const auto near = [](GLint at) { return std::clamp(at, -kFar, kFar); };
  gl.glCopyPixels(near(x), near(y), std::min(width, kFar), std::min(height, kFar), type);
}

}  // namespace qv::peer::replay
