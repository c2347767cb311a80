// Every platform call of every scenario is made to fail once: nothing crashes, leaks or stays locked, and a frame works
// afterwards.
#include <cstdio>
#include <functional>
#include <thread>

#include "driver/base/current_context.h"
#include "driver/base/driver_lock.h"
#include "driver/icd/attach.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

struct Machine {
  bool residency = false;
  bool composition = false;
};

struct Scenario {
  const char* name;
  Machine machine;
  std::function<void(class FaultSweepTest&)> body;
};

class FaultSweepTest : public FrameTest, public ::testing::WithParamInterface<Scenario> {
 public:
  FaultSweepTest() {
    leave();
    detach();
  }

  // A window of the scenario; destroyed with all others when it is over.
  HWND window(RECT client = {100, 50, 164, 98}) {
    const HWND made = sim::createWindow({.client = client, .frame = {3, 20, 5, 7}, .pixelFormat = 4});
    windows_.push_back(made);
    return made;
  }
  // A current context on it, or null where some step was refused.
  GlContext* current(HWND on) {
    const HDC hdc = GetDC(on);
    const DHGLRC handle = DrvCreateContext(hdc);
    if (handle != 0) contexts_.push_back(handle);
    const bool bound = handle != 0 && DrvSetContext(hdc, handle, nullptr) != nullptr;
    ReleaseDC(on, hdc);
    return bound ? currentContext() : nullptr;
  }
  DHGLRC lastContext() const { return contexts_.empty() ? 0 : contexts_.back(); }
  void frames(int count) {
    for (int i = 0; i < count; ++i) {
      if (currentContext() == nullptr) return;
      writeSomething();
      EXPECT_EQ(DrvSwapBuffers(nullptr), 1);
    }
  }

 protected:
  void setUpMachine() {
    sim::setResidency(GetParam().machine.residency);
    sim::setComposition(GetParam().machine.composition);
    sim::setVBlankClock(sim::VBlankClock::StepOnWait);
  }

  // Ends what is left, by the roads that an application has.
  void cleanUp() {
    if (!attached) return;
    GlContext* const bound = currentContext();
    if (bound != nullptr) DrvReleaseContext(bound->handle);
    TlsSetValue(ContextTlsSlot, nullptr);
    for (const DHGLRC context : contexts_) {
      if (contextOf(context) != nullptr) {
        EXPECT_EQ(DrvDeleteContext(context), 1);
      }
    }
    for (const HWND made : windows_) {
      sim::destroyWindow(made);
      forgetWindow(made);  // a thread whose hook was refused does not see the end of its windows
    }
    contexts_.clear();
    windows_.clear();
  }

  // The lock is free for another thread.
  void expectUnlocked() {
    std::thread([] {
      EXPECT_NE(TryEnterCriticalSection(&DriverLock), 0);
      LeaveCriticalSection(&DriverLock);
    }).join();
  }

  void expectHealthy() {
    const HWND fresh = window({600, 600, 650, 640});
    ASSERT_NE(current(fresh), nullptr);
    frames(2);
    gpu.clear();
    frames(1);
    EXPECT_EQ(gpu.last(EscapeCode::Flush).word(36), 1029u);
    EXPECT_NE(gpu.last(EscapeCode::Flush).word(56), 0u);
  }

  // One run with the n-th failable call failing; 0 fails none and answers how many there are.
  uint64_t run(uint64_t failing) {
    setUpMachine();
    EXPECT_EQ(attach(), 1);
    sim::resetCallCounts();
    if (failing != 0) sim::failAnyCall(failing);
    GetParam().body(*this);
    const uint64_t calls = sim::failableCallCount();
    failed_ = sim::failedCall();
    sim::clearFailures();
    expectUnlocked();
    expectHealthy();
    cleanUp();
    detach();
    EXPECT_EQ(sim::describe(sim::liveCounts()), sim::describe(sim::LiveCounts{}));
    EXPECT_EQ(sim::complaints(), std::vector<std::string>());
    EXPECT_EQ(WindowRecordList, nullptr);
    return calls;
  }

  std::string failed_;

