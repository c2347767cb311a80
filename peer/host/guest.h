// Guest: the peer's side of one guest process; answers its packets and holds its contexts, windows and allocations.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>

#include "peer/host/allocation.h"
#include "peer/host/context.h"
#include "peer/host/egl_display.h"
#include "peer/host/live_counters.h"
#include "peer/host/quotas.h"
#include "peer/host/share_set.h"
#include "peer/host/window.h"
#include "peer/link/status.h"
#include "wire/packets.h"

namespace qv::peer {

class Guest {
 public:
  // `number` is for the log. Nothing here outlives the counters and the display.
  Guest(LiveCounters& counters, const EglDisplay& display, uint32_t number, const Quotas& quotas = {});
  // Ends all contexts.
  ~Guest();
  Guest(const Guest&) = delete;
  Guest& operator=(const Guest&) = delete;

  uint32_t number() const { return number_; }

  // The memory that a packet's first buffer row names, when it has one; the caller has fetched it.
  struct RowMemory {
    std::span<const uint8_t> bytes;
    bool readable = true;
  };
  // Answers any packet but a flush: writes status and reply fields into it. A malformed one gets a failed status and one log
  // line. From any thread.
  void answer(std::span<uint8_t> packet, const RowMemory& row);
  // The context with its channel open; null, with a line in the log, when it cannot be had. From any thread.
  std::shared_ptr<Context> openChannel(uint32_t contextId);

  // Called from any thread when the guest cannot go on. Nothing more is done for it.
  void end();
  bool ended() const { return ended_.load(); }
  // What is to be done then, on the thread that finds it out.
  void onEnd(std::function<void()> act) { onEnd_ = std::move(act); }

  // For the contexts' threads.
  const EglDisplay& display() const { return display_; }
  LiveCounters& counters() { return counters_; }
  ShareSets& shares() { return shares_; }
  WindowSet& windows() { return windows_; }
  AllocationSet& allocations() { return allocations_; }
  Budget& channelBytes() { return channelBytes_; }
  // Every packet carries the guest's process id; the first one fixes it.
  bool knowsProcess(uint32_t processId);

 private:
  std::shared_ptr<Context> find(uint32_t id);
  int32_t answerVersion(VersionQueryPacket& packet);
  int32_t answerCreate(CreateContextPacket& packet, const RowMemory& row);
  int32_t answerDelete(const DeleteContextPacket& packet);
  int32_t answerCopy(const CopyContextPacket& packet);
  int32_t answerShare(const ShareContextsPacket& packet);
  int32_t answerCreateWindow(CreateWindowPacket& packet);
  int32_t answerDestroyWindow(const DestroyWindowPacket& packet);
  [[gnu::format(printf, 2, 3)]] int32_t malformed(const char* format, ...) const;

  LiveCounters& counters_;
  const EglDisplay& display_;
  const uint32_t number_;
  CountHeld counter_;
  ShareSets shares_;
  WindowSet windows_;
  AllocationSet allocations_;
  Budget channelBytes_;
  const uint64_t mostContexts_;
  std::function<void()> onEnd_;
  std::atomic<bool> ended_{false};
  std::mutex channelMutex_;  // held while a channel is made
  std::mutex mutex_;
  std::map<uint32_t, std::shared_ptr<Context>> contexts_;
  uint32_t lastContextId_ = 0;
  std::atomic<uint32_t> processId_{0};
};

}  // namespace qv::peer
