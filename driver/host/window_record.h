// WindowRecord: what the guest knows of one window: its id on the host, where it stands, and the surfaces that show its picture.
#pragma once

#include <atomic>
#include <cstdint>

#include "driver/host/surface_allocation.h"
#include "platform/d3dkmt.h"
#include "platform/win32.h"

namespace qv {

inline constexpr uint32_t kNoSource = 0xFFFFFFFF;

struct WindowRecord {
  WindowRecord* next = nullptr;
  HWND window = nullptr;  // the key
  RECT clientRect{};      // in screen coordinates, as of the last flush
  POINT clientOrigin{};   // of the client area, relative to the window rectangle
  uint32_t hostWindowId = 0;
  Surface backBuffer;                   // named in every FlushPacket; the frame lands here
  uint32_t compositionShareHandle = 0;  // the redirection surface last given to DrvPresentBuffers
  Surface composition;
  Surface flip;  // the second surface of an owned display
  // Written by the hook on the window's thread, read by the flush of any thread; a lost race is made good by the next flush.
  std::atomic<uint32_t> recheckNeeded{0};
  std::atomic<uint32_t> ownedSource{kNoSource};  // the video present source that this window owns exclusively
  // One for WindowRecordList and one for each flush under way: a window that is destroyed while a thread still presents it is
  // torn down by that thread when it is done.
  std::atomic<uint32_t> holds{1};

  int32_t width() const {
    return static_cast<int32_t>(static_cast<uint32_t>(clientRect.right) - static_cast<uint32_t>(clientRect.left));
  }
  int32_t height() const {
    return static_cast<int32_t>(static_cast<uint32_t>(clientRect.bottom) - static_cast<uint32_t>(clientRect.top));
  }
};

// One per thread that owns a tracked window.
struct ThreadHookRecord {
  ThreadHookRecord* next = nullptr;
  DWORD threadId = 0;
  HHOOK hook = nullptr;  // null when the hook could not be installed
};

// Both guarded by DriverLock.
extern WindowRecord* WindowRecordList;
extern ThreadHookRecord* ThreadHookList;

// Host window id of `window`, 0 on failure. Makes the record, tells the host of the window with `attributes` (a zero-terminated
// list of at most 60 words; the first caller's list wins) and hooks the thread that owns the window.
uint32_t FindOrCreateWindowRecord(HWND window, const uint16_t* attributes);

// The record of `window` with a hold on it, or null.
WindowRecord* holdWindowRecord(HWND window);
// Gives a hold back; the last one tears the record down.
void releaseWindowRecord(WindowRecord* record);

// Takes the record of exactly this window out of the list and gives the list's hold back; nothing without one.
void forgetWindow(HWND window);

// Measures the window and brings the record's rectangle, back buffer and ownership of the display up to date.
void MeasureWindow(WindowRecord* record);

// Gives up what display the window owns, then takes the one that it fills. A negative status says that it stays shared.
NTSTATUS checkSourceOwner(WindowRecord* record, const RECT& client);

NTSTATUS TakeSourceOwner(uint32_t source);
NTSTATUS ReleaseSourceOwner(uint32_t source);

// Installs the hook on a thread that has none yet. DriverLock is held.
void hookThread(DWORD threadId);
// Steps of thread detach and process detach.
void unhookCurrentThread();
void unhookAllThreads();

// The hook routine: WH_CALLWNDPROC of every thread that owns a tracked window.
LRESULT CALLBACK windowHook(int code, WPARAM wParam, LPARAM lParam);

}  // namespace qv
