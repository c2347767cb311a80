// Counts, armed failures and the trace of the simulated Windows' functions.
#include "platform/simulated/calls.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <deque>
#include <mutex>

#include "platform/simulated/control.h"
#include "platform/simulated/threads.h"

namespace qv::sim {

CallCounter callCounters[static_cast<int>(Fn::Count)];
std::atomic<uint32_t> callsWatched{0};

namespace {

enum class Failure : uint8_t { Never, Error, Release, Status };

struct FunctionRow {
  const char* name;
  Failure failure;
};

constexpr FunctionRow kFunctions[] = {
#define QV_SIM_ROW(name, failure) {#name, Failure::failure},
    QV_SIM_CALLS(QV_SIM_ROW)
#undef QV_SIM_ROW
};
constexpr int kFunctionCount = static_cast<int>(Fn::Count);
constexpr size_t kTraceLines = 4096;
constexpr size_t kComplaints = 256;
constexpr NTSTATUS kUnsuccessful = static_cast<NTSTATUS>(0xC0000001);

struct TraceLine {
  uint64_t number;
  std::string text;
};

struct Books {
  std::mutex lock;
  uint64_t failAfter[kFunctionCount] = {};  // calls until the failure, 0 when none is armed
  NTSTATUS failStatus[kFunctionCount] = {};
  uint64_t anyAfter = 0;
  std::string lastFailed;
  bool tracing = false;
  uint64_t lines = 0;
  std::deque<TraceLine> trace;
  std::vector<std::string> complaints;

