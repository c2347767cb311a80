// The records of the simulated window system and the one lock that guards them. Internal to platform/simulated.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/simulated/control.h"
#include "platform/simulated/handle_table.h"

namespace qv::sim {

struct WindowClass {
  std::u16string name;
  ATOM atom = 0;
  WNDPROC procedure = nullptr;
  UINT style = 0;
  int classExtra = 0;
  int windowExtra = 0;
};

struct Window {
  HWND parent = nullptr;
  DWORD owner = 0;  // thread id
  bool anyThread = false;
  ATOM atom = 0;
  UINT classStyle = 0;
  int classExtra = 0;
  WNDPROC procedure = nullptr;
  DWORD style = 0;  // WS_VISIBLE and WS_MINIMIZE are the window's own state
  DWORD exStyle = 0;
  RECT client{};    // on the screen
  RECT frame{};     // border widths
  RECT restored{};  // client rectangle while the window is minimised
  int pixelFormat = 0;
  LONG id = 0;
  LONG userData = 0;
  std::vector<BYTE> extra;
  bool dying = false;  // its destruction has begun or waits in the owner's queue

  RECT outer() const {
    return {client.left - frame.left, client.top - frame.top, client.right + frame.right, client.bottom + frame.bottom};
  }
};

struct DeviceContext {
  HWND window = nullptr;
  int pixelFormat = 0;  // of one without a window
};

struct Hook {
  HOOKPROC routine = nullptr;
  DWORD threadId = 0;
};

struct Message {
  HWND window = nullptr;
  UINT message = 0;
  WPARAM wParam = 0;
  LPARAM lParam = 0;
  bool hasPosition = false;
  WINDOWPOS position{};   // what lParam points at, when there is one
  bool destroys = false;  // not a message but the order to destroy the window
};

struct WindowSystem {
  std::mutex lock;  // guards all of it; never held while a hook or a window procedure runs
  HandleTable<Window, 1> windows;
  HandleTable<DeviceContext, 2> deviceContexts;
  HandleTable<Hook, 3> hooks;
  std::unordered_map<DWORD, std::vector<uint32_t>> hooksOfThread;  // newest first
  std::vector<WindowClass> classes;
  static constexpr ATOM kFirstAtom = 0xC001;
  ATOM nextAtom = kFirstAtom;
  HWND foreground = nullptr;
  std::unordered_map<DWORD, std::deque<Message>> queues;
  std::deque<Message> orphans;  // left behind by threads that have ended
  std::vector<MonitorOptions> monitors{MonitorOptions{}};

  Window* find(HWND window);
  DeviceContext* find(HDC dc);
};

WindowSystem& windowSystem();

inline uint32_t numberOf(const void* handle) {
  auto value = reinterpret_cast<uintptr_t>(handle);
  return value >> 32 == 0 ? static_cast<uint32_t>(value) : 0;
}
inline HWND windowHandle(uint32_t number) { return reinterpret_cast<HWND>(static_cast<uintptr_t>(number)); }
inline HDC deviceContextHandle(uint32_t number) { return reinterpret_cast<HDC>(static_cast<uintptr_t>(number)); }
inline HHOOK hookHandle(uint32_t number) { return reinterpret_cast<HHOOK>(static_cast<uintptr_t>(number)); }
inline HMONITOR monitorHandle(size_t index) { return reinterpret_cast<HMONITOR>(0x50010000 + index * 4); }

inline Window* WindowSystem::find(HWND window) { return windows.find(numberOf(window)); }
inline DeviceContext* WindowSystem::find(HDC dc) { return deviceContexts.find(numberOf(dc)); }

// All of these take the lock themselves unless the name says otherwise.

// Sends by the rule of WindowOptions: delivers now, or queues for the owner.
void route(const Message& message);
// Runs hooks and window procedure on this thread and returns the procedure's answer.
LRESULT deliver(const Message& message);
// WM_WINDOWPOSCHANGED for the window as it stands; the lock is held.
Message positionMessageLocked(HWND handle, const Window& window, UINT flags);
HWND rootLocked(HWND window);
// The window and every window below it, parents first; the lock is held.
std::vector<HWND> familyLocked(HWND window);
bool visibleLocked(HWND window);
void destroyNow(HWND window);
// Size of the window rectangle and place of the client area in it; false for a dead window.
bool measure(HWND window, RECT* outer, RECT* client);
void forgetWindowLocked(HWND window);
void resetWindowSystem();

}  // namespace qv::sim
