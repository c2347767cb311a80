// Formats the peer's log lines and hands them to the sink.
#include "peer/link/log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <string>
#include <utility>

namespace qv::peer {
namespace {

std::mutex mutex;  // of all below
std::function<void(std::string_view)> sink;
uint32_t mostLines = 0;  // in a second; 0: any number
time_t second = 0;
uint32_t linesNow = 0;  // in that second
uint64_t dropped = 0;
std::atomic<uint64_t> lines{0};

void write(std::string_view line) {
  lines.fetch_add(1, std::memory_order_relaxed);
  if (sink) {
    sink(line);
  } else {
    std::fprintf(stderr, "qv peer: %.*s\n", static_cast<int>(line.size()), line.data());
  }
}

// Whether one more line may be written.
bool permitted() {
  if (mostLines == 0) return true;
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  if (now.tv_sec != second) {
    second = now.tv_sec;
    linesNow = 0;
    if (dropped != 0)
      write(std::to_string(dropped) + " lines were dropped: more than " + std::to_string(mostLines) + " in a second");
    dropped = 0;
  }
  if (linesNow < mostLines) {
    ++linesNow;
    return true;
  }
  ++dropped;
  return false;
}

}  // namespace

void setLogSink(std::function<void(std::string_view line)> newSink) {
  const std::lock_guard lock(mutex);
  sink = std::move(newSink);
}

void limitLog(uint32_t linesPerSecond) {
  const std::lock_guard lock(mutex);
  mostLines = linesPerSecond;
}

uint64_t logLineCount() { return lines.load(std::memory_order_relaxed); }

void logLine(const char* format, ...) {
  char text[kLongestLogLine];
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  const size_t kept = length < 0 ? 0 : static_cast<size_t>(length) < sizeof text ? static_cast<size_t>(length) : sizeof text - 1;
  const std::lock_guard lock(mutex);
  if (permitted()) write(std::string_view(text, kept));
}

}  // namespace qv::peer
