// Eight threads with windows and contexts, some of which share lists, draw and swap while windows move, change size, become
// icons, fill the screen, are covered, come and go, and the desktop's composition is switched. Each picture that is shown is
// looked at, and at the end nothing is left.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <random>
#include <thread>

#include "driver/host/window_record.h"
#include "tests/soak/machine.h"

namespace qv::test {
namespace {

using loader::wglCreateContext;
using loader::wglDeleteContext;
using loader::wglMakeCurrent;
using loader::wglShareLists;
using loader::wglSwapBuffers;

constexpr int kThreads = 8;
constexpr int kSharedLists = 4;
// Frames of all threads together, so many that each build is done in well under a minute on two busy processors.
constexpr int kFrames = 10000;
constexpr uint32_t kSeed = 20240611;

uint32_t numberFromEnvironment(const char* name, uint32_t otherwise) {
  const char* const text = std::getenv(name);
  return text != nullptr ? static_cast<uint32_t>(std::strtoul(text, nullptr, 10)) : otherwise;
}

// What the picture that this thread presents next must look like.
struct Expectation {
  HWND window = nullptr;
  uint32_t background = 0, centre = 0;  // 0x00RRGGBB
  RECT client{};                        // only when nobody else changes the window: its size, and there is a centre
  bool ownSize = false;
  int shown = 0;
};
thread_local Expectation expected;

// Looks at each picture on the thread that presents it.
class Inspector final : public sim::PresentSink {
 public:
  void present(HWND window, const sim::GpuAllocation& source, const RECT& rect) override {
    Expectation& e = expected;
    ++e.shown;
    const Picture picture = readSurface(source, rect);
    bool right = window == e.window && picture.pixels.front() == e.background && picture.pixels.back() == e.background;
    if (e.ownSize) {
      right = right && picture.width == static_cast<uint32_t>(e.client.right) &&
              picture.height == static_cast<uint32_t>(e.client.bottom) &&
              picture.pixels[picture.height / 2 * size_t{picture.width} + picture.width / 2] == e.centre;
    }
    EXPECT_TRUE(right) << "window " << window << " for " << e.window << ", " << picture.width << " x " << picture.height
                       << " for " << e.client.right << " x " << e.client.bottom << std::hex << ", corner "
                       << picture.pixels.front() << " for " << e.background << ", centre for " << e.centre;
    ++pictures;
  }
  void finishReads(uint32_t) override {}
  void forget(uint32_t) override {}
  std::atomic<uint64_t> pictures{0};
};

// A window of one thread that the next thread draws to.
struct LentWindow {
  std::mutex lock;  // held while the other thread makes its context current there, and while the window is made or destroyed
  HWND window = nullptr;
};

struct Shared {
  peer::GlFunctions gl;
  bool residency = false;
  HGLRC root = nullptr;  // owns the shared lists
  GLuint lists = 0;
  // A program's own order: contexts join and leave their share group one at a time, since the group counts them plainly.
  std::mutex group;
  std::vector<HGLRC> left;  // guarded by `group`
  std::array<LentWindow, kThreads> lent;
  std::atomic<uint64_t> framesShown{0}, framesLost{0}, framesNowhere{0}, guestFrames{0}, guestFramesNowhere{0}, contexts{0},
      windows{0};
};

// A quad around the origin, in the colour that is current.
void makeList(const peer::GlFunctions& gl, GLuint name) {
  gl.glNewList(name, GL_COMPILE);
  gl.glBegin(GL_QUADS);
  gl.glVertex2f(-0.4f, -0.4f);
  gl.glVertex2f(0.4f, -0.4f);
  gl.glVertex2f(0.4f, 0.4f);
  gl.glVertex2f(-0.4f, 0.4f);
  gl.glEnd();
  gl.glEndList();
}

// One thread of the program.
class Worker {
 public:
  Worker(Shared& shared, int index, uint32_t seed) : shared_(shared), gl_(shared.gl), index_(index), random_(seed) {}

