// The thread's current context, in a thread-local slot: the first thing that every entry point looks at.
#pragma once

#include "platform/win32.h"

namespace qv {

class GlContext;

inline constexpr DWORD kNoTlsSlot = 0xFFFFFFFF;

// The thread's current GlContext, null when none. kNoTlsSlot before attach and after detach.
extern DWORD ContextTlsSlot;

inline GlContext* currentContext() { return static_cast<GlContext*>(TlsGetValue(ContextTlsSlot)); }

// Empties a slot of this thread. A pointer that stayed there could outlive its object, so a failed call is repeated once.
inline void clearTlsSlot(DWORD slot) {
  if (!TlsSetValue(slot, nullptr)) TlsSetValue(slot, nullptr);
}

}  // namespace qv
