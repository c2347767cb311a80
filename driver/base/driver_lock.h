// DriverLock: the process-wide lock of the driver. docs/threads_and_locks.md has the order of all locks.
#pragma once

#include "platform/win32.h"

namespace qv {

// Guards the registry, the share rings, the window and hook lists and the submission buffers. Exists from attach to detach.
extern CRITICAL_SECTION DriverLock;

// Holds DriverLock for a scope.
class DriverLockHold {
 public:
  DriverLockHold() { EnterCriticalSection(&DriverLock); }
  ~DriverLockHold() { LeaveCriticalSection(&DriverLock); }
  DriverLockHold(const DriverLockHold&) = delete;
  DriverLockHold& operator=(const DriverLockHold&) = delete;
};

}  // namespace qv
