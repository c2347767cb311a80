// Programs as children of a test: started, waited for with a limit, their output kept, ended if the test forgets them.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace qv::test {

using Variables = std::map<std::string, std::string>;

class ChildProcess {
 public:
  // Runs `command` with the test's environment and `changes` on top; an empty value removes a variable. Standard output and
  // error go to files that output() and errors() read. `passFd`, when not negative, is the child's descriptor 3.
  explicit ChildProcess(const std::vector<std::string>& command, const Variables& changes = {}, int passFd = -1);
  // Kills the child if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Exit status, 128 + signal for one that was killed, or -1 when the time was up; the child then still runs.
  int wait(std::chrono::milliseconds limit = std::chrono::seconds(60));
  bool running();
  void kill(int signal);
  pid_t pid() const { return pid_; }
  std::string output() const;
  std::string errors() const;

 private:
  pid_t pid_ = -1;
  int status_ = -1;  // as wait() gives it; -1 while it runs
  std::string folder_;
};

// A virtual X server of the test's own on the first free display number.
class VirtualXServer {
 public:
  explicit VirtualXServer(const std::string& screen = "1024x768x24");
  ~VirtualXServer();
  VirtualXServer(const VirtualXServer&) = delete;
  VirtualXServer& operator=(const VirtualXServer&) = delete;
  bool ready() const { return !display_.empty(); }
  const std::string& display() const { return display_; }

 private:
  std::string display_;
  std::unique_ptr<ChildProcess> server_;
};

// A temporary folder that goes with its contents.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string readFile(const std::string& path);

}  // namespace qv::test
