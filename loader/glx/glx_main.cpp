// The one function that this library exports: libGLX loads it by name and takes everything else from what it fills in.
#include <cstring>

#include "loader/glx/entry_patch.h"
#include "loader/glx/extension_dispatch.h"
#include "loader/glx/glx_functions.h"
#include "loader/glx/screens.h"
#include "loader/opengl32/opengl32.h"

namespace qv::loader {
namespace {

struct Entry {
  const char* name;
  void* function;
};

template <typename Function>
Entry entry(const char* name, Function* function) {
  return {name, reinterpret_cast<void*>(function)};
}

const Entry kGlxFunctions[] = {
    entry("glXChooseFBConfig", glx::chooseFBConfig),
    entry("glXChooseVisual", glx::chooseVisual),
    entry("glXCopyContext", glx::copyContext),
    entry("glXCreateContext", glx::createContext),
    entry("glXCreateContextAttribsARB", glx::createContextAttribsARB),
    entry("glXCreateGLXPixmap", glx::createGLXPixmap),
    entry("glXCreateNewContext", glx::createNewContext),
    entry("glXCreatePbuffer", glx::createPbuffer),
    entry("glXCreatePixmap", glx::createPixmap),
    entry("glXCreateWindow", glx::createWindow),
    entry("glXDestroyContext", glx::destroyContext),
    entry("glXDestroyGLXPixmap", glx::destroyGLXPixmap),
    entry("glXDestroyPbuffer", glx::destroyPbuffer),
    entry("glXDestroyPixmap", glx::destroyPixmap),
    entry("glXDestroyWindow", glx::destroyWindow),
    entry("glXGetClientString", glx::getClientString),
    entry("glXGetConfig", glx::getConfig),
    entry("glXGetFBConfigAttrib", glx::getFBConfigAttrib),
    entry("glXGetFBConfigs", glx::getFBConfigs),
    entry("glXGetSelectedEvent", glx::getSelectedEvent),
    entry("glXGetSwapIntervalMESA", glx::getSwapIntervalMESA),
    entry("glXGetVisualFromFBConfig", glx::getVisualFromFBConfig),
    entry("glXIsDirect", glx::isDirect),
    entry("glXMakeContextCurrent", glx::makeContextCurrent),
    entry("glXMakeCurrent", glx::makeCurrent),
    entry("glXQueryContext", glx::queryContext),
    entry("glXQueryDrawable", glx::queryDrawable),
    entry("glXQueryExtension", glx::queryExtension),
    entry("glXQueryExtensionsString", glx::queryExtensionsString),
    entry("glXQueryServerString", glx::queryServerString),
    entry("glXQueryVersion", glx::queryVersion),
    entry("glXSelectEvent", glx::selectEvent),
    entry("glXSwapBuffers", glx::swapBuffers),
    entry("glXSwapIntervalEXT", glx::swapIntervalEXT),
    entry("glXSwapIntervalMESA", glx::swapIntervalMESA),
    entry("glXSwapIntervalSGI", glx::swapIntervalSGI),
    entry("glXUseXFont", glx::useXFont),
    entry("glXWaitGL", glx::waitGL),
    entry("glXWaitX", glx::waitX),
};

// A GL function that the driver has no routine for is reported as absent, and libGLX then puts one in its place that does
// nothing. The driver's WGL functions are not for programs of this system.
void* getProcAddress(const GLubyte* bytes) {
  const char* const name = reinterpret_cast<const char*>(bytes);
  if (!std::strncmp(name, "glX", 3)) {
    for (const Entry& known : kGlxFunctions) {
      if (!std::strcmp(known.name, name)) return known.function;
    }
    return nullptr;
  }
  if (std::strncmp(name, "gl", 2)) return nullptr;
  return reinterpret_cast<void*>(driverProcAddress(name));
}

void* getDispatchAddress(const GLubyte* name) { return extensionDispatch(reinterpret_cast<const char*>(name)); }

void setDispatchIndex(const GLubyte* name, int index) { setExtensionIndex(reinterpret_cast<const char*>(name), index); }

Bool isScreenSupported(Display* display, int screen) { return glxScreen(display, screen) != nullptr; }

}  // namespace
}  // namespace qv::loader

extern "C" __attribute__((visibility("default"))) Bool __glx_Main(uint32_t version, const __GLXapiExports* exports,
                                                                  __GLXvendorInfo*, __GLXapiImports* imports) {
  using namespace qv::loader;
  if (GLX_VENDOR_ABI_GET_MAJOR_VERSION(version) != GLX_VENDOR_ABI_MAJOR_VERSION) return False;
  setApiExports(exports);
  imports->isScreenSupported = isScreenSupported;
  imports->getProcAddress = getProcAddress;
  imports->getDispatchAddress = getDispatchAddress;
  imports->setDispatchIndex = setDispatchIndex;
  imports->isPatchSupported = isPatchSupported;
  imports->initiatePatch = initiatePatch;
  return True;
}
