// Answers the messages of guests.
#include "peer/host/host_server.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

#include "peer/host/guest.h"
#include "peer/link/host_protocol.h"
#include "peer/link/log.h"

namespace qv::peer {
namespace {

constexpr uint32_t kLongestMessage = sizeof(HostRequest) + 64 * 1024;

// One guest's messages. The guest comes into being with the first one that is more than a question.
class Conversation {
 public:
  Conversation(LiveCounters& counters, const EglDisplay& display) : counters_(counters), display_(display) {}

  // False ends the conversation. `reply` and `replyFile` are what goes back; both files stay the caller's.
  bool answer(std::span<const uint8_t> message, int file, HostReply& reply, int& replyFile) {
    HostRequest request;
    if (message.size() < sizeof request) return refuse("a message of %zu bytes", message.size());
    std::memcpy(&request, message.data(), sizeof request);
    if (request.protocol != kHostProtocol) return refuse("a guest of protocol %u", size_t{request.protocol});
    if (request.packetBytes > kPacketRoom || request.pathBytes != message.size() - sizeof request) {
      return refuse("a packet of %zu bytes", size_t{request.packetBytes});
    }
    reply.done = 1;
    switch (request.message) {
      case HostMessage::Counters:
        break;
      case HostMessage::Packet:
        std::memcpy(reply.packet, request.packet, request.packetBytes);
        made_ = guest().answer({reply.packet, request.packetBytes}, {message.subspan(sizeof request), request.pathReadable != 0});
        if (made_ != nullptr) replyFile = made_->channelFile();
        break;
      case HostMessage::OpenAllocation:
        reply.done = file >= 0 && guest().allocations().open(request.allocation, file);
        break;
      case HostMessage::CloseAllocation:
        reply.done = guest().allocations().close(request.allocation.handle);
        break;
      default:
        return refuse("message %zu", static_cast<size_t>(request.message));
    }
    reply.counters = counters_.read();
    return true;
  }
  // The reply has gone out.
  void answered() { made_ = nullptr; }

 private:
  Guest& guest() {
    if (guest_ == nullptr) guest_ = std::make_unique<Guest>(counters_, display_);
    return *guest_;
  }
  static bool refuse(const char* format, size_t value) {
    char text[96];
    std::snprintf(text, sizeof text, format, value);
    logLine("%s: the connection is closed", text);
    return false;
  }

  LiveCounters& counters_;
  const EglDisplay& display_;
  std::unique_ptr<Guest> guest_;
  std::shared_ptr<Context> made_;  // keeps the channel file open until it has been sent
};

}  // namespace

HostServer::~HostServer() {
  std::unique_lock lock(mutex_);
  for (const int socket : sockets_) shutdown(socket, SHUT_RDWR);
  served_.wait(lock, [&] { return sockets_.empty(); });
}

void HostServer::serve(int socket) {
  {
    const std::lock_guard lock(mutex_);
    sockets_.insert(socket);
  }
  {
    Conversation conversation(counters_, display_);
    std::vector<uint8_t> memory(kLongestMessage);
    int file = -1;
    while (const uint32_t bytes = receiveMessage(socket, memory.data(), kLongestMessage, file)) {
      HostReply reply;
      int replyFile = -1;
      const bool go = conversation.answer({memory.data(), bytes}, file, reply, replyFile);
      if (file >= 0) close(file);
      if (!go || !sendMessage(socket, &reply, sizeof reply, nullptr, 0, replyFile)) break;
      conversation.answered();
    }
    // A guest that is still there learns that nobody answers any more.
    shutdown(socket, SHUT_RDWR);
  }
  const std::lock_guard lock(mutex_);
  sockets_.erase(socket);
  close(socket);
  served_.notify_all();
}

void HostServer::serveApart(int socket) {
  {
    // Before the thread runs, so that the destructor knows of it.
    const std::lock_guard lock(mutex_);
    sockets_.insert(socket);
  }
  try {
    std::thread([this, socket] { serve(socket); }).detach();
  } catch (const std::system_error&) {
    logLine("no thread for a guest");
    const std::lock_guard lock(mutex_);
    sockets_.erase(socket);
    close(socket);
  }
}

}  // namespace qv::peer
