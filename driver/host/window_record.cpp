// The list of tracked windows, their measurement and their end.
#include "driver/host/window_record.h"

#include "driver/frame/process_state.h"
#include "driver/host/escape_packets.h"
#include "driver/host/host_channel.h"
#include "driver/host/submission.h"

namespace qv {

WindowRecord* WindowRecordList = nullptr;

namespace {

WindowRecord* findRecord(HWND window) {
  WindowRecord* record = WindowRecordList;
  while (record != nullptr && record->window != window) record = record->next;
  return record;
}

// Sent while DriverLock is held, the one packet of which that is so: a second thread must not find the record without its id.
// The id of the reply counts whatever the status, and a record with id 0 stays as one that cannot be used.
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

void destroyRecord(WindowRecord* record) {
  DestroyWindowPacket packet;
  packet.processId = GetCurrentProcessId();
  packet.windowId = record->hostWindowId;
  if (record->backBuffer.resource != 0) destroyResource(record->backBuffer);
  if (record->composition.resource != 0) destroyResource(record->composition);
  const uint32_t source = record->ownedSource.load(std::memory_order_relaxed);
  if (source != kNoSource) ReleaseSourceOwner(source);
  if (record->flip.resource != 0) destroyResource(record->flip);
  sendPacket(packet);
  delete record;
}

bool equal(const RECT& a, const RECT& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

}  // namespace

uint32_t FindOrCreateWindowRecord(HWND window, const uint16_t* attributes) {
  const DWORD owner = GetWindowThreadProcessId(window, nullptr);
  DriverLockHold hold;
  WindowRecord* record = findRecord(window);
  if (record == nullptr) record = createRecord(window, attributes);
  hookThread(owner);
  return record->hostWindowId;
}

WindowRecord* holdWindowRecord(HWND window) {
  DriverLockHold hold;
  WindowRecord* const record = findRecord(window);
  if (record != nullptr) record->holds.fetch_add(1, std::memory_order_relaxed);
  return record;
}

void releaseWindowRecord(WindowRecord* record) {
  if (record->holds.fetch_sub(1, std::memory_order_acq_rel) == 1) destroyRecord(record);
}

void forgetWindow(HWND window) {
  WindowRecord* gone = nullptr;
  {
    DriverLockHold hold;
    for (WindowRecord** link = &WindowRecordList; *link != nullptr; link = &(*link)->next) {
      if ((*link)->window != window) continue;
      gone = *link;
      *link = gone->next;
      break;
    }
  }
  if (gone != nullptr) releaseWindowRecord(gone);
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
