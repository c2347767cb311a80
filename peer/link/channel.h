// The shared memory between one guest context and the thread that replays it: flushes go one way, replies the other.
//
// Both sides see the same words; the guest's side may be hostile, so the peer reads each of them once and checks it. The host
// process makes the memory and seals its size.
#pragma once

#include <atomic>
#include <cstdint>
#include <type_traits>

#include "peer/link/reply_rows.h"

namespace qv::peer {

// Streams and replies of any length pass through rings, in pieces when they are longer. Memory of a ring that is never written is
// never there.
inline constexpr uint32_t kStreamRing = 1u << 20;
inline constexpr uint32_t kReplyRing = 1u << 18;
inline constexpr uint32_t kChannelHead = 4096;
inline constexpr uint32_t kChannelBytes = kChannelHead + kReplyRing + kStreamRing;

// What a FlushPacket says, but for its addresses, which only the guest's side uses.
struct FlushRequest {
  uint32_t processId = 0;
  uint32_t windowId = 0;
  uint32_t presentMode = 0;
  int32_t clientRect[4] = {};
  uint32_t backBuffer = 0;
  uint32_t streamBytes = 0;
  uint32_t replyBytes = 0, reply2Bytes = 0;  // capacities of the guest's reply buffers
};

struct FlushAnswer {
  int32_t status = 0;
  uint32_t replyBytes = 0, reply2Bytes = 0;  // lengths of the replies, which follow each other in the reply ring
  uint32_t commands = 0;                     // replayed for this flush
  ReplyRows rows = {};                       // where the first reply belongs
};

// Nothing of the writer's memory goes along in gaps.
static_assert(std::has_unique_object_representations_v<FlushRequest> && std::has_unique_object_representations_v<FlushAnswer>);

// Word on which one side sleeps. The other side rings it, but only when `sleeping` says that it is needed.
struct Bell {
  std::atomic<uint32_t> rings{0};
  std::atomic<uint32_t> sleeping{0};
};

struct ChannelMemory {
  // Written by the guest's side.
  alignas(64) std::atomic<uint32_t> requests{0};  // raised by one for each flush, when `flush` is complete
  std::atomic<uint32_t> streamWritten{0};         // bytes of this flush's stream put into the ring so far
  std::atomic<uint32_t> streamFault{0};           // set when the rest cannot be read
  std::atomic<uint32_t> replyRead{0};             // bytes of the replies taken out of the ring
  std::atomic<uint32_t> writable{0};              // equals `requests` once that flush's back buffer may be written
  FlushRequest flush;
  // Written by the peer.
  alignas(64) std::atomic<uint32_t> answers{0};  // equals `requests` once that flush is answered
  std::atomic<uint32_t> streamRead{0};
  std::atomic<uint32_t> replyWritten{0};
  std::atomic<uint32_t> closed{0};  // the peer serves this channel no more
  FlushAnswer answer;
  alignas(64) Bell peerBell;
  alignas(64) Bell guestBell;
  alignas(kChannelHead) uint8_t replyRing[kReplyRing];
  uint8_t streamRing[kStreamRing];
};
static_assert(sizeof(ChannelMemory) == kChannelBytes);
static_assert(std::atomic<uint32_t>::is_always_lock_free);

// Makes a sealed memory file for one channel; -1 on failure.
int createChannelFile();
// Maps it, after checking its size and that it cannot shrink. Null on failure. Unmap with unmapChannel.
ChannelMemory* mapChannel(int fd);
void unmapChannel(ChannelMemory* memory);

// Wakes the side that sleeps on `bell`, if it does. Call it after the words it waits for have been stored.
void ring(Bell& bell);
// The same without a look at `sleeping`, which the other side may have falsified.
void ringAlways(Bell& bell);

namespace detail {
uint64_t monotonicNanoseconds();
void sleepOn(std::atomic<uint32_t>& word, uint32_t seen, uint32_t timeoutMilliseconds);
void pauseOnce();
void yieldOnce();
inline constexpr uint64_t kSpinAlone = 4000;  // nanoseconds
}  // namespace detail

// How long it pays to spin before a sleep. A wake-up costs about as much as kWorthSpinning: a wait that has lately been
// longer than that gets hardly any spinning, so that the processors are left to those who have work.
class SpinBudget {
 public:
  uint32_t nanoseconds() const { return average_ > kWorthSpinning ? kToken : static_cast<uint32_t>(2 * average_) + kToken; }
  void waited(uint64_t nanoseconds) {
    const uint64_t counted = nanoseconds < 4 * kWorthSpinning ? nanoseconds : 4 * kWorthSpinning;
    average_ = (3 * average_ + counted) / 4;
  }

 private:
  static constexpr uint64_t kWorthSpinning = 50000;
  static constexpr uint32_t kToken = 3000;
  uint64_t average_ = 5000;
};

// Waits until `ready()`; spins for `spinNanoseconds` first. `timeoutMilliseconds` bounds each sleep, because the other side can
// falsify the words that would end it, and `alive()` is asked before each: false ends the wait. Returns whether ready() held at
// the end.
template <typename Ready, typename Alive>
bool waitFor(Bell& bell, uint32_t spinNanoseconds, uint32_t timeoutMilliseconds, Ready&& ready, Alive&& alive) {
  if (ready()) return true;
  if (spinNanoseconds != 0) {
    const uint64_t begin = detail::monotonicNanoseconds();
    for (uint64_t now = begin; now - begin < spinNanoseconds; now = detail::monotonicNanoseconds()) {
      for (int i = 0; i < 16; ++i) {
        detail::pauseOnce();
        if (ready()) return true;
      }
      // Whoever has work for this processor may have it.
      if (now - begin > detail::kSpinAlone) detail::yieldOnce();
    }
  }
  bool held = false;
  for (;;) {
    const uint32_t seen = bell.rings.load(std::memory_order_acquire);
    // Both sides read and write `sleeping` in one step: either ring() comes first, and ready() then sees what it was rung for,
    // or ring() finds this side sleeping.
    bell.sleeping.exchange(1, std::memory_order_acq_rel);
    held = ready();
    if (held || !alive()) break;
    detail::sleepOn(bell.rings, seen, timeoutMilliseconds);
  }
  bell.sleeping.store(0, std::memory_order_relaxed);
  return held;
}

}  // namespace qv::peer
