// The life of a context's thread, and the serving of one flush.
#include "peer/host/context.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <thread>

#include "peer/host/frame.h"
#include "peer/host/guest.h"
#include "peer/host/side_context.h"
#include "peer/link/log.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/opcode_table.h"
#include "peer/replay/replay_state.h"
#include "wire/sizes.h"

namespace qv::peer {
namespace {

// The longest single command. A vertex run may pass the guest's own limit for a stream of 96 MiB by far.
constexpr uint32_t kLongestCommand = 1u << 30;
constexpr int32_t kLargestSide = 16384;      // of a drawable
constexpr uint32_t kLong = 32 * 1024;        // bytes of a command that is taken by itself
constexpr uint32_t kLittle = 4096;           // bytes of what may be another one
constexpr uint32_t kReplyPiece = 32 * 1024;  // of a reply that does not go in one
constexpr uint32_t kStreamSpin = 20000;      // nanoseconds; the guest is at its copying
constexpr uint32_t kLook = 250;              // milliseconds of a sleep; the guest can falsify the words that would end it
constexpr uint32_t kIdleLook = 1000;         // the same between flushes, where nobody is waiting

}  // namespace

Context::Context(Guest& guest, uint32_t id, const DrawableAttributes& attributes)
    : guest_(guest), id_(id), attributes_(attributes), counter_(guest.counters().contexts) {
  guest_.shares().add(*this);
}

Context::~Context() {
  if (thread_.joinable()) {
    stop();
    // Once more after a while: the guest can falsify the word that the thread sleeps on.
    while (!ended_.load()) {
      ringAlways(channel_->peerBell);
      if (!ended_.load()) std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    thread_.join();
  }
  if (channel_ != nullptr) {
    guest_.counters().channels.fetch_sub(1);
    guest_.counters().mappedBytes.fetch_sub(kChannelBytes);
  }
  if (channelFile_ >= 0) ::close(channelFile_);
  guest_.shares().remove(*this);
}

bool Context::openChannel() {
  if (thread_.joinable()) return true;
  if (channel_ == nullptr) {
    if (!channelHeld_.take(guest_.channelBytes(), kChannelBytes)) return complain("channel is over the guest's quota");
    if (channelFile_ < 0) channelFile_ = createChannelFile();
    ChannelMemory* const memory = channelFile_ < 0 ? nullptr : mapChannel(channelFile_);
    if (memory == nullptr) return complain("no memory for a channel");
    channel_ = std::shared_ptr<ChannelMemory>(memory, unmapChannel);
    guest_.counters().channels.fetch_add(1);
    guest_.counters().mappedBytes.fetch_add(kChannelBytes);
  }
  return thread_.start([this] { run(); }) || complain("no thread for a channel");
}

void Context::stop() {
  stop_.store(true);
  if (channel_ != nullptr) ringAlways(channel_->peerBell);
}

void Context::requestRelease() {
  releaseRequested_.store(true);
  ringAlways(channel_->peerBell);
}

void Context::run() {
  try {
    serveFlushes();
  } catch (const std::bad_alloc&) {
    complain("out of memory, the guest is ended");
    guest_.end();
  }
  unbindWindow();
  side_.reset();
  replayer_.reset();
  guest_.display().endThread();
  // A guest that waits for an answer learns that there will be none.
  channel_->closed.store(1);
  ringAlways(channel_->guestBell);
  ended_.store(true);
}

void Context::serveFlushes() {
  ChannelMemory& channel = *channel_;
  replayer_ = std::make_unique<Replayer>(static_cast<WindowCommands*>(this));
  replayer_->state().version = attributes_.version;
  replayer_->state().core = attributes_.core();
  replayer_->state().stopped = &stop_;
  for (;;) {
    waitForRequest();
    if (releaseRequested_.exchange(false)) unbindWindow();
    const uint32_t requests = channel.requests.load(std::memory_order_acquire);
    if (requests == served_) {
      // Only now: a flush that the guest did not wait for may still be there.
      if (stop_.load()) break;
      continue;
    }
    served_ = requests;
    // Read once: the guest may write there at any time.
    const FlushRequest request = channel.flush;
    const FlushAnswer answer = serve(request);
    channel.answer = answer;
    sendReplies(answer);
    // The rings are empty again once the guest sees the answer.
    channel.streamRead.store(0, std::memory_order_relaxed);
    channel.replyWritten.store(0, std::memory_order_relaxed);
    channel.answers.store(requests, std::memory_order_release);
    ring(channel.guestBell);
  }
}

void Context::waitForRequest() {
  const uint64_t from = detail::monotonicNanoseconds();
  waitFor(
      channel_->peerBell, idleSpin_.nanoseconds(), kIdleLook,
      [&] { return channel_->requests.load(std::memory_order_acquire) != served_ || releaseRequested_.load() || stop_.load(); },
      [&] { return !stop_.load(); });
  idleSpin_.waited(detail::monotonicNanoseconds() - from);
}

template <typename Ready>
bool Context::wait(uint32_t spinNanoseconds, Ready&& ready) {
  return waitFor(channel_->peerBell, spinNanoseconds, kLook, ready, [&] { return !stop_.load(); }) && !stop_.load();
}

FlushAnswer Context::serve(const FlushRequest& request) {
  FlushAnswer answer;
  answer.status = kStatusMalformed;
  pulled_ = 0;
  if (!guest_.knowsProcess(request.processId)) {
    complain("flush: unknown process %u", request.processId);
    return answer;
  }
  if (request.presentMode != 0 && request.presentMode != GL_FRONT && request.presentMode != GL_BACK) {
    complain("flush: unknown present mode %u", request.presentMode);
    return answer;
  }
  if (!bindWindow(request)) return answer;

  const uint64_t commandsBefore = replayer_->commands();
  const bool replayed = replayStream(request);
  answer.commands = static_cast<uint32_t>(replayer_->commands() - commandsBefore);
  if (!replayed) return answer;
  answer.replyBytes = std::min<uint32_t>(static_cast<uint32_t>(replayer_->reply().size()), request.replyBytes);
  answer.reply2Bytes = std::min<uint32_t>(static_cast<uint32_t>(replayer_->reply2().size()), request.reply2Bytes);
  answer.rows = replayer_->replyRows();
  answer.status = finishFlush(request);
  return answer;
}

int32_t Context::finishFlush(const FlushRequest& request) {
  std::shared_ptr<Allocation> target;
  if (request.backBuffer != 0) {
    target = guest_.allocations().find(request.backBuffer);
    // The guest loses the picture alone.
    if (target == nullptr) complain("flush: unknown allocation %u", request.backBuffer);
  }
  const bool present = request.presentMode != 0 && target != nullptr;
  const int32_t done = request.presentMode != 0 && request.backBuffer != 0 && target == nullptr ? kStatusMalformed : 0;
  // Neither a frame nor a flush can be had inside an open primitive.
  if (replayer_->insideBegin()) return done;
  if (present) {
    // The drawing above needed no buffer of the guest's; now whoever shows the last picture must be done with it. The drawing
    // goes on meanwhile.
    const auto mayWrite = [&] { return channel_->writable.load(std::memory_order_acquire) == served_; };
    if (!mayWrite()) gl.glFlush();
    if (!wait(kStreamSpin, mayWrite)) return done;
    if (!copyPicture(*target)) return kStatusUnavailable;
  } else if (request.replyBytes == 0 && guest_.shares().shared(*this)) {
    // What this context has done becomes visible to those it shares with.
    gl.glFlush();
  }
  return done;
}

bool Context::bindWindow(const FlushRequest& request) {
  const int64_t width = int64_t{request.clientRect[2]} - request.clientRect[0];
  const int64_t height = int64_t{request.clientRect[3]} - request.clientRect[1];
  if (width > kLargestSide || height > kLargestSide) {
    return complain("flush: window of %lld x %lld is too large", static_cast<long long>(width), static_cast<long long>(height));
  }
  std::shared_ptr<Window> window = guest_.windows().find(request.windowId);
  if (window == nullptr) return complain("flush: unknown window %u", request.windowId);
  // A minimised window has no size and keeps its drawable.
  const bool sized = width > 0 && height > 0;
  if (window == window_ && (!sized || (width == window->width && height == window->height))) return true;

  unbindWindow();
  if (!guest_.windows().acquire(*window, *this, static_cast<int32_t>(width), static_cast<int32_t>(height), stop_)) {
    return complain("flush: no drawable of %lld x %lld", static_cast<long long>(width), static_cast<long long>(height));
  }
  window_ = std::move(window);
  if (egl_ == EGL_NO_CONTEXT) {
    egl_ = guest_.shares().create(*this, attributes_);
    replayer_->state().shared = guest_.shares().objects(*this);
  }
  if (egl_ == EGL_NO_CONTEXT || !bindDrawable()) {
    unbindWindow();
    return complain("flush: no OpenGL context of version %u for window %u", attributes_.version, request.windowId);
  }
  if (!set_) {
    // The drawable has one colour buffer under both names; the guest's pixel format says which name is the default.
    const GLenum buffer = attributes_.doubleBuffered ? GL_BACK : GL_FRONT;
    gl.glDrawBuffer(buffer);
    gl.glReadBuffer(buffer);
    set_ = true;
  }
  return true;
}

bool Context::copyPicture(const Allocation& target) {
  if (window_->offer.samples == 0) {
    const uint32_t level = window_->selected.level;
    copyFrame(window_->widthOf(level), window_->heightOf(level), target, replayer_->listOpen());
    return true;
  }
  const char* why = sideContext().copyResolvedFrame(*window_, target);
  if (!bindDrawable()) why = drawableLost().why;
  return why == nullptr || complain("flush: no picture: %s", why);
}

SideContext& Context::sideContext() {
  if (side_ == nullptr) side_ = std::make_unique<SideContext>(guest_.display(), guest_.counters(), attributes_, egl_);
  return *side_;
}

bool Context::bindDrawable() {
  WindowSurface& surface = window_->surface();
  // A clear would obey the guest's state: once there is any, it is done beside the guest's context.
  if ((surface.cleared || !set_ || sideContext().clear(surface) == nullptr) && guest_.display().makeCurrent(surface.egl, egl_)) {
    if (!surface.cleared) clearSurface(surface);
    return true;
  }
  unbindWindow();
  return false;
}

void Context::unbindWindow() {
  if (window_ == nullptr) return;
  guest_.display().release();
  guest_.windows().release(*window_);
  window_ = nullptr;
}

bool Context::replayStream(const FlushRequest& request) {
  replayer_->begin(request.replyBytes, request.reply2Bytes);
  const bool whole = replayCommands(request);
  stretch_.flushEnded();
  return whole;
}

bool Context::replayCommands(const FlushRequest& request) {
  uint32_t offset = 0;  // in the stream, of the first byte in hand
  uint32_t have = 0, wanted = kSmallHeaderBytes;
  bool longCommands = false;
  while (offset < request.streamBytes) {
    const uint32_t left = request.streamBytes - offset;
    wanted = std::min(wanted, left);
    if (wanted > kLongestCommand) return complain("flush: command of %u bytes at offset %u is too long", wanted, offset);
    stretch_.need(wanted);
    while (have < wanted) {
      if (have == stretch_.capacity() && !stretch_.grow(have, wanted))
        return complain("flush: no memory for a command of %u bytes", wanted);
      // Beside a long command only its own bytes are taken, and of what follows it little: what is left over of a stretch is
      // copied to the next one's start.
      const uint64_t most = wanted > kLong ? wanted : longCommands ? kLittle : stretch_.capacity();
      const uint64_t room = std::min<uint64_t>({stretch_.capacity(), most, left}) - have;
      const uint32_t pulled = pull(request, stretch_.memory() + have, static_cast<uint32_t>(room));
      if (pulled == 0) return false;
      have += pulled;
    }
    const Replayer::Result result = replayer_->replay(stretch_.memory(), have == left ? have : have & ~3u, left);
    if (result.outcome == Replayer::Outcome::Failed) return complainOfCommand(offset + result.consumed);
    if (result.outcome == Replayer::Outcome::Done) break;
    have -= result.consumed;
    offset += result.consumed;
    std::memmove(stretch_.memory(), stretch_.memory() + result.consumed, have);
    longCommands = wanted > kLong;
    wanted = static_cast<uint32_t>(padded(result.wanted));
  }
  return true;
}

bool Context::complainOfCommand(uint32_t offset) {
  const uint32_t opcode = replayer_->failedOpcode();
  const char* const name = opcodeName(opcode);
  const std::string before = replayer_->lastCommands();
  const char* const told = before.empty() ? "nothing" : before.c_str();
  if (opcode >= kOpcodes) return complain("stream at offset %u: %s; before it: %s", offset, replayer_->complaint(), told);
  return complain("opcode %u (%s) at offset %u: %s; before it: %s", opcode, name == nullptr ? "unknown" : name, offset,
                  replayer_->complaint(), told);
}

// Takes what there is of the stream, `most` bytes at most, waiting for the first. 0 when there will be no more.
uint32_t Context::pull(const FlushRequest& request, uint8_t* to, uint32_t most) {
  ChannelMemory& channel = *channel_;
  uint32_t written = 0;
  const auto available = [&] {
    written = channel.streamWritten.load(std::memory_order_acquire);
    return written != pulled_;
  };
  const bool waited = wait(kStreamSpin, [&] { return available() || channel.streamFault.load() != 0; });
  if (!waited || !available()) {
    if (!stop_.load()) complain("flush: stream not readable at offset %u", pulled_);
    return 0;
  }
  const uint32_t ready = written - pulled_;
  if (written > request.streamBytes || ready > kStreamRing) {
    complain("flush: %u bytes told of a stream of %u", written, request.streamBytes);
    return 0;
  }
  const uint32_t taken = std::min(ready, most);
  const uint32_t at = pulled_ % kStreamRing, first = std::min(taken, kStreamRing - at);
  // In bounds: `most` is the room at `to`, and the two parts lie within the ring.
  std::memcpy(to, channel.streamRing + at, first);
  std::memcpy(to + first, channel.streamRing, taken - first);
  pulled_ += taken;
  channel.streamRead.store(pulled_, std::memory_order_release);
  // A guest that waits for room is not woken for a little of it.
  if (request.streamBytes > kStreamRing && ready - taken <= kStreamRing / 2) ring(channel.guestBell);
  return taken;
}

// Puts both replies into the ring, the second behind the first; a reply longer than the ring goes piece by piece.
void Context::sendReplies(const FlushAnswer& answer) {
  ChannelMemory& channel = *channel_;
  const uint64_t total = uint64_t{answer.replyBytes} + answer.reply2Bytes;
  uint64_t sent = 0;
  while (sent < total) {
    uint32_t read = 0;
    const auto room = [&] {
      read = channel.replyRead.load(std::memory_order_acquire);
      // A guest that claims to have read what is not there gets no further.
      return static_cast<uint32_t>(sent) - read < kReplyRing;
    };
    if (!wait(kStreamSpin, room)) return;
    const uint32_t free = kReplyRing - (static_cast<uint32_t>(sent) - read);
    const uint32_t at = static_cast<uint32_t>(sent % kReplyRing);
    const bool second = sent >= answer.replyBytes;
    const uint64_t inPart = second ? sent - answer.replyBytes : sent;
    const std::vector<uint8_t>& part = second ? replayer_->reply2() : replayer_->reply();
    const uint64_t partLength = second ? answer.reply2Bytes : answer.replyBytes;
    const auto piece = static_cast<uint32_t>(std::min<uint64_t>({partLength - inPart, free, kReplyRing - at, kReplyPiece}));
    // In bounds: the piece ends within the part, within the free room and within the ring.
    std::memcpy(channel.replyRing + at, part.data() + inPart, piece);
    sent += piece;
    // The guest takes a piece while the next one is written.
    if (total > kReplyPiece) {
      channel.replyWritten.store(static_cast<uint32_t>(sent), std::memory_order_release);
      ring(channel.guestBell);
    }
  }
}

bool Context::complain(const char* format, ...) {
  char text[kLongestLogLine];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  logLine("guest %u context %u: %s", guest_.number(), id_, text);
  return false;
}

}  // namespace qv::peer
