// The books of the simulated Windows: how often each function was called, which call is to fail, and the trace of calls.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <type_traits>

#include "platform/win32.h"

// Every function, and how a call that is made to fail does so. Status: by an NTSTATUS. Error: by its failure value and the last
// error. Release: by either, but its work is done all the same. Never: it cannot be made to fail.
// clang-format off
#define QV_SIM_CALLS(X) \
  X(TlsAlloc, Error) X(TlsFree, Release) X(TlsSetValue, Error) X(GetCurrentProcessId, Never) X(GetCurrentThreadId, Never) \
  X(GetLastError, Never) X(SetLastError, Never) X(ExitProcess, Never) X(GetModuleFileNameW, Error) \
  X(GetModuleHandleW, Error) X(GetProcAddress, Error) X(InitializeCriticalSection, Never) X(EnterCriticalSection, Never) \
  X(TryEnterCriticalSection, Never) X(LeaveCriticalSection, Never) X(DeleteCriticalSection, Never) \
  X(RegisterClassW, Error) X(UnregisterClassW, Release) X(CreateWindowExW, Error) X(DestroyWindow, Error) \
  X(DefWindowProcW, Never) X(GetAncestor, Error) X(GetClassLongW, Error) X(GetWindowLongW, Error) \
  X(SetWindowLongW, Error) X(GetClientRect, Error) X(GetWindowInfo, Error) \
  X(GetWindowThreadProcessId, Error) X(GetForegroundWindow, Error) \
  X(IsWindow, Never) X(IsWindowVisible, Error) X(MonitorFromPoint, Error) X(MonitorFromWindow, Error) \
  X(GetMonitorInfoW, Error) X(SetWindowsHookExW, Error) X(UnhookWindowsHookEx, Release) X(CallNextHookEx, Never) \
  X(GetDC, Error) X(ReleaseDC, Release) X(WindowFromDC, Error) X(GetPixelFormat, Error) X(SetPixelFormat, Error) \
  X(GetFileVersionInfoSizeW, Error) X(GetFileVersionInfoW, Error) X(VerQueryValueW, Error) X(D3DKMTCloseAdapter, Release) \
  X(D3DKMTCreateAllocation, Status) X(D3DKMTCreateContext, Status) X(D3DKMTCreateDevice, Status) \
  X(D3DKMTDestroyAllocation, Release) X(D3DKMTDestroyContext, Release) X(D3DKMTDestroyDevice, Release) \
  X(D3DKMTEscape, Status) X(D3DKMTGetDeviceState, Status) X(D3DKMTOpenAdapterFromGdiDisplayName, Status) \
  X(D3DKMTOpenResource, Status) X(D3DKMTPresent, Status) X(D3DKMTQueryAdapterInfo, Status) \
  X(D3DKMTQueryResourceInfo, Status) X(D3DKMTRender, Status) X(D3DKMTSetDisplayMode, Status) \
  X(D3DKMTSetVidPnSourceOwner, Status) X(D3DKMTWaitForIdle, Status) X(D3DKMTWaitForVerticalBlankEvent, Status) \
  X(D3DKMTMakeResident, Status) X(D3DKMTEvict, Release) X(D3DKMTWaitForSynchronizationObjectFromGpu, Status) \
  X(D3DKMTCreatePagingQueue, Status) X(D3DKMTDestroyPagingQueue, Release) X(D3DKMTRegisterTrimNotification, Status) \
  X(D3DKMTUnregisterTrimNotification, Release)
// clang-format on

namespace qv::sim {

enum class Fn : uint16_t {
#define QV_SIM_ROW(name, failure) name,
  QV_SIM_CALLS(QV_SIM_ROW)
#undef QV_SIM_ROW
      Count
};

struct alignas(64) CallCounter {
  std::atomic<uint64_t> calls{0};
};
extern CallCounter callCounters[static_cast<int>(Fn::Count)];
// Not zero while the trace is on or a failure is armed; every call then takes the slow path.
extern std::atomic<uint32_t> callsWatched;

// One call of one function: counts it, decides whether it is to fail, and writes its line of the trace.
class Call {
 public:
  explicit Call(Fn fn) : fn_(fn) {
    callCounters[static_cast<int>(fn)].calls.fetch_add(1, std::memory_order_relaxed);
    if (callsWatched.load(std::memory_order_relaxed) != 0) [[unlikely]] {
      begin();
    }
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  // True when this call has been chosen to fail. The last error has been set for a function that fails by it.
  bool fails() const { return failed_; }
  // For functions that fail by a status: `status`, or the chosen one when this call is to fail.
  NTSTATUS result(NTSTATUS status) const {
    NTSTATUS answer = failed_ ? status_ : status;
    if (traced_ != 0) {
      traceResult(static_cast<uint32_t>(answer));
    }
    return answer;
  }
  // For the others, writes the result into the trace.
  template <class Value>
  Value value(Value answer) const {
    if (traced_ != 0) {
      if constexpr (std::is_pointer_v<Value>) {
        traceResult(reinterpret_cast<uintptr_t>(answer));
      } else {
        traceResult(static_cast<uint64_t>(answer));
      }
    }
    return answer;
  }
  // Arguments for the trace, in printf's manner.
  template <class... Values>
  void arguments(const char* format, Values... values) const {
    if (traced_ != 0) [[unlikely]] {
      traceArguments(format, values...);
    }
  }

 private:
  void begin();
  void traceArguments(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void traceResult(uint64_t result) const;

  Fn fn_;
  bool failed_ = false;
  NTSTATUS status_ = 0;
  uint64_t traced_ = 0;  // number of the trace line, 0 when the trace is off
};

// Notes a misuse that a real system would not report.
void complain(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Sets the last error without counting a call.
void setLastError(DWORD code);

void resetCalls();

}  // namespace qv::sim
