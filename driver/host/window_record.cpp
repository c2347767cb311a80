// The list of tracked windows and their end.
#include "driver/host/window_record.h"

#include "driver/base/driver_lock.h"
#include "driver/host/host_channel.h"
#include "wire/packets.h"

namespace qv {

WindowRecord* WindowRecordList = nullptr;

namespace {

void destroyRecord(WindowRecord* record) {
  DestroyWindowPacket packet;
  packet.processId = GetCurrentProcessId();
  packet.windowId = record->hostWindowId;
  if (record->backBuffer.resource != 0) destroyResource(record->backBuffer);
  if (record->composition.resource != 0) destroyResource(record->composition);
  giveUpSource(record->ownedSource);
  if (record->flip.resource != 0) destroyResource(record->flip);
  sendPacket(packet);
  delete record;
}

}  // namespace

WindowRecord* findWindowRecord(HWND window) {
  WindowRecord* record = WindowRecordList;
  while (record != nullptr && record->window != window) record = record->next;
  return record;
}

WindowRecord* holdWindowRecord(HWND window) {
  DriverLockHold hold;
  WindowRecord* const record = findWindowRecord(window);
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

}  // namespace qv
