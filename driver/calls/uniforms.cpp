// The reading of uniforms.
#include "driver/state/program_objects.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv {

namespace {

template <typename Row, typename T>
void getUniform(GLuint program, GLint location, T* params) {
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  const ProgramRecord* const record = findProgram(context, program);
  const uint32_t count = record == nullptr ? 0 : record->uniforms.cellOf(location).components();
  if (count == 0) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  sendRecord<Row>(context, UniformValueRecord{program, location, count});
  flushStream(context, 0, params, count * static_cast<uint32_t>(sizeof(T)), nullptr, 0);
}

}  // namespace

namespace gl {

void APIENTRY glGetUniformfv(GLuint program, GLint location, GLfloat* params) {
  getUniform<op::glGetUniformfv>(program, location, params);
}
void APIENTRY glGetUniformiv(GLuint program, GLint location, GLint* params) {
  getUniform<op::glGetUniformiv>(program, location, params);
}
void APIENTRY glGetUniformuiv(GLuint program, GLint location, GLuint* params) {
  getUniform<op::glGetUniformuiv>(program, location, params);
}
void APIENTRY glGetUniformuivEXT(GLuint program, GLint location, GLuint* params) {
  getUniform<op::glGetUniformuivEXT>(program, location, params);
}
void APIENTRY glGetUniformdv(GLuint program, GLint location, GLdouble* params) {
  getUniform<op::glGetUniformdv>(program, location, params);
}

}  // namespace gl

}  // namespace qv
