// The state that exists once per process; all of it comes up in process attach unless its comment says otherwise.
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace qv {

class GlContext;

inline constexpr DWORD kNoTlsSlot = 0xFFFFFFFF;

// The thread's current GlContext, null when none. kNoTlsSlot before attach and after detach.
extern DWORD ContextTlsSlot;
// Points at a ContextCreateRequest during the nested call from wglCreateContextAttribsARB into DrvCreateContext.
extern DWORD CreateRequestTlsSlot;

// The one lock of the frame: the registry, the share rings, the window and hook lists, the submission buffers.
extern CRITICAL_SECTION DriverLock;

// Current context of this thread or null. The first thing that every entry point does.
inline GlContext* currentContext() { return static_cast<GlContext*>(TlsGetValue(ContextTlsSlot)); }

// Empties a slot of this thread. What stood there is about to die, so a refusal is tried once more.
inline void clearTlsSlot(DWORD slot) {
  if (!TlsSetValue(slot, nullptr)) TlsSetValue(slot, nullptr);
}

// Holds DriverLock for a scope.
class DriverLockHold {
 public:
  DriverLockHold() { EnterCriticalSection(&DriverLock); }
  ~DriverLockHold() { LeaveCriticalSection(&DriverLock); }
  DriverLockHold(const DriverLockHold&) = delete;
  DriverLockHold& operator=(const DriverLockHold&) = delete;
};

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

// The WGL extension string, and how far the text in force starts behind its beginning by default: the two multisample names
// are left out although the multisample formats exist.
extern const char WglExtensionText[];
inline constexpr uint32_t kWglDefaultTextOffset = 40;
// The WGL extension text in force. Set at load, changed by an application profile only.
extern const char* WglExtensions;
// Names added to the host's GL extension list. Set at load, changed by an application profile only.
extern const char* GlExtensionAddendum;

// Class atom of pbuffer windows; 0 when the class could not be registered.
extern ATOM PbufferClassAtom;

// The library's entry point: reason 1 process attach, 0 process detach, 3 thread detach, 2 nothing. Its result is 1 except for
// a process attach that failed, because no thread-local slot was left or because the host did not answer the version packet.
BOOL driverMain(HINSTANCE instance, DWORD reason, void* reserved);

}  // namespace qv
