// HostProcess: a qv-host that a test has started, with its log.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "peer/link/host_client.h"
#include "peer/process/supervisor.h"

namespace qv::peer::test {

// Starts a program with files in place of its standard output and error, -1 for the test's own. -1 on failure.
pid_t startProgram(const std::vector<std::string>& command, int output = -1, int errors = -1);

// Asks every few milliseconds; false when `held` has not come true in time.
bool comesTrue(const std::function<bool()>& held, std::chrono::milliseconds within = std::chrono::seconds(20));

class HostProcess {
 public:
  // Serves at a socket of its own, with further options and at most so many open files in the supervisor.
  explicit HostProcess(const std::vector<std::string>& options = {}, uint32_t mostFiles = 0);
  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  std::string socket() const { return folder_ + "/socket"; }
  pid_t process() const { return process_; }
  // A connection, once the host listens; null when it refuses.
  std::unique_ptr<HostClientGpu> connect() const;
  // What the host's processes have written so far.
  std::string log() const;

  // Ends the supervisor. Its wait status.
  int end(int signal);

  std::vector<GuestReport> reports() const;
  // What all guests' processes hold; of the guests, their number.
  PeerCounters counters() const;
  // Clock ticks of processor time that the supervisor, or all processes of the host, have used.
  uint64_t supervisorTicks() const;
  uint64_t ticks() const;

 private:
  std::string folder_;
  pid_t process_ = -1;
};

}  // namespace qv::peer::test
