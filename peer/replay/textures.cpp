// Replay of glInvalidateTexImage and glInvalidateTexSubImage.
#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

// Invalidation permits GL to forget an image and demands nothing. An OpenGL may crash over an image that was never defined, so the
// host hands it nothing and only raises the errors.
void invalidate(Replayer& replayer, GLuint texture, GLint level, bool sizesHold) {
  constexpr GLint kLevels = 32;
  if (level < 0 || level >= kLevels || !sizesHold || !gl.glIsTexture(texture)) refuse(replayer, GL_INVALID_VALUE);
}

}  // namespace

namespace replay {

void glInvalidateTexSubImage(Replayer& replayer, GLuint texture, GLint level, GLint, GLint, GLint, GLsizei width, GLsizei height,
                             GLsizei depth) {
  invalidate(replayer, texture, level, width >= 0 && height >= 0 && depth >= 0);
}
void glInvalidateTexImage(Replayer& replayer, GLuint texture, GLint level) { invalidate(replayer, texture, level, true); }

}  // namespace replay

}  // namespace qv::peer
