// Functions of a loaded library by their names.
#pragma once

#include "platform/win32.h"

namespace qv {

// `function` is null when the library has no such function.
template <typename Function>
void fetch(HMODULE library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

}  // namespace qv
