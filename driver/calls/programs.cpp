// Shaders and programs: names, deletes that wait for the last use, links, and the answers that need no host.
#include "driver/calls/programs.h"

#include <atomic>
#include <cstdlib>

#include "driver/diagnostics/debug_log.h"
#include "driver/queries/active_resources.h"
#include "driver/state/program_objects.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"
#include "driver/stream/text_list.h"

namespace qv {

namespace {

constexpr GLuint kVertexAttributes = 16;

NameTable& programsOf(GlContext* context) { return context->shareGroup->table(ShareSlot::kPrograms); }
ProgramRecord* recordIn(NameTable& programs, GLuint program) {
  return static_cast<ProgramRecord*>(programs.findAs<TrackedObject>(program));
}
void setRecord(GlContext* context, GLuint program, ProgramRecord* record) {
  programsOf(context).set(program, static_cast<TrackedObject*>(record));
  context->shareGroup->programsChanged();
}
void removeProgram(GlContext* context, GLuint program) {
  programsOf(context).removeNames(1, &program);
  context->shareGroup->programsChanged();
}

void registerProgram(GlContext* context, GLuint program) {
  const ShareLock held(context->shareGroup);
  if (program != 0 && recordIn(programsOf(context), program) == nullptr) setRecord(context, program, nullptr);
}

// Whether the delete is to be sent. It waits while a context has the program current: required oddity 109. Pipelines do not count
// (required oddity 182), and a context that ends still does (required oddity 184).
bool releaseProgram(GlContext* context, GLuint program) {
  const ShareLock held(context->shareGroup);
  if (ProgramRecord* const record = recordIn(programsOf(context), program); record != nullptr) {
    if (!record->deleted) {
      --record->useCount;
      record->deleted = 1;
    }
    if (record->useCount >= 0) return false;
  }
  removeProgram(context, program);
  return true;
}

bool answerFromRecord(GlContext* context, GLuint program, GLenum pname, GLint* params) {
  if (params == nullptr) return false;
  const ProgramRecord* const record = findProgram(context, program);
  if (record == nullptr) return false;
  switch (pname) {
    case GL_ACTIVE_UNIFORMS:
      *params = record->uniforms.count;
      return true;
    case GL_ACTIVE_UNIFORM_MAX_LENGTH:
      *params = record->uniforms.maxNameLength + 1;
      return true;
    case GL_ACTIVE_ATTRIBUTES:
      *params = record->attributes.count;
      return true;
    case GL_ACTIVE_ATTRIBUTE_MAX_LENGTH:
      *params = record->attributes.maxNameLength + 1;
      return true;
    default:
      return false;
  }
}

}  // namespace

void flushForSharers(GlContext* context) {
  if ((context->quirkFlags & kQuirkFlushShared) != 0 && context->nextSharer != context)
    flushStream(context, 0, nullptr, 0, nullptr, 0);
}

void reportCompile(GlContext* context, GLuint shader) {
  if (context->debugLog == nullptr || context->debugLog->enabled == 0) return;
  GLint compiled = 0, room = 0;
  Entry<op::glGetShaderiv>::call(shader, GL_COMPILE_STATUS, &compiled);
  if (compiled != 0) return;
  Entry<op::glGetShaderiv>::call(shader, GL_INFO_LOG_LENGTH, &room);
  if (room <= 0) return;
  char* const text = static_cast<char*>(std::calloc(static_cast<size_t>(room) + 1, 1));
  if (text == nullptr) return;
  GLsizei length = 0;
  Entry<op::glGetShaderInfoLog>::call(shader, room, &length, text);
  std::atomic<uint32_t> id = 0;
  assignMessageId(context, id);
  if (length >= 0 && length < room) {
    insertMessage(context, GL_DEBUG_SOURCE_SHADER_COMPILER, GL_DEBUG_TYPE_ERROR, id.load(), GL_DEBUG_SEVERITY_HIGH, length, text,
                  true);
  }
  std::free(text);
}

void removeShader(GlContext* context, GLuint shader) {
  const ShareLock held(context->shareGroup);
  context->shareGroup->table(ShareSlot::kShaders).removeNames(1, &shader);
}

void linkProgramShadow(GlContext* context, GLuint program) {
  if (program == 0) return;
  // Held over the flushes: other contexts that share wait at their next call on programs until the link is done.
  const ShareLock held(context->shareGroup);
  ProgramRecord* record = recordIn(programsOf(context), program);
  if (record == nullptr) {
    record = new ProgramRecord;
    setRecord(context, program, record);
    // glUseProgram ran before there was a record. Other contexts are not looked at: required oddity 121.
    if (program == context->currentProgram) ++record->useCount;
  }
  record->uniforms.clear();
  record->attributes.clear();
  if (!fetchUniforms(context, program, record->uniforms) || !fetchAttributes(context, program, record->attributes)) {
    record->uniforms.clear();
    record->attributes.clear();
    return;
  }
  // Required oddity 114.
  if (record->uniforms.locationlessCount == 0) record->uniforms.sortByLocation();
  if (record->attributes.locationlessCount == 0) record->attributes.sortByLocation();
}

void useProgramShadow(GlContext* context, GLuint program) {
  if (program == context->currentProgram) return;
  GLuint released = 0;
  {
    const ShareLock held(context->shareGroup);
    NameTable& programs = programsOf(context);
    const GLuint before = context->currentProgram;
    if (ProgramRecord* const record = recordIn(programs, before); record != nullptr && --record->useCount < 0) {
      removeProgram(context, before);
      released = before;
    }
    if (ProgramRecord* const record = recordIn(programs, program); record != nullptr) ++record->useCount;
    context->currentProgram = program;  // also when the host refuses it: required oddity 115
  }
  if (released != 0) gl::glDeleteProgram(released);
}

void bindPipelineShadow(GlContext* context, GLuint pipeline) {
  if (pipeline == context->boundPipeline) return;
  context->boundPipeline = pipeline;
  usesPipeline(context, pipeline, true);
}

void activeProgramShadow(GlContext* context, GLuint pipeline, GLuint program) {
  if (PipelineRecord* const record = usesPipeline(context, pipeline, true); record != nullptr) record->activeProgram = program;
}

namespace gl {

GLuint APIENTRY glCreateProgram() {
  const GLuint program = Entry<op::glCreateProgram>::call();
  if (GlContext* const context = currentContext(); context != nullptr) registerProgram(context, program);
  return program;
}

GLuint APIENTRY glCreateShader(GLenum type) {
  const GLuint shader = Entry<op::glCreateShader>::call(type);
  GlContext* const context = currentContext();
  if (context == nullptr || shader == 0) return shader;
  const ShareLock held(context->shareGroup);
  NameTable& shaders = context->shareGroup->table(ShareSlot::kShaders);
  if (shaders.find(shader) == nullptr) shaders.set(shader, new LabelRecord);
  return shader;
}

GLuint APIENTRY glCreateShaderProgramv(GLenum type, GLsizei count, const GLchar* const* strings) {
  using Row = op::glCreateShaderProgramv;
  GlContext* const context = currentContext();
  if (context == nullptr) return 0;
  const TextList texts(count, strings);
  if (texts.isTooLong()) {
    refuse(context, opcodeOf<Row>, GL_OUT_OF_MEMORY);
    return 0;
  }
  if (count > 0 && strings == nullptr) {
    refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
    return 0;
  }
  const auto pointer = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(strings));
  sendTexts<Row>(context, TextListRecord{type, count, pointer, static_cast<uint32_t>(texts.bytes), count}, texts);
  GLuint program = 0;
  flushStream(context, 0, &program, sizeof program, nullptr, 0);
  registerProgram(context, program);
  linkProgramShadow(context, program);
  return program;
}

// A list that no memory holds is GL_OUT_OF_MEMORY: its lengths are garbage.
void APIENTRY glShaderSource(GLuint shader, GLsizei count, const GLchar* const* strings, const GLint* lengths) {
  using Row = op::glShaderSource;
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (count > 0 && strings == nullptr) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  const TextList texts(count, strings, lengths);
  if (texts.isTooLong()) return refuse(context, opcodeOf<Row>, GL_OUT_OF_MEMORY);
  sendTexts<Row>(
      context,
      ShaderSourceRecord{shader, count, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(strings)),
                         static_cast<uint32_t>(reinterpret_cast<uintptr_t>(lengths)), static_cast<uint32_t>(texts.bytes), count},
      texts);
}

