// Replay of the pixel commands without images.
#include <algorithm>

#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"

namespace qv::peer::replay {

// Pixels outside the drawable are undefined to copy. Their numbers are cut to what can be computed with: an OpenGL that adds and
// multiplies them in 32 bits finds them inside its memory.
void glCopyPixels(Replayer&, GLint x, GLint y, GLsizei width, GLsizei height, GLenum type) {
  static constexpr GLint kFar = 32768;
  const auto near = [](GLint at) { return std::clamp(at, -kFar, kFar); };
  gl.glCopyPixels(near(x), near(y), std::min(width, kFar), std::min(height, kFar), type);
}

}  // namespace qv::peer::replay
