// Sending of commands whose data do not come from one argument of the GL routine.
#pragma once

#include "driver/stream/entry.h"
#include "driver/stream/write_command.h"

namespace qv {

inline uint32_t low32(const void* pointer) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer)); }

// Closes an open run, sets lastOpcode and writes the row's command but for the `tail` bytes behind its record. Returns where
// these belong.
template <typename Row, typename Record>
inline uint8_t* sendWithData(GlContext* context, const Record& record, uint64_t tail) {
  static_assert(std::is_same_v<typename Row::Form, As<Record>>);
  if (context->runOpen) [[unlikely]]
    closeRun(context, kRunBroken);
  context->lastOpcode = Row::kOpcode;
  uint8_t* const at = beginCommand(*context, opcodeOf<Row>, sizeof record + tail);
  put(at, record);
  return at + sizeof record;
}

// The same for a command that is a record alone.
template <typename Row, typename Record>
inline void sendWords(GlContext* context, const Record& record) {
  static_assert(!HasTail<Record>);
  sendWithData<Row>(context, record, 0);
}

}  // namespace qv
