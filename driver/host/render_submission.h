// The small command buffer that carries copy commands to the virtual GPU: one set of buffers per process, replaced by each
// render.
#pragma once

#include <cstdint>

#include "driver/host/surface_allocation.h"
#include "platform/win32.h"

namespace qv {

class GlContext;

// Touches a new surface: an end word in a buffer of its own.
void submitEndWord(D3DKMT_HANDLE allocation);

struct SurfaceCopy {
  D3DKMT_HANDLE source = 0;
  RECT sourceRect{};
  D3DKMT_HANDLE destination = 0;
  RECT destinationRect{};
  uint64_t presentToken = 0;
};

// Copies a back buffer into a redirection surface as a redirected present, paced for `context`. A thread that waits for a
// vertical blank here holds up the submissions of other threads: required oddity 75.
void submitRedirectedCopy(const SurfaceCopy& copy, GlContext* context);

}  // namespace qv
