// qv-host: the peer as a process of its own.
//
//   qv-host --socket PATH   serves every guest that connects there, until SIGTERM or SIGINT
//   qv-host --guest FD      serves the one guest at the other end of FD in the background, and ends with it
//   qv-host --stats PATH    prints what the host at PATH holds now, one `name value` per line
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "peer/host/egl_display.h"
#include "peer/host/host_server.h"
#include "peer/link/host_client.h"

namespace {

using namespace qv::peer;

int stopPipe[2] = {-1, -1};

void onStopSignal(int) {
  const char byte = 0;
  [[maybe_unused]] const ssize_t written = write(stopPipe[1], &byte, 1);
}

int fail(const std::string& text) {
  std::fprintf(stderr, "qv-host: %s\n", text.c_str());
  return 2;
}

int listenAt(const std::string& path, std::string& error) {
  sockaddr_un address{};
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    error = path + ": not a name for a socket";
    return -1;
  }
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const int socket = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  // A host that was killed leaves its socket behind: take its place, but not that of one that listens.
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
    const int probe = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) unlink(path.c_str());
    close(probe);
  }
  if (socket < 0 || bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(socket, 64) != 0) {
    error = path + ": " + std::strerror(errno);
    if (socket >= 0) close(socket);
    return -1;
  }
  return socket;
}

int serveSocket(const std::string& path) {
  std::string error;
  const EglDisplay* const display = EglDisplay::get(&error);
  if (display == nullptr) return fail(error);
  const int listener = listenAt(path, error);
  if (listener < 0) return fail(error);
  if (pipe2(stopPipe, O_CLOEXEC) != 0) return fail("no pipe");
  struct sigaction action {};
  action.sa_handler = onStopSignal;
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  {
    HostServer server(*display);
    pollfd looks[2] = {{listener, POLLIN, 0}, {stopPipe[0], POLLIN, 0}};
    while (poll(looks, 2, -1) >= 0 || errno == EINTR) {
      if ((looks[1].revents & POLLIN) != 0) break;
      if ((looks[0].revents & POLLIN) == 0) continue;
      const int guest = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      if (guest >= 0) server.serveApart(guest);
    }
    unlink(path.c_str());
    close(listener);
  }
  return 0;
}

int serveGuest(int socket) {
  const pid_t child = fork();
  if (child < 0) return fail("no process");
  if (child > 0) return 0;
  // Out of the application's reach: its terminal, its files. Its error stream stays, for the log.
  setsid();
  const int nothing = open("/dev/null", O_RDWR);
  dup2(nothing, 0);
  dup2(nothing, 1);
  dup2(socket, 3);
  close_range(4, ~0u, 0);
  std::string error;
  const EglDisplay* const display = EglDisplay::get(&error);
  if (display == nullptr) return fail(error);
  HostServer server(*display);
  server.serve(3);
  return 0;
}

int printStatistics(const std::string& path) {
  const auto client = connectToHost(path);
  if (client == nullptr) return fail("no qv-host listens at " + path);
  const PeerCounters counters = client->counters();
  std::printf(
      "guests %u\ncontexts %u\nglContexts %u\nwindows %u\nsurfaces %u\nchannels %u\nallocations %u\nmappedBytes %llu\nlogLines "
      "%llu\n",
      counters.guests, counters.contexts, counters.glContexts, counters.windows, counters.surfaces, counters.channels,
      counters.allocations, static_cast<unsigned long long>(counters.mappedBytes),
      static_cast<unsigned long long>(counters.logLines));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string verb = argc == 3 ? argv[1] : "";
  if (verb == "--socket") return serveSocket(argv[2]);
  if (verb == "--guest") return serveGuest(std::atoi(argv[2]));
  if (verb == "--stats") return printStatistics(argv[2]);
  return fail("use: qv-host --socket PATH | --guest FD | --stats PATH");
}
