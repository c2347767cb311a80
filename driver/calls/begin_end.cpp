// glBegin, glEnd and the restart of a primitive between them.
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv::gl {

void APIENTRY glBegin(GLenum mode) {
  GlContext* const context = currentContext();
  if (!context) return;
  recordInList<op::glBegin>(context, mode);
  // Under GL_COMPILE the call goes into a list and opens no primitive: there is nothing to check.
  const bool compiling = context->listMode == GL_COMPILE;
  if (!compiling && context->insideBegin) return refuse(context, opcodeOf<op::glBegin>, GL_INVALID_OPERATION);
  if ((context->quirkFlags & kQuirkVertexRuns) && !context->recordingList && !context->runOpen) [[likely]] {
    // reserve() never flushes inside a run, and a program that draws with runs alone runs out of room nowhere else. Without this
    // check its stream would fill the memory and pass the 32 bits of a flush's length.
    if (static_cast<uint64_t>(context->cursor - context->base) >= kFlushAtCapacity) [[unlikely]]
      flushStream(context, 0, nullptr, 0, nullptr, 0);
    openRun(context, mode);
    context->lastOpcode = op::glBegin::kOpcode;
  } else {
    send<op::glBegin>(context, mode);
    if (compiling) return;
  }
  context->insideBegin = 1;  // whatever the mode: required oddity 13
  context->beginPrimitive = mode;
}

void APIENTRY glEnd() {
  GlContext* const context = currentContext();
  if (!context) return;
  recordInList<op::glEnd>(context);
  const bool compiling = context->listMode == GL_COMPILE;
  if (!compiling && !context->insideBegin) return refuse(context, opcodeOf<op::glEnd>, GL_INVALID_OPERATION);
  if (context->runOpen) {
    // The run itself tells the host that the primitive has ended.
    closeRun(context, kRunEnded);
    context->lastOpcode = op::glEnd::kOpcode;
  } else {
    send<op::glEnd>(context);
    if (compiling) return;
  }
  context->beginPrimitive = 0;
  context->insideBegin = 0;
}

void APIENTRY glPrimitiveRestartNV() {
  GlContext* const context = currentContext();
  if (!context) return;
  if (!context->insideBegin) return refuse(context, opcodeOf<op::glPrimitiveRestartNV>, GL_INVALID_OPERATION);
  const uint32_t mode = context->beginPrimitive;
  glEnd();
  glBegin(mode);
}

void APIENTRY glPrimitiveRestartIndexNV(GLuint index) {
  GlContext* const context = currentContext();
  if (!context) return;
  context->lastOpcode = op::glPrimitiveRestartIndexNV::kOpcode;
  context->nvRestartIndex = index;
}

}  // namespace qv::gl
