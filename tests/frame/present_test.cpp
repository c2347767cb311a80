// The blit and the composition road, and pacing.
#include "driver/base/current_context.h"
#include "driver/host/present.h"

#include <algorithm>

#include "driver/host/flush_packet.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

class PresentTest : public FrameTest {
 protected:
  void start(RECT client = {100, 50, 164, 98}) {
    window = makeWindow(4, client);
    makeCurrent(window);
  }
  void present() { SubmitFlush(currentContext(), 1029, nullptr, 0, nullptr, 0, nullptr, 0); }
  WindowRecord& tracked() { return *record(window); }
  HWND window = nullptr;
};

// Without composition and without a display of its own a window is shown by a blit of its client area.
TEST_F(PresentTest, BlitShowsTheClientArea) {
  start();
  present();
  startTrace();
  present();
  expectCalls({"GetCurrentProcessId", "GetWindowInfo", "D3DKMTEscape", "GetDC", "WindowFromDC", "D3DKMTPresent", "ReleaseDC"});
  const sim::PresentRecord shown = sim::presents().back();
  EXPECT_EQ(shown.route, sim::PresentRecord::Route::Blt);
  EXPECT_EQ(shown.window, window);
  EXPECT_EQ(shown.allocation, tracked().backBuffer.allocation);
  EXPECT_EQ(shown.rect.left, 0);
  EXPECT_EQ(shown.rect.top, 0);
  EXPECT_EQ(shown.rect.right, 64);
  EXPECT_EQ(shown.rect.bottom, 48);
}

// The composition callback is given the window's data.
TEST_F(PresentTest, CallbackGetsItsData) {
  start();
  present();
  EXPECT_EQ(lastCallback.nVersion, 2u);
  EXPECT_EQ(lastCallback.syncType, 0u);
  EXPECT_EQ(lastCallback.luidAdapter.LowPart, sim::adapterLuid().LowPart);
  EXPECT_EQ(lastCallback.luidAdapter.HighPart, sim::adapterLuid().HighPart);
  EXPECT_EQ(lastCallback.updateRect.left, 3);
  EXPECT_EQ(lastCallback.updateRect.top, 20);
  EXPECT_EQ(lastCallback.updateRect.right, 67);
  EXPECT_EQ(lastCallback.updateRect.bottom, 68);
}

// A plain flush presents nothing.
TEST_F(PresentTest, ModeZeroPresentsNothing) {
  start();
  SubmitFlush(currentContext(), 0, nullptr, 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(compositionCalls, 0u);
  EXPECT_EQ(sim::presentCount(), 0u);
}

// On a composed desktop the back buffer is copied into the redirection surface, with these words, lists, patches, flag and token.
TEST_F(PresentTest, RedirectedCopyHasItsWords) {
  sim::setComposition(true);
  start();
  token = 0x123456789ABCull;
  present();
  sim::setSubmissionLog(true);
  startTrace();
  present();
  expectCalls({"GetCurrentProcessId", "GetWindowInfo", "D3DKMTEscape", "GetDC", "WindowFromDC", "D3DKMTRender", "ReleaseDC"});
  ASSERT_EQ(sim::submissions().size(), 1u);
  const sim::Submission copy = sim::submissions()[0];
  const uint32_t source = tracked().backBuffer.allocation, destination = tracked().composition.allocation;
  EXPECT_EQ(copy.words, (std::vector<uint32_t>{65617, source, 0, 0, 64, 48, 0, destination, 3, 20, 67, 68, 0, 0, 65640}));
  ASSERT_EQ(copy.allocations.size(), 3u);
  const uint32_t handles[] = {0, source, destination}, flags[] = {0, 0, 1};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(copy.allocations[i].hAllocation, handles[i]);
    EXPECT_EQ(copy.allocations[i].Flags, flags[i]);
  }
  ASSERT_EQ(copy.patches.size(), 4u);
  const std::vector<uint32_t> rows[] = {
      {1, 23, source, 0, 0, 0}, {2, 17, destination, 0, 0, 0}, {0, 23, 0, 0, 56, 0}, {0, 17, 0, 0, 56, 0}};
  for (size_t i = 0; i < 4; ++i) {
    const D3DDDI_PATCHLOCATIONLIST& row = copy.patches[i];
    EXPECT_EQ((std::vector<uint32_t>{row.AllocationIndex, row.Slot, row.DriverId, row.AllocationOffset, row.PatchOffset,
                                     row.SplitOffset}),
              rows[i]);
  }
  EXPECT_EQ(copy.flags, 16u);
  EXPECT_EQ(copy.token, 0x123456789ABCull);
  EXPECT_EQ(copy.status, 0);
}

