// Draws from arrays in their order: glDrawArrays and its kin, and glArrayElement.
#include "driver/calls/draw_command.h"
#include "driver/objects/display_list_stream.h"
#include "driver/stream/gl_routines.h"

namespace qv {
namespace {

// GL_PRIMITIVE_RESTART_NV, of which the host knows nothing: a draw whose elements contain the restart index becomes two. The
// second one is too short by `first`: required oddity 103. `draw(first, count)` makes a draw with the restart switched off.
template <typename Draw>
void splitAtRestart(GlContext* context, GLint first, GLsizei count, Draw&& draw) {
  context->nvRestartEnabled = 0;
  const int64_t restart = context->nvRestartIndex;
  if (first > restart || restart >= int64_t{first} + count) {
    draw(first, count);
  } else {
    draw(first, static_cast<GLsizei>(restart - first));
    draw(static_cast<GLint>(restart + 1), static_cast<GLsizei>(count - restart - 1));
  }
  context->nvRestartEnabled = 1;
}

VertexRange rangeOf(GLint first, GLsizei count) { return {first, static_cast<uint32_t>(count)}; }

// A draw of many instances that no list takes. Null after a refusal and when there is nothing to draw.
template <typename Row>
GlContext* enterInstanced(GLsizei instances) {
  GlContext* const context = currentContext();
  if (context == nullptr) return nullptr;
  context->lastOpcode = Row::kOpcode;
  if constexpr (has<Row>(kListTest)) {
    if (context->listMode == GL_COMPILE) {
      recordError(context, GL_INVALID_OPERATION, 1, kErrorText);
      return nullptr;
    }
  }
  return instances < 1 ? nullptr : context;
}

template <typename Row>
void drawInstanced(GLenum mode, GLint first, GLsizei count, GLsizei instances) {
  GlContext* const context = enterInstanced<Row>(instances);
  if (context == nullptr) return;
  if (count < 0) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  if (context->nvRestartEnabled) {
    return splitAtRestart(context, first, count,
                          [&](GLint f, GLsizei n) { gl::glDrawArraysInstancedARB(mode, f, n, instances); });
  }
  const auto many = static_cast<uint32_t>(instances);
  const ClientArrays arrays = measureClientArrays(context, many);
  sendDraw<Row>(context, DrawArraysInstancedRecord{mode, first, count, arrays.flags(), instances}, arrays, rangeOf(first, count),
                many);
}

}  // namespace

namespace gl {

void APIENTRY glDrawArrays(GLenum mode, GLint first, GLsizei count) {
  using Row = op::glDrawArrays;
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (DisplayListStream* const list = context->recordingList) [[unlikely]] {
    list->lastOpcode = Row::kOpcode;
    const DrawArraysRecord record{mode, first, count, 0};
    put(beginCommand(*list, opcodeOf<Row>, sizeof record), record);
  }
  if (context->insideBegin) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  if (count < 0) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  if (context->nvRestartEnabled)
    return splitAtRestart(context, first, count, [&](GLint f, GLsizei n) { glDrawArrays(mode, f, n); });
  const ClientArrays arrays = measureClientArrays(context, 1);
  sendDraw<Row>(context, DrawArraysRecord{mode, first, count, arrays.flags()}, arrays, rangeOf(first, count), 1);
}

void APIENTRY glDrawArraysInstanced(GLenum mode, GLint first, GLsizei count, GLsizei instancecount) {
  drawInstanced<op::glDrawArraysInstanced>(mode, first, count, instancecount);
}
void APIENTRY glDrawArraysInstancedARB(GLenum mode, GLint first, GLsizei count, GLsizei primcount) {
  drawInstanced<op::glDrawArraysInstancedARB>(mode, first, count, primcount);
}
void APIENTRY glDrawArraysInstancedEXT(GLenum mode, GLint start, GLsizei count, GLsizei primcount) {
  drawInstanced<op::glDrawArraysInstancedEXT>(mode, start, count, primcount);
}

void APIENTRY glDrawArraysInstancedBaseInstance(GLenum mode, GLint first, GLsizei count, GLsizei instancecount,
                                                GLuint baseinstance) {
  using Row = op::glDrawArraysInstancedBaseInstance;
  GlContext* const context = enterInstanced<Row>(instancecount);
  if (context == nullptr) return;
  if (count < 0) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  if (context->nvRestartEnabled) {
    return splitAtRestart(context, first, count,
                          [&](GLint f, GLsizei n) { glDrawArraysInstancedARB(mode, f, n, instancecount); });
  }
  const auto many = static_cast<uint32_t>(instancecount);
  const ClientArrays arrays = measureClientArrays(context, many);
  const DrawArraysBaseInstanceRecord record{mode, first, count, instancecount, baseinstance, arrays.flags()};
  sendDraw<Row>(context, record, arrays, rangeOf(first, count), many);
}

void APIENTRY glMultiDrawArrays(GLenum mode, const GLint* first, const GLsizei* count, GLsizei drawcount) {
  for (GLsizei i = 0; i < drawcount; ++i) glDrawArrays(mode, first[i], count[i]);
}

void APIENTRY glArrayElement(GLint i) {
  using Row = op::glArrayElement;
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (context->nvRestartEnabled && static_cast<GLuint>(i) == context->nvRestartIndex) return glPrimitiveRestartNV();
  if (i < 0) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  const ClientArrays arrays = measureClientArrays(context, 1);
  sendDraw<Row>(context, ArrayElementRecord{i, arrays.flags()}, arrays, rangeOf(i, 1), 1);
}

}  // namespace gl
}  // namespace qv
