// Fills the table of real OpenGL functions.
#include "peer/replay/gl_functions.h"

namespace qv::peer {

GlFunctions gl;
OwnGlFunctions ownGl;

void loadGlFunctions(void (*(*resolve)(const char* name))()) {
#define QV_ROW(name, ...) gl.name = reinterpret_cast<decltype(gl.name)>(resolve(#name));
#include "wire/entry_points.def"
#define QV_OWN(name) ownGl.name = reinterpret_cast<decltype(ownGl.name)>(resolve(#name));
  QV_OWN(glGetnTexImageARB)
  QV_OWN(glGetTextureParameterivEXT)
  QV_OWN(glGetTextureLevelParameterivEXT)
#undef QV_OWN
}

}  // namespace qv::peer