 private:
  std::vector<HWND> windows_;
  std::vector<DHGLRC> contexts_;
};

// Each scenario survives the failure of each of its platform calls, one at a time.
TEST_P(FaultSweepTest, EveryCallFailsOnce) {
  const uint64_t calls = run(0);
  ASSERT_GT(calls, 0u);
  for (uint64_t n = 1; n <= calls; ++n) {
    run(n);
    if (HasFailure()) FAIL() << "after call " << n << " of " << calls << " failed: " << failed_;
  }
  RecordProperty("faults", static_cast<int>(calls));
  std::printf("%s: %llu faults tried\n", GetParam().name, static_cast<unsigned long long>(calls));
}

void contexts(FaultSweepTest& test) {
  const HWND on = test.window();
  test.current(on);
  const DHGLRC first = test.lastContext();
  test.current(on);
  DrvShareLists(first, test.lastContext());
  DrvCopyContext(first, test.lastContext(), 1);
  DrvReleaseContext(test.lastContext());
  DrvDeleteContext(first);
}

void swaps(FaultSweepTest& test) {
  GlContext* const context = test.current(test.window());
  if (context != nullptr) context->swapInterval = 1;
  test.frames(4);
}

void flips(FaultSweepTest& test) {
  const HWND on = test.window({0, 0, 1920, 1080});
  sim::setForeground(on);
  GlContext* const context = test.current(on);
  if (context != nullptr) context->swapInterval = 1;
  test.frames(3);
  sim::sendMessage(on, WM_ACTIVATEAPP, 1, 0);
  test.frames(2);
  sim::revokeSource(0);
  test.frames(2);
  sim::destroyWindow(on);
  test.frames(1);
}

void geometry(FaultSweepTest& test) {
  const HWND on = test.window();
  test.current(on);
  test.frames(1);
  sim::moveWindow(on, 5, 5);
  test.frames(1);
  sim::resizeWindow(on, 300, 200);
  test.frames(1);
  sim::minimiseWindow(on);
  test.frames(1);
  sim::restoreWindow(on);
  sim::replaceRedirectionSurface(on);
  test.frames(2);
  sim::setComposition(!sim::composition());
  test.frames(2);
  sim::destroyWindow(on);
  test.frames(1);
}

void pbuffers(FaultSweepTest& test) {
  const int attributes[] = {0x2072, 0x2076, 0x2073, 0x2078, 0};
  const HPBUFFERARB pbuffer = gl::wglCreatePbufferARB(nullptr, 4, 32, 32, attributes);
  if (pbuffer != nullptr) {
    test.current(reinterpret_cast<HWND>(pbuffer));
    test.frames(1);
    int value = 0;
    gl::wglQueryPbufferARB(pbuffer, 0x2034, &value);
    const int face[] = {0x207C, 0x207F, 0};
    gl::wglSetPbufferAttribARB(pbuffer, face);
    gl::wglBindTexImageARB(pbuffer, 0x2083);
    const HDC hdc = gl::wglGetPbufferDCARB(pbuffer);
    gl::wglReleasePbufferDCARB(pbuffer, hdc);
    gl::wglDestroyPbufferARB(pbuffer);
  }
  // What a failed call of the application's has left.
  if (pbuffer != nullptr) {
    sim::destroyWindow(reinterpret_cast<HWND>(pbuffer));
    forgetWindow(reinterpret_cast<HWND>(pbuffer));
  }
}

void attributes(FaultSweepTest& test) {
  const HWND on = test.window();
  const HDC hdc = GetDC(on);
  const int list[] = {0x2091, 4, 0x2092, 5, 0x2094, 1, 0};
  const HGLRC made = gl::wglCreateContextAttribsARB(hdc, nullptr, list);
  gl::wglSwapIntervalEXT(1);
  if (made != nullptr) DrvDeleteContext(reinterpret_cast<DHGLRC>(made));
  TlsSetValue(ContextTlsSlot, nullptr);
  ReleaseDC(on, hdc);
}

