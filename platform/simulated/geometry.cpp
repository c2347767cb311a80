// What can be asked about windows and monitors: rectangles, ancestors, owners, foreground, visibility.
#include <algorithm>
#include <cstring>

#include "platform/simulated/calls.h"
#include "platform/simulated/process.h"
#include "platform/simulated/window_system.h"

namespace qv::sim {

namespace {

LONG overlap(const RECT& a, const RECT& b) {
  LONG width = std::min(a.right, b.right) - std::max(a.left, b.left);
  LONG height = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
  return width > 0 && height > 0 ? width * height : 0;
}

int64_t distance(const RECT& a, const RECT& b) {
  int64_t dx = std::max({a.left - b.right, b.left - a.right, 0});
  int64_t dy = std::max({a.top - b.bottom, b.top - a.bottom, 0});
  return dx * dx + dy * dy;
}

// The monitor that holds most of the rectangle, or what the flag falls back to.
HMONITOR monitorOf(const RECT& rect, DWORD flags) {
  WindowSystem& w = windowSystem();
  size_t best = w.monitors.size();
  LONG most = 0;
  for (size_t i = 0; i < w.monitors.size(); ++i) {
    LONG area = overlap(rect, w.monitors[i].rect);
    if (area > most) {
      most = area;
      best = i;
    }
  }
  if (best == w.monitors.size() && !w.monitors.empty()) {
    if (flags == MONITOR_DEFAULTTOPRIMARY) {
      best = 0;
    } else if (flags == MONITOR_DEFAULTTONEAREST) {
      auto nearer = [&](const MonitorOptions& a, const MonitorOptions& b) {
        return distance(rect, a.rect) < distance(rect, b.rect);
      };
      best = static_cast<size_t>(std::min_element(w.monitors.begin(), w.monitors.end(), nearer) - w.monitors.begin());
    }
  }
  return best < w.monitors.size() ? monitorHandle(best) : nullptr;
}

}  // namespace

void setMonitors(std::vector<MonitorOptions> monitors) {
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  w.monitors = std::move(monitors);
}

}  // namespace qv::sim

using namespace qv::sim;