  void run(int frames) {
    window_ = makeWindow();
    context_ = makeContext();
    guest_ = makeContext();
    makeCurrent(window_, context_);
    {
      const std::lock_guard hold(shared_.group);
      ownList_ = gl_.glGenLists(1);
      makeList(gl_, ownList_);
      gl_.glFinish();
    }
    for (int frame = 0; frame < frames; ++frame) {
      act();
      drawFrame();
      sim::pumpMessages();
    }
    {
      const std::lock_guard hold(shared_.group);
      gl_.glDeleteLists(ownList_, 1);
      gl_.glFinish();
    }
    EXPECT_EQ(gl_.glGetError(), 0u);
    takeBackWindow();
    sim::pumpMessages();
    EXPECT_TRUE(sim::destroyWindow(window_));
    deleteContext(guest_);
    if (index_ % 4 < 2) {
      EXPECT_TRUE(wglMakeCurrent(nullptr, nullptr));
      deleteContext(context_);
    } else {
      // The end of the thread releases what is current there; someone else deletes it.
      const std::lock_guard hold(shared_.group);
      shared_.left.push_back(context_);
    }
  }

 private:
  bool sharing() const { return index_ % 2 == 0; }
  int below(uint32_t limit) { return static_cast<int>(random_() % limit); }
  uint32_t colour() { return static_cast<uint32_t>(random_()) & 0xFFFFFF; }

  HWND makeWindow() {
    ++shared_.windows;
    const int x = below(200), y = below(100), width = 1 + below(120), height = 1 + below(90);
    return sim::createWindow({.client = {x, y, x + width, y + height}, .frame = {1, 7, 2, 3}, .pixelFormat = kDoubleBuffered});
  }
  HGLRC makeContext() {
    ++shared_.contexts;
    const HDC hdc = GetDC(window_);
    const HGLRC context = wglCreateContext(hdc);
    EXPECT_NE(context, nullptr);
    ReleaseDC(window_, hdc);
    if (sharing()) {
      const std::lock_guard hold(shared_.group);
      EXPECT_TRUE(wglShareLists(shared_.root, context));
    }
    return context;
  }
  void deleteContext(HGLRC context) {
    const std::lock_guard hold(shared_.group);
    EXPECT_TRUE(wglDeleteContext(context));
  }
  static void makeCurrent(HWND window, HGLRC context) {
    const HDC hdc = GetDC(window);
    EXPECT_TRUE(wglMakeCurrent(hdc, context));
    ReleaseDC(window, hdc);
  }

  void act() {
    switch (below(48)) {
      case 0:
      case 1:
        sim::moveWindow(window_, below(400), below(300));
        break;
      case 2:
      case 3:
      case 4:
        sim::resizeWindow(window_, 1 + below(140), 1 + below(100));
        break;
      case 5:
        sim::minimiseWindow(window_);
        break;
      case 6:
      case 7:
        sim::restoreWindow(window_);
        break;
      case 8:
      case 9:
        sim::setForeground(window_);  // covers the others
        break;
      case 10:
        sim::setForeground(nullptr);  // covered by another program
        break;
      case 11:
      case 12:
        fillScreen();
        break;
      case 13:
        sim::replaceRedirectionSurface(window_);
        break;
      case 14:
        sim::setComposition(below(2) == 0);
        break;
      case 15:
        sim::showWindow(window_, false);
        break;
      case 16:
        sim::showWindow(window_, true);
        break;
      case 17:
        replaceWindow();
        break;
      case 18:
        replaceContext();
        break;
      case 19:
        replaceList();
        break;
      case 20:
      case 21:
        lendWindow();
        break;
      case 22:
        takeBackWindow();
        break;
      case 23:
      case 24:
      case 31:
        changeLentWindow();
        break;
      case 25:
      case 26:
      case 32:
      case 33:
        drawAsGuest();
        break;
      case 27:
        EXPECT_TRUE(
            reinterpret_cast<BOOL (*)(int)>(reinterpret_cast<void*>(loader::wglGetProcAddress("wglSwapIntervalEXT")))(below(2)));
        break;
      case 28:
        EXPECT_EQ(gl_.glGetError(), 0u);
        break;
      case 29:
        gl_.glFinish();
        break;
      case 30:
        sim::revokeSource(0);
        break;
      default:
        break;
    }
  }

  void fillScreen() {
    sim::restoreWindow(window_);
    sim::placeWindow(window_, {0, 0, 160, 120});
    sim::showWindow(window_, true);
    sim::setForeground(window_);
  }

  // The window goes while its context is current; frames go nowhere until there is a new one.
  void replaceWindow() {
    EXPECT_TRUE(sim::destroyWindow(window_));
    expected = {};
    clear(colour());
    EXPECT_TRUE(wglSwapBuffers(nullptr));
    gl_.glFlush();
    EXPECT_EQ(expected.shown, 0);
    ++shared_.framesNowhere;
    window_ = makeWindow();
    makeCurrent(window_, context_);
  }

