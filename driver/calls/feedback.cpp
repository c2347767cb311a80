// The varyings that transform feedback captures.
#include "driver/calls/feedback.h"

#include "driver/state/buffer_bindings.h"
#include "driver/state/program_objects.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"
#include "driver/stream/text_list.h"

namespace qv {

namespace {

template <typename Row>
void setVaryings(GLuint program, GLsizei count, const GLchar* const* varyings, GLenum mode) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (!programExists(context, program)) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  const TextList texts(count, varyings);
  if (texts.isTooLong()) return refuse(context, opcodeOf<Row>, GL_OUT_OF_MEMORY);
  sendTexts<Row>(context,
                 FeedbackVaryingsRecord{program, count, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(varyings)),
                                        static_cast<uint32_t>(texts.bytes), mode, count},
                 texts);
  if ((context->quirkFlags & kQuirkFlushShared) != 0 && context->nextSharer != context)
    flushStream(context, 0, nullptr, 0, nullptr, 0);
}

template <typename Row>
void getVarying(GLuint program, GLuint index, GLsizei bufSize, GLsizei* length, GLsizei* size, GLenum* type, GLchar* name) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  const auto half = [](const void* pointer) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer)); };
  struct {
    GLsizei length, size;
    GLenum type;
  } reply = {};
  const uint32_t room = bufSize < 0 || name == nullptr ? 0 : static_cast<uint32_t>(bufSize);
  sendRecord<Row>(context, FeedbackVaryingRecord{program, index, bufSize, half(length), half(size), half(type)});
  flushStream(context, 0, &reply, sizeof reply, room == 0 ? nullptr : name, room);
  if (reply.type == 0) return;  // the host has refused
  if (length != nullptr) *length = reply.length;
  if (size != nullptr) *size = reply.size;
  if (type != nullptr) *type = reply.type;
}

}  // namespace

void noteFeedbackWritten(GlContext* context) {
  const IndexedBindings bindings = indexedBindings(context, GL_TRANSFORM_FEEDBACK_BUFFER);
  for (int32_t i = 0; i < bindings.limit; ++i) {
    if (BufferObject* const buffer = findBuffer(context, bindings.names[i]); buffer != nullptr) buffer->hostContentsNewer = 1;
  }
}

namespace gl {

void APIENTRY glTransformFeedbackVaryings(GLuint program, GLsizei count, const GLchar* const* varyings, GLenum mode) {
  setVaryings<op::glTransformFeedbackVaryings>(program, count, varyings, mode);
}
void APIENTRY glTransformFeedbackVaryingsEXT(GLuint program, GLsizei count, const GLchar* const* varyings, GLenum mode) {
  setVaryings<op::glTransformFeedbackVaryingsEXT>(program, count, varyings, mode);
}
void APIENTRY glGetTransformFeedbackVarying(GLuint program, GLuint index, GLsizei bufSize, GLsizei* length, GLsizei* size,
                                            GLenum* type, GLchar* name) {
  getVarying<op::glGetTransformFeedbackVarying>(program, index, bufSize, length, size, type, name);
}
void APIENTRY glGetTransformFeedbackVaryingEXT(GLuint program, GLuint index, GLsizei bufSize, GLsizei* length, GLsizei* size,
                                               GLenum* type, GLchar* name) {
  getVarying<op::glGetTransformFeedbackVaryingEXT>(program, index, bufSize, length, size, type, name);
}

}  // namespace gl

}  // namespace qv
