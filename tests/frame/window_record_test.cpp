// Tracking of windows: records, hooks, geometry, teardown, measurement.
#include <thread>

#include "driver/base/current_context.h"
#include "driver/host/flush_packet.h"
#include "driver/host/window_hook.h"
#include "driver/host/window_tracking.h"
#include "driver/icd/attach.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

class WindowRecordTest : public FrameTest {
 protected:
  void flush() { SubmitFlush(currentContext(), 0, nullptr, 0, nullptr, 0, nullptr, 0); }
  std::vector<int32_t> flushedRect() {
    const SentPacket packet = gpu.last(EscapeCode::Flush);
    std::vector<int32_t> rect;
    for (size_t i = 0; i < 4; ++i) rect.push_back(static_cast<int32_t>(packet.word(40 + 4 * i)));
    return rect;
  }
};

constexpr uint16_t kNoAttributes[] = {0};

// The first sight of a window looks up its thread, sends the packet and sets the hook; the record starts shared, with an empty
// rectangle.
TEST_F(WindowRecordTest, FirstSightMakesARecord) {
  const HWND window = makeWindow();
  startTrace();
  EXPECT_EQ(FindOrCreateWindowRecord(window, kNoAttributes), 900u);
  expectCalls({"GetWindowThreadProcessId", "GetCurrentProcessId", "D3DKMTEscape", "SetWindowsHookExW"});
  const WindowRecord& made = *record(window);
  EXPECT_EQ(made.hostWindowId, 900u);
  EXPECT_EQ(made.ownedSource, 0xFFFFFFFFu);
  EXPECT_EQ(made.recheckNeeded, 0u);
  EXPECT_EQ(made.clientRect.right, 0);
  EXPECT_EQ(made.backBuffer.resource, 0u);
  ASSERT_NE(ThreadHookList, nullptr);
  EXPECT_EQ(ThreadHookList->threadId, GetCurrentThreadId());
  // The second sight sends nothing, whatever the list.
  sim::clearTrace();
  const uint16_t other[] = {3122, 0};
  EXPECT_EQ(FindOrCreateWindowRecord(window, other), 900u);
  expectCalls({"GetWindowThreadProcessId"});
}

// New records and hooks go to the front; one thread has one hook.
TEST_F(WindowRecordTest, ThreadHasOneHook) {
  const HWND first = makeWindow(), second = makeWindow();
  FindOrCreateWindowRecord(first, kNoAttributes);
  FindOrCreateWindowRecord(second, kNoAttributes);
  EXPECT_EQ(WindowRecordList->window, second);
  EXPECT_EQ(WindowRecordList->next->window, first);
  EXPECT_EQ(sim::liveCounts().hooks, 1u);
  EXPECT_EQ(ThreadHookList->next, nullptr);
}

// The hook goes to the thread that owns the window, not to the caller, and that thread's exit removes it.
TEST_F(WindowRecordTest, HookGoesToTheOwningThread) {
  HWND window = nullptr;
  DWORD owner = 0;
  std::thread([&] {
    window = sim::createWindow({.pixelFormat = 4});
    owner = GetCurrentThreadId();
    std::thread([&] { FindOrCreateWindowRecord(window, kNoAttributes); }).join();
    EXPECT_NE(ThreadHookList, nullptr);
    EXPECT_EQ(ThreadHookList->threadId, owner);
    EXPECT_NE(owner, 0u);
    sim::destroyWindow(window);
    EXPECT_EQ(record(window), nullptr);
    driverMain(nullptr, 3, nullptr);
  }).join();
  EXPECT_EQ(ThreadHookList, nullptr);
}

// A hook that cannot be installed is kept as null, and its end does not unhook.
TEST_F(WindowRecordTest, RefusedHookIsKeptAsNull) {
  sim::failCall("SetWindowsHookExW", 1, 8);
  const HWND window = makeWindow();
  EXPECT_EQ(FindOrCreateWindowRecord(window, kNoAttributes), 900u);
  ASSERT_NE(ThreadHookList, nullptr);
  EXPECT_EQ(ThreadHookList->hook, nullptr);
  forgetWindow(window);
  startTrace();
  driverMain(nullptr, 3, nullptr);
  expectCalls({"GetCurrentThreadId"});
}

