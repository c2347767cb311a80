// Errors are given to Xlib as if they had come over the wire.
#include "loader/glx/x_error.h"

// The library's internals, whose macros and types meet those of the platform header badly: alone in this file.
#include <X11/Xlibint.h>

namespace qv::loader {
namespace {

void raise(Display* display, int code, int major, GlxRequest request, XID resource) {
  LockDisplay(display);
  xError error{};
  error.type = X_Error;
  error.errorCode = static_cast<CARD8>(code);
  error.sequenceNumber = static_cast<CARD16>(NextRequest(display) - 1);
  error.resourceID = static_cast<CARD32>(resource);
  error.minorCode = static_cast<CARD16>(request);
  error.majorCode = static_cast<CARD8>(major);
  _XError(display, &error);
  UnlockDisplay(display);
}

}  // namespace

void raiseError(Display* display, int coreError, GlxRequest request, XID resource) {
  int major = 0, firstEvent = 0, firstError = 0;
  XQueryExtension(display, "GLX", &major, &firstEvent, &firstError);
  raise(display, coreError, major, request, resource);
}

void raiseError(Display* display, GlxError error, GlxRequest request, XID resource) {
  int major = 0, firstEvent = 0, firstError = 0;
  // A server without GLX has no number for its errors.
  const bool known = XQueryExtension(display, "GLX", &major, &firstEvent, &firstError);
  raise(display, known ? firstError + static_cast<int>(error) : BadRequest, major, request, resource);
}

XID allocateId(Display* display) {
  // Ids are fetched ahead when the lock is taken.
  LockDisplay(display);
  const XID id = XAllocID(display);
  UnlockDisplay(display);
  return id;
}

}  // namespace qv::loader
