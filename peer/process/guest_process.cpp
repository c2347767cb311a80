// Starting and ending of a guest's process.
#include "peer/process/guest_process.h"

#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "peer/host/conversation.h"
#include "peer/host/egl_display.h"
#include "peer/host/guest.h"
#include "peer/link/log.h"
#include "peer/process/shared_counters.h"

namespace qv::peer {
namespace {

constexpr uint32_t kLogLinesPerSecond = 20;
constexpr int kFailed = 2;

// Ends the process when the guest has closed its end, also while the conversation is at something that takes forever.
void watch(int connection) {
  pollfd look{connection, POLLRDHUP, 0};
  for (;;) {
    const int found = poll(&look, 1, -1);
    if (found > 0 && (look.revents & (POLLRDHUP | POLLHUP | POLLERR | POLLNVAL)) != 0) _exit(0);
    if (found < 0 && errno != EINTR) _exit(kFailed);
  }
}

int fail(uint32_t number, const std::string& why) {
  logLine("guest %u: %s", number, why.c_str());
  return kFailed;
}

}  // namespace

int serveGuest(const GuestProcess& process) {
  std::string error;
  limitLog(kLogLinesPerSecond);
  // A session of its own also gives the guest a share of the processors like any other session's, however many threads it has.
  setsid();
  signal(SIGPIPE, SIG_IGN);
  if (process.supervisor != 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != process.supervisor) return 0;
  }
  LiveCounters own;
  LiveCounters* const counters = process.counters < 0 ? &own : mapCounterPage(process.counters);
  if (counters == nullptr) return fail(process.number, "no memory for counters");
  setLogSink([counters](std::string_view line) {
    counters->logLines.fetch_add(1);
    std::fprintf(stderr, "qv peer: %.*s\n", static_cast<int>(line.size()), line.data());
  });
  // It would be written where no file may be written.
  setenv("MESA_SHADER_CACHE_DISABLE", "true", 1);

  if (!process.sandbox) {
    logLine("guest %u: NO SANDBOX: whoever takes this process over can do what its user can", process.number);
  } else {
    if (!limitResources(process.limits, error)) return fail(process.number, error);
    if (!restrictFiles(error)) logLine("guest %u: files stay readable: %s", process.number, error.c_str());
  }
  const EglDisplay* const display = EglDisplay::get(&error);
  if (display == nullptr) return fail(process.number, error);
  if (process.sandbox && !restrictCalls(error)) return fail(process.number, error);

  try {
    std::thread(watch, process.connection).detach();
    Guest guest(*counters, *display, process.number);
    guest.onEnd([] { _exit(kFailed); });
    converse(process.connection, guest);
    _exit(0);  // not by the destructors, which would wait for what the threads are at
  } catch (const std::system_error& failure) {
    fail(process.number, failure.what());
  } catch (const std::bad_alloc&) {
    fail(process.number, "out of memory, the guest is ended");
  }
  _exit(kFailed);
}

}  // namespace qv::peer
