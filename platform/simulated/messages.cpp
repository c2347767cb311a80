// Messages: the hooks of a thread, the window procedure behind them, and the queues of threads that are not the acting one.
#include <algorithm>
#include <cstring>

#include "platform/simulated/calls.h"
#include "platform/simulated/threads.h"
#include "platform/simulated/window_system.h"

namespace qv::sim {

WindowSystem& windowSystem() {
  static WindowSystem& instance = *new WindowSystem;
  return instance;
}

namespace {

// The hooks that the message under delivery has yet to pass. Deliveries nest: `outer` is the delivery around this one.
struct HookChain {
  std::vector<uint32_t> hooks;
  size_t next = 0;
  HookChain* outer = nullptr;
};
thread_local HookChain* currentChain = nullptr;

// Calls the next hook of the chain that is still installed.
LRESULT callNext(int code, WPARAM wParam, LPARAM lParam) {
  HookChain* chain = currentChain;
  while (chain != nullptr && chain->next < chain->hooks.size()) {
    uint32_t handle = chain->hooks[chain->next++];
    HOOKPROC routine = nullptr;
    {
      WindowSystem& w = windowSystem();
      std::lock_guard guard(w.lock);
      if (Hook* hook = w.hooks.find(handle)) {
        routine = hook->routine;
      }
    }
    if (routine != nullptr) {
      return routine(code, wParam, lParam);
    }
  }
  return 0;
}

LRESULT defaultAnswer(UINT message) { return message == WM_NCCREATE ? 1 : 0; }

}  // namespace

LRESULT deliver(const Message& original) {
  Message message = original;
  if (message.hasPosition) {
    message.lParam = reinterpret_cast<LPARAM>(&message.position);
  }
  if (message.destroys) {
    destroyNow(message.window);
    return 0;
  }
  WindowSystem& w = windowSystem();
  HookChain chain;
  WNDPROC procedure = nullptr;
  bool fromOwner;
  {
    std::lock_guard guard(w.lock);
    Window* window = w.find(message.window);
    if (window == nullptr) {
      return 0;
    }
    auto hooks = w.hooksOfThread.find(window->owner);
    if (hooks != w.hooksOfThread.end()) {
      chain.hooks = hooks->second;
    }
    procedure = window->procedure;
    fromOwner = window->owner == currentThreadId();
  }
  if (!chain.hooks.empty()) {
    chain.outer = currentChain;
    currentChain = &chain;
    CWPSTRUCT record{message.lParam, message.wParam, message.message, message.window};
    callNext(HC_ACTION, fromOwner ? 1 : 0, reinterpret_cast<LPARAM>(&record));
    currentChain = chain.outer;
  }
  return procedure != nullptr ? procedure(message.window, message.message, message.wParam, message.lParam)
                              : defaultAnswer(message.message);
}

void route(const Message& message) {
  WindowSystem& w = windowSystem();
  {
    std::lock_guard guard(w.lock);
    Window* window = w.find(message.window);
    if (window == nullptr) {
      return;
    }
    // The check and the push stand under the lock that threadEnded() takes: a message is never left in a dead queue.
    if (!window->anyThread && window->owner != currentThreadId() && threadRuns(window->owner)) {
      w.queues[window->owner].push_back(message);
      return;
    }
  }
  deliver(message);
}

void threadEnded(DWORD id) {
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  auto queue = w.queues.find(id);
  if (queue != w.queues.end()) {
    w.orphans.insert(w.orphans.end(), queue->second.begin(), queue->second.end());
    w.queues.erase(queue);
  }
}

bool sendMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  Message record{.window = window, .message = message, .wParam = wParam, .lParam = lParam};
  if (message == WM_WINDOWPOSCHANGED && lParam != 0) {
    record.hasPosition = true;
    std::memcpy(&record.position, reinterpret_cast<const void*>(lParam), sizeof record.position);
  }
  if (!isAlive(window)) {
    return false;
  }
  route(record);
  return true;
}

bool sendWindowPosChanged(HWND window, UINT flags) {
  Message message;
  {
    WindowSystem& w = windowSystem();
    std::lock_guard guard(w.lock);
    Window* record = w.find(window);
    if (record == nullptr) {
      return false;
    }
    message = positionMessageLocked(window, *record, flags);
  }
  route(message);
  return true;
}

uint32_t pumpMessages() {
  WindowSystem& w = windowSystem();
  DWORD self = currentThreadId();
  uint32_t delivered = 0;
  for (;;) {
    Message message;
    {
      std::lock_guard guard(w.lock);
      auto queue = w.queues.find(self);
      if (!w.orphans.empty()) {
        message = w.orphans.front();
        w.orphans.pop_front();
      } else if (queue != w.queues.end() && !queue->second.empty()) {
        message = queue->second.front();
        queue->second.pop_front();
      } else {
        return delivered;
      }
    }
    deliver(message);
    ++delivered;
  }
}

uint32_t pendingMessages() {
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  auto queue = w.queues.find(currentThreadId());
  return static_cast<uint32_t>(w.orphans.size() + (queue == w.queues.end() ? 0 : queue->second.size()));
}

}  // namespace qv::sim

using namespace qv::sim;

HHOOK WINAPI SetWindowsHookExW(int kind, HOOKPROC routine, HINSTANCE module, DWORD threadId) {
  Call call(Fn::SetWindowsHookExW);
  call.arguments("%d, module %p, thread %u", kind, static_cast<void*>(module), threadId);
  if (call.fails()) {
    return call.value(HHOOK{nullptr});
  }
  if (kind != WH_CALLWNDPROC || routine == nullptr || threadId == 0) {
    setLastError(ERROR_INVALID_HOOK_FILTER);
    return call.value(HHOOK{nullptr});
  }
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  uint32_t handle = w.hooks.insert({routine, threadId});
  auto& chain = w.hooksOfThread[threadId];
  chain.insert(chain.begin(), handle);
  return call.value(hookHandle(handle));
}

BOOL WINAPI UnhookWindowsHookEx(HHOOK hook) {
  Call call(Fn::UnhookWindowsHookEx);
  call.arguments("%p", static_cast<void*>(hook));
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  Hook* record = w.hooks.find(numberOf(hook));
  if (record == nullptr) {
    setLastError(ERROR_INVALID_HOOK_HANDLE);
    return call.value(FALSE);
  }
  auto chain = w.hooksOfThread.find(record->threadId);
  std::erase(chain->second, numberOf(hook));
  if (chain->second.empty()) {
    w.hooksOfThread.erase(chain);
  }
  w.hooks.erase(numberOf(hook));
  return call.value(call.fails() ? FALSE : TRUE);
}

LRESULT WINAPI CallNextHookEx(HHOOK, int code, WPARAM wParam, LPARAM lParam) {
  Call call(Fn::CallNextHookEx);
  return call.value(callNext(code, wParam, lParam));
}

LRESULT WINAPI DefWindowProcW(HWND, UINT message, WPARAM, LPARAM) {
  Call call(Fn::DefWindowProcW);
  return call.value(defaultAnswer(message));
}
