// CommandWalk: goes from command to command of a stream that is complete in memory.
#pragma once

#include <cstdint>

#include "wire/reader.h"
#include "wire/sizes.h"

namespace qv {

// The host, whose streams are still arriving, has a walk of its own (peer/replay/replayer.h).
class CommandWalk {
 public:
  CommandWalk(const uint8_t* stream, uint64_t bytes) : stream_(stream), bytes_(bytes) {}

  // The next command. False at the end of the stream, and at a command that reaches beyond the end: malformed() tells which.
  bool next(uint32_t& opcode, Reader& payload) {
    at_ = next_;
    if (at_ >= bytes_) return false;
    Reader rest(stream_ + at_, bytes_ - at_);
    uint32_t header = 0, total = 0, head = kSmallHeaderBytes;
    malformed_ = true;
    if (!rest.take(header)) return false;
    opcode = header & (kOpcodes - 1);
    total = header >> 12;
    if (total < kSmallHeaderBytes) {
      head = kLargeHeaderBytes;
      if (!rest.take(total)) return false;
    }
    if (total < head || total > bytes_ - at_) return false;
    malformed_ = false;
    payload = Reader(stream_ + at_ + head, total - head);
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
