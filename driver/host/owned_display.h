// A window that fills its display may own it outright, and its frames are then flipped onto it.
#pragma once

#include "platform/win32.h"

namespace qv {

struct WindowRecord;

// Gives up what display the window owns, then takes the one that it fills, with a flip surface. A negative status says that the
// display stays shared.
NTSTATUS checkSourceOwner(WindowRecord* record, const RECT& client);

}  // namespace qv
