// Recordings: files with every flush of a guest, and the link that writes them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "platform/simulated/gpu_link.h"

namespace qv::peer {

// One flush of a recording; its stream follows it, padded to a multiple of 4.
struct RecordedFlush {
  uint32_t magic = kMagic;
  uint32_t contextId = 0;
  uint32_t presentMode = 0;
  uint32_t replyBytes = 0;  // of both replies asked for
  uint32_t streamBytes = 0;
  static constexpr uint32_t kMagic = 0x31535651;  // "QVS1"
};

// Passes everything on to another link, which outlives it, and appends each flush to a file. Any thread may call any member.
class RecordingLink final : public sim::GpuLink {
 public:
  // `error` says why there is no file to write to; it is empty otherwise.
  RecordingLink(sim::GpuLink& next, const std::string& file, std::string& error);
  ~RecordingLink() override;
  RecordingLink(const RecordingLink&) = delete;
  RecordingLink& operator=(const RecordingLink&) = delete;

  NTSTATUS escape(void* packet, uint32_t size) override;
  NTSTATUS escapeFrame(void* packet, uint32_t size, void (*finishReads)(void* context), void* context) override;
  bool openAllocation(const sim::GpuAllocation& allocation) override { return next_.openAllocation(allocation); }
  void closeAllocation(uint32_t handle) override { next_.closeAllocation(handle); }

 private:
  void record(const void* packet, uint32_t size);

  sim::GpuLink& next_;
  std::mutex mutex_;
  std::FILE* file_;
};

// Reads the next flush of a recording. False at the end, with an empty `error`. False too for a file that is no recording or that
// is cut short: `error` then says so.
bool readRecordedFlush(std::FILE* file, RecordedFlush& flush, std::vector<uint8_t>& stream, std::string& error);

}  // namespace qv::peer
