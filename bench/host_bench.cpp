// What a guest of qv-host waits for and what it costs: the start of its process up to the first picture, its memory when idle, and
// its frames beside a guest that wants all there is.
//
//   host_bench [ROUNDS]   (20)
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "tests/host/host_process.h"
#include "tests/peer/test_guest.h"

extern char** environ;

namespace {

using namespace qv::peer;
using namespace qv::peer::test;
using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point from) { return std::chrono::duration<double, std::milli>(Clock::now() - from).count(); }

double at(std::vector<double> values, double part) {
  std::sort(values.begin(), values.end());
  return values[std::min(values.size() - 1, static_cast<size_t>(part * static_cast<double>(values.size())))];
}

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "host_bench: %s\n", what);
  std::exit(2);
}

// A frame as a small program draws it: 200 triangles over a cleared window.
Stream frame() {
  Stream stream;
  stream.add(kClearColor, 0.0f, 0.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT);
  std::vector<float> values;
  for (int i = 0; i < 600; ++i) {
    const float x = static_cast<float>(i % 37) / 37, y = static_cast<float>(i % 53) / 53;
    values.insert(values.end(), {x, y, 1, 2 * x - 1, 2 * y - 1, 0});
  }
  return stream.large(kRunEnded, runPayload(GL_TRIANGLES, {0x3103, 0x3100}, 24, floats(values)));
}

void startTimes(int rounds) {
  const HostProcess host;
  std::vector<double> connected, drawn;
  for (int i = 0; i < rounds; ++i) {
    const auto from = Clock::now();
    const auto client = host.connect();
    if (client == nullptr) fail("no connection");
    connected.push_back(millisecondsSince(from));
    TestGuest guest(*client);
    if (!guest.start(300, 300) || guest.flush(frame(), GL_BACK) != 0) fail("no frame");
    drawn.push_back(millisecondsSince(from));
  }
  std::printf("start of a guest's process: first answer %.1f ms, first picture %.1f ms (medians of %d; slowest %.1f ms)\n",
              at(connected, 0.5), at(drawn, 0.5), rounds, at(drawn, 1));
}

// In KiB, of the figures that the kernel tells of a process.
struct Memory {
  long proportional = 0, own = 0, resident = 0;
};

Memory memoryOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
  Memory out;
  for (std::string word; file >> word;) {
    long value = 0;
    if (word == "Pss:" && file >> value) out.proportional = value;
    if (word == "Rss:" && file >> value) out.resident = value;
    if ((word == "Private_Dirty:" || word == "Private_Clean:") && file >> value) out.own += value;
  }
  return out;
}

void idleMemory() {
  for (const int guests : {1, 4, 8}) {
    const HostProcess host;
    std::vector<std::unique_ptr<HostClientGpu>> clients;
    std::vector<std::unique_ptr<TestGuest>> drawing;
    for (int i = 0; i < guests; ++i) {
      clients.push_back(host.connect());
      if (clients.back() == nullptr) fail("no connection");
      drawing.push_back(std::make_unique<TestGuest>(*clients.back()));
      if (!drawing.back()->start(300, 300) || drawing.back()->flush(frame(), GL_BACK) != 0) fail("no frame");
    }
    Memory sum;
    for (const GuestReport& report : host.reports()) {
      const Memory one = memoryOf(report.process);
      sum.proportional += one.proportional;
      sum.own += one.own;
      sum.resident += one.resident;
    }
    std::printf("memory of an idle guest's process among %d: its share %.1f MiB, its own %.1f MiB, resident %.1f MiB\n", guests,
                static_cast<double>(sum.proportional) / guests / 1024, static_cast<double>(sum.own) / guests / 1024,
                static_cast<double>(sum.resident) / guests / 1024);
  }
}

std::vector<double> frameTimes(TestGuest& guest, int frames) {
  const Stream stream = frame();
  std::vector<double> times;
  for (int i = 0; i < frames; ++i) {
    const auto from = Clock::now();
    if (guest.flush(stream, GL_BACK) != 0) fail("no frame");
    times.push_back(millisecondsSince(from));
  }
  return times;
}

// Starts a guest in a session of its own, as another virtual machine would be; it draws when this returns.
pid_t startFlood(const HostProcess& host, const char* threads) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail("no pipe");
  const std::string socket = host.socket();
  char* const arguments[] = {const_cast<char*>(QV_FLOOD_GUEST), const_cast<char*>(socket.c_str()), const_cast<char*>(threads),
                             nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
  pid_t guest = -1;
  if (posix_spawn(&guest, QV_FLOOD_GUEST, &actions, &attributes, arguments, environ) != 0) fail("no flood");
  close(ends[1]);
  char byte = 0;
  if (read(ends[0], &byte, 1) != 1) fail("the flood does not draw");
  close(ends[0]);
  return guest;
}

void neighbours(int rounds) {
  std::vector<double> alone, beside, first;
  for (const char* const threads : {"1", "8"}) {
    const HostProcess host;
    const auto client = host.connect();
    if (client == nullptr) fail("no connection");
    TestGuest guest(*client);
    if (!guest.start(300, 300)) fail("no guest");
    frameTimes(guest, 50);
    alone = frameTimes(guest, rounds * 20);
    const pid_t flood = startFlood(host, threads);
    beside = frameTimes(guest, rounds * 20);
    const auto from = Clock::now();
    const auto late = host.connect();
    TestGuest newcomer(*late);
    if (!newcomer.start(300, 300) || newcomer.flush(frame(), GL_BACK) != 0) fail("no frame");
    const double firstPicture = millisecondsSince(from);
    kill(flood, SIGKILL);
    waitpid(flood, nullptr, 0);
    std::printf(
        "a frame alone %.2f ms (95 of 100 below %.2f), beside a guest that floods with %s contexts %.2f ms (95 of 100 below "
        "%.2f): "
        "%.1f times; a new guest's first picture %.0f ms\n",
        at(alone, 0.5), at(alone, 0.95), threads, at(beside, 0.5), at(beside, 0.95), at(beside, 0.5) / at(alone, 0.5),
        firstPicture);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 && argv[1][0] != '-' ? std::atoi(argv[1]) : 20;
  startTimes(rounds);
  idleMemory();
  neighbours(rounds);
}