  void replaceContext() {
    if (!sharing()) gl_.glDeleteLists(ownList_, 1);
    deleteContext(context_);  // which is current
    context_ = makeContext();
    makeCurrent(window_, context_);
    if (sharing()) {
      EXPECT_TRUE(gl_.glIsList(ownList_));  // it lives in the group
      return;
    }
    ownList_ = gl_.glGenLists(1);
    makeList(gl_, ownList_);
  }

  // A deleted list's name is free for the other contexts of its group at once, and the host learns of the deletion with the next
  // flush: without an order of the program's own the deletion would meet another thread's new list of that name.
  void replaceList() {
    const std::lock_guard hold(shared_.group);
    gl_.glDeleteLists(ownList_, 1);
    gl_.glFinish();
    ownList_ = gl_.glGenLists(1);
    makeList(gl_, ownList_);
    gl_.glFinish();
  }

  LentWindow& mine() { return shared_.lent[static_cast<size_t>(index_)]; }
  void lendWindow() {
    takeBackWindow();
    const std::lock_guard hold(mine().lock);
    mine().window = makeWindow();
  }
  // Whoever draws there goes on drawing, to nowhere.
  void takeBackWindow() {
    const std::lock_guard hold(mine().lock);
    if (mine().window == nullptr) return;
    EXPECT_TRUE(sim::destroyWindow(mine().window));
    mine().window = nullptr;
  }
  void changeLentWindow() {
    const HWND window = mine().window;  // only this thread changes it
    if (window == nullptr) return;
    sim::moveWindow(window, below(300), below(300));
    sim::resizeWindow(window, 1 + below(80), 1 + below(80));
  }

  // Some frames on the window that the thread before has lent, which its owner may change or destroy meanwhile.
  void drawAsGuest() {
    LentWindow& lent = shared_.lent[static_cast<size_t>((index_ + kThreads - 1) % kThreads)];
    HWND window;
    {
      const std::lock_guard hold(lent.lock);
      window = lent.window;
      if (window == nullptr) return;
      makeCurrent(window, guest_);
    }
    for (int i = 0; i < 4; ++i) {
      expected = {};
      expected.window = window;
      expected.background = colour();
      clear(expected.background);
      EXPECT_TRUE(wglSwapBuffers(nullptr));
      EXPECT_LE(expected.shown, 1);
      ++(expected.shown != 0 ? shared_.guestFrames : shared_.guestFramesNowhere);
    }
    makeCurrent(window_, context_);
  }

  void clear(uint32_t rgb) const {
    const auto part = [&](int shift) { return static_cast<float>(rgb >> shift & 255) / 255.0f; };
    gl_.glClearColor(part(16), part(8), part(0), 1.0f);
    gl_.glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  }

  void drawFrame() {
    RECT client{};
    EXPECT_TRUE(GetClientRect(window_, &client));
    expected = {};
    expected.window = window_;
    expected.background = colour();
    expected.centre = colour();
    expected.client = client;
    // In the smallest windows the quad fills the corners too.
    expected.ownSize = client.right >= 8 && client.bottom >= 8;
    gl_.glViewport(0, 0, client.right, client.bottom);
    if (expected.ownSize) {
      clear(expected.background);
      gl_.glColor3ub(static_cast<GLubyte>(expected.centre >> 16), static_cast<GLubyte>(expected.centre >> 8),
                     static_cast<GLubyte>(expected.centre));
      gl_.glCallList(sharing() && below(2) == 0 ? shared_.lists + static_cast<GLuint>(below(kSharedLists)) : ownList_);
    } else {
      clear(expected.background);
    }
    if (below(8) == 0) gl_.glFlush();
    EXPECT_TRUE(wglSwapBuffers(nullptr));

    if (client.right == 0 || client.bottom == 0) {
      EXPECT_EQ(expected.shown, 0);
      ++shared_.framesNowhere;
    } else if (expected.shown == 1) {
      ++shared_.framesShown;
    } else {
      // A display is fought over: a flip may fail, and its repetition too. With residency a redirection surface that goes
      // between its naming and its opening loses its frame.
      const bool fills = client.right == 160 && client.bottom == 120;
      EXPECT_EQ(expected.shown, 0);
      EXPECT_TRUE(fills || shared_.residency) << client.right << " x " << client.bottom;
      ++shared_.framesLost;
    }
  }

