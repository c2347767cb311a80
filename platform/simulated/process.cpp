// The process: ids, modules and their exports, critical sections, the end.
#include "platform/simulated/process.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <map>
#include <mutex>
#include <string>

#include "platform/d3dkmt.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/control.h"
#include "platform/simulated/residency.h"
#include "platform/simulated/threads.h"

namespace qv::sim {

namespace {

constexpr uint32_t kSectionReady = 0x43535631;

std::u16string lowerCase(std::u16string_view text) {
  std::u16string result(text);
  for (char16_t& c : result) {
    if (c >= u'A' && c <= u'Z') {
      c = static_cast<char16_t>(c + 32);
    }
  }
  return result;
}

// The UTF-8 of a Linux path as UTF-16; bytes that are no UTF-8 become the replacement character.
std::u16string wide(std::string_view text) {
  std::u16string result;
  for (size_t i = 0; i < text.size();) {
    auto first = static_cast<uint8_t>(text[i]);
    int more = first < 0x80 ? 0 : (first >> 5) == 6 ? 1 : (first >> 4) == 14 ? 2 : (first >> 3) == 30 ? 3 : -1;
    uint32_t code = more <= 0 ? first : first & (0x3Fu >> more);
    bool good = more >= 0 && i + static_cast<size_t>(more) < text.size();
    for (int k = 1; good && k <= more; ++k) {
      auto next = static_cast<uint8_t>(text[i + static_cast<size_t>(k)]);
      good = (next & 0xC0) == 0x80;
      code = code << 6 | (next & 0x3F);
    }
    if (!good) {
      code = 0xFFFD;
      more = 0;
    }
    i += 1 + static_cast<size_t>(more);
    if (code >= 0x10000) {
      code -= 0x10000;
      result += static_cast<char16_t>(0xD800 + (code >> 10));
      code = 0xDC00 + (code & 0x3FF);
    }
    result += static_cast<char16_t>(code);
  }
  return result;
}

std::u16string realImagePath() {
  char path[PATH_MAX];
  ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  return length > 0 ? wide({path, static_cast<size_t>(length)}) : std::u16string();
}

struct Module {
  uintptr_t handle;
  std::map<std::string, PROC, std::less<>> exports;
};

struct Process {
  std::mutex lock;
  std::u16string imagePath = realImagePath();
  std::map<std::u16string, Module> modules;
  uintptr_t nextModule = 0x7F0000010000;

  Process() { addResidencyThunks(); }

  Module& module(std::u16string_view name) {
    std::u16string key = lowerCase(name);
    if (key.find(u'.') == std::u16string::npos) {
      key += u".dll";
    }
    auto [place, fresh] = modules.try_emplace(key);
    if (fresh) {
      place->second.handle = nextModule;
      nextModule += 0x10000;
    }
    return place->second;
  }

  void addResidencyThunks() {
    for (const ResidencyThunk& thunk : residencyThunks()) {
      module(u"gdi32.dll").exports[thunk.name] = thunk.address;
    }
  }
};

Process& process() {
  static Process& instance = *new Process;
  return instance;
}

HMODULE handleOf(uintptr_t value) { return reinterpret_cast<HMODULE>(value); }
constexpr uintptr_t kImageHandle = 0x7F0000000000;

std::atomic<int32_t> sections{0};  // may dip below zero after a reset
std::atomic<int32_t> heldSections{0};

// Only the holder can find its own id there.
bool heldByThisThread(const CRITICAL_SECTION* section) {
  return __atomic_load_n(&section->owner, __ATOMIC_RELAXED) == currentThreadId();
}

void take(CRITICAL_SECTION* section) {
  __atomic_store_n(&section->owner, currentThreadId(), __ATOMIC_RELAXED);
  section->depth = 1;
  heldSections.fetch_add(1, std::memory_order_relaxed);
}

std::atomic<void (*)(UINT)> exitHandler{nullptr};
std::atomic<DWORD> processId{0};

}  // namespace

bool holdsSection(const CRITICAL_SECTION& section) {
  return section.state == kSectionReady && heldByThisThread(&section);
}

// The real process id, kept because the system call costs more than the rest of a call; a forked child learns its own.
DWORD currentProcessId() {
  DWORD id = processId.load(std::memory_order_relaxed);
  if (id == 0) [[unlikely]] {
    pthread_atfork(nullptr, nullptr, [] { processId.store(static_cast<DWORD>(getpid()), std::memory_order_relaxed); });
    id = static_cast<DWORD>(getpid());
    processId.store(id, std::memory_order_relaxed);
  }
  return id;
}

void setImagePath(std::u16string_view path) {
  std::lock_guard guard(process().lock);
  process().imagePath = path;
}

bool isImagePath(LPCWSTR path) {
  std::lock_guard guard(process().lock);
  const std::u16string& image = process().imagePath;
  // A path that was cut off at MAX_PATH still finds the image, so that what follows a truncated name can be tested.
  return path != nullptr && (image == path || (image.size() >= MAX_PATH && image.substr(0, MAX_PATH - 1) == path));
}

void registerExportAddress(std::u16string_view module, std::string_view name, PROC function) {
  std::lock_guard guard(process().lock);
  process().module(module).exports[std::string(name)] = function;
}

void removeExport(std::u16string_view module, std::string_view name) {
  std::lock_guard guard(process().lock);
  process().module(module).exports.erase(std::string(name));
}

void setExitHandler(void (*handler)(UINT)) { exitHandler.store(handler); }

uint32_t liveCriticalSections() {
  int32_t live = sections.load();
  return live > 0 ? static_cast<uint32_t>(live) : 0;
}

uint32_t heldCriticalSections() {
  int32_t held = heldSections.load();
  return held > 0 ? static_cast<uint32_t>(held) : 0;
}

void resetProcess() {
  Process& p = process();
  std::lock_guard guard(p.lock);
  p.imagePath = realImagePath();
  p.modules.clear();
  p.addResidencyThunks();
  exitHandler.store(nullptr);
  sections.store(0);
  heldSections.store(0);
}

}  // namespace qv::sim