// With residency the same words go without lists.
TEST_F(PresentTest, RedirectedCopyHasNoListsWithResidency) {
  leave();
  detach();
  sim::setResidency(true);
  sim::setComposition(true);
  ASSERT_EQ(attach(), 1);
  start();
  sim::setSubmissionLog(true);
  present();
  const sim::Submission copy = sim::submissions().back();
  EXPECT_EQ(copy.words, (std::vector<uint32_t>{65617, tracked().backBuffer.allocation, 0, 0, 64, 48, 0,
                                               tracked().composition.allocation, 3, 20, 67, 68, 0, 0, 65640}));
  EXPECT_TRUE(copy.allocations.empty());
  EXPECT_TRUE(copy.patches.empty());
  EXPECT_NE(tracked().composition.fence, 0u);
}

// The copy waits for the later of the two fences.
TEST_F(PresentTest, CopyWaitsForTheLaterFence) {
  leave();
  detach();
  sim::setResidency(true);
  sim::setComposition(true);
  ASSERT_EQ(attach(), 1);
  start();
  sim::setPagingHeld(true);
  present();
  EXPECT_GT(tracked().composition.fence, tracked().backBuffer.fence);
  EXPECT_EQ(Host.lastWaitedFence, tracked().composition.fence);
  sim::completePaging();
  sim::setPagingHeld(false);
}

// It does so when the later one is the back buffer's.
TEST_F(PresentTest, CopyWaitsForALaterBackBuffer) {
  leave();
  detach();
  sim::setResidency(true);
  sim::setComposition(true);
  ASSERT_EQ(attach(), 1);
  start();
  present();
  sim::setPagingHeld(true);
  tracked().backBuffer.fence = tracked().composition.fence + 5;
  present();
  EXPECT_EQ(Host.lastWaitedFence, tracked().backBuffer.fence);
  sim::completePaging();
  sim::setPagingHeld(false);
}

// A new share handle closes the old surface and opens the new one; the same one is left alone.
TEST_F(PresentTest, NewShareHandleReplacesTheSurface) {
  sim::setComposition(true);
  start();
  startTrace();
  present();
  Calls opened = {"D3DKMTQueryResourceInfo", "D3DKMTOpenResource"};
  Calls calls = tracedCalls();
  EXPECT_NE(std::search(calls.begin(), calls.end(), opened.begin(), opened.end()), calls.end());
  const uint32_t first = tracked().compositionShareHandle;
  EXPECT_EQ(first, sim::redirectionSurface(window));
  sim::replaceRedirectionSurface(window);
  sim::clearTrace();
  present();
  opened.insert(opened.begin(), "D3DKMTDestroyAllocation");
  calls = tracedCalls();
  EXPECT_NE(std::search(calls.begin(), calls.end(), opened.begin(), opened.end()), calls.end());
  EXPECT_NE(tracked().compositionShareHandle, first);
  const uint64_t opens = sim::callCount("D3DKMTOpenResource");
  present();
  EXPECT_EQ(sim::callCount("D3DKMTOpenResource"), opens);
}

// A share handle of 0 after another closes the surface and presents by blit.
TEST_F(PresentTest, EndOfCompositionPresentsByBlit) {
  sim::setComposition(true);
  start();
  present();
  EXPECT_EQ(sim::presents().back().route, sim::PresentRecord::Route::Redirected);
  sim::setComposition(false);
  present();
  EXPECT_EQ(sim::presents().back().route, sim::PresentRecord::Route::Blt);
  EXPECT_EQ(tracked().compositionShareHandle, 0u);
  EXPECT_EQ(tracked().composition.resource, 0u);
  EXPECT_EQ(tracked().composition.allocation, 0u);
}

// The runtime's private data of a shared surface, of any size, is given room.
TEST_F(PresentTest, RuntimeDataGetTheirRoom) {
  sim::setComposition(true);
  sim::setSharedRuntimeDataSize(200);
  start();
  present();
  EXPECT_EQ(sim::presents().back().route, sim::PresentRecord::Route::Redirected);
}

// A surface that cannot be made resident is given back, and the frame is skipped with the record unchanged.
TEST_F(PresentTest, SurfaceThatIsNotResidentIsGivenBack) {
  leave();
  detach();
  sim::setResidency(true);
  sim::setComposition(true);
  ASSERT_EQ(attach(), 1);
  start();
  SubmitFlush(currentContext(), 0, nullptr, 0, nullptr, 0, nullptr, 0);
  const uint32_t before = sim::liveCounts().resources;
  sim::failCall("D3DKMTMakeResident", 1, static_cast<NTSTATUS>(0xC0000017));
  present();
  EXPECT_EQ(sim::presentCount(), 0u);
  EXPECT_EQ(sim::liveCounts().resources, before);
  EXPECT_EQ(tracked().compositionShareHandle, 0u);
  present();
  EXPECT_EQ(sim::presentCount(), 1u);
}

