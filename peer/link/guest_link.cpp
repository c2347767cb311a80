// Carries a guest's packets: control packets by the transport, flushes through their context's channel.
#include "peer/link/guest_link.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <utility>
#include <vector>

#include "peer/link/log.h"
#include "peer/link/status.h"
#include "wire/gl_api.h"

namespace qv::peer {
namespace {

constexpr NTSTATUS kGone = static_cast<NTSTATUS>(0xC00002B6);  // STATUS_DEVICE_REMOVED
constexpr uint32_t kPiece = 64 * 1024;                         // of a stream that does not go in one
constexpr uint32_t kWholeStream = 128 * 1024;                  // a stream up to here is written before the other side is told
constexpr uint32_t kRoomSpin = 20000;  // nanoseconds; the other side is at its replaying
constexpr uint32_t kLongestPath = 32 * 1024;
constexpr uint32_t kLongestPacket = 256;
constexpr uint32_t kAliveCheck = 200;  // milliseconds of waiting between two looks at whether the other half is still there

}  // namespace

struct GuestLink::Totals {
  std::atomic<uint64_t> packets{0}, flushes{0}, frames{0}, roundTrips{0}, commands{0}, streamBytes{0};
};

// The guest's end of one context's channel, opened with the first flush. A context belongs to one thread, but a swap may flush it
// from another.
struct GuestLink::ContextChannel {
  explicit ContextChannel(GuestTransport& transport) : transport_(transport) {}

  // Sends the flush, waits for its answer and brings the replies home. False when the other half is gone.
  // `finishReads`, when there is one, is called while the other half draws already.
  bool flush(const FlushPacket& packet, FlushAnswer& answer, void (*finishReads)(void* context), void* context);

 private:
  bool sendStream(const FlushPacket& packet, uint32_t total);
  bool answered() const { return memory_->answers.load(std::memory_order_acquire) == requests_; }
  bool closed() const { return memory_->closed.load(std::memory_order_relaxed) != 0; }
  void publish() {
    if (published_) return;
    memory_->requests.store(requests_, std::memory_order_release);
    published_ = true;
  }
  template <typename Ready>
  bool wait(uint32_t spin, Ready&& ready) {
    return waitFor(memory_->guestBell, spin, kAliveCheck, ready, [&] { return !closed() && transport_.alive(); });
  }

