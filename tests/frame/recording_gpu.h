// A GPU that keeps every packet it is sent and answers as the test says. It expects that the sender holds DriverLock for the packet
// that makes a window, and for no other.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <vector>

#include "platform/simulated/gpu_link.h"
#include "wire/packets.h"

namespace qv::test {

// A packet as it was sent, with the memory that its direction-0 rows named.
struct SentPacket {
  std::vector<uint8_t> bytes;
  std::vector<uint8_t> stream;      // row 1 of a flush
  std::vector<uint16_t> imagePath;  // row of a create
  EscapeCode code() const { return static_cast<EscapeCode>(word(8)); }
  uint32_t word(size_t offset) const;
  uint16_t half(size_t offset) const;
};

class RecordingGpu final : public sim::GpuLink {
 public:
  NTSTATUS escape(void* packet, uint32_t size) override;
  bool openAllocation(const sim::GpuAllocation& allocation) override;
  void closeAllocation(uint32_t handle) override;

  std::vector<SentPacket> packets() const;
  // Those with this code.
  std::vector<SentPacket> packets(EscapeCode code) const;
  size_t count(EscapeCode code) const { return packets(code).size(); }
  SentPacket last(EscapeCode code) const;
  void clear();
  std::set<uint32_t> openAllocations() const;

  // Answers. Set by a test before the packet is sent.
  uint16_t major = 4, minor = 6;
  std::map<EscapeCode, int32_t> status;      // 0 where nothing stands
  std::map<EscapeCode, NTSTATUS> delivered;  // result of the escape itself; a negative one leaves the packet untouched
  std::function<void(CreateContextPacket&)> onCreateContext;
  std::function<void(FlushPacket&)> onFlush;
  uint32_t nextContextId = 700, nextWindowId = 900;
  uint32_t answer = 8;  // every word of a reply buffer

 private:
  mutable std::mutex lock_;
  std::vector<SentPacket> packets_;
  std::set<uint32_t> allocations_;
};

}  // namespace qv::test
