// Formats the peer's log lines and hands them to the sink.
#include "peer/link/log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace qv::peer {
namespace {

std::mutex sinkMutex;
std::function<void(std::string_view)> sink;
std::atomic<uint64_t> lines{0};

}  // namespace

void setLogSink(std::function<void(std::string_view line)> newSink) {
  const std::lock_guard lock(sinkMutex);
  sink = std::move(newSink);
}

uint64_t logLineCount() { return lines.load(std::memory_order_relaxed); }

void logLine(const char* format, ...) {
  char text[kLongestLogLine];
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  const size_t kept = length < 0 ? 0 : static_cast<size_t>(length) < sizeof text ? static_cast<size_t>(length) : sizeof text - 1;
  const std::lock_guard lock(sinkMutex);
  lines.fetch_add(1, std::memory_order_relaxed);
  if (sink) {
    sink(std::string_view(text, kept));
  } else {
    std::fprintf(stderr, "qv peer: %.*s\n", static_cast<int>(kept), text);
  }
}

}  // namespace qv::peer
