// DrvSwapBuffers, and what glFlush and glFinish leave to the window.
#include <thread>

#include "driver/base/current_context.h"
#include "driver/stream/gl_routines.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

class SwapTest : public FrameTest {
 protected:
  std::vector<SentPacket> flushes() { return gpu.packets(EscapeCode::Flush); }
};

// A null device context swaps the current context, and without one there is nothing to swap.
TEST_F(SwapTest, NullDeviceContextSwapsTheCurrentContext) {
  EXPECT_EQ(DrvSwapBuffers(nullptr), 0);
  makeCurrent(makeWindow());
  EXPECT_EQ(DrvSwapBuffers(nullptr), 1);
  ASSERT_EQ(flushes().size(), 1u);
  EXPECT_EQ(flushes()[0].word(36), 1029u);
  EXPECT_EQ(flushes()[0].stream, bytesOfWords({16601}));
  EXPECT_EQ(currentContext()->lastOpcode, 217);
  EXPECT_EQ(currentContext()->flushCount, 0u);
}

// A single-buffered format ends its frames with GL_FRONT.
TEST_F(SwapTest, SingleBufferedFramesEndInFront) {
  makeCurrent(makeWindow(3));
  EXPECT_EQ(DrvSwapBuffers(nullptr), 1);
  EXPECT_EQ(flushes().at(0).word(36), 1028u);
  EXPECT_EQ(currentContext()->frontDirty, 1);
}

// The mark is written once: not after glFinish, not after another swap. The packet is sent all the same, with an empty stream.
TEST_F(SwapTest, MarkIsWrittenOnce) {
  makeCurrent(makeWindow());
  writeSomething();
  gl::glFinish();
  EXPECT_TRUE(flushes().empty());
  DrvSwapBuffers(nullptr);
  EXPECT_EQ(flushes().at(0).stream, bytesOfWords({0x402B, 0x40D8}));
  DrvSwapBuffers(nullptr);
  EXPECT_EQ(flushes().at(1).stream, std::vector<uint8_t>());
  EXPECT_EQ(flushes().at(1).word(88), 0u);
  EXPECT_EQ(flushes().at(1).word(92), 0u);
}

// Drawing to the front buffer ends with the frame unless the draw buffer is still the front one.
TEST_F(SwapTest, FrontDrawingEndsWithTheFrame) {
  makeCurrent(makeWindow());
  currentContext()->frontDirty = 1;
  DrvSwapBuffers(nullptr);
  EXPECT_EQ(currentContext()->frontDirty, 0);
  currentContext()->drawBufferMode = GL_FRONT;
  writeSomething();
  DrvSwapBuffers(nullptr);
  EXPECT_EQ(currentContext()->frontDirty, 1);
}

// Only a frame end that writes its mark looks at the draw buffer.
TEST_F(SwapTest, FrontDirtyFollowsTheMark) {
  const DHGLRC handle = makeCurrent(makeWindow());
  for (const int32_t last : {216, 217}) {
    for (const uint8_t dirty : {uint8_t{0}, uint8_t{1}}) {
      currentContext()->frontDirty = dirty;
      currentContext()->drawBufferMode = dirty != 0 ? GL_BACK : GL_FRONT;
      currentContext()->lastOpcode = last;
      EXPECT_EQ(DrvSwapBuffers(nullptr), 1);
      EXPECT_EQ(currentContext()->frontDirty, dirty);
      EXPECT_EQ(currentContext()->lastOpcode, last);
    }
  }
  contextOf(handle)->lastOpcode = 217;
  contextOf(handle)->frontDirty = 1;
  EXPECT_EQ(DrvReleaseContext(handle), 1);
  EXPECT_EQ(contextOf(handle)->frontDirty, 1);
}

// glFlush and glFinish look at the draw buffer when they write their mark, and leave all as it is when they do not.
TEST_F(SwapTest, FlushLooksAtTheDrawBufferWithItsMark) {
  makeCurrent(makeWindow());
  currentContext()->drawBufferMode = GL_FRONT;
  currentContext()->frontDirty = 0;
  gl::glFlush();
  EXPECT_EQ(currentContext()->frontDirty, 1);
  currentContext()->drawBufferMode = GL_BACK;
  gl::glFlush();
  EXPECT_EQ(currentContext()->frontDirty, 1);
  EXPECT_TRUE(flushes().empty());
  gl::glFinish();
  EXPECT_EQ(currentContext()->frontDirty, 0);
  ASSERT_EQ(flushes().size(), 1u);  // the frame had been drawn to the front
  EXPECT_EQ(flushes()[0].word(36), 1028u);
  currentContext()->drawBufferMode = GL_FRONT;
  gl::glFinish();
  EXPECT_EQ(currentContext()->frontDirty, 0);
}

