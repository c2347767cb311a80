// One animation over each road to the screen: by flip, by composition, by blit. All show what Mesa shows when called directly,
// frame by frame and pixel by pixel, through changes of size in the middle too.
#include <array>
#include <string>

#include "tests/soak/machine.h"
#include "tests/soak/scene.h"

namespace qv::test {
namespace {

using Route = sim::PresentRecord::Route;
using loader::wglCreateContext;
using loader::wglDeleteContext;
using loader::wglMakeCurrent;
using loader::wglSwapBuffers;

constexpr int kFrames = 12;
constexpr int kSingleBuffered = 3;  // with depth, too
constexpr RECT kBorders{3, 20, 5, 7};

// A program with one window that draws the scene.
class Program {
 public:
  Program(const RECT& client, const RECT& borders, int format = kDoubleBuffered)
      : format_(format),
        window_(sim::createWindow({.client = client, .frame = borders, .pixelFormat = format})),
        hdc_(GetDC(window_)),
        context_(wglCreateContext(hdc_)),
        gl_(driverFunctions()),
        scene_(gl_) {
    EXPECT_TRUE(wglMakeCurrent(hdc_, context_));
    scene_.init();
  }
  ~Program() {
    scene_.end();
    EXPECT_EQ(gl_.glGetError(), 0u);
    EXPECT_TRUE(wglMakeCurrent(nullptr, nullptr));
    EXPECT_TRUE(wglDeleteContext(context_));
    ReleaseDC(window_, hdc_);
    EXPECT_TRUE(sim::destroyWindow(window_));
  }
  HWND window() const { return window_; }
  // Draws at the size that the window has now, and ends the frame as a program with such a window does.
  void frame(int number) {
    RECT client;
    ASSERT_TRUE(GetClientRect(window_, &client));
    scene_.draw(number, client.right, client.bottom);
    if (format_ == kDoubleBuffered) {
      EXPECT_TRUE(wglSwapBuffers(hdc_));
    } else {
      number % 2 == 0 ? gl_.glFlush() : gl_.glFinish();
    }
  }

 private:
  int format_;
  HWND window_;
  HDC hdc_;
  HGLRC context_;
  peer::GlFunctions gl_;
  Scene scene_;
};

// With and without memory residency: the driver then submits, and waits, differently.
class RoadsTest : public EndToEndTest, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override { start(&screen, GetParam()); }

  // Draws frame `number` and expects it on this road, whole and right, at every place where the road leaves its picture.
  // `refused` presents fail before that.
  void expectFrame(Program& program, int number, Route route, uint32_t refused = 0) {
    SCOPED_TRACE("frame " + std::to_string(number));
    const HWND window = program.window();
    RECT client;
    ASSERT_TRUE(GetClientRect(window, &client));
    const uint64_t presents = sim::presentCount(), thunks = sim::callCount("D3DKMTPresent");
    const uint64_t renders = sim::callCount("D3DKMTRender"), frames = gpu.statistics().frames;

    program.frame(number);

    // The road was taken, and no other.
    ASSERT_EQ(sim::presentCount(), presents + 1);
    const sim::PresentRecord present = sim::presents().back();
    EXPECT_EQ(present.route, route);
    EXPECT_EQ(present.window, window);
    EXPECT_EQ(sim::callCount("D3DKMTPresent") - thunks, refused + (route == Route::Redirected ? 0 : 1));
    if (route == Route::Redirected) {
      EXPECT_GE(sim::callCount("D3DKMTRender") - renders, 1u);
    }
    EXPECT_EQ(gpu.statistics().frames - frames, 1u);

    const Picture expected = reference.draw(number, client.right, client.bottom);
    EXPECT_EQ(screen.of(window).differenceTo(expected), "");
    sim::GpuAllocation surface;
    if (route == Route::Flip) {
      EXPECT_EQ(sim::displayedSurface(0), present.allocation);
      EXPECT_NE(present.allocation, lastFlipped);  // two surfaces trade places
      lastFlipped = present.allocation;
      ASSERT_TRUE(sim::findSurface(present.allocation, &surface));
      EXPECT_EQ(readSurface(surface, client).differenceTo(expected), "");
    } else if (route == Route::Redirected) {
      ASSERT_TRUE(sim::findSurface(sim::redirectionSurface(window), &surface));
      RECT inside{client.left + borders.left, client.top + borders.top, client.right + borders.left, client.bottom + borders.top};
      EXPECT_EQ(surface.width, static_cast<uint32_t>(client.right + borders.left + borders.right));
      EXPECT_EQ(readSurface(surface, inside).differenceTo(expected), "");
    } else {
      ASSERT_TRUE(sim::findSurface(present.allocation, &surface));
      EXPECT_EQ(surface.width, static_cast<uint32_t>(client.right));
      EXPECT_EQ(surface.height, static_cast<uint32_t>(client.bottom));
      EXPECT_EQ(readSurface(surface, client).differenceTo(expected), "");
    }
  }

