// The walk over a stream.
#include "peer/replay/replayer.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "driver/stream/opcodes.h"
#include "peer/log.h"
#include "peer/replay/opcode_table.h"
#include "peer/replay/run_arrays.h"
#include "peer/replay/vertex_run.h"

namespace qv::peer {

namespace {

constexpr uint32_t kHeadOfRun = 12;  // two header words and the packed word

}  // namespace

const std::vector<uint8_t> Replayer::kNoReply;

Replayer::Replayer(WindowCommands* windows)
    : windows_(windows), scratch_(kScratchBytes / sizeof(uint64_t)), runArrays_(std::make_unique<RunArrays>()) {}
Replayer::~Replayer() = default;

void Replayer::begin() {
  reply_.clear();
  reply2_.clear();
  replyAt_ = ~uint64_t{0};
}

Replayer::Result Replayer::replay(const uint8_t* data, uint32_t bytes, uint32_t left) {
  const OpcodeEntry* const table = opcodeTable();
  end_ = data + bytes;
  uint32_t at = 0;
  while (left - at >= 4) {
    if (bytes - at < 4) return {Outcome::NeedMore, at, 4};
    const uint32_t header = get<uint32_t>(data + at);
    const uint32_t opcode = header & (kOpcodes - 1);
    uint32_t total = header >> 12;
    uint32_t head = 4;
    if (total < 4) [[unlikely]] {
      if (left - at < 8) {
        opcode_ = opcode;
        fail("the stream ends inside its header");
        return {Outcome::Failed, at, 0};
      }
      if (bytes - at < 8) return {Outcome::NeedMore, at, 8};
      total = get<uint32_t>(data + at + 4);
      head = 8;
    }
    if (total > bytes - at || total < head) [[unlikely]] {
      opcode_ = opcode;
      if (total < head) {
        fail("a total of %u bytes", total);
        return {Outcome::Failed, at, 0};
      }
      if (total <= left - at) return {Outcome::NeedMore, at, total};
      // A swap or a release that finds a glBegin without a vertex sends the run's head with the length that the run gets
      // later, and nothing behind it: the primitive is open and has no vertex yet.
      if (opcode == kRunBroken && head == 8 && left - at == kHeadOfRun) {
        if (bytes - at < kHeadOfRun) return {Outcome::NeedMore, at, kHeadOfRun};
        ++commands_;
        openBareRun(*this, get<uint32_t>(data + at + 8));
        return {Outcome::Done, at + kHeadOfRun, 0};
      }
      fail("%u bytes long, %u are left", total, left - at);
      return {Outcome::Failed, at, 0};
    }
    const uint32_t payload = total - head;
    const OpcodeEntry& entry = table[opcode];
    if (payload - entry.least > entry.span) [[unlikely]] {
      opcode_ = opcode;
      fail("a payload of %u bytes", payload);
      return {Outcome::Failed, at, 0};
    }
    ++commands_;
    // The pad bytes of the stream's last command may be missing.
    next_ = data + std::min(at + padded(total), bytes);
    if (entry.handler != nullptr && !entry.handler(*this, data + at + head, payload)) [[unlikely]] {
      opcode_ = opcode;
      return {Outcome::Failed, at, 0};
    }
    at = static_cast<uint32_t>(next_ - data);
  }
  if (left != at) {
    opcode_ = 0;
    fail("%u stray bytes at the end", left - at);
    return {Outcome::Failed, at, 0};
  }
  return {Outcome::Done, at, 0};
}

bool Replayer::fail(const char* format, ...) {
  char text[160];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  complaint_ = text;
  return false;
}

void Replayer::passOver(uint32_t opcode, const char* name, const char* why) {
  if (passedOver_.emplace(opcode, why).second) logLine("opcode %u (%s) passed over: %s", opcode, name, why);
}

uint8_t* Replayer::scratch(uint32_t bytes) {
  const size_t units = (size_t{bytes} + 7) / 8;
  if (scratch_.size() < units) scratch_.resize(units);
  uint8_t* const memory = reinterpret_cast<uint8_t*>(scratch_.data());
  std::memset(memory, 0, bytes);
  return memory;
}

void Replayer::answer(const void* data, uint32_t bytes) {
  const uint8_t* const from = static_cast<const uint8_t*>(data);
  reply_.assign(from, from + bytes);
  reply2_.clear();
  replyAt_ = commands_;
}

}  // namespace qv::peer
