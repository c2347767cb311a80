// WindowRecord: what the guest knows of one window: its id on the host, where it stands, and the surfaces that show its picture.
#pragma once

#include <atomic>
#include <cstdint>

#include "driver/host/source_owner.h"
#include "driver/host/surface_allocation.h"
#include "platform/d3dkmt.h"
#include "platform/win32.h"

namespace qv {

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
  // One hold for WindowRecordList and one for each flush under way. When a window is destroyed while a thread still presents it,
  // that thread tears the record down at the end of its flush.
  std::atomic<uint32_t> holds{1};

  int32_t width() const {
    return static_cast<int32_t>(static_cast<uint32_t>(clientRect.right) - static_cast<uint32_t>(clientRect.left));
  }
  int32_t height() const {
    return static_cast<int32_t>(static_cast<uint32_t>(clientRect.bottom) - static_cast<uint32_t>(clientRect.top));
  }
};

// Guarded by DriverLock.
extern WindowRecord* WindowRecordList;

// The record of `window`, or null. DriverLock is held.
WindowRecord* findWindowRecord(HWND window);

// The record of `window` with a hold on it, or null.
WindowRecord* holdWindowRecord(HWND window);
// Gives a hold back; the last one tears the record down.
void releaseWindowRecord(WindowRecord* record);

// Takes the record of this window out of the list and gives the list's hold back. Does nothing for a window without a record.
void forgetWindow(HWND window);

}  // namespace qv
