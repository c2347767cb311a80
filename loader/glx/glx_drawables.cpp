// GLX functions that make and query drawables.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>

#include "loader/glx/contexts.h"
#include "loader/glx/glx_functions.h"
#include "loader/glx/screens.h"
#include "loader/glx/x_error.h"

namespace qv::loader::glx {
namespace {

GLXDrawable create(Display* display, DrawableKind kind, XID target, GLXFBConfig handle, GlxRequest request) {
  if (!isFbConfig(handle)) {
    raiseError(display, GlxError::FBConfig, request, 0);
    return None;
  }
  const auto* const config = reinterpret_cast<const FbConfig*>(handle);
  if (!config->window) {
    raiseError(display, BadMatch, request, 0);
    return None;
  }
  const DrawablePtr drawable = createForTarget(display, kind, static_cast<xcb_drawable_t>(target), config);
  if (!drawable) {
    raiseError(display, kind == DrawableKind::Window ? BadWindow : BadPixmap, request, target);
    return None;
  }
  return drawable->id;
}

void destroy(Display* display, GLXDrawable id, DrawableKind kind, GlxError error, GlxRequest request) {
  XServer* const server = serverOf(display);
  const DrawablePtr drawable = server ? findDrawable(server, id) : nullptr;
  if (!drawable || drawable->kind != kind) {
    raiseError(display, error, request, id);
    return;
  }
  destroyDrawable(drawable);
}

}  // namespace

GLXWindow createWindow(Display* display, GLXFBConfig config, Window window, const int*) {
  return create(display, DrawableKind::Window, window, config, GlxRequest::CreateWindow);
}

void destroyWindow(Display* display, GLXWindow window) {
  destroy(display, window, DrawableKind::Window, GlxError::Window, GlxRequest::DestroyWindow);
}

GLXPixmap createPixmap(Display* display, GLXFBConfig config, Pixmap pixmap, const int*) {
  return create(display, DrawableKind::Pixmap, pixmap, config, GlxRequest::CreatePixmap);
}

void destroyPixmap(Display* display, GLXPixmap pixmap) {
  destroy(display, pixmap, DrawableKind::Pixmap, GlxError::Pixmap, GlxRequest::DestroyPixmap);
}

GLXPixmap createGLXPixmap(Display* display, XVisualInfo* visual, Pixmap pixmap) {
  const GlxScreen* const offered = visual ? glxScreen(display, visual->screen) : nullptr;
  const FbConfig* const config = offered ? offered->configOfVisual(visual->visualid) : nullptr;
  return create(display, DrawableKind::Pixmap, pixmap, reinterpret_cast<GLXFBConfig>(const_cast<FbConfig*>(config)),
                GlxRequest::CreateGLXPixmap);
}

void destroyGLXPixmap(Display* display, GLXPixmap pixmap) { destroyPixmap(display, pixmap); }

GLXPbuffer createPbuffer(Display* display, GLXFBConfig handle, const int* attributes) {
  if (!isFbConfig(handle)) {
    raiseError(display, GlxError::FBConfig, GlxRequest::CreatePbuffer, 0);
    return None;
  }
  int width = 0, height = 0;
  bool preserved = true, largest = false;
  for (; attributes && *attributes != None; attributes += 2) {
    switch (attributes[0]) {
      case GLX_PBUFFER_WIDTH:
        width = attributes[1];
        break;
      case GLX_PBUFFER_HEIGHT:
        height = attributes[1];
        break;
      case GLX_PRESERVED_CONTENTS:
        preserved = attributes[1] != False;
        break;
      case GLX_LARGEST_PBUFFER:
        largest = attributes[1] != False;
        break;
      default:
        raiseError(display, BadValue, GlxRequest::CreatePbuffer, 0);
        return None;
    }
  }
  if (width < 0 || height < 0) {
    raiseError(display, BadValue, GlxRequest::CreatePbuffer, 0);
    return None;
  }
  if (width > kMaxPbufferWidth || height > kMaxPbufferHeight) {
    if (!largest) {
      raiseError(display, BadAlloc, GlxRequest::CreatePbuffer, 0);
      return None;
    }
    width = std::min(width, kMaxPbufferWidth);
    height = std::min(height, kMaxPbufferHeight);
  }
  const DrawablePtr drawable = createPbuffer(display, reinterpret_cast<const FbConfig*>(handle), static_cast<uint32_t>(width),
                                             static_cast<uint32_t>(height));
  if (!drawable) {
    raiseError(display, BadAlloc, GlxRequest::CreatePbuffer, 0);
    return None;
  }
  drawable->preserved = preserved;
  drawable->largest = largest;
  return drawable->id;
}

void destroyPbuffer(Display* display, GLXPbuffer pbuffer) {
  destroy(display, pbuffer, DrawableKind::Pbuffer, GlxError::Pbuffer, GlxRequest::DestroyPbuffer);
}

void queryDrawable(Display* display, GLXDrawable id, int attribute, unsigned* value) {
  XServer* const server = serverOf(display);
  DrawablePtr drawable = server ? findDrawable(server, id) : nullptr;
  if (drawable && !refreshDrawable(display, drawable)) drawable = nullptr;
  if (!drawable) {
    raiseError(display, GlxError::Drawable, GlxRequest::GetDrawableAttributes, id);
    return;
  }
  switch (attribute) {
    case GLX_WIDTH:
      *value = drawable->width;
      break;
    case GLX_HEIGHT:
      *value = drawable->height;
      break;
    case GLX_PRESERVED_CONTENTS:
      *value = drawable->preserved;
      break;
    case GLX_LARGEST_PBUFFER:
      *value = drawable->largest;
      break;
    case GLX_FBCONFIG_ID:
      *value = static_cast<unsigned>(drawable->config->id);
      break;
    case GLX_SWAP_INTERVAL_EXT:
      // A drawable whose interval was never set is not held to the refresh rate.
      *value = drawable->swapInterval > 0;
      break;
    case GLX_MAX_SWAP_INTERVAL_EXT:
      *value = 1;
      break;
    default:
      break;
  }
}

void selectEvent(Display* display, GLXDrawable id, unsigned long mask) {
  XServer* const server = serverOf(display);
  if (const DrawablePtr drawable = server ? findDrawable(server, id) : nullptr) drawable->eventMask = mask;
}

// The only event of GLX 1.4 tells of a pbuffer that was lost to another, which never happens here.
void getSelectedEvent(Display* display, GLXDrawable id, unsigned long* mask) {
  XServer* const server = serverOf(display);
  const DrawablePtr drawable = server ? findDrawable(server, id) : nullptr;
  *mask = drawable ? drawable->eventMask : 0;
}

}  // namespace qv::loader::glx
