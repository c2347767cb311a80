// GLX functions that make, query and bind contexts.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <vector>

#include "driver/base/wgl_api.h"
#include "loader/glx/contexts.h"
#include "loader/glx/driver_session.h"
#include "loader/glx/glx_functions.h"
#include "loader/glx/screens.h"
#include "loader/glx/x_error.h"
#include "loader/opengl32/opengl32.h"

namespace qv::loader::glx {
namespace {

const FbConfig* asConfig(GLXFBConfig config) { return isFbConfig(config) ? reinterpret_cast<const FbConfig*>(config) : nullptr; }

// WGL_ARB_create_context and GLX_ARB_create_context have the same attribute values, so the list is passed on without the
// attributes that only GLX has. False when the list asks for something that WGL cannot say.
bool translateAttributes(const int* attributes, std::vector<int>* translated) {
  for (; attributes && *attributes != None; attributes += 2) {
    switch (attributes[0]) {
      case GLX_RENDER_TYPE:
        // The configuration says it already; a colour index context would be the only other choice.
        if (attributes[1] == GLX_COLOR_INDEX_TYPE) return false;
        break;
      default:
        translated->push_back(attributes[0]);
        translated->push_back(attributes[1]);
    }
  }
  translated->push_back(0);
  return true;
}

GLXContext create(Display* display, const FbConfig* config, GLXContext shareHandle, const int* attributes, bool withAttributes,
                  GlxRequest request) {
  const GlxContext* const share = findContext(shareHandle);
  if (shareHandle && !share) {
    raiseError(display, GlxError::Context, request, 0);
    return nullptr;
  }
  HDC const hdc = deviceContextOfFormat(config->format);
  HGLRC handle = nullptr;
  if (withAttributes) {
    std::vector<int> list;
    const auto createWithAttributes = reinterpret_cast<PFNWGLCREATECONTEXTATTRIBSARBPROC>(
        reinterpret_cast<void*>(driverProcAddress("wglCreateContextAttribsARB")));
    if (!createWithAttributes || !translateAttributes(attributes, &list)) {
      raiseError(display, BadValue, request, 0);
      return nullptr;
    }
    SetLastError(0);
    handle = createWithAttributes(hdc, share ? share->handle : nullptr, list.data());
    if (!handle) {
      const DWORD error = GetLastError();
      if (error == ERROR_INVALID_PROFILE_ARB) {
        raiseError(display, GlxError::ProfileARB, request, 0);
      } else if (error == ERROR_INVALID_PARAMETER) {
        raiseError(display, BadValue, request, 0);
      } else {
        raiseError(display, error == ERROR_INVALID_VERSION_ARB ? BadMatch : BadAlloc, request, 0);
      }
      return nullptr;
    }
  } else {
    handle = wglCreateContext(hdc);
    if (!handle || (share && !wglShareLists(share->handle, handle))) {
      if (handle) wglDeleteContext(handle);
      raiseError(display, BadAlloc, request, 0);
      return nullptr;
    }
  }
  return addContext(handle, config);
}

}  // namespace

GLXContext createContext(Display* display, XVisualInfo* visual, GLXContext share, Bool) {
  const GlxScreen* const offered = visual ? glxScreen(display, visual->screen) : nullptr;
  const FbConfig* const config = offered ? offered->configOfVisual(visual->visualid) : nullptr;
  if (!config) {
    raiseError(display, BadValue, GlxRequest::CreateContext, visual ? visual->visualid : 0);
    return nullptr;
  }
  return create(display, config, share, nullptr, false, GlxRequest::CreateContext);
}

GLXContext createNewContext(Display* display, GLXFBConfig config, int renderType, GLXContext share, Bool) {
  const FbConfig* const known = asConfig(config);
  if (!known) {
    raiseError(display, GlxError::FBConfig, GlxRequest::CreateNewContext, 0);
    return nullptr;
  }
  if (renderType != GLX_RGBA_TYPE && renderType != GLX_RGBA_FLOAT_TYPE_ARB) {
    raiseError(display, BadValue, GlxRequest::CreateNewContext, 0);
    return nullptr;
  }
  return create(display, known, share, nullptr, false, GlxRequest::CreateNewContext);
}

GLXContext createContextAttribsARB(Display* display, GLXFBConfig config, GLXContext share, Bool, const int* attributes) {
  const FbConfig* const known = asConfig(config);
  if (!known) {
    raiseError(display, GlxError::FBConfig, GlxRequest::CreateContextAttribsARB, 0);
    return nullptr;
  }
  return create(display, known, share, attributes, true, GlxRequest::CreateContextAttribsARB);
}

void destroyContext(Display* display, GLXContext context) {
  if (!findContext(context)) {
    raiseError(display, GlxError::Context, GlxRequest::DestroyContext, 0);
    return;
  }
  loader::destroyContext(context);
}

void copyContext(Display* display, GLXContext source, GLXContext destination, unsigned long mask) {
  const GlxContext* const from = findContext(source);
  const GlxContext* const to = findContext(destination);
  if (!from || !to) {
    raiseError(display, GlxError::Context, GlxRequest::CopyContext, 0);
    return;
  }
  if (to->current) {
    raiseError(display, BadAccess, GlxRequest::CopyContext, 0);
    return;
  }
  if (!wglCopyContext(from->handle, to->handle, static_cast<UINT>(mask))) {
    raiseError(display, BadValue, GlxRequest::CopyContext, 0);
  }
}

Bool isDirect(Display*, GLXContext context) { return findContext(context) != nullptr; }

int queryContext(Display*, GLXContext handle, int attribute, int* value) {
  const GlxContext* const context = findContext(handle);
  if (!context) return GLX_BAD_CONTEXT;
  switch (attribute) {
    case GLX_FBCONFIG_ID:
      *value = context->config->id;
      return 0;
    case GLX_RENDER_TYPE:
      *value = context->config->floating ? GLX_RGBA_FLOAT_TYPE_ARB : GLX_RGBA_TYPE;
      return 0;
    case GLX_SCREEN:
      *value = context->config->screen;
      return 0;
    default:
      return GLX_BAD_ATTRIBUTE;
  }
}

Bool makeContextCurrent(Display* display, GLXDrawable draw, GLXDrawable read, GLXContext handle) {
  if (!handle) {
    // Without a context both drawables must be none.
    if (draw || read) {
      raiseError(display, BadMatch, GlxRequest::MakeContextCurrent, 0);
      return False;
    }
    return loader::makeCurrent(display, nullptr, nullptr);
  }
  GlxContext* const context = findContext(handle);
  if (!context) {
    raiseError(display, GlxError::Context, GlxRequest::MakeContextCurrent, 0);
    return False;
  }
  // The driver reads from the drawable that it draws to.
  if (draw != read || !draw) {
    raiseError(display, BadMatch, GlxRequest::MakeContextCurrent, draw);
    return False;
  }
  XServer* const server = serverOf(display);
  if (!server) return False;
  DrawablePtr drawable = findDrawable(server, draw);
  if (drawable && !refreshDrawable(display, drawable)) drawable = nullptr;
  if (!drawable) drawable = adoptWindow(display, draw, context->config);
  if (!drawable) {
    raiseError(display, GlxError::Drawable, GlxRequest::MakeContextCurrent, draw);
    return False;
  }
  if (drawable->config->format != context->config->format) {
    raiseError(display, BadMatch, GlxRequest::MakeContextCurrent, draw);
    return False;
  }
  if (context->current && currentGlx().context != context) {
    raiseError(display, BadAccess, GlxRequest::MakeContextCurrent, 0);
    return False;
  }
  return loader::makeCurrent(display, context, drawable);
}

Bool makeCurrent(Display* display, GLXDrawable drawable, GLXContext context) {
  return makeContextCurrent(display, drawable, drawable, context);
}

}  // namespace qv::loader::glx
