// Putting the machine together and taking it apart.
#include "tests/soak/machine.h"

#include <cstdio>
#include <cstring>

#include "driver/host/window_hook.h"
#include "driver/host/window_record.h"
#include "peer/link/log.h"

namespace qv::test {

std::string Picture::differenceTo(const Picture& other) const {
  char text[160] = "";
  if (width != other.width || height != other.height) {
    std::snprintf(text, sizeof text, "%u x %u against %u x %u", width, height, other.width, other.height);
    return text;
  }
  size_t count = 0, first = 0;
  for (size_t i = 0; i < pixels.size(); ++i) {
    if (pixels[i] != other.pixels[i] && count++ == 0) first = i;
  }
  if (count == 0) return "";
  std::snprintf(text, sizeof text, "%zu pixels of %u x %u differ, first at %zu, %zu: %06x against %06x", count, width, height,
                first % width, first / width, pixels[first], other.pixels[first]);
  return text;
}

Picture readSurface(const sim::GpuAllocation& surface, const RECT& rect) {
  Picture picture;
  if (rect.left < 0 || rect.top < 0 || rect.right > static_cast<LONG>(surface.width) ||
      rect.bottom > static_cast<LONG>(surface.height)) {
    ADD_FAILURE() << "the rectangle leaves a surface of " << surface.width << " x " << surface.height;
    return picture;
  }
  picture.width = static_cast<uint32_t>(rect.right - rect.left);
  picture.height = static_cast<uint32_t>(rect.bottom - rect.top);
  picture.pixels.reserve(size_t{picture.width} * picture.height);
  for (LONG y = rect.top; y < rect.bottom; ++y) {
    for (LONG x = rect.left; x < rect.right; ++x) {
      uint32_t pixel;
      // In bounds: checked above, and a pitch covers its surface's width.
      std::memcpy(&pixel, surface.memory + static_cast<size_t>(y) * surface.pitch + static_cast<size_t>(x) * 4, 4);
      picture.pixels.push_back(pixel & 0xFFFFFF);
    }
  }
  return picture;
}

peer::GlFunctions driverFunctions() {
  peer::GlFunctions gl;
#define QV_ROW(name, ...) \
  gl.name = reinterpret_cast<decltype(gl.name)>(reinterpret_cast<void*>(loader::driverProcAddress(#name)));
#include "wire/entry_points.def"
  return gl;
}

void Screen::present(HWND window, const sim::GpuAllocation& source, const RECT& rect) {
  Picture picture = readSurface(source, rect);
  const std::lock_guard hold(mutex_);
  pictures_[window] = std::move(picture);
}

Picture Screen::of(HWND window) {
  const std::lock_guard hold(mutex_);
  return pictures_[window];
}

std::string describe(const peer::PeerCounters& c) {
  char text[240];
  std::snprintf(text, sizeof text,
                "%u contexts, %u OpenGL contexts, %u windows, %u surfaces, %u channels, %u allocations, %llu bytes", c.contexts,
                c.glContexts, c.windows, c.surfaces, c.channels, c.allocations, static_cast<unsigned long long>(c.mappedBytes));
  return text;
}

void EndToEndTest::start(sim::PresentSink* sink, bool residency) {
  sim::reset();
  sim::setMonitors({{.rect = kScreen}});
  sim::setResidency(residency);
  sim::setVBlankClock(sim::VBlankClock::StepOnWait);
  sim::setGpuLink(&gpu);
  sim::setPresentSink(sink);
  logLines_ = peer::logLineCount();
  ASSERT_TRUE(loader::loadDriver());
}

void EndToEndTest::TearDown() {
  sim::pumpMessages();
  EXPECT_EQ(WindowRecordList, nullptr);
  // Before the device goes, and what it holds with it.
  const sim::LiveCounts left = sim::liveCounts();
  EXPECT_EQ(left.resources + left.ownedSources + left.windows + left.deviceContexts, 0u) << sim::describe(left);
  loader::unloadDriver();
  EXPECT_EQ(ThreadHookList, nullptr);
  EXPECT_EQ(sim::describe(sim::liveCounts()), sim::describe(sim::LiveCounts{}));
  EXPECT_EQ(describe(gpu.counters()), describe(peer::PeerCounters{}));
  EXPECT_EQ(sim::complaints(), std::vector<std::string>());
  EXPECT_EQ(peer::logLineCount(), logLines_);
  sim::reset();
}

}  // namespace qv::test
