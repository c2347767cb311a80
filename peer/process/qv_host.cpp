// qv-host: the host's side as processes of its own, one for each guest.
//
//   qv-host --socket PATH [OPTIONS]   serves every guest that connects there, until SIGTERM or SIGINT
//   qv-host --systemd [OPTIONS]       serves the one guest whose connection systemd hands over
//   qv-host --guest FD [OPTIONS]      serves the one guest at the other end of FD in the background, and ends with it
//   qv-host --stats PATH              prints what the host at PATH holds now, one `name value` per line, and a line per guest
//
// OPTIONS: --guests N    at a time, with --socket (64)
//          --memory MIB  of a guest's process (4096)
//          --no-sandbox  for debugging: whoever takes a guest's process over can do all that its user can
//
// `qv-host --libraries` prints the libraries of the OpenGL, for the supervisor.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "peer/process/guest_process.h"
#include "peer/process/libraries.h"
#include "peer/process/supervisor.h"

namespace {

using namespace qv::peer;

int fail(const std::string& text) {
  std::fprintf(stderr, "qv-host: %s\n", text.c_str());
  return 2;
}

int serveOne(GuestProcess process) {
  const pid_t child = fork();
  if (child < 0) return fail("no process");
  if (child > 0) return 0;
  // Out of the application's reach: its terminal, its files. Its error stream stays, for the log.
  const int nothing = open("/dev/null", O_RDWR);
  dup2(nothing, 0);
  dup2(nothing, 1);
  dup2(process.connection, 3);
  close_range(4, ~0u, 0);
  process.connection = 3;
  return serveGuest(process);
}

// The protocol of systemd's sockets: descriptors from 3 on, for the process that LISTEN_PID names.
int serveSystemd(GuestProcess process) {
  const char* const count = std::getenv("LISTEN_FDS");
  const char* const owner = std::getenv("LISTEN_PID");
  if (count == nullptr || std::strcmp(count, "1") != 0 || owner == nullptr || std::to_string(getpid()) != owner) {
    return fail("systemd hands over no connection");
  }
  process.connection = 3;
  return serveGuest(process);
}

int printStatistics(const std::string& path) {
  std::vector<GuestReport> reports;
  if (!readReports(path, reports)) return fail("no qv-host listens at " + path);
  PeerCounters sum;
  for (const GuestReport& report : reports) {
    sum.contexts += report.counters.contexts;
    sum.glContexts += report.counters.glContexts;
    sum.windows += report.counters.windows;
    sum.surfaces += report.counters.surfaces;
    sum.channels += report.counters.channels;
    sum.allocations += report.counters.allocations;
    sum.mappedBytes += report.counters.mappedBytes;
    sum.logLines += report.counters.logLines;
  }
  std::printf(
      "guests %zu\ncontexts %u\nglContexts %u\nwindows %u\nsurfaces %u\nchannels %u\nallocations %u\nmappedBytes %llu\nlogLines "
      "%llu\n",
      reports.size(), sum.contexts, sum.glContexts, sum.windows, sum.surfaces, sum.channels, sum.allocations,
      static_cast<unsigned long long>(sum.mappedBytes), static_cast<unsigned long long>(sum.logLines));
  for (const GuestReport& report : reports) {
    std::printf("guest %u: process %d, contexts %u, windows %u, allocations %u, mappedBytes %llu, logLines %llu\n", report.number,
                report.process, report.counters.contexts, report.counters.windows, report.counters.allocations,
                static_cast<unsigned long long>(report.counters.mappedBytes),
                static_cast<unsigned long long>(report.counters.logLines));
  }
  return 0;
}

std::optional<uint32_t> number(const char* text) {
  char* end = nullptr;
  const unsigned long value = std::strtoul(text, &end, 10);
  if (*text < '0' || *text > '9' || *end != 0 || value > 0x7FFFFFFF) return std::nullopt;
  return static_cast<uint32_t>(value);
}

}  // namespace

int main(int argc, char** argv) {
  std::string verb, path;
  Supervision supervision;
  GuestProcess process;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const bool isVerb =
        word == "--socket" || word == "--systemd" || word == "--guest" || word == "--stats" || word == "--libraries";
    if (isVerb && !verb.empty()) return fail("one of --socket, --systemd, --guest and --stats");
    if (isVerb) verb = word;
    if (word == "--systemd" || word == "--libraries") continue;
    if (word == "--no-sandbox") {
      process.sandbox = false;
      continue;
    }
    if (i + 1 == argc) return fail(word + " is unknown or takes a value");
    const char* const value = argv[++i];
    if (word == "--socket" || word == "--stats") {
      path = value;
      continue;
    }
    const std::optional<uint32_t> count = number(value);
    if (!count) return fail(word + " takes a number");
    if (word == "--guest") {
      process.connection = static_cast<int>(*count);
    } else if (word == "--guests") {
      supervision.mostGuests = *count;
    } else if (word == "--memory") {
      process.limits.memoryBytes = uint64_t{*count} << 20;
    } else {
      return fail(word + " is unknown");
    }
  }
  if (verb == "--socket") {
    supervision.socket = path;
    supervision.process = process;
    return supervise(supervision);
  }
  if (verb == "--systemd") return serveSystemd(process);
  if (verb == "--guest") return serveOne(process);
  if (verb == "--libraries") return printLibraries();
  if (verb == "--stats") return printStatistics(path);
  return fail(
      "use: qv-host --socket PATH | --systemd | --guest FD | --stats PATH; OPTIONS: --guests N, --memory MIB, --no-sandbox");
}
