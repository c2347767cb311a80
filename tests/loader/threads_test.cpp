// Two threads with a window and a context each, sharing display lists, on the peer in this process: the same pictures as one
// thread alone gives. Built with ThreadSanitizer it is the proof that the threads do not race.
#include <gtest/gtest.h>

#include <barrier>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "loader/opengl32/opengl32.h"
#include "peer/host/in_process_gpu.h"
#include "peer/link/log.h"
#include "platform/simulated/control.h"
#include "wire/gl_api.h"

namespace qv::loader {
namespace {

constexpr int kSize = 96, kFrames = 60, kDoubleBuffered = 4;
using Picture = std::vector<uint8_t>;

// Keeps a copy of the last picture of every window.
class LastPictures final : public sim::PresentSink {
 public:
  void present(HWND window, const sim::GpuAllocation& source, const RECT& rect) override {
    Picture picture;
    for (LONG y = rect.top; y < rect.bottom; ++y) {
      const uint8_t* const row = source.memory + static_cast<size_t>(y) * source.pitch;
      for (LONG x = rect.left; x < rect.right; ++x) picture.insert(picture.end(), row + 4 * x, row + 4 * x + 3);
    }
    const std::lock_guard hold(mutex_);
    pictures_[window] = std::move(picture);
  }
  void finishReads(uint32_t) override {}
  void forget(uint32_t) override {}
  Picture of(HWND window) {
    const std::lock_guard hold(mutex_);
    return pictures_[window];
  }

 private:
  std::mutex mutex_;
  std::map<HWND, Picture> pictures_;
};

// The functions that the scene takes, as a program fetches them.
struct Functions {
  template <typename Function>
  static void fetch(Function*& function, const char* name) {
    function = reinterpret_cast<Function*>(reinterpret_cast<void*>(driverProcAddress(name)));
    ASSERT_NE(function, nullptr) << name;
  }
  Functions() {
    fetch(begin, "glBegin");
    fetch(end, "glEnd");
    fetch(color3f, "glColor3f");
    fetch(vertex2f, "glVertex2f");
    fetch(clearColor, "glClearColor");
    fetch(clear, "glClear");
    fetch(pushMatrix, "glPushMatrix");
    fetch(popMatrix, "glPopMatrix");
    fetch(rotatef, "glRotatef");
    fetch(callList, "glCallList");
    fetch(newList, "glNewList");
    fetch(endList, "glEndList");
    fetch(genLists, "glGenLists");
    fetch(getError, "glGetError");
  }
  decltype(glBegin)* begin;
  decltype(glEnd)* end;
  decltype(glColor3f)* color3f;
  decltype(glVertex2f)* vertex2f;
  decltype(glClearColor)* clearColor;
  decltype(glClear)* clear;
  decltype(glPushMatrix)* pushMatrix;
  decltype(glPopMatrix)* popMatrix;
  decltype(glRotatef)* rotatef;
  decltype(glCallList)* callList;
  decltype(glNewList)* newList;
  decltype(glEndList)* endList;
  decltype(glGenLists)* genLists;
  decltype(glGetError)* getError;
};

struct SharedThreads : testing::Test {
  void SetUp() override {
    sim::reset();
    sim::setGpuLink(&gpu);
    sim::setPresentSink(&sink);
    logLines = peer::logLineCount();
    ASSERT_TRUE(loadDriver());
  }
  void TearDown() override {
    EXPECT_EQ(peer::logLineCount(), logLines);
    unloadDriver();
    sim::reset();
  }
  HDC window() {
    sim::WindowOptions options;
    options.client = {0, 0, kSize, kSize};
    HDC const hdc = GetDC(sim::createWindow(options));
    EXPECT_TRUE(wglSetPixelFormat(hdc, kDoubleBuffered, nullptr));
    return hdc;
  }
  // Makes list `name` with the context that is current, and waits until the host has it.
  static void makeList(const Functions& gl, GLuint name, float size) {
    gl.newList(name, GL_COMPILE);
    gl.begin(GL_TRIANGLES);
    gl.color3f(1.0f, size, 0.2f);
    gl.vertex2f(-size, -size);
    gl.color3f(0.1f, 1.0f, size);
    gl.vertex2f(size, -size);
    gl.color3f(size, 0.3f, 1.0f);
    gl.vertex2f(0.0f, size);
    gl.end();
    gl.endList();
    EXPECT_EQ(gl.getError(), 0u);
  }
  static void draw(const Functions& gl, HDC hdc, GLuint first, int which) {
    for (int frame = 0; frame < kFrames; ++frame) {
      gl.clearColor(0.1f, 0.2f * static_cast<float>(which), 0.3f, 1.0f);
      gl.clear(GL_COLOR_BUFFER_BIT);
      for (GLuint i = 0; i < 2; ++i) {
        gl.pushMatrix();
        gl.rotatef(static_cast<float>(frame * 3) + static_cast<float>(i) * 50.0f, 0.0f, 0.0f, 1.0f);
        gl.callList(first + (i + static_cast<GLuint>(which)) % 2);
        gl.popMatrix();
      }
      EXPECT_TRUE(wglSwapBuffers(hdc));
    }
    EXPECT_EQ(gl.getError(), 0u);
  }

  peer::InProcessGpu gpu;
  LastPictures sink;
  uint64_t logLines = 0;
};

// Two threads that each make one of two lists and call both draw what one thread draws.
TEST_F(SharedThreads, ThreadsDrawWhatOneThreadDraws) {
  const Functions gl;
  HDC const windows[2] = {window(), window()};
  HGLRC const contexts[2] = {wglCreateContext(windows[0]), wglCreateContext(windows[1])};
  ASSERT_TRUE(contexts[0] && contexts[1]);
  ASSERT_TRUE(wglShareLists(contexts[0], contexts[1]));
  ASSERT_TRUE(wglMakeCurrent(windows[0], contexts[0]));
  const GLuint first = gl.genLists(2);
  ASSERT_TRUE(wglMakeCurrent(nullptr, nullptr));

  // One after the other on this thread: what the pictures should be.
  Picture expected[2];
  for (GLuint which = 0; which < 2; ++which) {
    ASSERT_TRUE(wglMakeCurrent(windows[which], contexts[which]));
    makeList(gl, first + which, 0.4f + 0.4f * static_cast<float>(which));
  }
  for (int which = 0; which < 2; ++which) {
    ASSERT_TRUE(wglMakeCurrent(windows[which], contexts[which]));
    draw(gl, windows[which], first, which);
    expected[which] = sink.of(WindowFromDC(windows[which]));
    ASSERT_EQ(expected[which].size(), static_cast<size_t>(kSize * kSize * 3));
  }
  EXPECT_NE(expected[0], expected[1]);
  ASSERT_TRUE(wglMakeCurrent(nullptr, nullptr));

  std::barrier listsMade(2);
  const auto run = [&](int which) {
    ASSERT_TRUE(wglMakeCurrent(windows[which], contexts[which]));
    makeList(gl, first + static_cast<GLuint>(which), 0.4f + 0.4f * static_cast<float>(which));
    listsMade.arrive_and_wait();
    draw(gl, windows[which], first, which);
    EXPECT_TRUE(wglMakeCurrent(nullptr, nullptr));
  };
  std::thread one(run, 0), two(run, 1);
  one.join();
  two.join();
  for (int which = 0; which < 2; ++which) EXPECT_EQ(sink.of(WindowFromDC(windows[which])), expected[which]) << which;
  EXPECT_TRUE(wglDeleteContext(contexts[1]));
  EXPECT_TRUE(wglDeleteContext(contexts[0]));
}

}  // namespace
}  // namespace qv::loader
