// Target "replies": the driver on a host that answers anything, with programs of any calls.
//
// The first four bytes of an input are the host's, the rest are steps of the program.
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "driver/base/current_context.h"
#include "driver/state/gl_context.h"
#include "driver/tables/wgl_routines.h"
#include "fuzz/core/call_maker.h"
#include "fuzz/core/counts.h"
#include "fuzz/core/require.h"
#include "fuzz/core/target.h"
#include "fuzz/replies/hostile_gpu.h"
#include "loader/opengl32/opengl32.h"
#include "platform/simulated/control.h"
#include "tests/support/row_calls.h"
#include "wire/entry_table.h"
#include "wire/sizes.h"

namespace qv::fuzz {
namespace {

constexpr size_t kWindows = 2, kContexts = 3;
constexpr uint32_t kOneInAction = 32;  // steps that are for the window system and not for OpenGL

test::Routine routine(const RowFacts& row) {
  static const std::unordered_map<const RowFacts*, test::Routine> all = [] {
    std::unordered_map<const RowFacts*, test::Routine> out;
    for (const RowFacts& each : allRows()) {
      if (!each.isPrivate)
        out[&each] = reinterpret_cast<test::Routine>(reinterpret_cast<void*>(loader::driverProcAddress(each.name)));
    }
    return out;
  }();
  return all.at(&row);
}

// A process with the driver in it, and its program's windows and contexts.
class Process {
 public:
  explicit Process(HostileGpu& gpu, uint32_t machine) : gpu_(gpu) {
    sim::reset();
    sim::setMonitors({{.rect = {0, 0, 160, 120}}});
    sim::setVBlankClock(sim::VBlankClock::StepOnWait);
    sim::setResidency((machine & 1) != 0);
    sim::setComposition((machine & 2) != 0);
    sim::setGpuLink(&gpu_);
    if (loader::loadDriver()) makeCurrent(0, 0);
  }
  // Whatever the host has done, a program that gives back what it has taken leaves nothing behind.
  ~Process() {
    gpu_.calm();
    if (loader::isDriverLoaded()) {
      loader::wglMakeCurrent(nullptr, nullptr);
      for (HGLRC& context : contexts_) deleteContext(context);
      destroyPbuffer();
      for (HWND& window : windows_) destroyWindow(window);
      sim::pumpMessages();
      loader::unloadDriver();
    }
    const sim::LiveCounts left = sim::liveCounts();
    if (left != sim::LiveCounts{}) findFault(sim::describe(left).c_str());
    for (const std::string& complaint : sim::complaints()) findFault(complaint.c_str());
  }

  bool isReady() const { return loader::isDriverLoaded() && loader::currentProcTable() != nullptr; }

  void call(const RowFacts& row, Random& random) {
    const test::Routine function = routine(row);
    // No program has memory for what this host says of images.
    if (function == nullptr || isSizedByHost(row)) return;
    const Call call = makeCall(row, random, 32, pixels());
    test::callRoutine(row, function, call.values.data());
  }

  void act(Random random) {
    if (!loader::isDriverLoaded()) return;
    const uint32_t window = random.below(kWindows), context = random.below(kContexts);
    switch (random.below(12)) {
      case 0:
      case 1:
        if (windows_[window] != nullptr) {
          const HDC dc = GetDC(windows_[window]);
          loader::wglSwapBuffers(dc);
          ReleaseDC(windows_[window], dc);
        }
        return;
      case 2:
        return makeCurrent(window, context);
      case 3:
        if (windows_[window] != nullptr)
          sim::resizeWindow(windows_[window], static_cast<int>(random.below(200)), static_cast<int>(random.below(150)));
        return;
      case 4:
        if (contexts_[0] != nullptr && contexts_[context] != nullptr) loader::wglShareLists(contexts_[0], contexts_[context]);
        return;
      case 5:
        loader::wglMakeCurrent(nullptr, nullptr);
        deleteContext(contexts_[context]);
        return makeCurrent(window, context);
      case 6:
        askWgl(random);
        return;
      case 7:
        return pbuffer(random);
      case 8:
        if (contexts_[0] != nullptr && contexts_[1] != nullptr)
          loader::wglCopyContext(contexts_[0], contexts_[1], GL_ALL_ATTRIB_BITS);
        return;
      case 9:
        destroyWindow(windows_[window]);
        if (random.oneIn(2)) makeCurrent(window, context);
        return;
      case 10:
        sim::setComposition(random.oneIn(2));
        return;
      default:
        gl::wglSwapIntervalEXT(static_cast<int>(random.below(3)) - 1);
        return;
    }
  }

