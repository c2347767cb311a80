// Writing and reading of recordings.
#include "peer/link/stream_record.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "wire/packets.h"
#include "wire/sizes.h"

namespace qv::peer {

RecordingLink::RecordingLink(sim::GpuLink& next, const std::string& file, std::string& error)
    : next_(next), file_(std::fopen(file.c_str(), "wb")) {
  error = file_ == nullptr ? file + ": " + std::strerror(errno) : "";
}

RecordingLink::~RecordingLink() {
  if (file_ != nullptr) std::fclose(file_);
}

NTSTATUS RecordingLink::escape(void* packet, uint32_t size) {
  record(packet, size);
  return next_.escape(packet, size);
}

NTSTATUS RecordingLink::escapeFrame(void* packet, uint32_t size, void (*finishReads)(void* context), void* context) {
  record(packet, size);
  return next_.escapeFrame(packet, size, finishReads, context);
}

void RecordingLink::record(const void* packet, uint32_t size) {
  FlushPacket flush;
  if (file_ == nullptr || size != sizeof flush) return;
  std::memcpy(&flush, packet, sizeof flush);
  if (flush.header.code != EscapeCode::Flush) return;
  RecordedFlush head;
  head.contextId = flush.contextId;
  head.presentMode = flush.presentMode;
  head.replyBytes = (flush.reply.address == 0 ? 0 : flush.reply.size) + (flush.reply2.address == 0 ? 0 : flush.reply2.size);
  head.streamBytes = flush.stream.address == 0 ? 0 : flush.stream.size;
  const uint32_t pad = 0;
  const std::lock_guard lock(mutex_);
  std::fwrite(&head, sizeof head, 1, file_);
  if (head.streamBytes != 0) {
    std::fwrite(reinterpret_cast<const void*>(static_cast<uintptr_t>(flush.stream.address)), 1, head.streamBytes, file_);
  }
  std::fwrite(&pad, 1, padded(head.streamBytes) - head.streamBytes, file_);
}

bool readRecordedFlush(std::FILE* file, RecordedFlush& flush, std::vector<uint8_t>& stream, std::string& error) {
  error.clear();
  const size_t got = std::fread(&flush, 1, sizeof flush, file);
  if (got == 0 && std::feof(file)) return false;
  if (std::memcmp(&flush.magic, &RecordedFlush::kMagic, std::min(got, sizeof flush.magic)) != 0) {
    error = "not a recorded stream";
    return false;
  }
  if (got != sizeof flush) {
    error = "cut short";
    return false;
  }
  stream.clear();
  const uint64_t wanted = padded(flush.streamBytes);
  // Grows with what the file really holds.
  while (stream.size() < wanted) {
    const size_t at = stream.size(), piece = std::min<uint64_t>(wanted - at, 1u << 20);
    stream.resize(at + piece);
    if (std::fread(stream.data() + at, 1, piece, file) != piece) {
      error = "cut short";
      return false;
    }
  }
  stream.resize(flush.streamBytes);
  return true;
}

}  // namespace qv::peer
