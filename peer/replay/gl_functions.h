// The real OpenGL as function pointers, one for each row of the table.
#pragma once

#include "wire/entry_table.h"

namespace qv::peer {

// The peer links no OpenGL library by name: it may live in one library with code that defines those very names.
struct GlFunctions {
#define QV_ROW(name, ...) decltype(&::name) name = nullptr;
#include "wire/entry_points.def"
};

// Filled once, before the first context; valid for every context and every thread.
extern GlFunctions gl;

// Functions of the host's own, which no row has; null where the OpenGL lacks them. Not glGetnCompressedTexImageARB: some OpenGLs
// write beyond the room that it is told.
struct OwnGlFunctions {
  PFNGLGETNTEXIMAGEARBPROC glGetnTexImageARB = nullptr;
  PFNGLGETTEXTUREPARAMETERIVEXTPROC glGetTextureParameterivEXT = nullptr;
  PFNGLGETTEXTURELEVELPARAMETERIVEXTPROC glGetTextureLevelParameterivEXT = nullptr;
};
extern OwnGlFunctions ownGl;

// Fetches every function with `resolve`, which answers null for a name it does not know.
void loadGlFunctions(void (*(*resolve)(const char* name))());

}  // namespace qv::peer
