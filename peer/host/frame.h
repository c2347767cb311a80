// copyFrame and readFrame: copy a finished frame from a drawable into the memory of a surface.
#pragma once

#include <cstdint>

#include "peer/host/allocation.h"

namespace qv::peer {

// Copies the current drawable's picture of `width` x `height` into the allocation, its top left corner first and cut to the
// smaller of the two sizes. Afterwards the guest's state is as before: read framebuffer and buffer, pixel store, pixel transfer,
// pack buffer. Not between glBegin and glEnd. While a list is being compiled (`listOpen`), state that would go into the list is
// not changed at all.
void copyFrame(int32_t width, int32_t height, const Allocation& target, bool listOpen);

// The same from the current read framebuffer and buffer, under the state of a fresh context but for the pixel store.
void readFrame(int32_t width, int32_t height, const Allocation& target);

}  // namespace qv::peer
