// The hooks on threads that own tracked windows.
#pragma once

#include "platform/win32.h"

namespace qv {

// One per thread that owns a tracked window.
struct ThreadHookRecord {
  ThreadHookRecord* next = nullptr;
  DWORD threadId = 0;
  HHOOK hook = nullptr;  // null when the hook could not be installed
};

// Guarded by DriverLock.
extern ThreadHookRecord* ThreadHookList;

// Installs the hook on a thread that has none yet. DriverLock is held.
void hookThread(DWORD threadId);
// Steps of thread detach and process detach.
void unhookCurrentThread();
void unhookAllThreads();

// The hook routine: WH_CALLWNDPROC of every thread that owns a tracked window.
LRESULT CALLBACK windowHook(int code, WPARAM wParam, LPARAM lParam);

}  // namespace qv