void otherThread(FaultSweepTest& test) {
  HWND on = nullptr;
  std::thread([&] {
    on = test.window();
    test.current(on);
    test.frames(2);
    GlContext* const bound = currentContext();
    if (bound != nullptr) DrvReleaseContext(bound->handle);
    TlsSetValue(ContextTlsSlot, nullptr);
    driverMain(nullptr, 3, nullptr);
  }).join();
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultSweepTest,
                         ::testing::Values(Scenario{"contexts", {}, contexts}, Scenario{"blit", {}, swaps},
                                           Scenario{"composition", {.composition = true}, swaps},
                                           Scenario{"composition_residency", {true, true}, swaps},
                                           Scenario{"blit_residency", {.residency = true}, swaps}, Scenario{"flip", {}, flips},
                                           Scenario{"flip_residency", {true, true}, flips}, Scenario{"geometry", {}, geometry},
                                           Scenario{"geometry_residency", {true, true}, geometry},
                                           Scenario{"pbuffers", {}, pbuffers}, Scenario{"attributes", {}, attributes},
                                           Scenario{"other_thread", {}, otherThread}),
                         [](const auto& test) { return std::string(test.param.name); });

class AttachSweepTest : public MachineTest, public ::testing::WithParamInterface<bool> {
 protected:
  void run() {
    sim::setResidency(GetParam());
    attach();
    detach();
    EXPECT_EQ(sim::describe(sim::liveCounts()), sim::describe(sim::LiveCounts{}));
    EXPECT_EQ(sim::complaints(), std::vector<std::string>());
  }
};

// Attach and detach survive the failure of each of their platform calls, and the attach after it goes through.
TEST_P(AttachSweepTest, EveryCallFailsOnce) {
  run();
  const uint64_t calls = sim::failableCallCount();
  ASSERT_GT(calls, 0u);
  for (uint64_t n = 1; n <= calls; ++n) {
    sim::failAnyCall(n);
    run();
    ASSERT_FALSE(HasFailure()) << "after call " << n << " of " << calls << " failed: " << sim::failedCall();
    sim::clearFailures();
    EXPECT_EQ(attach(), 1);
    detach();
  }
  std::printf("attach and detach: %llu faults tried\n", static_cast<unsigned long long>(calls));
}
INSTANTIATE_TEST_SUITE_P(Residency, AttachSweepTest, ::testing::Values(false, true));

// A frame is drawn after an attach in which one call failed without attach noticing, and nothing is submitted where there is no
// buffer.
TEST_P(AttachSweepTest, FrameOnACrippledDriverIsSurvived) {
  sim::setResidency(GetParam());
  for (const char* const call : {"D3DKMTCreateContext", "D3DKMTQueryAdapterInfo", "RegisterClassW", "GetModuleHandleW",
                                 "GetProcAddress", "D3DKMTRegisterTrimNotification", "D3DKMTCreatePagingQueue"}) {
    for (uint64_t n = 1; n <= 12; ++n) {
      // With residency an adapter whose caps cannot be read, or whose fence cannot be waited for (the eighth function looked
      // up), is driven wrongly by design, and the simulated kernel complains of it.
      const std::string name(call);
      if (GetParam() && ((n == 8 && name == "GetProcAddress") || (n == 1 && name == "D3DKMTQueryAdapterInfo"))) continue;
      sim::failCall(call, n, static_cast<NTSTATUS>(0xC0000001));
      if (attach() != 0) {
        const HWND window = sim::createWindow({.pixelFormat = 4});
        const HDC hdc = GetDC(window);
        const DHGLRC context = DrvCreateContext(hdc);
        if (DrvSetContext(hdc, context, nullptr) != nullptr) {
          EXPECT_EQ(DrvSwapBuffers(hdc), 1);
          EXPECT_EQ(DrvReleaseContext(context), 1);
        }
        DrvDeleteContext(context);
        gl::wglCreatePbufferARB(nullptr, 0, 1, 1, nullptr);
        ReleaseDC(window, hdc);
        sim::destroyWindow(window);
      }
      sim::clearFailures();
      detach();
      EXPECT_EQ(sim::describe(sim::liveCounts()), sim::describe(sim::LiveCounts{})) << call << " " << n;
    }
  }
}

}  // namespace
}  // namespace qv::test