  void updateWatch() {
    bool armed = anyAfter != 0 || std::any_of(std::begin(failAfter), std::end(failAfter), [](uint64_t n) { return n != 0; });
    callsWatched.store(armed || tracing ? 1 : 0, std::memory_order_relaxed);
  }
};

// Never destroyed: threads may still call while the process ends.
Books& books() {
  static Books& instance = *new Books;
  return instance;
}

int findFunction(std::string_view name) {
  for (int i = 0; i < kFunctionCount; ++i) {
    if (name == kFunctions[i].name) {
      return i;
    }
  }
  return -1;
}

std::string format(const char* pattern, va_list arguments) {
  char text[512];
  vsnprintf(text, sizeof text, pattern, arguments);
  return text;
}

}  // namespace

void Call::begin() {
  Books& b = books();
  std::lock_guard guard(b.lock);
  int i = static_cast<int>(fn_);
  Failure failure = kFunctions[i].failure;
  bool statusLike = failure == Failure::Status || (failure == Failure::Release && kFunctions[i].name[0] == 'D');
  if (failure != Failure::Never) {
    if (b.failAfter[i] != 0 && --b.failAfter[i] == 0) {
      failed_ = true;
      status_ = b.failStatus[i];
    }
    if (b.anyAfter != 0 && --b.anyAfter == 0) {
      failed_ = true;
      status_ = statusLike ? kUnsuccessful : static_cast<NTSTATUS>(ERROR_NOT_ENOUGH_MEMORY);
    }
    if (failed_) {
      b.lastFailed = kFunctions[i].name;
      if (!statusLike) {
        setLastError(static_cast<DWORD>(status_));
      }
      b.updateWatch();
    }
  }
  if (b.tracing) {
    traced_ = ++b.lines;
    if (b.trace.size() == kTraceLines) {
      b.trace.pop_front();
    }
    char prefix[32];
    snprintf(prefix, sizeof prefix, "t%u ", currentThreadId());
    b.trace.push_back({traced_, std::string(prefix) + kFunctions[i].name + (failed_ ? " [fails]" : "")});
  }
}

void Call::traceArguments(const char* pattern, ...) const {
  va_list arguments;
  va_start(arguments, pattern);
  std::string text = format(pattern, arguments);
  va_end(arguments);
  Books& b = books();
  std::lock_guard guard(b.lock);
  if (!b.trace.empty() && b.trace.front().number <= traced_) {
    size_t place = static_cast<size_t>(traced_ - b.trace.front().number);
    if (place < b.trace.size()) {
      b.trace[place].text += "(" + text + ")";
    }
  }
}

void Call::traceResult(uint64_t result) const {
  char text[32];
  snprintf(text, sizeof text, " = 0x%llx", static_cast<unsigned long long>(result));
  Books& b = books();
  std::lock_guard guard(b.lock);
  if (!b.trace.empty() && b.trace.front().number <= traced_) {
    size_t place = static_cast<size_t>(traced_ - b.trace.front().number);
    if (place < b.trace.size()) {
      b.trace[place].text += text;
    }
  }
}

void complain(const char* pattern, ...) {
  va_list arguments;
  va_start(arguments, pattern);
  std::string text = format(pattern, arguments);
  va_end(arguments);
  Books& b = books();
  std::lock_guard guard(b.lock);
  if (b.complaints.size() < kComplaints) {
    b.complaints.push_back(std::move(text));
  }
}

bool failCall(std::string_view name, uint64_t n, int32_t status) {
  int i = findFunction(name);
  if (i < 0 || kFunctions[i].failure == Failure::Never || n == 0) {
    return false;
  }
  Books& b = books();
  std::lock_guard guard(b.lock);
  b.failAfter[i] = n;
  b.failStatus[i] = status;
  b.updateWatch();
  return true;
}

void failAnyCall(uint64_t n) {
  Books& b = books();
  std::lock_guard guard(b.lock);
  b.anyAfter = n;
  b.updateWatch();
}

std::string failedCall() {
  Books& b = books();
  std::lock_guard guard(b.lock);
  return b.lastFailed;
}

void clearFailures() {
  Books& b = books();
  std::lock_guard guard(b.lock);
  std::fill(std::begin(b.failAfter), std::end(b.failAfter), 0);
  b.anyAfter = 0;
  b.lastFailed.clear();
  b.updateWatch();
}

uint64_t callCount(std::string_view name) {
  int i = findFunction(name);
  return i < 0 ? 0 : callCounters[i].calls.load(std::memory_order_relaxed);
}

std::vector<std::pair<std::string, uint64_t>> callCounts() {
  std::vector<std::pair<std::string, uint64_t>> counts;
  for (int i = 0; i < kFunctionCount; ++i) {
    uint64_t calls = callCounters[i].calls.load(std::memory_order_relaxed);
    if (calls != 0) {
      counts.emplace_back(kFunctions[i].name, calls);
    }
  }
  std::sort(counts.begin(), counts.end());
  return counts;
}

uint64_t failableCallCount() {
  uint64_t sum = 0;
  for (int i = 0; i < kFunctionCount; ++i) {
    if (kFunctions[i].failure != Failure::Never) {
      sum += callCounters[i].calls.load(std::memory_order_relaxed);
    }
  }
  return sum;
}

void resetCallCounts() {
  for (CallCounter& counter : callCounters) {
    counter.calls.store(0, std::memory_order_relaxed);
  }
}

void setTrace(bool on) {
  Books& b = books();
  std::lock_guard guard(b.lock);
  b.tracing = on;
  b.updateWatch();
}

std::vector<std::string> trace() {
  Books& b = books();
  std::lock_guard guard(b.lock);
  std::vector<std::string> lines;
  for (const TraceLine& line : b.trace) {
    lines.push_back(line.text);
  }
  return lines;
}

void clearTrace() {
  Books& b = books();
  std::lock_guard guard(b.lock);
  b.trace.clear();
}

std::vector<std::string> complaints() {
  Books& b = books();
  std::lock_guard guard(b.lock);
  return b.complaints;
}

void resetCalls() {
  clearFailures();
  resetCallCounts();
  setTrace(false);
  clearTrace();
  Books& b = books();
  std::lock_guard guard(b.lock);
  b.complaints.clear();
}

}  // namespace qv::sim
