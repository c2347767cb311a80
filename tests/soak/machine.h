// The machine of the end-to-end tests: simulated Windows with a screen that can be read, driver, real peer, and a program's
// functions.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "loader/opengl32/opengl32.h"
#include "peer/host/in_process_gpu.h"
#include "peer/replay/gl_functions.h"
#include "platform/simulated/control.h"

namespace qv::test {

inline constexpr int kDoubleBuffered = 4;  // pixel format: eight bits a colour, depth, two buffers

// Pixels as 0x00RRGGBB, rows top-down.
struct Picture {
  uint32_t width = 0, height = 0;
  std::vector<uint32_t> pixels;
  bool operator==(const Picture&) const = default;
  // One line on the first difference, empty when equal.
  std::string differenceTo(const Picture& other) const;
};

// A rectangle of a surface's memory. Nobody may be writing there.
Picture readSurface(const sim::GpuAllocation& surface, const RECT& rect);

// Every function of OpenGL, asked of the driver by name as a program does; null where the driver has none.
peer::GlFunctions driverFunctions();

// What the user sees: the last picture of every window.
class Screen final : public sim::PresentSink {
 public:
  void present(HWND window, const sim::GpuAllocation& source, const RECT& rect) override;
  void finishReads(uint32_t) override {}
  void forget(uint32_t) override {}
  Picture of(HWND window);

 private:
  std::mutex mutex_;
  std::map<HWND, Picture> pictures_;
};

std::string describe(const peer::PeerCounters& counters);

// A machine with a small monitor of kScreen, the driver loaded. At the end nothing may be alive, neither in the simulated
// Windows nor in the peer, and nobody may have complained.
class EndToEndTest : public ::testing::Test {
 protected:
  static constexpr RECT kScreen{0, 0, 160, 120};

  void start(sim::PresentSink* sink, bool residency);
  void TearDown() override;

  peer::InProcessGpu gpu;

 private:
  uint64_t logLines_ = 0;
};

}  // namespace qv::test
