// The calls of debug output, which stay in the guest: driver/diagnostics has what they do. The ARB names are routines of their
// own.
#include "driver/diagnostics/debug_log.h"
#include "driver/stream/entry.h"
#include "driver/stream/gl_routines.h"

namespace qv {
namespace {

void setCallback(GLDEBUGPROC callback, const void* userParam) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  DebugState* const state = debugStateOf(context);
  if (state == nullptr) return;
  state->callback = callback;
  state->userParam = userParam;
}

void control(GLenum source, GLenum type, GLenum severity, GLsizei count, const GLuint* ids, GLboolean enabled) {
  if (GlContext* const context = currentContext(); context != nullptr)
    controlMessages(context, source, type, severity, count, ids, enabled != GL_FALSE);
}

void insert(GLenum source, GLenum type, GLuint id, GLenum severity, GLsizei length, const GLchar* text) {
  if (GlContext* const context = currentContext(); context != nullptr)
    insertMessage(context, source, type, id, severity, length, text, false);
}

GLuint take(GLuint count, GLsizei bufSize, GLenum* sources, GLenum* types, GLuint* ids, GLenum* severities, GLsizei* lengths,
            GLchar* log) {
  GlContext* const context = currentContext();
  return context == nullptr ? 0 : takeMessages(context, count, bufSize, sources, types, ids, severities, lengths, log);
}

}  // namespace

namespace gl {

void APIENTRY glDebugMessageCallback(GLDEBUGPROC callback, const void* userParam) { setCallback(callback, userParam); }
void APIENTRY glDebugMessageCallbackARB(GLDEBUGPROCARB callback, const void* userParam) { setCallback(callback, userParam); }

void APIENTRY glDebugMessageControl(GLenum source, GLenum type, GLenum severity, GLsizei count, const GLuint* ids,
                                    GLboolean enabled) {
  control(source, type, severity, count, ids, enabled);
}
void APIENTRY glDebugMessageControlARB(GLenum source, GLenum type, GLenum severity, GLsizei count, const GLuint* ids,
                                       GLboolean enabled) {
  control(source, type, severity, count, ids, enabled);
}

void APIENTRY glDebugMessageInsert(GLenum source, GLenum type, GLuint id, GLenum severity, GLsizei length, const GLchar* buf) {
  insert(source, type, id, severity, length, buf);
}
void APIENTRY glDebugMessageInsertARB(GLenum source, GLenum type, GLuint id, GLenum severity, GLsizei length, const GLchar* buf) {
  insert(source, type, id, severity, length, buf);
}

GLuint APIENTRY glGetDebugMessageLog(GLuint count, GLsizei bufSize, GLenum* sources, GLenum* types, GLuint* ids,
                                     GLenum* severities, GLsizei* lengths, GLchar* messageLog) {
  return take(count, bufSize, sources, types, ids, severities, lengths, messageLog);
}
GLuint APIENTRY glGetDebugMessageLogARB(GLuint count, GLsizei bufSize, GLenum* sources, GLenum* types, GLuint* ids,
                                        GLenum* severities, GLsizei* lengths, GLchar* messageLog) {
  return take(count, bufSize, sources, types, ids, severities, lengths, messageLog);
}

void APIENTRY glPushDebugGroup(GLenum source, GLuint id, GLsizei length, const GLchar* message) {
  if (GlContext* const context = currentContext(); context != nullptr) pushDebugGroup(context, source, id, length, message);
}
void APIENTRY glPopDebugGroup() {
  if (GlContext* const context = currentContext(); context != nullptr) popDebugGroup(context);
}

}  // namespace gl
}  // namespace qv
