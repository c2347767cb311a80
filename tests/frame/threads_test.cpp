// Many threads with windows and contexts: moves, resizes, destruction while another thread draws.
#include <atomic>
#include <cstring>
#include <random>
#include <thread>

#include "driver/base/current_context.h"
#include "driver/icd/attach.h"
#include "driver/objects/share_group.h"
#include "driver/stream/flush.h"
#include "driver/stream/gl_routines.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

constexpr int kThreads = 8;
constexpr int kFramesPerThread = 1250;

class ThreadsTest : public FrameTest {};

void drawFrame() {
  GlContext* const context = currentContext();
  if (context->remaining < 4) context->reserve(4);
  const uint32_t word = 0x402B;
  std::memcpy(context->cursor, &word, 4);
  context->cursor += 4;
  context->remaining -= 4;
  context->lastOpcode = 43;
  EXPECT_EQ(DrvSwapBuffers(nullptr), 1);
}

// One application thread: windows and contexts of its own come and go, and it draws.
class Worker {
 public:
  explicit Worker(uint32_t seed) : random_(seed) {}

  void run() {
    open();
    for (int frame = 0; frame < kFramesPerThread; ++frame) {
      act();
      drawFrame();
      sim::pumpMessages();
    }
    close();
    driverMain(nullptr, 3, nullptr);
  }

 private:
  void open() {
    window_ = sim::createWindow({.client = {10, 10, 74, 58}, .pixelFormat = 4});
    const HDC hdc = GetDC(window_);
    shared_ = DrvCreateContext(hdc);
    context_ = DrvCreateContext(hdc);
    EXPECT_EQ(DrvShareLists(shared_, context_), 1);
    EXPECT_NE(DrvSetContext(hdc, context_, nullptr), nullptr);
    ReleaseDC(window_, hdc);
  }
  void close() {
    EXPECT_EQ(DrvReleaseContext(context_), 1);
    EXPECT_EQ(DrvDeleteContext(shared_), 1);
    EXPECT_EQ(DrvDeleteContext(context_), 1);
    if (sim::isAlive(window_)) sim::destroyWindow(window_);
  }
  void act() {
    switch (random_() % 24) {
      case 0:
        sim::moveWindow(window_, static_cast<int>(random_() % 500), static_cast<int>(random_() % 500));
        break;
      case 1:
        sim::resizeWindow(window_, static_cast<int>(1 + random_() % 200), static_cast<int>(1 + random_() % 200));
        break;
      case 2:
        sim::minimiseWindow(window_);
        break;
      case 3:
        sim::restoreWindow(window_);
        break;
      case 4:
        sim::setForeground(window_);
        break;
      case 5:
        sim::replaceRedirectionSurface(window_);
        break;
      case 6:
        sim::destroyWindow(window_);  // the next frames go nowhere
        break;
      case 7:
        close();
        open();
        break;
      default:
        break;
    }
  }

  std::minstd_rand random_;
  HWND window_ = nullptr;
  DHGLRC context_ = 0, shared_ = 0;
};

void runWorkers() {
  std::vector<std::thread> threads;
  for (uint32_t i = 0; i < kThreads; ++i) threads.emplace_back([i] { Worker(i + 1).run(); });
  for (std::thread& thread : threads) thread.join();
}

// Threads that draw to windows of their own leave nothing behind: the fixture counts what lives.
TEST_F(ThreadsTest, ThreadsWithOwnWindowsLeaveNothing) { runWorkers(); }

// Threads that draw to windows of their own on a composed desktop leave nothing behind.
TEST_F(ThreadsTest, ThreadsOnAComposedDesktopLeaveNothing) {
  sim::setComposition(true);
  runWorkers();
}

// Threads that draw to windows of their own on a composed desktop with residency leave nothing behind.
TEST_F(ThreadsTest, ThreadsWithResidencyLeaveNothing) {
  leave();
  detach();
  sim::setResidency(true);
  sim::setComposition(true);
  ASSERT_EQ(attach(), 1);
  runWorkers();
}

// A window may be moved, resized and at last destroyed by its owner while another thread draws into it.
TEST_F(ThreadsTest, WindowDrawnByAnotherThreadMayGo) {
  for (int round = 0; round < 40; ++round) {
    std::atomic<HWND> window{nullptr};
    std::atomic<bool> drawn{false}, gone{false};
    std::thread owner([&] {
      const HWND made = sim::createWindow({.client = {0, 0, 32, 32}, .pixelFormat = 4});
      window = made;
      while (!drawn) sim::pumpMessages();
      for (int i = 0; i < 20; ++i) {
        sim::resizeWindow(made, 20 + i, 30);
        sim::moveWindow(made, i, i);
      }
      sim::destroyWindow(made);
      gone = true;
      driverMain(nullptr, 3, nullptr);
    });
    while (window.load() == nullptr) std::this_thread::yield();
    const HDC hdc = GetDC(window);
    const DHGLRC context = DrvCreateContext(hdc);
    ASSERT_NE(DrvSetContext(hdc, context, nullptr), nullptr);
    ReleaseDC(window, hdc);
    drawFrame();
    drawn = true;
    while (!gone) drawFrame();
    drawFrame();
    owner.join();
    EXPECT_EQ(DrvReleaseContext(context), 1);
    EXPECT_EQ(DrvDeleteContext(context), 1);
    EXPECT_EQ(WindowRecordList, nullptr);
    EXPECT_EQ(sim::liveCounts().resources, 0u);
  }
}