// The first flush measures, checks the owner, makes the back buffer, touches it and waits for it before the host is told.
TEST_F(WindowRecordTest, FirstFlushPreparesBeforeTheHostIsTold) {
  const HWND window = makeWindow(4, {100, 50, 164, 98});
  const DHGLRC handle = makeContext(window);
  FindOrCreateWindowRecord(window, kNoAttributes);
  contextOf(handle)->window = window;
  startTrace();
  SubmitFlush(contextOf(handle), 0, nullptr, 0, nullptr, 0, nullptr, 0);
  expectCalls({"GetCurrentProcessId", "GetWindowInfo", "GetAncestor", "GetForegroundWindow", "D3DKMTCreateAllocation",
               "D3DKMTRender", "D3DKMTWaitForIdle", "D3DKMTEscape"});
  const WindowRecord& tracked = *record(window);
  EXPECT_EQ(tracked.clientRect.left, 100);
  EXPECT_EQ(tracked.clientRect.bottom, 98);
  EXPECT_EQ(tracked.clientOrigin.x, 3);
  EXPECT_EQ(tracked.clientOrigin.y, 20);
  sim::GpuAllocation surface;
  ASSERT_TRUE(sim::findSurface(tracked.backBuffer.allocation, &surface));
  EXPECT_EQ(surface.width, 64u);
  EXPECT_EQ(surface.height, 48u);
  // Steady state: one measurement, one escape.
  SubmitFlush(contextOf(handle), 0, nullptr, 0, nullptr, 0, nullptr, 0);
  sim::clearTrace();
  SubmitFlush(contextOf(handle), 0, nullptr, 0, nullptr, 0, nullptr, 0);
  expectCalls({"GetCurrentProcessId", "GetWindowInfo", "D3DKMTEscape"});
}

// A move rechecks the owner and keeps the back buffer; the packet has the new rectangle.
TEST_F(WindowRecordTest, MoveKeepsTheBackBuffer) {
  const HWND window = makeWindow(4, {100, 50, 164, 98});
  makeCurrent(window);
  flush();
  const uint32_t before = record(window)->backBuffer.allocation;
  sim::moveWindow(window, 300, 400);
  EXPECT_EQ(record(window)->recheckNeeded, 1u);
  startTrace();
  flush();
  expectCalls({"GetCurrentProcessId", "GetWindowInfo", "GetAncestor", "GetForegroundWindow", "D3DKMTEscape"});
  EXPECT_EQ(record(window)->recheckNeeded, 0u);
  EXPECT_EQ(record(window)->backBuffer.allocation, before);
  EXPECT_EQ(flushedRect(), (std::vector<int32_t>{300, 400, 364, 448}));
}

// A new size makes a new back buffer.
TEST_F(WindowRecordTest, ResizeMakesANewBackBuffer) {
  const HWND window = makeWindow(4, {100, 50, 164, 98});
  makeCurrent(window);
  flush();
  const uint32_t before = record(window)->backBuffer.allocation;
  sim::resizeWindow(window, 200, 30);
  startTrace();
  flush();
  expectCalls({"GetCurrentProcessId", "GetWindowInfo", "GetAncestor", "GetForegroundWindow", "D3DKMTDestroyAllocation",
               "D3DKMTCreateAllocation", "D3DKMTRender", "D3DKMTWaitForIdle", "D3DKMTEscape"});
  EXPECT_NE(record(window)->backBuffer.allocation, before);
  sim::GpuAllocation surface;
  ASSERT_TRUE(sim::findSurface(record(window)->backBuffer.allocation, &surface));
  EXPECT_EQ(surface.width, 200u);
  EXPECT_EQ(surface.height, 30u);
  EXPECT_EQ(gpu.last(EscapeCode::Flush).word(56), record(window)->backBuffer.allocation);
}

// A change of a single edge is seen by the measurement alone, without a message.
TEST_F(WindowRecordTest, SilentMoveOfEachEdgeIsSeen) {
  const HWND window = makeWindow(4, {100, 50, 164, 98});
  makeCurrent(window);
  flush();
  for (const RECT& rect : {RECT{101, 50, 164, 98}, RECT{101, 51, 164, 98}, RECT{101, 51, 165, 98}, RECT{101, 51, 165, 99}}) {
    sim::placeWindow(window, rect);
    record(window)->recheckNeeded = 0;
    const uint64_t checks = sim::callCount("GetForegroundWindow");
    flush();
    EXPECT_EQ(sim::callCount("GetForegroundWindow"), checks + 1);
    EXPECT_EQ(flushedRect(), (std::vector<int32_t>{rect.left, rect.top, rect.right, rect.bottom}));
    EXPECT_EQ(record(window)->recheckNeeded, 0u);
  }
}

// A new width alone makes a new back buffer, and so does a new height alone.
TEST_F(WindowRecordTest, EachExtentMakesANewBackBuffer) {
  const HWND window = makeWindow(4, {100, 50, 164, 98});
  makeCurrent(window);
  flush();
  for (const auto& [width, height] : {std::pair<int, int>{65, 48}, {65, 49}, {64, 49}, {64, 48}}) {
    const uint32_t before = record(window)->backBuffer.allocation;
    sim::resizeWindow(window, width, height);
    flush();
    EXPECT_NE(record(window)->backBuffer.allocation, before);
    sim::GpuAllocation surface;
    ASSERT_TRUE(sim::findSurface(record(window)->backBuffer.allocation, &surface));
    EXPECT_EQ(surface.width, static_cast<uint32_t>(width));
    EXPECT_EQ(surface.height, static_cast<uint32_t>(height));
  }
}

