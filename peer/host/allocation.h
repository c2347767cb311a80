// A guest's surface memory as the peer has it mapped: where finished frames go.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "peer/host/live_counters.h"

namespace qv::peer {

// What the kernel driver tells of an allocation.
struct AllocationDescription {
  uint32_t handle = 0;
  uint32_t size = 0;  // bytes
  uint32_t width = 0, height = 0;
  uint32_t pitch = 0;  // bytes per row
};

// Rows top-down, pixels B, G, R, X. `height * pitch` bytes from `memory` on are mapped for the life of the object.
struct Allocation {
  ~Allocation();
  AllocationDescription description;
  uint8_t* memory = nullptr;
  LiveCounters* counters = nullptr;
};

class AllocationSet {
 public:
  explicit AllocationSet(LiveCounters& counters) : counters_(counters) {}
  // Maps the memory file, which stays the caller's. False when the description does not fit the file, the file can shrink, or
  // the handle is taken.
  bool open(const AllocationDescription& description, int fd);
  bool close(uint32_t handle);
  std::shared_ptr<Allocation> find(uint32_t handle);

 private:
  LiveCounters& counters_;
  std::mutex mutex_;
  std::map<uint32_t, std::shared_ptr<Allocation>> allocations_;
};

}  // namespace qv::peer
