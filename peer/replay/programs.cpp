// Replay of the calls on shaders and programs that are more than a call.
#include <algorithm>
#include <mutex>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "peer/replay/text_replay.h"

namespace qv::peer {
namespace {

constexpr uint32_t kMostValues = 16;  // of any uniform

// GL writes as many values as the uniform has, whatever the guest expects.
template <typename T>
void replayGetUniform(Replayer& replayer, const UniformValueRecord& record, void(APIENTRY* get)(GLuint, GLint, T*)) {
  if (!mayAsk(replayer)) return;
  auto* const values = reinterpret_cast<T*>(replayer.scratch(kMostValues * sizeof(T)));
  holdGlError(replayer);
  get(record.program, record.location, values);
  if (glRefused(replayer)) return;
  replayer.answer(values, std::min(record.count, kMostValues) * static_cast<uint32_t>(sizeof(T)));
}

void setVaryings(Replayer& replayer, const FeedbackVaryingsRecord& record, Reader& rest,
                 decltype(&::glTransformFeedbackVaryings) set) {
  TextArguments varyings;
  if (!varyings.read(replayer, rest, record.count, record.countAgain, record.bytes)) return;
  if (record.count < 0) return refuse(replayer, GL_INVALID_VALUE);
  set(record.program, record.count, varyings.texts.data(), record.mode);
}

void getVarying(Replayer& replayer, const FeedbackVaryingRecord& record, decltype(&::glGetTransformFeedbackVarying) get) {
  if (record.room < 0) return refuse(replayer, GL_INVALID_VALUE);
  if (!mayAsk(replayer)) return;
  holdGlError(replayer);
  GLint most = 0;
  gl.glGetProgramiv(record.program, GL_TRANSFORM_FEEDBACK_VARYING_MAX_LENGTH, &most);
  if (glRefused(replayer)) return;
  const uint32_t room =
      std::min({static_cast<uint32_t>(record.room), static_cast<uint32_t>(std::max(most, 1)), replayer.reply2Room()});
  auto* const name = reinterpret_cast<GLchar*>(replayer.scratch(uint64_t{room} + 1));
  struct {
    GLsizei length = 0, size = 0;
    GLenum type = 0;
  } reply;
  get(record.program, record.index, static_cast<GLsizei>(room), &reply.length, &reply.size, &reply.type, name);
  if (glRefused(replayer)) return;
  reply.length = room == 0 ? 0 : std::clamp(reply.length, 0, static_cast<GLsizei>(room) - 1);
  replayer.answer(&reply, sizeof reply, name, room == 0 ? 0 : static_cast<uint32_t>(reply.length) + 1);
}

// A program that is current, or that GL does not delete inside a primitive, keeps the orders of its resources.
void forgetOrders(Replayer& replayer, GLuint program) {
  if (replayer.state().insideBegin || gl.glIsProgram(program) != GL_FALSE) return;
  replayer.state().shared->uniformOrders.forget(program);
  replayer.state().shared->attributeOrders.forget(program);
}

constexpr GLenum kNoBinaries = GL_INVALID_ENUM;  // every format of binaries is unknown: the host compiles from source alone

}  // namespace

namespace replay {

void glShaderSource(Replayer& replayer, const ShaderSourceRecord& record, Reader& rest) {
  TextArguments source;
  if (!source.read(replayer, rest, record.count, record.countAgain, record.bytes)) return;
  if (record.count < 0) return refuse(replayer, GL_INVALID_VALUE);
  // Some OpenGLs look at the last of no texts.
  if (record.count == 0) source = {{""}, {0}};
  gl.glShaderSource(record.shader, static_cast<GLsizei>(source.texts.size()), source.texts.data(), source.lengths.data());
}

void glCreateShaderProgramv(Replayer& replayer, const TextListRecord& record, Reader& rest) {
  TextArguments source;
  if (!source.read(replayer, rest, record.count, record.countAgain, record.bytes)) return;
  if (record.count < 0) return refuse(replayer, GL_INVALID_VALUE);
  if (record.count == 0) source = {{""}, {0}};
  const GLuint program = gl.glCreateShaderProgramv(record.target, static_cast<GLsizei>(source.texts.size()), source.texts.data());
  replayer.answer(&program, sizeof program);
}

void glLinkProgram(Replayer& replayer, GLuint program) {
  const std::lock_guard lock(replayer.state().shared->programChanges);
  gl.glLinkProgram(program);
}

void glProgramStringARB(Replayer& replayer, GLenum target, GLenum format, GLsizei length, Reader& rest) {
  if (length < 0) return refuse(replayer, GL_INVALID_VALUE);
  const auto text = rest.rest();
  const std::lock_guard lock(replayer.state().shared->programChanges);
  gl.glProgramStringARB(target, format, length, text.data());
}

void glDeleteProgram(Replayer& replayer, GLuint program) {
  gl.glDeleteProgram(program);
  forgetOrders(replayer, program);
}
void glDeleteObjectARB(Replayer& replayer, GLhandleARB object) {
  gl.glDeleteObjectARB(object);
  forgetOrders(replayer, object);
}

void glGetAttachedShaders(Replayer& replayer, GLuint program, GLsizei room) {
  if (room < 0) return refuse(replayer, GL_INVALID_VALUE);
  if (!mayAsk(replayer)) return;
  holdGlError(replayer);
  GLint attached = 0;
  gl.glGetProgramiv(program, GL_ATTACHED_SHADERS, &attached);
  if (glRefused(replayer)) return;
  const GLsizei taken = std::min(room, std::max(attached, 0));
  auto* const shaders = reinterpret_cast<GLuint*>(replayer.scratch((static_cast<uint64_t>(taken) + 1) * sizeof(GLuint)));
  GLsizei count = 0;
  gl.glGetAttachedShaders(program, taken, &count, shaders);
  if (glRefused(replayer)) return;
  count = std::clamp(count, 0, taken);
  replayer.answer(&count, sizeof count, shaders, static_cast<uint32_t>(count) * 4);
}

// --- texts of GL ---

void glGetProgramInfoLog(Replayer& replayer, GLuint program, GLsizei room) {
  GLint length = 0;
  replayText(
      replayer, room, [&] { return gl.glGetProgramiv(program, GL_INFO_LOG_LENGTH, &length), length; },
      [&](GLsizei size, GLsizei* written, GLchar* text) { gl.glGetProgramInfoLog(program, size, written, text); });
}
void glGetShaderInfoLog(Replayer& replayer, GLuint shader, GLsizei room) {
  GLint length = 0;
  replayText(
      replayer, room, [&] { return gl.glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length), length; },
      [&](GLsizei size, GLsizei* written, GLchar* text) { gl.glGetShaderInfoLog(shader, size, written, text); });
}
void glGetShaderSource(Replayer& replayer, GLuint shader, GLsizei room) {
  GLint length = 0;
  replayText(
      replayer, room, [&] { return gl.glGetShaderiv(shader, GL_SHADER_SOURCE_LENGTH, &length), length; },
      [&](GLsizei size, GLsizei* written, GLchar* text) { gl.glGetShaderSource(shader, size, written, text); });
}
void glGetInfoLogARB(Replayer& replayer, GLhandleARB object, GLsizei room) {
  GLint length = 0;
  replayText(
      replayer, room, [&] { return gl.glGetObjectParameterivARB(object, GL_OBJECT_INFO_LOG_LENGTH_ARB, &length), length; },
      [&](GLsizei size, GLsizei* written, GLchar* text) { gl.glGetInfoLogARB(object, size, written, text); });
}
void glGetProgramPipelineInfoLog(Replayer& replayer, GLuint pipeline, GLsizei room) {
  GLint length = 0;
  replayText(
      replayer, room, [&] { return gl.glGetProgramPipelineiv(pipeline, GL_INFO_LOG_LENGTH, &length), length; },
      [&](GLsizei size, GLsizei* written, GLchar* text) { gl.glGetProgramPipelineInfoLog(pipeline, size, written, text); });
}
void glGetActiveUniformBlockName(Replayer& replayer, GLuint program, GLuint block, GLsizei room) {
  GLint length = 0;
  replayText(
      replayer, room, [&] { return gl.glGetActiveUniformBlockiv(program, block, GL_UNIFORM_BLOCK_NAME_LENGTH, &length), length; },
      [&](GLsizei size, GLsizei* written, GLchar* text) { gl.glGetActiveUniformBlockName(program, block, size, written, text); });
}
// The question for the name comes first, with no room: an interface that has no names or does not exist is another error for the
// name than for its length.
void glGetProgramResourceName(Replayer& replayer, GLuint program, GLenum kind, GLuint index, GLsizei room) {
  if (!mayAsk(replayer)) return;
  if (const ResourceOrders* const orders = replayer.state().shared->ordersOf(kind); orders != nullptr)
    orders->toGl(program, &index, 1);
  holdGlError(replayer);
  GLchar none = 0;
  gl.glGetProgramResourceName(program, kind, index, 0, nullptr, &none);
  if (glRefused(replayer)) return;
  GLint length = 0;
  const GLenum property = GL_NAME_LENGTH;
  replayText(
      replayer, room, [&] { return gl.glGetProgramResourceiv(program, kind, index, 1, &property, 1, nullptr, &length), length; },
      [&](GLsizei size, GLsizei* written, GLchar* text) {
        gl.glGetProgramResourceName(program, kind, index, size, written, text);
      });
}
void glGetActiveSubroutineUniformName(Replayer& replayer, const SubroutineNameRecord& record) {
  GLint length = 0;
  replayText(
      replayer, record.room,
      [&] {
        gl.glGetProgramStageiv(record.program, record.shaderType, GL_ACTIVE_SUBROUTINE_UNIFORM_MAX_LENGTH, &length);
        return length;
      },
      [&](GLsizei size, GLsizei* written, GLchar* text) {
        gl.glGetActiveSubroutineUniformName(record.program, record.shaderType, record.index, size, written, text);
      });
}
void glGetActiveSubroutineName(Replayer& replayer, const SubroutineNameRecord& record) {
  GLint length = 0;
  replayText(
      replayer, record.room,
      [&] {
        gl.glGetProgramStageiv(record.program, record.shaderType, GL_ACTIVE_SUBROUTINE_MAX_LENGTH, &length);
        return length;
      },
      [&](GLsizei size, GLsizei* written, GLchar* text) {
        gl.glGetActiveSubroutineName(record.program, record.shaderType, record.index, size, written, text);
      });
}

// --- values ---

void glGetUniformfv(Replayer& replayer, const UniformValueRecord& record) {
  replayGetUniform(replayer, record, gl.glGetUniformfv);
}
void glGetUniformiv(Replayer& replayer, const UniformValueRecord& record) {
  replayGetUniform(replayer, record, gl.glGetUniformiv);
}
void glGetUniformuiv(Replayer& replayer, const UniformValueRecord& record) {
  replayGetUniform(replayer, record, gl.glGetUniformuiv);
}
void glGetUniformuivEXT(Replayer& replayer, const UniformValueRecord& record) {
  replayGetUniform(replayer, record, gl.glGetUniformuivEXT);
}
void glGetUniformdv(Replayer& replayer, const UniformValueRecord& record) {
  replayGetUniform(replayer, record, gl.glGetUniformdv);
}

void glGetShaderPrecisionFormat(Replayer& replayer, const PrecisionFormatRecord& record) {
  if (!mayAsk(replayer)) return;
  GLint range[2] = {}, precision = 0;
  holdGlError(replayer);
  gl.glGetShaderPrecisionFormat(record.shaderType, record.precisionType, range, &precision);
  if (!glRefused(replayer)) replayer.answer(range, sizeof range, &precision, sizeof precision);
}

void glGetProgramStringARB(Replayer& replayer, const ProgramStringRecord& record) {
  if (!mayAsk(replayer)) return;
  const std::lock_guard lock(replayer.state().shared->programChanges);
  GLint length = 0;
  holdGlError(replayer);
  gl.glGetProgramivARB(record.target, GL_PROGRAM_LENGTH_ARB, &length);
  if (glRefused(replayer)) return;
  uint8_t* const text = replayer.scratch(static_cast<uint64_t>(std::max(length, 0)) + 1);
  gl.glGetProgramStringARB(record.target, record.pname, text);
  if (!glRefused(replayer)) replayer.answer(text, std::min(record.bytes, static_cast<uint32_t>(std::max(length, 0))));
}

// --- binaries ---

void glGetProgramBinary(Replayer& replayer, const ProgramBinaryQueryRecord& record) {
  if (!mayAsk(replayer)) return;
  const bool known = gl.glIsProgram(record.program) != GL_FALSE || gl.glIsShader(record.program) != GL_FALSE;
  const GLsizei length = 0;
  refuse(replayer, record.room < 0 || !known ? GL_INVALID_VALUE : GL_INVALID_OPERATION);
  replayer.answer(&length, sizeof length);
}
void glProgramBinary(Replayer& replayer, const ProgramBinaryRecord&) { refuse(replayer, kNoBinaries); }
void glShaderBinary(Replayer& replayer, const ShaderBinaryRecord&, Reader& rest) {
  static_cast<void>(rest.rest());
  refuse(replayer, kNoBinaries);
}

// --- transform feedback ---

void glTransformFeedbackVaryings(Replayer& replayer, const FeedbackVaryingsRecord& record, Reader& rest) {
  setVaryings(replayer, record, rest, gl.glTransformFeedbackVaryings);
}
void glTransformFeedbackVaryingsEXT(Replayer& replayer, const FeedbackVaryingsRecord& record, Reader& rest) {
  setVaryings(replayer, record, rest, gl.glTransformFeedbackVaryingsEXT);
}
void glGetTransformFeedbackVarying(Replayer& replayer, const FeedbackVaryingRecord& record) {
  getVarying(replayer, record, gl.glGetTransformFeedbackVarying);
}
void glGetTransformFeedbackVaryingEXT(Replayer& replayer, const FeedbackVaryingRecord& record) {
  getVarying(replayer, record, gl.glGetTransformFeedbackVaryingEXT);
}

}  // namespace replay

}  // namespace qv::peer
