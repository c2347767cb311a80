// GLX queries about configurations, visuals, versions and extensions.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdlib>

#include "loader/glx/glx_functions.h"
#include "loader/glx/screens.h"

namespace qv::loader::glx {
namespace {

constexpr char kVendor[] = "Quillvane";
constexpr char kVersion[] = "1.4";
constexpr char kExtensions[] =
    "GLX_ARB_create_context GLX_ARB_create_context_profile GLX_ARB_fbconfig_float GLX_ARB_framebuffer_sRGB "
    "GLX_ARB_get_proc_address GLX_ARB_multisample GLX_EXT_framebuffer_sRGB GLX_EXT_swap_control GLX_MESA_swap_control "
    "GLX_OML_swap_method "
    "GLX_SGI_swap_control";

// A copy of the visual's description for the program to free.
XVisualInfo* visualInfo(Display* display, const FbConfig& config) {
  if (!config.visualId) return nullptr;
  XVisualInfo pattern{};
  pattern.visualid = config.visualId;
  pattern.screen = config.screen;
  int count = 0;
  return XGetVisualInfo(display, VisualIDMask | VisualScreenMask, &pattern, &count);
}

// An array for the program to free; null when empty.
GLXFBConfig* configArray(const std::vector<const FbConfig*>& configs, int* count) {
  *count = static_cast<int>(configs.size());
  if (configs.empty()) return nullptr;
  // The program frees it with XFree, which calls free.
  auto* const array = static_cast<GLXFBConfig*>(std::malloc(configs.size() * sizeof(GLXFBConfig)));
  for (size_t i = 0; i < configs.size(); ++i) {
    array[i] = reinterpret_cast<GLXFBConfig>(const_cast<FbConfig*>(configs[i]));
  }
  return array;
}

const char* string(int name) {
  switch (name) {
    case GLX_VENDOR:
      return kVendor;
    case GLX_VERSION:
      return kVersion;
    case GLX_EXTENSIONS:
      return kExtensions;
    default:
      return nullptr;
  }
}

}  // namespace

XVisualInfo* chooseVisual(Display* display, int screen, int* attributes) {
  const GlxScreen* const offered = glxScreen(display, screen);
  const FbConfig* const config = offered ? chooseVisualConfig(offered->configs, attributes) : nullptr;
  return config ? visualInfo(display, *config) : nullptr;
}

int getConfig(Display* display, XVisualInfo* visual, int attribute, int* value) {
  if (!visual || visual->screen < 0 || visual->screen >= ScreenCount(display)) return GLX_BAD_SCREEN;
  const GlxScreen* const offered = glxScreen(display, visual->screen);
  const FbConfig* const config = offered ? offered->configOfVisual(visual->visualid) : nullptr;
  if (config) return fbConfigAttribute(*config, attribute, value);
  // A visual without OpenGL: that is all there is to tell of it.
  if (attribute != GLX_USE_GL) return GLX_BAD_VISUAL;
  *value = False;
  return 0;
}

GLXFBConfig* chooseFBConfig(Display* display, int screen, const int* attributes, int* count) {
  *count = 0;
  const GlxScreen* const offered = glxScreen(display, screen);
  return offered ? configArray(chooseFbConfigs(offered->configs, attributes), count) : nullptr;
}

GLXFBConfig* getFBConfigs(Display* display, int screen, int* count) {
  *count = 0;
  const GlxScreen* const offered = glxScreen(display, screen);
  return offered ? configArray(offered->configs, count) : nullptr;
}

int getFBConfigAttrib(Display*, GLXFBConfig config, int attribute, int* value) {
  if (!isFbConfig(config)) return GLX_BAD_VISUAL;
  return fbConfigAttribute(*reinterpret_cast<const FbConfig*>(config), attribute, value);
}

XVisualInfo* getVisualFromFBConfig(Display* display, GLXFBConfig config) {
  return isFbConfig(config) ? visualInfo(display, *reinterpret_cast<const FbConfig*>(config)) : nullptr;
}

Bool queryExtension(Display* display, int* errorBase, int* eventBase) {
  int major = 0, event = 0, error = 0;
  if (!XQueryExtension(display, "GLX", &major, &event, &error)) return False;
  if (errorBase) *errorBase = error;
  if (eventBase) *eventBase = event;
  return True;
}

Bool queryVersion(Display*, int* major, int* minor) {
  if (major) *major = 1;
  if (minor) *minor = 4;
  return True;
}

const char* queryExtensionsString(Display*, int) { return kExtensions; }
const char* queryServerString(Display*, int, int name) { return string(name); }
const char* getClientString(Display*, int name) { return string(name); }

}  // namespace qv::loader::glx
