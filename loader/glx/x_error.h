// What needs the internals of Xlib: errors on a program's connection, as the server raises them for bad GLX requests, and ids.
#pragma once

#include <X11/Xlib.h>

namespace qv::loader {

// Requests and errors of the GLX protocol by the numbers of its encoding. The published header of them cannot stand beside the
// platform header: both name a type BOOL.
enum class GlxRequest {
  CreateContext = 3,
  DestroyContext = 4,
  CopyContext = 10,
  SwapBuffers = 11,
  UseXFont = 12,
  CreateGLXPixmap = 13,
  VendorPrivate = 16,
  CreatePixmap = 22,
  DestroyPixmap = 23,
  CreateNewContext = 24,
  MakeContextCurrent = 26,
  CreatePbuffer = 27,
  DestroyPbuffer = 28,
  GetDrawableAttributes = 29,
  CreateWindow = 31,
  DestroyWindow = 32,
  CreateContextAttribsARB = 34,
};
// Named without the "Bad" of the standard, with which X has macros.
enum class GlxError {
  Context = 0,
  Drawable = 2,
  Pixmap = 3,
  FBConfig = 9,
  Pbuffer = 10,
  Window = 12,
  ProfileARB = 13,
};

// `coreError` is one of X itself (BadMatch, ...); `request` is what the call stands for. Both run the program's error handler on
// this thread.
void raiseError(Display* display, int coreError, GlxRequest request, XID resource);
void raiseError(Display* display, GlxError error, GlxRequest request, XID resource);

// A fresh id of the program's connection, for a drawable that only this library knows.
XID allocateId(Display* display);

}  // namespace qv::loader