 private:
  void makeCurrent(size_t window, size_t context) {
    if (windows_[window] == nullptr) {
      windows_[window] = sim::createWindow({.client = {10, 10, 74, 58}, .pixelFormat = 1 + static_cast<int>(window) * 3});
    }
    const HDC dc = GetDC(windows_[window]);
    if (contexts_[context] == nullptr) contexts_[context] = loader::wglCreateContext(dc);
    if (contexts_[context] != nullptr) loader::wglMakeCurrent(dc, contexts_[context]);
    ReleaseDC(windows_[window], dc);
  }
  static void deleteContext(HGLRC& context) {
    if (context != nullptr) loader::wglDeleteContext(context);
    context = nullptr;
  }
  static void destroyWindow(HWND& window) {
    if (window != nullptr) sim::destroyWindow(window);
    window = nullptr;
  }
  void destroyPbuffer() {
    if (pbuffer_ != nullptr) gl::wglDestroyPbufferARB(pbuffer_);
    pbuffer_ = nullptr;
  }

  // How the images of the current context lie.
  static PixelState pixels() {
    const GlContext* const context = currentContext();
    if (context == nullptr) return {};
    return {context->pixelStore, context->buffers.pixelPack != 0, context->buffers.pixelUnpack != 0};
  }

  static void askWgl(Random& random) {
    gl::wglGetExtensionsStringEXT();
    int attributes[4], values[4] = {};
    for (int& attribute : attributes) attribute = 0x2000 + static_cast<int>(random.below(0x50));
    gl::wglGetPixelFormatAttribivARB(nullptr, static_cast<int>(random.below(20)), 0, 4, attributes, values);
    const int wanted[] = {attributes[0], static_cast<int>(random.below(40)), 0};
    int formats[8] = {};
    UINT count = 0;
    gl::wglChoosePixelFormatARB(nullptr, wanted, nullptr, 8, formats, &count);
    require(count <= 64, "more pixel formats than there are");
  }

  void pbuffer(Random& random) {
    constexpr int kTextureFormat = 0x2072, kRgba = 0x2076, kTextureTarget = 0x2073, k2d = 0x207A, kFrontLeft = 0x2083;
    if (pbuffer_ == nullptr) {
      const int attributes[] = {kTextureFormat, kRgba, kTextureTarget, k2d, 0};
      pbuffer_ = gl::wglCreatePbufferARB(nullptr, 4, 1 + static_cast<int>(random.below(64)), 16, attributes);
      return;
    }
    int value = 0;
    gl::wglQueryPbufferARB(pbuffer_, 0x2034 + static_cast<int>(random.below(3)), &value);
    if (random.oneIn(2)) {
      gl::wglBindTexImageARB(pbuffer_, kFrontLeft);
    } else {
      gl::wglReleaseTexImageARB(pbuffer_, kFrontLeft);
    }
    if (random.oneIn(3)) destroyPbuffer();
  }

  HostileGpu& gpu_;
  HWND windows_[kWindows] = {};
  HGLRC contexts_[kContexts] = {};
  HPBUFFERARB pbuffer_ = nullptr;
};

}  // namespace
}  // namespace qv::fuzz

// What is left on the client attribute stack is not freed: required oddity 28.
extern "C" [[gnu::visibility("default")]] const char* __lsan_default_suppressions() { return "leak:glPushClientAttrib"; }

extern "C" int LLVMFuzzerInitialize(int*, char***) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace qv::fuzz;
  if (size < 4) return 0;
  static constexpr uint32_t kOneInHostile[] = {0, 2, 4, 16, 64, 256};
  const auto head = qv::get<uint32_t>(data);
  HostileGpu gpu(head >> 8, kOneInHostile[(head & 0xFF) % std::size(kOneInHostile)]);
  uint64_t calls = 0;
  {
    Process process(gpu, head >> 6 & 3);
    for (const Step& step : readSteps({data + 4, size - 4})) {
      Random random(step.seed);
      if (step.which % kOneInAction == 0) {
        process.act(random);
      } else if (process.isReady()) {
        for (const qv::RowFacts* row : routinesOf(step, random, true)) {
          process.call(*row, random);
          ++calls;
        }
      }
    }
    if (process.isReady()) counts().accepted.fetch_add(1, std::memory_order_relaxed);
  }
  counts().inputs.fetch_add(1, std::memory_order_relaxed);
  counts().units.fetch_add(calls, std::memory_order_relaxed);
  return 0;
}
