// Drawables of GLX: each is a window of the simulated Windows whose geometry and picture are those of an X drawable.
#pragma once

// Before the GL headers, which would define APIENTRY otherwise.
#include "platform/win32.h"
//
#include <GL/glx.h>

#include <atomic>
#include <memory>

#include "loader/glx/fb_config.h"
#include "loader/glx/x_server.h"

namespace qv::loader {

enum class DrawableKind { Window, Pixmap, Pbuffer };

struct Drawable {
  GLXDrawable id = 0;  // the program's name for it
  DrawableKind kind{};
  XServer* server = nullptr;
  xcb_drawable_t target = 0;  // where pictures go; 0 for a pbuffer
  int depth = 0;              // of the target
  const FbConfig* config = nullptr;
  HWND window = nullptr;
  HDC hdc = nullptr;
  uint32_t width = 0, height = 0;
  bool preserved = true, largest = false;  // of a pbuffer, as created
  int swapInterval = -1;                   // as the program has set it, -1 when it has not
  unsigned long eventMask = 0;
  std::atomic<unsigned long> requestsSeen{0};  // the program's request count at the last refresh
};
using DrawablePtr = std::shared_ptr<Drawable>;

// The drawable with this id on the server, null when there is none.
DrawablePtr findDrawable(XServer* server, GLXDrawable id);
// The drawable behind a window of the simulated Windows.
DrawablePtr drawableOfWindow(HWND window);

// Makes the drawable of a plain X window when a program first makes a context current with the window; it gets the configuration
// of that context. Null when there is no such window. Waits for both connections.
DrawablePtr adoptWindow(Display* display, GLXDrawable id, const FbConfig* config);
// glXCreateWindow and glXCreatePixmap: a new id for an X drawable. Null when that does not exist.
DrawablePtr createForTarget(Display* display, DrawableKind kind, xcb_drawable_t target, const FbConfig* config);
DrawablePtr createPbuffer(Display* display, const FbConfig* config, uint32_t width, uint32_t height);
void destroyDrawable(const DrawablePtr& drawable);

// Brings the window up to date with the X window: moved, resized, hidden, gone. Waits for the server only when the program has
// asked something of it over `display` since the last time: it may have resized the window, and expects its next frame to fit.
// False when the window is gone.
bool refreshDrawable(Display* display, const DrawablePtr& drawable);

}  // namespace qv::loader
