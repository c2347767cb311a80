// The library's entry point: attach and detach of the process and of its threads.
#pragma once

#include "platform/win32.h"

namespace qv {

// Reason 1 process attach, 0 process detach, 3 thread detach, 2 nothing. The result is 1 except for a process attach that
// failed, because no thread-local slot was left or because the host did not answer the version packet.
BOOL driverMain(HINSTANCE instance, DWORD reason, void* reserved);

}  // namespace qv
