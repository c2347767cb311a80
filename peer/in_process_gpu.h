// InProcessGpu: the whole peer inside the caller's process, one guest, real OpenGL on threads of its own.
#pragma once

#include <memory>

#include "peer/statistics.h"
#include "platform/simulated/gpu_link.h"

namespace qv::peer {

class GuestLink;

// Rendering happens on one thread per context, so the caller's own EGL and GLX state is never touched. Any thread may call
// any member. Destroy it only when no escape is under way; contexts that the guest left behind die with it.
class InProcessGpu final : public sim::GpuLink {
 public:
  InProcessGpu();
  ~InProcessGpu() override;

  NTSTATUS escape(void* packet, uint32_t size) override;
  NTSTATUS escapeFrame(void* packet, uint32_t size, void (*finishReads)(void* context), void* context) override;
  bool openAllocation(const sim::GpuAllocation& allocation) override;
  void closeAllocation(uint32_t handle) override;

  GuestStatistics statistics() const;
  PeerCounters counters() const;

 private:
  std::unique_ptr<GuestLink> link_;
};

}  // namespace qv::peer
