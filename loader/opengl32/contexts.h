// The handles that wglCreateContext gives out, and which thread has which of them current.
#pragma once

#include "driver/icd/drv_exports.h"
#include "platform/win32.h"

namespace qv::loader {

// An HGLRC is a pointer to one of these.
struct RenderingContext {
  DHGLRC driverContext = 0;
  int pixelFormat = 0;
  DWORD owner = 0;  // thread that has it current, 0 when none
};

// All null when the handle names no live context.
RenderingContext* findContext(HGLRC handle);
HGLRC addContext(DHGLRC driverContext, int pixelFormat);
// Frees the record; the caller destroys the driver's context.
void removeContext(HGLRC handle);
// Makes `thread` the owner of the context unless another thread is. False when another is, or when the handle is not known.
bool claimContext(HGLRC handle, DWORD thread);
void disclaimContext(HGLRC handle);
// Threads other than `thread` that have a context current.
size_t currentElsewhere(DWORD thread);
void forgetContexts();

// Tells the driver that the calling thread ends.
void detachThread();

}  // namespace qv::loader
