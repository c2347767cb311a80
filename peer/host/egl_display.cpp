// Opens Mesa's surfaceless platform and makes contexts and pbuffers on it.
#include "peer/host/egl_display.h"

#include <EGL/eglext.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "peer/replay/gl_functions.h"

namespace qv::peer {
namespace {

constexpr uint16_t kCompatibilityBit = 2;

}  // namespace

EglDisplay* EglDisplay::get(std::string* error) {
  static std::string failure;
  static EglDisplay* const instance = []() -> EglDisplay* {
    static EglDisplay display;
    return display.open(failure) ? &display : nullptr;
  }();
  if (instance == nullptr && error != nullptr) *error = failure;
  return instance;
}

bool EglDisplay::open(std::string& error) {
  const auto getPlatformDisplay =
      reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
  if (getPlatformDisplay == nullptr) {
    error = "EGL has no eglGetPlatformDisplayEXT";
    return false;
  }
  display_ = getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
  EGLint major = 0, minor = 0;
  if (display_ == EGL_NO_DISPLAY || !eglInitialize(display_, &major, &minor)) {
    error = "EGL has no surfaceless platform";
    return false;
  }
  loadGlFunctions(&eglGetProcAddress);
  robust_ = true;
  compatibilityVersion_ = probeVersion(kCompatibilityBit);
  if (compatibilityVersion_ == 0) {
    robust_ = false;
    compatibilityVersion_ = probeVersion(kCompatibilityBit);
  }
  coreVersion_ = probeVersion(1);
  if (compatibilityVersion_ == 0) {
    error = "EGL makes no OpenGL compatibility context";
    return false;
  }
  return true;
}

uint16_t EglDisplay::probeVersion(uint16_t profileMask) const {
  DrawableAttributes attributes;
  attributes.profileMask = profileMask;
  attributes.version = profileMask == kCompatibilityBit ? 210 : 320;
  const EGLSurface surface = createSurface(attributes, 1, 1);
  const EGLContext context = createContext(attributes, EGL_NO_CONTEXT);
  uint16_t version = 0;
  if (surface != EGL_NO_SURFACE && context != EGL_NO_CONTEXT && makeCurrent(surface, context)) {
    // "4.5 (Compatibility Profile) Mesa ...": GL_MAJOR_VERSION is unknown to contexts below 3.0, the string never is.
    const char* const text = reinterpret_cast<const char*>(gl.glGetString(GL_VERSION));
    if (text != nullptr && text[0] >= '1' && text[0] <= '9' && text[1] == '.' && text[2] >= '0' && text[2] <= '9') {
      version = std::min(kHighestVersion, static_cast<uint16_t>((text[0] - '0') * 100 + (text[2] - '0') * 10));
    }
    release();
  }
  destroyContext(context);
  destroySurface(surface);
  return version;
}

bool EglDisplay::offers(const DrawableAttributes& attributes) const {
  return attributes.version <= (attributes.core() ? coreVersion_ : compatibilityVersion_);
}

EGLContext EglDisplay::createContext(const DrawableAttributes& attributes, EGLContext share) const {
  // The current API is per thread, and OpenGL ES at first.
  if (!eglBindAPI(EGL_OPENGL_API)) return EGL_NO_CONTEXT;
  std::vector<EGLint> list;
  // Below 3.2 there are no profiles, and EGL gives a core context for 3.1: asking for no version gives the highest compatible one.
  if (attributes.version >= 320) {
    list.insert(list.end(),
                {EGL_CONTEXT_MAJOR_VERSION, attributes.version / 100, EGL_CONTEXT_MINOR_VERSION, attributes.version % 100 / 10,
                 EGL_CONTEXT_OPENGL_PROFILE_MASK, attributes.core() ? EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT
                                                                    : EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT});
  }
  if (robust_) list.insert(list.end(), {EGL_CONTEXT_OPENGL_ROBUST_ACCESS, EGL_TRUE});
  list.push_back(EGL_NONE);
  return eglCreateContext(display_, EGL_NO_CONFIG_KHR, share, list.data());
}

DrawableOffer EglDisplay::offer(const DrawableAttributes& attributes) const {
  const EGLint componentType = attributes.floatColors ? EGL_COLOR_COMPONENT_TYPE_FLOAT_EXT : EGL_COLOR_COMPONENT_TYPE_FIXED_EXT;
  const EGLint colorBits = attributes.floatColors ? 16 : 8;
  // Among the configs that have at least what is asked for, EGL's order of preference decides. In place of a sample count that EGL
  // lacks comes the highest one below it.
  for (EGLint samples = attributes.samples;; samples = samples > 4 ? 4 : 0) {
    const EGLint wanted[] = {EGL_SURFACE_TYPE,
                             EGL_PBUFFER_BIT,
                             EGL_RENDERABLE_TYPE,
                             EGL_OPENGL_BIT,
                             EGL_COLOR_COMPONENT_TYPE_EXT,
                             componentType,
                             EGL_RED_SIZE,
                             colorBits,
                             EGL_GREEN_SIZE,
                             colorBits,
                             EGL_BLUE_SIZE,
                             colorBits,
                             EGL_ALPHA_SIZE,
                             colorBits,
                             EGL_DEPTH_SIZE,
                             24,
                             EGL_STENCIL_SIZE,
                             8,
                             EGL_SAMPLES,
                             samples,
                             EGL_NONE};
    EGLConfig configs[64];
    EGLint count = 0;
    if (!eglChooseConfig(display_, wanted, configs, 64, &count)) return {};
    for (EGLint i = 0; i < count; ++i) {
      // Deeper colours than asked for sort first.
      DrawableOffer found;
      eglGetConfigAttrib(display_, configs[i], EGL_RED_SIZE, &found.colorBits);
      if (found.colorBits != colorBits) continue;
      found.config = configs[i];
      eglGetConfigAttrib(display_, configs[i], EGL_SAMPLES, &found.samples);
      return found;
    }
    if (samples == 0) return {};
  }
}

EGLSurface EglDisplay::createSurface(const DrawableAttributes& attributes, int32_t width, int32_t height) const {
  if (!eglBindAPI(EGL_OPENGL_API)) return EGL_NO_SURFACE;
  const DrawableOffer offered = offer(attributes);
  if (offered.config == nullptr) return EGL_NO_SURFACE;
  const EGLint list[] = {EGL_WIDTH,
                         width,
                         EGL_HEIGHT,
                         height,
                         EGL_GL_COLORSPACE_KHR,
                         attributes.srgb ? EGL_GL_COLORSPACE_SRGB_KHR : EGL_GL_COLORSPACE_LINEAR_KHR,
                         EGL_NONE};
  return eglCreatePbufferSurface(display_, offered.config, list);
}

bool EglDisplay::makeCurrent(EGLSurface surface, EGLContext context) const {
  return eglBindAPI(EGL_OPENGL_API) && eglMakeCurrent(display_, surface, surface, context);
}

void EglDisplay::release() const {
  eglBindAPI(EGL_OPENGL_API);
  eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
}

void EglDisplay::endThread() const { eglReleaseThread(); }

void EglDisplay::destroyContext(EGLContext context) const {
  if (context != EGL_NO_CONTEXT) eglDestroyContext(display_, context);
}

void EglDisplay::destroySurface(EGLSurface surface) const {
  if (surface != EGL_NO_SURFACE) eglDestroySurface(display_, surface);
}

}  // namespace qv::peer
