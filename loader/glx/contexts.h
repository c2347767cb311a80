// GLX contexts, and which of them with which drawable is current on a thread.
#pragma once

#include "loader/glx/drawables.h"

namespace qv::loader {

// A GLXContext is a pointer to one of these.
struct GlxContext {
  HGLRC handle = nullptr;
  const FbConfig* config = nullptr;
  bool current = false;    // on some thread
  bool destroyed = false;  // by the program, while it was current: goes when it is released
};

// Null when the handle is none of ours.
GlxContext* findContext(GLXContext handle);
// Takes the rendering context over.
GLXContext addContext(HGLRC handle, const FbConfig* config);
void destroyContext(GLXContext handle);

struct CurrentGlx {
  Display* display = nullptr;  // the connection that it was made current with
  GlxContext* context = nullptr;
  DrawablePtr draw;
};
// What this thread has current; all null without a context.
const CurrentGlx& currentGlx();
// Makes current, or releases with null. False when the driver refuses.
bool makeCurrent(Display* display, GlxContext* context, const DrawablePtr& draw);

// Sets the swap interval of the current context, which is where the driver keeps it.
bool setSwapInterval(int interval);

}  // namespace qv::loader
