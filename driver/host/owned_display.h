// A window that fills its display may own it outright, and its frames are then flipped onto it.
#pragma once

#include "platform/win32.h"

namespace qv {

struct WindowRecord;

// Gives up the display that the window owns, if any. Then takes the display that the window fills and makes the window's flip
// surface. Negative when the window owns no display afterwards.
NTSTATUS checkSourceOwner(WindowRecord* record, const RECT& client);

}  // namespace qv
