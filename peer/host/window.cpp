// Windows, their drawables and the passing of them between contexts.
#include "peer/host/window.h"

#include <chrono>

#include "peer/host/context.h"
#include "peer/link/log.h"

namespace qv::peer {

Window::~Window() {
  for (const auto& [image, surface] : surfaces) display.destroySurface(surface.egl);
  live.surfaces.fetch_sub(static_cast<uint32_t>(surfaces.size()));
}

bool Window::makeAccumulation() {
  const uint64_t bytes = uint64_t{16} * static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
  if (!accumulation.empty()) return true;
  if (!accumulationBytes.take(budget, bytes)) return false;
  if (accumulation.resize(width, height)) return true;
  accumulationBytes.giveBack();
  return false;
}

uint32_t WindowSet::create(const DrawableAttributes& attributes) {
  const std::lock_guard lock(mutex_);
  if (windows_.size() >= mostWindows_) {
    logLine("guest %u: create window: quota of %zu reached", guest_, windows_.size());
    return 0;
  }
  const DrawableOffer offer = display_.offer(attributes);
  tellShortfalls(attributes, offer);
  const uint32_t id = ++lastId_;
  windows_.emplace(id, std::make_shared<Window>(counters_, display_, id, attributes, offer, drawableBytes_));
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

WindowSurface WindowSet::createSurface(const Window& window, int32_t width, int32_t height) {
  WindowSurface out;
  const uint64_t pixels = static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
  const uint64_t sampleBytes = 4 * static_cast<uint64_t>(window.offer.colorBits) / 8 + 4;
  if (!out.bytes.take(drawableBytes_, pixels * sampleBytes * std::max<uint64_t>(1, static_cast<uint64_t>(window.offer.samples)))) {
    logLine("guest %u: drawable of %d x %d is over the guest's quota", guest_, width, height);
    return out;
  }
  out.egl = display_.createSurface(window.attributes, width, height);
  return out;
}

bool WindowSet::acquire(Window& window, Context& context, int32_t width, int32_t height, const std::atomic<bool>& stop) {
  std::unique_lock lock(mutex_);
  while (window.holder != nullptr) {
    if (stop.load()) return false;
    window.holder->requestRelease();
    released_.wait_for(lock, std::chrono::milliseconds(100));
  }
  if (window.surfaces.empty() || (width > 0 && height > 0 && (width != window.width || height != window.height))) {
    // A window that has never had a size still needs a drawable.
    const int32_t newWidth = width > 0 && height > 0 ? width : 1, newHeight = width > 0 && height > 0 ? height : 1;
    WindowSurface fresh = createSurface(window, newWidth, newHeight);
    if (fresh.egl == EGL_NO_SURFACE) return false;
    for (const auto& [image, surface] : window.surfaces) display_.destroySurface(surface.egl);
    counters_.surfaces.fetch_sub(static_cast<uint32_t>(window.surfaces.size()));
    counters_.surfaces.fetch_add(1);
    window.surfaces.clear();
    window.surfaces.emplace(WindowImage{}, std::move(fresh));
    window.selected = {};
    window.accumulation = {};
    window.accumulationBytes.giveBack();
    window.width = newWidth;
    window.height = newHeight;
  }
  window.holder = &context;
  return true;
}

bool WindowSet::select(Window& window, WindowImage image) {
  const std::lock_guard lock(mutex_);
  if (!window.surfaces.contains(image)) {
    WindowSurface fresh = createSurface(window, window.widthOf(image.level), window.heightOf(image.level));
    if (fresh.egl == EGL_NO_SURFACE) return false;
    window.surfaces.emplace(image, std::move(fresh));
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
