// The walk over a stream.
#include "peer/replay/replayer.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "peer/link/log.h"
#include "peer/replay/lists.h"
#include "peer/replay/opcode_table.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/vertex_run.h"
#include "wire/command_walk.h"

namespace qv::peer {

namespace {

// Of the commands for a list that has no more room: its end ends that, and queries are never recorded.
bool isLeftOut(uint32_t opcode) { return opcode != opcodeOf<op::glEndList> && !isQuery(opcode); }

}  // namespace

const std::vector<uint8_t> Replayer::kNoReply;

Replayer::Replayer(WindowCommands* windows) : scratch_(kScratchBytes / sizeof(uint64_t)), state_(std::make_unique<ReplayState>()) {
  state_->windows = windows;
}
Replayer::~Replayer() {
  // OpenGL forgets an open list with its context.
  if (state_->listOpen) state_->shared->lists.closed(state_->listName, state_->listIsCaller);
}

bool Replayer::insideBegin() const { return state_->insideBegin; }
bool Replayer::listOpen() const { return state_->listOpen; }

void Replayer::begin(uint32_t replyRoom, uint32_t reply2Room) {
  replyRoom_ = replyRoom;
  reply2Room_ = reply2Room;
  reply_.clear();
  reply2_.clear();
  replyAt_ = ~uint64_t{0};
  failed_ = false;
}

Replayer::Result Replayer::replay(const uint8_t* data, uint32_t bytes, uint32_t left) {
  const Handler* const table = opcodeTable();
  end_ = data + bytes;
  beyond_ = left - bytes;
  uint32_t at = 0;
  state_->joinSeen = data;
  const auto failed = [&](uint32_t opcode) {
    opcode_ = opcode;
    beforeFailure_ = commands_;
    return Result{Outcome::Failed, at, 0};
  };
  while (left - at >= kSmallHeaderBytes) {
    CommandHeader header;
    if (const uint32_t needed = readHeader(data + at, bytes - at, header); needed != 0) [[unlikely]] {
      if (left - at >= needed) return {Outcome::NeedMore, at, needed};
      fail("the stream ends inside its header");
      return failed(header.opcode);
    }
    const auto [opcode, head, total] = header;
    if (total > bytes - at || total < head) [[unlikely]] {
      if (total < head) {
        fail("total of %u bytes, less than its header", total);
        return failed(opcode);
      }
      if (total <= left - at) return {Outcome::NeedMore, at, total};
      if (mayBeRunWithoutVertices(header, left - at)) {
        if (bytes - at < kRunWithoutVerticesBytes) return {Outcome::NeedMore, at, kRunWithoutVerticesBytes};
        const auto record = get<VertexRunRecord>(data + at + head);
        if (isRunWithoutVertices(header, record)) {
          remember(opcode);
          openRunWithoutVertices(*this, record);
          return {Outcome::Done, at + kRunWithoutVerticesBytes, 0};
        }
      }
      fail("total of %u bytes, %u are left in the stream", total, left - at);
      return failed(opcode);
    }
    remember(opcode);
    // The pad bytes of the last command may be missing.
    next_ = data + std::min<uint64_t>(at + padded(total), bytes);
    const Handler handler = state_->listFull && isLeftOut(opcode) ? nullptr : table[opcode];
    if (handler != nullptr && !handler(*this, Reader(data + at + head, total - head))) [[unlikely]] {
      const Result result = failed(opcode);
      --beforeFailure_;
      return result;
    }
    const auto next = static_cast<uint32_t>(next_ - data);
    if (state_->listOpen) noteRecorded(*this, next - at);
    at = next;
  }
  if (left != at) {
    fail("%u stray bytes at the end", left - at);
    return failed(kOpcodes);  // bytes of no command
  }
  return {Outcome::Done, at, 0};
}

std::string Replayer::lastCommands() const {
  std::string out;
  // The malformed command may stand in the ring too, in the place of the oldest one.
  uint64_t n = commands_ > kRemembered ? commands_ - kRemembered + 1 : 1;
  while (n <= beforeFailure_) {
    const uint32_t opcode = remembered_[n % kRemembered];
    uint64_t times = 0;
    while (n <= beforeFailure_ && remembered_[n % kRemembered] == opcode) ++n, ++times;
    if (!out.empty()) out += ", ";
    const char* const name = opcodeName(opcode);
    out += name != nullptr ? name : std::to_string(opcode);
    if (times > 1) out += " x" + std::to_string(times);
  }
  return out;
}

void Replayer::fail(const char* format, ...) {
  char text[160];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  complaint_ = text;
  failed_ = true;
}

bool Replayer::wrongSize(uint64_t bytes, uint64_t expected) {
  fail("payload of %llu bytes instead of %llu", static_cast<unsigned long long>(bytes), static_cast<unsigned long long>(expected));
  return false;
}

bool Replayer::wrongData() {
  if (!failed_) fail("tail that contradicts its words");
  return false;
}

void Replayer::passOver(uint32_t opcode, const char* name, const char* why) {
  if (passedOver_.emplace(opcode, why).second) logLine("replay: opcode %u (%s) passed over: %s", opcode, name, why);
}

uint8_t* Replayer::scratch(uint64_t bytes) {
  const size_t units = (bytes + 7) / 8;
  if (scratch_.size() < units) scratch_.resize(units);
  uint8_t* const memory = reinterpret_cast<uint8_t*>(scratch_.data());
  std::memset(memory, 0, bytes);
  return memory;
}

void Replayer::answer(const void* data, uint32_t bytes, const void* second, uint32_t secondBytes) {
  const auto* const from = static_cast<const uint8_t*>(data);
  const auto* const secondFrom = static_cast<const uint8_t*>(second);
  reply_.assign(from, from + bytes);
  reply2_.assign(secondFrom, secondFrom + secondBytes);
  replyRows_ = {};
  replyAt_ = commands_;
}

uint8_t* Replayer::answerInPlace(uint32_t bytes) {
  answer(nullptr, 0);
  reply_.resize(bytes);
  return reply_.data();
}

void Replayer::took(const uint8_t* next, uint64_t commands) {
  next_ = next;
  const uint16_t opcode = remembered_[commands_ % kRemembered];
  for (uint64_t n = std::min<uint64_t>(commands, kRemembered); n > 0; --n)
    remembered_[(commands_ + commands - n + 1) % kRemembered] = opcode;
  commands_ += commands;
}

}  // namespace qv::peer
