// Selection and feedback: the program's buffers, which the host fills when their mode ends.
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"
#include "driver/stream/record_command.h"

namespace qv {
namespace {

bool isFeedbackType(GLenum type) { return type >= GL_2D && type <= GL_4D_COLOR_TEXTURE; }

// Whether the host carries the mode out, as far as the guest can know.
bool isTaken(const GlContext* context, GLenum mode) {
  switch (mode) {
    case GL_RENDER:
      return true;
    case GL_SELECT:
      return context->selectionBufferSize > 0;
    case GL_FEEDBACK:
      return context->feedbackBufferSize > 0;
    default:
      return false;
  }
}

// The bytes of a buffer of so many words, which are never less than 0; a reply's length has 32 bits.
uint32_t bufferBytes(int32_t words) {
  const uint64_t bytes = 4 * static_cast<uint64_t>(words);
  return bytes > 0xFFFFFFFF ? 0xFFFFFFFC : static_cast<uint32_t>(bytes);
}

}  // namespace

namespace gl {

// What GL refuses is the host's to report. The buffer in use stays then, here as there, so that nothing is written to another
// one.
void APIENTRY glSelectBuffer(GLsizei size, GLuint* buffer) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  sendWords<op::glSelectBuffer>(context, SelectBufferRecord{size, low32(buffer)});
  if (context->insideBegin || context->renderMode == GL_SELECT || size < 0) return;
  context->selectionBufferSize = size;
  context->selectionBuffer = buffer;
}

void APIENTRY glFeedbackBuffer(GLsizei size, GLenum type, GLfloat* buffer) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  sendWords<op::glFeedbackBuffer>(context, FeedbackBufferRecord{size, type, low32(buffer)});
  if (context->insideBegin || context->renderMode == GL_FEEDBACK || size < 0 || !isFeedbackType(type)) return;
  context->feedbackBufferSize = size;
  context->feedbackBuffer = buffer;
}

GLint APIENTRY glRenderMode(GLenum mode) {
  using Row = op::glRenderMode;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return 0;
  send<Row>(context, mode);
  GLint answer = 0;
  void* buffer = nullptr;
  uint32_t bytes = 0;
  if (context->renderMode == GL_SELECT) {
    buffer = context->selectionBuffer;
    bytes = bufferBytes(context->selectionBufferSize);
  } else if (context->renderMode == GL_FEEDBACK) {
    buffer = context->feedbackBuffer;
    bytes = bufferBytes(context->feedbackBufferSize);
  }
  if (buffer == nullptr) bytes = 0;
  flushStream(context, 0, &answer, sizeof answer, buffer, bytes);
  if (isTaken(context, mode)) context->renderMode = mode;
  return answer;
}

}  // namespace gl
}  // namespace qv
