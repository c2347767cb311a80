// How a routine of the window system fails.
#pragma once

#include "platform/win32.h"

namespace qv {

// Zero as any result that a routine of the window system has.
struct Zero {
  operator BOOL() const { return 0; }
  operator uintptr_t() const { return 0; }
  template <typename T>
  operator T*() const {
    return nullptr;
  }
};

// Leaves `error` for GetLastError and is the routine's result: `return failWith(ERROR_INVALID_HANDLE);`.
inline Zero failWith(DWORD error) {
  SetLastError(error);
  return {};
}

}  // namespace qv
