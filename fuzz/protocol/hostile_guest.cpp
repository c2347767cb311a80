// Messages, words and descriptors of a hostile guest.
#include "fuzz/protocol/hostile_guest.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>

#include "fuzz/core/command_maker.h"
#include "fuzz/core/require.h"
#include "fuzz/protocol/descriptors.h"
#include "peer/host/egl_display.h"
#include "wire/gl_api.h"

namespace qv::fuzz {
namespace {

using std::chrono::steady_clock;

constexpr uint32_t kProcess = 7;
constexpr auto kSoon = std::chrono::seconds(10);  // of an honest answer, on a machine with much else to do

// Small quotas, so that they are reached.
constexpr peer::Quotas kQuotas = {.contexts = 6,
                                  .windows = 6,
                                  .allocations = 6,
                                  .allocationBytes = 1 << 20,
                                  .drawableBytes = 4 << 20,
                                  .channelBytes = 4 * peer::kChannelBytes,
                                  .bufferBytes = 4096,
                                  .textureBytes = 65536,
                                  .renderbufferBytes = 65536,
                                  .listBytes = 4096};

// Puts the packet into a message, broken now and then.
template <typename Packet>
void pack(Random& random, peer::HostRequest& request, Packet packet) {
  if constexpr (requires { packet.processId; })
    packet.processId = random.oneIn(32) ? static_cast<uint32_t>(random.next()) : kProcess;
  static_assert(sizeof packet <= peer::kPacketRoom);
  std::memcpy(request.packet, &packet, sizeof packet);
  request.packetBytes = sizeof packet;
  if (!random.oneIn(8)) return;
  switch (random.below(3)) {
    case 0:
      request.packet[random.below(sizeof packet)] = static_cast<uint8_t>(random.next());
      return;
    case 1:
      request.packetBytes = random.below(peer::kPacketRoom + 8);
      return;
    default:
      for (uint8_t& byte : request.packet) byte = static_cast<uint8_t>(random.next());
      return;
  }
}

void drawAttributes(Random& random, std::span<uint16_t> words) {
  static constexpr uint16_t kWords[] = {GL_DOUBLEBUFFER,
                                        GL_VERSION,
                                        210,
                                        320,
                                        430,
                                        460,
                                        GL_CONTEXT_PROFILE_MASK,
                                        1,
                                        2,
                                        GL_SAMPLES,
                                        4,
                                        GL_RGBA,
                                        GL_RGB,
                                        GL_TEXTURE_2D,
                                        GL_TEXTURE_CUBE_MAP,
                                        GL_GENERATE_MIPMAP,
                                        GL_FRAMEBUFFER_SRGB};
  if (random.oneIn(2)) {
    words[0] = GL_DOUBLEBUFFER;
    return;
  }
  const uint32_t count = random.below(random.oneIn(8) ? words.size() + 1 : 6);
  for (uint32_t i = 0; i < count; ++i) words[i] = random.oneIn(32) ? static_cast<uint16_t>(random.next()) : random.of(kWords);
}

}  // namespace

HostileGuest::HostileGuest(bool throughSocket)
    : guest_(std::make_unique<peer::Guest>(counters_, *peer::EglDisplay::get(), 1, kQuotas)) {
  if (!throughSocket) {
    conversation_ = std::make_unique<peer::Conversation>(*guest_);
    return;
  }
  int ends[2];
  require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0, "no socket");
  socket_ = ends[0];
  host_ = std::thread([this, end = ends[1]] {
    peer::converse(end, *guest_);
    close(end);
  });
}

HostileGuest::~HostileGuest() {
  if (socket_ >= 0) close(socket_);
  if (host_.joinable()) host_.join();
  conversation_.reset();
  const auto from = steady_clock::now();
  guest_.reset();
  require(steady_clock::now() - from < kSoon, "the host is held up at the end of a guest");
  const peer::PeerCounters left = counters_.read();
  require(left.guests == 0 && left.contexts == 0 && left.glContexts == 0 && left.windows == 0 && left.surfaces == 0 &&
              left.channels == 0 && left.allocations == 0 && left.mappedBytes == 0,
          "the host keeps what a guest has left");
}

void HostileGuest::act(Random& random) {
  switch (random.below(16)) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 4:
      return sayPacket(random);
    case 5:
      return random.oneIn(16) ? sayAnything(random) : sayPacket(random);
    case 6:
      return openAllocation(random);
    case 7:
      return openChannel(anyId(random));
    default:
      if (channels_.empty()) return openChannel(anyId(random));
      auto at = channels_.begin();
      std::advance(at, random.below(channels_.size()));
      return flush(random, at->second);
  }
}

