// The sink of presents, which also remembers the last picture for whoever wants a file of it.
#include "loader/glx/presenter.h"

#include <png.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "loader/glx/drawables.h"
#include "loader/glx/environment.h"

namespace qv::loader {
namespace {

class Presenter final : public sim::PresentSink {
 public:
  void present(HWND window, const sim::GpuAllocation& source, const RECT& rect) override {
    const DrawablePtr drawable = drawableOfWindow(window);
    if (!drawable) return;
    if (!environment().png.empty()) {
      const std::lock_guard hold(mutex_);
      last_ = source;
      lastRect_ = rect;
      lastCopy_.clear();
    }
    if (!drawable->target) return;
    {
      const std::lock_guard hold(mutex_);
      servers_[source.handle] = drawable->server;
    }
    drawable->server->put(drawable->target, drawable->depth, source, rect);
  }

  void finishReads(uint32_t allocation) override {
    if (XServer* const server = serverOf(allocation)) server->finishReads(allocation);
  }

  void forget(uint32_t allocation) override {
    {
      const std::lock_guard hold(mutex_);
      if (last_.handle == allocation && last_.memory) {
        lastCopy_ = pixels();
        last_.memory = nullptr;
      }
    }
    if (XServer* const server = serverOf(allocation)) server->forget(allocation);
    const std::lock_guard hold(mutex_);
    servers_.erase(allocation);
  }

  bool writeLast(const char* path) {
    const std::lock_guard hold(mutex_);
    if (last_.memory) lastCopy_ = pixels();
    const uint32_t width = static_cast<uint32_t>(lastRect_.right - lastRect_.left);
    if (lastCopy_.empty()) return false;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = static_cast<uint32_t>(lastCopy_.size() / (3u * width));
    image.format = PNG_FORMAT_RGB;
    return png_image_write_to_file(&image, path, 0, lastCopy_.data(), 0, nullptr) != 0;
  }

 private:
  XServer* serverOf(uint32_t allocation) {
    const std::lock_guard hold(mutex_);
    const auto at = servers_.find(allocation);
    return at == servers_.end() ? nullptr : at->second;
  }

  // The shown part of the last picture as R, G, B rows.
  std::vector<uint8_t> pixels() {
    std::vector<uint8_t> rgb;
    lastRect_.right = std::min(lastRect_.right, static_cast<LONG>(last_.width));
    lastRect_.bottom = std::min(lastRect_.bottom, static_cast<LONG>(last_.height));
    for (LONG y = std::max(lastRect_.top, 0); y < lastRect_.bottom; ++y) {
      // In bounds: the rectangle was clipped to the allocation, whose rows are `pitch` bytes apart.
      const uint8_t* const row = last_.memory + static_cast<size_t>(y) * last_.pitch;
      for (LONG x = std::max(lastRect_.left, 0); x < lastRect_.right; ++x) {
        rgb.push_back(row[4 * x + 2]);
        rgb.push_back(row[4 * x + 1]);
        rgb.push_back(row[4 * x]);
      }
    }
    return rgb;
  }

  std::mutex mutex_;
  std::unordered_map<uint32_t, XServer*> servers_;  // which server may be reading an allocation
  sim::GpuAllocation last_;                         // memory null: gone, and lastCopy_ has what it held
  RECT lastRect_{};
  std::vector<uint8_t> lastCopy_;
};

Presenter& instance() {
  // Never destroyed: presents may come until the process ends.
  static auto* const one = new Presenter;
  return *one;
}

}  // namespace

sim::PresentSink* presenter() { return &instance(); }
bool writeLastPicture(const char* path) { return instance().writeLast(path); }

}  // namespace qv::loader
