// The routines whose whole work is flushing: glFlush, glFinish, glGetError.
#include "driver/base/pixel_formats.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv::gl {
namespace {

constexpr int32_t kFinish = op::glFinish::kOpcode;
constexpr int32_t kFlush = op::glFlush::kOpcode;

// The rest of glFlush and glFinish after their mark: shows what was drawn to the front buffer, makes the work visible to contexts
// that share, and otherwise sends nothing (required oddity 10). So a call in every frame costs no round trip.
void flushAfterMark(GlContext* context) {
  if (!isDoubleBuffered(context->pixelFormatIndex) || context->frontDirty) {
    flushStream(context, IsWindowVisible(context->window) ? GL_FRONT : 0, nullptr, 0, nullptr, 0);
  } else if (context->nextSharer != context) {
    flushStream(context, 0, nullptr, 0, nullptr, 0);
  }
  context->frontDirty = context->drawBufferMode == GL_FRONT;
}

bool refusedInsideBegin(GlContext* context, uint32_t opcode) {
  if (!context->insideBegin) return false;
  refuse(context, opcode, GL_INVALID_OPERATION);
  return true;
}

}  // namespace

void APIENTRY glFinish() {
  GlContext* const context = currentContext();
  if (!context || refusedInsideBegin(context, kFinish)) return;
  if (context->lastOpcode == kFinish) return;
  writeMark(context, kFinish);
  flushAfterMark(context);
}

void APIENTRY glFlush() {
  GlContext* const context = currentContext();
  if (!context || refusedInsideBegin(context, kFlush)) return;
  if (context->lastOpcode == kFinish || context->lastOpcode == kFlush) return;
  writeMark(context, kFlush);
  flushAfterMark(context);
}

GLenum APIENTRY glGetError() {
  GlContext* const context = currentContext();
  constexpr uint32_t kOpcode = opcodeOf<op::glGetError>;
  if (!context || refusedInsideBegin(context, kOpcode)) return 0;
  if (context->recordedError != 0) {
    // The command clears the host's error; its reply is thrown away (required oddity 9).
    const GLenum error = context->recordedError;
    context->recordedError = 0;
    writeMark(context, kOpcode);
    return error;
  }
  const bool askedLast = context->lastOpcode == op::glGetError::kOpcode && context->lastHostError == 0;
  if (askedLast || (context->quirkFlags & kQuirkNoHostErrors)) return 0;
  if (context->runOpen) closeRun(context, kRunBroken);
  writeMark(context, kOpcode);
  uint32_t reply = 0;
  flushStream(context, 0, &reply, sizeof reply, nullptr, 0);
  context->lastHostError = reply;
  return reply;
}

}  // namespace qv::gl
