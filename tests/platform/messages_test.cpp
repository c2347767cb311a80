// Hooks, window procedures, and the delivery of messages to the threads that own windows.
#include <atomic>
#include <condition_variable>
#include <thread>

#include "tests/platform/simulated_test.h"

namespace qv::test {

namespace {

struct Seen {
  HWND window;
  UINT message;
  UINT flags;  // of a WM_WINDOWPOSCHANGED, all ones without a record
  DWORD thread;
  char by;  // which hook, or 'p' for the procedure
};
std::mutex seenLock;
std::vector<Seen> seen;

void note(const CWPSTRUCT& record, char by) {
  std::lock_guard guard(seenLock);
  UINT flags = ~0u;
  if (record.message == WM_WINDOWPOSCHANGED && record.lParam != 0) {
    flags = reinterpret_cast<const WINDOWPOS*>(record.lParam)->flags;
  }
  seen.push_back({record.hwnd, record.message, flags, GetCurrentThreadId(), by});
}

template <char Name>
LRESULT CALLBACK hook(int code, WPARAM wParam, LPARAM lParam) {
  EXPECT_EQ(code, 0);
  note(*reinterpret_cast<const CWPSTRUCT*>(lParam), Name);
  return CallNextHookEx(nullptr, code, wParam, lParam);
}

LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  note({lParam, wParam, message, window}, 'p');
  return DefWindowProcW(window, message, wParam, lParam);
}

std::string hooksSeen() {
  std::lock_guard guard(seenLock);
  std::string text;
  for (const Seen& row : seen) {
    text += row.by;
  }
  return text;
}

}  // namespace

class MessagesTest : public SimulatedTest {
 protected:
  void SetUp() override {
    SimulatedTest::SetUp();
    seen.clear();
  }
  static HHOOK install(HOOKPROC routine, DWORD thread = GetCurrentThreadId()) {
    return SetWindowsHookExW(WH_CALLWNDPROC, routine, nullptr, thread);
  }
};

// The newest hook sees a message first and passes it on, the procedure sees it last.
TEST_F(MessagesTest, ChainRunsNewestFirst) {
  HWND window = sim::createWindow({.procedure = procedure});
  install(hook<'a'>);
  HHOOK b = install(hook<'b'>);
  sim::moveWindow(window, 5, 5);
  EXPECT_EQ(hooksSeen(), "bap");
  EXPECT_TRUE(UnhookWindowsHookEx(b));
  EXPECT_FALSE(UnhookWindowsHookEx(b));
  EXPECT_EQ(GetLastError(), 1404u);
  sim::moveWindow(window, 6, 6);
  EXPECT_EQ(hooksSeen(), "bapap");
  EXPECT_EQ(sim::liveCounts().hooks, 1u);
}

// A hook of another kind, and one for no thread, cannot be set.
TEST_F(MessagesTest, OnlyTheKnownHookKindExists) {
  EXPECT_EQ(SetWindowsHookExW(3, hook<'a'>, nullptr, GetCurrentThreadId()), nullptr);
  EXPECT_EQ(SetWindowsHookExW(WH_CALLWNDPROC, hook<'a'>, nullptr, 0), nullptr);
  EXPECT_EQ(GetLastError(), 1426u);
}

// Each action sends its flags, and nothing is sent when nothing changes.
TEST_F(MessagesTest, ActionsSendTheirPositionFlags) {
  HWND window = sim::createWindow({.client = {0, 0, 100, 100}});
  install(hook<'a'>);
  auto flagsOf = [&](auto action) {
    seen.clear();
    action();
    return seen.empty() ? 0 : seen.back().flags & (SWP_NOSIZE | SWP_NOMOVE | SWP_NOZORDER | SWP_SHOWWINDOW | SWP_HIDEWINDOW);
  };
  EXPECT_EQ(flagsOf([&] { sim::moveWindow(window, 1, 0); }), 5u);
  EXPECT_EQ(flagsOf([&] { sim::resizeWindow(window, 50, 100); }), 6u);
  EXPECT_EQ(flagsOf([&] { sim::placeWindow(window, {7, 7, 9, 9}); }), 4u);
  EXPECT_EQ(flagsOf([&] { sim::placeWindow(window, {7, 7, 9, 9}); }), 0u);
  EXPECT_EQ(flagsOf([&] { sim::showWindow(window, false); }), 7u | 128u);
  EXPECT_EQ(flagsOf([&] { sim::showWindow(window, false); }), 0u);
  EXPECT_EQ(flagsOf([&] { sim::showWindow(window, true); }), 7u | 64u);
  EXPECT_EQ(flagsOf([&] { sim::minimiseWindow(window); }), 4u);
  EXPECT_EQ(flagsOf([&] { sim::minimiseWindow(window); }), 0u);
  EXPECT_EQ(flagsOf([&] { sim::restoreWindow(window); }), 4u);
  EXPECT_EQ(flagsOf([&] { sim::sendWindowPosChanged(window, 7); }), 7u);
  EXPECT_EQ(flagsOf([&] { sim::sendMessage(window, WM_WINDOWPOSCHANGED, 0, 0); }), 199u);  // without a record: all ones
}

