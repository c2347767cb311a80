// What a user does to windows: moving, sizing, showing, minimising, bringing to the foreground.
#include <vector>

#include "platform/simulated/window_system.h"

namespace qv::sim {

namespace {

constexpr LONG kFarAway = -32000;  // where minimised windows stand

// Moves the client area and returns the flags for WM_WINDOWPOSCHANGED. SWP_NOSIZE with SWP_NOMOVE says that nothing changed.
UINT setClientLocked(WindowSystem& w, HWND handle, Window& window, const RECT& client) {
  RECT& target = (window.style & WS_MINIMIZE) != 0 ? window.restored : window.client;
  UINT flags = SWP_NOZORDER | SWP_NOACTIVATE;
  LONG dx = client.left - target.left, dy = client.top - target.top;
  if (dx == 0 && dy == 0) {
    flags |= SWP_NOMOVE;
  }
  if (client.right - client.left == target.right - target.left && client.bottom - client.top == target.bottom - target.top) {
    flags |= SWP_NOSIZE;
  }
  target = client;
  if (&target == &window.restored) {
    return SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOMOVE | SWP_NOSIZE;
  }
  if (dx != 0 || dy != 0) {
    for (HWND child : familyLocked(handle)) {
      if (child != handle) {
        RECT& r = w.find(child)->client;
        r = {r.left + dx, r.top + dy, r.right + dx, r.bottom + dy};
      }
    }
  }
  return flags;
}

bool change(HWND handle, UINT (*apply)(WindowSystem&, HWND, Window&, const RECT&), const RECT& argument) {
  WindowSystem& w = windowSystem();
  Message message;
  {
    std::lock_guard guard(w.lock);
    Window* window = w.find(handle);
    if (window == nullptr) {
      return false;
    }
    UINT flags = apply(w, handle, *window, argument);
    if ((flags & (SWP_NOMOVE | SWP_NOSIZE)) == (SWP_NOMOVE | SWP_NOSIZE) && (flags & (SWP_SHOWWINDOW | SWP_HIDEWINDOW)) == 0) {
      return true;
    }
    message = positionMessageLocked(handle, *window, flags);
  }
  route(message);
  return true;
}

}  // namespace

bool placeWindow(HWND window, const RECT& client) { return change(window, setClientLocked, client); }

bool moveWindow(HWND window, int x, int y) {
  auto apply = [](WindowSystem& w, HWND handle, Window& record, const RECT& to) {
    RECT r = (record.style & WS_MINIMIZE) != 0 ? record.restored : record.client;
    return setClientLocked(w, handle, record, {to.left, to.top, to.left + r.right - r.left, to.top + r.bottom - r.top});
  };
  return change(window, apply, {x, y, 0, 0});
}

bool resizeWindow(HWND window, int width, int height) {
  auto apply = [](WindowSystem& w, HWND handle, Window& record, const RECT& size) {
    RECT r = (record.style & WS_MINIMIZE) != 0 ? record.restored : record.client;
    return setClientLocked(w, handle, record, {r.left, r.top, r.left + size.right, r.top + size.bottom});
  };
  return change(window, apply, {0, 0, width, height});
}

bool showWindow(HWND window, bool visible) {
  auto apply = [](WindowSystem&, HWND, Window& record, const RECT& show) -> UINT {
    UINT flags = SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE;
    bool on = show.left != 0;
    if (((record.style & WS_VISIBLE) != 0) != on) {
      record.style ^= WS_VISIBLE;
      flags |= on ? SWP_SHOWWINDOW : SWP_HIDEWINDOW;
    }
    return flags;
  };
  return change(window, apply, {visible ? 1 : 0, 0, 0, 0});
}

bool minimiseWindow(HWND window) {
  auto apply = [](WindowSystem&, HWND, Window& record, const RECT&) -> UINT {
    if ((record.style & WS_MINIMIZE) != 0) {
      return SWP_NOMOVE | SWP_NOSIZE;
    }
    record.style |= WS_MINIMIZE;
    record.restored = record.client;
    record.client = {kFarAway, kFarAway, kFarAway, kFarAway};
    return SWP_NOZORDER | SWP_NOACTIVATE | SWP_FRAMECHANGED;
  };
  return change(window, apply, {});
}

bool restoreWindow(HWND window) {
  auto apply = [](WindowSystem&, HWND, Window& record, const RECT&) -> UINT {
    if ((record.style & WS_MINIMIZE) == 0) {
      return SWP_NOMOVE | SWP_NOSIZE;
    }
    record.style &= ~WS_MINIMIZE;
    record.client = record.restored;
    return SWP_NOZORDER | SWP_FRAMECHANGED;
  };
  return change(window, apply, {});
}

bool setForeground(HWND handle) {
  WindowSystem& w = windowSystem();
  std::vector<Message> messages;
  {
    std::lock_guard guard(w.lock);
    Window* window = w.find(handle);
    if (handle != nullptr && (window == nullptr || window->parent != nullptr)) {
      return false;
    }
    if (w.foreground == handle) {
      return true;
    }
    Window* before = w.find(w.foreground);
    DWORD loses = before != nullptr ? before->owner : 0;
    DWORD gains = window != nullptr ? window->owner : 0;
    w.foreground = handle;
    if (window != nullptr) {
      messages.push_back(positionMessageLocked(handle, *window, SWP_NOSIZE | SWP_NOMOVE));
    }
    if (loses != gains) {
      w.windows.forEach([&](uint32_t number, Window& other) {
        if (other.parent == nullptr && (other.owner == loses || other.owner == gains)) {
          messages.push_back({.window = windowHandle(number),
                              .message = WM_ACTIVATEAPP,
                              .wParam = WPARAM{other.owner == gains},
                              .lParam = static_cast<LPARAM>(other.owner == gains ? loses : gains)});
        }
      });
    }
  }
  for (const Message& message : messages) {
    route(message);
  }
  return true;
}

}  // namespace qv::sim
