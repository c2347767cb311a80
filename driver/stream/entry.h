// The first steps of hand-written entry points, how any entry point refuses a call, and the sending of private commands.
#pragma once

#include "driver/base/current_context.h"
#include "driver/diagnostics/record_error.h"
#include "driver/state/gl_context.h"
#include "driver/stream/vertex_run.h"
#include "wire/entry_table.h"

namespace qv {

// Records an error with the standard text. The stream stays as it was.
inline void refuse(GlContext* context, uint32_t opcode, GLenum code) {
  recordError(context, code, 0, kErrorText);
  context->lastOpcode = static_cast<int32_t>(opcode);
}

// The current context, with lastOpcode set to that of the row. Null without a context. Null too, with the error recorded, inside
// glBegin when the row has a begin check.
template <typename Row>
inline GlContext* enter() {
  GlContext* const context = currentContext();
  if (context == nullptr) return nullptr;
  if constexpr (Row::kOpcode != kNoOpcode) context->lastOpcode = Row::kOpcode;
  if constexpr (has<Row>(kBeginCheck)) {
    if (context->insideBegin) {
      recordError(context, GL_INVALID_OPERATION, 0, kErrorText);
      return nullptr;
    }
  }
  return context;
}

// Closes an open run, so that the command does not count as vertex data, sets lastOpcode and writes the private command.
template <typename Private, typename Record>
inline void sendRecord(GlContext* context, const Record& record) {
  static_assert(std::is_same_v<typename Private::Form, As<Record>> && !HasTail<Record>);
  if (context->runOpen) closeRun(context, kRunBroken);
  context->lastOpcode = Private::kOpcode;
  put(beginCommand(*context, opcodeOf<Private>, sizeof record), record);
}

}  // namespace qv
