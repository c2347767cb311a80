// NullGpu and RecordingGpu: links without an OpenGL. Both accept every packet and reply zeros; the second keeps what was sent.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "platform/simulated/gpu_link.h"

namespace qv::peer {

// Every packet succeeds: versions read 4.5, ids count up from 1, replies are zeros of the full size asked for. Streams are
// never read, so that a benchmark sees the cost of the guest's side alone. Safe from any thread.
class NullGpu : public sim::GpuLink {
 public:
  NTSTATUS escape(void* packet, uint32_t size) override;
  bool openAllocation(const sim::GpuAllocation& allocation) override;
  void closeAllocation(uint32_t handle) override;

  uint16_t major = 4, minor = 5;
  std::atomic<uint64_t> packets{0};
  std::atomic<uint64_t> flushes{0};
  std::atomic<uint64_t> streamBytes{0};

 private:
  std::atomic<uint32_t> nextId_{1};
};

// A NullGpu that records every packet as it was sent, with the bytes of the stream and of the image path behind it.
class RecordingGpu final : public NullGpu {
 public:
  struct Record {
    std::vector<uint8_t> packet;  // as sent, before any reply
    std::vector<uint8_t> data;    // flush: the stream; context creation: the image path
  };

  NTSTATUS escape(void* packet, uint32_t size) override;

  // Takes what has been recorded so far.
  std::vector<Record> take();
  // The next packet with this code gets `status` and nothing else; 0 clears.
  void failNext(uint32_t code, int32_t status);
  // Bytes that the next flushes with a reply buffer answer, in order; zeros once they are used up.
  void queueReply(std::vector<uint8_t> reply, std::vector<uint8_t> reply2 = {});

 private:
  struct QueuedReply {
    std::vector<uint8_t> first, second;
  };
  std::mutex mutex_;
  std::vector<Record> records_;
  std::vector<QueuedReply> replies_;
  uint32_t failCode_ = 0;
  int32_t failStatus_ = 0;
};

}  // namespace qv::peer
