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

#else

#define APIENTRY
#define CALLBACK
#define WINAPI
#define QV_WIDE(text) u##text

#include "platform/win32_api.h"

#endif

#include "platform/icd.h"
