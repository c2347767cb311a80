// Opening and closing of vertex runs.
#include "driver/stream/vertex_run.h"

#include <cstring>


namespace qv {

void openRun(GlContext* context, uint32_t mode) {
  VertexRun& run = context->run;
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
  takeRoom(*context, runTagBytes(run.slotCount));
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
    // No vertex has come: the attributes collected so far are the only data of the run. The run counts as open until the room is
    // taken, so that a full buffer grows here and is not flushed with the head still empty.
    takeRoom(*context, runTagBytes(run.slotCount));
    uint8_t* const at = takeRoom(*context, padded(run.stride));
    if (run.stride != 0) std::memcpy(at, run.layout, run.stride);
  }
  run.open = 0;
  const uint64_t length = static_cast<uint64_t>(context->cursor - context->base) - run.start;
  if (length != 0) {
    uint8_t* const head = context->base + run.start;
    putLargeHeader(head, kind, static_cast<uint32_t>(length));
    put(head + kLargeHeaderBytes, VertexRunRecord::of(run.primitive, run.slotCount, run.stride));
    // The tag of a slot is the low half of its signature.
    for (uint32_t slot = 0; slot < run.slotCount; ++slot)
      put(head + kRunHeadBytes + sizeof(RunTag) * slot, RunTag{static_cast<uint16_t>(run.signature[slot])});
  }
  run.start = kNoRun;
  run.slotCount = 0;
  run.stride = 0;
  std::memset(run.signature, 0, sizeof run.signature);
  run.slotIndex = 0;
  run.primitive = 0;
  run.layoutFixed = 0;
}

}  // namespace qv
