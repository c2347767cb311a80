// The supervisor: guests that are stuck, too many, crashed or noisy, and what their processes are allowed.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <thread>

#include "tests/host/host_process.h"
#include "tests/host/source_bombs.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

Stream clear(float red, float green, float blue) {
  return Stream().add(kClearColor, red, green, blue, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT);
}

bool draws(TestGuest& guest) {
  return guest.flush(clear(0, 1, 0), GL_BACK) == 0 && guest.result == 0 && (guest.surface->pixel(1, 1) & 0xFFFFFF) == 0x00FF00;
}

// Starts a guest and waits until it is at its drawing, or at the compile of that source bomb.
pid_t startGuest(const HostProcess& host, const char* stuckAt = nullptr, int bomb = -1) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return -1;
  std::vector<std::string> command = {QV_DRAW_FOREVER, host.socket()};
  if (stuckAt != nullptr) command.push_back(stuckAt);
  if (bomb >= 0) command.push_back(std::to_string(bomb));
  const pid_t guest = startProgram(command, ends[1]);
  close(ends[1]);
  char byte = 0;
  const bool drawing = read(ends[0], &byte, 1) == 1;
  close(ends[0]);
  return drawing ? guest : -1;
}

void kill(pid_t guest) {
  ::kill(guest, SIGKILL);
  waitpid(guest, nullptr, 0);
}

std::string statusOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// The process of a guest that is gone ends within a second, also when it is at a command that never ends.
TEST(Supervision, StuckGuestsAreGoneWithinASecond) {
  for (const char* const command : {"lists", "line", "mesh"}) {
    HostProcess host;
    const pid_t guest = startGuest(host, command);
    ASSERT_GT(guest, 0) << command;
    std::this_thread::sleep_for(milliseconds(300));
    ASSERT_EQ(host.reports().size(), 1u) << command;
    // It is at it and does not come back by itself.
    EXPECT_EQ(waitpid(guest, nullptr, WNOHANG), 0) << command;
    kill(guest);
    EXPECT_TRUE(comesTrue([&] { return host.reports().empty(); }, milliseconds(1000))) << command;
    EXPECT_EQ(host.end(SIGTERM), 0) << command;
  }
}

// The same in the midst of a compile, which nothing in the process can end.
TEST(Supervision, CompilingGuestsAreGoneWithinASecond) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer's compile takes more memory than there is";
#endif
  HostProcess host({"--memory", "2000"});
  const pid_t guest = startGuest(host, "compile", 0);
  ASSERT_GT(guest, 0);
  const uint64_t before = host.ticks();
  ASSERT_TRUE(comesTrue([&] { return host.ticks() > before + 20; }));
  ASSERT_EQ(host.reports().size(), 1u);
  kill(guest);
  EXPECT_TRUE(comesTrue([&] { return host.reports().empty(); }, milliseconds(1000)));
}

// The same when the process has been stopped and cannot end by itself.
TEST(Supervision, StoppedProcessesAreGoneWithinASecond) {
  HostProcess host;
  std::unique_ptr<HostClientGpu> client = host.connect();
  ASSERT_NE(client, nullptr);
  ::kill(host.reports().at(0).process, SIGSTOP);
  client.reset();
  EXPECT_TRUE(comesTrue([&] { return host.reports().empty(); }, milliseconds(1000)));
}

// SIGTERM ends the supervisor and all processes within two seconds, whatever they are at.
TEST(Supervision, TermEndsEverything) {
  HostProcess host;
  const pid_t busy = startGuest(host), stuck = startGuest(host, "lists");
  ASSERT_GT(busy, 0);
  ASSERT_GT(stuck, 0);
  const std::vector<GuestReport> reports = host.reports();
  ASSERT_EQ(reports.size(), 2u);
  const auto from = steady_clock::now();
  EXPECT_EQ(host.end(SIGTERM), 0);
  EXPECT_LT(steady_clock::now() - from, milliseconds(2000));
  for (const GuestReport& report : reports) EXPECT_NE(::kill(report.process, 0), 0);
  EXPECT_NE(access(host.socket().c_str(), F_OK), 0);
  EXPECT_NE(access((host.socket() + ".stats").c_str(), F_OK), 0);
  kill(busy);
  kill(stuck);
}

