// Thread ids and ends of threads, thread-local slots and last errors.
#include "platform/simulated/threads.h"

#include <pthread.h>

#include <atomic>
#include <mutex>
#include <unordered_set>

#include "platform/simulated/calls.h"
#include "platform/simulated/control.h"
#include "platform/simulated/process.h"

namespace qv::sim {

constinit thread_local void* tlsSlots[64] = {};

namespace {

constexpr uint32_t kMostSlots = 63;

__attribute__((tls_model("initial-exec"))) constinit thread_local DWORD lastError = 0;
__attribute__((tls_model("initial-exec"))) constinit thread_local DWORD threadId = 0;
__attribute__((tls_model("initial-exec"))) constinit thread_local bool slotsKnown = false;
__attribute__((tls_model("initial-exec"))) constinit thread_local bool ended = false;

struct Threads {
  std::mutex lock;
  DWORD nextId = 4;
  std::unordered_set<DWORD> running;
  std::unordered_set<void**> slots;  // tlsSlots of running threads that have set a value
  uint64_t allocated = 0;            // a bit per slot
  uint32_t limit = kMostSlots;
  pthread_key_t key;

  Threads();
};

Threads& threads() {
  static Threads& instance = *new Threads;
  return instance;
}

// Acts in the last round but one of the C library's thread-end destructors: the other destructors still find the thread's id. The
// last round belongs to race detectors, after which no instrumented code may run.
void atThreadEnd(void* value) {
  auto round = reinterpret_cast<uintptr_t>(value);
  if (round < PTHREAD_DESTRUCTOR_ITERATIONS - 1) {
    pthread_setspecific(threads().key, reinterpret_cast<void*>(round + 1));
    return;
  }
  {
    std::lock_guard guard(threads().lock);
    threads().running.erase(threadId);
    threads().slots.erase(tlsSlots);
    ended = true;
  }
  threadEnded(threadId);
}

Threads::Threads() { pthread_key_create(&key, atThreadEnd); }

void makeKnown() {
  Threads& t = threads();
  {
    std::lock_guard guard(t.lock);
    threadId = t.nextId;
    t.nextId += 4;
    t.running.insert(threadId);
  }
  pthread_setspecific(t.key, reinterpret_cast<void*>(uintptr_t{1}));
}

}  // namespace

DWORD currentThreadId() {
  if (threadId == 0) [[unlikely]] {
    makeKnown();
  }
  return threadId;
}

bool threadRuns(DWORD id) {
  std::lock_guard guard(threads().lock);
  return threads().running.contains(id);
}

void setLastError(DWORD code) { lastError = code; }

void setTlsSlotLimit(uint32_t slots) {
  std::lock_guard guard(threads().lock);
  threads().limit = slots < kMostSlots ? slots : kMostSlots;
}

uint32_t liveTlsSlots() {
  std::lock_guard guard(threads().lock);
  return static_cast<uint32_t>(__builtin_popcountll(threads().allocated));
}

void resetTls() {
  Threads& t = threads();
  std::lock_guard guard(t.lock);
  for (void** slots : t.slots) {
    for (uint32_t i = 0; i < kMostSlots; ++i) {
      slots[i] = nullptr;
    }
  }
  t.allocated = 0;
  t.limit = kMostSlots;
}

}  // namespace qv::sim

using namespace qv::sim;

DWORD WINAPI TlsAlloc() {
  Call call(Fn::TlsAlloc);
  if (call.fails()) {
    return call.value(TLS_OUT_OF_INDEXES);
  }
  Threads& t = threads();
  std::lock_guard guard(t.lock);
  if (static_cast<uint32_t>(__builtin_popcountll(t.allocated)) >= t.limit) {
    setLastError(ERROR_NO_MORE_ITEMS);
    return call.value(TLS_OUT_OF_INDEXES);
  }
  auto slot = static_cast<DWORD>(__builtin_ctzll(~t.allocated));
  t.allocated |= uint64_t{1} << slot;
  return call.value(slot);
}

BOOL WINAPI TlsFree(DWORD index) {
  Call call(Fn::TlsFree);
  call.arguments("%u", index);
  Threads& t = threads();
  std::lock_guard guard(t.lock);
  if (index >= kMostSlots || (t.allocated >> index & 1) == 0) {
    setLastError(ERROR_INVALID_PARAMETER);
    return call.value(FALSE);
  }
  t.allocated &= ~(uint64_t{1} << index);
  for (void** slots : t.slots) {
    slots[index] = nullptr;
  }
  return call.value(call.fails() ? FALSE : TRUE);
}

BOOL WINAPI TlsSetValue(DWORD index, LPVOID value) {
  Call call(Fn::TlsSetValue);
  call.arguments("%u, %p", index, value);
  // Windows runs out of memory for a thread's slots only: one that holds a value has its memory.
  const bool hasMemory = index < kMostSlots && slotsKnown && tlsSlots[index] != nullptr;
  if (call.fails() && !hasMemory) {
    return call.value(FALSE);
  }
  if (index >= kMostSlots) {
    setLastError(ERROR_INVALID_PARAMETER);
    return call.value(FALSE);
  }
  if (!slotsKnown) [[unlikely]] {
    currentThreadId();
    if (!ended) {
      std::lock_guard guard(threads().lock);
      threads().slots.insert(tlsSlots);
    }
    slotsKnown = true;
  }
  tlsSlots[index] = value;
  return call.value(TRUE);
}

DWORD WINAPI GetCurrentThreadId() {
  Call call(Fn::GetCurrentThreadId);
  return call.value(currentThreadId());
}

DWORD WINAPI GetLastError() {
  Call call(Fn::GetLastError);
  return call.value(lastError);
}

void WINAPI SetLastError(DWORD code) {
  Call call(Fn::SetLastError);
  call.arguments("%u", code);
  lastError = code;
}
