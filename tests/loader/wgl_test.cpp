// The WGL functions on the simulated Windows, with a recorder in place of the host.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "driver/base/current_context.h"
#include "driver/base/process_state.h"
#include "driver/base/wgl_api.h"
#include "loader/opengl32/opengl32.h"
#include "peer/link/null_gpu.h"
#include "platform/simulated/control.h"
#include "wire/packets.h"

namespace qv::loader {
namespace {

constexpr int kDoubleBuffered = 4;

struct WglTest : testing::Test {
  void SetUp() override {
    sim::reset();
    sim::setGpuLink(&gpu);
  }
  void TearDown() override {
    unloadDriver();
    sim::reset();
  }
  // Device context of a new window with this format.
  HDC window(int format = kDoubleBuffered) {
    HDC const hdc = GetDC(sim::createWindow());
    EXPECT_TRUE(wglSetPixelFormat(hdc, format, nullptr));
    return hdc;
  }
  // Codes of the packets sent since the last call.
  std::vector<uint32_t> sent() {
    std::vector<uint32_t> codes;
    for (const auto& record : gpu.take()) {
      EscapeHeader header;
      std::memcpy(&header, record.packet.data(), sizeof header);
      codes.push_back(static_cast<uint32_t>(header.code));
    }
    return codes;
  }
  peer::RecordingGpu gpu;
};
using Codes = std::vector<uint32_t>;

// Attach asks for the host's version first, and once only however often the driver is loaded.
TEST_F(WglTest, LoadAttachesOnce) {
  EXPECT_FALSE(isDriverLoaded());
  EXPECT_TRUE(loadDriver());
  EXPECT_TRUE(isDriverLoaded());
  EXPECT_EQ(sent(), Codes{33072});
  EXPECT_TRUE(loadDriver());
  EXPECT_EQ(sent(), Codes{});
}

// A window that belongs to no thread of the program tells its end to the host, also when the thread that made it is long gone; one
// that belonged to the thread cannot.
TEST_F(WglTest, WindowsOfNoThreadOutliveTheirMaker) {
  ASSERT_TRUE(loadDriver());
  for (const bool anyThread : {true, false}) {
    HWND made = nullptr;
    std::thread maker([&] {
      sim::WindowOptions options;
      options.anyThread = anyThread;
      made = sim::createWindow(options);
      HDC const hdc = GetDC(made);
      EXPECT_TRUE(wglSetPixelFormat(hdc, kDoubleBuffered, nullptr));
      HGLRC const context = wglCreateContext(hdc);
      EXPECT_TRUE(wglMakeCurrent(hdc, context));
      EXPECT_TRUE(wglSwapBuffers(hdc));
      EXPECT_TRUE(wglMakeCurrent(nullptr, nullptr));
      EXPECT_TRUE(wglDeleteContext(context));
      // The library hears of the thread's end by itself.
    });
    maker.join();
    sent();
    sim::destroyWindow(made);
    EXPECT_EQ(sent(), anyThread ? Codes{static_cast<uint32_t>(EscapeCode::DestroyWindow)} : Codes{});
  }
}

// The driver finds the five functions of the system's library by name.
TEST_F(WglTest, DriverFindsTheFiveFunctions) {
  ASSERT_TRUE(loadDriver());
  EXPECT_EQ(OpenGl32.makeCurrent, &wglMakeCurrent);
  EXPECT_EQ(OpenGl32.getCurrentDC, &wglGetCurrentDC);
  EXPECT_EQ(OpenGl32.createContext, &wglCreateContext);
  EXPECT_EQ(OpenGl32.shareLists, &wglShareLists);
  EXPECT_EQ(OpenGl32.getCurrentContext, &wglGetCurrentContext);
}

// A host that refuses the version packet: the library does not load, nothing of the kernel's is left open, and every function
// behaves as one without a driver. A later try, with a host that answers, succeeds.
TEST_F(WglTest, RefusedVersionLeavesNothingLoaded) {
  gpu.failNext(33072, 1);
  EXPECT_FALSE(loadDriver());
  EXPECT_FALSE(isDriverLoaded());
  EXPECT_EQ(ContextTlsSlot, 0xFFFFFFFFu);
  EXPECT_EQ(sim::liveCounts().devices, 0u);
  EXPECT_EQ(sim::liveCounts().adapters, 0u);
  HDC const hdc = GetDC(sim::createWindow());
  EXPECT_FALSE(wglSetPixelFormat(hdc, kDoubleBuffered, nullptr));
  EXPECT_EQ(wglCreateContext(hdc), nullptr);
  EXPECT_EQ(driverProcAddress("glFlush"), nullptr);
  EXPECT_EQ(wglDescribePixelFormat(hdc, 1, 40, nullptr), 0);
  EXPECT_TRUE(loadDriver());
}

// With no link at all the escape cannot be delivered, which counts as a refusal.
TEST_F(WglTest, MissingLinkRefusesTheLibrary) {
  sim::setGpuLink(nullptr);
  EXPECT_FALSE(loadDriver());
}

// A context through its life sends its packets and is current where it should be.
TEST_F(WglTest, ContextLivesByItsPackets) {
  ASSERT_TRUE(loadDriver());
  HDC const hdc = window();
  sent();
  HGLRC const context = wglCreateContext(hdc);
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(sent(), Codes{33075});
  EXPECT_EQ(wglGetCurrentContext(), nullptr);
  EXPECT_EQ(currentProcTable(), nullptr);

  ASSERT_TRUE(wglMakeCurrent(hdc, context));
  EXPECT_EQ(wglGetCurrentContext(), context);
  EXPECT_EQ(wglGetCurrentDC(), hdc);
  ASSERT_NE(currentProcTable(), nullptr);
  EXPECT_EQ(currentProcTable()->count, 336);
  const Codes atMakeCurrent = sent();
  ASSERT_FALSE(atMakeCurrent.empty());
  EXPECT_EQ(atMakeCurrent.front(), 33079u);  // the window is made known, then limits are asked for

  EXPECT_TRUE(wglMakeCurrent(nullptr, nullptr));
  EXPECT_EQ(wglGetCurrentContext(), nullptr);
  EXPECT_EQ(wglGetCurrentDC(), nullptr);
  EXPECT_EQ(currentProcTable(), nullptr);
  sent();
  EXPECT_TRUE(wglDeleteContext(context));
  EXPECT_EQ(sent(), Codes{33076});
  SetLastError(0);
  EXPECT_FALSE(wglDeleteContext(context));
  EXPECT_EQ(GetLastError(), 6u);
}

// The table's functions are those that the name look-up gives, row by row where both are known from outside.
TEST_F(WglTest, ProcTableAgreesWithNames) {
  ASSERT_TRUE(loadDriver());
  HDC const hdc = window();
  HGLRC const context = wglCreateContext(hdc);
  ASSERT_TRUE(wglMakeCurrent(hdc, context));
  EXPECT_EQ(currentProcTable()->functions[0], wglGetProcAddress("glNewList"));
  EXPECT_EQ(currentProcTable()->functions[7], wglGetProcAddress("glBegin"));
  EXPECT_EQ(currentProcTable()->functions[335], wglGetProcAddress("glPushClientAttrib"));
  EXPECT_EQ(wglGetProcAddress("glNoSuchFunction"), nullptr);
  EXPECT_EQ(GetLastError(), 127u);
  EXPECT_TRUE(wglDeleteContext(context));
  // Deleting the current context has released it.
  EXPECT_EQ(wglGetCurrentContext(), nullptr);
  EXPECT_EQ(wglGetProcAddress("glBegin"), nullptr);
}

// Making another context current releases the first, which flushes what it has pending.
TEST_F(WglTest, SwitchReleasesTheFormerContext) {
  ASSERT_TRUE(loadDriver());
  HDC const hdc = window();
  HGLRC const a = wglCreateContext(hdc), b = wglCreateContext(hdc);
  ASSERT_TRUE(wglMakeCurrent(hdc, a));
  reinterpret_cast<void (*)(unsigned)>(reinterpret_cast<void*>(wglGetProcAddress("glEnable")))(0x0BE2);
  sent();
  ASSERT_TRUE(wglMakeCurrent(hdc, b));
  const Codes codes = sent();
  ASSERT_FALSE(codes.empty());
  EXPECT_EQ(codes.front(), 33081u);
  EXPECT_EQ(wglGetCurrentContext(), b);
  EXPECT_TRUE(wglDeleteContext(a));
  EXPECT_TRUE(wglDeleteContext(b));
}

// A context that is current elsewhere can be neither taken nor deleted; once that thread has ended it can.
TEST_F(WglTest, ContextOfAnotherThreadIsBusy) {
  ASSERT_TRUE(loadDriver());
  HDC const hdc = window();
  HGLRC const context = wglCreateContext(hdc);
  ASSERT_TRUE(wglMakeCurrent(hdc, context));
  std::thread([&] {
    SetLastError(0);
    EXPECT_FALSE(wglMakeCurrent(hdc, context));
    EXPECT_EQ(GetLastError(), 170u);
    EXPECT_FALSE(wglDeleteContext(context));
    EXPECT_EQ(GetLastError(), 170u);
  }).join();
  EXPECT_TRUE(wglMakeCurrent(nullptr, nullptr));
  std::thread([&] { EXPECT_TRUE(wglMakeCurrent(hdc, context)); }).join();
  EXPECT_TRUE(wglMakeCurrent(hdc, context));
  EXPECT_TRUE(wglDeleteContext(context));
}

// The end of a thread that owns a window takes that thread's hook away.
TEST_F(WglTest, EndedThreadUnhooks) {
  ASSERT_TRUE(loadDriver());
  std::thread([&] {
    HDC const hdc = window();
    HGLRC const context = wglCreateContext(hdc);
    ASSERT_TRUE(wglMakeCurrent(hdc, context));
    EXPECT_EQ(sim::liveCounts().hooks, 1u);
    EXPECT_TRUE(wglDeleteContext(context));
  }).join();
  EXPECT_EQ(sim::liveCounts().hooks, 0u);
}

// A device context whose format differs from the context's is refused, as is one with none.
TEST_F(WglTest, PixelFormatMustMatch) {
  ASSERT_TRUE(loadDriver());
  HDC const hdc = window(4), other = window(3), none = GetDC(sim::createWindow());
  HGLRC const context = wglCreateContext(hdc);
  SetLastError(0);
  EXPECT_FALSE(wglMakeCurrent(other, context));
  EXPECT_EQ(GetLastError(), 2000u);
  EXPECT_FALSE(wglMakeCurrent(none, context));
  EXPECT_EQ(wglCreateContext(none), nullptr);
  EXPECT_FALSE(wglSetPixelFormat(none, 15, nullptr));
  EXPECT_TRUE(wglDeleteContext(context));
}

// A format is chosen by closeness: double buffering must match, the flag of value 32 must be there, the rest is nearness.
TEST_F(WglTest, ChoosePixelFormatGoesByCloseness) {
  ASSERT_TRUE(loadDriver());
  HDC const hdc = GetDC(sim::createWindow());
  PIXELFORMATDESCRIPTOR wanted{};
  wanted.nSize = 40;
  wanted.nVersion = 1;
  wanted.dwFlags = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL | PFD_DOUBLEBUFFER;
  wanted.cColorBits = 24;
  wanted.cDepthBits = 16;
  EXPECT_EQ(wglChoosePixelFormat(hdc, &wanted), 4);
  wanted.cDepthBits = 0;
  EXPECT_EQ(wglChoosePixelFormat(hdc, &wanted), 2);
  wanted.dwFlags &= ~PFD_DOUBLEBUFFER;
  EXPECT_EQ(wglChoosePixelFormat(hdc, &wanted), 1);
  wanted.cDepthBits = 32;
  EXPECT_EQ(wglChoosePixelFormat(hdc, &wanted), 3);
  wanted.iPixelType = PFD_TYPE_COLORINDEX;
  EXPECT_EQ(wglChoosePixelFormat(hdc, &wanted), 0);
}

// The driver has the callback, so it announces composition.
TEST_F(WglTest, CompositionIsAnnounced) {
  ASSERT_TRUE(loadDriver());
  PIXELFORMATDESCRIPTOR row{};
  EXPECT_EQ(wglDescribePixelFormat(nullptr, 7, 40, &row), 14);
  EXPECT_EQ(row.dwFlags, 32772u);
}

// A frame on a screen without composition is presented by a blit, on a composed one into the redirection surface.
TEST_F(WglTest, SwapTakesTheRoadOfTheDesktop) {
  ASSERT_TRUE(loadDriver());
  HDC const hdc = window();
  HGLRC const context = wglCreateContext(hdc);
  ASSERT_TRUE(wglMakeCurrent(hdc, context));
  EXPECT_TRUE(wglSwapBuffers(hdc));
  ASSERT_EQ(sim::presents().size(), 1u);
  EXPECT_EQ(sim::presents()[0].route, sim::PresentRecord::Route::Blt);
  EXPECT_EQ(sim::presents()[0].window, WindowFromDC(hdc));
  sim::setComposition(true);
  EXPECT_TRUE(wglSwapBuffers(hdc));
  ASSERT_EQ(sim::presents().size(), 2u);
  EXPECT_EQ(sim::presents()[1].route, sim::PresentRecord::Route::Redirected);
  sim::setComposition(false);
  EXPECT_TRUE(wglSwapLayerBuffers(hdc, 1));
  ASSERT_EQ(sim::presents().size(), 3u);
  EXPECT_EQ(sim::presents()[2].route, sim::PresentRecord::Route::Blt);
  EXPECT_TRUE(wglDeleteContext(context));
}

// Contexts made with attributes come through wglCreateContext of this library, and share through its wglShareLists.
TEST_F(WglTest, CreateContextAttribsComesBackHere) {
  ASSERT_TRUE(loadDriver());
  HDC const hdc = window();
  HGLRC const first = wglCreateContext(hdc);
  const auto create = reinterpret_cast<PFNWGLCREATECONTEXTATTRIBSARBPROC>(
      reinterpret_cast<void*>(driverProcAddress("wglCreateContextAttribsARB")));
  ASSERT_NE(create, nullptr);
  sent();
  const int attributes[] = {WGL_CONTEXT_MAJOR_VERSION_ARB, 3, WGL_CONTEXT_MINOR_VERSION_ARB, 2, 0};
  HGLRC const second = create(hdc, first, attributes);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(sent(), (Codes{33075, 33078}));
  EXPECT_TRUE(wglMakeCurrent(hdc, second));
  EXPECT_EQ(wglGetCurrentContext(), second);
  EXPECT_TRUE(wglDeleteContext(second));
  EXPECT_TRUE(wglDeleteContext(first));
}

// Contexts share and copy by handles, and a handle that is none is error 6.
TEST_F(WglTest, ShareAndCopyTakeHandles) {
  ASSERT_TRUE(loadDriver());
  HDC const hdc = window();
  HGLRC const a = wglCreateContext(hdc), b = wglCreateContext(hdc);
  sent();
  EXPECT_TRUE(wglShareLists(a, b));
  EXPECT_TRUE(wglCopyContext(a, b, 0xFFFFF));
  EXPECT_EQ(sent(), (Codes{33078, 33077}));
  SetLastError(0);
  EXPECT_FALSE(wglShareLists(a, nullptr));
  EXPECT_EQ(GetLastError(), 6u);
  EXPECT_TRUE(wglDeleteContext(a));
  EXPECT_TRUE(wglDeleteContext(b));
}

}  // namespace
}  // namespace qv::loader
