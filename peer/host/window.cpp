// Windows, their drawables and the passing of them between contexts.
#include "peer/host/window.h"

#include "peer/host/context.h"
#include "peer/link/log.h"

namespace qv::peer {

Window::~Window() {
  for (const auto& [image, surface] : surfaces) display.destroySurface(surface.egl);
  live.surfaces.fetch_sub(static_cast<uint32_t>(surfaces.size()));
}

uint32_t WindowSet::create(const DrawableAttributes& attributes) {
  const std::lock_guard lock(mutex_);
  const DrawableOffer offer = display_.offer(attributes);
  tellShortfalls(attributes, offer);
  const uint32_t id = ++lastId_;
  windows_.emplace(id, std::make_shared<Window>(counters_, display_, id, attributes, offer));
  return id;
}

void WindowSet::tellShortfalls(const DrawableAttributes& attributes, const DrawableOffer& offer) {
  if (attributes.samples > offer.samples && !toldSamples_) {
    toldSamples_ = true;
    logLine("guest %u: windows of %u samples get %d", guest_, attributes.samples, offer.samples);
  }
  if (attributes.floatColors && offer.colorBits < 32 && !toldFloats_) {
    toldFloats_ = true;
    logLine("guest %u: floating-point windows get %d bits per component", guest_, offer.colorBits);
  }
}

bool WindowSet::destroy(uint32_t id) {
  std::shared_ptr<Window> window;  // destroyed after unlocking: ~Window calls EGL
  {
    const std::lock_guard lock(mutex_);
    const auto at = windows_.find(id);
    if (at == windows_.end()) return false;
    window = at->second;
    windows_.erase(at);
    // Under the lock, where the holder is alive: a context releases its window before it is destroyed.
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
  if (window.surfaces.empty() || (width > 0 && height > 0 && (width != window.width || height != window.height))) {
    // A window that has never had a size still needs a drawable.
    const int32_t newWidth = width > 0 && height > 0 ? width : 1, newHeight = width > 0 && height > 0 ? height : 1;
    const EGLSurface fresh = display_.createSurface(window.attributes, newWidth, newHeight);
    if (fresh == EGL_NO_SURFACE) return false;
    for (const auto& [image, surface] : window.surfaces) display_.destroySurface(surface.egl);
    counters_.surfaces.fetch_sub(static_cast<uint32_t>(window.surfaces.size()));
    counters_.surfaces.fetch_add(1);
    window.surfaces = {{WindowImage{}, WindowSurface{fresh}}};
    window.selected = {};
    window.accumulation = {};
    window.width = newWidth;
    window.height = newHeight;
  }
  window.holder = &context;
  return true;
}

bool WindowSet::select(Window& window, WindowImage image) {
  const std::lock_guard lock(mutex_);
  if (!window.surfaces.contains(image)) {
    const EGLSurface fresh = display_.createSurface(window.attributes, window.widthOf(image.level), window.heightOf(image.level));
    if (fresh == EGL_NO_SURFACE) return false;
    window.surfaces.emplace(image, WindowSurface{fresh});
    counters_.surfaces.fetch_add(1);
  }
  window.selected = image;
  return true;
}

void WindowSet::release(Window& window) {
  const std::lock_guard lock(mutex_);
  window.holder = nullptr;
  released_.notify_all();
}

}  // namespace qv::peer
