// The fixture of the frame tests: a clean simulated machine, a recording GPU, and a stand-in for the system's OpenGL library.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "driver/host/host_channel.h"
#include "driver/host/window_record.h"
#include "driver/icd/drv_exports.h"
#include "driver/state/gl_context.h"
#include "driver/tables/wgl_routines.h"
#include "platform/simulated/control.h"
#include "tests/frame/recording_gpu.h"

namespace qv::test {

inline constexpr DWORD kUntouchedError = 4711;

// Names of the traced calls since the last clearTrace(). Turns nothing on by itself.
enum class Locks { kLeftOut, kTold };
std::vector<std::string> tracedCalls(Locks locks = Locks::kLeftOut);
using Calls = std::vector<std::string>;
// DriverLock taken and given back, where locks are told.
inline constexpr char kLock[] = "+DriverLock", kUnlock[] = "-DriverLock";

// The GL context behind a handle that the exports gave out.
GlContext* contextOf(DHGLRC handle);

// Nothing is attached yet.
class MachineTest : public ::testing::Test {
 protected:
  MachineTest();
  ~MachineTest() override;

  BOOL attach();
  void detach();
  // Expects that `calls` were made, in this order, since the trace was switched on, and clears it. Calls of the lock count where
  // `calls` has one.
  void expectCalls(const Calls& calls);
  static void startTrace();

  RecordingGpu gpu;
  bool attached = false;
};

// An attached driver. Windows and contexts made here go before the detach.
class FrameTest : public MachineTest {
 protected:
  FrameTest() { attach(); }
  ~FrameTest() override { leave(); }

  // A window with a pixel format and its device context.
  HWND makeWindow(int format = 4, RECT client = {100, 50, 164, 98});
  HDC dc(HWND window);
  DHGLRC makeContext(HWND window);
  // A new context on the window, current on this thread. The host's limits have been fetched, the packets are forgotten.
  DHGLRC makeCurrent(HWND window);
  void leave();

  WindowRecord* record(HWND window);
  // Appends one plain command, glEnd's, so that the stream is not empty.
  void writeSomething();

  // What the composition callback of this thread was given, and how it is to answer.
  static thread_local uint32_t compositionCalls;
  static thread_local PRESENTBUFFERSCB lastCallback;
  // Share handle that it hands on; ~0 takes that of the simulated desktop.
  static thread_local uint32_t shareHandle;
  static thread_local uint64_t token;

 private:
  std::vector<HWND> windows_;
  std::vector<DHGLRC> contexts_;
};

std::vector<uint8_t> bytesOfWords(std::initializer_list<uint32_t> words);

}  // namespace qv::test
