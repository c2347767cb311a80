// Counting of frames and the figures of a run.
#include "loader/glx/run_control.h"

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "loader/glx/driver_session.h"
#include "loader/glx/environment.h"
#include "loader/glx/presenter.h"
#include "loader/opengl32/opengl32.h"
#include "peer/link/host_client.h"

namespace qv::loader {
namespace {

using Clock = std::chrono::steady_clock;

std::atomic<uint64_t> frames{0};
std::atomic<int64_t> firstFrame{0}, lastFrame{0};  // nanoseconds of the clock
std::atomic<bool> finished{false};
// The figures as of the last frame asked for, before anything that the run's end adds; and the GL error that it found.
peer::GuestStatistics totalsAtEnd;
std::atomic<bool> endReached{false};
std::atomic<unsigned> errorAtEnd{0};

int64_t now() { return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count(); }

// One line into the report; without one, figures and errors go to standard error.
void report(const char* kind, const std::string& text) {
  const std::string& path = environment().report;
  if (path.empty()) {
    if (std::string(kind) != "loaded") std::fprintf(stderr, "quillvane: %s\n", text.c_str());
    return;
  }
  // Opened anew for each line, since several processes of one run may write.
  std::FILE* const file = std::fopen(path.c_str(), "a");
  if (!file) return;
  std::fprintf(file, "%s: %s\n", kind, text.c_str());
  std::fclose(file);
}

[[gnu::format(printf, 1, 2)]] std::string text(const char* format, ...) {
  char line[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  return line;
}

double perFrame(uint64_t total, uint64_t count) { return static_cast<double>(total) / static_cast<double>(count ? count : 1); }

void reportFigures() {
  const uint64_t count = frames.load();
  // The first frame carries the program's start-up, so time runs from its end.
  const double seconds = static_cast<double>(lastFrame.load() - firstFrame.load()) * 1e-9;
  if (count > 1 && seconds > 0) {
    report("stat", text("%llu frames, %.1f frames per second", static_cast<unsigned long long>(count),
                        static_cast<double>(count - 1) / seconds));
  } else {
    report("stat", text("%llu frames", static_cast<unsigned long long>(count)));
  }
  if (!host()) return;
  const peer::GuestStatistics totals = endReached.load() ? totalsAtEnd : host()->statistics();
  report("stat",
         text("%.1f commands and %.1f bytes per frame", perFrame(totals.commands, count), perFrame(totals.streamBytes, count)));
  report("stat",
         text("%llu round trips for a reply, %.3f per frame; %llu packets", static_cast<unsigned long long>(totals.roundTrips),
              perFrame(totals.roundTrips, count), static_cast<unsigned long long>(totals.packets)));
  if (!endReached.load()) return;
  const unsigned error = errorAtEnd.load();
  report("stat", error ? text("GL error 0x%04x after the last frame", error) : "no GL error after the last frame");
}

}  // namespace

void reportLoaded() { report("loaded", ""); }
void reportFailure(const std::string& reason) { report("failed", reason); }

void countFrame() {
  const int64_t time = now();
  const uint64_t count = frames.fetch_add(1) + 1;
  if (count == 1) firstFrame.store(time);
  lastFrame.store(time);
  if (count != environment().frames) return;
  if (environment().stats && host()) {
    totalsAtEnd = host()->statistics();
    const auto getError = reinterpret_cast<unsigned (*)()>(reinterpret_cast<void*>(driverProcAddress("glGetError")));
    if (getError) errorAtEnd.store(getError());
    endReached.store(true);
  }
  // Only one thread of a program with several ends it; the others go on until they are stopped.
  std::exit(0);
}

void finishRun() {
  if (finished.exchange(true)) return;
  if (!environment().png.empty() && !writeLastPicture(environment().png.c_str())) {
    report("error", frames.load() ? "the picture could not be written to " + environment().png
                                  : "no picture was written: the program has shown no frame");
  }
  if (environment().stats) reportFigures();
}

}  // namespace qv::loader