// New contexts go to the front of the list: of two on one window, neither of them current here, the newer one's frame ends.
TEST_F(SwapTest, NewerContextOfAWindowIsFoundFirst) {
  const HWND window = makeWindow();
  makeCurrent(window);
  const DHGLRC newer = makeCurrent(window);
  makeCurrent(makeWindow());
  EXPECT_EQ(DrvSwapBuffers(dc(window)), 1);
  ASSERT_EQ(flushes().size(), 1u);
  EXPECT_EQ(flushes()[0].word(28), contextOf(newer)->hostContextId);
}

// The window decides whose frame ends: the current context if it is bound there, else the first of the list that is.
TEST_F(SwapTest, WindowDecidesWhoseFrameEnds) {
  const HWND first = makeWindow(), second = makeWindow(), third = makeWindow();
  const DHGLRC onFirst = makeCurrent(first);
  const DHGLRC onSecond = makeCurrent(second);
  EXPECT_EQ(contextOf(onFirst)->window, first);
  const HDC firstDc = dc(first), secondDc = dc(second), thirdDc = dc(third);
  EXPECT_EQ(DrvSwapBuffers(secondDc), 1);
  EXPECT_EQ(flushes().back().word(28), contextOf(onSecond)->hostContextId);
  EXPECT_EQ(DrvSwapBuffers(firstDc), 1);
  EXPECT_EQ(flushes().back().word(28), contextOf(onFirst)->hostContextId);
  gpu.clear();
  EXPECT_EQ(DrvSwapBuffers(thirdDc), 0);
  EXPECT_TRUE(gpu.packets().empty());
  EXPECT_EQ(DrvSwapLayerBuffers(secondDc, 0xFFFF), 1);
  EXPECT_EQ(flushes().size(), 1u);
}

// A thread without a context of its own may swap a window.
TEST_F(SwapTest, AnyThreadMaySwapAWindow) {
  const HWND window = makeWindow();
  makeCurrent(window);
  const HDC hdc = dc(window);
  std::thread([&] {
    EXPECT_EQ(DrvSwapBuffers(nullptr), 0);
    EXPECT_EQ(DrvSwapBuffers(hdc), 1);
  }).join();
  EXPECT_EQ(flushes().size(), 1u);
}

// A device context without a window ends no frame, though a context that was never made current has no window either.
TEST_F(SwapTest, MemoryDeviceContextEndsNoFrame) {
  makeContext(makeWindow());
  const HDC memory = sim::createMemoryDC();
  EXPECT_EQ(DrvSwapBuffers(memory), 0);
  sim::deleteMemoryDC(memory);
  EXPECT_EQ(flushes().size(), 0u);
}

// glFlush of a double-buffered, unshared context marks the stream and sends nothing.
TEST_F(SwapTest, FlushMarksAndSendsNothing) {
  makeCurrent(makeWindow());
  gl::glFlush();
  gl::glFlush();
  EXPECT_TRUE(flushes().empty());
  DrvSwapBuffers(nullptr);
  EXPECT_EQ(flushes().at(0).stream, bytesOfWords({0x40D9}));
}

// Front drawing is shown by glFlush while the window is visible, and only flushed while it is not.
TEST_F(SwapTest, FlushShowsAVisibleFront) {
  const HWND window = makeWindow(3);
  makeCurrent(window);
  writeSomething();
  gl::glFlush();
  ASSERT_EQ(flushes().size(), 1u);
  EXPECT_EQ(flushes()[0].word(36), 1028u);
  EXPECT_EQ(compositionCalls, 1u);
  sim::showWindow(window, false);
  writeSomething();
  gl::glFinish();
  ASSERT_EQ(flushes().size(), 2u);
  EXPECT_EQ(flushes()[1].word(36), 0u);
  EXPECT_EQ(compositionCalls, 1u);
}

// A steady frame makes no other platform calls than these.
TEST_F(SwapTest, SteadyFrameMakesTheseCallsOnly) {
  makeCurrent(makeWindow());
  for (int frame = 0; frame < 3; ++frame) {
    writeSomething();
    DrvSwapBuffers(nullptr);
  }
  startTrace();
  writeSomething();
  DrvSwapBuffers(nullptr);
  expectCalls({"GetCurrentProcessId", "GetWindowInfo", "D3DKMTEscape", "GetDC", "WindowFromDC", "D3DKMTPresent", "ReleaseDC"});
}

}  // namespace
}  // namespace qv::test