using namespace qv::sim;

DWORD WINAPI GetCurrentProcessId() {
  Call call(Fn::GetCurrentProcessId);
  return call.value(currentProcessId());
}

void WINAPI ExitProcess(UINT code) {
  Call call(Fn::ExitProcess);
  call.arguments("%u", code);
  if (auto handler = exitHandler.load()) {
    handler(code);
  }
  _exit(static_cast<int>(code));
}

DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR path, DWORD capacity) {
  Call call(Fn::GetModuleFileNameW);
  call.arguments("%p, capacity %u", static_cast<void*>(module), capacity);
  if (call.fails()) {
    return call.value(DWORD{0});
  }
  Process& p = process();
  std::lock_guard guard(p.lock);
  if ((module != nullptr && module != handleOf(kImageHandle)) || p.imagePath.empty() || capacity == 0) {
    setLastError(ERROR_MOD_NOT_FOUND);
    return call.value(DWORD{0});
  }
  auto length = static_cast<DWORD>(p.imagePath.size());
  if (length >= capacity) {
    p.imagePath.copy(path, capacity - 1);
    path[capacity - 1] = 0;
    setLastError(ERROR_INSUFFICIENT_BUFFER);
    return call.value(capacity);
  }
  p.imagePath.copy(path, length);
  path[length] = 0;
  return call.value(length);
}

HMODULE WINAPI GetModuleHandleW(LPCWSTR name) {
  Call call(Fn::GetModuleHandleW);
  if (call.fails()) {
    return call.value(HMODULE{nullptr});
  }
  if (name == nullptr) {
    return call.value(handleOf(kImageHandle));
  }
  Process& p = process();
  std::lock_guard guard(p.lock);
  std::u16string key = lowerCase(name);
  if (key.find(u'.') == std::u16string::npos) {
    key += u".dll";
  }
  auto found = p.modules.find(key);
  if (found == p.modules.end()) {
    setLastError(ERROR_MOD_NOT_FOUND);
    return call.value(HMODULE{nullptr});
  }
  return call.value(handleOf(found->second.handle));
}

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) {
  Call call(Fn::GetProcAddress);
  call.arguments("%p, %s", static_cast<void*>(module), name);
  FARPROC found = nullptr;
  if (!call.fails()) {
    Process& p = process();
    std::lock_guard guard(p.lock);
    for (auto& [key, loaded] : p.modules) {
      if (handleOf(loaded.handle) == module) {
        auto row = loaded.exports.find(std::string_view(name));
        found = row == loaded.exports.end() ? nullptr : row->second;
      }
    }
    if (found == nullptr) {
      setLastError(ERROR_PROC_NOT_FOUND);
    }
  }
  return call.value(found);
}

void WINAPI InitializeCriticalSection(CRITICAL_SECTION* section) {
  Call call(Fn::InitializeCriticalSection);
  pthread_mutex_init(&section->mutex, nullptr);
  section->state = kSectionReady;
  section->owner = 0;
  section->depth = 0;
  sections.fetch_add(1, std::memory_order_relaxed);
}

void WINAPI EnterCriticalSection(CRITICAL_SECTION* section) {
  Call call(Fn::EnterCriticalSection);
  call.arguments("%p", static_cast<const void*>(section));
  if (section->state != kSectionReady) [[unlikely]] {
    complain("EnterCriticalSection of a section that is not initialised");
  } else if (heldByThisThread(section)) {
    ++section->depth;
  } else {
    pthread_mutex_lock(&section->mutex);
    take(section);
  }
}

BOOL WINAPI TryEnterCriticalSection(CRITICAL_SECTION* section) {
  Call call(Fn::TryEnterCriticalSection);
  if (section->state != kSectionReady) [[unlikely]] {
    complain("TryEnterCriticalSection of a section that is not initialised");
    return call.value(FALSE);
  }
  if (heldByThisThread(section)) {
    ++section->depth;
    return call.value(TRUE);
  }
  if (pthread_mutex_trylock(&section->mutex) != 0) {
    return call.value(FALSE);
  }
  take(section);
  return call.value(TRUE);
}

void WINAPI LeaveCriticalSection(CRITICAL_SECTION* section) {
  Call call(Fn::LeaveCriticalSection);
  call.arguments("%p", static_cast<const void*>(section));
  if (section->state != kSectionReady || !heldByThisThread(section)) [[unlikely]] {
    complain("LeaveCriticalSection of a section that the thread does not hold");
  } else if (--section->depth == 0) {
    __atomic_store_n(&section->owner, 0, __ATOMIC_RELAXED);
    heldSections.fetch_sub(1, std::memory_order_relaxed);
    pthread_mutex_unlock(&section->mutex);
  }
}

void WINAPI DeleteCriticalSection(CRITICAL_SECTION* section) {
  Call call(Fn::DeleteCriticalSection);
  if (section->state != kSectionReady) {
    complain("DeleteCriticalSection of a section that is not initialised");
    return;
  }
  if (__atomic_load_n(&section->owner, __ATOMIC_RELAXED) != 0) {
    complain("DeleteCriticalSection of a section that is held");
    return;
  }
  section->state = 0;
  pthread_mutex_destroy(&section->mutex);
  sections.fetch_sub(1, std::memory_order_relaxed);
}
