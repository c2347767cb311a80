// Window classes, creation and destruction of windows, and the numbers that windows carry.
#include <algorithm>
#include <cstring>

#include "platform/simulated/calls.h"
#include "platform/simulated/kernel.h"
#include "platform/simulated/threads.h"
#include "platform/simulated/window_system.h"

namespace qv::sim {

namespace {

bool isAtom(LPCWSTR name) { return reinterpret_cast<uintptr_t>(name) < 0x10000; }

bool sameName(std::u16string_view left, std::u16string_view right) {
  auto lower = [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c; };
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [&](char16_t a, char16_t b) { return lower(a) == lower(b); });
}

std::vector<WindowClass>::iterator findClassLocked(WindowSystem& w, LPCWSTR name) {
  return std::find_if(w.classes.begin(), w.classes.end(), [&](const WindowClass& row) {
    return isAtom(name) ? row.atom == reinterpret_cast<uintptr_t>(name) : sameName(row.name, name);
  });
}

}  // namespace

Message positionMessageLocked(HWND handle, const Window& window, UINT flags) {
  RECT outer = window.outer();
  POINT origin{0, 0};
  if (Window* parent = windowSystem().find(window.parent)) {
    origin = {parent->client.left, parent->client.top};
  }
  Message message{.window = handle, .message = WM_WINDOWPOSCHANGED, .hasPosition = true};
  message.position = {.hwnd = handle,
                      .hwndInsertAfter = nullptr,
                      .x = outer.left - origin.x,
                      .y = outer.top - origin.y,
                      .cx = outer.right - outer.left,
                      .cy = outer.bottom - outer.top,
                      .flags = flags};
  return message;
}

HWND rootLocked(HWND window) {
  WindowSystem& w = windowSystem();
  for (Window* record = w.find(window); record != nullptr; record = w.find(window)) {
    if (w.find(record->parent) == nullptr) {
      return window;
    }
    window = record->parent;
  }
  return nullptr;
}

std::vector<HWND> familyLocked(HWND window) {
  WindowSystem& w = windowSystem();
  std::vector<HWND> family{window};
  for (size_t i = 0; i < family.size(); ++i) {
    w.windows.forEach([&](uint32_t number, Window& record) {
      if (record.parent == family[i]) {
        family.push_back(windowHandle(number));
      }
    });
  }
  return family;
}

bool visibleLocked(HWND window) {
  WindowSystem& w = windowSystem();
  Window* record = w.find(window);
  if (record == nullptr) {
    return false;
  }
  for (; record != nullptr; record = w.find(record->parent)) {
    if ((record->style & WS_VISIBLE) == 0) {
      return false;
    }
  }
  return true;
}

bool measure(HWND handle, RECT* outer, RECT* client) {
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  Window* window = w.find(handle);
  if (window == nullptr) {
    return false;
  }
  *outer = window->outer();
  *client = window->client;
  return true;
}

void forgetWindowLocked(HWND window) {
  WindowSystem& w = windowSystem();
  std::vector<uint32_t> contexts;
  w.deviceContexts.forEach([&](uint32_t number, DeviceContext& dc) {
    if (dc.window == window) {
      contexts.push_back(number);
    }
  });
  for (uint32_t number : contexts) {
    w.deviceContexts.erase(number);
  }
  if (w.foreground == window) {
    w.foreground = nullptr;
  }
  w.windows.erase(numberOf(window));
}

// Hides the window, tells it and its children that they go, and removes them.
void destroyNow(HWND handle) {
  WindowSystem& w = windowSystem();
  std::vector<HWND> family;
  Message hide;
  bool wasVisible;
  {
    std::lock_guard guard(w.lock);
    Window* window = w.find(handle);
    if (window == nullptr) {
      return;
    }
    wasVisible = (window->style & WS_VISIBLE) != 0;
    window->style &= ~WS_VISIBLE;
    hide = positionMessageLocked(handle, *window, SWP_NOSIZE | SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_HIDEWINDOW);
    family = familyLocked(handle);
    for (HWND member : family) {
      w.find(member)->dying = true;
    }
  }
  if (wasVisible) {
    deliver(hide);
  }
  for (HWND member : family) {
    deliver({.window = member, .message = WM_DESTROY});
  }
  for (auto member = family.rbegin(); member != family.rend(); ++member) {
    deliver({.window = *member, .message = WM_NCDESTROY});
    {
      std::lock_guard guard(w.lock);
      forgetWindowLocked(*member);
    }
    dropRedirection(*member);
  }
}

