// The shadow of shaders, programs and pipelines.
#pragma once

#include "driver/state/gl_context.h"
#include "wire/entry_table.h"

namespace qv {

// After calls on programs a context that shares objects flushes at once; a quirk that nothing sets.
void flushForSharers(GlContext* context);
inline void shadow(op::glAttachShader, GlContext* c, GLuint, GLuint) { flushForSharers(c); }
inline void shadow(op::glDetachShader, GlContext* c, GLuint, GLuint) { flushForSharers(c); }
inline void shadow(op::glBindFragDataLocation, GlContext* c, GLuint, GLuint, const GLchar*) { flushForSharers(c); }
inline void shadow(op::glBindFragDataLocationEXT, GlContext* c, GLuint, GLuint, const GLchar*) { flushForSharers(c); }
inline void shadow(op::glBindFragDataLocationIndexed, GlContext* c, GLuint, GLuint, GLuint, const GLchar*) { flushForSharers(c); }

// While debug output is on, asks for the log of a shader that does not compile and gives it to the debug log.
void reportCompile(GlContext* context, GLuint shader);
inline void shadow(op::glCompileShader, GlContext* c, GLuint shader) { reportCompile(c, shader); }
// Also when it is attached to a program: required oddity 181.
void removeShader(GlContext* context, GLuint shader);
inline void shadow(op::glDeleteShader, GlContext* c, GLuint shader) { removeShader(c, shader); }

// Fetches what the program exposes, under the lock of the share group. The host is not asked whether the link succeeded.
void linkProgramShadow(GlContext* context, GLuint program);
inline void shadow(op::glLinkProgram, GlContext* c, GLuint program) { linkProgramShadow(c, program); }
// The end of a use may send a delete that was held back.
void useProgramShadow(GlContext* context, GLuint program);
inline void shadow(op::glUseProgram, GlContext* c, GLuint program) { useProgramShadow(c, program); }

void bindPipelineShadow(GlContext* context, GLuint pipeline);
inline void shadow(op::glBindProgramPipeline, GlContext* c, GLuint pipeline) { bindPipelineShadow(c, pipeline); }
void activeProgramShadow(GlContext* context, GLuint pipeline, GLuint program);
inline void shadow(op::glActiveShaderProgram, GlContext* c, GLuint pipeline, GLuint program) {
  activeProgramShadow(c, pipeline, program);
}

}  // namespace qv
