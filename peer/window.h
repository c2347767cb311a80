// A guest's window on the peer: the drawable behind it, and which context's thread has it bound.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "peer/attribute_list.h"
#include "peer/egl_display.h"
#include "peer/live_counters.h"

namespace qv::peer {

class Context;

// EGL binds a surface to one thread at a time, and every context has a thread: whoever needs a window that another context
// has bound asks that context to let it go, which it does between two flushes.
struct Window {
  Window(LiveCounters& counters, const EglDisplay& egl, uint32_t windowId, const DrawableAttributes& windowAttributes)
      : id(windowId), attributes(windowAttributes), display(egl), counter(counters.windows), live(counters) {}
  ~Window();

  const uint32_t id;
  const DrawableAttributes attributes;
  // The rest is guarded by the WindowSet's mutex, but that the holder may read it without.
  EGLSurface surface = EGL_NO_SURFACE;
  int32_t width = 0, height = 0;
  Context* holder = nullptr;

  const EglDisplay& display;
  CountHeld counter;
  LiveCounters& live;
};

class WindowSet {
 public:
  WindowSet(LiveCounters& counters, const EglDisplay& display) : counters_(counters), display_(display) {}

  uint32_t create(const DrawableAttributes& attributes);
  // False when there is none. A context that has it bound keeps the drawable until it binds another one.
  bool destroy(uint32_t id);
  std::shared_ptr<Window> find(uint32_t id);

  // Gives `window` to `context`, which holds no window now, and a drawable of the size to the window; a size of 0 or less
  // keeps the one it has. Waits for a holder to let go. False when there can be no such drawable; nothing is held then.
  bool acquire(Window& window, Context& context, int32_t width, int32_t height);
  // Called by the holder, with no surface bound.
  void release(Window& window);

 private:
  LiveCounters& counters_;
  const EglDisplay& display_;
  std::mutex mutex_;
  std::condition_variable released_;
  std::map<uint32_t, std::shared_ptr<Window>> windows_;
  uint32_t lastId_ = 0;
};

}  // namespace qv::peer
