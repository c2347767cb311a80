// Accepting, starting, watching and ending of guests' processes.
#include "peer/process/supervisor.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <memory>
#include <utility>

#include "peer/link/host_protocol.h"
#include "peer/link/log.h"
#include "peer/process/libraries.h"
#include "peer/process/shared_counters.h"

namespace qv::peer {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kLastWords = std::chrono::milliseconds(500);  // for a process whose guest is gone
constexpr auto kPause = std::chrono::milliseconds(100);      // after a connection that could not be taken
constexpr auto kEnd = std::chrono::milliseconds(1500);       // for processes that have been killed
constexpr Clock::time_point kNever = Clock::time_point::max();
constexpr int kFailed = 2;
// Where a guest's process finds its files.
constexpr int kConnection = 3, kCounters = 4;

class File {
 public:
  explicit File(int file = -1) : file_(file) {}
  File(File&& other) noexcept : file_(std::exchange(other.file_, -1)) {}
  File& operator=(File&& other) noexcept {
    std::swap(file_, other.file_);
    return *this;
  }
  ~File() {
    if (file_ >= 0) close(file_);
  }
  int get() const { return file_; }
  explicit operator bool() const { return file_ >= 0; }

 private:
  int file_;
};

struct UnmapPage {
  void operator()(LiveCounters* page) const { unmapCounterPage(page); }
};

struct GuestRecord {
  uint32_t number = 0;
  pid_t process = -1;
  File connection;  // to see the guest go; the process has its own
  File ended;       // readable when the process has ended
  std::unique_ptr<LiveCounters, UnmapPage> counters;
  Clock::time_point deadline = kNever;  // to be killed then
};

std::string reportPath(const std::string& socket) { return socket + ".stats"; }

bool addressOf(const std::string& path, sockaddr_un& address) {
  address = {};
  if (path.empty() || path.size() >= sizeof address.sun_path) return false;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return true;
}

File listenAt(const std::string& path, std::string& error) {
  sockaddr_un address;
  if (!addressOf(path, address)) {
    error = path + ": not a name for a socket";
    return File();
  }
  File listener(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  // A host that was killed leaves its socket behind: take its place, but not that of one that listens.
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
    const File probe(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) unlink(path.c_str());
  }
  if (!listener || bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener.get(), 64) != 0) {
    error = path + ": " + std::strerror(errno);
    return File();
  }
  return listener;
}

class Supervisor {
 public:
  explicit Supervisor(const Supervision& supervision) : supervision_(supervision) {}

  int run() {
    std::string error;
    if (!start(error)) {
      logLine("%s", error.c_str());
      return kFailed;
    }
    while (!stopping_) step();
    unlink(supervision_.socket.c_str());
    unlink(reportPath(supervision_.socket).c_str());
    for (const GuestRecord& guest : guests_) end(guest);
    const Clock::time_point last = Clock::now() + kEnd;
    while (!guests_.empty() && Clock::now() < last) {
      waitForEvents();
      collect();
    }
    return 0;
  }

 private:
  bool start(std::string& error) {
    // The files of a guest's process go to fixed places: the standard streams are there, and the signals take the first place
    // behind.
    close_range(kConnection, ~0u, 0);
    int file = 0;
    do {
      file = open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (file >= 0 && file < kConnection);
    if (file >= 0) close(file);
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGTERM);
    sigaddset(&stops, SIGINT);
    sigprocmask(SIG_BLOCK, &stops, nullptr);
    signals_ = File(signalfd(-1, &stops, SFD_CLOEXEC | SFD_NONBLOCK));
    spare_ = File(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!signals_ || !spare_ || signals_.get() != kConnection) {
      error = "no files to be had";
      return false;
    }
    listener_ = listenAt(supervision_.socket, error);
    if (!listener_) return false;
    loadLibraries("/proc/self/exe");
    reports_ = listenAt(reportPath(supervision_.socket), error);
    if (!reports_) unlink(supervision_.socket.c_str());
    return static_cast<bool>(reports_);
  }

  void step() {
    waitForEvents();
    if (ready(0)) stopping_ = true;
    if (ready(1)) accept();
    if (ready(2)) report();
    collect();
  }

