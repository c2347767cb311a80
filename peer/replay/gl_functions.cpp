// Fills the table of real OpenGL functions.
#include "peer/replay/gl_functions.h"

namespace qv::peer {

GlFunctions gl;
OwnGlFunctions ownGl;

void loadGlFunctions(void (*(*resolve)(const char* name))()) {
#define QV_ROW(name, ...) gl.name = reinterpret_cast<decltype(gl.name)>(resolve(#name));
#include "wire/entry_points.def"
  ownGl.glGetnTexImageARB = reinterpret_cast<decltype(ownGl.glGetnTexImageARB)>(resolve("glGetnTexImageARB"));
}

}  // namespace qv::peer