// Every top-level window of a thread is told when the foreground goes from another process to the thread and back.
TEST_F(MessagesTest, ActivationTellsEveryTopLevelWindow) {
  HWND first = sim::createWindow();
  sim::createWindow();
  HWND child = sim::createWindow({.parent = first});
  install(hook<'a'>);
  EXPECT_FALSE(sim::setForeground(child));
  sim::setForeground(first);
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[0].message, WM_WINDOWPOSCHANGED);
  EXPECT_EQ(seen[0].flags, 3u);
  EXPECT_EQ(seen[1].message, WM_ACTIVATEAPP);
  EXPECT_EQ(seen[2].message, 28u);
  seen.clear();
  sim::setForeground(first);
  EXPECT_TRUE(seen.empty());
  sim::setForeground(nullptr);
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].message, WM_ACTIVATEAPP);
}

// The window still exists while WM_DESTROY is delivered, parents hear it before children, and it is hidden first.
TEST_F(MessagesTest, DestructionIsToldParentFirst) {
  HWND top = sim::createWindow();
  HWND child = sim::createWindow({.parent = top});
  static bool aliveAtDestroy;
  aliveAtDestroy = false;
  install([](int code, WPARAM wParam, LPARAM lParam) -> LRESULT {
    const CWPSTRUCT& record = *reinterpret_cast<const CWPSTRUCT*>(lParam);
    if (record.message == WM_DESTROY) {
      aliveAtDestroy = IsWindow(record.hwnd) != 0;
    }
    note(record, 'd');
    return CallNextHookEx(nullptr, code, wParam, lParam);
  });
  EXPECT_TRUE(DestroyWindow(top));
  EXPECT_TRUE(aliveAtDestroy);
  ASSERT_EQ(seen.size(), 5u);
  EXPECT_EQ(seen[0].message, WM_WINDOWPOSCHANGED);
  EXPECT_NE(seen[0].flags & SWP_HIDEWINDOW, 0u);
  EXPECT_EQ(seen[1].message, WM_DESTROY);
  EXPECT_EQ(seen[1].window, top);
  EXPECT_EQ(seen[2].message, WM_DESTROY);
  EXPECT_EQ(seen[2].window, child);
  EXPECT_FALSE(IsWindow(top));
}

