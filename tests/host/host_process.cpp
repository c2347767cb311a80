// Starting and watching of a qv-host.
#include "tests/host/host_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace qv::peer::test {
namespace {

uint64_t ticksOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text((std::istreambuf_iterator<char>(file)), {});
  if (text.empty()) return 0;
  std::istringstream rest(text.substr(text.rfind(')') + 2));
  std::string word;
  uint64_t user = 0, system = 0;
  for (int field = 3; field <= 13; ++field) rest >> word;
  rest >> user >> system;
  return user + system;
}

}  // namespace

pid_t startProgram(const std::vector<std::string>& command, int output, int errors) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (output >= 0) posix_spawn_file_actions_adddup2(&actions, output, 1);
  if (errors >= 0) posix_spawn_file_actions_adddup2(&actions, errors, 2);
  pid_t child = -1;
  if (posix_spawn(&child, command[0].c_str(), &actions, nullptr, arguments.data(), environ) != 0) child = -1;
  posix_spawn_file_actions_destroy(&actions);
  return child;
}

bool comesTrue(const std::function<bool()>& held, std::chrono::milliseconds within) {
  const auto last = std::chrono::steady_clock::now() + within;
  while (!held()) {
    if (std::chrono::steady_clock::now() > last) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

HostProcess::HostProcess(const std::vector<std::string>& options, uint32_t mostFiles) {
  std::string name = (std::filesystem::temp_directory_path() / "qv-host-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) return;
  folder_ = name;
  const int log = open((folder_ + "/log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  std::vector<std::string> command = {QV_HOST_PROGRAM, "--socket", socket()};
  command.insert(command.end(), options.begin(), options.end());
  rlimit before{}, few{};
  getrlimit(RLIMIT_NOFILE, &before);
  few = {mostFiles, before.rlim_max};
  if (mostFiles != 0) setrlimit(RLIMIT_NOFILE, &few);
  process_ = startProgram(command, -1, log);
  setrlimit(RLIMIT_NOFILE, &before);
  close(log);
  comesTrue([&] {
    std::vector<GuestReport> nobody;
    return readReports(socket(), nobody);
  });
}

HostProcess::~HostProcess() {
  if (process_ > 0) end(SIGKILL);
  for (const char* const file : {"/socket", "/socket.stats", "/log"}) unlink((folder_ + file).c_str());
  rmdir(folder_.c_str());
}

std::unique_ptr<HostClientGpu> HostProcess::connect() const { return connectToHost(socket()); }

std::string HostProcess::log() const {
  std::ifstream file(folder_ + "/log");
  return std::string(std::istreambuf_iterator<char>(file), {});
}

int HostProcess::end(int signal) {
  kill(process_, signal);
  int status = -1;
  waitpid(process_, &status, 0);
  process_ = -1;
  return status;
}

std::vector<GuestReport> HostProcess::reports() const {
  std::vector<GuestReport> out;
  readReports(socket(), out);
  return out;
}

PeerCounters HostProcess::counters() const {
  PeerCounters sum;
  for (const GuestReport& report : reports()) {
    sum.guests += 1;
    sum.contexts += report.counters.contexts;
    sum.glContexts += report.counters.glContexts;
    sum.windows += report.counters.windows;
    sum.surfaces += report.counters.surfaces;
    sum.channels += report.counters.channels;
    sum.allocations += report.counters.allocations;
    sum.mappedBytes += report.counters.mappedBytes;
    sum.logLines += report.counters.logLines;
  }
  return sum;
}

uint64_t HostProcess::supervisorTicks() const { return ticksOf(process_); }

uint64_t HostProcess::ticks() const {
  uint64_t sum = supervisorTicks();
  for (const GuestReport& report : reports()) sum += ticksOf(report.process);
  return sum;
}

}  // namespace qv::peer::test
