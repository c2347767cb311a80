// Windows that own their display: the owner check with each of its stops, flips, and the ways to lose a display.
#include <algorithm>

#include "driver/base/current_context.h"
#include "driver/host/flush_packet.h"
#include "driver/host/owned_display.h"
#include "driver/host/present.h"
#include "driver/host/window_tracking.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

constexpr RECT kScreen{0, 0, 1920, 1080};
constexpr NTSTATUS kStaysShared = static_cast<NTSTATUS>(0xC01E0000);
constexpr NTSTATUS kFailed = static_cast<NTSTATUS>(0xC0000001);

class OwnedDisplayTest : public FrameTest {
 protected:
  void flush(uint32_t mode = 0) { SubmitFlush(currentContext(), mode, nullptr, 0, nullptr, 0, nullptr, 0); }
  // A full-screen window in the foreground with a current context; `flushes` tells whether it has been flushed.
  HWND fullScreen(RECT rect = kScreen) {
    window = makeWindow(4, rect);
    sim::setForeground(window);
    const DHGLRC handle = makeContext(window);
    const uint16_t none[] = {0};
    FindOrCreateWindowRecord(window, none);
    contextOf(handle)->window = window;
    TlsSetValue(ContextTlsSlot, contextOf(handle));
    gpu.clear();
    return window;
  }
  WindowRecord& tracked() { return *record(window); }
  HWND window = nullptr;
};

// A full-screen window in the foreground owns its display from its first frame.
TEST_F(OwnedDisplayTest, FirstFrameTakesTheDisplay) {
  fullScreen();
  startTrace();
  flush();
  expectCalls({"GetCurrentProcessId", "GetWindowInfo", "GetAncestor", "GetForegroundWindow", "IsWindowVisible",
               "MonitorFromWindow", "GetMonitorInfoW", "D3DKMTOpenAdapterFromGdiDisplayName", "D3DKMTQueryAdapterInfo",
               "D3DKMTCloseAdapter", "D3DKMTSetVidPnSourceOwner", "D3DKMTCreateAllocation", "D3DKMTSetDisplayMode",
               "D3DKMTCreateAllocation", "D3DKMTRender", "D3DKMTWaitForIdle", "D3DKMTEscape"});
  EXPECT_EQ(tracked().ownedSource, 0u);
  EXPECT_NE(tracked().flip.allocation, 0u);
  EXPECT_NE(tracked().backBuffer.allocation, 0u);
  EXPECT_EQ(sim::sourceOwner(0), Host.device);
  EXPECT_EQ(sim::displayedSurface(0), tracked().flip.allocation);
}

// The source that a window owns is that of its own monitor.
TEST_F(OwnedDisplayTest, SourceIsThatOfTheWindowsMonitor) {
  sim::setMonitors({{}, {.device = u"\\\\.\\DISPLAY2", .rect = {1920, 0, 2720, 600}, .source = 3}});
  fullScreen({1920, 0, 2720, 600});
  flush();
  EXPECT_EQ(tracked().ownedSource, 3u);
  sim::GpuAllocation surface;
  ASSERT_TRUE(sim::findSurface(tracked().flip.allocation, &surface));
  EXPECT_EQ(surface.width, 800u);
  EXPECT_EQ(surface.height, 600u);
}

// Each test of the check keeps a window shared, in turn.
TEST_F(OwnedDisplayTest, WindowStaysSharedByEachTest) {
  fullScreen();
  sim::setForeground(nullptr);
  EXPECT_EQ(checkSourceOwner(&tracked(), kScreen), kStaysShared);
  sim::setForeground(window);
  sim::showWindow(window, false);
  EXPECT_EQ(checkSourceOwner(&tracked(), kScreen), kStaysShared);
  sim::showWindow(window, true);
  sim::setForeground(window);
  for (const RECT rect : {RECT{1, 0, 1920, 1080}, RECT{0, 1, 1920, 1080}, RECT{0, 0, 1919, 1080}, RECT{0, 0, 1920, 1081}}) {
    EXPECT_EQ(checkSourceOwner(&tracked(), rect), kStaysShared);
  }
  sim::failCall("MonitorFromWindow", 1, 6);
  EXPECT_EQ(checkSourceOwner(&tracked(), kScreen), kStaysShared);
  sim::failCall("GetMonitorInfoW", 1, 6);
  EXPECT_EQ(checkSourceOwner(&tracked(), kScreen), kStaysShared);
  sim::setMonitors({{.modeWidth = 1280, .modeHeight = 1080}});
  EXPECT_EQ(checkSourceOwner(&tracked(), kScreen), kStaysShared);
  sim::setMonitors({{.modeWidth = 1920, .modeHeight = 720}});
  EXPECT_EQ(checkSourceOwner(&tracked(), kScreen), kStaysShared);
  EXPECT_EQ(tracked().ownedSource, kNoSource);
  EXPECT_EQ(sim::callCount("D3DKMTSetVidPnSourceOwner"), 0u);
  sim::setMonitors({{}});
  EXPECT_EQ(checkSourceOwner(&tracked(), kScreen), 0);
}