  Shared& shared_;
  const peer::GlFunctions& gl_;
  const int index_;
  std::minstd_rand random_;
  HWND window_ = nullptr;
  HGLRC context_ = nullptr, guest_ = nullptr;
  GLuint ownList_ = 0;
};

class SoakTest : public EndToEndTest, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override { start(&inspector, GetParam()); }
  Inspector inspector;
};

// Eight threads that do everything at once leave nothing behind, and nearly every frame is shown.
TEST_P(SoakTest, EightThreadsLeaveNothingBehind) {
  const uint32_t seed = numberFromEnvironment("QV_SOAK_SEED", kSeed);
  const int frames = static_cast<int>(numberFromEnvironment("QV_SOAK_FRAMES", kFrames)) / kThreads;
  std::printf("QV_SOAK_SEED=%u QV_SOAK_FRAMES=%d\n", seed, frames * kThreads);
  RecordProperty("seed", static_cast<int>(seed));

  Shared shared;
  shared.gl = driverFunctions();
  shared.residency = GetParam();
  const HWND window = sim::createWindow({.client = {0, 0, 8, 8}, .pixelFormat = kDoubleBuffered});
  const HDC hdc = GetDC(window);
  shared.root = wglCreateContext(hdc);
  ASSERT_TRUE(wglMakeCurrent(hdc, shared.root));
  shared.lists = shared.gl.glGenLists(kSharedLists);
  for (GLuint i = 0; i < kSharedLists; ++i) makeList(shared.gl, shared.lists + i);
  EXPECT_EQ(shared.gl.glGetError(), 0u);
  ASSERT_TRUE(wglMakeCurrent(nullptr, nullptr));
  const sim::LiveCounts before = sim::liveCounts();
  const std::string peerBefore = describe(gpu.counters());

  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] { Worker(shared, i, seed * kThreads + static_cast<uint32_t>(i)).run(frames); });
  }
  for (std::thread& thread : threads) thread.join();
  sim::pumpMessages();
  sim::setComposition(false);
  for (const HGLRC context : shared.left) EXPECT_TRUE(wglDeleteContext(context));

  // As if the threads had never been.
  EXPECT_EQ(sim::describe(sim::liveCounts()), sim::describe(before));
  EXPECT_EQ(describe(gpu.counters()), peerBefore);
  ASSERT_NE(WindowRecordList, nullptr);
  EXPECT_EQ(WindowRecordList->window, window);
  EXPECT_EQ(WindowRecordList->next, nullptr);
  const uint64_t shown = shared.framesShown, lost = shared.framesLost, nowhere = shared.framesNowhere;
  EXPECT_GE(shown + lost + nowhere, static_cast<uint64_t>(frames * kThreads));
  EXPECT_LE(lost * 10, shown);
  EXPECT_GE(inspector.pictures, shown);
  // In a run of some length every road was taken, and windows did go under a guest's hands.
  const uint64_t composed = sim::callCount("D3DKMTOpenResource"), owned = sim::callCount("D3DKMTSetDisplayMode");
  if (frames * kThreads >= 1000) {
    EXPECT_GT(composed, 0u);
    EXPECT_GT(owned, 0u);
    EXPECT_GT(shared.guestFrames, 0u);
    EXPECT_GT(shared.guestFramesNowhere, 0u);
  }
  const auto print = [](const char* what, uint64_t count) {
    std::printf("  %8llu %s\n", static_cast<unsigned long long>(count), what);
  };
  print("frames shown", shown);
  print("lost in fights for the display", lost);
  print("of windows that had gone or were icons", nowhere);
  print("shown in windows of another thread", shared.guestFrames);
  print("of guests whose window had gone", shared.guestFramesNowhere);
  print("windows", shared.windows);
  print("contexts", shared.contexts);
  print("displays taken", owned);
  print("redirection surfaces opened", composed);

  ASSERT_TRUE(wglMakeCurrent(hdc, shared.root));
  shared.gl.glDeleteLists(shared.lists, kSharedLists);
  EXPECT_EQ(shared.gl.glGetError(), 0u);
  ASSERT_TRUE(wglMakeCurrent(nullptr, nullptr));
  EXPECT_TRUE(wglDeleteContext(shared.root));
  ReleaseDC(window, hdc);
  EXPECT_TRUE(sim::destroyWindow(window));
}

INSTANTIATE_TEST_SUITE_P(Residency, SoakTest, ::testing::Values(false, true),
                         [](const auto& test) { return test.param ? "On" : "Off"; });

}  // namespace
}  // namespace qv::test
