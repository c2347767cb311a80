// What one steady frame costs: no allocation on any road, and exactly these calls of the platform.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "loader/opengl32/opengl32.h"
#include "peer/link/null_gpu.h"
#include "platform/simulated/control.h"
#include "tests/soak/heap_counter.h"
#include "wire/gl_api.h"

namespace qv::test {
namespace {

using Calls = std::vector<std::string>;

constexpr RECT kScreen{0, 0, 160, 120};
// The simulated Windows reuses a handle only after 64 others: until then its tables of handles grow.
constexpr int kWarmFrames = 100, kFrames = 200;

// The counter sees both kinds of allocation, and only while it counts.
TEST(HeapCountTest, CounterSeesBothKindsOfAllocation) {
  std::unique_ptr<std::vector<int>> made;
  void* block = nullptr;
  uint64_t seen = 0;
  {
    const HeapCount heap;
    made = std::make_unique<std::vector<int>>(100);  // the vector and its memory
    block = std::malloc(100);
    seen = heap.allocations();
  }
  ASSERT_NE(block, nullptr);
  std::free(block);
  EXPECT_EQ(seen, 3u);
}

// Names of the calls since the trace was switched on. Each stands for one call of the platform; the lock's are there too.
Calls tracedCalls() {
  Calls names;
  for (const std::string& line : sim::trace()) {
    const size_t start = line.find(' ') + 1;
    names.push_back(line.substr(start, line.find_first_of(" (", start) - start));
  }
  return names;
}

// A program that clears and swaps, with a GPU behind the kernel that answers and does nothing.
class FrameCostTest : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    sim::reset();
    sim::setMonitors({{.rect = kScreen}});
    sim::setResidency(GetParam());
    sim::setVBlankClock(sim::VBlankClock::StepOnWait);
    sim::setGpuLink(&gpu);
    ASSERT_TRUE(loader::loadDriver());
    fetch(clear, "glClear");
    fetch(getError, "glGetError");
    fetch(begin, "glBegin");
    fetch(end, "glEnd");
    fetch(normal, "glNormal3f");
    fetch(vertex, "glVertex3f");
    fetch(rotate, "glRotatef");
    fetch(swapInterval, "wglSwapIntervalEXT");
  }
  void TearDown() override {
    sim::setTrace(false);
    EXPECT_TRUE(loader::wglMakeCurrent(nullptr, nullptr));
    EXPECT_TRUE(loader::wglDeleteContext(context));
    loader::unloadDriver();
    sim::reset();
  }
  template <typename Function>
  static void fetch(Function*& function, const char* name) {
    function = reinterpret_cast<Function*>(reinterpret_cast<void*>(loader::driverProcAddress(name)));
    ASSERT_NE(function, nullptr) << name;
  }
  void open(const RECT& client, bool foreground) {
    window = sim::createWindow({.client = client, .pixelFormat = 4});
    if (foreground) sim::setForeground(window);
    hdc = GetDC(window);
    context = loader::wglCreateContext(hdc);
    ASSERT_TRUE(loader::wglMakeCurrent(hdc, context));
    for (int i = 0; i < kWarmFrames; ++i) frame();
  }
  void frame() {
    clear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    for (int i = 0; i < triangles; ++i) {
      rotate(static_cast<float>(i), 0.0f, 0.0f, 1.0f);
      begin(GL_TRIANGLES);
      for (int corner = 0; corner < 3; ++corner) {
        normal(0.0f, 0.0f, 1.0f);
        vertex(static_cast<float>(corner), static_cast<float>(i), 0.0f);
      }
      end();
    }
    loader::wglSwapBuffers(hdc);
  }
  // Driver and simulated Windows together: what the driver allocated would be among it.
  void expectNoAllocations() {
    const uint64_t presents = sim::presentCount(), flushes = gpu.flushes;
    uint64_t allocations = 0;
    {
      const HeapCount heap;
      for (int i = 0; i < kFrames; ++i) frame();
      allocations = heap.allocations();
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(sim::presentCount() - presents, static_cast<uint64_t>(kFrames));
    EXPECT_EQ(gpu.flushes - flushes, static_cast<uint64_t>(kFrames));
  }
  void expectCalls(const Calls& calls, sim::PresentRecord::Route route) {
    for (int i = 0; i < 3; ++i) {
      sim::clearTrace();
      sim::setTrace(true);
      frame();
      sim::setTrace(false);
      EXPECT_EQ(tracedCalls(), calls);
      EXPECT_EQ(sim::presents().back().route, route);
    }
    EXPECT_EQ(getError(), 0u);
  }

  peer::NullGpu gpu;
  HWND window = nullptr;
  HDC hdc = nullptr;
  HGLRC context = nullptr;
  decltype(glClear)* clear = nullptr;
  decltype(glGetError)* getError = nullptr;
  decltype(glBegin)* begin = nullptr;
  decltype(glEnd)* end = nullptr;
  decltype(glNormal3f)* normal = nullptr;
  decltype(glVertex3f)* vertex = nullptr;
  decltype(glRotatef)* rotate = nullptr;
  int triangles = 0;  // that a frame draws between its clear and its swap
  BOOL (*swapInterval)(int) = nullptr;
};

using Route = sim::PresentRecord::Route;

// The swap finds the window of the device context; the lock is held to find the window's record; the callback finds the window
// once more, and the driver blits.
TEST_P(FrameCostTest, BlitMakesTheseCallsOnly) {
  open({10, 10, 170, 130}, false);
  expectNoAllocations();
  expectCalls({"WindowFromDC", "GetCurrentProcessId", "EnterCriticalSection", "LeaveCriticalSection", "GetWindowInfo",
               "D3DKMTEscape", "GetDC", "WindowFromDC", "D3DKMTPresent", "ReleaseDC"},
              Route::Blt);
}

// Drawing between clear and swap, more of it than a stream has room for at first, adds neither allocations nor calls.
TEST_P(FrameCostTest, DrawingAddsNothing) {
  triangles = 5000;
  open({10, 10, 170, 130}, false);
  EXPECT_GT(gpu.streamBytes / gpu.flushes, 256u * 1024);
  expectNoAllocations();
  expectCalls({"WindowFromDC", "GetCurrentProcessId", "EnterCriticalSection", "LeaveCriticalSection", "GetWindowInfo",
               "D3DKMTEscape", "GetDC", "WindowFromDC", "D3DKMTPresent", "ReleaseDC"},
              Route::Blt);
}

// The copy into the redirection surface is one submission, under the lock.
TEST_P(FrameCostTest, CompositionIsOneSubmission) {
  sim::setComposition(true);
  open({10, 10, 170, 130}, false);
  expectNoAllocations();
  expectCalls(
      {"WindowFromDC", "GetCurrentProcessId", "EnterCriticalSection", "LeaveCriticalSection", "GetWindowInfo", "D3DKMTEscape",
       "GetDC", "WindowFromDC", "EnterCriticalSection", "D3DKMTRender", "LeaveCriticalSection", "ReleaseDC"},
      Route::Redirected);
}

// A window that owns the display needs no device context and no callback.
TEST_P(FrameCostTest, FlipNeedsNoDeviceContext) {
  open(kScreen, true);
  expectNoAllocations();
  expectCalls({"WindowFromDC", "GetCurrentProcessId", "EnterCriticalSection", "LeaveCriticalSection", "GetWindowInfo",
               "D3DKMTEscape", "D3DKMTPresent"},
              Route::Flip);
}

// Pacing adds two calls where the driver paces.
TEST_P(FrameCostTest, PacingAddsTwoCalls) {
  open({10, 10, 170, 130}, false);
  ASSERT_TRUE(swapInterval(1));
  frame();
  expectNoAllocations();
  expectCalls(
      {"WindowFromDC", "GetCurrentProcessId", "EnterCriticalSection", "LeaveCriticalSection", "GetWindowInfo", "D3DKMTEscape",
       "GetDC", "WindowFromDC", "D3DKMTGetDeviceState", "D3DKMTWaitForVerticalBlankEvent", "D3DKMTPresent", "ReleaseDC"},
      Route::Blt);
}

// Pacing adds no call to a flip, whose interval the kernel keeps.
TEST_P(FrameCostTest, PacingAddsNothingToAFlip) {
  open(kScreen, true);
  ASSERT_TRUE(swapInterval(1));
  frame();
  expectNoAllocations();
  expectCalls({"WindowFromDC", "GetCurrentProcessId", "EnterCriticalSection", "LeaveCriticalSection", "GetWindowInfo",
               "D3DKMTEscape", "D3DKMTPresent"},
              Route::Flip);
}

INSTANTIATE_TEST_SUITE_P(Residency, FrameCostTest, ::testing::Values(false, true),
                         [](const auto& test) { return test.param ? "On" : "Off"; });

}  // namespace
}  // namespace qv::test