// Failures of the kernel stop the check with their own status and leave nothing behind.
TEST_F(OwnedDisplayTest, RefusalOfTheKernelLeavesNothing) {
  fullScreen();
  for (const char* const call : {"D3DKMTOpenAdapterFromGdiDisplayName", "D3DKMTQueryAdapterInfo", "D3DKMTSetVidPnSourceOwner",
                                 "D3DKMTCreateAllocation", "D3DKMTSetDisplayMode"}) {
    sim::failCall(call, 1, kFailed);
    EXPECT_EQ(checkSourceOwner(&tracked(), kScreen), kFailed) << call;
    EXPECT_EQ(tracked().ownedSource, kNoSource) << call;
    EXPECT_EQ(tracked().flip.resource, 0u) << call;
    EXPECT_EQ(sim::liveCounts().ownedSources, 0u) << call;
    EXPECT_EQ(sim::liveCounts().resources, 0u) << call;
    EXPECT_EQ(sim::liveCounts().adapters, 1u) << call;
  }
  sim::occupySource(0, true);
  EXPECT_LT(checkSourceOwner(&tracked(), kScreen), 0);
  EXPECT_EQ(tracked().ownedSource, kNoSource);
  sim::occupySource(0, false);
}

// The check gives up what the window owns before it takes it anew.
TEST_F(OwnedDisplayTest, CheckStartsClean) {
  fullScreen();
  flush();
  const uint32_t before = tracked().flip.resource;
  startTrace();
  EXPECT_EQ(checkSourceOwner(&tracked(), kScreen), 0);
  const Calls calls = tracedCalls();
  ASSERT_GE(calls.size(), 2u);
  EXPECT_EQ(calls[0], "D3DKMTSetVidPnSourceOwner");
  EXPECT_EQ(calls[1], "D3DKMTDestroyAllocation");
  EXPECT_NE(tracked().flip.resource, before);
}

// Giving up a source that the kernel calls an invalid parameter is repeated without a list; any other failure is final.
TEST_F(OwnedDisplayTest, ReleaseIsRepeatedWithoutAList) {
  sim::failCall("D3DKMTSetVidPnSourceOwner", 1, static_cast<NTSTATUS>(0xC000000D));
  EXPECT_EQ(ReleaseSourceOwner(0), 0);
  EXPECT_EQ(sim::callCount("D3DKMTSetVidPnSourceOwner"), 2u);
  sim::failCall("D3DKMTSetVidPnSourceOwner", 1, kFailed);
  EXPECT_EQ(ReleaseSourceOwner(0), kFailed);
  EXPECT_EQ(sim::callCount("D3DKMTSetVidPnSourceOwner"), 3u);
}

// A geometry message gives the display up at once; the surfaces wait for the next flush.
TEST_F(OwnedDisplayTest, GeometryMessageGivesTheDisplayUp) {
  fullScreen();
  flush();
  const uint32_t flip = tracked().flip.resource;
  startTrace();
  sim::sendMessage(window, WM_ACTIVATEAPP, 0, 0);
  expectCalls({"D3DKMTSetVidPnSourceOwner", "CallNextHookEx"});
  EXPECT_EQ(tracked().ownedSource, kNoSource);
  EXPECT_EQ(tracked().flip.resource, flip);
  EXPECT_EQ(tracked().recheckNeeded, 1u);
  flush();
  EXPECT_EQ(tracked().ownedSource, 0u);
  EXPECT_NE(tracked().flip.resource, flip);
  // Back to a window: shared again.
  sim::placeWindow(window, {10, 10, 110, 110});
  EXPECT_EQ(sim::sourceOwner(0), 0u);
  flush();
  EXPECT_EQ(tracked().flip.resource, 0u);
  EXPECT_EQ(sim::liveCounts().resources, 1u);
}

