// EGL on Mesa's surfaceless platform: the one display, and the making of contexts and drawables on it.
#pragma once

#include <EGL/egl.h>

#include <cstdint>
#include <string>

#include "peer/host/drawable_attributes.h"

namespace qv::peer {

// What a drawable really gets.
struct DrawableOffer {
  EGLConfig config = nullptr;  // null when EGL has no such drawable
  EGLint samples = 0;
  EGLint colorBits = 0;  // per component
};

class EglDisplay {
 public:
  // The process's display, opened at the first call, with the GL functions loaded. Null when there is no usable EGL; the
  // reason is then in `error`. Never closed: other threads may be inside it when the process ends.
  static EglDisplay* get(std::string* error = nullptr);

  // Highest versions that contexts can have, as major * 100 + minor * 10, kHighestVersion at most; 0 when the profile is not
  // offered.
  uint16_t compatibilityVersion() const { return compatibilityVersion_; }
  uint16_t coreVersion() const { return coreVersion_; }
  // Whether a context with these attributes can be made.
  bool offers(const DrawableAttributes& attributes) const;

  // A context that can draw to every surface below, with robust access to buffers where EGL offers that. EGL_NO_CONTEXT on failure.
  // `share` may be EGL_NO_CONTEXT.
  EGLContext createContext(const DrawableAttributes& attributes, EGLContext share) const;
  // The nearest to what the attributes ask for.
  DrawableOffer offer(const DrawableAttributes& attributes) const;
  // A drawable with depth 24, stencil 8 and the nearest colour format and sample count that EGL offers. EGL gives no accumulation
  // buffer (AccumulationBuffer stands in). It gives one colour buffer under the names GL_FRONT and GL_BACK, whose contents
  // survive a swap. Every drawable of Mesa obeys GL_FRAMEBUFFER_SRGB, also one that was not asked to be sRGB.
  EGLSurface createSurface(const DrawableAttributes& attributes, int32_t width, int32_t height) const;

  bool makeCurrent(EGLSurface surface, EGLContext context) const;
  void release() const;
  // Frees what EGL keeps for the calling thread, which has nothing current.
  void endThread() const;
  void destroyContext(EGLContext context) const;
  void destroySurface(EGLSurface surface) const;

 private:
  EglDisplay() = default;
  bool open(std::string& error);
  uint16_t probeVersion(uint16_t profileMask) const;

  EGLDisplay display_ = EGL_NO_DISPLAY;
  bool robust_ = false;
  uint16_t compatibilityVersion_ = 0;
  uint16_t coreVersion_ = 0;
};

}  // namespace qv::peer