  // Fills looks_: signals, listener, reports, then two for each guest.
  void waitForEvents() {
    const Clock::time_point now = Clock::now();
    const bool paused = paused_ > now;
    Clock::time_point wake = paused ? paused_ : kNever;
    looks_.clear();
    looks_.push_back({signals_.get(), POLLIN, 0});
    looks_.push_back({paused || stopping_ ? -1 : listener_.get(), POLLIN, 0});
    looks_.push_back({stopping_ ? -1 : reports_.get(), POLLIN, 0});
    for (const GuestRecord& guest : guests_) {
      looks_.push_back({guest.deadline != kNever ? -1 : guest.connection.get(), POLLRDHUP, 0});
      looks_.push_back({guest.ended.get(), POLLIN, 0});
      wake = std::min(wake, guest.deadline);
    }
    int timeout = stopping_ ? 100 : -1;
    if (wake != kNever) {
      timeout = static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(std::max(wake - now, Clock::duration())).count());
    }
    if (poll(looks_.data(), looks_.size(), timeout) < 0)
      for (pollfd& look : looks_) look.revents = 0;
  }
  bool ready(size_t look) const { return looks_[look].revents != 0; }

  void accept() {
    File connection(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!connection && (errno == EMFILE || errno == ENFILE)) {
      // With the spare file the guest can at least be told.
      spare_ = File();
      const File refused(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
      spare_ = File(open("/dev/null", O_RDONLY | O_CLOEXEC));
      logLine("guest refused: no files left");
      paused_ = Clock::now() + kPause;
      return;
    }
    if (!connection) {
      if (errno == EAGAIN || errno == ECONNABORTED || errno == EINTR) return;
      logLine("accept: %s", std::strerror(errno));
      paused_ = Clock::now() + kPause;
      return;
    }
    if (guests_.size() >= supervision_.mostGuests) {
      logLine("guest refused: quota of %zu reached", guests_.size());
      return;
    }
    std::string error;
    if (!startGuest(std::move(connection), error)) {
      logLine("guest refused: %s", error.c_str());
      paused_ = Clock::now() + kPause;
    }
  }

  bool startGuest(File connection, std::string& error) {
    GuestRecord guest;
    guest.number = ++lastNumber_;
    const File page(createCounterPage());
    if (page) guest.counters.reset(mapCounterPage(page.get()));
    if (guest.counters == nullptr) {
      error = "no memory for counters";
      return false;
    }
    guest.process = fork();
    if (guest.process < 0) {
      error = std::string("no process: ") + std::strerror(errno);
      return false;
    }
    if (guest.process == 0) _exit(becomeGuest(guest.number, connection.get(), page.get()));
    guest.ended = File(static_cast<int>(syscall(SYS_pidfd_open, guest.process, 0)));
    if (!guest.ended) {
      error = std::string("no watch over a process: ") + std::strerror(errno);
      kill(guest.process, SIGKILL);
      waitpid(guest.process, nullptr, 0);
      return false;
    }
    guest.connection = std::move(connection);
    guests_.push_back(std::move(guest));
    return true;
  }

  // In the forked process: gets rid of all that is the supervisor's and serves the guest.
  int becomeGuest(uint32_t number, int connection, int page) {
    // In this order neither overwrites the other: the page is not at kConnection, where the supervisor has its signals.
    dup2(connection, kConnection);
    dup2(page, kCounters);
    close_range(kCounters + 1, ~0u, 0);
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nothing, 0);
    dup2(nothing, 1);
    close(nothing);
    for (GuestRecord& other : guests_) other.counters.reset();
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_NAME, ("qv-guest " + std::to_string(number)).c_str());
    GuestProcess process = supervision_.process;
    process.connection = kConnection;
    process.counters = kCounters;
    process.number = number;
    process.supervisor = process_;
    return serveGuest(process);
  }

  static void end(const GuestRecord& guest) { syscall(SYS_pidfd_send_signal, guest.ended.get(), SIGKILL, nullptr, 0); }

  // Notes guests that have gone and processes that have ended.
  void collect() {
    const Clock::time_point now = Clock::now();
    size_t kept = 0;
    const size_t looked = (looks_.size() - 3) / 2;
    for (size_t i = 0; i < guests_.size(); ++i) {
      GuestRecord& guest = guests_[i];
      if (i < looked && ready(3 + 2 * i + 1) && hasEnded(guest)) continue;
      if (i < looked && ready(3 + 2 * i) && guest.deadline == kNever) guest.deadline = now + kLastWords;
      if (now >= guest.deadline) {
        end(guest);
        guest.deadline = now + kLastWords;
      }
      if (kept != i) guests_[kept] = std::move(guest);
      ++kept;
    }
    guests_.resize(kept);
  }

  bool hasEnded(const GuestRecord& guest) const {
    int status = 0;
    if (waitpid(guest.process, &status, WNOHANG) != guest.process) return false;
    if (stopping_) return true;
    if (WIFSIGNALED(status)) {
      logLine("guest %u: process ended by signal %d", guest.number, WTERMSIG(status));
    } else if (WEXITSTATUS(status) != 0) {
      logLine("guest %u: process ended with status %d", guest.number, WEXITSTATUS(status));
    }
    return true;
  }

  // One message for each guest.
  void report() {
    const File asker(accept4(reports_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!asker) return;
    for (const GuestRecord& guest : guests_) {
      const GuestReport one = {guest.number, guest.process, guest.counters->read()};
      // Whoever does not take them does not get them.
      if (send(asker.get(), &one, sizeof one, MSG_NOSIGNAL) != sizeof one) return;
    }
  }

  const Supervision& supervision_;
  File signals_, listener_, reports_;
  File spare_;
  std::vector<GuestRecord> guests_;
  std::vector<pollfd> looks_;
  Clock::time_point paused_;
  const pid_t process_ = getpid();
  uint32_t lastNumber_ = 0;
  bool stopping_ = false;
};

}  // namespace

int supervise(const Supervision& supervision) { return Supervisor(supervision).run(); }

bool readReports(const std::string& path, std::vector<GuestReport>& reports) {
  sockaddr_un address;
  const File connection(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  if (!connection || !addressOf(reportPath(path), address) ||
      connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return false;
  }
  reports.clear();
  GuestReport one;
  while (recv(connection.get(), &one, sizeof one, 0) == static_cast<ssize_t>(sizeof one)) reports.push_back(one);
  return true;
}

}  // namespace qv::peer
