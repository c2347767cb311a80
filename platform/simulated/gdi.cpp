// Device contexts and pixel formats. A pixel format belongs to the window, whichever device context asks for it.
#include "platform/simulated/calls.h"
#include "platform/simulated/window_system.h"

namespace qv::sim {

HDC createMemoryDC() {
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  return deviceContextHandle(w.deviceContexts.insert({}));
}

bool deleteMemoryDC(HDC dc) {
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  DeviceContext* context = w.find(dc);
  return context != nullptr && context->window == nullptr && w.deviceContexts.erase(numberOf(dc));
}

namespace {

// Where the pixel format behind a device context is kept, null for a dead one; the lock is held.
int* formatLocked(HDC dc) {
  WindowSystem& w = windowSystem();
  DeviceContext* context = w.find(dc);
  if (context == nullptr) {
    return nullptr;
  }
  Window* window = w.find(context->window);
  return window != nullptr ? &window->pixelFormat : &context->pixelFormat;
}

}  // namespace

bool forcePixelFormat(HDC dc, int format) {
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  int* place = formatLocked(dc);
  if (place == nullptr) {
    return false;
  }
  *place = format;
  return true;
}

}  // namespace qv::sim

using namespace qv::sim;

HDC WINAPI GetDC(HWND window) {
  Call call(Fn::GetDC);
  call.arguments("%p", static_cast<void*>(window));
  if (call.fails()) {
    return call.value(HDC{nullptr});
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  if (window != nullptr && w.find(window) == nullptr) {
    setLastError(ERROR_INVALID_WINDOW_HANDLE);
    return call.value(HDC{nullptr});
  }
  return call.value(deviceContextHandle(w.deviceContexts.insert({.window = window})));
}

int WINAPI ReleaseDC(HWND window, HDC dc) {
  Call call(Fn::ReleaseDC);
  call.arguments("%p, %p", static_cast<void*>(window), static_cast<void*>(dc));
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  DeviceContext* context = w.find(dc);
  if (context == nullptr || context->window != window) {
    setLastError(ERROR_DC_NOT_FOUND);
    return call.value(0);
  }
  w.deviceContexts.erase(numberOf(dc));
  return call.value(call.fails() ? 0 : 1);
}

HWND WINAPI WindowFromDC(HDC dc) {
  Call call(Fn::WindowFromDC);
  call.arguments("%p", static_cast<void*>(dc));
  if (call.fails()) {
    return call.value(HWND{nullptr});
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  DeviceContext* context = w.find(dc);
  return call.value(context != nullptr ? context->window : HWND{nullptr});
}

int WINAPI GetPixelFormat(HDC dc) {
  Call call(Fn::GetPixelFormat);
  call.arguments("%p", static_cast<void*>(dc));
  if (call.fails()) {
    return call.value(0);
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  int* format = formatLocked(dc);
  if (format == nullptr) {
    setLastError(ERROR_INVALID_HANDLE);
    return call.value(0);
  }
  return call.value(*format);  // 0 when none was set; that leaves the last error alone
}

BOOL WINAPI SetPixelFormat(HDC dc, int format, const PIXELFORMATDESCRIPTOR*) {
  Call call(Fn::SetPixelFormat);
  call.arguments("%p, %d", static_cast<void*>(dc), format);
  if (call.fails()) {
    return call.value(FALSE);
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  int* place = formatLocked(dc);
  if (place == nullptr) {
    setLastError(ERROR_INVALID_HANDLE);
    return call.value(FALSE);
  }
  if (format <= 0 || (*place != 0 && *place != format)) {
    setLastError(ERROR_INVALID_PIXEL_FORMAT);
    return call.value(FALSE);
  }
  *place = format;
  return call.value(TRUE);
}