// A failed open is not tested: the record takes what it was given, and the frame goes by blit.
TEST_F(PresentTest, RefusedOpenGoesByBlit) {
  sim::setComposition(true);
  start();
  sim::failCall("D3DKMTOpenResource", 1, static_cast<NTSTATUS>(0xC0000017));
  present();
  EXPECT_EQ(tracked().compositionShareHandle, sim::redirectionSurface(window));
  EXPECT_EQ(tracked().composition.resource, 0u);
  EXPECT_EQ(sim::presents().back().route, sim::PresentRecord::Route::Blt);
}

// The end of a composed window gives back both its surfaces before the host is told.
TEST_F(PresentTest, ComposedWindowGivesBackBothSurfaces) {
  sim::setComposition(true);
  start();
  present();
  ASSERT_NE(tracked().composition.resource, 0u);
  startTrace();
  sim::sendMessage(window, WM_DESTROY, 0, 0);
  expectCalls({"GetCurrentProcessId", "D3DKMTDestroyAllocation", "D3DKMTDestroyAllocation", "D3DKMTEscape", "CallNextHookEx"});
}

// A window without a picture shows nothing.
TEST_F(PresentTest, WindowWithoutAPictureShowsNothing) {
  sim::setComposition(true);
  start();
  sim::minimiseWindow(window);
  present();
  EXPECT_EQ(sim::presentCount(), 0u);
  EXPECT_EQ(compositionCalls, 1u);
}

class PacingTest : public PresentTest {
 protected:
  PacingTest() { sim::setVBlankClock(sim::VBlankClock::StepOnWait); }
  uint64_t stateReads() { return sim::callCount("D3DKMTGetDeviceState"); }
  uint64_t waits() { return sim::callCount("D3DKMTWaitForVerticalBlankEvent"); }
};

// Only a swap interval of exactly 1 is paced.
TEST_F(PacingTest, OnlyIntervalOneIsPaced) {
  start();
  EXPECT_EQ(currentContext()->swapInterval, -1);
  present();
  currentContext()->swapInterval = 0;
  present();
  EXPECT_EQ(stateReads(), 0u);
  currentContext()->swapInterval = 1;
  present();
  EXPECT_EQ(stateReads(), 1u);
}

// A present within the refresh of the last one waits for one vertical blank and counts it; a later one never waits.
TEST_F(PacingTest, OnePresentPerRefresh) {
  start();
  currentContext()->swapInterval = 1;
  sim::advanceVBlanks(5);
  present();
  EXPECT_EQ(waits(), 0u);
  const uint32_t shown = currentContext()->lastRefreshCount;
  EXPECT_NE(shown, 0u);
  present();
  EXPECT_EQ(waits(), 1u);
  EXPECT_EQ(currentContext()->lastRefreshCount, shown + 1);
  sim::advanceVBlanks(7);
  present();
  EXPECT_EQ(waits(), 1u);
}

// The statistics asked for are those of presents, type 4, and the blank waited for is that of source 0.
TEST_F(PacingTest, StatisticsAreThoseOfPresents) {
  start();
  currentContext()->swapInterval = 1;
  present();
  startTrace();
  present();
  bool asked = false, waited = false;
  for (const std::string& line : sim::trace()) {
    asked = asked || (line.find("D3DKMTGetDeviceState") != std::string::npos && line.find("type 4") != std::string::npos);
    waited = waited ||
             (line.find("D3DKMTWaitForVerticalBlankEvent") != std::string::npos && line.find("source 0") != std::string::npos);
  }
  EXPECT_TRUE(asked);
  EXPECT_TRUE(waited);
}

// The copy of the composition road is paced too, inside the submission.
TEST_F(PacingTest, CompositionRoadIsPacedToo) {
  sim::setComposition(true);
  start();
  currentContext()->swapInterval = 1;
  sim::advanceVBlanks(2);
  present();
  present();
  EXPECT_EQ(waits(), 1u);
  startTrace();
  present();
  expectCalls({"GetCurrentProcessId", "GetWindowInfo", "D3DKMTEscape", "GetDC", "WindowFromDC", "D3DKMTGetDeviceState",
               "D3DKMTWaitForVerticalBlankEvent", "D3DKMTRender", "ReleaseDC"});
}

// Without statistics nothing is waited for and nothing is remembered.
TEST_F(PacingTest, NothingIsPacedWithoutStatistics) {
  start();
  currentContext()->swapInterval = 1;
  currentContext()->lastRefreshCount = 12345;
  sim::failCall("D3DKMTGetDeviceState", 1, static_cast<NTSTATUS>(0xC0000001));
  present();
  EXPECT_EQ(waits(), 0u);
  EXPECT_EQ(currentContext()->lastRefreshCount, 12345u);
}

}  // namespace
}  // namespace qv::test