HWND createWindow(const WindowOptions& options) {
  WindowSystem& w = windowSystem();
  Window window;
  window.parent = options.parent;
  window.owner = options.anyThread ? kLastingThread : currentThreadId();
  window.anyThread = options.anyThread;
  window.atom = 0x8000;  // a class that exists without registration
  window.procedure = options.procedure;
  window.style = (options.parent != nullptr ? WS_CHILD : WS_POPUP) | (options.visible ? WS_VISIBLE : 0);
  window.client = options.client;
  window.frame = options.frame;
  window.pixelFormat = options.pixelFormat;
  std::lock_guard guard(w.lock);
  if (options.parent != nullptr && w.find(options.parent) == nullptr) {
    return nullptr;
  }
  return windowHandle(w.windows.insert(std::move(window)));
}

bool destroyWindow(HWND handle) {
  {
    WindowSystem& w = windowSystem();
    std::lock_guard guard(w.lock);
    Window* window = w.find(handle);
    if (window == nullptr || window->dying) {
      return false;
    }
    window->dying = true;
  }
  route({.window = handle, .destroys = true});
  return true;
}

bool isAlive(HWND window) {
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  return w.find(window) != nullptr;
}

void resetWindowSystem() {
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  std::vector<HWND> windows;
  w.windows.forEach([&](uint32_t number, Window&) { windows.push_back(windowHandle(number)); });
  for (HWND window : windows) {
    forgetWindowLocked(window);
  }
  std::vector<uint32_t> rest;
  w.deviceContexts.forEach([&](uint32_t number, DeviceContext&) { rest.push_back(number); });
  for (uint32_t number : rest) {
    w.deviceContexts.erase(number);
  }
  rest.clear();
  w.hooks.forEach([&](uint32_t number, Hook&) { rest.push_back(number); });
  for (uint32_t number : rest) {
    w.hooks.erase(number);
  }
  w.hooksOfThread.clear();
  w.classes.clear();
  w.nextAtom = WindowSystem::kFirstAtom;
  w.queues.clear();
  w.orphans.clear();
  w.foreground = nullptr;
  w.monitors = {MonitorOptions{}};
}

}  // namespace qv::sim

using namespace qv::sim;