void APIENTRY glBindAttribLocation(GLuint program, GLuint index, const GLchar* name) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (index >= kVertexAttributes) return refuse(context, opcodeOf<op::glBindAttribLocation>, GL_INVALID_VALUE);
  send<op::glBindAttribLocation>(context, program, index, name);
  flushForSharers(context);
}

void APIENTRY glDeleteProgram(GLuint program) {
  GlContext* const context = currentContext();
  if (context != nullptr && releaseProgram(context, program)) send<op::glDeleteProgram>(context, program);
}

void APIENTRY glDeleteObjectARB(GLhandleARB object) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  {
    const ShareLock held(context->shareGroup);
    NameTable& shaders = context->shareGroup->table(ShareSlot::kShaders);
    if (shaders.contains(object)) {
      shaders.removeNames(1, &object);
    } else if (!releaseProgram(context, object)) {
      return;
    }
  }
  send<op::glDeleteObjectARB>(context, object);
}

GLboolean APIENTRY glIsProgram(GLuint program) {
  GlContext* const context = enter<op::glIsProgram>();
  return context != nullptr && programExists(context, program);
}

GLboolean APIENTRY glIsShader(GLuint shader) {
  GlContext* const context = enter<op::glIsShader>();
  if (context == nullptr) return GL_FALSE;
  const ShareLock held(context->shareGroup);
  return context->shareGroup->table(ShareSlot::kShaders).contains(shader);
}

void APIENTRY glGetProgramiv(GLuint program, GLenum pname, GLint* params) {
  GlContext* const context = enter<op::glGetProgramiv>();
  if (context == nullptr || answerFromRecord(context, program, pname, params)) return;
  Entry<op::glGetProgramiv>::call(program, pname, params);
}

void APIENTRY glGetObjectParameterivARB(GLhandleARB object, GLenum pname, GLint* params) {
  GlContext* const context = enter<op::glGetObjectParameterivARB>();
  if (context == nullptr || answerFromRecord(context, object, pname, params)) return;
  Entry<op::glGetObjectParameterivARB>::call(object, pname, params);
}

void APIENTRY glGetAttachedShaders(GLuint program, GLsizei maxCount, GLsizei* count, GLuint* shaders) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (maxCount < 0) return refuse(context, opcodeOf<op::glGetAttachedShaders>, GL_INVALID_VALUE);
  if (maxCount == 0 && shaders == nullptr) return;
  Entry<op::glGetAttachedShaders>::call(program, maxCount, count, shaders);
}

void APIENTRY glDeleteProgramPipelines(GLsizei n, const GLuint* pipelines) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  {
    const ShareLock held(context->shareGroup);
    for (GLsizei i = 0; i < n; ++i) {
      if (context->boundPipeline == pipelines[i]) context->boundPipeline = 0;
      context->shareGroup->table(ShareSlot::kPipelines).removeNames(1, pipelines + i);
    }
  }
  send<op::glDeleteProgramPipelines>(context, n, pipelines);
}

}  // namespace gl

}  // namespace qv
