// The platform header: Windows by its own names, from <windows.h> in the DLL build and from the simulated Windows elsewhere.
#pragma once

#ifdef _WIN32

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <winver.h>

// Macros of <windows.h> that rename or erase ordinary words. This project calls the wide functions by their full names.
#undef CreateWindow
#undef ERROR
#undef GetObject
#undef far
#undef near

using NTSTATUS = LONG;

// A literal of WCHAR, which is wchar_t here and char16_t in the simulated Windows.
#define QV_WIDE(text) L##text

namespace qv {

// TlsGetValue without its call where the slot is one of those that stand in the thread's own block; their place is part of the
// system's binary interface. The last error stays as it is.
inline void* threadValue(DWORD slot) {
  constexpr DWORD kSlotsOfBlock = 64;
  if (slot >= kSlotsOfBlock) [[unlikely]]
    return TlsGetValue(slot);
#ifdef _WIN64
  return reinterpret_cast<void*>(__readgsqword(0x1480 + 8 * slot));
#else
  return reinterpret_cast<void*>(__readfsdword(0xE10 + 4 * slot));
#endif
}

}  // namespace qv

#else

#define APIENTRY
#define CALLBACK
#define WINAPI
#define QV_WIDE(text) u##text

#include "platform/win32_api.h"

#endif

#include "platform/icd.h"