// Sends the record and what comes behind it, cut to `cut` bytes, and takes the reply.
void HostileGuest::say(Random& random, peer::HostRequest& request, const std::vector<uint8_t>& behind,
                       std::optional<uint32_t> cut, int file) {
  std::vector<uint8_t> message(sizeof request + behind.size());
  std::memcpy(message.data(), &request, sizeof request);
  std::copy(behind.begin(), behind.end(), message.begin() + sizeof request);
  if (cut) message.resize(std::min<size_t>(*cut, message.size()));
  peer::HostReply reply;
  int replyFile = -1;
  if (conversation_ != nullptr) {
    if (!conversation_->answer(message, file, reply, replyFile)) {
      conversation_.reset();
      replyFile = -1;
    } else if (replyFile >= 0) {
      replyFile = fcntl(replyFile, F_DUPFD_CLOEXEC, 0);
    }
  } else if (socket_ >= 0) {
    // Now and then with more files than a message has.
    bool there = !message.empty() && peer::sendMessage(socket_, message.data(), static_cast<uint32_t>(message.size()), nullptr, 0,
                                                       file < 0 && random.oneIn(32) ? socket_ : file);
    there = there && peer::receiveMessage(socket_, &reply, sizeof reply, replyFile) == sizeof reply;
    if (!there) {
      close(socket_);
      socket_ = -1;
    }
  }
  if (file >= 0) close(file);
  if (replyFile < 0) return;
  if (peer::ChannelMemory* const memory = peer::mapChannel(replyFile)) {
    channels_[request.contextId] = {std::shared_ptr<peer::ChannelMemory>(memory, peer::unmapChannel), memory->requests.load()};
  }
  close(replyFile);
}

void HostileGuest::sayPacket(Random& random) {
  peer::HostRequest request;
  request.message = peer::HostMessage::Packet;
  std::vector<uint8_t> path;
  switch (random.below(10)) {
    case 0:
      pack(random, request, VersionQueryPacket{});
      break;
    case 1:
    case 2: {
      CreateContextPacket packet;
      drawAttributes(random, packet.attributes);
      if (random.oneIn(4)) {
        path.resize(random.below(random.oneIn(16) ? 70000 : 64), 'a');
        packet.imagePath = {path.empty() ? 0u : 1u, static_cast<uint32_t>(random.oneIn(8) ? random.next() : path.size()),
                            random.oneIn(16)};
      }
      pack(random, request, packet);
      break;
    }
    case 3:
    case 4: {
      CreateWindowPacket packet;
      drawAttributes(random, packet.attributes);
      pack(random, request, packet);
      break;
    }
    case 5: {
      DeleteContextPacket packet;
      packet.contextId = anyId(random);
      pack(random, request, packet);
      break;
    }
    case 6: {
      DestroyWindowPacket packet;
      packet.windowId = anyId(random);
      pack(random, request, packet);
      break;
    }
    case 7: {
      ShareContextsPacket packet;
      packet.firstId = anyId(random);
      packet.secondId = anyId(random);
      pack(random, request, packet);
      break;
    }
    case 8: {
      CopyContextPacket packet;
      packet.sourceId = anyId(random);
      packet.destinationId = anyId(random);
      packet.mask = random.below(3);
      pack(random, request, packet);
      break;
    }
    default:
      pack(random, request, FlushPacket{});
      break;
  }
  request.pathBytes = static_cast<uint32_t>(path.size());
  request.pathReadable = !random.oneIn(16);
  // A message that cannot be understood ends the conversation, and with it the guest: not here.
  request.packetBytes = std::min(request.packetBytes, peer::kPacketRoom);
  say(random, request, path, {}, random.oneIn(32) ? anyDescriptor(random, 4096) : -1);
}

void HostileGuest::sayAnything(Random& random) {
  peer::HostRequest request;
  request.message = static_cast<peer::HostMessage>(random.below(8));
  if (random.oneIn(4)) request.protocol = random.below(4);
  request.packetBytes = random.oneIn(2) ? random.below(300) : static_cast<uint32_t>(random.next());
  request.pathBytes = random.oneIn(2) ? random.below(300) : static_cast<uint32_t>(random.next());
  request.contextId = anyId(random);
  const std::vector<uint8_t> behind(random.oneIn(2) ? request.pathBytes % 70000 : random.below(300), 0x5A);
  say(random, request, behind, random.oneIn(4) ? std::optional(random.below(sizeof request + 64)) : std::nullopt,
      anyDescriptor(random, 4096));
}

