// Both halves of the peer in one process.
#include "peer/host/in_process_gpu.h"

#include "peer/host/egl_display.h"
#include "peer/host/guest.h"
#include "peer/host/live_counters.h"
#include "peer/link/log.h"

namespace qv::peer {
namespace {

class LocalTransport final : public GuestTransport {
 public:
  explicit LocalTransport(const Quotas& quotas) {
    std::string error;
    if (const EglDisplay* const display = EglDisplay::get(&error)) {
      guest_ = std::make_unique<Guest>(counters_, *display, 1, quotas);
    } else {
      logLine("no OpenGL: %s", error.c_str());
    }
  }

  bool deliver(std::span<uint8_t> packet, std::span<const uint8_t> path, bool pathReadable) override {
    if (guest_ == nullptr) return false;
    guest_->answer(packet, {path, pathReadable});
    return true;
  }
  std::shared_ptr<ChannelMemory> openChannel(uint32_t contextId) override {
    const std::shared_ptr<Context> context = guest_ == nullptr ? nullptr : guest_->openChannel(contextId);
    return context == nullptr ? nullptr : context->channel();
  }
  bool openAllocation(const sim::GpuAllocation& allocation) override {
    return guest_ != nullptr &&
           guest_->allocations().open({allocation.handle, allocation.size, allocation.width, allocation.height, allocation.pitch},
                                      allocation.fd);
  }
  void closeAllocation(uint32_t handle) override {
    if (guest_ != nullptr) guest_->allocations().close(handle);
  }
  bool alive() override { return guest_ != nullptr && !guest_->ended(); }
  PeerCounters counters() override {
    PeerCounters out = counters_.read();
    out.logLines = logLineCount();
    return out;
  }

 private:
  LiveCounters counters_;
  std::unique_ptr<Guest> guest_;
};

}  // namespace

InProcessGpu::InProcessGpu(const Quotas& quotas) : GuestLink(std::make_unique<LocalTransport>(quotas)) {}

}  // namespace qv::peer
