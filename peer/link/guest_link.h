// GuestLink: the guest's half of the peer: reads and writes the guest's memory and hands packets on.
//
// It does what the kernel driver of a real guest does. Only here do the addresses in a packet mean anything: the host sees bytes
// alone, whether it is another process or another thread.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <span>

#include "peer/link/channel.h"
#include "peer/link/own_memory.h"
#include "peer/link/statistics.h"
#include "platform/simulated/gpu_link.h"
#include "wire/packets.h"

namespace qv::peer {

// The way to the host.
class GuestTransport {
 public:
  virtual ~GuestTransport() = default;
  // Delivers a packet that is not a flush and writes its status and reply fields. `path` is the memory that its buffer row names,
  // if `pathReadable`. False when the host is gone.
  virtual bool deliver(std::span<uint8_t> packet, std::span<const uint8_t> path, bool pathReadable) = 0;
  // Opens the channel of a context, before its first flush. Null when the host gives none.
  virtual std::shared_ptr<ChannelMemory> openChannel(uint32_t contextId) = 0;
  virtual bool openAllocation(const sim::GpuAllocation& allocation) = 0;
  virtual void closeAllocation(uint32_t handle) = 0;
  virtual bool alive() = 0;
  virtual PeerCounters counters() = 0;
};

// A sim::GpuLink over any transport. Any thread may call any member.
class GuestLink : public sim::GpuLink {
 public:
  explicit GuestLink(std::unique_ptr<GuestTransport> transport);
  ~GuestLink() override;
  GuestLink(const GuestLink&) = delete;
  GuestLink& operator=(const GuestLink&) = delete;

  NTSTATUS escape(void* packet, uint32_t size) override { return escapeFrame(packet, size, nullptr, nullptr); }
  NTSTATUS escapeFrame(void* packet, uint32_t size, void (*finishReads)(void* context), void* context) override;
  bool openAllocation(const sim::GpuAllocation& allocation) override { return transport_->openAllocation(allocation); }
  void closeAllocation(uint32_t handle) override { transport_->closeAllocation(handle); }

  // The totals of this guest. The host tells the number of commands with each flush.
  GuestStatistics statistics() const;
  // What the whole host holds now; asks the host. All zero when it is gone.
  PeerCounters counters() const { return transport_->counters(); }

 private:
  struct ContextChannel;
  NTSTATUS control(uint8_t* packet, uint32_t size);
  NTSTATUS flush(uint8_t* packet, uint32_t size, void (*finishReads)(void* context), void* context);
  std::shared_ptr<ContextChannel> find(uint32_t contextId);

  std::unique_ptr<GuestTransport> transport_;
  mutable std::mutex mutex_;
  std::map<uint32_t, std::shared_ptr<ContextChannel>> channels_;
  struct Totals;
  std::unique_ptr<Totals> totals_;
};

}  // namespace qv::peer
