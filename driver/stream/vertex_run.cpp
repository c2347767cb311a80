// Opening and closing of vertex runs, and the routines glBegin, glEnd and glPrimitiveRestartNV around them.
#include "driver/stream/vertex_run.h"

#include <cstring>

#include "driver/diagnostics/record_error.h"
#include "driver/lists/display_list_stream.h"
#include "driver/stream/entry_points.h"
#include "driver/stream/flush.h"

namespace qv {

void openRun(GlContext* context, uint32_t mode) {
  VertexRun& run = context->run;
  // The limit is looked at here too. Room runs out within runs as a rule, and there the buffer may only grow: a program that
  // draws with runs alone would fill the memory and pass the 32 bits of a submission's length.
  if (static_cast<uint64_t>(context->cursor - context->base) >= kFlushAtCapacity) [[unlikely]]
    flushStream(context, 0, nullptr, 0, nullptr, 0);
  takeRoom(*context, kRunHeadBytes);
  run.start = static_cast<uint64_t>(context->cursor - context->base) - kRunHeadBytes;
  run.open = 1;
  run.layoutFixed = 0;
  run.slotCount = 0;
  run.stride = 0;
  std::memset(run.signature, 0, sizeof run.signature);
  run.slotIndex = 0;
  run.primitive = mode;
}

void fixRunLayout(GlContext* context, uint32_t signature, uint32_t bytes) {
  VertexRun& run = context->run;
  ++run.slotCount;
  run.layoutFixed = 1;
  takeRoom(*context, padded(2 * run.slotCount));
  uint8_t* const at = takeRoom(*context, padded(run.stride));
  // In bounds: the layout holds at most 15 slots of at most 32 bytes.
  if (run.stride != 0) std::memcpy(at, run.layout, run.stride);
  run.stride += bytes;
  run.signature[run.slotIndex] = signature;
  run.slotIndex = 0;
}

void closeRun(GlContext* context, uint32_t kind) {
  VertexRun& run = context->run;
  if (run.start == kNoRun) {
    run.open = 0;
    return;
  }
  if (!run.layoutFixed) {
    // No vertex came: what was collected stands as the run's single element. The run counts as open until the room is taken,
    // so that a full buffer grows here and is not flushed with the head still empty.
    takeRoom(*context, padded(2 * run.slotCount));
    uint8_t* const at = takeRoom(*context, padded(run.stride));
    if (run.stride != 0) std::memcpy(at, run.layout, run.stride);
  }
  run.open = 0;
  const uint64_t length = static_cast<uint64_t>(context->cursor - context->base) - run.start;
  if (length != 0) {
    uint8_t* const head = context->base + run.start;
    put(head, kind);
    put(head + 4, static_cast<uint32_t>(length));
    put(head + 8, run.primitive << 24 | (run.slotCount & 0xFF) << 16 | (run.stride & 0xFFFF));
    for (uint32_t slot = 0; slot < run.slotCount; ++slot)
      put(head + kRunHeadBytes + 2 * slot, static_cast<uint16_t>(run.signature[slot]));
  }
  run.start = kNoRun;
  run.slotCount = 0;
  run.stride = 0;
  std::memset(run.signature, 0, sizeof run.signature);
  run.slotIndex = 0;
  run.primitive = 0;
  run.layoutFixed = 0;
}

namespace gl {

void APIENTRY glBegin(GLenum mode) {
  GlContext* const context = currentContext();
  if (!context) return;
  constexpr uint32_t kOpcode = opcodeOf<op::glBegin>;
  if (context->recordingList) [[unlikely]] {
    context->recordingList->lastOpcode = kOpcode;
    put(beginCommand(*context->recordingList, kOpcode, 8), mode);
  }
  // A list may hold a glBegin that is not current state: the check is made outside GL_COMPILE only.
  const bool compiling = context->listMode == GL_COMPILE;
  if (!compiling && context->insideBegin) {
    recordError(context, GL_INVALID_OPERATION, 0, kErrorText);
    context->lastOpcode = kOpcode;
    return;
  }
  if ((context->quirkFlags & kQuirkVertexRuns) && !context->recordingList && !context->run.open) [[likely]] {
    openRun(context, mode);
    context->lastOpcode = kOpcode;
    context->insideBegin = 1;
    context->beginPrimitive = mode;
    return;
  }
  if (context->run.open) closeRun(context, kRunBroken);
  context->lastOpcode = kOpcode;
  put(beginCommand(*context, kOpcode, 8), mode);
  if (!compiling) {
    context->insideBegin = 1;
    context->beginPrimitive = mode;
  }
}

void APIENTRY glEnd() {
  GlContext* const context = currentContext();
  if (!context) return;
  constexpr uint32_t kOpcode = opcodeOf<op::glEnd>;
  if (context->recordingList) [[unlikely]] {
    context->recordingList->lastOpcode = kOpcode;
    beginCommand(*context->recordingList, kOpcode, 4);
  }
  const bool compiling = context->listMode == GL_COMPILE;
  if (!compiling && !context->insideBegin) {
    recordError(context, GL_INVALID_OPERATION, 0, kErrorText);
    context->lastOpcode = kOpcode;
    return;
  }
  context->lastOpcode = kOpcode;
  if (context->run.open) {
    // The run says that the primitive ended: no opcode 43 follows.
    closeRun(context, kRunEnded);
  } else {
    beginCommand(*context, kOpcode, 4);
    if (compiling) return;
  }
  context->beginPrimitive = 0;
  context->insideBegin = 0;
}

void APIENTRY glPrimitiveRestartNV() {
  GlContext* const context = currentContext();
  if (!context) return;
  context->lastOpcode = static_cast<int32_t>(opcodeOf<op::glPrimitiveRestartNV>);
  if (!context->insideBegin) {
    recordError(context, GL_INVALID_OPERATION, 0, kErrorText);
    return;
  }
  const uint32_t mode = context->beginPrimitive;
  glEnd();
  glBegin(mode);
}

void APIENTRY glPrimitiveRestartIndexNV(GLuint index) {
  GlContext* const context = currentContext();
  if (!context) return;
  context->lastOpcode = static_cast<int32_t>(opcodeOf<op::glPrimitiveRestartIndexNV>);
  context->restartNvIndex = index;
}

}  // namespace gl
}  // namespace qv
