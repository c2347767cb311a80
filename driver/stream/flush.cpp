// The flush, the growth of a context's stream, and the marks that end a frame.
#include "driver/stream/flush.h"

#include "driver/host/flush_packet.h"
#include "driver/state/shared_objects.h"
#include "driver/stream/vertex_run.h"

namespace qv {
namespace {

constexpr uint64_t kFirstCapacity = 0x40000;      // 256 KiB
}  // namespace

void GlContext::reserve(uint64_t n) {
  if (capacity >= kFlushAtCapacity && !runOpen) {
    flushStream(this, 0, nullptr, 0, nullptr, 0);
    if (n <= remaining) return;
  }
  if (capacity == 0) capacity = remaining = kFirstCapacity;
  while (n > remaining) {
    const uint64_t step = capacity >> 1;
    capacity += step;
    remaining += step;
  }
  reallocate();
}

uint32_t flushStream(GlContext* context, uint32_t presentMode, void* reply, uint32_t replySize, void* reply2,
                     uint32_t reply2Size) {
  // Taken before the run is closed (required oddity 11): what the closing of a run without a fixed layout adds does not reach the
  // host. A caller that needs the whole run closes it before the call.
  const uint64_t length = static_cast<uint64_t>(context->cursor - context->base);
  const uint8_t* data = length == 0 ? nullptr : context->base;
  if (context->runOpen) {
    const uint8_t* const before = context->base;
    closeRun(context, kRunBroken);
    if (data == before) data = context->base;  // closing may have moved the buffer
  }
  const uint64_t result = SubmitFlush(context, presentMode, data, length, reply, replySize, reply2, reply2Size);
  context->cursor = context->base;
  context->remaining = context->capacity;
  if (context->deferredDeletes.count != 0) releaseDeferredDeletes(context);
  ++context->flushCount;
  ++context->flushesDone;
  return static_cast<uint32_t>(result);
}

void writeMark(GlContext* context, uint32_t opcode) {
  context->lastOpcode = static_cast<int32_t>(opcode);
  beginCommand(*context, opcode, 0);
}

void markFrameEnd(GlContext* context) {
  if (context->lastOpcode == op::glFinish::kOpcode || context->lastOpcode == op::glFlush::kOpcode) return;
  writeMark(context, opcodeOf<op::glFlush>);
  context->frontDirty = context->drawBufferMode == GL_FRONT;
}

}  // namespace qv
