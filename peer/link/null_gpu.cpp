// The links without an OpenGL.
#include "peer/link/null_gpu.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "wire/packets.h"

namespace qv::peer {
namespace {

constexpr NTSTATUS kInvalid = static_cast<NTSTATUS>(0xC000000D);

void* pointerTo(uint64_t address) { return reinterpret_cast<void*>(static_cast<uintptr_t>(address)); }

}  // namespace

NTSTATUS NullGpu::escape(void* packet, uint32_t size) {
  if (size < sizeof(EscapeHeader)) return kInvalid;
  packets.fetch_add(1, std::memory_order_relaxed);
  auto& header = *static_cast<EscapeHeader*>(packet);
  header.status = 0;
  switch (header.code) {
    case EscapeCode::VersionQuery: {
      auto& version = *static_cast<VersionQueryPacket*>(packet);
      version.major = major;
      version.minor = minor;
      break;
    }
    case EscapeCode::CreateContext:
      static_cast<CreateContextPacket*>(packet)->contextId = nextId_.fetch_add(1, std::memory_order_relaxed);
      break;
    case EscapeCode::CreateWindow:
      static_cast<CreateWindowPacket*>(packet)->windowId = nextId_.fetch_add(1, std::memory_order_relaxed);
      break;
    case EscapeCode::Flush: {
      auto& flush = *static_cast<FlushPacket*>(packet);
      flushes.fetch_add(1, std::memory_order_relaxed);
      streamBytes.fetch_add(flush.stream.size, std::memory_order_relaxed);
      if (flush.reply.address != 0) std::memset(pointerTo(flush.reply.address), 0, flush.reply.size);
      if (flush.reply2.address != 0) std::memset(pointerTo(flush.reply2.address), 0, flush.reply2.size);
      break;
    }
    default:
      break;
  }
  return 0;
}

bool NullGpu::openAllocation(const sim::GpuAllocation&) { return true; }
void NullGpu::closeAllocation(uint32_t) {}

NTSTATUS RecordingGpu::escape(void* packet, uint32_t size) {
  if (size < sizeof(EscapeHeader)) return kInvalid;
  auto& header = *static_cast<EscapeHeader*>(packet);
  const uint8_t* const bytes = static_cast<const uint8_t*>(packet);
  Record record;
  record.packet.assign(bytes, bytes + size);
  EscapeBufferRow row;
  if (header.code == EscapeCode::Flush) row = static_cast<const FlushPacket*>(packet)->stream;
  if (header.code == EscapeCode::CreateContext) row = static_cast<const CreateContextPacket*>(packet)->imagePath;
  if (row.address != 0) {
    const uint8_t* const data = static_cast<const uint8_t*>(pointerTo(row.address));
    record.data.assign(data, data + row.size);
  }
  const std::lock_guard lock(mutex_);
  records_.push_back(std::move(record));
  if (failCode_ != 0 && failCode_ == static_cast<uint32_t>(header.code)) {
    failCode_ = 0;
    header.status = failStatus_;
    return 0;
  }
  const NTSTATUS result = NullGpu::escape(packet, size);
  if (header.code != EscapeCode::Flush || replies_.empty()) return result;
  auto& flush = *static_cast<FlushPacket*>(packet);
  if (flush.reply.address == 0 && flush.reply2.address == 0) return result;
  const auto put = [](EscapeBufferRow& to, const std::vector<uint8_t>& reply) {
    if (to.address == 0) return;
    const auto length = static_cast<uint32_t>(std::min<size_t>(to.size, reply.size()));
    if (length != 0) std::memcpy(pointerTo(to.address), reply.data(), length);
    to.size = length;
  };
  put(flush.reply, replies_.front().first);
  put(flush.reply2, replies_.front().second);
  replies_.erase(replies_.begin());
  return result;
}

std::vector<RecordingGpu::Record> RecordingGpu::take() {
  const std::lock_guard lock(mutex_);
  return std::exchange(records_, {});
}

void RecordingGpu::failNext(uint32_t code, int32_t status) {
  const std::lock_guard lock(mutex_);
  failCode_ = code;
  failStatus_ = status;
}

void RecordingGpu::queueReply(std::vector<uint8_t> reply, std::vector<uint8_t> reply2) {
  const std::lock_guard lock(mutex_);
  replies_.push_back({std::move(reply), std::move(reply2)});
}

}  // namespace qv::peer