void HostileGuest::openAllocation(Random& random) {
  peer::HostRequest request;
  request.message = random.oneIn(4) ? peer::HostMessage::CloseAllocation : peer::HostMessage::OpenAllocation;
  const uint32_t width = 1 + random.below(80), height = 1 + random.below(80);
  peer::AllocationDescription& allocation = request.allocation;
  allocation = {anyId(random), width * 4 * height, width, height, width * 4};
  const int file = anyDescriptor(random, allocation.size);
  if (random.oneIn(4)) {
    uint32_t* const words[] = {&allocation.handle, &allocation.size, &allocation.width, &allocation.height, &allocation.pitch};
    *random.of(words) = random.oneIn(2) ? random.below(100) : static_cast<uint32_t>(random.next());
  }
  say(random, request, {}, {}, file);
}

void HostileGuest::openChannel(uint32_t context) {
  peer::HostRequest request;
  request.message = peer::HostMessage::OpenChannel;
  request.contextId = context;
  Random none(0);
  say(none, request, {}, {}, -1);
}

// Puts the stream into the ring as the guest's half does, as far as it goes without waiting.
void HostileGuest::writeStream(Random& random, peer::ChannelMemory& memory, const std::vector<uint8_t>& stream) {
  const auto bytes = static_cast<uint32_t>(std::min<size_t>(stream.size(), peer::kStreamRing));
  std::copy_n(stream.begin(), bytes, memory.streamRing);
  memory.streamWritten.store(bytes, std::memory_order_release);
  if (random.oneIn(8)) memory.streamFault.store(1, std::memory_order_release);
}

void HostileGuest::falsify(Random& random, peer::ChannelMemory& memory) {
  std::atomic<uint32_t>* const words[] = {
      &memory.requests,          &memory.streamWritten,   &memory.streamFault,       &memory.replyRead, &memory.writable,
      &memory.answers,           &memory.streamRead,      &memory.replyWritten,      &memory.closed,    &memory.peerBell.rings,
      &memory.peerBell.sleeping, &memory.guestBell.rings, &memory.guestBell.sleeping};
  std::atomic<uint32_t>& word = *random.of(words);
  const uint32_t before = word.load();
  word.store(random.oneIn(2) ? before + random.below(9) - 4 : static_cast<uint32_t>(random.next() >> random.below(32)));
  if (random.oneIn(2)) memory.flush.streamBytes = static_cast<uint32_t>(random.next() >> (32 + random.below(32)));
  honest_ = false;
}

void HostileGuest::flush(Random& random, Channel& channel) {
  peer::ChannelMemory& memory = *channel.memory;
  std::vector<uint8_t> stream;
  if (!random.oneIn(4)) CommandMaker(random).commands(random.below(12), stream);
  if (memory.closed.load() != 0) return;
  peer::FlushRequest request;
  request.processId = random.oneIn(32) ? 8 : kProcess;
  request.windowId = anyId(random);
  request.presentMode = random.oneIn(2) ? 0 : random.oneIn(16) ? 77 : random.oneIn(2) ? GL_FRONT : GL_BACK;
  for (int32_t& side : request.clientRect)
    side = random.oneIn(32) ? static_cast<int32_t>(random.next()) : static_cast<int32_t>(random.below(80));
  request.backBuffer = random.oneIn(2) ? 0 : anyId(random);
  request.streamBytes = static_cast<uint32_t>(stream.size());
  request.replyBytes = random.oneIn(4) ? random.below(600000) : random.below(16);
  request.reply2Bytes = random.oneIn(8) ? random.below(600000) : 0;
  memory.flush = request;
  memory.streamFault.store(0);
  memory.replyRead.store(0);
  const uint32_t number = ++channel.requests;
  memory.writable.store(number);
  writeStream(random, memory, stream);
  const bool lies = random.oneIn(6);
  if (lies) falsify(random, memory);
  memory.requests.store(number, std::memory_order_release);
  peer::ring(memory.peerBell);
  if (lies) {
    for (uint32_t n = random.below(4); n > 0; --n) falsify(random, memory);
    peer::ringAlways(memory.peerBell);
    return;
  }
  if (!honest_) return;
  // An honest flush is answered; its replies are taken as they come.
  const auto last = steady_clock::now() + kSoon;
  while (memory.answers.load(std::memory_order_acquire) != number) {
    memory.replyRead.store(memory.replyWritten.load(std::memory_order_acquire), std::memory_order_release);
    peer::ring(memory.peerBell);
    if (memory.closed.load() != 0 || guest_->ended()) return;
    require(steady_clock::now() < last, "an honest flush is not answered");
    std::this_thread::yield();
  }
  const peer::FlushAnswer answer = memory.answer;
  require(answer.replyBytes <= request.replyBytes && answer.reply2Bytes <= request.reply2Bytes,
          "a reply is longer than its buffer");
}

}  // namespace qv::fuzz
