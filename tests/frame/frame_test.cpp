// The fixture's stand-in for the system's OpenGL library, and its cleaning up.
#include "tests/frame/frame_test.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "driver/base/current_context.h"
#include "driver/base/driver_lock.h"
#include "driver/base/process_state.h"
#include "driver/host/window_hook.h"
#include "driver/icd/attach.h"
#include "driver/icd/context_registry.h"

namespace qv::test {

namespace {

thread_local HGLRC currentRc = nullptr;
thread_local HDC currentDc = nullptr;

HGLRC systemCreateContext(HDC hdc) { return reinterpret_cast<HGLRC>(DrvCreateContext(hdc)); }

BOOL systemMakeCurrent(HDC hdc, HGLRC context) {
  if (currentRc != nullptr) DrvReleaseContext(reinterpret_cast<DHGLRC>(currentRc));
  currentRc = nullptr;
  currentDc = nullptr;
  if (context == nullptr) return 1;
  if (DrvSetContext(hdc, reinterpret_cast<DHGLRC>(context), nullptr) == nullptr) return 0;
  currentRc = context;
  currentDc = hdc;
  return 1;
}

HDC systemGetCurrentDC() { return currentDc; }
HGLRC systemGetCurrentContext() { return currentRc; }
BOOL systemShareLists(HGLRC first, HGLRC second) {
  return DrvShareLists(reinterpret_cast<DHGLRC>(first), reinterpret_cast<DHGLRC>(second));
}

BOOL APIENTRY systemPresent(HDC hdc, PRESENTBUFFERSCB* data);

}  // namespace

struct FrameTestAccess : FrameTest {
  using FrameTest::compositionCalls;
  using FrameTest::lastCallback;
  using FrameTest::shareHandle;
  using FrameTest::token;
};

thread_local uint32_t FrameTest::compositionCalls = 0;
thread_local PRESENTBUFFERSCB FrameTest::lastCallback{};
thread_local uint32_t FrameTest::shareHandle = ~0u;
thread_local uint64_t FrameTest::token = 0;

namespace {

BOOL APIENTRY systemPresent(HDC hdc, PRESENTBUFFERSCB* data) {
  ++FrameTestAccess::compositionCalls;
  FrameTestAccess::lastCallback = *data;
  const HWND window = WindowFromDC(hdc);
  const uint32_t share = FrameTestAccess::shareHandle != ~0u ? FrameTestAccess::shareHandle : sim::redirectionSurface(window);
  PRESENTBUFFERS buffers{};
  buffers.hSurface = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(share));
  buffers.PresentToken = FrameTestAccess::token != 0 ? FrameTestAccess::token : sim::presentToken(window);
  buffers.pPrivData = data->pPrivData;
  return DrvPresentBuffers(hdc, &buffers);
}

// Behind the name of a call that enters or leaves DriverLock.
std::string lockArgument() {
  char text[32];
  std::snprintf(text, sizeof text, "(%p)", static_cast<const void*>(&DriverLock));
  return text;
}

}  // namespace

std::vector<std::string> tracedCalls(Locks locks) {
  std::vector<std::string> names;
  for (const std::string& line : sim::trace()) {
    const size_t start = line.find(' ') + 1;
    const std::string name = line.substr(start, line.find_first_of(" (", start) - start);
    const bool enters = name == "EnterCriticalSection", leaves = name == "LeaveCriticalSection";
    if (!enters && !leaves) {
      names.push_back(name);
    } else if (locks == Locks::kTold) {
      EXPECT_NE(line.find(lockArgument()), std::string::npos) << line;
      names.push_back(enters ? kLock : kUnlock);
    }
  }
  return names;
}

GlContext* contextOf(DHGLRC handle) { return lookUpContext(handle); }

MachineTest::MachineTest() {
  sim::reset();
  sim::setGpuLink(&gpu);
  sim::registerExport(u"OpenGL32.dll", "wglCreateContext", systemCreateContext);
  sim::registerExport(u"OpenGL32.dll", "wglMakeCurrent", systemMakeCurrent);
  sim::registerExport(u"OpenGL32.dll", "wglGetCurrentDC", systemGetCurrentDC);
  sim::registerExport(u"OpenGL32.dll", "wglGetCurrentContext", systemGetCurrentContext);
  sim::registerExport(u"OpenGL32.dll", "wglShareLists", systemShareLists);
  currentRc = nullptr;
  currentDc = nullptr;
  CompositionPresent = nullptr;
  WglExtensions = WglExtensionText + kWglDefaultTextOffset;
  GlExtensionAddendum = "GL_ARB_map_buffer_range";
}

