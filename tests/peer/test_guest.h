// A guest without a driver: packets put together by hand, for any GpuLink.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/simulated/gpu_link.h"
#include "tests/support/opcodes.h"
#include "tests/support/stream_builder.h"
#include "wire/gl_api.h"
#include "wire/packets.h"

namespace qv::peer::test {

using namespace qv::test;  // streams and opcodes

class Surface {
 public:
  Surface(uint32_t handle, uint32_t width, uint32_t height, bool sealed = true);
  ~Surface();
  Surface(const Surface&) = delete;
  Surface& operator=(const Surface&) = delete;
  // B, G, R, X of a pixel, row 0 on top.
  uint32_t pixel(uint32_t x, uint32_t y) const;
  std::vector<uint32_t> pixels() const;
  void fill(uint8_t value) { std::memset(allocation.memory, value, allocation.size); }

  sim::GpuAllocation allocation;
};

class TestGuest {
 public:
  explicit TestGuest(sim::GpuLink& link, uint32_t processId = 77) : link_(link), processId_(processId) {}

  // Each returns the packet as answered.
  VersionQueryPacket version();
  CreateContextPacket createContext(std::vector<uint16_t> attributes = {GL_DOUBLEBUFFER, GL_VERSION, 210, GL_CONTEXT_PROFILE_MASK,
                                                                        2, 0});
  CreateWindowPacket createWindow(std::vector<uint16_t> attributes = {GL_DOUBLEBUFFER, 0});
  template <typename Packet>
  int32_t send(Packet& packet) {
    packet.processId = processId_;
    result = link_.escape(&packet, sizeof packet);
    return packet.header.status;
  }
  FlushPacket flushPacket(const std::vector<uint8_t>& stream);
  // Sends with the current context, window, size and surface.
  int32_t flush(const Stream& stream, uint32_t presentMode = 0);
  // The reply of the stream's last command, as long as the host says.
  std::vector<uint8_t> ask(const Stream& stream, uint32_t capacity);
  // Both replies, each as long as the host says.
  struct Replies {
    std::vector<uint8_t> first, second;
  };
  Replies askBoth(const Stream& stream, uint32_t capacity, uint32_t secondCapacity);
  template <typename T>
  T askFor(const Stream& stream) {
    T value{};
    const std::vector<uint8_t> reply = ask(stream, sizeof value);
    if (reply.size() == sizeof value) std::memcpy(&value, reply.data(), sizeof value);
    return value;
  }
  uint32_t glError() { return askFor<uint32_t>(Stream().add(kGetError)); }

  // A context, a window and a surface of the size; each becomes the current one. False when anything failed.
  bool start(uint32_t width, uint32_t height);

  uint32_t context = 0, window = 0;
  uint32_t width = 0, height = 0;
  std::unique_ptr<Surface> surface;
  int32_t status = -1;  // of the last flush
  int32_t result = 0;   // of the last escape

 private:
  sim::GpuLink& link_;
  uint32_t processId_;
};

// Collects the peer's log while it lives.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  std::vector<std::string> take();
};

}  // namespace qv::peer::test
