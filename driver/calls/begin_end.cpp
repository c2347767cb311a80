// glBegin, glEnd and the restart of a primitive between them.
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv::gl {

void APIENTRY glBegin(GLenum mode) {
  GlContext* const context = currentContext();
  if (!context) return;
  recordInList<op::glBegin>(context, mode);
  // A list may hold a glBegin that is not current state: the check is made outside GL_COMPILE only.
  const bool compiling = context->listMode == GL_COMPILE;
  if (!compiling && context->insideBegin) return refuse(context, opcodeOf<op::glBegin>, GL_INVALID_OPERATION);
  if ((context->quirkFlags & kQuirkVertexRuns) && !context->recordingList && !context->run.open) [[likely]] {
    // The limit is looked at here too. Room runs out within runs as a rule, and there the buffer may only grow: a program that
    // draws with runs alone would fill the memory and pass the 32 bits of a submission's length.
    if (static_cast<uint64_t>(context->cursor - context->base) >= kFlushAtCapacity) [[unlikely]]
      flushStream(context, 0, nullptr, 0, nullptr, 0);
    openRun(context, mode);
    context->lastOpcode = op::glBegin::kOpcode;
  } else {
    send<op::glBegin>(context, mode);
    if (compiling) return;
  }
  context->insideBegin = 1;
  context->beginPrimitive = mode;
}

void APIENTRY glEnd() {
  GlContext* const context = currentContext();
  if (!context) return;
  recordInList<op::glEnd>(context);
  const bool compiling = context->listMode == GL_COMPILE;
  if (!compiling && !context->insideBegin) return refuse(context, opcodeOf<op::glEnd>, GL_INVALID_OPERATION);
  if (context->run.open) {
    // The run says that the primitive ended: no glEnd follows.
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
  context->restartNvIndex = index;
}

}  // namespace qv::gl
