// Where DriverLock is taken and given back among the platform calls of a window's life. The recording GPU looks at each packet
// besides.
#include <algorithm>

#include "driver/base/current_context.h"
#include "driver/host/flush_packet.h"
#include "driver/host/window_tracking.h"
#include "driver/icd/attach.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

class LocksTest : public FrameTest {
 protected:
  void flush(uint32_t mode) { SubmitFlush(currentContext(), mode, nullptr, 0, nullptr, 0, nullptr, 0); }
};

// Contexts enter and leave the registry under the lock; the packets are sent outside.
TEST_F(LocksTest, RegistryIsWalkedUnderTheLock) {
  const HWND window = makeWindow();
  const HDC hdc = dc(window);
  startTrace();
  const DHGLRC handle = DrvCreateContext(hdc);
  const Calls calls = tracedCalls(Locks::kTold);
  EXPECT_EQ(Calls(calls.end() - 2, calls.end()), (Calls{kLock, kUnlock}));
  EXPECT_EQ(std::count(calls.begin(), calls.end(), kLock), 1);
  sim::clearTrace();
  EXPECT_EQ(DrvDeleteContext(handle), 1);
  expectCalls({"GetCurrentProcessId", kLock, kUnlock, "D3DKMTEscape", "DeleteCriticalSection"});
}

// The first sight of a window holds the lock from the look-up over the packet until its thread is hooked.
TEST_F(LocksTest, NewWindowIsMadeUnderTheLock) {
  const HWND window = makeWindow();
  const uint16_t none[] = {0};
  startTrace();
  FindOrCreateWindowRecord(window, none);
  expectCalls({"GetWindowThreadProcessId", kLock, "GetCurrentProcessId", "D3DKMTEscape", "SetWindowsHookExW", kUnlock});
  FindOrCreateWindowRecord(window, none);
  expectCalls({"GetWindowThreadProcessId", kLock, kUnlock});
}

// A flush takes the lock for the look-up of the record alone; a new back buffer is touched under it.
TEST_F(LocksTest, FlushLooksUpUnderTheLock) {
  const HWND window = makeWindow();
  makeCurrent(window);
  startTrace();
  flush(0);
  expectCalls({"GetCurrentProcessId", kLock, kUnlock, "GetWindowInfo", "D3DKMTEscape"});
  sim::resizeWindow(window, 30, 20);
  sim::clearTrace();
  flush(0);
  expectCalls({"GetCurrentProcessId", kLock, kUnlock, "GetWindowInfo", "GetAncestor", "GetForegroundWindow",
               "D3DKMTDestroyAllocation", "D3DKMTCreateAllocation", kLock, "D3DKMTRender", kUnlock, "D3DKMTWaitForIdle",
               "D3DKMTEscape"});
}

// A blit is paced and presented outside the lock.
TEST_F(LocksTest, BlitIsPacedOutsideTheLock) {
  sim::setVBlankClock(sim::VBlankClock::StepOnWait);
  makeCurrent(makeWindow());
  currentContext()->swapInterval = 1;
  flush(1029);
  flush(1029);
  startTrace();
  flush(1029);
  expectCalls({"GetCurrentProcessId", kLock, kUnlock, "GetWindowInfo", "D3DKMTEscape", "GetDC", "WindowFromDC",
               "D3DKMTGetDeviceState", "D3DKMTWaitForVerticalBlankEvent", "D3DKMTPresent", "ReleaseDC"});
}

// The copy of the composition road is paced and submitted inside it (required oddity 75).
TEST_F(LocksTest, CopyIsPacedInsideTheLock) {
  sim::setVBlankClock(sim::VBlankClock::StepOnWait);
  sim::setComposition(true);
  makeCurrent(makeWindow());
  currentContext()->swapInterval = 1;
  flush(1029);
  flush(1029);
  startTrace();
  flush(1029);
  expectCalls({"GetCurrentProcessId", kLock, kUnlock, "GetWindowInfo", "D3DKMTEscape", "GetDC", "WindowFromDC", kLock,
               "D3DKMTGetDeviceState", "D3DKMTWaitForVerticalBlankEvent", "D3DKMTRender", kUnlock, "ReleaseDC"});
}

// A message takes the lock for the record alone; the end of a window gives back outside it.
TEST_F(LocksTest, HookLooksUpUnderTheLock) {
  const HWND window = makeWindow();
  makeCurrent(window);
  startTrace();
  sim::sendMessage(window, WM_ACTIVATEAPP, 0, 0);
  expectCalls({kLock, kUnlock, "CallNextHookEx"});
  sim::sendMessage(window, WM_DESTROY, 0, 0);
  expectCalls({kLock, kUnlock, "GetCurrentProcessId", "D3DKMTDestroyAllocation", "D3DKMTEscape", "CallNextHookEx"});
}

// Hooks are taken out of their list one by one under the lock and removed outside it.
TEST_F(LocksTest, HooksGoOutsideTheLock) {
  makeCurrent(makeWindow());
  forgetWindow(currentContext()->window);
  leave();
  startTrace();
  driverMain(nullptr, 3, nullptr);
  expectCalls({"GetCurrentThreadId", kLock, kUnlock, "UnhookWindowsHookEx"});
  makeCurrent(makeWindow());
  leave();
  startTrace();
  detach();
  expectCalls({"UnregisterClassW", kLock, kUnlock, "UnhookWindowsHookEx", kLock, kUnlock, "DeleteCriticalSection",
               "D3DKMTDestroyContext", "D3DKMTDestroyDevice", "D3DKMTCloseAdapter", "TlsFree", "TlsFree"});
}

}  // namespace
}  // namespace qv::test