// Threads whose contexts share one group make, bind, ask for and delete textures and make buffers at once: no name is given out
// twice while it is in use.
TEST_F(ThreadsTest, NamesOfAGroupServeAllThreadsAtOnce) {
  constexpr int kSharers = 4, kRounds = 150, kNames = 5;
  const HWND window = makeWindow();
  const HDC hdc = dc(window);
  std::vector<DHGLRC> handles;
  for (int i = 0; i < kSharers; ++i) {
    handles.push_back(makeContext(window));
    if (i > 0) {
      EXPECT_EQ(DrvShareLists(handles[0], handles.back()), 1);
    }
  }
  std::atomic<int> inUse[1024]{};
  std::atomic<uint32_t> buffers{0};
  std::vector<std::thread> threads;
  for (const DHGLRC handle : handles) {
    threads.emplace_back([&, handle] {
      EXPECT_NE(DrvSetContext(hdc, handle, nullptr), nullptr);
      const auto bind = reinterpret_cast<void (*)(GLenum, GLuint)>(reinterpret_cast<void*>(DrvGetProcAddress("glBindTexture")));
      const auto remove =
          reinterpret_cast<void (*)(GLsizei, const GLuint*)>(reinterpret_cast<void*>(DrvGetProcAddress("glDeleteTextures")));
      for (int round = 0; round < kRounds; ++round) {
        GLuint names[kNames] = {}, buffer = 0;
        gl::glGenTextures(kNames, names);
        for (const GLuint name : names) {
          ASSERT_LT(name, 1024u);
          EXPECT_EQ(inUse[name].fetch_add(1), 0) << name;
          EXPECT_EQ(gl::glIsTexture(name), GL_FALSE);
        }
        bind(GL_TEXTURE_2D, names[round % kNames]);
        EXPECT_EQ(gl::glIsTexture(names[round % kNames]), GL_TRUE);
        gl::glGenBuffers(1, &buffer);
        EXPECT_EQ(gl::glIsBuffer(buffer), GL_TRUE);
        buffers += buffer != 0 ? 1 : 0;
        for (const GLuint name : names) inUse[name].fetch_sub(1);
        remove(kNames, names);
        writeSomething();
        flushStream(currentContext(), 0, nullptr, 0, nullptr, 0);
      }
      EXPECT_EQ(DrvReleaseContext(handle), 1);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(buffers, static_cast<uint32_t>(kSharers * kRounds));
  const ShareGroup& group = *contextOf(handles[0])->shareGroup;
  EXPECT_EQ(group.tables[static_cast<size_t>(ShareSlot::kTextures)]->count, 0);
  EXPECT_EQ(group.tables[static_cast<size_t>(ShareSlot::kBuffers)]->count, kSharers * kRounds);
}

// Two threads draw to one window with a context each: each flush names the window and its one back buffer.
TEST_F(ThreadsTest, ThreadsShareAWindow) {
  const HWND window = makeWindow(4, {0, 0, 64, 48});
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    const DHGLRC handle = makeContext(window);
    const HDC hdc = dc(window);
    if (i == 0) {
      // One thread alone makes the surfaces: a record has no guard of its own.
      EXPECT_NE(DrvSetContext(hdc, handle, nullptr), nullptr);
      drawFrame();
      EXPECT_EQ(DrvReleaseContext(handle), 1);
    }
    threads.emplace_back([&, handle, hdc] {
      EXPECT_NE(DrvSetContext(hdc, handle, nullptr), nullptr);
      for (int frame = 0; frame < 200; ++frame) drawFrame();
      EXPECT_EQ(DrvReleaseContext(handle), 1);
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::vector<SentPacket> flushes = gpu.packets(EscapeCode::Flush);
  EXPECT_GE(flushes.size(), 400u);
  for (const SentPacket& flush : flushes) {
    EXPECT_EQ(flush.word(32), record(window)->hostWindowId);
    EXPECT_EQ(flush.word(56), record(window)->backBuffer.allocation);
  }
  EXPECT_EQ(sim::liveCounts().resources, 1u);
}

// Contexts are created, looked up and deleted by all threads at once.
TEST_F(ThreadsTest, RegistryServesAllThreadsAtOnce) {
  const HWND window = makeWindow();
  const HDC hdc = dc(window);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([hdc] {
      std::vector<DHGLRC> mine;
      for (int round = 0; round < 60; ++round) {
        mine.push_back(DrvCreateContext(hdc));
        EXPECT_NE(mine.back(), 0u);
        EXPECT_NE(contextOf(mine.back()), nullptr);
        if (round % 3 == 2) {
          EXPECT_EQ(DrvDeleteContext(mine.front()), 1);
          mine.erase(mine.begin());
        }
      }
      for (const DHGLRC handle : mine) EXPECT_EQ(DrvDeleteContext(handle), 1);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace qv::test
