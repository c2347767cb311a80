// The state that exists once per process; all of it comes up in process attach unless its comment says otherwise.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/win32.h"

namespace qv {

// Points at a ContextCreateRequest during the nested call from wglCreateContextAttribsARB into DrvCreateContext.
extern DWORD CreateRequestTlsSlot;

// The library's own instance, as the entry point was given it.
extern HINSTANCE ModuleInstance;

// Highest GL version that wglCreateContextAttribsARB takes: what the host reported, never below 410.
extern uint16_t GlVersionCeiling;

// Functions of the system's OpenGL library that the WGL extensions call back; a missing one stays null.
struct OpenGl32Functions {
  BOOL(WINAPI* makeCurrent)(HDC, HGLRC) = nullptr;
  HDC(WINAPI* getCurrentDC)() = nullptr;
  HGLRC(WINAPI* createContext)(HDC) = nullptr;
  BOOL(WINAPI* shareLists)(HGLRC, HGLRC) = nullptr;
  HGLRC(WINAPI* getCurrentContext)() = nullptr;
};
extern OpenGl32Functions OpenGl32;

// The composition present callback, null until DrvSetCallbackProcs has given one.
extern PFN_PRESENTBUFFERS CompositionPresent;

// All WGL extension names. By default the text in force begins kWglDefaultTextOffset characters later and so leaves out the two
// multisample names, although the multisample formats exist (required oddity 82).
extern const char WglExtensionText[];
inline constexpr uint32_t kWglDefaultTextOffset = 40;
// The WGL extension text in force. Set at load, changed by an application profile only, which every new context of the process
// applies anew.
extern std::atomic<const char*> WglExtensions;
// Names added to the host's GL extension list. Set at load, changed by an application profile only.
extern std::atomic<const char*> GlExtensionAddendum;

// Class atom of pbuffer windows; 0 when the class could not be registered.
extern ATOM PbufferClassAtom;

}  // namespace qv
