// The hand-made guest.
#include "tests/peer/test_guest.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <utility>

#include "peer/link/log.h"

namespace qv::peer::test {
namespace {

std::atomic<uint32_t> nextHandle{0x40000001};
std::mutex linesMutex;
std::vector<std::string> lines;

}  // namespace

Surface::Surface(uint32_t handle, uint32_t width, uint32_t height, bool sealed) {
  allocation.handle = handle;
  allocation.width = width;
  allocation.height = height;
  allocation.pitch = width * 4;
  allocation.size = allocation.pitch * height;
  allocation.fd = memfd_create("test-surface", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (ftruncate(allocation.fd, allocation.size) != 0) std::abort();
  if (sealed) fcntl(allocation.fd, F_ADD_SEALS, F_SEAL_SHRINK);
  allocation.memory = static_cast<uint8_t*>(mmap(nullptr, allocation.size, PROT_READ | PROT_WRITE, MAP_SHARED, allocation.fd, 0));
}

Surface::~Surface() {
  munmap(allocation.memory, allocation.size);
  close(allocation.fd);
}

uint32_t Surface::pixel(uint32_t x, uint32_t y) const {
  uint32_t value = 0;
  std::memcpy(&value, allocation.memory + y * allocation.pitch + x * 4, 4);
  return value;
}

std::vector<uint32_t> Surface::pixels() const {
  std::vector<uint32_t> out(allocation.size / 4);
  std::memcpy(out.data(), allocation.memory, allocation.size);
  return out;
}

VersionQueryPacket TestGuest::version() {
  VersionQueryPacket packet;
  result = link_.escape(&packet, sizeof packet);
  return packet;
}

CreateContextPacket TestGuest::createContext(std::vector<uint16_t> attributes) {
  CreateContextPacket packet;
  std::copy(attributes.begin(), attributes.end(), packet.attributes);
  send(packet);
  return packet;
}

CreateWindowPacket TestGuest::createWindow(std::vector<uint16_t> attributes) {
  CreateWindowPacket packet;
  std::copy(attributes.begin(), attributes.end(), packet.attributes);
  send(packet);
  return packet;
}

FlushPacket TestGuest::flushPacket(const std::vector<uint8_t>& stream) {
  FlushPacket packet;
  packet.contextId = context;
  packet.windowId = window;
  packet.clientRect[0] = 100;
  packet.clientRect[1] = 50;
  packet.clientRect[2] = 100 + static_cast<int32_t>(width);
  packet.clientRect[3] = 50 + static_cast<int32_t>(height);
  packet.backBuffer = surface ? surface->allocation.handle : 0;
  if (!stream.empty()) {
    packet.stream.address = reinterpret_cast<uintptr_t>(stream.data());
    packet.stream.size = static_cast<uint32_t>(stream.size());
  }
  return packet;
}

int32_t TestGuest::flush(const Stream& stream, uint32_t presentMode) {
  FlushPacket packet = flushPacket(stream.data);
  packet.presentMode = presentMode;
  return status = send(packet);
}

std::vector<uint8_t> TestGuest::ask(const Stream& stream, uint32_t capacity) {
  std::vector<uint8_t> reply(capacity, 0xCC);
  FlushPacket packet = flushPacket(stream.data);
  packet.reply.address = reinterpret_cast<uintptr_t>(reply.data());
  packet.reply.size = capacity;
  status = send(packet);
  reply.resize(status == 0 ? packet.reply.size : 0);
  return reply;
}

TestGuest::Replies TestGuest::askBoth(const Stream& stream, uint32_t capacity, uint32_t secondCapacity) {
  Replies replies{std::vector<uint8_t>(capacity, 0xCC), std::vector<uint8_t>(secondCapacity, 0xCC)};
  FlushPacket packet = flushPacket(stream.data);
  packet.reply.address = reinterpret_cast<uintptr_t>(replies.first.data());
  packet.reply.size = capacity;
  packet.reply2.address = reinterpret_cast<uintptr_t>(replies.second.data());
  packet.reply2.size = secondCapacity;
  status = send(packet);
  replies.first.resize(status == 0 ? packet.reply.size : 0);
  replies.second.resize(status == 0 ? packet.reply2.size : 0);
  return replies;
}

bool TestGuest::start(uint32_t newWidth, uint32_t newHeight) {
  width = newWidth;
  height = newHeight;
  const CreateContextPacket contextPacket = createContext();
  const CreateWindowPacket windowPacket = createWindow();
  context = contextPacket.contextId;
  window = windowPacket.windowId;
  surface = std::make_unique<Surface>(nextHandle.fetch_add(1), width, height);
  return contextPacket.header.status == 0 && windowPacket.header.status == 0 && link_.openAllocation(surface->allocation);
}

LogCapture::LogCapture() {
  take();
  setLogSink([](std::string_view line) {
    const std::lock_guard lock(linesMutex);
    lines.emplace_back(line);
  });
}

LogCapture::~LogCapture() { setLogSink({}); }

std::vector<std::string> LogCapture::take() {
  const std::lock_guard lock(linesMutex);
  return std::exchange(lines, {});
}

}  // namespace qv::peer::test
