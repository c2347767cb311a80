// Presents: the three roads by which a finished back buffer gets to the screen, and their pacing.
#pragma once

#include "driver/host/window_record.h"
#include "platform/win32.h"

namespace qv {

class GlContext;

// What travels through the composition callback as private data; lives on the stack of the flush that calls it.
struct PresentCookie {
  WindowRecord* record;
  GlContext* context;
};

// Shows the frame that a flush has just brought into the record's back buffer.
void presentFrame(WindowRecord* record, GlContext* context);

// The road of a composed desktop, inside the composition callback: copies the back buffer into the redirection surface with
// this share handle. The surface is opened anew whenever the handle differs from the last one. The handle 0 says that the window
// is not composed.
void presentBuffers(WindowRecord* record, GlContext* context, D3DKMT_HANDLE shareHandle, uint64_t presentToken);

// The local present: a flip while the window owns its display, else a blit. A successful flip trades the back buffer and the
// flip surface.
NTSTATUS PresentWindow(WindowRecord* record, GlContext* context);

}  // namespace qv