// A full-screen window in the foreground of another process stays shared until it is activated.
TEST_F(OwnedDisplayTest, ActivationTakesTheDisplay) {
  fullScreen();
  sim::setForeground(nullptr);
  flush();
  EXPECT_EQ(tracked().ownedSource, kNoSource);
  flush();
  EXPECT_EQ(tracked().ownedSource, kNoSource);
  sim::setForeground(window);
  flush();
  EXPECT_EQ(tracked().ownedSource, 0u);
}

// A flip trades the back buffer and the flip surface: the next packet names what was on the display.
TEST_F(OwnedDisplayTest, FlipSwapsSurfaces) {
  fullScreen();
  flush();
  const uint32_t back = tracked().backBuffer.allocation, flip = tracked().flip.allocation;
  startTrace();
  flush(1029);
  expectCalls({"GetCurrentProcessId", "GetWindowInfo", "D3DKMTEscape", "D3DKMTPresent"});
  EXPECT_EQ(gpu.last(EscapeCode::Flush).word(56), back);
  EXPECT_EQ(sim::displayedSurface(0), back);
  EXPECT_EQ(tracked().backBuffer.allocation, flip);
  EXPECT_EQ(tracked().flip.allocation, back);
  const sim::PresentRecord present = sim::presents().back();
  EXPECT_EQ(present.route, sim::PresentRecord::Route::Flip);
  EXPECT_EQ(present.allocation, back);
  EXPECT_EQ(present.source, 0u);
  EXPECT_EQ(present.flipInterval, 1u);  // the initial interval of -1 is not 0
  currentContext()->swapInterval = 0;
  flush(1029);
  EXPECT_EQ(gpu.last(EscapeCode::Flush).word(56), flip);
  EXPECT_EQ(sim::presents().back().flipInterval, 0u);
  EXPECT_EQ(sim::displayedSurface(0), flip);
  EXPECT_EQ(compositionCalls, 0u);
}

// A failed flip rebuilds the ownership and is made once more.
TEST_F(OwnedDisplayTest, FailedFlipIsRetried) {
  fullScreen();
  flush();
  sim::failCall("D3DKMTPresent", 1, kFailed);
  tracked().recheckNeeded = 1;
  flush(1029);
  EXPECT_EQ(sim::callCount("D3DKMTPresent"), 2u);
  EXPECT_EQ(tracked().recheckNeeded, 0u);
  EXPECT_EQ(tracked().ownedSource, 0u);
  EXPECT_EQ(sim::presentCount(), 1u);
  EXPECT_EQ(compositionCalls, 0u);
  // The result of the second try is ignored; the present is done as long as there is a flip surface.
  sim::failCall("D3DKMTPresent", 1, kFailed);
  sim::failCall("D3DKMTSetDisplayMode", 1, kFailed);
  flush(1029);
  EXPECT_EQ(sim::callCount("D3DKMTPresent"), 4u);  // the flip that failed, and the blit of the composition road
  EXPECT_EQ(tracked().flip.resource, 0u);
  EXPECT_EQ(compositionCalls, 1u);
}

// The result of the second flip does not count: the frame is over as long as there is a flip surface.
TEST_F(OwnedDisplayTest, SecondFlipThatFailsEndsTheFrame) {
  fullScreen();
  flush();
  sim::revokeSource(0);  // the first flip fails
  sim::failCall("D3DKMTPresent", 2, kFailed);
  flush(1029);
  EXPECT_EQ(sim::callCount("D3DKMTPresent"), 2u);
  EXPECT_NE(tracked().flip.resource, 0u);
  EXPECT_EQ(compositionCalls, 0u);
  EXPECT_EQ(sim::presentCount(), 0u);
}