ATOM WINAPI RegisterClassW(const WNDCLASSW* description) {
  Call call(Fn::RegisterClassW);
  if (call.fails()) {
    return call.value(ATOM{0});
  }
  if (description == nullptr || description->lpszClassName == nullptr || isAtom(description->lpszClassName) ||
      description->cbWndExtra < 0 || description->cbClsExtra < 0) {
    setLastError(ERROR_INVALID_PARAMETER);
    return call.value(ATOM{0});
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  if (findClassLocked(w, description->lpszClassName) != w.classes.end()) {
    setLastError(ERROR_CLASS_ALREADY_EXISTS);
    return call.value(ATOM{0});
  }
  w.classes.push_back({description->lpszClassName, w.nextAtom++, description->lpfnWndProc, description->style,
                       description->cbClsExtra, description->cbWndExtra});
  return call.value(w.classes.back().atom);
}

BOOL WINAPI UnregisterClassW(LPCWSTR name, HINSTANCE) {
  Call call(Fn::UnregisterClassW);
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  auto row = findClassLocked(w, name);
  if (name == nullptr || row == w.classes.end()) {
    setLastError(ERROR_CLASS_DOES_NOT_EXIST);
    return call.value(FALSE);
  }
  bool used = false;
  w.windows.forEach([&](uint32_t, Window& window) { used = used || window.atom == row->atom; });
  if (used) {
    setLastError(ERROR_CLASS_HAS_WINDOWS);
    return call.value(FALSE);
  }
  w.classes.erase(row);
  return call.value(call.fails() ? FALSE : TRUE);
}

HWND WINAPI CreateWindowExW(DWORD exStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width, int height,
                            HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter) {
  Call call(Fn::CreateWindowExW);
  call.arguments("style 0x%x, %d x %d", style, width, height);
  if (call.fails()) {
    return call.value(HWND{nullptr});
  }
  WindowSystem& w = windowSystem();
  HWND handle;
  {
    std::lock_guard guard(w.lock);
    auto row = findClassLocked(w, className);
    if (className == nullptr || row == w.classes.end()) {
      setLastError(ERROR_CANNOT_FIND_WND_CLASS);
      return call.value(HWND{nullptr});
    }
    Window* above = w.find(parent);
    if ((parent != nullptr && above == nullptr) || ((style & WS_CHILD) != 0 && above == nullptr)) {
      setLastError(ERROR_INVALID_WINDOW_HANDLE);
      return call.value(HWND{nullptr});
    }
    Window window;
    window.parent = (style & WS_CHILD) != 0 ? parent : nullptr;
    window.owner = currentThreadId();
    window.atom = row->atom;
    window.classStyle = row->style;
    window.classExtra = row->classExtra;
    window.procedure = row->procedure;
    window.style = style;
    window.exStyle = exStyle;
    window.id = static_cast<LONG>(reinterpret_cast<intptr_t>(menu));
    window.extra.resize(static_cast<size_t>(row->windowExtra));
    if ((style & WS_CAPTION) == WS_CAPTION) {
      window.frame = {8, 31, 8, 8};
    }
    LONG left = x == CW_USEDEFAULT ? 0 : x, top = x == CW_USEDEFAULT ? 0 : y;
    if (window.parent != nullptr) {
      left += above->client.left;
      top += above->client.top;
    }
    const RECT& f = window.frame;
    LONG cx = width == CW_USEDEFAULT ? 640 : std::max(width, 0), cy = width == CW_USEDEFAULT ? 480 : std::max(height, 0);
    window.client = {left + f.left, top + f.top, std::max(left + f.left, left + cx - f.right),
                     std::max(top + f.top, top + cy - f.bottom)};
    handle = windowHandle(w.windows.insert(std::move(window)));
  }
  CREATESTRUCTW record{parameter, instance,  menu,   parent, height, width, y, x, static_cast<LONG>(style),
                       title,     className, exStyle};
  auto address = reinterpret_cast<LPARAM>(&record);
  if (deliver({.window = handle, .message = WM_NCCREATE, .lParam = address}) == 0 ||
      deliver({.window = handle, .message = WM_CREATE, .lParam = address}) == -1) {
    destroyNow(handle);
    return call.value(HWND{nullptr});
  }
  return call.value(handle);
}

BOOL WINAPI DestroyWindow(HWND handle) {
  Call call(Fn::DestroyWindow);
  call.arguments("%p", static_cast<void*>(handle));
  if (call.fails()) {
    return call.value(FALSE);
  }
  {
    WindowSystem& w = windowSystem();
    std::lock_guard guard(w.lock);
    Window* window = w.find(handle);
    if (window == nullptr || window->dying) {
      setLastError(ERROR_INVALID_WINDOW_HANDLE);
      return call.value(FALSE);
    }
    if (!window->anyThread && window->owner != currentThreadId()) {
      setLastError(ERROR_ACCESS_DENIED);
      return call.value(FALSE);
    }
    window->dying = true;
  }
  destroyNow(handle);
  return call.value(TRUE);
}

DWORD WINAPI GetClassLongW(HWND handle, int index) {
  Call call(Fn::GetClassLongW);
  call.arguments("%p, %d", static_cast<void*>(handle), index);
  if (call.fails()) {
    return call.value(DWORD{0});
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  Window* window = w.find(handle);
  if (window == nullptr) {
    setLastError(ERROR_INVALID_WINDOW_HANDLE);
    return call.value(DWORD{0});
  }
  switch (index) {
    case GCW_ATOM:
      return call.value(DWORD{window->atom});
    case GCL_STYLE:
      return call.value(window->classStyle);
    case GCL_CBCLSEXTRA:
      return call.value(static_cast<DWORD>(window->classExtra));
    case GCL_CBWNDEXTRA:
      return call.value(static_cast<DWORD>(window->extra.size()));
    default:
      setLastError(ERROR_INVALID_INDEX);
      return call.value(DWORD{0});
  }
}

namespace {

// Reads or, with `fresh`, replaces one of a window's numbers; sets the last error and yields 0 for a bad window or index.
LONG windowLong(HWND handle, int index, const LONG* fresh) {
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  Window* window = w.find(handle);
  if (window == nullptr) {
    setLastError(ERROR_INVALID_WINDOW_HANDLE);
    return 0;
  }
  void* place = nullptr;
  if (index == GWL_STYLE) {
    place = &window->style;
  } else if (index == GWL_EXSTYLE) {
    place = &window->exStyle;
  } else if (index == GWL_USERDATA) {
    place = &window->userData;
  } else if (index == GWL_ID) {
    place = &window->id;
  } else if (index >= 0 && static_cast<size_t>(index) + sizeof(LONG) <= window->extra.size()) {
    place = window->extra.data() + index;
  } else {
    setLastError(ERROR_INVALID_INDEX);
    return 0;
  }
  LONG before;
  std::memcpy(&before, place, sizeof before);
  if (fresh != nullptr) {
    std::memcpy(place, fresh, sizeof *fresh);
  }
  return before;
}

}  // namespace

LONG WINAPI GetWindowLongW(HWND window, int index) {
  Call call(Fn::GetWindowLongW);
  call.arguments("%p, %d", static_cast<void*>(window), index);
  return call.value(call.fails() ? 0 : windowLong(window, index, nullptr));
}

LONG WINAPI SetWindowLongW(HWND window, int index, LONG value) {
  Call call(Fn::SetWindowLongW);
  call.arguments("%p, %d, %d", static_cast<void*>(window), index, value);
  return call.value(call.fails() ? 0 : windowLong(window, index, &value));
}
