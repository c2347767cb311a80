// Armed failures, counts, the trace, and reset.
#include "tests/platform/simulated_test.h"

namespace qv::test {

class CallsTest : public DeviceTest {};

// The n-th call from the arming fails, once, by its own manner.
TEST_F(CallsTest, ArmedCallFailsOnce) {
  HWND window = sim::createWindow();
  EXPECT_TRUE(sim::failCall("GetDC", 2, 1234));
  EXPECT_NE(GetDC(window), nullptr);
  EXPECT_EQ(GetDC(window), nullptr);
  EXPECT_EQ(GetLastError(), 1234u);
  EXPECT_EQ(sim::failedCall(), "GetDC");
  EXPECT_NE(GetDC(window), nullptr);
  EXPECT_TRUE(sim::failCall("D3DKMTOpenAdapterFromGdiDisplayName", 1, -99));
  D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME open{};
  EXPECT_EQ(D3DKMTOpenAdapterFromGdiDisplayName(&open), -99);
  EXPECT_FALSE(sim::failCall("EnterCriticalSection", 1, 1));
  EXPECT_FALSE(sim::failCall("GetDc", 1, 1));
  EXPECT_TRUE(sim::failCall("TlsAlloc", 1, 8));
  sim::clearFailures();
  EXPECT_NE(TlsAlloc(), TLS_OUT_OF_INDEXES);
}

// Every function that can fail does so when told, and does not crash on the way.
TEST_F(CallsTest, EveryCallCanFail) {
  uint64_t failures = 0;
  for (uint64_t n = 1;; ++n) {
    sim::reset();
    sim::setGpuLink(&link);
    sim::failAnyCall(n);
    HWND window = sim::createWindow();
    HDC dc = GetDC(window);
    TlsFree(TlsAlloc());
    GetPixelFormat(dc);
    ReleaseDC(window, dc);
    D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME open{};
    std::memcpy(open.DeviceName, u"\\\\.\\DISPLAY1", 26);
    D3DKMTOpenAdapterFromGdiDisplayName(&open);
    D3DKMT_CREATEDEVICE createDevice{};
    createDevice.hAdapter = open.hAdapter;
    D3DKMTCreateDevice(&createDevice);
    D3DKMT_DESTROYDEVICE destroyDevice{createDevice.hDevice};
    D3DKMTDestroyDevice(&destroyDevice);
    D3DKMT_CLOSEADAPTER close{open.hAdapter};
    D3DKMTCloseAdapter(&close);
    if (sim::failedCall().empty()) {
      break;
    }
    ++failures;
    sim::LiveCounts live = sim::liveCounts();
    EXPECT_EQ(live.adapters + live.devices + live.tlsSlots, 0u) << sim::failedCall() << ": " << sim::describe(live);
  }
  EXPECT_EQ(failures, 9u);
}

// Calls are counted by name, and those that can fail also together.
TEST_F(CallsTest, CallsAreCountedByName) {
  HWND window = sim::createWindow();
  sim::resetCallCounts();
  for (int i = 0; i < 3; ++i) {
    IsWindowVisible(window);
  }
  GetCurrentThreadId();
  EXPECT_EQ(sim::callCount("IsWindowVisible"), 3u);
  EXPECT_EQ(sim::callCount("nothing"), 0u);
  EXPECT_EQ(sim::failableCallCount(), 3u);
  auto counts = sim::callCounts();
  ASSERT_EQ(counts.size(), 2u);
  EXPECT_EQ(counts[0].first, "GetCurrentThreadId");
  EXPECT_EQ(counts[1].second, 3u);
}

// A line names thread, function, arguments and result; nothing is kept while the trace is off.
TEST_F(CallsTest, TraceNamesThreadArgumentsAndResult) {
  SetLastError(1);
  EXPECT_TRUE(sim::trace().empty());
  sim::setTrace(true);
  std::string thread = std::to_string(GetCurrentThreadId()).insert(0, 1, 't');
  SetLastError(6);
  D3DKMT_CLOSEADAPTER close{0x99};
  D3DKMTCloseAdapter(&close);
  sim::failCall("TlsAlloc", 1, 8);
  TlsAlloc();
  sim::setTrace(false);
  SetLastError(7);
  std::vector<std::string> lines = sim::trace();
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[1], thread + " SetLastError(6)");
  EXPECT_EQ(lines[2], thread + " D3DKMTCloseAdapter(adapter 0x99) = 0xc0000008");
  EXPECT_EQ(lines[3], thread + " TlsAlloc [fails] = 0xffffffff");
  sim::clearTrace();
  EXPECT_TRUE(sim::trace().empty());
}

// After a reset everything is back to the start, and what the GPU and the sink knew has been taken back.
TEST_F(CallsTest, ResetBringsTheStartBack) {
  bringUp();
  Surface surface;
  create(4, 4, &surface);
  HWND window = sim::createWindow();
  GetDC(window);
  TlsSetValue(TlsAlloc(), this);
  SetWindowsHookExW(
      WH_CALLWNDPROC, [](int, WPARAM, LPARAM) -> LRESULT { return 0; }, nullptr, GetCurrentThreadId());
  sim::setComposition(true);
  sim::reset();
  EXPECT_EQ(sim::liveCounts(), sim::LiveCounts{}) << sim::describe(sim::liveCounts());
  EXPECT_EQ(link.closed, std::vector<uint32_t>{surface.allocation});
  EXPECT_EQ(sim::gpuLink(), nullptr);
  EXPECT_FALSE(sim::isAlive(window));
  EXPECT_EQ(TlsGetValue(0), nullptr);
  EXPECT_FALSE(sim::composition());
  EXPECT_TRUE(sim::callCounts().empty());
}

}  // namespace qv::test