// A supervisor that is killed takes its processes along.
TEST(Supervision, KilledSupervisorsLeaveNothing) {
  HostProcess host;
  const pid_t stuck = startGuest(host, "lists");
  ASSERT_GT(stuck, 0);
  const pid_t process = host.reports().at(0).process;
  host.end(SIGKILL);
  // Whoever inherits the process may leave it unburied.
  const auto ended = [&] { return statusOf(process).empty() || statusOf(process).find("State:\tZ") != std::string::npos; };
  EXPECT_TRUE(comesTrue(ended, milliseconds(1000)));
  kill(stuck);
}

// A guest too many is told so at once; a guest that goes makes room.
TEST(Supervision, GuestsTooManyAreRefused) {
  HostProcess host({"--guests", "1"});
  std::unique_ptr<HostClientGpu> first = host.connect();
  ASSERT_NE(first, nullptr);
  const auto from = steady_clock::now();
  EXPECT_EQ(host.connect(), nullptr);
  EXPECT_LT(steady_clock::now() - from, milliseconds(1000));
  EXPECT_NE(host.log().find("refused: quota of 1"), std::string::npos) << host.log();
  first.reset();
  EXPECT_TRUE(comesTrue([&] { return host.connect() != nullptr; }));
}

// Without files for another guest it is told so within a second, and the supervisor waits instead of spinning.
TEST(Supervision, NoFilesLeftPauses) {
  HostProcess host({}, 14);
  std::vector<std::unique_ptr<HostClientGpu>> clients;
  while (clients.size() < 10) {
    const auto from = steady_clock::now();
    std::unique_ptr<HostClientGpu> next = host.connect();
    EXPECT_LT(steady_clock::now() - from, milliseconds(1000));
    if (next == nullptr) break;
    clients.push_back(std::move(next));
  }
  ASSERT_GE(clients.size(), 1u);
  ASSERT_LT(clients.size(), 10u);
  // Guests that stay in the queue meanwhile.
  std::vector<std::thread> waiting;
  for (int i = 0; i < 4; ++i) waiting.emplace_back([&] { EXPECT_EQ(host.connect(), nullptr); });
  const uint64_t before = host.supervisorTicks();
  std::this_thread::sleep_for(milliseconds(1000));
  EXPECT_LT(host.supervisorTicks() - before, 20u);
  for (std::thread& one : waiting) one.join();
  clients.pop_back();
  EXPECT_TRUE(comesTrue([&] { return host.connect() != nullptr; }));
}

// A guest whose process dies sees its escapes fail; its neighbour sees nothing, and the log has a line.
TEST(Supervision, CrashesHurtOneGuestAlone) {
  HostProcess host;
  const std::unique_ptr<HostClientGpu> first = host.connect(), second = host.connect();
  ASSERT_NE(second, nullptr);
  TestGuest victim(*first), neighbour(*second);
  ASSERT_TRUE(victim.start(8, 8));
  ASSERT_TRUE(neighbour.start(8, 8));
  ASSERT_TRUE(draws(victim));
  ::kill(host.reports().at(0).process, SIGKILL);
  EXPECT_TRUE(comesTrue([&] { return !draws(victim); }));
  EXPECT_LT(victim.result, 0);
  EXPECT_TRUE(draws(neighbour));
  EXPECT_TRUE(comesTrue([&] { return host.log().find("guest 1: process ended by signal 9") != std::string::npos; }))
      << host.log();
}