MachineTest::~MachineTest() {
  sim::clearFailures();
  if (attached) detach();
  EXPECT_EQ(sim::describe(sim::liveCounts()), sim::describe(sim::LiveCounts{}));
  EXPECT_EQ(sim::complaints(), std::vector<std::string>());
  EXPECT_EQ(WindowRecordList, nullptr);
  EXPECT_EQ(ThreadHookList, nullptr);
  EXPECT_TRUE(gpu.openAllocations().empty());
  sim::reset();
}

BOOL MachineTest::attach() {
  const BOOL result = driverMain(reinterpret_cast<HINSTANCE>(uintptr_t{0x10000}), 1, nullptr);
  attached = result != 0;
  PROC procs[5] = {};
  procs[4] = reinterpret_cast<PROC>(reinterpret_cast<void*>(systemPresent));
  if (attached) DrvSetCallbackProcs(5, procs);
  return result;
}

void MachineTest::detach() {
  EXPECT_EQ(driverMain(reinterpret_cast<HINSTANCE>(uintptr_t{0x10000}), 0, nullptr), 1);
  attached = false;
}

void MachineTest::startTrace() {
  sim::clearTrace();
  sim::setTrace(true);
}

void MachineTest::expectCalls(const Calls& calls) {
  const bool locks = std::find(calls.begin(), calls.end(), kLock) != calls.end();
  EXPECT_EQ(tracedCalls(locks ? Locks::kTold : Locks::kLeftOut), calls);
  sim::clearTrace();
}

HWND FrameTest::makeWindow(int format, RECT client) {
  sim::WindowOptions options;
  options.client = client;
  options.frame = {3, 20, 5, 7};
  options.pixelFormat = format;
  const HWND window = sim::createWindow(options);
  windows_.push_back(window);
  return window;
}

HDC FrameTest::dc(HWND window) { return GetDC(window); }

DHGLRC FrameTest::makeContext(HWND window) {
  const HDC hdc = dc(window);
  const DHGLRC context = DrvCreateContext(hdc);
  ReleaseDC(window, hdc);
  if (context != 0) contexts_.push_back(context);
  return context;
}

DHGLRC FrameTest::makeCurrent(HWND window) {
  const DHGLRC context = makeContext(window);
  const HDC hdc = dc(window);
  EXPECT_EQ(systemMakeCurrent(hdc, reinterpret_cast<HGLRC>(context)), 1);
  ReleaseDC(window, hdc);
  gpu.clear();
  return context;
}

void FrameTest::leave() {
  sim::setTrace(false);
  sim::clearFailures();
  if (!attached) return;
  systemMakeCurrent(nullptr, nullptr);
  TlsSetValue(ContextTlsSlot, nullptr);
  for (const DHGLRC context : contexts_) {
    if (contextOf(context) != nullptr) DrvDeleteContext(context);
  }
  contexts_.clear();
  sim::pumpMessages();
  for (const HWND window : windows_) {
    if (sim::isAlive(window)) sim::destroyWindow(window);
  }
  windows_.clear();
  compositionCalls = 0;
  shareHandle = ~0u;
  token = 0;
}

WindowRecord* FrameTest::record(HWND window) {
  WindowRecord* found = WindowRecordList;
  while (found != nullptr && found->window != window) found = found->next;
  return found;
}

void FrameTest::writeSomething() {
  GlContext* const context = currentContext();
  if (context->remaining < 4) context->reserve(4);
  const uint32_t word = 0x402B;
  std::memcpy(context->cursor, &word, 4);
  context->cursor += 4;
  context->remaining -= 4;
  context->lastOpcode = 43;
}

std::vector<uint8_t> bytesOfWords(std::initializer_list<uint32_t> words) {
  std::vector<uint8_t> bytes;
  for (const uint32_t word : words) {
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<uint8_t>(word >> shift));
  }
  return bytes;
}

}  // namespace qv::test
