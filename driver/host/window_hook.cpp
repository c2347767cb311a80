// The hook on threads that own tracked windows: it notes changes of geometry for the next flush, and the end of a window.
#include "driver/host/window_hook.h"

#include "driver/base/driver_lock.h"
#include "driver/host/window_record.h"

namespace qv {

ThreadHookRecord* ThreadHookList = nullptr;

namespace {

void unhook(ThreadHookRecord* record) {
  if (record->hook != nullptr) UnhookWindowsHookEx(record->hook);
  delete record;
}

bool isGeometryChange(const WINDOWPOS* position) {
  constexpr UINT kShown = SWP_SHOWWINDOW | SWP_HIDEWINDOW;
  constexpr UINT kUnchanged = SWP_NOSIZE | SWP_NOMOVE | SWP_NOZORDER;
  return position != nullptr && ((position->flags & kShown) != 0 || (position->flags & kUnchanged) != kUnchanged);
}

// Only the first record found learns of the change (required oddity 73): a second child window of the same top-level window does
// not, but its next flush sees the new rectangle anyway. The next flush also sees to the surfaces.
void noteGeometryChange(HWND window) {
  WindowRecord* found = nullptr;
  {
    DriverLockHold hold;
    for (WindowRecord* record = WindowRecordList; record != nullptr && found == nullptr; record = record->next) {
      if (record->window == window || GetAncestor(record->window, GA_ROOT) == window) found = record;
    }
    if (found != nullptr) found->holds.fetch_add(1, std::memory_order_relaxed);
  }
  if (found == nullptr) return;
  giveUpSource(found->ownedSource);
  found->recheckNeeded.store(1, std::memory_order_relaxed);
  releaseWindowRecord(found);
}

}  // namespace

LRESULT CALLBACK windowHook(int code, WPARAM wParam, LPARAM lParam) {
  const CWPSTRUCT* const message = reinterpret_cast<const CWPSTRUCT*>(lParam);
  if (code == HC_ACTION && message != nullptr) {
    switch (message->message) {
      case WM_WINDOWPOSCHANGED:
        if (isGeometryChange(reinterpret_cast<const WINDOWPOS*>(message->lParam))) noteGeometryChange(message->hwnd);
        break;
      case WM_ACTIVATEAPP:
        noteGeometryChange(message->hwnd);
        break;
      case WM_DESTROY:
        forgetWindow(message->hwnd);
        break;
      default:
        break;
    }
  }
  return CallNextHookEx(nullptr, code, wParam, lParam);
}

void hookThread(DWORD threadId) {
  for (const ThreadHookRecord* record = ThreadHookList; record != nullptr; record = record->next) {
    if (record->threadId == threadId) return;
  }
  ThreadHookRecord* const record = new ThreadHookRecord;
  record->threadId = threadId;
  record->next = ThreadHookList;
  ThreadHookList = record;
  record->hook = SetWindowsHookExW(WH_CALLWNDPROC, windowHook, nullptr, threadId);
}

void unhookCurrentThread() {
  const DWORD threadId = GetCurrentThreadId();
  ThreadHookRecord* gone = nullptr;
  {
    DriverLockHold hold;
    for (ThreadHookRecord** link = &ThreadHookList; *link != nullptr; link = &(*link)->next) {
      if ((*link)->threadId != threadId) continue;
      gone = *link;
      *link = gone->next;
      break;
    }
  }
  if (gone != nullptr) unhook(gone);
}

void unhookAllThreads() {
  for (;;) {
    ThreadHookRecord* head;
    {
      DriverLockHold hold;
      head = ThreadHookList;
      if (head != nullptr) ThreadHookList = head->next;
    }
    if (head == nullptr) return;
    unhook(head);
  }
}

}  // namespace qv