// A guest that uses up its memory is refused or ended; its neighbour draws on.
TEST(Supervision, MemoryIsBoundedPerGuest) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer maps more than any limit";
#endif
  HostProcess host({"--memory", "200"});
  const std::unique_ptr<HostClientGpu> first = host.connect(), second = host.connect();
  ASSERT_NE(second, nullptr);
  TestGuest greedy(*first), neighbour(*second);
  ASSERT_TRUE(greedy.start(8, 8));
  ASSERT_TRUE(neighbour.start(8, 8));
  ASSERT_TRUE(draws(greedy));
  // One command of 500 MiB, and then many large windows.
  std::vector<uint8_t> payload(500u << 20);
  Stream stream;
  stream.large(kNobodysOpcode, payload);
  const bool tookCommand = greedy.flush(stream) == 0 && greedy.result == 0;
  EXPECT_FALSE(tookCommand);
  bool refused = false;
  for (int i = 0; i < 100 && !refused; ++i) {
    greedy.context = greedy.createContext().contextId;
    greedy.window = greedy.createWindow().windowId;
    greedy.width = greedy.height = 2000;
    refused = greedy.flush(clear(1, 0, 0), GL_BACK) != 0 || greedy.result != 0;
  }
  EXPECT_TRUE(refused);
  EXPECT_TRUE(draws(neighbour));
}

// Sources that may take a compiler endless time or memory hurt the guest that gave them alone: its neighbour draws on, no process
// takes more memory than it may, and the guest's own is gone within a second when the guest is, whatever the compiler is at.
TEST(Supervision, SourceBombsHurtOneGuestAlone) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer maps more than any limit";
#endif
  HostProcess host({"--memory", "400"});
  const std::unique_ptr<HostClientGpu> client = host.connect();
  ASSERT_NE(client, nullptr);
  TestGuest neighbour(*client);
  ASSERT_TRUE(neighbour.start(8, 8));
  ASSERT_TRUE(draws(neighbour));
  const pid_t its = host.reports().at(0).process;
  const auto others = [&] {
    std::vector<pid_t> out;
    for (const GuestReport& report : host.reports()) {
      if (report.process != its) out.push_back(report.process);
    }
    return out;
  };
  const auto bombs = static_cast<int>(sourceBombs().size());
  for (int bomb = 0; bomb < bombs; ++bomb) {
    SCOPED_TRACE(bomb);
    const pid_t guest = startGuest(host, "compile", bomb);
    ASSERT_GT(guest, 0);
    const auto last = steady_clock::now() + milliseconds(1500);
    while (steady_clock::now() < last && !others().empty()) {
      const auto from = steady_clock::now();
      ASSERT_TRUE(draws(neighbour));
      EXPECT_LT(steady_clock::now() - from, std::chrono::seconds(5));
      for (const pid_t process : others()) {
        const std::string status = statusOf(process);
        const size_t at = status.find("VmData:");
        EXPECT_LE(at == std::string::npos ? 0 : std::stoul(status.substr(at + 7)), 400u * 1024);
      }
      std::this_thread::sleep_for(milliseconds(10));
    }
    kill(guest);
    EXPECT_TRUE(comesTrue([&] { return others().empty(); }, milliseconds(1000)));
  }
  EXPECT_TRUE(draws(neighbour));
}

// A compile that never ends by itself ends with the memory of its process.
TEST(Supervision, CompilesEndWithTheirMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer maps more than any limit";
#endif
  HostProcess host({"--memory", "200"});
  const pid_t guest = startGuest(host, "compile", 0);
  ASSERT_GT(guest, 0);
  int status = 0;
  EXPECT_TRUE(comesTrue([&] { return waitpid(guest, &status, WNOHANG) == guest; }, std::chrono::seconds(60)));
  EXPECT_TRUE(comesTrue([&] { return host.log().find("guest 1: process ended by signal") != std::string::npos; })) << host.log();
  const std::unique_ptr<HostClientGpu> client = host.connect();
  ASSERT_NE(client, nullptr);
  TestGuest next(*client);
  ASSERT_TRUE(next.start(8, 8));
  EXPECT_TRUE(draws(next));
}

