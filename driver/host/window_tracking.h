// The tracking of windows: their records come into being here and follow the windows from flush to flush.
#pragma once

#include <cstdint>

#include "driver/host/window_record.h"

namespace qv {

// Host window id of `window`, 0 on failure. Makes the record, tells the host of the window with `attributes` (a zero-terminated
// list of at most 60 words; the first caller's list wins) and hooks the thread that owns the window.
uint32_t FindOrCreateWindowRecord(HWND window, const uint16_t* attributes);

// Measures the window and brings the record's rectangle, back buffer and ownership of the display up to date.
void MeasureWindow(WindowRecord* record);

}  // namespace qv
