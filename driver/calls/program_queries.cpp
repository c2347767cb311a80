// Questions about programs, formats and framebuffers whose replies no form describes.
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv {

namespace {

uint32_t half(const void* pointer) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer)); }
uint32_t roomOf(GLsizei size) { return size < 0 ? 0 : static_cast<uint32_t>(size); }

constexpr GLint kMostValues = 4096;  // a number of values that the host has told

// Sends the record and waits for `count` values.
template <typename Row, typename Record, typename T>
void askValues(const Record& record, T* values, uint32_t count) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  sendRecord<Row>(context, record);
  flushStream(context, 0, values, count * static_cast<uint32_t>(sizeof(T)), nullptr, 0);
}

// Sends the record and waits for a length and a text. A length that the program does not ask for goes into a word of the
// driver's.
template <typename Row, typename Record>
void askText(const Record& record, GLsizei room, GLsizei* length, GLchar* text) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  GLsizei unasked = 0;
  sendRecord<Row>(context, record);
  flushStream(context, 0, length == nullptr ? &unasked : length, sizeof *length, text, text == nullptr ? 0 : roomOf(room));
}

}  // namespace

namespace gl {

void APIENTRY glGetProgramStringARB(GLenum target, GLenum pname, void* text) {
  GLint bytes = 0;
  Entry<op::glGetProgramivARB>::call(target, GL_PROGRAM_LENGTH_ARB, &bytes);
  const uint32_t room = roomOf(bytes);
  askValues<op::glGetProgramStringARB>(ProgramStringRecord{target, pname, room}, static_cast<uint8_t*>(text), room);
}

void APIENTRY glGetProgramBinary(GLuint program, GLsizei bufSize, GLsizei* length, GLenum* format, void* binary) {
  GLsizei unasked = 0;
  askValues<op::glGetProgramBinary>(ProgramBinaryQueryRecord{program, bufSize, half(length), half(format), half(binary)},
                                    length == nullptr ? &unasked : length, 1);
}

void APIENTRY glProgramBinary(GLuint program, GLenum format, const void* binary, GLsizei length) {
  if (GlContext* const context = currentContext(); context != nullptr) {
    sendRecord<op::glProgramBinary>(context, ProgramBinaryRecord::of(program, format, binary, length));
  }
}

void APIENTRY glGetShaderPrecisionFormat(GLenum shaderType, GLenum precisionType, GLint* range, GLint* precision) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  sendRecord<op::glGetShaderPrecisionFormat>(context, PrecisionFormatRecord{shaderType, precisionType});
  flushStream(context, 0, range, 2 * sizeof *range, precision, sizeof *precision);
}

void APIENTRY glGetActiveAtomicCounterBufferiv(GLuint program, GLuint index, GLenum pname, GLint* params) {
  GLint count = 1;
  if (pname == GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTER_INDICES) {
    count = 0;
    glGetActiveAtomicCounterBufferiv(program, index, GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTERS, &count);
    if (count < 0 || count > kMostValues) count = 0;
  }
  const uint32_t values = static_cast<uint32_t>(count);
  askValues<op::glGetActiveAtomicCounterBufferiv>(AtomicCounterBufferRecord{program, index, pname, values}, params, values);
}

void APIENTRY glGetActiveSubroutineUniformiv(GLuint program, GLenum shaderType, GLuint index, GLenum pname, GLint* params) {
  GLint count = 1;
  if (pname == GL_COMPATIBLE_SUBROUTINES) {
    count = 0;
    glGetActiveSubroutineUniformiv(program, shaderType, index, GL_NUM_COMPATIBLE_SUBROUTINES, &count);
    if (count < 0 || count > kMostValues) count = 0;
  }
  const uint32_t values = static_cast<uint32_t>(count);
  askValues<op::glGetActiveSubroutineUniformiv>(SubroutineUniformRecord{program, shaderType, index, pname, values}, params,
                                                values);
}

void APIENTRY glGetActiveSubroutineUniformName(GLuint program, GLenum shaderType, GLuint index, GLsizei bufSize, GLsizei* length,
                                               GLchar* name) {
  askText<op::glGetActiveSubroutineUniformName>(SubroutineNameRecord{program, shaderType, index, bufSize, half(length)}, bufSize,
                                                length, name);
}
void APIENTRY glGetActiveSubroutineName(GLuint program, GLenum shaderType, GLuint index, GLsizei bufSize, GLsizei* length,
                                        GLchar* name) {
  askText<op::glGetActiveSubroutineName>(SubroutineNameRecord{program, shaderType, index, bufSize, half(length)}, bufSize, length,
                                         name);
}

void APIENTRY glGetProgramResourceiv(GLuint program, GLenum kind, GLuint index, GLsizei propCount, const GLenum* props,
                                     GLsizei bufSize, GLsizei* length, GLint* params) {
  using Row = op::glGetProgramResourceiv;
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (context->runOpen) closeRun(context, kRunBroken);
  context->lastOpcode = Row::kOpcode;
  const ProgramResourceRecord record{program, kind, index, propCount, bufSize};
  const uint64_t payload = payloadOf(sizeof record, record.tailBytes());
  uint8_t* const at = beginCommand(*context, opcodeOf<Row>, payload);
  put(at, record);
  // In bounds: the payload was taken as room.
  if (payload != sizeof record) std::memcpy(at + sizeof record, props, static_cast<size_t>(payload) - sizeof record);
  GLsizei unasked = 0;
  flushStream(context, 0, length == nullptr ? &unasked : length, sizeof *length, params,
              params == nullptr ? 0 : roomOf(bufSize) * 4);
}

void APIENTRY glGetFramebufferParameteriv(GLenum target, GLenum pname, GLint* params) {
  askValues<op::glGetFramebufferParameteriv>(FramebufferParameterRecord{target, pname, 1}, params, 1);
}

void APIENTRY glGetInternalformati64v(GLenum target, GLenum format, GLenum pname, GLsizei bufSize, GLint64* params) {
  const uint32_t values = roomOf(bufSize);
  askValues<op::glGetInternalformati64v>(InternalFormatRecord{target, format, pname, bufSize, values}, params, values);
}

}  // namespace gl

}  // namespace qv