BOOL WINAPI GetWindowInfo(HWND handle, WINDOWINFO* info) {
  Call call(Fn::GetWindowInfo);
  call.arguments("%p", static_cast<void*>(handle));
  if (call.fails()) {
    return call.value(FALSE);
  }
  if (info == nullptr || info->cbSize != sizeof(WINDOWINFO)) {
    setLastError(ERROR_INVALID_PARAMETER);
    return call.value(FALSE);
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  Window* window = w.find(handle);
  if (window == nullptr) {
    setLastError(ERROR_INVALID_WINDOW_HANDLE);
    return call.value(FALSE);
  }
  info->rcWindow = window->outer();
  info->rcClient = window->client;
  info->dwStyle = window->style;
  info->dwExStyle = window->exStyle;
  info->dwWindowStatus = w.foreground == handle ? 1 : 0;
  info->cxWindowBorders = static_cast<UINT>(window->frame.left);
  info->cyWindowBorders = static_cast<UINT>(window->frame.bottom);
  info->atomWindowType = window->atom;
  info->wCreatorVersion = 0x0A00;
  return call.value(TRUE);
}

BOOL WINAPI GetClientRect(HWND handle, RECT* rect) {
  Call call(Fn::GetClientRect);
  call.arguments("%p", static_cast<void*>(handle));
  if (call.fails()) {
    return call.value(FALSE);
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  Window* window = w.find(handle);
  if (window == nullptr || rect == nullptr) {
    setLastError(ERROR_INVALID_WINDOW_HANDLE);
    return call.value(FALSE);
  }
  *rect = {0, 0, window->client.right - window->client.left, window->client.bottom - window->client.top};
  return call.value(TRUE);
}

DWORD WINAPI GetWindowThreadProcessId(HWND handle, LPDWORD processId) {
  Call call(Fn::GetWindowThreadProcessId);
  call.arguments("%p", static_cast<void*>(handle));
  if (call.fails()) {
    return call.value(DWORD{0});
  }
  DWORD owner = 0;
  {
    WindowSystem& w = windowSystem();
    std::lock_guard guard(w.lock);
    Window* window = w.find(handle);
    if (window == nullptr) {
      setLastError(ERROR_INVALID_WINDOW_HANDLE);
      return call.value(DWORD{0});
    }
    owner = window->owner;
  }
  if (processId != nullptr) {
    *processId = currentProcessId();
  }
  return call.value(owner);
}

HWND WINAPI GetAncestor(HWND handle, UINT which) {
  Call call(Fn::GetAncestor);
  call.arguments("%p, %u", static_cast<void*>(handle), which);
  if (call.fails()) {
    return call.value(HWND{nullptr});
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  Window* window = w.find(handle);
  if (window == nullptr || which < GA_PARENT || which > GA_ROOTOWNER) {
    setLastError(ERROR_INVALID_WINDOW_HANDLE);
    return call.value(HWND{nullptr});
  }
  return call.value(which == GA_PARENT ? window->parent : rootLocked(handle));
}

HWND WINAPI GetForegroundWindow() {
  Call call(Fn::GetForegroundWindow);
  if (call.fails()) {
    return call.value(HWND{nullptr});
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  return call.value(w.foreground);
}

BOOL WINAPI IsWindow(HWND window) {
  Call call(Fn::IsWindow);
  return call.value(isAlive(window) ? TRUE : FALSE);
}

BOOL WINAPI IsWindowVisible(HWND window) {
  Call call(Fn::IsWindowVisible);
  call.arguments("%p", static_cast<void*>(window));
  if (call.fails()) {
    return call.value(FALSE);
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  return call.value(visibleLocked(window) ? TRUE : FALSE);
}

HMONITOR WINAPI MonitorFromPoint(POINT point, DWORD flags) {
  Call call(Fn::MonitorFromPoint);
  call.arguments("%d, %d, %u", point.x, point.y, flags);
  if (call.fails()) {
    return call.value(HMONITOR{nullptr});
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  return call.value(monitorOf({point.x, point.y, point.x + 1, point.y + 1}, flags));
}

HMONITOR WINAPI MonitorFromWindow(HWND handle, DWORD flags) {
  Call call(Fn::MonitorFromWindow);
  call.arguments("%p, %u", static_cast<void*>(handle), flags);
  if (call.fails()) {
    return call.value(HMONITOR{nullptr});
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  Window* window = w.find(handle);
  if (window == nullptr) {
    setLastError(ERROR_INVALID_WINDOW_HANDLE);
    return call.value(HMONITOR{nullptr});
  }
  RECT outer = window->outer();
  return call.value(monitorOf(outer, flags));
}

BOOL WINAPI GetMonitorInfoW(HMONITOR monitor, LPMONITORINFO info) {
  Call call(Fn::GetMonitorInfoW);
  call.arguments("%p", static_cast<void*>(monitor));
  if (call.fails()) {
    return call.value(FALSE);
  }
  if (info == nullptr || (info->cbSize != sizeof(MONITORINFO) && info->cbSize != sizeof(MONITORINFOEXW))) {
    setLastError(ERROR_INVALID_PARAMETER);
    return call.value(FALSE);
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  for (size_t i = 0; i < w.monitors.size(); ++i) {
    if (monitor != monitorHandle(i)) {
      continue;
    }
    info->rcMonitor = w.monitors[i].rect;
    info->rcWork = w.monitors[i].rect;
    info->dwFlags = i == 0 ? MONITORINFOF_PRIMARY : 0;
    if (info->cbSize == sizeof(MONITORINFOEXW)) {
      auto& device = static_cast<MONITORINFOEXW*>(info)->szDevice;
      std::memset(device, 0, sizeof device);
      w.monitors[i].device.copy(device, CCHDEVICENAME - 1);
    }
    return call.value(TRUE);
  }
  setLastError(ERROR_INVALID_MONITOR_HANDLE);
  return call.value(FALSE);
}