// A flip trades all three of a surface's fields, and one that fails trades none.
TEST_F(OwnedDisplayTest, FlipTradesWholeSurfaces) {
  leave();
  detach();
  sim::setResidency(true);
  ASSERT_EQ(attach(), 1);
  fullScreen();
  flush();
  const Surface back = tracked().backBuffer, flip = tracked().flip;
  ASSERT_NE(back.fence, flip.fence);
  sim::failCall("D3DKMTPresent", 1, kFailed);
  EXPECT_EQ(PresentWindow(&tracked(), currentContext()), kFailed);
  EXPECT_EQ(tracked().backBuffer.resource, back.resource);
  EXPECT_EQ(PresentWindow(&tracked(), currentContext()), 0);
  EXPECT_EQ(tracked().backBuffer.resource, flip.resource);
  EXPECT_EQ(tracked().backBuffer.allocation, flip.allocation);
  EXPECT_EQ(tracked().backBuffer.fence, flip.fence);
  EXPECT_EQ(tracked().flip.resource, back.resource);
  EXPECT_EQ(tracked().flip.allocation, back.allocation);
  EXPECT_EQ(tracked().flip.fence, back.fence);
}

// With residency a surface is evicted wherever it is given up in a window's life: the back buffer of another size, the flip surface
// of a display given up, the flip surface whose mode is refused, the redirection surface that has been replaced.
TEST_F(OwnedDisplayTest, SurfacesAreEvictedBeforeTheyGo) {
  leave();
  detach();
  sim::setResidency(true);
  ASSERT_EQ(attach(), 1);
  const Calls evicted = {"D3DKMTEvict", "D3DKMTDestroyAllocation"};
  const auto evictions = [&] {
    const Calls calls = tracedCalls();
    size_t found = 0;
    for (auto at = calls.begin(); (at = std::search(at, calls.end(), evicted.begin(), evicted.end())) != calls.end(); ++at) ++found;
    EXPECT_EQ(static_cast<size_t>(std::count(calls.begin(), calls.end(), "D3DKMTDestroyAllocation")), found);
    sim::clearTrace();
    return found;
  };
  fullScreen();
  startTrace();
  sim::failCall("D3DKMTSetDisplayMode", 1, kFailed);
  flush();
  EXPECT_EQ(evictions(), 1u);
  tracked().recheckNeeded = 1;
  flush();
  EXPECT_EQ(evictions(), 0u);
  ASSERT_NE(tracked().flip.resource, 0u);
  sim::placeWindow(window, {10, 10, 1930, 1090});  // the same size
  flush();
  EXPECT_EQ(evictions(), 1u);
  sim::resizeWindow(window, 80, 80);
  flush();
  EXPECT_EQ(evictions(), 1u);
  sim::setComposition(true);
  flush(1029);
  EXPECT_EQ(evictions(), 0u);
  sim::replaceRedirectionSurface(window);
  flush(1029);
  EXPECT_EQ(evictions(), 1u);
}

// The frame falls to the composition road when the display has been taken away meanwhile.
TEST_F(OwnedDisplayTest, LostDisplayFallsToComposition) {
  fullScreen();
  flush();
  sim::revokeSource(0);
  sim::occupySource(0, true);
  flush(1029);
  EXPECT_EQ(tracked().ownedSource, kNoSource);
  EXPECT_EQ(tracked().flip.resource, 0u);
  EXPECT_EQ(compositionCalls, 1u);
  EXPECT_EQ(sim::presents().back().route, sim::PresentRecord::Route::Blt);
  sim::occupySource(0, false);
}

// The end of a window that owns its display gives back the back buffer, the source and the flip surface, and sends the packet.
TEST_F(OwnedDisplayTest, TeardownGivesBackInOrder) {
  fullScreen();
  flush();
  startTrace();
  sim::sendMessage(window, WM_DESTROY, 0, 0);
  expectCalls({"GetCurrentProcessId", "D3DKMTDestroyAllocation", "D3DKMTSetVidPnSourceOwner", "D3DKMTDestroyAllocation",
               "D3DKMTEscape", "CallNextHookEx"});
  EXPECT_EQ(sim::liveCounts().resources, 0u);
  EXPECT_EQ(sim::liveCounts().ownedSources, 0u);
}

// Teardown evicts nothing, in residency either.
TEST_F(OwnedDisplayTest, TeardownEvictsNothing) {
  leave();
  detach();
  sim::setResidency(true);
  ASSERT_EQ(attach(), 1);
  fullScreen();
  flush();
  sim::sendMessage(window, WM_DESTROY, 0, 0);
  EXPECT_EQ(sim::callCount("D3DKMTEvict"), 0u);
}

}  // namespace
}  // namespace qv::test
