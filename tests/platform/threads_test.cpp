// Many threads at once on windows, surfaces and presents: no crash, no leak, and clean under the race detector.
#include <array>
#include <atomic>
#include <barrier>
#include <random>
#include <thread>

#include "tests/platform/simulated_test.h"

namespace qv::test {

class ThreadsTest : public DeviceTest {};

// Eight threads with windows of their own and shared ones move, present and destroy them while others ask about them.
TEST_F(ThreadsTest, EightThreadsShareTheDesktop) {
  bringUp();
  sim::setComposition(true);
  constexpr int kThreads = 8, kRounds = 300;
  HWND shared = sim::createWindow({.anyThread = true});
  CRITICAL_SECTION section{};
  InitializeCriticalSection(&section);
  int guarded = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::minstd_rand random(static_cast<unsigned>(t) + 1);
      HHOOK hook = SetWindowsHookExW(
          WH_CALLWNDPROC, [](int code, WPARAM w, LPARAM l) -> LRESULT { return CallNextHookEx(nullptr, code, w, l); }, nullptr,
          GetCurrentThreadId());
      for (int i = 0; i < kRounds; ++i) {
        HWND window = sim::createWindow({.client = {0, 0, 8, 8}});
        HDC dc = GetDC(window);
        sim::forcePixelFormat(dc, 3);
        EXPECT_EQ(GetPixelFormat(dc), 3);
        EXPECT_EQ(WindowFromDC(dc), window);
        WINDOWINFO info{};
        info.cbSize = 60;
        EXPECT_TRUE(GetWindowInfo(shared, &info));
        Surface surface;
        ASSERT_EQ(create(8, 8, &surface), 0);
        D3DKMT_PRESENT present{};
        present.hContext = context;
        present.hWindow = random() % 2 != 0 ? window : shared;
        present.hSource = surface.allocation;
        present.Flags = D3DKMT_PRESENT_BLT;
        EXPECT_EQ(D3DKMTPresent(&present), 0);
        sim::redirectionSurface(window);
        sim::moveWindow(shared, static_cast<int>(random() % 100), 5);
        sim::setForeground(window);
        sim::sendMessage(shared, WM_USER, 0, 0);
        EnterCriticalSection(&section);
        ++guarded;
        LeaveCriticalSection(&section);
        EXPECT_EQ(destroy(surface), 0);
        EXPECT_EQ(ReleaseDC(window, dc), 1);
        EXPECT_TRUE(sim::destroyWindow(window));
        sim::pumpMessages();
      }
      UnhookWindowsHookEx(hook);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(guarded, kThreads * kRounds);
  DeleteCriticalSection(&section);
  sim::LiveCounts live = sim::liveCounts();
  EXPECT_EQ(live.windows, 1u);
  EXPECT_EQ(live.resources + live.hooks + live.deviceContexts + live.criticalSections, 0u) << sim::describe(live);
  EXPECT_EQ(link.opened.size(), link.closed.size());
  EXPECT_TRUE(sim::complaints().empty());
}

// Threads act on each other's windows while owners pump, destroy and end.
TEST_F(ThreadsTest, ThreadsActOnEachOthersWindows) {
  constexpr int kThreads = 6, kRounds = 300;
  std::array<std::atomic<HWND>, kThreads> windows{};
  std::barrier everyRound(kThreads);
  static std::atomic<uint64_t> delivered;
  delivered = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      auto self = static_cast<size_t>(t);
      HHOOK hook = SetWindowsHookExW(
          WH_CALLWNDPROC,
          [](int code, WPARAM w, LPARAM l) -> LRESULT {
            delivered.fetch_add(1);
            return CallNextHookEx(nullptr, code, w, l);
          },
          nullptr, GetCurrentThreadId());
      for (int i = 0; i < kRounds; ++i) {
        windows[self] = sim::createWindow();
        everyRound.arrive_and_wait();  // or each thread would be through before the next one runs
        HWND other = windows[(self + 1) % kThreads];
        sim::moveWindow(other, i, t);
        sim::destroyWindow(other);
        sim::pumpMessages();
      }
      UnhookWindowsHookEx(hook);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  sim::pumpMessages();
  EXPECT_GT(delivered.load(), 0u);
  for (const auto& window : windows) {
    sim::destroyWindow(window);
  }
  EXPECT_EQ(sim::liveCounts().hooks, 0u);
  EXPECT_EQ(sim::pendingMessages(), 0u);
}

}  // namespace qv::test
