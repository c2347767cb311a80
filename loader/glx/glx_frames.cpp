// GLX functions that end frames, pace them and order them against the program's X requests.
#include <X11/Xlib.h>

#include "loader/glx/contexts.h"
#include "loader/glx/glx_functions.h"
#include "loader/glx/run_control.h"
#include "loader/glx/screens.h"
#include "loader/glx/x_error.h"
#include "loader/opengl32/opengl32.h"

namespace qv::loader::glx {
namespace {

// The drawable by its id; the one that is current on this thread costs no look-up.
DrawablePtr lookUp(Display* display, GLXDrawable id) {
  const DrawablePtr& current = currentGlx().draw;
  if (current && current->id == id) return current;
  XServer* const server = serverOf(display);
  return server ? findDrawable(server, id) : nullptr;
}

}  // namespace

void swapBuffers(Display* display, GLXDrawable id) {
  const DrawablePtr drawable = lookUp(display, id);
  if (!drawable || !refreshDrawable(display, drawable)) {
    raiseError(display, GlxError::Drawable, GlxRequest::SwapBuffers, id);
    return;
  }
  // Pixmaps and pbuffers have nothing that a swap would show.
  if (drawable->kind != DrawableKind::Window) return;
  wglSwapBuffers(drawable->hdc);
  countFrame();
}

// What OpenGL has drawn is on the server when this returns.
void waitGL() {
  const CurrentGlx& current = currentGlx();
  if (!current.context) return;
  // Whether it waits for the host too is the driver's decision; nothing of a double-buffered window is seen before its swap.
  if (const auto finish = reinterpret_cast<void (*)()>(reinterpret_cast<void*>(driverProcAddress("glFinish")))) finish();
  current.draw->server->synchronise();
}

// What X has drawn is there when OpenGL goes on.
void waitX() {
  const CurrentGlx& current = currentGlx();
  if (!current.context) return;
  XSync(current.display, False);
  refreshDrawable(current.display, current.draw);
}

void swapIntervalEXT(Display* display, GLXDrawable id, int interval) {
  const DrawablePtr drawable = lookUp(display, id);
  if (!drawable) {
    raiseError(display, BadWindow, GlxRequest::VendorPrivate, id);
    return;
  }
  if (interval < 0) {
    raiseError(display, BadValue, GlxRequest::VendorPrivate, id);
    return;
  }
  drawable->swapInterval = interval > 0;
  // The driver keeps the interval in the context; a context that becomes current on this drawable later gets it then.
  if (currentGlx().draw == drawable) setSwapInterval(interval);
}

int swapIntervalMESA(unsigned interval) {
  const CurrentGlx& current = currentGlx();
  if (!current.context) return GLX_BAD_CONTEXT;
  if (interval > 0x7FFFFFFF) return GLX_BAD_VALUE;
  current.draw->swapInterval = interval > 0;
  return setSwapInterval(static_cast<int>(interval)) ? 0 : GLX_BAD_CONTEXT;
}

int getSwapIntervalMESA() {
  const CurrentGlx& current = currentGlx();
  return current.context && current.draw->swapInterval > 0;
}

int swapIntervalSGI(int interval) {
  // This extension knows no interval of zero.
  return interval <= 0 ? GLX_BAD_VALUE : swapIntervalMESA(static_cast<unsigned>(interval));
}

}  // namespace qv::loader::glx
