// The registry of contexts: the handles that the system's OpenGL library knows them by, and the list of all that live.
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace qv {

class GlContext;

// Request of wglCreateContextAttribsARB, on its caller's stack; CreateRequestTlsSlot points at it during the nested call into
// DrvCreateContext, which writes the final values back.
struct ContextCreateRequest {
  uint16_t version;  // major * 100 + minor * 10
  uint8_t compatibility;
};

// Gives the context a handle, the lowest one free from 1 on, and puts it at the front of the list.
uint32_t registerContext(GlContext* context);

// Takes the context with this handle out of table, list and share ring; null, and no change, when there is none.
GlContext* unregisterContext(uint32_t handle);

// The context of a handle, or null.
GlContext* lookUpContext(uintptr_t handle);

// The first context of the list that is bound to `window`, or null. It may be in use on another thread.
GlContext* findContextOfWindow(HWND window);

// Splices the share rings of two contexts into one. Two contexts of one ring are split instead: required oddity 70.
void spliceShareRings(GlContext* first, GlContext* second);

}  // namespace qv