// A window of no width, or of no height, has no back buffer.
TEST_F(WindowRecordTest, EmptyWindowHasNoBackBuffer) {
  const HWND window = makeWindow(4, {100, 50, 164, 98});
  makeCurrent(window);
  for (const auto& [width, height] : {std::pair<int, int>{0, 48}, {64, 0}, {1, 1}}) {
    sim::resizeWindow(window, width, height);
    flush();
    EXPECT_EQ(record(window)->backBuffer.resource != 0, width != 0 && height != 0) << width << " " << height;
  }
}

// All sixty words of an attribute list travel, and not one more.
TEST_F(WindowRecordTest, AttributeListOfSixtyWordsTravelsWhole) {
  uint16_t attributes[62];
  for (uint16_t i = 0; i < 61; ++i) attributes[i] = static_cast<uint16_t>(1000 + i);
  attributes[61] = 0;
  const HWND window = makeWindow();
  FindOrCreateWindowRecord(window, attributes);
  const SentPacket packet = gpu.last(EscapeCode::CreateWindow);
  for (size_t i = 0; i < 60; ++i) EXPECT_EQ(packet.half(32 + 2 * i), 1000 + i);
  EXPECT_EQ(packet.bytes.size(), 152u);
}

// A minimised window loses its back buffer and is flushed without one; restored it has a new one.
TEST_F(WindowRecordTest, MinimisedWindowHasNoBackBuffer) {
  const HWND window = makeWindow();
  makeCurrent(window);
  flush();
  sim::minimiseWindow(window);
  flush();
  EXPECT_EQ(record(window)->backBuffer.resource, 0u);
  EXPECT_EQ(gpu.last(EscapeCode::Flush).word(56), 0u);
  EXPECT_EQ(sim::liveCounts().resources, 0u);
  flush();
  EXPECT_EQ(gpu.last(EscapeCode::Flush).word(56), 0u);
  sim::restoreWindow(window);
  flush();
  EXPECT_NE(gpu.last(EscapeCode::Flush).word(56), 0u);
  EXPECT_EQ(sim::liveCounts().resources, 1u);
}

