// Window: a guest's window on the host: the drawable behind it, and the context that holds it.
#pragma once

#include <algorithm>
#include <atomic>
#include <bit>
#include <compare>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "peer/host/accumulation.h"
#include "peer/host/drawable_attributes.h"
#include "peer/host/egl_display.h"
#include "peer/host/live_counters.h"
#include "peer/host/quotas.h"
#include "wire/gl_api.h"

namespace qv::peer {

class Context;

// One of the pictures that a window holds: a pbuffer for textures has one for each face and level, other windows have one.
struct WindowImage {
  uint32_t face = 0, level = 0;
  auto operator<=>(const WindowImage&) const = default;
};

struct WindowSurface {
  EGLSurface egl = EGL_NO_SURFACE;
  Held bytes;
  bool cleared = false;  // EGL does not clear new memory; true once no older contents show
};

// EGL binds a surface to one thread at a time, and every context has a thread. A context that needs a window which another context
// holds asks the holder to release it; the holder does so between two flushes.
struct Window {
  Window(LiveCounters& counters, const EglDisplay& egl, uint32_t windowId, const DrawableAttributes& windowAttributes,
         const DrawableOffer& drawableOffer, Budget& drawableBytes)
      : id(windowId),
        attributes(windowAttributes),
        offer(drawableOffer),
        display(egl),
        budget(drawableBytes),
        counter(counters.windows),
        live(counters) {}
  ~Window();

  const uint32_t id;
  const DrawableAttributes attributes;
  const DrawableOffer offer;  // the attributes that EGL can grant
  // The WindowSet's mutex guards the rest. The holder may read it, and mark a surface as cleared, without the mutex.
  // An image has a surface from its first selection on, the selected image from the first acquire() on. Each surface has depth and
  // stencil buffers of its own.
  std::map<WindowImage, WindowSurface> surfaces;
  WindowImage selected;
  int32_t width = 0, height = 0;  // of level 0
  Context* holder = nullptr;
  AccumulationBuffer accumulation;  // of level 0's size, shared by all images; empty until it is used
  Held accumulationBytes;

  // Called by the holder. False when there is no memory for it.
  bool makeAccumulation();

  // Of the selected image; the window has been acquired.
  WindowSurface& surface() { return surfaces.at(selected); }
  uint32_t faces() const { return attributes.textureTarget == GL_TEXTURE_CUBE_MAP ? 6 : 1; }
  // Of a full chain: down to 1 x 1.
  uint32_t levels() const {
    return attributes.mipmapped ? static_cast<uint32_t>(std::bit_width(static_cast<uint32_t>(std::max({width, height, 1})))) : 1;
  }
  int32_t widthOf(uint32_t level) const { return std::max(width >> level, 1); }
  int32_t heightOf(uint32_t level) const { return std::max(height >> level, 1); }

  const EglDisplay& display;
  Budget& budget;
  CountHeld counter;
  LiveCounters& live;
};

class WindowSet {
 public:
  WindowSet(LiveCounters& counters, const EglDisplay& display, uint32_t guest, const Quotas& quotas)
      : counters_(counters), display_(display), guest_(guest), mostWindows_(quotas.windows), drawableBytes_(quotas.drawableBytes) {}

  // The new window's id; 0, with a line in the log, when the guest may have no more.
  uint32_t create(const DrawableAttributes& attributes);
  // False when there is no such window. A holder keeps the drawable until it binds another one.
  bool destroy(uint32_t id);
  std::shared_ptr<Window> find(uint32_t id);

  // Makes `context`, which holds no window, the holder of `window`, and gives the window a drawable of the size. A size of 0 or
  // less keeps the drawable; a new size discards all images. Waits until another holder releases the window, or `stop`. False when
  // EGL or the quota gives no such drawable; the context holds nothing then.
  bool acquire(Window& window, Context& context, int32_t width, int32_t height, const std::atomic<bool>& stop);
  // Called by the holder, which then binds the window's surface anew. False, and nothing changed, when EGL or the quota gives no
  // such image.
  bool select(Window& window, WindowImage image);
  // Called by the holder, with no surface bound.
  void release(Window& window);

 private:
  // A fresh surface of a window; egl is EGL_NO_SURFACE when there can be none.
  WindowSurface createSurface(const Window& window, int32_t width, int32_t height);
  void tellShortfalls(const DrawableAttributes& attributes, const DrawableOffer& offer);

  LiveCounters& counters_;
  const EglDisplay& display_;
  const uint32_t guest_;  // its number
  const uint64_t mostWindows_;
  Budget drawableBytes_;
  std::mutex mutex_;
  std::condition_variable released_;
  std::map<uint32_t, std::shared_ptr<Window>> windows_;
  uint32_t lastId_ = 0;
  bool toldSamples_ = false, toldFloats_ = false;
};

}  // namespace qv::peer
