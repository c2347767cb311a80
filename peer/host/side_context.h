// SideContext: the host's own OpenGL context beside a guest's, for work that the guest's state must not disturb.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "peer/host/accumulation.h"
#include "peer/host/allocation.h"
#include "peer/host/egl_display.h"
#include "peer/host/live_counters.h"
#include "peer/host/window.h"

namespace qv::peer {

// Makes the current surface black, its depths 1 and its stencil values 0: a program must not see what the surface's memory held
// before. Needs the state of a fresh context.
void clearSurface(WindowSurface& surface);

// Shares objects with the guest's context and has the state of a fresh context: the guest's state has no effect here and is not
// changed, and a display list that the guest has open records nothing. For one thread. The members leave this context current; the
// caller binds its own again. Each returns null, or why it could not be done.
class SideContext {
 public:
  // Beside `share`, which has these attributes.
  SideContext(const EglDisplay& display, LiveCounters& counters, const DrawableAttributes& attributes, EGLContext share)
      : display_(display), counters_(counters), attributes_(attributes), share_(share) {}
  // On its thread, when it is not current.
  ~SideContext();
  SideContext(const SideContext&) = delete;
  SideContext& operator=(const SideContext&) = delete;

  // Defines every level and face of `texture`, a name of the pbuffer's target. An image that has been drawn to is copied. A level
  // that has not is made from level 0; a level 0 that has not gets no contents. The caller holds the pbuffer.
  const char* copyTexImages(Window& pbuffer, GLuint texture);
  // Calls clearSurface() for a surface that no context has bound.
  const char* clear(WindowSurface& surface);
  // Copies the picture of a multisampled window, its samples averaged, into the allocation, as copyFrame() does for others.
  // The caller holds the window.
  const char* copyResolvedFrame(Window& window, const Allocation& target);
  // Gives a renderbuffer that has this picture, in all its precision. It is the caller's to delete.
  const char* resolvePicture(Window& window, GLuint& renderbuffer);

  // The window's accumulation buffer becomes itself * `keep` + the picture * `scale`, within `rect`. The caller holds the window.
  const char* accumulate(Window& window, const PixelRect& rect, float keep, float scale);
  // The picture becomes the accumulation buffer * `scale`, within `rect` and in the components that `mask` lets through.
  const char* returnAccumulation(Window& window, const PixelRect& rect, float scale, const GLboolean (&mask)[4]);

 private:
  // The picture of the current surface with one sample per pixel, to read from while the object lives. No object of OpenGL's
  // stays: the guest's contexts can name it.
  class Resolved {
   public:
    explicit Resolved(const Window& window);
    ~Resolved();
    Resolved(const Resolved&) = delete;
    Resolved& operator=(const Resolved&) = delete;
    // The renderbuffer with the picture, from now on the caller's.
    GLuint give() { return std::exchange(renderbuffer_, 0); }

   private:
    GLuint framebuffer_ = 0, renderbuffer_ = 0;
  };

  // Cleared, if it is not yet.
  bool bind(WindowSurface& surface);
  // Cuts a rectangle into pieces of moderate size, with pixels_ as large as each.
  template <typename Work>
  void forEachStrip(const PixelRect& rect, Work&& work);

  const EglDisplay& display_;
  LiveCounters& counters_;
  const DrawableAttributes attributes_;
  const EGLContext share_;
  EGLContext egl_ = EGL_NO_CONTEXT;
  std::vector<float> pixels_;  // of a strip
};

}  // namespace qv::peer
