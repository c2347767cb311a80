// The stand-in for the system's OpenGL library: loads the driver into the process, owns contexts and what is current where, and
// reaches the driver through its nineteen exports only.
#pragma once

#include <cstddef>

#include "driver/icd/drv_exports.h"
#include "platform/win32.h"

namespace qv::loader {

// Puts this library's functions where GetModuleHandleW("OpenGL32.dll") finds them, runs the driver's process attach and hands it
// the composition callback. True when the driver is loaded, also when it already was. False when it refuses; the next call
// tries again. The GpuLink must have been set. No other thread may use the driver meanwhile.
bool loadDriver();
// Process detach. Contexts that are left are forgotten here and left to the driver. No other thread may use the driver.
void unloadDriver();
bool isDriverLoaded();

// The WGL functions, with the contracts of the system's library. Failures set the last error and return null or FALSE.
// A context that is current on another thread can be neither made current nor deleted (ERROR_BUSY). A thread that ends with a
// current context releases it, and tells the driver of its end.
HGLRC WINAPI wglCreateContext(HDC hdc);
HGLRC WINAPI wglCreateLayerContext(HDC hdc, int layer);
BOOL WINAPI wglDeleteContext(HGLRC context);
// `hdc` must have the pixel format that the context was created with. Null as context releases the current one.
BOOL WINAPI wglMakeCurrent(HDC hdc, HGLRC context);
HGLRC WINAPI wglGetCurrentContext();
HDC WINAPI wglGetCurrentDC();
BOOL WINAPI wglShareLists(HGLRC first, HGLRC second);
BOOL WINAPI wglCopyContext(HGLRC source, HGLRC destination, UINT mask);
// Needs a current context, as Windows demands.
PROC WINAPI wglGetProcAddress(LPCSTR name);
int WINAPI wglDescribePixelFormat(HDC hdc, int format, UINT size, PIXELFORMATDESCRIPTOR* descriptor);
int WINAPI wglChoosePixelFormat(HDC hdc, const PIXELFORMATDESCRIPTOR* wanted);
BOOL WINAPI wglSetPixelFormat(HDC hdc, int format, const PIXELFORMATDESCRIPTOR* descriptor);
BOOL WINAPI wglSwapBuffers(HDC hdc);
BOOL WINAPI wglSwapLayerBuffers(HDC hdc, UINT planes);

// Number of functions in a table that DrvSetContext gives.
inline constexpr int kProcTableEntries = 336;

// The layout of what DrvSetContext returns.
struct ProcTable {
  int count;
  PROC functions[kProcTableEntries];
};

// The table through which this thread's OpenGL 1.1 calls go; null without a current context.
const ProcTable* currentProcTable();

// The distance from a thread's pointer to the place where the thread keeps what currentProcTable() gives. It is the same on every
// thread, so that a few instructions can read the place.
ptrdiff_t currentProcTableOffset();

// Any function of the driver by name, whether a context is current or not; null if it has none.
PROC driverProcAddress(LPCSTR name);

// Calls `visit` for every name and its function, WGL's included, absent ones left out.
void forEachDriverProc(void (*visit)(void* context, const char* name, PROC function), void* context);

}  // namespace qv::loader
