// The packets of a guest without a driver.
#include "fuzz/core/packet_guest.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace qv::fuzz {

uint32_t PacketGuest::createContext(std::span<const uint16_t> attributes) {
  CreateContextPacket packet;
  std::copy_n(attributes.begin(), std::min<size_t>(attributes.size(), kAttributeWords), packet.attributes);
  return send(packet) ? packet.contextId : 0;
}

uint32_t PacketGuest::createWindow(std::span<const uint16_t> attributes) {
  CreateWindowPacket packet;
  std::copy_n(attributes.begin(), std::min<size_t>(attributes.size(), kAttributeWords), packet.attributes);
  return send(packet) ? packet.windowId : 0;
}

bool PacketGuest::share(uint32_t first, uint32_t second) {
  ShareContextsPacket packet;
  packet.firstId = first;
  packet.secondId = second;
  return send(packet);
}

bool PacketGuest::deleteContext(uint32_t id) {
  DeleteContextPacket packet;
  packet.contextId = id;
  return send(packet);
}

bool PacketGuest::destroyWindow(uint32_t id) {
  DestroyWindowPacket packet;
  packet.windowId = id;
  return send(packet);
}

int32_t PacketGuest::flush(const Flush& flush, uint32_t* replyBytes) {
  FlushPacket packet;
  packet.contextId = flush.context;
  packet.windowId = flush.window;
  packet.presentMode = flush.presentMode;
  packet.clientRect[2] = flush.width;
  packet.clientRect[3] = flush.height;
  packet.backBuffer = flush.backBuffer;
  const auto row = [](EscapeBufferRow& to, const uint8_t* memory, size_t bytes) {
    if (bytes == 0) return;
    to.address = reinterpret_cast<uintptr_t>(memory);
    to.size = static_cast<uint32_t>(bytes);
  };
  row(packet.stream, flush.stream.data(), flush.stream.size());
  row(packet.reply, flush.reply.data(), flush.reply.size());
  row(packet.reply2, flush.reply2.data(), flush.reply2.size());
  send(packet);
  if (replyBytes != nullptr) *replyBytes = packet.reply.size;
  return packet.header.status;
}

SurfaceMemory::SurfaceMemory(uint32_t handle, uint32_t width, uint32_t height) {
  allocation_.handle = handle;
  allocation_.width = width;
  allocation_.height = height;
  allocation_.pitch = width * 4;
  allocation_.size = allocation_.pitch * height;
  allocation_.fd = memfd_create("fuzz-surface", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (ftruncate(allocation_.fd, allocation_.size) != 0) std::abort();
  fcntl(allocation_.fd, F_ADD_SEALS, F_SEAL_SHRINK);
}

SurfaceMemory::~SurfaceMemory() { close(allocation_.fd); }

}  // namespace qv::fuzz