  std::mutex mutex_;
  std::shared_ptr<ChannelMemory> memory_;  // null before the first flush
  GuestTransport& transport_;
  OwnMemory guest_;
  uint32_t requests_ = 0;
  bool published_ = false;
  SpinBudget replySpin_, frameSpin_;  // by what the guest waits for
};

bool GuestLink::ContextChannel::flush(const FlushPacket& packet, FlushAnswer& answer, void (*finishReads)(void* context),
                                      void* context) {
  const std::lock_guard lock(mutex_);
  if (memory_ == nullptr) memory_ = transport_.openChannel(packet.contextId);
  if (memory_ == nullptr) {
    if (!transport_.alive()) return false;
    logLine("context %u: no channel", packet.contextId);
    answer = {.status = kStatusUnavailable};
    return true;
  }
  ChannelMemory& channel = *memory_;
  if (closed()) return false;
  FlushRequest request;  // the words there are the other half's to change
  request.processId = packet.processId;
  request.windowId = packet.windowId;
  request.presentMode = packet.presentMode;
  std::copy_n(packet.clientRect, 4, request.clientRect);
  request.backBuffer = packet.backBuffer;
  request.streamBytes = packet.stream.address == 0 ? 0 : packet.stream.size;
  request.replyBytes = packet.reply.address == 0 ? 0 : packet.reply.size;
  request.reply2Bytes = packet.reply2.address == 0 ? 0 : packet.reply2.size;
  channel.flush = request;
  channel.streamWritten.store(0, std::memory_order_relaxed);
  channel.streamFault.store(0, std::memory_order_relaxed);
  channel.replyRead.store(0, std::memory_order_relaxed);
  ++requests_;
  published_ = false;
  const uint64_t from = detail::monotonicNanoseconds();
  if (finishReads == nullptr) channel.writable.store(requests_, std::memory_order_relaxed);  // published with the request
  if (!sendStream(packet, request.streamBytes)) return false;
  if (finishReads != nullptr) {
    finishReads(context);
    channel.writable.store(requests_, std::memory_order_release);
    ring(channel.peerBell);
  }

  const auto fetch = [&](uint64_t at, uint32_t bytes) {
    const uint32_t inRing = static_cast<uint32_t>(at % kReplyRing);
    const bool second = at >= answer.replyBytes;
    const uint64_t inPart = second ? at - answer.replyBytes : at;
    const uint64_t partLength = second ? answer.reply2Bytes : answer.replyBytes;
    auto piece = static_cast<uint32_t>(std::min<uint64_t>({bytes, partLength - inPart, kReplyRing - inRing}));
    uint64_t offset = inPart;
    if (!second && answer.rows.isImage()) {
      const ReplyRows::Place place = answer.rows.placeOf(static_cast<uint32_t>(inPart));
      offset = place.offset;
      piece = std::min(piece, place.bytes);
    }
    const bool done =
        guest_.write((second ? packet.reply2.address : packet.reply.address) + offset, channel.replyRing + inRing, piece);
    return std::pair(done, piece);
  };
  SpinBudget& spin = packet.presentMode != 0 ? frameSpin_ : replySpin_;
  uint64_t fetched = 0;
  bool known = false, unwritable = false;
  for (;;) {
    uint32_t written = 0;
    const bool ready = wait(spin.nanoseconds(), [&] {
      written = channel.replyWritten.load(std::memory_order_acquire);
      return answered() || written > static_cast<uint32_t>(fetched);
    });
    if (!ready) return false;
    const bool last = answered();
    // It stands before the first byte of a reply arrives.
    if (!known) answer = channel.answer;
    const uint64_t total = uint64_t{answer.replyBytes} + answer.reply2Bytes;
    if (!answer.rows.fits(answer.replyBytes, request.replyBytes) || answer.reply2Bytes > request.reply2Bytes ||
        (!last && written > total)) {
      logLine("context %u: replies of %u and %u bytes, %u and %u asked for", packet.contextId, answer.replyBytes,
              answer.reply2Bytes, request.replyBytes, request.reply2Bytes);
      return false;
    }
    known = true;
    const uint64_t there = last ? total : written;
    while (fetched < there) {
      const auto [done, piece] = fetch(fetched, static_cast<uint32_t>(std::min<uint64_t>(there - fetched, kReplyRing)));
      unwritable = unwritable || !done;
      fetched += piece;
    }
    if (last) break;
    channel.replyRead.store(static_cast<uint32_t>(fetched), std::memory_order_release);
    ring(channel.peerBell);
  }
  spin.waited(detail::monotonicNanoseconds() - from);
  if (unwritable && answer.status == 0) {
    logLine("context %u: reply buffers of %u and %u bytes not writable", packet.contextId, packet.reply.size,
            packet.reply2.size);
    answer.status = kStatusMalformed;
  }
  return true;
}

// False when the other half is gone. A stream that cannot be read, or that the other half gives up on, is not a failure here.
bool GuestLink::ContextChannel::sendStream(const FlushPacket& packet, uint32_t total) {
  ChannelMemory& channel = *memory_;
  uint32_t written = 0;
  while (written < total) {
    uint32_t piece = std::min(total - written, total <= kWholeStream ? kWholeStream : kPiece);
    const auto used = [&] { return written - channel.streamRead.load(std::memory_order_acquire); };
    if (used() + piece > kStreamRing) {
      publish();
      ring(channel.peerBell);
      // For much room at once, not for a piece at a time.
      if (!wait(kRoomSpin, [&] { return used() <= kStreamRing / 2 || answered(); })) return false;
    }
    if (published_ && answered()) return true;
    const uint32_t at = written % kStreamRing;
    piece = std::min(piece, kStreamRing - at);
    if (!guest_.read(packet.stream.address + written, channel.streamRing + at, piece)) {
      channel.streamFault.store(1, std::memory_order_release);
      break;
    }
    written += piece;
    channel.streamWritten.store(written, std::memory_order_release);
    if (total > kWholeStream) {
      publish();
      ring(channel.peerBell);
    }
  }
  publish();
  ring(channel.peerBell);
  return true;
}

GuestLink::GuestLink(std::unique_ptr<GuestTransport> transport)
    : transport_(std::move(transport)), totals_(std::make_unique<Totals>()) {}
GuestLink::~GuestLink() = default;

NTSTATUS GuestLink::escapeFrame(void* packet, uint32_t size, void (*finishReads)(void* context), void* context) {
  totals_->packets.fetch_add(1, std::memory_order_relaxed);
  uint8_t* const bytes = static_cast<uint8_t*>(packet);
  EscapeHeader header;
  if (bytes != nullptr && size >= sizeof header) {
    std::memcpy(&header, bytes, sizeof header);
    if (header.code == EscapeCode::Flush) return flush(bytes, size, finishReads, context);
  }
  if (bytes == nullptr || size < sizeof header || size > kLongestPacket) {
    // There is no status field to write.
    logLine("packet of %u bytes", size);
    return kStatusMalformed;
  }
  return control(bytes, size);
}

NTSTATUS GuestLink::control(uint8_t* packet, uint32_t size) {
  std::vector<uint8_t> path;
  bool readable = true;
  EscapeHeader header;
  std::memcpy(&header, packet, sizeof header);
  if (header.code == EscapeCode::CreateContext && size == sizeof(CreateContextPacket)) {
    CreateContextPacket create;
    std::memcpy(&create, packet, sizeof create);
    if (create.imagePath.address != 0) {
      readable = create.imagePath.size <= kLongestPath;
      if (readable) path.resize(create.imagePath.size);
      OwnMemory memory;
      if (readable) readable = memory.read(create.imagePath.address, path.data(), path.size());
    }
  }
  if (!transport_->deliver({packet, size}, path, readable)) return kGone;
  std::memcpy(&header, packet, sizeof header);
  if (header.status != 0) return 0;
  if (header.code == EscapeCode::CreateContext && size == sizeof(CreateContextPacket)) {
    CreateContextPacket create;
    std::memcpy(&create, packet, sizeof create);
    const std::lock_guard lock(mutex_);
    channels_[create.contextId] = std::make_shared<ContextChannel>(*transport_);
  }
  if (header.code == EscapeCode::DeleteContext && size == sizeof(DeleteContextPacket)) {
    DeleteContextPacket remove;
    std::memcpy(&remove, packet, sizeof remove);
    std::shared_ptr<ContextChannel> gone;  // unmapped outside the lock
    const std::lock_guard lock(mutex_);
    if (const auto at = channels_.find(remove.contextId); at != channels_.end()) {
      gone = std::move(at->second);
      channels_.erase(at);
    }
  }
  return 0;
}

std::shared_ptr<GuestLink::ContextChannel> GuestLink::find(uint32_t contextId) {
  const std::lock_guard lock(mutex_);
  const auto at = channels_.find(contextId);
  return at == channels_.end() ? nullptr : at->second;
}

NTSTATUS GuestLink::flush(uint8_t* bytes, uint32_t size, void (*finishReads)(void* context), void* context) {
  constexpr size_t kStatusAt = offsetof(EscapeHeader, status);
  const auto failed = [&] {
    const int32_t status = kStatusMalformed;
    std::memcpy(bytes + kStatusAt, &status, sizeof status);
    return NTSTATUS{0};
  };
  FlushPacket packet;
  if (size != sizeof packet) {
    logLine("flush packet of %u bytes", size);
    return failed();
  }
  std::memcpy(&packet, bytes, sizeof packet);
  if (packet.header.packetClass != kPacketClass || packet.header.layout != FlushPacket{}.header.layout) {
    logLine("flush packet of class %u with layout word %u", packet.header.packetClass, packet.header.layout);
    return failed();
  }
  if (packet.stream.direction != 0 || packet.reply.direction != 1 || packet.reply2.direction != 1) {
    logLine("flush packet with buffer directions %u, %u, %u", packet.stream.direction, packet.reply.direction,
            packet.reply2.direction);
    return failed();
  }
  const std::shared_ptr<ContextChannel> channel = find(packet.contextId);
  if (channel == nullptr) {
    logLine("flush: unknown context %u", packet.contextId);
    return failed();
  }
  totals_->flushes.fetch_add(1, std::memory_order_relaxed);
  if (packet.presentMode != 0) totals_->frames.fetch_add(1, std::memory_order_relaxed);
  if (packet.reply.address != 0 || packet.reply2.address != 0) totals_->roundTrips.fetch_add(1, std::memory_order_relaxed);
  if (packet.stream.address != 0) totals_->streamBytes.fetch_add(packet.stream.size, std::memory_order_relaxed);
  FlushAnswer answer;
  if (!channel->flush(packet, answer, finishReads, context)) return kGone;
  totals_->commands.fetch_add(answer.commands, std::memory_order_relaxed);
  std::memcpy(bytes + kStatusAt, &answer.status, sizeof answer.status);
  std::memcpy(bytes + offsetof(FlushPacket, reply) + offsetof(EscapeBufferRow, size), &answer.replyBytes, 4);
  std::memcpy(bytes + offsetof(FlushPacket, reply2) + offsetof(EscapeBufferRow, size), &answer.reply2Bytes, 4);
  return 0;
}

GuestStatistics GuestLink::statistics() const {
  GuestStatistics out;
  out.packets = totals_->packets.load();
  out.flushes = totals_->flushes.load();
  out.frames = totals_->frames.load();
  out.roundTrips = totals_->roundTrips.load();
  out.commands = totals_->commands.load();
  out.streamBytes = totals_->streamBytes.load();
  return out;
}

}  // namespace qv::peer
