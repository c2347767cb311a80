// The making of window records, and their measurement at each flush.
#include "driver/host/window_tracking.h"

#include "driver/base/driver_lock.h"
#include "driver/host/host_channel.h"
#include "driver/host/owned_display.h"
#include "driver/host/render_submission.h"
#include "driver/host/window_hook.h"
#include "wire/packets.h"

namespace qv {

namespace {

// DriverLock is held, also while the packet is sent: a second thread must not find the record without its id. The id in the reply
// counts whatever the status, and a record with id 0 stays unusable (required oddity 72).
WindowRecord* createRecord(HWND window, const uint16_t* attributes) {
  CreateWindowPacket packet;
  packet.processId = GetCurrentProcessId();
  for (uint32_t i = 0; i < kAttributeWords && attributes[i] != 0; ++i) packet.attributes[i] = attributes[i];
  WindowRecord* const record = new WindowRecord;
  record->window = window;
  record->next = WindowRecordList;
  WindowRecordList = record;
  sendPacket(packet);
  record->hostWindowId = packet.windowId;
  return record;
}

bool equal(const RECT& a, const RECT& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

}  // namespace

uint32_t FindOrCreateWindowRecord(HWND window, const uint16_t* attributes) {
  const DWORD owner = GetWindowThreadProcessId(window, nullptr);
  DriverLockHold hold;
  WindowRecord* record = findWindowRecord(window);
  if (record == nullptr) record = createRecord(window, attributes);
  hookThread(owner);
  return record->hostWindowId;
}

void MeasureWindow(WindowRecord* record) {
  WINDOWINFO info{};
  info.cbSize = sizeof(info);
  GetWindowInfo(record->window, &info);
  const RECT& client = info.rcClient;
  const bool recheck = record->recheckNeeded.load(std::memory_order_relaxed) != 0;
  if (recheck || !equal(client, record->clientRect)) {
    record->recheckNeeded.store(0, std::memory_order_relaxed);
    checkSourceOwner(record, client);
  }
  const int32_t oldWidth = record->width(), oldHeight = record->height();
  record->clientRect = client;
  const int32_t width = record->width(), height = record->height();
  if (record->backBuffer.resource != 0 && (width != oldWidth || height != oldHeight)) {
    DestroySurfaceAllocation(record->backBuffer);
  }
  record->clientOrigin = {client.left - info.rcWindow.left, client.top - info.rcWindow.top};
  if (record->backBuffer.resource == 0 && width > 0 && height > 0) {
    CreateSurfaceAllocation(windowSurfaceDescriptor(), static_cast<uint32_t>(width), static_cast<uint32_t>(height),
                            record->backBuffer);
    submitEndWord(record->backBuffer.allocation);
    D3DKMT_WAITFORIDLE idle{};
    idle.hDevice = Host.device;
    D3DKMTWaitForIdle(&idle);  // the host is told of the surface only when it is ready
  }
}

}  // namespace qv
