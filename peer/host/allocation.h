// Allocation: the memory of a guest's surface as the host has it mapped; finished frames go there.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "peer/host/live_counters.h"
#include "peer/host/quotas.h"
#include "peer/link/host_protocol.h"

namespace qv::peer {

// Rows top-down, pixels B, G, R, X. `height * pitch` bytes from `memory` on are mapped for the life of the object.
struct Allocation {
  ~Allocation();
  AllocationDescription description;
  uint8_t* memory = nullptr;
  LiveCounters* counters = nullptr;
  Held number, bytes;
};

class AllocationSet {
 public:
  AllocationSet(LiveCounters& counters, const Quotas& quotas)
      : counters_(counters), numbers_(quotas.allocations), bytes_(quotas.allocationBytes) {}
  // Maps the memory file; the caller keeps the file. False, with a line in the log, when the description does not fit the file, the
  // file can shrink, the handle is taken or the guest is at its quota.
  bool open(const AllocationDescription& description, int fd);
  bool close(uint32_t handle);
  std::shared_ptr<Allocation> find(uint32_t handle);

 private:
  LiveCounters& counters_;
  Budget numbers_, bytes_;
  std::mutex mutex_;
  std::map<uint32_t, std::shared_ptr<Allocation>> allocations_;
};

}  // namespace qv::peer
