// GL errors that the host itself raises. GL has no call that sets an error, so the host keeps them.
#pragma once

#include "wire/gl_api.h"

namespace qv::peer {

class Replayer;

// Raises `error` for a command that the host does not hand to GL. The guest's next glGetError answers it, unless an earlier error
// is pending.
void refuse(Replayer& replayer, GLenum error);

// Moves the pending error of GL, if any, to the host: an error that GL's flag shows afterwards is a later one. Not inside a
// primitive.
void holdGlError(Replayer& replayer);

// Whether GL has raised an error since holdGlError(); the host then keeps that error, too. Not inside a primitive.
bool glRefused(Replayer& replayer);

// Asks GL whether a primitive is open. An open primitive answers with an error, which dropProvokedError() removes.
bool askWhetherPrimitiveIsOpen(Replayer& replayer);

// Removes the error that askWhetherPrimitiveIsOpen() has provoked, once the primitive is closed.
void dropProvokedError(Replayer& replayer);

}  // namespace qv::peer
