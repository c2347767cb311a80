// PacketGuest: a guest without a driver that sends packets over a link.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/simulated/gpu_link.h"
#include "wire/packets.h"

namespace qv::fuzz {

class PacketGuest {
 public:
  explicit PacketGuest(sim::GpuLink& link, uint32_t processId = 77) : link_(link), processId_(processId) {}

  // The new id; 0 when it was refused. The attributes end with a zero.
  uint32_t createContext(std::span<const uint16_t> attributes);
  uint32_t createWindow(std::span<const uint16_t> attributes);
  bool share(uint32_t first, uint32_t second);
  bool deleteContext(uint32_t id);
  bool destroyWindow(uint32_t id);

  struct Flush {
    uint32_t context = 0, window = 0;
    uint32_t presentMode = 0;
    int32_t width = 64, height = 64;
    uint32_t backBuffer = 0;
    std::span<const uint8_t> stream;
    std::span<uint8_t> reply, reply2;
  };
  // The status of the flush. `replyBytes` gets the length of the first reply.
  int32_t flush(const Flush& flush, uint32_t* replyBytes = nullptr);

  // Whether the host answered the last packet.
  bool answered() const { return result_ == 0; }

 private:
  template <typename Packet>
  bool send(Packet& packet) {
    packet.processId = processId_;
    result_ = link_.escape(&packet, sizeof packet);
    return result_ == 0 && packet.header.status == 0;
  }

  sim::GpuLink& link_;
  const uint32_t processId_;
  NTSTATUS result_ = 0;
};

// Memory of a surface, sealed as the simulated kernel's is.
class SurfaceMemory {
 public:
  SurfaceMemory(uint32_t handle, uint32_t width, uint32_t height);
  ~SurfaceMemory();
  SurfaceMemory(const SurfaceMemory&) = delete;
  SurfaceMemory& operator=(const SurfaceMemory&) = delete;

  const sim::GpuAllocation& allocation() const { return allocation_; }

 private:
  sim::GpuAllocation allocation_;
};

}  // namespace qv::fuzz
