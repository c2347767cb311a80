// Opening and closing of vertex runs.
#include "driver/stream/vertex_run.h"

#include <cstring>


namespace qv {

void openRun(GlContext* context, uint32_t mode) {
  VertexRun& run = *context;
  takeRoom(*context, kRunHeadBytes);
  run.runStart = static_cast<uint64_t>(context->cursor - context->base) - kRunHeadBytes;
  run.runOpen = 1;
  run.runLayoutFixed = 0;
  run.runSlotCount = 0;
  run.runStride = 0;
  std::memset(run.runSignature, 0, sizeof run.runSignature);
  run.runSlotIndex = 0;
  run.runPrimitive = mode;
}

void fixRunLayout(GlContext* context, uint32_t signature, uint32_t bytes) {
  VertexRun& run = *context;
  ++run.runSlotCount;
  run.runLayoutFixed = 1;
  takeRoom(*context, runTagBytes(run.runSlotCount));
  uint8_t* const at = takeRoom(*context, padded(run.runStride));
  // In bounds: the layout holds at most 15 slots of at most 32 bytes.
  if (run.runStride != 0) std::memcpy(at, run.runTemplate, run.runStride);
  run.runStride += bytes;
  run.runSignature[run.runSlotIndex] = signature;
  run.runSlotIndex = 0;
}

void closeRun(GlContext* context, uint32_t kind) {
  VertexRun& run = *context;
  if (run.runStart == kNoRun) {
    run.runOpen = 0;
    return;
  }
  if (!run.runLayoutFixed) {
    // No vertex has come: the attributes collected so far are the only data of the run. The run counts as open until the room is
    // taken, so that a full buffer grows here and is not flushed with the head still empty.
    takeRoom(*context, runTagBytes(run.runSlotCount));
    uint8_t* const at = takeRoom(*context, padded(run.runStride));
    if (run.runStride != 0) std::memcpy(at, run.runTemplate, run.runStride);
  }
  run.runOpen = 0;
  const uint64_t length = static_cast<uint64_t>(context->cursor - context->base) - run.runStart;
  if (length != 0) {
    uint8_t* const head = context->base + run.runStart;
    putLargeHeader(head, kind, static_cast<uint32_t>(length));
    put(head + kLargeHeaderBytes, VertexRunRecord::of(run.runPrimitive, run.runSlotCount, run.runStride));
    // The tag of a slot is the low half of its signature.
    for (uint32_t slot = 0; slot < run.runSlotCount; ++slot)
      put(head + kRunHeadBytes + sizeof(RunTag) * slot, RunTag{static_cast<uint16_t>(run.runSignature[slot])});
  }
  run.runStart = kNoRun;
  run.runSlotCount = 0;
  run.runStride = 0;
  std::memset(run.runSignature, 0, sizeof run.runSignature);
  run.runSlotIndex = 0;
  run.runPrimitive = 0;
  run.runLayoutFixed = 0;
}

}  // namespace qv
