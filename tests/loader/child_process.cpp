// Children by fork and exec, with their output in files so that no pipe can fill up.
#include "tests/loader/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace qv::test {
namespace {

std::string makeFolder() {
  std::string path = (std::filesystem::temp_directory_path() / "qv-test.XXXXXX").string();
  return mkdtemp(path.data()) ? path : std::string();
}

}  // namespace

std::string readFile(const std::string& path) {
  const std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

ChildProcess::ChildProcess(const std::vector<std::string>& command, const Variables& changes, int passFd)
    : folder_(makeFolder()) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  std::vector<std::string> texts;
  for (char** at = environ; *at; ++at) {
    const std::string text = *at;
    if (!changes.contains(text.substr(0, text.find('=')))) texts.push_back(text);
  }
  for (const auto& [name, value] : changes) {
    if (!value.empty()) texts.push_back(name + "=" + value);
  }
  std::vector<char*> variables;
  for (std::string& text : texts) variables.push_back(text.data());
  variables.push_back(nullptr);
  const std::string out = folder_ + "/out", err = folder_ + "/err";

  pid_ = fork();
  if (pid_ != 0) return;
  // A test that is itself killed leaves no server behind.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int outFd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const int errFd = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const int inFd = open("/dev/null", O_RDONLY);
  dup2(inFd, 0);
  dup2(outFd, 1);
  dup2(errFd, 2);
  if (passFd >= 0 && passFd != 3) {
    dup2(passFd, 3);
  } else if (passFd == 3) {
    fcntl(3, F_SETFD, 0);
  }
  execvpe(arguments[0], arguments.data(), variables.data());
  _exit(127);
}

ChildProcess::~ChildProcess() {
  if (running()) {
    kill(SIGKILL);
    wait(std::chrono::seconds(10));
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

bool ChildProcess::running() { return wait(std::chrono::milliseconds(0)) == -1; }

int ChildProcess::wait(std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (status_ == -1) {
    int status = 0;
    const pid_t done = waitpid(pid_, &status, WNOHANG);
    if (done == pid_) {
      status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    } else if (done < 0) {
      status_ = 127;
    } else if (std::chrono::steady_clock::now() >= end) {
      return -1;
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
  return status_;
}

void ChildProcess::kill(int signal) {
  if (status_ == -1 && pid_ > 0) ::kill(pid_, signal);
}

std::string ChildProcess::output() const { return readFile(folder_ + "/out"); }
std::string ChildProcess::errors() const { return readFile(folder_ + "/err"); }

VirtualXServer::VirtualXServer(const std::string& screen) {
  int pipes[2];
  if (pipe2(pipes, O_CLOEXEC)) return;
  server_ = std::make_unique<ChildProcess>(
      std::vector<std::string>{"Xvfb", "-displayfd", "3", "-screen", "0", screen, "-nolisten", "tcp", "-noreset"}, Variables{},
      pipes[1]);
  close(pipes[1]);
  // The server writes its number when it is ready to be connected to, and closes.
  std::string number;
  char byte = 0;
  while (read(pipes[0], &byte, 1) == 1 && byte != '\n') number += byte;
  close(pipes[0]);
  if (!number.empty()) display_ = ":" + number;
}

VirtualXServer::~VirtualXServer() {
  if (!server_) return;
  server_->kill(SIGTERM);
  server_->wait(std::chrono::seconds(10));
}

ScratchFolder::ScratchFolder() : path_(makeFolder()) {}
ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace qv::test
