// failWith: how the exports and the WGL functions report a failure.
#pragma once

#include <type_traits>

#include "platform/win32.h"

namespace qv {

// A zero of whatever type a routine returns.
struct Zero {
  template <typename T>
    requires std::is_integral_v<T>
  operator T() const {
    return 0;
  }
  template <typename T>
  operator T*() const {
    return nullptr;
  }
};

// Sets the last error. The result is that of the calling routine: `return failWith(ERROR_INVALID_HANDLE);`.
inline Zero failWith(DWORD error) {
  SetLastError(error);
  return {};
}

}  // namespace qv
