// The WGL functions: what is current on which thread, and the calls of the driver that each of them stands for.
#include "driver/tables/proc_tables.h"
#include "loader/opengl32/contexts.h"
#include "loader/opengl32/opengl32.h"

namespace qv::loader {
namespace {

constexpr DWORD kErrorBusy = 170;

// What is current on this thread. The destructor runs when the thread ends.
struct ThreadState {
  HGLRC context = nullptr;
  HDC hdc = nullptr;
  bool active = false;  // this thread has used the driver
  ~ThreadState() {
    if (!active || !isDriverLoaded()) return;
    wglMakeCurrent(nullptr, nullptr);
    detachThread();
  }
};
thread_local ThreadState thread;

// Apart from ThreadState: code outside reads it at a fixed distance from the thread pointer.
__attribute__((tls_model("initial-exec"))) constinit thread_local const ProcTable* currentTable = nullptr;

// The context's handle for the driver, 0 with the error set when the handle names none.
DHGLRC driverHandle(HGLRC handle) {
  const RenderingContext* const context = findContext(handle);
  if (!context) SetLastError(ERROR_INVALID_HANDLE);
  return context ? context->driverContext : 0;
}

// Releases this thread's context. False, with the driver's error, when the driver fails; the context is released here all the
// same, since a second try would fail too.
bool releaseCurrent() {
  if (!thread.context) return true;
  const RenderingContext* const context = findContext(thread.context);
  const BOOL released = !context || DrvReleaseContext(context->driverContext);
  disclaimContext(thread.context);
  thread.context = nullptr;
  thread.hdc = nullptr;
  currentTable = nullptr;
  return released;
}

}  // namespace

HGLRC WINAPI wglCreateContext(HDC hdc) { return wglCreateLayerContext(hdc, 0); }

HGLRC WINAPI wglCreateLayerContext(HDC hdc, int layer) {
  if (!isDriverLoaded()) return nullptr;
  const int format = GetPixelFormat(hdc);
  if (!format) {
    SetLastError(ERROR_INVALID_PIXEL_FORMAT);
    return nullptr;
  }
  thread.active = true;
  const DHGLRC handle = layer ? DrvCreateLayerContext(hdc, layer) : DrvCreateContext(hdc);
  return handle ? addContext(handle, format) : nullptr;
}

BOOL WINAPI wglDeleteContext(HGLRC handle) {
  const DHGLRC driverContext = driverHandle(handle);
  if (!driverContext) return FALSE;
  if (thread.context == handle) {
    releaseCurrent();
  } else if (!claimContext(handle, GetCurrentThreadId())) {
    SetLastError(kErrorBusy);
    return FALSE;
  }
  if (!DrvDeleteContext(driverContext)) {
    disclaimContext(handle);
    return FALSE;
  }
  removeContext(handle);
  return TRUE;
}

BOOL WINAPI wglMakeCurrent(HDC hdc, HGLRC handle) {
  if (!handle) return releaseCurrent();
  const RenderingContext* const context = findContext(handle);
  if (!context) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  if (GetPixelFormat(hdc) != context->pixelFormat) {
    SetLastError(ERROR_INVALID_PIXEL_FORMAT);
    return FALSE;
  }
  const DHGLRC driverContext = context->driverContext;
  thread.active = true;
  if (thread.context == handle) {
    // Released and set again all the same: the driver rebinds the window and flushes what is pending.
    DrvReleaseContext(driverContext);
  } else {
    if (!claimContext(handle, GetCurrentThreadId())) {
      SetLastError(kErrorBusy);
      return FALSE;
    }
    releaseCurrent();
  }
  GLCLTPROCTABLE* const table = DrvSetContext(hdc, driverContext, nullptr);
  if (!table) {
    disclaimContext(handle);
    thread.context = nullptr;
    thread.hdc = nullptr;
    currentTable = nullptr;
    return FALSE;
  }
  thread.context = handle;
  thread.hdc = hdc;
  currentTable = reinterpret_cast<const ProcTable*>(table);
  return TRUE;
}

HGLRC WINAPI wglGetCurrentContext() { return thread.context; }
HDC WINAPI wglGetCurrentDC() { return thread.hdc; }
const ProcTable* currentProcTable() { return currentTable; }

ptrdiff_t currentProcTableOffset() {
  return reinterpret_cast<const char*>(&currentTable) - static_cast<const char*>(__builtin_thread_pointer());
}

BOOL WINAPI wglShareLists(HGLRC first, HGLRC second) {
  const DHGLRC a = driverHandle(first), b = driverHandle(second);
  return a && b && DrvShareLists(a, b);
}

BOOL WINAPI wglCopyContext(HGLRC source, HGLRC destination, UINT mask) {
  const DHGLRC a = driverHandle(source), b = driverHandle(destination);
  return a && b && DrvCopyContext(a, b, mask);
}

PROC driverProcAddress(LPCSTR name) { return isDriverLoaded() ? DrvGetProcAddress(name) : nullptr; }

void forEachDriverProc(void (*visit)(void* context, const char* name, PROC function), void* context) {
  // The names come from the driver's own table; their functions are looked up like any other.
  for (const ProcNameRow& row : ProcNameTable) {
    if (PROC const function = driverProcAddress(row.name)) visit(context, row.name, function);
  }
}

PROC WINAPI wglGetProcAddress(LPCSTR name) {
  if (!thread.context) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  PROC const routine = driverProcAddress(name);
  if (!routine) SetLastError(ERROR_PROC_NOT_FOUND);
  return routine;
}

BOOL WINAPI wglSwapBuffers(HDC hdc) { return isDriverLoaded() && DrvSwapBuffers(hdc); }
BOOL WINAPI wglSwapLayerBuffers(HDC hdc, UINT planes) { return isDriverLoaded() && DrvSwapLayerBuffers(hdc, planes); }

}  // namespace qv::loader
