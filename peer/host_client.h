// HostClientGpu: the guest's end of a connection to a qv-host process, and the start of such a process.
#pragma once

#include <memory>
#include <string>

#include "peer/statistics.h"
#include "platform/simulated/gpu_link.h"

namespace qv::peer {

class GuestLink;

// Packets travel to a qv-host. Any thread may call any member. When the host goes away every escape fails with a negative
// result from then on; nothing blocks.
class HostClientGpu final : public sim::GpuLink {
 public:
  explicit HostClientGpu(std::unique_ptr<GuestLink> link);
  ~HostClientGpu() override;

  NTSTATUS escape(void* packet, uint32_t size) override;
  NTSTATUS escapeFrame(void* packet, uint32_t size, void (*finishReads)(void* context), void* context) override;
  bool openAllocation(const sim::GpuAllocation& allocation) override;
  void closeAllocation(uint32_t handle) override;

  // This guest's totals. The counts of commands come from the host with each flush.
  GuestStatistics statistics() const;
  // What the whole host holds now; asks it. All zero when the host is gone.
  PeerCounters counters() const;

 private:
  std::unique_ptr<GuestLink> link_;
};

// Connects to the host that listens at `socketPath`. Null when there is none.
std::unique_ptr<HostClientGpu> connectToHost(const std::string& socketPath);

// Connects to the host named by QV_HOST_SOCKET; without that, starts a qv-host of this process's own, which ends when the
// process ends, and connects to it. The program is QV_HOST_BINARY, else `qv-host` beside the file that holds this code, else
// the one on the path. Null on failure, with the reason in `error`.
std::unique_ptr<HostClientGpu> startHost(std::string* error = nullptr);

}  // namespace qv::peer
