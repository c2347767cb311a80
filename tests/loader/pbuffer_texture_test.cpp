// Pbuffers that are rendered to and bound as textures, against the same drawing on Mesa with framebuffer objects.
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "driver/base/wgl_api.h"
#include "driver/tables/wgl_routines.h"
#include "loader/opengl32/opengl32.h"
#include "peer/host/in_process_gpu.h"
#include "platform/simulated/control.h"
#include "wire/gl_api.h"

namespace qv::loader {
namespace {

constexpr int kSize = 32;     // of a target's level 0
constexpr int kWindow = 128;  // of the window
constexpr int kFormat = 4;    // double-buffered, with depth

// The functions that both sides draw with.
#define QV_SCENE_CALLS(X)                                                                                                   \
  X(glBegin)                                                                                                                \
  X(glBindTexture) X(glClear) X(glClearColor) X(glColor3f) X(glDisable) X(glEnable) X(glEnd) X(glGenTextures) X(glGetError) \
      X(glTexCoord3f) X(glTexEnvi) X(glTexParameteri) X(glVertex2f) X(glViewport)
struct Calls {
#define QV_MEMBER(name) decltype(&::name) name;
  QV_SCENE_CALLS(QV_MEMBER)
#undef QV_MEMBER
  explicit Calls(const std::function<void*(const char*)>& find) {
#define QV_FIND(name) name = reinterpret_cast<decltype(&::name)>(find(#name));
    QV_SCENE_CALLS(QV_FIND)
#undef QV_FIND
  }
};

// What differs between the two sides.
class Side {
 public:
  virtual ~Side() = default;
  // From here on drawing goes to this face (of a cube map) and level of the target.
  virtual void renderTo(GLenum face, int level) = 0;
  // From here on it goes to the window, and the target's picture is the image of the bound texture.
  virtual void useAsTexture(GLuint texture) = 0;
  virtual std::vector<uint32_t> picture() = 0;  // 0x00RRGGBB, top row first
  virtual const Calls& calls() const = 0;
};

struct Target {
  GLenum target;
  bool mipmapped;
};

void drawTarget(const Calls& gl, int face, int level) {
  const int size = kSize >> level;
  const float shade = 0.15f * static_cast<float>(level);
  gl.glViewport(0, 0, size, size);
  gl.glClearColor((face & 1) != 0 ? 0.75f : 0.25f, (face & 2) != 0 ? 0.75f : 0.0f, (face & 4) != 0 ? 0.75f : shade, 1.0f);
  gl.glClear(GL_COLOR_BUFFER_BIT);
  // Neither symmetric nor the same upside down.
  gl.glBegin(GL_TRIANGLES);
  gl.glColor3f(1.0f, shade, 0.0f);
  gl.glVertex2f(-0.9f, -0.8f);
  gl.glColor3f(0.0f, 1.0f, shade);
  gl.glVertex2f(0.3f, -0.6f);
  gl.glColor3f(shade, 0.0f, 1.0f);
  gl.glVertex2f(-0.5f, 0.9f);
  gl.glEnd();
}

void corner(const Calls& gl, GLenum target, int face, float s, float t, float x, float y) {
  if (target != GL_TEXTURE_CUBE_MAP) {
    gl.glTexCoord3f(s, t, 0.0f);
  } else {
    const float a = 2 * s - 1, b = 2 * t - 1;
    const float directions[6][3] = {{1, -b, -a}, {-1, -b, a}, {a, 1, b}, {a, -1, -b}, {a, -b, 1}, {-a, -b, -1}};
    gl.glTexCoord3f(directions[face][0], directions[face][1], directions[face][2]);
  }
  gl.glVertex2f(x, y);
}

// Renders every face and level of the target, then a window full of quads that show them.
std::vector<uint32_t> scene(Side& side, const Target& what, int drawnLevels) {
  const Calls& gl = side.calls();
  const int faces = what.target == GL_TEXTURE_CUBE_MAP ? 6 : 1;
  for (int face = 0; face < faces; ++face) {
    for (int level = 0; level < drawnLevels; ++level) {
      side.renderTo(faces == 6 ? GL_TEXTURE_CUBE_MAP_POSITIVE_X + static_cast<GLenum>(face) : 0, level);
      drawTarget(gl, face, level);
    }
  }
  GLuint texture = 0;
  gl.glGenTextures(1, &texture);
  side.useAsTexture(texture);
  gl.glTexParameteri(what.target, GL_TEXTURE_MIN_FILTER, what.mipmapped ? GL_NEAREST_MIPMAP_NEAREST : GL_NEAREST);
  gl.glTexParameteri(what.target, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  gl.glTexParameteri(what.target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  gl.glTexParameteri(what.target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  gl.glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
  gl.glViewport(0, 0, kWindow, kWindow);
  gl.glClearColor(0.1f, 0.1f, 0.1f, 1.0f);
  gl.glClear(GL_COLOR_BUFFER_BIT);
  gl.glEnable(what.target);
  for (int face = 0; face < faces; ++face) {
    // Each quad half as large as the one before it: the smaller ones take the lower levels.
    float size = faces == 6 ? 0.5f : 1.0f, x = -1.0f + (faces == 6 ? 0.32f * static_cast<float>(face) : 0.0f);
    float y = -1.0f;
    for (int level = 0; level < 4; ++level) {
      gl.glBegin(GL_QUADS);
      corner(gl, what.target, face, 0, 0, x, y);
      corner(gl, what.target, face, 1, 0, x + size, y);
      corner(gl, what.target, face, 1, 1, x + size, y + size);
      corner(gl, what.target, face, 0, 1, x, y + size);
      gl.glEnd();
      y += size;
      size /= 2;
    }
  }
  gl.glDisable(what.target);
  EXPECT_EQ(gl.glGetError(), static_cast<GLenum>(GL_NO_ERROR));
  return side.picture();
}

// The last picture that reached a window.
class LastPicture final : public sim::PresentSink {
 public:
  void present(HWND window, const sim::GpuAllocation& source, const RECT&) override {
    if (window != shown) return;
    pixels.clear();
    for (uint32_t y = 0; y < source.height; ++y) {
      for (uint32_t x = 0; x < source.width; ++x) {
        uint32_t pixel = 0;
        std::memcpy(&pixel, source.memory + size_t{y} * source.pitch + size_t{x} * 4, 4);
        pixels.push_back(pixel & 0xFFFFFF);
      }
    }
  }
  void finishReads(uint32_t) override {}
  void forget(uint32_t) override {}
  HWND shown = nullptr;
  std::vector<uint32_t> pixels;
};

class DriverSide final : public Side {
 public:
  explicit DriverSide(const Target& what)
      : what_(what), calls_([](const char* name) { return reinterpret_cast<void*>(driverProcAddress(name)); }) {
    window_ = sim::createWindow({.client = {0, 0, kWindow, kWindow}});
    sink_.shown = window_;
    sim::setPresentSink(&sink_);
    windowDc_ = GetDC(window_);
    wglSetPixelFormat(windowDc_, kFormat, nullptr);
    context_ = wglCreateContext(windowDc_);
    EXPECT_TRUE(wglMakeCurrent(windowDc_, context_));
    const int attributes[] = {WGL_TEXTURE_FORMAT_ARB,
                              WGL_TEXTURE_RGBA_ARB,
                              WGL_TEXTURE_TARGET_ARB,
                              what.target == GL_TEXTURE_CUBE_MAP ? WGL_TEXTURE_CUBE_MAP_ARB : WGL_TEXTURE_2D_ARB,
                              WGL_MIPMAP_TEXTURE_ARB,
                              what.mipmapped,
                              0};
    pbuffer_ = gl::wglCreatePbufferARB(windowDc_, kFormat, kSize, kSize, attributes);
    EXPECT_NE(pbuffer_, nullptr);
    pbufferDc_ = gl::wglGetPbufferDCARB(pbuffer_);
  }
  ~DriverSide() override {
    EXPECT_TRUE(gl::wglReleaseTexImageARB(pbuffer_, WGL_BACK_LEFT_ARB));
    wglMakeCurrent(nullptr, nullptr);
    wglDeleteContext(context_);
    gl::wglReleasePbufferDCARB(pbuffer_, pbufferDc_);
    EXPECT_TRUE(gl::wglDestroyPbufferARB(pbuffer_));
    sim::destroyWindow(window_);
    sim::setPresentSink(nullptr);
  }
  void renderTo(GLenum face, int level) override {
    EXPECT_TRUE(wglMakeCurrent(pbufferDc_, context_));
    if (face == 0) return;  // only a cube map's pbuffer takes attributes
    const int attributes[] = {WGL_CUBE_MAP_FACE_ARB,
                              static_cast<int>(WGL_TEXTURE_CUBE_MAP_POSITIVE_X_ARB + face - GL_TEXTURE_CUBE_MAP_POSITIVE_X),
                              WGL_MIPMAP_LEVEL_ARB, level, 0};
    EXPECT_TRUE(gl::wglSetPbufferAttribARB(pbuffer_, attributes));
  }
  void useAsTexture(GLuint texture) override {
    EXPECT_TRUE(wglMakeCurrent(windowDc_, context_));
    calls_.glBindTexture(what_.target, texture);
    EXPECT_TRUE(gl::wglBindTexImageARB(pbuffer_, WGL_BACK_LEFT_ARB));
  }
  std::vector<uint32_t> picture() override {
    EXPECT_TRUE(wglSwapBuffers(windowDc_));
    return sink_.pixels;
  }
  const Calls& calls() const override { return calls_; }

 private:
  Target what_;
  Calls calls_;
  LastPicture sink_;
  HWND window_ = nullptr;
  HDC windowDc_ = nullptr, pbufferDc_ = nullptr;
  HGLRC context_ = nullptr;
  HPBUFFERARB pbuffer_ = nullptr;
};

template <typename Function>
Function mesa(const char* name) {
  return reinterpret_cast<Function>(eglGetProcAddress(name));
}
#define QV_MESA(name) mesa<decltype(&::name)>(#name)

class MesaSide final : public Side {
 public:
  explicit MesaSide(const Target& what)
      : what_(what), calls_([](const char* name) { return reinterpret_cast<void*>(eglGetProcAddress(name)); }) {
    display_ = mesa<PFNEGLGETPLATFORMDISPLAYEXTPROC>("eglGetPlatformDisplayEXT")(EGL_PLATFORM_SURFACELESS_MESA, nullptr, nullptr);
    EXPECT_TRUE(eglInitialize(display_, nullptr, nullptr));
    eglBindAPI(EGL_OPENGL_API);
    const EGLint wanted[] = {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_RED_SIZE, 8, EGL_NONE};
    const EGLint size[] = {EGL_WIDTH, kWindow, EGL_HEIGHT, kWindow, EGL_NONE};
    EGLConfig configs[64] = {}, config = nullptr;
    EGLint count = 0, red = 0;
    EXPECT_TRUE(eglChooseConfig(display_, wanted, configs, 64, &count));
    // Deeper colours come first in the list.
    for (EGLint i = 0; i < count && red != 8; ++i) {
      config = configs[i];
      eglGetConfigAttrib(display_, config, EGL_RED_SIZE, &red);
    }
    EXPECT_EQ(red, 8);
    surface_ = eglCreatePbufferSurface(display_, config, size);
    context_ = eglCreateContext(display_, config, EGL_NO_CONTEXT, nullptr);
    EXPECT_TRUE(eglMakeCurrent(display_, surface_, surface_, context_));
    calls_.glGenTextures(1, &target_);
    calls_.glBindTexture(what.target, target_);
    const int faces = what.target == GL_TEXTURE_CUBE_MAP ? 6 : 1;
    for (int face = 0; face < faces; ++face) {
      for (int level = 0; level == 0 || (what.mipmapped && kSize >> level != 0); ++level) {
        QV_MESA(glTexImage2D)
        (image(face), level, GL_RGBA8, kSize >> level, kSize >> level, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
      }
    }
    QV_MESA(glGenFramebuffers)(1, &framebuffer_);
  }
  ~MesaSide() override {
    eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroySurface(display_, surface_);
    eglDestroyContext(display_, context_);
    eglReleaseThread();
  }
  void renderTo(GLenum face, int level) override {
    QV_MESA(glBindFramebuffer)(GL_FRAMEBUFFER, framebuffer_);
    QV_MESA(glFramebufferTexture2D)(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, face == 0 ? GL_TEXTURE_2D : face, target_, level);
    EXPECT_EQ(QV_MESA(glCheckFramebufferStatus)(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
  }
  void useAsTexture(GLuint) override {
    QV_MESA(glBindFramebuffer)(GL_FRAMEBUFFER, 0);
    calls_.glBindTexture(what_.target, target_);
    // Only level 0 of a flat one was drawn.
    if (what_.mipmapped && what_.target == GL_TEXTURE_2D) QV_MESA(glGenerateMipmap)(GL_TEXTURE_2D);
  }
  std::vector<uint32_t> picture() override {
    std::vector<uint32_t> bottomUp(kWindow * kWindow), pixels;
    QV_MESA(glReadPixels)(0, 0, kWindow, kWindow, GL_BGRA, GL_UNSIGNED_BYTE, bottomUp.data());
    for (size_t y = kWindow; y-- > 0;) {
      for (size_t x = 0; x < kWindow; ++x) pixels.push_back(bottomUp[y * kWindow + x] & 0xFFFFFF);
    }
    return pixels;
  }
  const Calls& calls() const override { return calls_; }

 private:
  GLenum image(int face) const {
    return what_.target == GL_TEXTURE_CUBE_MAP ? GL_TEXTURE_CUBE_MAP_POSITIVE_X + static_cast<GLenum>(face) : GL_TEXTURE_2D;
  }
  Target what_;
  Calls calls_;
  EGLDisplay display_ = EGL_NO_DISPLAY;
  EGLSurface surface_ = EGL_NO_SURFACE;
  EGLContext context_ = EGL_NO_CONTEXT;
  GLuint target_ = 0, framebuffer_ = 0;
};

class PbufferTexture : public testing::Test {
 protected:
  void SetUp() override {
    sim::reset();
    sim::setGpuLink(&gpu);
    ASSERT_TRUE(loadDriver());
  }
  void TearDown() override {
    unloadDriver();
    sim::reset();
  }
  void expectEqual(const Target& what, int drawnLevels) {
    std::vector<uint32_t> ours, theirs;
    {
      DriverSide side(what);
      ours = scene(side, what, drawnLevels);
    }
    {
      MesaSide side(what);
      theirs = scene(side, what, drawnLevels);
    }
    ASSERT_EQ(ours.size(), theirs.size());
    size_t different = 0, background = 0, first = ours.size();
    for (size_t i = 0; i < ours.size(); ++i) {
      different += ours[i] != theirs[i];
      background += theirs[i] == 0x1A1A1A;
      if (ours[i] != theirs[i] && first == ours.size()) first = i;
    }
    EXPECT_EQ(different, 0u) << "first at " << first % kWindow << ", " << first / kWindow << ": " << std::hex << ours[first]
                             << " where Mesa has " << theirs[first];
    EXPECT_LT(background, theirs.size() - 2000) << "hardly anything was drawn";
  }
  peer::InProcessGpu gpu;
};

// A flat pbuffer, bound as a texture, shows what was drawn into it.
TEST_F(PbufferTexture, FlatPbufferShowsWhatWasDrawn) { expectEqual({GL_TEXTURE_2D, false}, 1); }

// Of a flat mipmapped pbuffer only the first level can be drawn to, and the others are made from it.
TEST_F(PbufferTexture, FlatMipmapsAreMadeFromTheFirstLevel) { expectEqual({GL_TEXTURE_2D, true}, 1); }

// A cube map shows its six faces, each drawn by itself.
TEST_F(PbufferTexture, CubeMapShowsItsSixFaces) { expectEqual({GL_TEXTURE_CUBE_MAP, false}, 1); }

// A mipmapped cube map shows all six levels of its six faces, each drawn by itself.
TEST_F(PbufferTexture, MipmappedCubeMapShowsAllItsLevels) { expectEqual({GL_TEXTURE_CUBE_MAP, true}, 6); }

}  // namespace
}  // namespace qv::loader