  Screen screen;
  Reference reference;
  RECT borders{};
  uint32_t lastFlipped = 0;
};

// A frame is not like the next: otherwise the comparisons below would prove little.
TEST_P(RoadsTest, SceneMovesFromFrameToFrame) {
  Picture before;
  for (int frame = 0; frame < kFrames; ++frame) {
    const Picture picture = reference.draw(frame, kScreen.right, kScreen.bottom);
    size_t lit = 0;
    for (const uint32_t pixel : picture.pixels) lit += pixel != picture.pixels[0];
    EXPECT_GT(lit, picture.pixels.size() / 12);
    EXPECT_NE(picture, before);
    before = picture;
  }
}

// A full-screen window in the foreground shows every frame by a flip, and the frames are those of Mesa.
TEST_P(RoadsTest, FlippedFramesEqualMesas) {
  Program program(kScreen, {});
  sim::setForeground(program.window());
  for (int frame = 0; frame < kFrames; ++frame) expectFrame(program, frame, Route::Flip);
  EXPECT_EQ(sim::liveCounts().ownedSources, 1u);
  EXPECT_EQ(sim::callCount("D3DKMTOpenResource"), 0u);
}

// A window on a composed desktop shows every frame through the redirection surface, and the frames are those of Mesa.
TEST_P(RoadsTest, ComposedFramesEqualMesas) {
  sim::setComposition(true);
  borders = kBorders;
  Program program({20, 30, 180, 150}, borders);
  for (int frame = 0; frame < kFrames; ++frame) expectFrame(program, frame, Route::Redirected);
  EXPECT_EQ(sim::callCount("D3DKMTOpenResource"), 1u);
  EXPECT_EQ(sim::callCount("D3DKMTSetVidPnSourceOwner"), 0u);
}

// A window on a desktop without composition shows every frame by a blit, and the frames are those of Mesa.
TEST_P(RoadsTest, BlittedFramesEqualMesas) {
  Program program({20, 30, 180, 150}, kBorders);
  for (int frame = 0; frame < kFrames; ++frame) expectFrame(program, frame, Route::Blt);
  EXPECT_EQ(sim::callCount("D3DKMTOpenResource"), 0u);
  EXPECT_EQ(sim::callCount("D3DKMTSetVidPnSourceOwner"), 0u);
}

// A full-screen window flips on a composed desktop too; when another window comes to the foreground it is composed.
TEST_P(RoadsTest, WindowTakesEachRoadInItsLife) {
  Program program(kScreen, {});
  expectFrame(program, 0, Route::Blt);
  sim::setComposition(true);
  expectFrame(program, 1, Route::Redirected);
  sim::setForeground(program.window());
  expectFrame(program, 2, Route::Flip);
  expectFrame(program, 3, Route::Flip);
  sim::setForeground(nullptr);
  expectFrame(program, 4, Route::Redirected);
  sim::setComposition(false);
  expectFrame(program, 5, Route::Blt);
  sim::setForeground(program.window());
  expectFrame(program, 6, Route::Flip);
  sim::revokeSource(0);  // a mode change by someone else: the flip fails, the display is taken again for this very frame
  expectFrame(program, 7, Route::Flip, 1);
  sim::revokeSource(0);
  sim::occupySource(0, true);  // and for good: the frame goes the other way
  expectFrame(program, 8, Route::Blt, 1);
  sim::occupySource(0, false);
}

// A program with a single-buffered window never swaps: glFlush and glFinish show what it has drawn, by the same roads.
TEST_P(RoadsTest, SingleBufferedFramesTakeTheSameRoads) {
  Program program(kScreen, {}, kSingleBuffered);
  expectFrame(program, 0, Route::Blt);
  expectFrame(program, 1, Route::Blt);
  sim::setComposition(true);
  expectFrame(program, 2, Route::Redirected);
  expectFrame(program, 3, Route::Redirected);
  sim::setForeground(program.window());
  expectFrame(program, 4, Route::Flip);
  expectFrame(program, 5, Route::Flip);
  sim::resizeWindow(program.window(), 70, 50);
  expectFrame(program, 6, Route::Redirected);
}

constexpr std::array<std::array<int, 2>, 6> kSizes{{{161, 120}, {64, 48}, {63, 130}, {1, 1}, {300, 7}, {160, 120}}};

// The frame right after a resize has the new size and the right picture; moves and a stay as an icon change nothing in it.
TEST_P(RoadsTest, ComposedResizeShowsTheRightPicture) {
  sim::setComposition(true);
  borders = kBorders;
  Program program({20, 30, 180, 150}, borders);
  int frame = 0;
  expectFrame(program, frame++, Route::Redirected);
  for (const auto& [width, height] : kSizes) {
    sim::resizeWindow(program.window(), width, height);
    expectFrame(program, frame++, Route::Redirected);
    sim::moveWindow(program.window(), 5 * frame, 3 * frame);
    expectFrame(program, frame++, Route::Redirected);
  }
}

// The frame right after a resize has the right picture by a blit too, and an icon has none.
TEST_P(RoadsTest, BlittedResizeShowsTheRightPicture) {
  Program program({20, 30, 180, 150}, kBorders);
  int frame = 0;
  expectFrame(program, frame++, Route::Blt);
  for (const auto& [width, height] : kSizes) {
    sim::resizeWindow(program.window(), width, height);
    expectFrame(program, frame++, Route::Blt);
    sim::moveWindow(program.window(), 5 * frame, 3 * frame);
    expectFrame(program, frame++, Route::Blt);
  }
  sim::minimiseWindow(program.window());
  const uint64_t presents = sim::presentCount();
  EXPECT_TRUE(wglSwapBuffers(loader::wglGetCurrentDC()));
  EXPECT_EQ(sim::presentCount(), presents);  // an icon has no picture
  sim::restoreWindow(program.window());
  expectFrame(program, frame++, Route::Blt);
}

// A full-screen window that shrinks is an ordinary window with its next frame, and owns the display again with the first frame
// that fills it.
TEST_P(RoadsTest, ResizeOutOfFullScreenAndBackChangesTheRoad) {
  Program program(kScreen, {});
  sim::setForeground(program.window());
  int frame = 0;
  for (const bool composed : {false, true}) {
    sim::setComposition(composed);
    expectFrame(program, frame++, Route::Flip);
    for (const auto& [width, height] : kSizes) {
      if (width == kScreen.right && height == kScreen.bottom) continue;
      sim::resizeWindow(program.window(), width, height);
      expectFrame(program, frame++, composed ? Route::Redirected : Route::Blt);
      EXPECT_EQ(sim::liveCounts().ownedSources, 0u);
    }
    sim::resizeWindow(program.window(), kScreen.right, kScreen.bottom);
    expectFrame(program, frame++, Route::Flip);
  }
}

// A window that follows a new display mode flips at the new size from its next frame on.
TEST_P(RoadsTest, NewDisplayModeIsFollowedByFlips) {
  Program program(kScreen, {});
  sim::setForeground(program.window());
  int frame = 0;
  expectFrame(program, frame++, Route::Flip);
  for (const RECT& mode : {RECT{0, 0, 96, 64}, RECT{0, 0, 200, 100}, kScreen}) {
    sim::setMonitors({{.rect = mode}});
    sim::resizeWindow(program.window(), mode.right, mode.bottom);
    expectFrame(program, frame++, Route::Flip);
    sim::GpuAllocation surface;
    ASSERT_TRUE(sim::findSurface(sim::displayedSurface(0), &surface));
    EXPECT_EQ(surface.width, static_cast<uint32_t>(mode.right));
    EXPECT_EQ(surface.height, static_cast<uint32_t>(mode.bottom));
    expectFrame(program, frame++, Route::Flip);
  }
}

INSTANTIATE_TEST_SUITE_P(Residency, RoadsTest, ::testing::Values(false, true),
                         [](const auto& test) { return test.param ? "On" : "Off"; });

}  // namespace
}  // namespace qv::test
