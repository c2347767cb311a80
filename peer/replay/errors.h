// GL errors of the peer's own finding: GL has no call that sets one.
#pragma once

#include "wire/gl_api.h"

namespace qv::peer {

class Replayer;

// The guest's next glGetError answers `error`, unless an earlier error stands. The command is not handed to GL.
void refuse(Replayer& replayer, GLenum error);

// Takes GL's error into the peer's keeping, so that what GL's flag says next is about what comes next. Not inside a primitive.
void holdGlError(Replayer& replayer);

// Whether a primitive is open, asked of GL. The question itself leaves no error.
bool askWhetherPrimitiveIsOpen(Replayer& replayer);

// A primitive has been closed: an error that the question above has provoked is taken away.
void dropProvokedError(Replayer& replayer);

}  // namespace qv::peer
