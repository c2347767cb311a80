// Presents by blit and flip, ownership of sources, display modes, adapter queries, the clock of vertical blanks.
#include <atomic>
#include <thread>

#include "tests/platform/simulated_test.h"

namespace qv::test {

class DisplayTest : public DeviceTest {
 protected:
  NTSTATUS own(uint32_t source, uint32_t type, D3DKMT_HANDLE owner = 0) {
    D3DKMT_SETVIDPNSOURCEOWNER request{};
    request.hDevice = owner != 0 ? owner : device;
    request.pType = &type;
    request.pVidPnSourceId = &source;
    request.VidPnSourceCount = 1;
    return D3DKMTSetVidPnSourceOwner(&request);
  }
  NTSTATUS setMode(const Surface& surface) {
    D3DKMT_SETDISPLAYMODE request{};
    request.hDevice = device;
    request.hPrimaryAllocation = surface.allocation;
    request.ScanLineOrdering = 1;
    request.DisplayOrientation = 1;
    return D3DKMTSetDisplayMode(&request);
  }
  NTSTATUS blit(HWND window, const Surface& surface, const RECT& rect) {
    D3DKMT_PRESENT request{};
    request.hContext = context;
    request.hWindow = window;
    request.hSource = surface.allocation;
    request.Flags = 193;
    request.SrcRect = request.DstRect = rect;
    request.SubRectCnt = 1;
    request.pSrcSubRects = &request.SrcRect;
    return D3DKMTPresent(&request);
  }
  NTSTATUS flip(HWND window, const Surface& surface, uint32_t source = 0) {
    D3DKMT_PRESENT request{};
    request.hContext = context;
    request.hWindow = window;
    request.hSource = surface.allocation;
    request.VidPnSourceId = source;
    request.FlipInterval = 1;
    request.Flags = 4;
    return D3DKMTPresent(&request);
  }
};

// A blit shows the window and the surface in the sink, cut to the surface; a dead window or surface fails it.
TEST_F(DisplayTest, BlitShowsTheSurface) {
  bringUp();
  HWND window = sim::createWindow();
  Surface surface;
  create(32, 16, &surface);
  ASSERT_EQ(blit(window, surface, {0, 0, 32, 16}), 0);
  ASSERT_EQ(sink.shown.size(), 1u);
  EXPECT_EQ(sink.shown[0].window, window);
  EXPECT_EQ(sink.shown[0].surface.handle, surface.allocation);
  EXPECT_RECT(sink.shown[0].rect, 0, 0, 32, 16);
  EXPECT_EQ(blit(window, surface, {-5, 0, 320, 160}), 0);  // cut to the surface
  EXPECT_RECT(sink.shown[1].rect, 0, 0, 32, 16);
  EXPECT_EQ(sim::presentCount(), 2u);
  sim::destroyWindow(window);
  EXPECT_LT(blit(window, surface, {0, 0, 32, 16}), 0);
  EXPECT_LT(blit(sim::createWindow(), Surface{1, 2}, {0, 0, 1, 1}), 0);
}

// A source has one exclusive owner; giving back what one does not own is an invalid parameter, giving all back is not.
TEST_F(DisplayTest, SourceHasOneExclusiveOwner) {
  bringUp();
  EXPECT_EQ(own(0, 2), 0);
  EXPECT_EQ(own(0, 2), 0);
  EXPECT_EQ(sim::sourceOwner(0), device);
  D3DKMT_CREATEDEVICE second{};
  second.hAdapter = adapter;
  ASSERT_EQ(D3DKMTCreateDevice(&second), 0);
  EXPECT_EQ(own(0, 2, second.hDevice), static_cast<NTSTATUS>(0xC01E0342));
  EXPECT_EQ(own(0, 0, second.hDevice), static_cast<NTSTATUS>(0xC000000D));
  EXPECT_EQ(own(0, 0), 0);
  EXPECT_EQ(own(0, 0), static_cast<NTSTATUS>(0xC000000D));
  EXPECT_EQ(own(0, 2, second.hDevice), 0);
  EXPECT_EQ(sim::liveCounts().ownedSources, 1u);
  D3DKMT_SETVIDPNSOURCEOWNER all{};
  all.hDevice = second.hDevice;
  EXPECT_EQ(D3DKMTSetVidPnSourceOwner(&all), 0);
  EXPECT_EQ(sim::sourceOwner(0), 0u);
  EXPECT_LT(own(7, 2), 0);
  sim::occupySource(0, true);
  EXPECT_EQ(own(0, 2), static_cast<NTSTATUS>(0xC01E0342));
  sim::occupySource(0, false);
  EXPECT_EQ(own(0, 2, second.hDevice), 0);
  D3DKMT_DESTROYDEVICE gone{second.hDevice};
  D3DKMTDestroyDevice(&gone);
  EXPECT_EQ(sim::sourceOwner(0), 0u);
}

// A flip needs ownership, a mode set with a primary, and a surface of the mode's size.
TEST_F(DisplayTest, FlipNeedsAnOwnedDisplay) {
  bringUp();
  sim::setMonitors({{.rect = {0, 0, 64, 32}}});
  HWND window = sim::createWindow({.client = {0, 0, 64, 32}});
  Surface back, primary, small;
  create(64, 32, &back);
  create(64, 32, &primary);
  create(32, 32, &small);
  EXPECT_LT(flip(window, back), 0);
  EXPECT_LT(setMode(primary), 0);
  ASSERT_EQ(own(0, 2), 0);
  EXPECT_LT(flip(window, back), 0);
  EXPECT_LT(setMode(small), 0);
  ASSERT_EQ(setMode(primary), 0);
  EXPECT_EQ(sim::displayedSurface(0), primary.allocation);
  EXPECT_LT(flip(window, small), 0);
  EXPECT_LT(flip(window, back, 3), 0);
  ASSERT_EQ(flip(window, back), 0);
  EXPECT_EQ(sim::displayedSurface(0), back.allocation);
  ASSERT_EQ(sink.shown.size(), 1u);
  EXPECT_RECT(sink.shown[0].rect, 0, 0, 64, 32);
  EXPECT_EQ(sim::presents()[0].route, sim::PresentRecord::Route::Flip);
  EXPECT_EQ(sim::presents()[0].flipInterval, 1u);
  sim::revokeSource(0);
  EXPECT_LT(flip(window, primary), 0);
  EXPECT_EQ(own(0, 0), static_cast<NTSTATUS>(0xC000000D));
}

// A mode with a primary of a monitor with another scan line order and orientation is refused.
TEST_F(DisplayTest, ModeMustMatchTheMonitor) {
  bringUp();
  sim::setMonitors({{.rect = {0, 0, 64, 32}, .scanLineOrdering = 2, .orientation = 3}});
  Surface primary;
  create(64, 32, &primary);
  own(0, 2);
  EXPECT_LT(setMode(primary), 0);
}

// The adapter tells its caps word and the mode of each source, and refuses other sizes, sources and types.
TEST_F(DisplayTest, AdapterTellsCapsAndModes) {
  bringUp();
  sim::setAdapterCaps(0x10000005);
  uint32_t caps[9];
  std::memset(caps, 0xFF, sizeof caps);
  D3DKMT_QUERYADAPTERINFO query{adapter, KMTQAITYPE_UMDRIVERPRIVATE, caps, 36};
  ASSERT_EQ(D3DKMTQueryAdapterInfo(&query), 0);
  EXPECT_EQ(caps[3], 0x10000005u);
  EXPECT_EQ(caps[2], 0u);
  query.PrivateDriverDataSize = 32;
  EXPECT_LT(D3DKMTQueryAdapterInfo(&query), 0);
  sim::setMonitors({{},
                    {.device = u"\\\\.\\DISPLAY2",
                     .rect = {1920, 0, 2720, 600},
                     .source = 1,
                     .modeWidth = 801,
                     .refreshNumerator = 59940,
                     .refreshDenominator = 1000}});
  D3DKMT_CURRENTDISPLAYMODE mode{};
  mode.VidPnSourceId = 1;
  query = {adapter, KMTQAITYPE_CURRENTDISPLAYMODE, &mode, 48};
  ASSERT_EQ(D3DKMTQueryAdapterInfo(&query), 0);
  EXPECT_EQ(mode.DisplayMode.Width, 801u);
  EXPECT_EQ(mode.DisplayMode.Height, 600u);
  EXPECT_EQ(mode.DisplayMode.RefreshRate.Numerator, 59940u);
  EXPECT_EQ(mode.DisplayMode.RefreshRate.Denominator, 1000u);
  EXPECT_EQ(mode.DisplayMode.IntegerRefreshRate, 59u);
  EXPECT_EQ(mode.DisplayMode.ScanLineOrdering, 1u);
  mode.VidPnSourceId = 2;
  EXPECT_LT(D3DKMTQueryAdapterInfo(&query), 0);
  query.Type = 77;
  EXPECT_LT(D3DKMTQueryAdapterInfo(&query), 0);
}

class ClockTest : public DisplayTest {
 protected:
  uint32_t reported() {
    D3DKMT_GETDEVICESTATE state{};
    state.hDevice = device;
    state.StateType = D3DKMT_DEVICESTATE_PRESENT_DWM;
    EXPECT_EQ(D3DKMTGetDeviceState(&state), 0);
    EXPECT_EQ(state.PresentStateDWM.PresentStatsDWM.SyncRefreshCount, state.PresentStateDWM.PresentStatsDWM.PresentRefreshCount);
    return state.PresentStateDWM.PresentStatsDWM.PresentRefreshCount;
  }
  NTSTATUS wait() {
    D3DKMT_WAITFORVERTICALBLANKEVENT request{adapter, device, 0};
    return D3DKMTWaitForVerticalBlankEvent(&request);
  }
};

// With the stepping clock each wait passes one blank, and blanks can be passed by hand.
TEST_F(ClockTest, WaitStepsTheClock) {
  bringUp();
  sim::setVBlankClock(sim::VBlankClock::StepOnWait);
  EXPECT_EQ(reported(), 0u);
  EXPECT_EQ(wait(), 0);
  EXPECT_EQ(reported(), 1u);
  sim::advanceVBlanks(5);
  EXPECT_EQ(reported(), 6u);
  EXPECT_EQ(sim::vblankCount(), 6u);
}

// With the blocking clock a wait lasts until a blank is passed by hand.
TEST_F(ClockTest, WaitBlocksUntilABlank) {
  bringUp();
  sim::setVBlankClock(sim::VBlankClock::BlockOnWait);
  std::atomic<bool> woken{false};
  std::thread waiter([&] {
    wait();
    woken = true;
  });
  while (sim::callCount("D3DKMTWaitForVerticalBlankEvent") == 0) {
    std::this_thread::yield();
  }
  EXPECT_FALSE(woken);
  // One blank may pass before the waiter has begun to wait; it then waits for the next.
  while (!woken) {
    sim::advanceVBlanks(1);
    std::this_thread::yield();
  }
  waiter.join();
  EXPECT_GE(reported(), 1u);
}

// In real time the count never goes back and a wait passes at least one blank.
TEST_F(ClockTest, RealTimeNeverGoesBack) {
  bringUp();
  uint32_t before = reported();
  EXPECT_EQ(wait(), 0);
  EXPECT_GT(reported(), before);
}

}  // namespace qv::test
