// The flush, the growth of a context's stream, and the routines whose whole work is flushing: glFlush, glFinish, glGetError.
#include "driver/stream/flush.h"

#include "driver/diagnostics/record_error.h"
#include "driver/frame/pixel_formats.h"
#include "driver/host/submit.h"
#include "driver/objects/share_group.h"
#include "driver/stream/entry_points.h"
#include "driver/stream/vertex_run.h"

namespace qv {
namespace {

constexpr uint64_t kFirstCapacity = 0x40000;      // 256 KiB
constexpr int32_t kFinish = op::glFinish::kOpcode;
constexpr int32_t kFlush = op::glFlush::kOpcode;
constexpr int32_t kGetError = op::glGetError::kOpcode;

void writeWord(GlContext* context, int32_t opcode) {
  context->lastOpcode = opcode;
  beginCommand(*context, static_cast<uint32_t>(opcode), 4);
}

// Common end of glFlush and glFinish, their word being written: shows what was drawn to the front buffer, makes the work
// visible to contexts that share, and otherwise sends nothing: required, so that such a call in every frame costs no round trip.
void flushAfterMark(GlContext* context) {
  const bool doubleBuffered = (pixelFormat(context->pixelFormatIndex).dwFlags & PFD_DOUBLEBUFFER) != 0;
  if (!doubleBuffered || context->frontDirty) {
    flushStream(context, IsWindowVisible(context->window) ? GL_FRONT : 0, nullptr, 0, nullptr, 0);
  } else if (context->nextSharer != context) {
    flushStream(context, 0, nullptr, 0, nullptr, 0);
  }
  context->frontDirty = context->drawBufferMode == GL_FRONT;
}

bool refusedInsideBegin(GlContext* context, int32_t opcode) {
  if (!context->insideBegin) return false;
  recordError(context, GL_INVALID_OPERATION, 0, kErrorText);
  context->lastOpcode = opcode;
  return true;
}

}  // namespace

void GlContext::reserve(uint64_t n) {
  if (capacity >= kFlushAtCapacity && !run.open) {
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
  // Taken before the run is closed: what closing a run without a fixed layout adds does not reach the host. This order is
  // required; who needs the run whole closes it before the call.
  const uint64_t length = static_cast<uint64_t>(context->cursor - context->base);
  const uint8_t* data = length == 0 ? nullptr : context->base;
  if (context->run.open) {
    const uint8_t* const before = context->base;
    closeRun(context, kRunBroken);
    if (data == before) data = context->base;  // closing may have moved the buffer
  }
  const uint64_t result = SubmitFlush(context, presentMode, data, length, reply, replySize, reply2, reply2Size);
  context->cursor = context->base;
  context->remaining = context->capacity;
  if (context->deferredDeletes.count != 0) releaseDeferredDeletes(context);
  ++context->flushCount;
  return static_cast<uint32_t>(result);
}

void markFrameEnd(GlContext* context) {
  if (context->lastOpcode == kFinish || context->lastOpcode == kFlush) return;
  writeWord(context, kFlush);
  context->frontDirty = context->drawBufferMode == GL_FRONT;
}

namespace gl {

void APIENTRY glFinish() {
  GlContext* const context = currentContext();
  if (!context || refusedInsideBegin(context, kFinish)) return;
  if (context->lastOpcode == kFinish) return;
  writeWord(context, kFinish);
  flushAfterMark(context);
}

void APIENTRY glFlush() {
  GlContext* const context = currentContext();
  if (!context || refusedInsideBegin(context, kFlush)) return;
  if (context->lastOpcode == kFinish || context->lastOpcode == kFlush) return;
  writeWord(context, kFlush);
  flushAfterMark(context);
}

GLenum APIENTRY glGetError() {
  GlContext* const context = currentContext();
  if (!context || refusedInsideBegin(context, kGetError)) return 0;
  if (context->recordedError != 0) {
    // The command clears the host's own flag; its answer is thrown away and there is no flush.
    const GLenum error = context->recordedError;
    context->recordedError = 0;
    writeWord(context, kGetError);
    return error;
  }
  const bool askedLast = context->lastOpcode == kGetError && context->lastHostError == 0;
  if (askedLast || (context->quirkFlags & kQuirkNoHostErrors)) return 0;
  if (context->run.open) closeRun(context, kRunBroken);
  writeWord(context, kGetError);
  uint32_t reply = 0;
  flushStream(context, 0, &reply, sizeof reply, nullptr, 0);
  context->lastHostError = reply;
  return reply;
}

}  // namespace gl
}  // namespace qv
