// The guest's end of the socket, and the start of a host of its own.
#include "peer/link/host_client.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "peer/link/guest_link.h"
#include "peer/link/host_protocol.h"
#include "peer/link/log.h"

extern char** environ;

namespace qv::peer {
namespace {

class HostTransport final : public GuestTransport {
 public:
  // Owns the socket.
  explicit HostTransport(int socket) : socket_(socket) {}
  ~HostTransport() override { close(socket_); }

  bool deliver(std::span<uint8_t> packet, std::span<const uint8_t> path, bool pathReadable) override {
    HostRequest request;
    request.message = HostMessage::Packet;
    if (packet.size() > sizeof request.packet) {
      logLine("packet: %zu bytes are too many", packet.size());
      return false;
    }
    request.packetBytes = static_cast<uint32_t>(packet.size());
    request.pathBytes = static_cast<uint32_t>(path.size());
    request.pathReadable = pathReadable;
    std::memcpy(request.packet, packet.data(), packet.size());
    HostReply reply;
    if (!ask(request, path, -1, reply, nullptr)) return false;
    std::memcpy(packet.data(), reply.packet, packet.size());
    return true;
  }

  std::shared_ptr<ChannelMemory> openChannel(uint32_t contextId) override {
    HostRequest request;
    request.message = HostMessage::OpenChannel;
    request.contextId = contextId;
    HostReply reply;
    int file = -1;
    if (!ask(request, {}, -1, reply, &file) || file < 0) return nullptr;
    ChannelMemory* const memory = mapChannel(file);
    close(file);
    return memory == nullptr ? nullptr : std::shared_ptr<ChannelMemory>(memory, unmapChannel);
  }

  bool openAllocation(const sim::GpuAllocation& allocation) override {
    HostRequest request;
    request.message = HostMessage::OpenAllocation;
    request.allocation = {allocation.handle, allocation.size, allocation.width, allocation.height, allocation.pitch};
    HostReply reply;
    return ask(request, {}, allocation.fd, reply, nullptr) && reply.done != 0;
  }

  void closeAllocation(uint32_t handle) override {
    HostRequest request;
    request.message = HostMessage::CloseAllocation;
    request.allocation.handle = handle;
    HostReply reply;
    ask(request, {}, -1, reply, nullptr);
  }

  bool alive() override {
    if (gone_.load(std::memory_order_relaxed)) return false;
    pollfd look{socket_, POLLRDHUP, 0};
    if (poll(&look, 1, 0) > 0 && (look.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0) gone_.store(true);
    return !gone_.load();
  }

  PeerCounters counters() override {
    HostRequest request;
    request.message = HostMessage::Counters;
    HostReply reply;
    return ask(request, {}, -1, reply, nullptr) ? reply.counters : PeerCounters{};
  }

 private:
  // One message and its reply. False when the host is gone.
  bool ask(const HostRequest& request, std::span<const uint8_t> path, int file, HostReply& reply, int* replyFile) {
    const std::lock_guard lock(mutex_);
    if (gone_.load()) return false;
    int received = -1;
    if (!sendMessage(socket_, &request, sizeof request, path.data(), static_cast<uint32_t>(path.size()), file) ||
        receiveMessage(socket_, &reply, sizeof reply, received) != sizeof reply || reply.protocol != kHostProtocol) {
      gone_.store(true);
    }
    if (replyFile != nullptr && !gone_.load()) {
      *replyFile = received;
    } else if (received >= 0) {
      close(received);
    }
    return !gone_.load();
  }

  const int socket_;
  std::mutex mutex_;
  std::atomic<bool> gone_{false};
};

// Where qv-host is: QV_HOST_BINARY, else beside the file that this code is in, else its bare name for the search path.
std::string hostProgram() {
  if (const char* const named = std::getenv("QV_HOST_BINARY"); named != nullptr && *named != 0) return named;
  Dl_info here{};
  if (dladdr(reinterpret_cast<const void*>(&hostProgram), &here) != 0 && here.dli_fname != nullptr) {
    const std::string file = here.dli_fname;
    const size_t slash = file.rfind('/');
    const std::string beside = (slash == std::string::npos ? std::string("./") : file.substr(0, slash + 1)) + "qv-host";
    if (access(beside.c_str(), X_OK) == 0) return beside;
  }
  return "qv-host";
}

std::unique_ptr<HostClientGpu> startOwnHost(std::string& error) {
  const std::string program = hostProgram();
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
    error = "no socket for a qv-host";
    return nullptr;
  }
  constexpr int kGuestEnd = 3;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], kGuestEnd);
  char name[] = "qv-host", option[] = "--guest", end[] = "3";
  char* const arguments[] = {name, option, end, nullptr};
  pid_t child = -1;
  const int failure = posix_spawnp(&child, program.c_str(), &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  if (failure != 0) {
    close(ends[0]);
    error = program + ": " + std::strerror(failure);
    return nullptr;
  }
  // qv-host leaves a process of its own behind and ends, so that the application never sees a child that it does not know.
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  std::unique_ptr<HostClientGpu> client = connectThrough(ends[0]);
  if (client == nullptr) error = program + " did not start";
  return client;
}

}  // namespace

std::unique_ptr<HostClientGpu> connectThrough(int socket) {
  auto transport = std::make_unique<HostTransport>(socket);
  // The first exchange shows whether a host is there that knows the protocol.
  transport->counters();
  if (!transport->alive()) return nullptr;
  return std::make_unique<HostClientGpu>(std::move(transport));
}

std::unique_ptr<HostClientGpu> connectToHost(const std::string& socketPath) {
  sockaddr_un address{};
  if (socketPath.size() >= sizeof address.sun_path) return nullptr;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
  const int socket = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  if (socket < 0) return nullptr;
  if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(socket);
    return nullptr;
  }
  return connectThrough(socket);
}

std::unique_ptr<HostClientGpu> startHost(std::string* error) {
  std::string reason;
  std::unique_ptr<HostClientGpu> client;
  if (const char* const path = std::getenv("QV_HOST_SOCKET"); path != nullptr && *path != 0) {
    client = connectToHost(path);
    if (client == nullptr) reason = std::string("no qv-host listens at ") + path;
  } else {
    client = startOwnHost(reason);
  }
  if (error != nullptr) *error = reason;
  return client;
}

}  // namespace qv::peer