// A guest that makes a host complain without end fills no log: so many lines in a second, and then how many were dropped.
TEST(Supervision, LogLinesAreBounded) {
  HostProcess host;
  const std::unique_ptr<HostClientGpu> client = host.connect();
  ASSERT_NE(client, nullptr);
  TestGuest guest(*client);
  ASSERT_TRUE(guest.start(8, 8));
  const auto from = steady_clock::now();
  for (int i = 0; i < 3000; ++i) EXPECT_NE(guest.flush(Stream().add(kClear)), 0);
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - from).count() + 2;
  const std::string log = host.log();
  const auto lines = std::count(log.begin(), log.end(), '\n');
  EXPECT_GE(lines, 20);
  EXPECT_LE(lines, 21 * seconds);
  std::this_thread::sleep_for(milliseconds(1100));
  guest.flush(Stream().add(kClear));
  EXPECT_NE(host.log().find("lines were dropped"), std::string::npos);
}

// A guest's process has its filter, no privileges and its limits; it is a session of its own.
TEST(Supervision, ProcessesAreWalledIn) {
  HostProcess host;
  const std::unique_ptr<HostClientGpu> client = host.connect();
  ASSERT_NE(client, nullptr);
  const pid_t process = host.reports().at(0).process;
  const std::string status = statusOf(process);
  EXPECT_NE(status.find("Seccomp:\t2\n"), std::string::npos) << status;
  EXPECT_NE(status.find("NoNewPrivs:\t1\n"), std::string::npos);
  EXPECT_NE(status.find("CapEff:\t0000000000000000\n"), std::string::npos);
  EXPECT_NE(status.find("CapBnd:\t0000000000000000\n"), std::string::npos);
  EXPECT_EQ(getsid(process), process);
  std::ifstream file("/proc/" + std::to_string(process) + "/limits");
  const std::string limits(std::istreambuf_iterator<char>(file), {});
  EXPECT_NE(limits.find("Max core file size        0                    0"), std::string::npos) << limits;
  EXPECT_NE(limits.find("Max open files            1024                 1024"), std::string::npos) << limits;
  EXPECT_EQ(host.log(), "");
}

// Without the sandbox the log says so, loudly.
TEST(Supervision, NoSandboxIsSaid) {
  HostProcess host({"--no-sandbox"});
  const std::unique_ptr<HostClientGpu> client = host.connect();
  ASSERT_NE(client, nullptr);
  EXPECT_NE(statusOf(host.reports().at(0).process).find("Seccomp:\t0\n"), std::string::npos);
  EXPECT_NE(host.log().find("guest 1: NO SANDBOX"), std::string::npos) << host.log();
}

// systemd hands the connection over as descriptor 3 and says so in the environment.
TEST(Supervision, SystemdHandsOverAConnection) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
  const pid_t shell = fork();
  if (shell == 0) {
    dup2(ends[1], 3);
    execl("/bin/sh", "sh", "-c", "LISTEN_FDS=1 LISTEN_PID=$$ exec \"$0\" --systemd", QV_HOST_PROGRAM, nullptr);
    _exit(127);
  }
  close(ends[1]);
  std::unique_ptr<HostClientGpu> client = connectThrough(ends[0]);
  ASSERT_NE(client, nullptr);
  TestGuest guest(*client);
  ASSERT_TRUE(guest.start(8, 8));
  EXPECT_TRUE(draws(guest));
  EXPECT_NE(statusOf(shell).find("Seccomp:\t2\n"), std::string::npos);
  client.reset();
  int status = -1;
  waitpid(shell, &status, 0);
  EXPECT_EQ(status, 0);
}

// Without that environment there is no connection to serve.
TEST(Supervision, SystemdWithoutAConnectionEnds) {
  const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const pid_t child = startProgram({QV_HOST_PROGRAM, "--systemd"}, -1, nothing);
  close(nothing);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 2);
}

}  // namespace
}  // namespace qv::peer::test