// Creation sends WM_NCCREATE and WM_CREATE; a procedure that refuses undoes it.
TEST_F(MessagesTest, CreationCanBeRefused) {
  WNDCLASSW description{};
  description.lpszClassName = u"Refusing";
  description.lpfnWndProc = [](HWND, UINT message, WPARAM, LPARAM) -> LRESULT {
    return message == WM_CREATE ? -1 : message == WM_NCCREATE ? 1 : 0;
  };
  RegisterClassW(&description);
  EXPECT_EQ(CreateWindowExW(0, u"Refusing", u"", WS_POPUP, 0, 0, 4, 4, nullptr, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(sim::liveCounts().windows, 0u);
}

// An owner thread that pumps on request; the test thread is the acting one.
class Owner {
 public:
  Owner() : thread_([this] { run(); }) {
    while (!window.load()) {
      std::this_thread::yield();
    }
  }
  ~Owner() { end(); }
  uint32_t pump() {
    std::unique_lock guard(lock_);
    ++asked_;
    changed_.notify_all();
    changed_.wait(guard, [&] { return done_ == asked_; });
    return delivered_;
  }
  void end() {
    if (thread_.joinable()) {
      {
        std::lock_guard guard(lock_);
        stop_ = true;
        changed_.notify_all();
      }
      thread_.join();
    }
  }
  std::atomic<HWND> window{nullptr};
  DWORD id = 0;

 private:
  void run() {
    id = GetCurrentThreadId();
    window = sim::createWindow({.procedure = procedure});
    std::unique_lock guard(lock_);
    for (;;) {
      changed_.wait(guard, [&] { return stop_ || done_ != asked_; });
      if (stop_) {
        return;
      }
      delivered_ = sim::pumpMessages();
      done_ = asked_;
      changed_.notify_all();
    }
  }
  std::mutex lock_;
  std::condition_variable changed_;
  uint32_t asked_ = 0, done_ = 0, delivered_ = 0;
  bool stop_ = false;
  std::thread thread_;
};

// Another thread's window: geometry changes at once, the message waits for the owner and runs there.
TEST_F(MessagesTest, MessagesWaitForTheirOwner) {
  Owner owner;
  install(hook<'a'>, owner.id);
  sim::moveWindow(owner.window, 50, 60);
  WINDOWINFO record{};
  record.cbSize = 60;
  GetWindowInfo(owner.window, &record);
  EXPECT_EQ(record.rcClient.left, 50);
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(sim::pumpMessages(), 0u);
  EXPECT_EQ(owner.pump(), 1u);
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].thread, owner.id);
  EXPECT_EQ(seen[0].flags & 7, 5u);
  EXPECT_EQ(hooksSeen(), "ap");
}

// Destruction by another thread waits too: the window lives until its owner pumps.
TEST_F(MessagesTest, DestructionWaitsForTheOwner) {
  Owner owner;
  HWND window = owner.window;
  EXPECT_TRUE(sim::destroyWindow(window));
  EXPECT_FALSE(sim::destroyWindow(window));
  EXPECT_TRUE(IsWindow(window));
  owner.pump();
  EXPECT_FALSE(IsWindow(window));
}

// After the owner's end whoever acts delivers; what waited in its queue is delivered by whoever pumps.
TEST_F(MessagesTest, MessagesOfAnEndedOwnerAreDelivered) {
  Owner owner;
  HWND window = owner.window;
  install(hook<'a'>, owner.id);
  sim::moveWindow(window, 1, 1);
  owner.end();
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(sim::pendingMessages(), 1u);
  EXPECT_EQ(sim::pumpMessages(), 1u);
  EXPECT_EQ(hooksSeen(), "ap");
  EXPECT_EQ(seen[0].thread, GetCurrentThreadId());
  sim::moveWindow(window, 2, 2);
  EXPECT_EQ(hooksSeen(), "apap");
  EXPECT_TRUE(sim::destroyWindow(window));
  EXPECT_FALSE(IsWindow(window));
}

// A window of any thread belongs to none that ends, and gets its messages on the thread that acts.
TEST_F(MessagesTest, AnyThreadWindowsDeliverAtOnce) {
  HWND window = sim::createWindow({.anyThread = true});
  install(hook<'a'>, GetWindowThreadProcessId(window, nullptr));
  DWORD acting = 0;
  std::thread([&] {
    acting = GetCurrentThreadId();
    sim::moveWindow(window, 3, 3);
    EXPECT_TRUE(DestroyWindow(window));
  }).join();
  ASSERT_GE(seen.size(), 2u);
  EXPECT_EQ(seen[0].thread, acting);
  EXPECT_FALSE(IsWindow(window));
}

// A hook may unhook itself and others while it runs.
TEST_F(MessagesTest, HookMayUnhookWhileItRuns) {
  static HHOOK inner, self;
  HWND window = sim::createWindow();
  inner = install(hook<'i'>);
  self = install([](int code, WPARAM wParam, LPARAM lParam) -> LRESULT {
    note(*reinterpret_cast<const CWPSTRUCT*>(lParam), 's');
    UnhookWindowsHookEx(inner);
    UnhookWindowsHookEx(self);
    return CallNextHookEx(self, code, wParam, lParam);
  });
  sim::moveWindow(window, 1, 1);
  sim::moveWindow(window, 2, 2);
  EXPECT_EQ(hooksSeen(), "s");
  EXPECT_EQ(sim::liveCounts().hooks, 0u);
}

}  // namespace qv::test
