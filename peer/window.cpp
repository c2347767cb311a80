// Windows, their drawables and the passing of them between contexts.
#include "peer/window.h"

#include "peer/context.h"

namespace qv::peer {

Window::~Window() {
  if (surface == EGL_NO_SURFACE) return;
  display.destroySurface(surface);
  live.surfaces.fetch_sub(1);
}

uint32_t WindowSet::create(const DrawableAttributes& attributes) {
  const std::lock_guard lock(mutex_);
  const uint32_t id = ++lastId_;
  windows_.emplace(id, std::make_shared<Window>(counters_, display_, id, attributes));
  return id;
}

bool WindowSet::destroy(uint32_t id) {
  std::shared_ptr<Window> window;  // outlives the lock: its end may be a call into EGL
  {
    const std::lock_guard lock(mutex_);
    const auto at = windows_.find(id);
    if (at == windows_.end()) return false;
    window = at->second;
    windows_.erase(at);
    // Under the lock: a holder lets go of its window before it ends.
    if (window->holder != nullptr) window->holder->requestRelease();
  }
  return true;
}

std::shared_ptr<Window> WindowSet::find(uint32_t id) {
  const std::lock_guard lock(mutex_);
  const auto at = windows_.find(id);
  return at == windows_.end() ? nullptr : at->second;
}

bool WindowSet::acquire(Window& window, Context& context, int32_t width, int32_t height) {
  std::unique_lock lock(mutex_);
  while (window.holder != nullptr) {
    window.holder->requestRelease();
    released_.wait(lock);
  }
  if (window.surface == EGL_NO_SURFACE || (width > 0 && height > 0 && (width != window.width || height != window.height))) {
    // A window that has never had a size still needs something to draw to.
    const int32_t newWidth = width > 0 && height > 0 ? width : 1, newHeight = width > 0 && height > 0 ? height : 1;
    const EGLSurface fresh = display_.createSurface(window.attributes, newWidth, newHeight);
    if (fresh == EGL_NO_SURFACE) return false;
    if (window.surface != EGL_NO_SURFACE) {
      display_.destroySurface(window.surface);
    } else {
      counters_.surfaces.fetch_add(1);
    }
    window.surface = fresh;
    window.width = newWidth;
    window.height = newHeight;
  }
  window.holder = &context;
  return true;
}

void WindowSet::release(Window& window) {
  const std::lock_guard lock(mutex_);
  window.holder = nullptr;
  released_.notify_all();
}

}  // namespace qv::peer
