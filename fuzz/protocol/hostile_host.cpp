// The answers of a hostile host, and its guest.
#include "fuzz/protocol/hostile_host.h"

#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "fuzz/core/packet_guest.h"
#include "fuzz/core/require.h"
#include "fuzz/protocol/descriptors.h"
#include "peer/link/channel.h"
#include "peer/link/host_client.h"
#include "peer/link/host_protocol.h"
#include "wire/gl_api.h"

namespace qv::fuzz {
namespace {

// Answers messages until the guest is gone, or until it gives up.
class Host {
 public:
  Host(int socket, uint64_t seed)
      : socket_(socket), random_(seed), answering_([this] { answerMessages(); }), watching_([this] { watchFlushes(); }) {}
  ~Host() {
    answering_.join();
    over_.store(true);
    watching_.join();
  }

  // Writes the words of the next answer before the guest asks for it.
  void beginFlush() {
    flushes_.fetch_add(1);
    peer::ChannelMemory* const channel = channel_.load();
    if (channel == nullptr) return;
    channel->answer = {random_.oneIn(4) ? static_cast<int32_t>(random_.next()) : 0, amount(), amount(), 3};
    channel->replyWritten.store(amount());
    channel->streamRead.store(random_.oneIn(4) ? amount() : 0);
    channel->answers.store(random_.oneIn(8) ? amount() : channel->requests.load() + 1);
    if (random_.oneIn(64)) channel->closed.store(1);
  }
  void endFlush() { flushes_.fetch_add(1); }

 private:
  uint32_t amount() { return random_.oneIn(2) ? random_.below(40) : static_cast<uint32_t>(random_.next() >> (32 + random_.below(32))); }

  void answerMessages() {
    peer::HostRequest request;
    int file = -1;
    bool first = true;
    while (peer::receiveMessage(socket_, &request, sizeof request, file) != 0) {
      if (file >= 0) close(file);
      file = -1;
      peer::HostReply reply;
      reply.done = !random_.oneIn(8);
      std::memcpy(reply.packet, request.packet, sizeof reply.packet);
      EscapeHeader header;
      std::memcpy(&header, reply.packet, sizeof header);
      header.status = random_.oneIn(8) ? static_cast<int32_t>(random_.next()) : 0;
      std::memcpy(reply.packet, &header, sizeof header);
      const uint32_t id = 1 + random_.below(3);  // where both packets that make something have it
      std::memcpy(reply.packet + offsetof(CreateContextPacket, contextId), &id, sizeof id);
      if (random_.oneIn(16)) reply.packet[random_.below(sizeof reply.packet)] = static_cast<uint8_t>(random_.next());
      int sent = -1;
      if (request.message == peer::HostMessage::OpenChannel && !random_.oneIn(8)) {
        sent = random_.oneIn(4) ? anyDescriptor(random_, peer::kChannelBytes) : peer::createChannelFile();
        if (sent >= 0) keepChannel(sent);
      } else if (random_.oneIn(32)) {
        sent = anyDescriptor(random_, 4096);
      }
      uint32_t bytes = sizeof reply;
      if (!first && random_.oneIn(64)) bytes = 1 + random_.below(sizeof reply);
      if (!first && random_.oneIn(64)) reply.protocol = random_.below(4);
      first = false;
      const bool there = peer::sendMessage(socket_, &reply, bytes, nullptr, 0, sent);
      if (sent >= 0) close(sent);
      if (!there || random_.oneIn(256)) break;
    }
    if (file >= 0) close(file);
    shutdown(socket_, SHUT_RDWR);
    close(socket_);
  }

  // What a guest waits for after a lie never comes: its channel is closed when a flush has taken a while.
  void watchFlushes() {
    uint32_t before = 0;
    while (!over_.load()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      const uint32_t now = flushes_.load();
      peer::ChannelMemory* const channel = channel_.load();
      if (now % 2 == 1 && now == before && channel != nullptr) {
        channel->closed.store(1);
        peer::ringAlways(channel->guestBell);
      }
      before = now;
    }
  }

  void keepChannel(int file) {
    if (peer::ChannelMemory* const memory = peer::mapChannel(file)) {
      mappings_.emplace_back(memory, peer::unmapChannel);
      channel_.store(memory);
    }
  }

  const int socket_;
  Random random_;  // of the answering thread and, between two messages, of the guest's
  std::vector<std::shared_ptr<peer::ChannelMemory>> mappings_;
  std::atomic<peer::ChannelMemory*> channel_{nullptr};  // the last that has been opened
  std::atomic<uint32_t> flushes_{0};                    // odd while one is under way
  std::atomic<bool> over_{false};
  std::thread answering_, watching_;
};

}  // namespace

void runGuestOfHostileHost(uint64_t seed, uint32_t actions) {
  int ends[2];
  require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0, "no socket");
  Host host(ends[1], seed);
  const std::unique_ptr<peer::HostClientGpu> link = peer::connectThrough(ends[0]);
  if (link == nullptr) return;
  Random random(~seed);
  PacketGuest guest(*link, 7);
  const SurfaceMemory surface(5, 16, 16);
  const uint16_t attributes[] = {GL_DOUBLEBUFFER, 0};
  std::vector<uint8_t> stream(64, 0), reply, reply2;
  for (uint32_t i = 0; i < actions; ++i) {
    const uint32_t id = 1 + random.below(3);
    switch (random.below(8)) {
      case 0:
        guest.createContext(attributes);
        break;
      case 1:
        guest.createWindow(attributes);
        break;
      case 2:
        random.oneIn(2) ? guest.deleteContext(id) : guest.share(id, 1);
        break;
      case 3:
        if (link->openAllocation(surface.allocation())) link->closeAllocation(5);
        break;
      default: {
        reply.assign(random.oneIn(2) ? 16 : random.below(300000), 0);
        reply2.assign(random.oneIn(4) ? random.below(64) : 0, 0);
        PacketGuest::Flush flush;
        flush.context = id;
        flush.window = 1;
        flush.stream = stream;
        flush.reply = reply;
        flush.reply2 = reply2;
        host.beginFlush();
        guest.flush(flush);
        host.endFlush();
        break;
      }
    }
    if (!guest.answered() && random.oneIn(4)) break;
  }
}

}  // namespace qv::fuzz
