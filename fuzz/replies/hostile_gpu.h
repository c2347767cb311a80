// HostileGpu: a virtual GPU whose host answers packets with anything.
#pragma once

#include <cstdint>
#include <span>

#include "fuzz/core/random.h"
#include "platform/simulated/gpu_link.h"
#include "wire/packets.h"

namespace qv::fuzz {

// It does what a kernel driver lets a host do: any status, any reply field, any bytes within the buffers that a packet offers.
class HostileGpu final : public sim::GpuLink {
 public:
  // Every `oneInHostile`-th answer is such as no honest host gives.
  HostileGpu(uint64_t seed, uint32_t oneInHostile) : random_(seed), oneInHostile_(oneInHostile) {}

  NTSTATUS escape(void* packet, uint32_t size) override;
  bool openAllocation(const sim::GpuAllocation&) override { return !hostile() || random_.oneIn(2); }
  void closeAllocation(uint32_t) override {}

  // Honest from now on.
  void calm() { oneInHostile_ = 0; }

 private:
  bool hostile() { return oneInHostile_ != 0 && random_.oneIn(oneInHostile_); }
  int32_t status();
  uint32_t word();
  void attributes(std::span<uint16_t> words);
  void answer(EscapeBufferRow& row);

  Random random_;
  uint32_t oneInHostile_;
  uint32_t lastId_ = 0;
};

}  // namespace qv::fuzz
