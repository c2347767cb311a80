// The thread's current context, in a thread-local slot: the first thing that every entry point looks at.
#pragma once

#include "platform/win32.h"

namespace qv {

class GlContext;

inline constexpr DWORD kNoTlsSlot = 0xFFFFFFFF;

// The thread's current GlContext, null when none. kNoTlsSlot before attach and after detach.
extern DWORD ContextTlsSlot;

inline GlContext* currentContext() { return static_cast<GlContext*>(threadValue(ContextTlsSlot)); }

}  // namespace qv
