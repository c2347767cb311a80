// The recording GPU.
#include "tests/frame/recording_gpu.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "driver/base/driver_lock.h"
#include "platform/simulated/control.h"

namespace qv::test {

namespace {

template <typename Packet>
Packet& as(void* packet) {
  return *static_cast<Packet*>(packet);
}

const uint8_t* memoryOf(const EscapeBufferRow& row) {
  return reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(row.address));
}

void fill(const EscapeBufferRow& row, uint32_t word) {
  if (row.address == 0) return;
  uint8_t* const memory = reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(row.address));
  for (uint32_t i = 0; i < row.size; ++i) memory[i] = static_cast<uint8_t>(word >> (i % 4 * 8));
}

}  // namespace

uint32_t SentPacket::word(size_t offset) const {
  uint32_t value;
  std::memcpy(&value, bytes.data() + offset, 4);
  return value;
}

uint16_t SentPacket::half(size_t offset) const {
  uint16_t value;
  std::memcpy(&value, bytes.data() + offset, 2);
  return value;
}

NTSTATUS RecordingGpu::escape(void* packet, uint32_t size) {
  const uint8_t* const bytes = static_cast<const uint8_t*>(packet);
  SentPacket sent;
  sent.bytes.assign(bytes, bytes + size);
  const EscapeCode code = sent.code();
  EXPECT_EQ(sim::holdsSection(DriverLock), code == EscapeCode::CreateWindow)
      << "DriverLock while packet " << static_cast<uint32_t>(code) << " is sent";
  std::unique_lock hold(lock_);
  if (code == EscapeCode::Flush) {
    const EscapeBufferRow& row = as<FlushPacket>(packet).stream;
    sent.stream.assign(memoryOf(row), memoryOf(row) + row.size);
  } else if (code == EscapeCode::CreateContext) {
    const EscapeBufferRow& row = as<CreateContextPacket>(packet).imagePath;
    sent.imagePath.resize(row.size / 2);
    if (row.size != 0) std::memcpy(sent.imagePath.data(), memoryOf(row), row.size);
  }
  packets_.push_back(sent);
  if (delivered.count(code) != 0 && delivered[code] < 0) return delivered[code];
  const int32_t result = status.count(code) != 0 ? status[code] : 0;
  switch (code) {
    case EscapeCode::VersionQuery:
      as<VersionQueryPacket>(packet).major = major;
      as<VersionQueryPacket>(packet).minor = minor;
      break;
    case EscapeCode::CreateContext:
      as<CreateContextPacket>(packet).contextId = nextContextId++;
      if (onCreateContext) onCreateContext(as<CreateContextPacket>(packet));
      break;
    case EscapeCode::CreateWindow:
      as<CreateWindowPacket>(packet).windowId = nextWindowId != 0 ? nextWindowId++ : 0;
      break;
    case EscapeCode::Flush: {
      FlushPacket& flush = as<FlushPacket>(packet);
      fill(flush.reply, answer);
      fill(flush.reply2, answer);
      if (onFlush) {
        // Outside the lock: what a test does here may send packets of its own.
        hold.unlock();
        onFlush(flush);
      }
      break;
    }
    default:
      break;
  }
  as<EscapeHeader>(packet).status = result;
  return 0;
}

bool RecordingGpu::openAllocation(const sim::GpuAllocation& allocation) {
  std::lock_guard hold(lock_);
  return allocations_.insert(allocation.handle).second;
}

void RecordingGpu::closeAllocation(uint32_t handle) {
  std::lock_guard hold(lock_);
  allocations_.erase(handle);
}

std::vector<SentPacket> RecordingGpu::packets() const {
  std::lock_guard hold(lock_);
  return packets_;
}

std::vector<SentPacket> RecordingGpu::packets(EscapeCode code) const {
  std::lock_guard hold(lock_);
  std::vector<SentPacket> found;
  for (const SentPacket& packet : packets_) {
    if (packet.code() == code) found.push_back(packet);
  }
  return found;
}

SentPacket RecordingGpu::last(EscapeCode code) const {
  const std::vector<SentPacket> found = packets(code);
  if (found.empty()) throw std::runtime_error("no packet with this code was sent");
  return found.back();
}

void RecordingGpu::clear() {
  std::lock_guard hold(lock_);
  packets_.clear();
}

std::set<uint32_t> RecordingGpu::openAllocations() const {
  std::lock_guard hold(lock_);
  return allocations_;
}

}  // namespace qv::test
