// The debug log: what the calls of GL_KHR_debug do to the DebugState of a context.
#pragma once

#include "driver/diagnostics/debug_dispatch.h"

namespace qv {

// The state of the context, made at the first use. Null without memory, which is GL_OUT_OF_MEMORY.
DebugState* debugStateOf(GlContext* context);

// GL_DEBUG_OUTPUT or GL_DEBUG_OUTPUT_SYNCHRONOUS; anything else is ignored.
void setDebugCapability(GlContext* context, GLenum capability, uint8_t enable);
// The values of the debug names; 0 and null without memory.
int32_t debugInteger(GlContext* context, GLenum pname);
void* debugPointer(GlContext* context, GLenum pname);

// `source`, `type` and `severity` are enums. Only a program's own message is checked for what the program may insert.
void insertMessage(GlContext* context, GLenum source, GLenum type, uint32_t id, GLenum severity, int32_t length, const char* text,
                   bool skipChecks);
void controlMessages(GlContext* context, GLenum source, GLenum type, GLenum severity, GLsizei count, const GLuint* ids,
                     bool enabled);
// Moves messages out of the log; returns how many.
uint32_t takeMessages(GlContext* context, GLuint count, GLsizei bufSize, GLenum* sources, GLenum* types, GLuint* ids,
                      GLenum* severities, GLsizei* lengths, GLchar* messageLog);
void pushDebugGroup(GlContext* context, GLenum source, GLuint id, GLsizei length, const char* message);
void popDebugGroup(GlContext* context);

}  // namespace qv
