// CommandWalk: goes from command to command of a stream that is complete in memory.
#pragma once

#include <cstdint>

#include "wire/entry_table.h"
#include "wire/reader.h"
#include "wire/records/vertex_run.h"
#include "wire/sizes.h"

namespace qv {

// Whether a command that reaches beyond the stream, of which `left` bytes are left from its header on, may be a run without
// vertices, and with the record behind the header: whether it is one.
constexpr bool mayBeRunWithoutVertices(const CommandHeader& header, uint64_t left) {
  return header.opcode == opcodeOf<op::qvRunBroken> && header.bytes == kLargeHeaderBytes && left == kRunWithoutVerticesBytes;
}
constexpr bool isRunWithoutVertices(const CommandHeader& header, VertexRunRecord record) {
  return record.slots() != 0 && header.total == kRunWithoutVerticesBytes + runTagBytes(record.slots()) + padded(record.stride());
}

// The host, whose streams are still arriving, has a walk of its own (peer/replay/replayer.h).
class CommandWalk {
 public:
  CommandWalk(const uint8_t* stream, uint64_t bytes) : stream_(stream), bytes_(bytes) {}

  // The next command. False at the end of the stream, and at a command that reaches beyond the end: malformed() tells which. The
  // payload of a run without vertices is what there is of it.
  bool next(uint32_t& opcode, Reader& payload) {
    at_ = next_;
    if (at_ >= bytes_) return false;
    const uint8_t* const command = stream_ + at_;
    const uint64_t left = bytes_ - at_;
    CommandHeader header;
    malformed_ = true;
    if (readHeader(command, left, header) != 0 || header.total < header.bytes) return false;
    uint64_t total = header.total;
    if (total > left) {
      if (!mayBeRunWithoutVertices(header, left)) return false;
      if (!isRunWithoutVertices(header, get<VertexRunRecord>(command + kLargeHeaderBytes))) return false;
      total = left;
    }
    malformed_ = false;
    opcode = header.opcode;
    payload = Reader(command + header.bytes, total - header.bytes);
    next_ = at_ + padded(total);
    return true;
  }

  // Where the command begins that next() last looked at, from the start of the stream.
  uint64_t offset() const { return at_; }
  bool malformed() const { return malformed_; }

 private:
  const uint8_t* stream_;
  uint64_t bytes_;
  uint64_t at_ = 0, next_ = 0;
  bool malformed_ = false;
};

}  // namespace qv