// A back buffer that cannot be made is tried again at the next flush.
TEST_F(WindowRecordTest, RefusedBackBufferIsTriedAgain) {
  const HWND window = makeWindow();
  const DHGLRC handle = makeContext(window);
  FindOrCreateWindowRecord(window, kNoAttributes);
  contextOf(handle)->window = window;
  sim::failCall("D3DKMTCreateAllocation", 1, static_cast<NTSTATUS>(0xC0000017));
  SubmitFlush(contextOf(handle), 0, nullptr, 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(gpu.last(EscapeCode::Flush).word(56), 0u);
  SubmitFlush(contextOf(handle), 0, nullptr, 0, nullptr, 0, nullptr, 0);
  EXPECT_NE(gpu.last(EscapeCode::Flush).word(56), 0u);
}

struct PositionCase {
  UINT flags;
  bool change;
};
class PositionTest : public WindowRecordTest, public ::testing::WithParamInterface<PositionCase> {};

// WM_WINDOWPOSCHANGED counts as a change of geometry by its flags.
TEST_P(PositionTest, FlagsTellAChangeOfGeometry) {
  const HWND window = makeWindow();
  makeCurrent(window);
  flush();
  sim::sendWindowPosChanged(window, GetParam().flags);
  EXPECT_EQ(record(window)->recheckNeeded, GetParam().change ? 1u : 0u);
}
INSTANTIATE_TEST_SUITE_P(Masks, PositionTest,
                         ::testing::Values(PositionCase{7, false}, PositionCase{7 | 64, true}, PositionCase{7 | 128, true},
                                           PositionCase{6, true}, PositionCase{5, true}, PositionCase{3, true},
                                           PositionCase{0, true}, PositionCase{7 | 16, false}));

// Activation always counts, a null position record does not, and no other message does.
TEST_F(WindowRecordTest, ActivationAlwaysCounts) {
  const HWND window = makeWindow();
  makeCurrent(window);
  flush();
  sim::sendMessage(window, WM_WINDOWPOSCHANGED, 0, 0);
  sim::sendMessage(window, WM_SIZE, 0, 0);
  sim::sendMessage(window, WM_PAINT, 0, 0);
  EXPECT_EQ(record(window)->recheckNeeded, 0u);
  sim::sendMessage(window, WM_ACTIVATEAPP, 0, 0);
  EXPECT_EQ(record(window)->recheckNeeded, 1u);
}

// The routine acts on code 0 and a record alone, and always passes the message on.
TEST_F(WindowRecordTest, HookRoutineAlwaysPassesOn) {
  const HWND window = makeWindow();
  makeCurrent(window);
  flush();
  CWPSTRUCT message{};
  message.message = WM_ACTIVATEAPP;
  message.hwnd = window;
  startTrace();
  windowHook(-1, 0, reinterpret_cast<LPARAM>(&message));
  expectCalls({"CallNextHookEx"});
  windowHook(0, 0, 0);
  expectCalls({"CallNextHookEx"});
  EXPECT_EQ(record(window)->recheckNeeded, 0u);
  windowHook(0, 0, reinterpret_cast<LPARAM>(&message));
  expectCalls({"CallNextHookEx"});
  EXPECT_EQ(record(window)->recheckNeeded, 1u);
}

// A child window learns of its top-level window's change; of two children only the first found does.
TEST_F(WindowRecordTest, FirstChildLearnsOfItsParentsChange) {
  const HWND top = makeWindow();
  const HWND first = sim::createWindow({.client = {110, 60, 120, 70}, .parent = top, .pixelFormat = 4});
  const HWND second = sim::createWindow({.client = {130, 60, 140, 70}, .parent = top, .pixelFormat = 4});
  FindOrCreateWindowRecord(first, kNoAttributes);
  FindOrCreateWindowRecord(second, kNoAttributes);
  sim::moveWindow(top, 500, 500);
  EXPECT_EQ(record(second)->recheckNeeded, 1u);
  EXPECT_EQ(record(first)->recheckNeeded, 0u);
  sim::destroyWindow(first);
  sim::destroyWindow(second);
}

// The end of a window gives back its surfaces, evicts nothing and then sends the packet; its contexts find no record any more.
TEST_F(WindowRecordTest, TeardownGivesBackBeforeThePacket) {
  sim::setTrace(false);
  const HWND window = makeWindow();
  makeCurrent(window);
  flush();
  ASSERT_EQ(sim::liveCounts().resources, 1u);
  startTrace();
  sim::sendMessage(window, WM_DESTROY, 0, 0);
  expectCalls({"GetCurrentProcessId", "D3DKMTDestroyAllocation", "D3DKMTEscape", "CallNextHookEx"});
  EXPECT_EQ(record(window), nullptr);
  EXPECT_EQ(gpu.last(EscapeCode::DestroyWindow).word(28), 900u);
  EXPECT_EQ(sim::liveCounts().resources, 0u);
  gpu.clear();
  flush();
  EXPECT_TRUE(gpu.packets().empty());
}

// A window without a record is destroyed without a word.
TEST_F(WindowRecordTest, WindowWithoutARecordGoesUnseen) {
  const HWND window = makeWindow(), stranger = makeWindow();
  makeCurrent(window);
  sim::destroyWindow(stranger);
  EXPECT_EQ(gpu.count(EscapeCode::DestroyWindow), 0u);
}

// A window that goes while a flush that presents it is under way is shown by no road, and is torn down when the flush is done.
TEST_F(WindowRecordTest, WindowThatGoesDuringItsPresentIsTornDownOnce) {
  for (const bool composed : {false, true}) {
    sim::setComposition(composed);
    const HWND window = makeWindow();
    makeCurrent(window);
    SubmitFlush(currentContext(), 1029, nullptr, 0, nullptr, 0, nullptr, 0);
    gpu.clear();
    gpu.onFlush = [&](FlushPacket&) {
      sim::destroyWindow(window);
      EXPECT_EQ(gpu.count(EscapeCode::DestroyWindow), 0u);
    };
    SubmitFlush(currentContext(), 1029, nullptr, 0, nullptr, 0, nullptr, 0);
    gpu.onFlush = nullptr;
    EXPECT_EQ(gpu.count(EscapeCode::DestroyWindow), 1u);
    EXPECT_EQ(sim::liveCounts().resources, 0u);
    EXPECT_EQ(record(window), nullptr);
  }
}

// A window that goes while its flush is under way is torn down when the flush is done, once.
TEST_F(WindowRecordTest, WindowThatGoesDuringItsFlushIsTornDownOnce) {
  const HWND window = makeWindow();
  makeCurrent(window);
  flush();
  gpu.onFlush = [&](FlushPacket&) {
    sim::destroyWindow(window);
    EXPECT_EQ(gpu.count(EscapeCode::DestroyWindow), 0u);
    EXPECT_EQ(sim::liveCounts().resources, 1u);
  };
  flush();
  EXPECT_EQ(gpu.count(EscapeCode::DestroyWindow), 1u);
  EXPECT_EQ(sim::liveCounts().resources, 0u);
}

}  // namespace
}  // namespace qv::test
