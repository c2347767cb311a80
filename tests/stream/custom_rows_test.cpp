// The rules that every row keeps, hand-written or stamped: no current context, begin check, run, list.
#include <bit>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "driver/base/current_context.h"
#include "driver/objects/display_list_stream.h"
#include "tests/stream/program_fixture.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"
#include "tests/support/row_cases.h"
#include "wire/columns.h"

namespace qv::test {
namespace {

constexpr uint64_t P = ~uint64_t{0};  // an array
constexpr uint64_t kOne = std::bit_cast<uint32_t>(1.0f);

struct CustomCall {
  const char* routine;
  std::vector<uint64_t> arguments;  // that the guest has nothing against
  size_t commands = 1;              // its own, behind those of its questions
};

// Not glBegin, glEnd and glPrimitiveRestartNV, whose begin check is a rule of their own.
// clang-format off
const std::vector<CustomCall> kCustomCalls = {
    {"glGenLists", {1}}, {"glIsList", {1}},
    {"glMaterialf", {GL_FRONT, GL_SHININESS, kOne}}, {"glMateriali", {GL_FRONT, GL_SHININESS, 1}},
    {"glTexParameterf", {GL_TEXTURE_2D, GL_TEXTURE_MAX_LOD, kOne}}, {"glTexParameterfv", {GL_TEXTURE_2D, GL_TEXTURE_MAX_LOD, P}},
    {"glTexParameteri", {GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 1}}, {"glTexParameteriv", {GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, P}},
    {"glTexParameterIiv", {GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, P}},
    {"glTexParameterIuiv", {GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, P}},
    {"glTexParameterIivEXT", {GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, P}},
    {"glTexParameterIuivEXT", {GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, P}},
    {"glFinish", {}}, {"glFlush", {}}, {"glGetError", {}}, {"glGetString", {GL_VENDOR}}, {"glGetStringi", {GL_EXTENSIONS, 0}},
    {"glPixelStoref", {GL_PACK_ALIGNMENT, kOne}}, {"glPixelStorei", {GL_PACK_ALIGNMENT, 1}},
    {"glGetBooleanv", {GL_SCISSOR_BOX, P}}, {"glGetIntegerv", {GL_SCISSOR_BOX, P}}, {"glGetFloatv", {GL_SCISSOR_BOX, P}},
    {"glGetDoublev", {GL_SCISSOR_BOX, P}}, {"glGetInteger64v", {GL_SCISSOR_BOX, P}}, {"glGetBooleani_v", {GL_SCISSOR_BOX, 1, P}},
    {"glGetIntegeri_v", {GL_SCISSOR_BOX, 1, P}}, {"glGetFloati_v", {GL_SCISSOR_BOX, 1, P}},
    {"glGetDoublei_v", {GL_SCISSOR_BOX, 1, P}},
    {"glGetInteger64i_v", {GL_SCISSOR_BOX, 1, P}}, {"glGetBooleanIndexedvEXT", {GL_SCISSOR_BOX, 1, P}},
    {"glGetIntegerIndexedvEXT", {GL_SCISSOR_BOX, 1, P}},
    {"glIsEnabled", {GL_DITHER}}, {"glIsEnabledi", {GL_BLEND, 1}}, {"glIsEnabledIndexedEXT", {GL_BLEND, 1}},
    {"glEnableClientState", {GL_VERTEX_ARRAY}}, {"glDisableClientState", {GL_VERTEX_ARRAY}},
    {"glGenTextures", {1, P}}, {"glIsTexture", {1}}, {"glGenQueries", {1, P}}, {"glIsQuery", {1}}, {"glGenBuffers", {1, P}},
    {"glIsBuffer", {1}}, {"glGenVertexArrays", {1, P}}, {"glIsVertexArray", {1}}, {"glGenTransformFeedbacks", {1, P}},
    {"glIsTransformFeedback", {1}}, {"glPrimitiveRestartIndexNV", {1}},
    {"glCheckFramebufferStatus", {GL_FRAMEBUFFER}}, {"glCheckFramebufferStatusEXT", {GL_FRAMEBUFFER}},
    {"glTextureView", {2, GL_TEXTURE_2D, 1, GL_RGBA8, 0, 1, 0, 1}},
    {"glTexImage1D", {GL_TEXTURE_1D, 0, GL_RGBA, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE, 0}},
    {"glTexImage2D", {GL_TEXTURE_2D, 0, GL_RGBA, 2, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE, 0}},
    {"glTexImage3D", {GL_TEXTURE_3D, 0, GL_RGBA, 2, 2, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE, 0}},
    {"glTexSubImage1D", {GL_TEXTURE_1D, 0, 0, 2, GL_RGBA, GL_UNSIGNED_BYTE, 0}},
    {"glTexSubImage2D", {GL_TEXTURE_2D, 0, 0, 0, 2, 2, GL_RGBA, GL_UNSIGNED_BYTE, 0}},
    {"glTexSubImage3D", {GL_TEXTURE_3D, 0, 0, 0, 0, 2, 2, 2, GL_RGBA, GL_UNSIGNED_BYTE, 0}},
    {"glCompressedTexImage1D", {GL_TEXTURE_1D, 0, GL_RGBA, 2, 0, 8, 0}}, {"glCompressedTexImage2D", {GL_TEXTURE_2D, 0, GL_RGBA, 2, 2, 0, 8, 0}},
    {"glCompressedTexImage3D", {GL_TEXTURE_3D, 0, GL_RGBA, 2, 2, 2, 0, 8, 0}},
    {"glDrawPixels", {2, 2, GL_RGBA, GL_UNSIGNED_BYTE, 0}}, {"glCopyTexImage2D", {GL_TEXTURE_2D, 0, GL_RGBA, 0, 0, 2, 2, 0}},
    {"glSeparableFilter2D", {GL_SEPARABLE_2D, GL_RGBA, 2, 2, GL_RGBA, GL_UNSIGNED_BYTE, 0, 0}},
    {"glReadPixels", {0, 0, 0, 2, GL_RGBA, GL_UNSIGNED_BYTE, P}}, {"glGetTexImage", {GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, P}, 3},
    {"glGetCompressedTexImage", {GL_TEXTURE_2D, 0, 0}}, {"glGetPolygonStipple", {P}},
    {"glGetPixelMapfv", {GL_PIXEL_MAP_I_TO_I, P}, 2}, {"glGetPixelMapuiv", {GL_PIXEL_MAP_I_TO_I, P}, 2},
    {"glGetPixelMapusv", {GL_PIXEL_MAP_I_TO_I, P}, 2}, {"glGetColorTable", {GL_COLOR_TABLE, GL_RGBA, GL_UNSIGNED_BYTE, P}, 2},
    {"glGetColorTableParameterfv", {GL_COLOR_TABLE, GL_COLOR_TABLE_WIDTH, P}}, {"glGetColorTableParameteriv", {GL_COLOR_TABLE, GL_COLOR_TABLE_WIDTH, P}},
    {"glGetConvolutionFilter", {GL_CONVOLUTION_1D, GL_RGBA, GL_UNSIGNED_BYTE, P}, 2},
    {"glGetSeparableFilter", {GL_SEPARABLE_2D, GL_RGBA, GL_UNSIGNED_BYTE, P, P, P}, 3},
    {"glGetHistogram", {GL_HISTOGRAM, 0, GL_RGBA, GL_UNSIGNED_BYTE, P}, 2}, {"glGetMinmax", {GL_MINMAX, 0, GL_RGBA, GL_UNSIGNED_BYTE, P}},
    {"glAreTexturesResident", {2, P, P}},
    {"glVertexPointer", {3, GL_FLOAT, 0, P}}, {"glWeightPointerARB", {3, GL_FLOAT, 0, P}}, {"glColorPointer", {3, GL_FLOAT, 0, P}},
    {"glSecondaryColorPointer", {3, GL_FLOAT, 0, P}}, {"glTexCoordPointer", {3, GL_FLOAT, 0, P}}, {"glNormalPointer", {GL_FLOAT, 0, P}},
    {"glFogCoordPointer", {GL_FLOAT, 0, P}}, {"glIndexPointer", {GL_FLOAT, 0, P}}, {"glEdgeFlagPointer", {0, P}},
    {"glVertexAttribPointer", {1, 3, GL_FLOAT, 0, 0, P}}, {"glVertexAttribIPointer", {1, 3, GL_INT, 0, P}},
    {"glVertexAttribIPointerEXT", {1, 3, GL_INT, 0, P}}, {"glVertexAttribLPointer", {1, 3, GL_DOUBLE, 0, P}},
    {"glVertexAttribDivisor", {1, 1}}, {"glVertexAttribDivisorARB", {1, 1}}, {"glEnableVertexAttribArray", {1}},
    {"glDisableVertexAttribArray", {1}}, {"glVertexAttribBinding", {1, 1}}, {"glBindVertexBuffer", {1, 1, 0, 0}},
    {"glVertexBindingDivisor", {1, 1}}, {"glBindVertexArray", {1}}, {"glDeleteVertexArrays", {1, P}},
    {"glGetVertexAttribdv", {1, GL_CURRENT_VERTEX_ATTRIB, P}}, {"glGetVertexAttribfv", {1, GL_CURRENT_VERTEX_ATTRIB, P}},
    {"glGetVertexAttribiv", {1, GL_CURRENT_VERTEX_ATTRIB, P}}, {"glGetVertexAttribIiv", {1, GL_CURRENT_VERTEX_ATTRIB, P}},
    {"glGetVertexAttribIivEXT", {1, GL_CURRENT_VERTEX_ATTRIB, P}}, {"glGetVertexAttribIuiv", {1, GL_CURRENT_VERTEX_ATTRIB, P}},
    {"glGetVertexAttribIuivEXT", {1, GL_CURRENT_VERTEX_ATTRIB, P}}, {"glGetVertexAttribLdv", {1, GL_CURRENT_VERTEX_ATTRIB, P}},
    {"glGetVertexAttribPointerv", {1, GL_VERTEX_ATTRIB_ARRAY_POINTER, P}}, {"glGetPointerv", {GL_VERTEX_ARRAY_POINTER, P}},
    {"glSelectBuffer", {4, P}}, {"glFeedbackBuffer", {4, GL_2D, P}}, {"glRenderMode", {GL_RENDER}},
    {"glPushClientAttrib", {0}}, {"glPopClientAttrib", {}},
    {"glBindBuffer", {GL_ARRAY_BUFFER, 1}}, {"glBindBufferBase", {GL_UNIFORM_BUFFER, 0, 1}}, {"glBindBufferBaseEXT", {GL_UNIFORM_BUFFER, 0, 1}},
    {"glBindBufferRange", {GL_UNIFORM_BUFFER, 0, 1, 0, 4}}, {"glBindBufferRangeEXT", {GL_UNIFORM_BUFFER, 0, 1, 0, 4}},
    {"glBindBufferOffsetEXT", {GL_UNIFORM_BUFFER, 0, 1, 0}}, {"glDeleteBuffers", {1, P}},
    {"glBufferData", {GL_ARRAY_BUFFER, 4, P, GL_STATIC_DRAW}}, {"glBufferSubData", {GL_ARRAY_BUFFER, 0, 4, P}},
    {"glGetBufferSubData", {GL_ARRAY_BUFFER, 0, 4, P}}, {"glGetBufferParameteriv", {GL_ARRAY_BUFFER, GL_MAX_TEXTURE_SIZE, P}},
    {"glGetBufferParameteri64v", {GL_ARRAY_BUFFER, GL_MAX_TEXTURE_SIZE, P}}, {"glGetBufferPointerv", {GL_ARRAY_BUFFER, GL_BUFFER_MAP_POINTER, P}},
    {"glFlushMappedBufferRange", {GL_ARRAY_BUFFER, 0, 4}}, {"glCopyBufferSubData", {GL_ARRAY_BUFFER, GL_ARRAY_BUFFER, 0, 0, 4}},
    {"glClearBufferData", {GL_ARRAY_BUFFER, GL_R8, GL_RED, GL_UNSIGNED_BYTE, P}},
    {"glClearBufferSubData", {GL_ARRAY_BUFFER, GL_R8, 0, 4, GL_RED, GL_UNSIGNED_BYTE, P}},
    {"glTexBuffer", {GL_TEXTURE_BUFFER, GL_R8, 1}}, {"glTexBufferRange", {GL_TEXTURE_BUFFER, GL_R8, 1, 0, 4}},
    {"glArrayElement", {1}}, {"glDrawArrays", {GL_POINTS, 0, 1}}, {"glDrawArraysInstancedBaseInstance", {GL_POINTS, 0, 1, 1, 0}},
    {"glDrawElementsBaseVertex", {GL_POINTS, 1, GL_UNSIGNED_BYTE, P, 3}},
    {"glDrawElementsInstancedBaseVertex", {GL_POINTS, 1, GL_UNSIGNED_BYTE, P, 1, 3}},
    {"glDrawElementsInstancedBaseVertexBaseInstance", {GL_POINTS, 1, GL_UNSIGNED_BYTE, P, 1, 3, 1}},
    {"glDrawElementsInstancedBaseInstance", {GL_POINTS, 1, GL_UNSIGNED_BYTE, P, 1, 1}},
    {"glDrawRangeElements", {GL_POINTS, 0, 1, 1, GL_UNSIGNED_BYTE, P}},
    {"glDrawRangeElementsBaseVertex", {GL_POINTS, 0, 1, 1, GL_UNSIGNED_BYTE, P, 3}},
    {"glDrawArraysIndirect", {GL_POINTS, 4}}, {"glDrawElementsIndirect", {GL_POINTS, GL_UNSIGNED_BYTE, 4}},
    {"glMultiDrawArraysIndirect", {GL_POINTS, 4, 1, 0}}, {"glMultiDrawElementsIndirect", {GL_POINTS, GL_UNSIGNED_BYTE, 4, 1, 0}},
    {"glBindAttribLocation", {2, 1, P}}, {"glCreateProgram", {}}, {"glCreateShader", {GL_VERTEX_SHADER}},
    {"glCreateShaderProgramv", {GL_VERTEX_SHADER, 0, P}}, {"glDeleteObjectARB", {99}}, {"glDeleteProgram", {99}},
    {"glDeleteProgramPipelines", {2, P}}, {"glFenceSync", {GL_SYNC_GPU_COMMANDS_COMPLETE, 0}},
    {"glGetActiveAtomicCounterBufferiv", {2, 0, GL_ATOMIC_COUNTER_BUFFER_BINDING, P}},
    {"glGetActiveAttrib", {2, 0, 9, P, P, P, P}}, {"glGetActiveSubroutineName", {2, GL_VERTEX_SHADER, 0, 9, P, P}},
    {"glGetActiveSubroutineUniformName", {2, GL_VERTEX_SHADER, 0, 9, P, P}},
    {"glGetActiveSubroutineUniformiv", {2, GL_VERTEX_SHADER, 0, GL_UNIFORM_SIZE, P}},
    {"glGetActiveUniform", {2, 0, 9, P, P, P, P}}, {"glGetActiveUniformBlockName", {2, 0, 9, P, P}},
    {"glGetActiveUniformBlockiv", {2, 0, GL_UNIFORM_BLOCK_DATA_SIZE, P}}, {"glGetActiveUniformName", {2, 0, 9, P, P}},
    {"glGetActiveUniformsiv", {2, 1, P, GL_UNIFORM_OFFSET, P}}, {"glGetAttachedShaders", {2, 4, P, P}},
    {"glGetAttribLocation", {2, P}}, {"glGetFramebufferParameteriv", {GL_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_WIDTH, P}},
    {"glGetInternalformati64v", {GL_RENDERBUFFER, GL_RGBA8, GL_SAMPLES, 3, P}},
    {"glGetObjectParameterivARB", {2, GL_OBJECT_TYPE_ARB, P}}, {"glGetProgramBinary", {2, 9, P, P, P}},
    {"glGetProgramResourceiv", {2, GL_UNIFORM, 0, 1, P, 4, P, P}}, {"glGetProgramiv", {2, GL_LINK_STATUS, P}},
    {"glGetQueryObjectiv", {1, GL_QUERY_RESULT, P}}, {"glGetQueryObjectuiv", {1, GL_QUERY_RESULT, P}},
    {"glGetQueryObjecti64v", {1, GL_QUERY_RESULT, P}}, {"glGetQueryObjectui64v", {1, GL_QUERY_RESULT, P}},
    {"glGetShaderPrecisionFormat", {GL_VERTEX_SHADER, GL_HIGH_FLOAT, P, P}}, {"glGetSynciv", {1, GL_SYNC_STATUS, 1, P, P}},
    {"glGetTransformFeedbackVarying", {2, 0, 9, P, P, P, P}}, {"glGetTransformFeedbackVaryingEXT", {2, 0, 9, P, P, P, P}},
    {"glGetUniformBlockIndex", {2, P}}, {"glGetUniformIndices", {2, 0, P, P}}, {"glGetUniformLocation", {2, P}},
    {"glGetUniformdv", {2, 310, P}}, {"glGetUniformfv", {2, 10, P}}, {"glGetUniformiv", {2, 110, P}},
    {"glGetUniformuiv", {2, 210, P}}, {"glGetUniformuivEXT", {2, 210, P}}, {"glIsProgram", {2}}, {"glIsShader", {5}},
    {"glProgramBinary", {2, 1, P, 4}}, {"glShaderSource", {5, 0, P, P}},
    {"glTransformFeedbackVaryings", {2, 0, P, GL_INTERLEAVED_ATTRIBS}},
    {"glTransformFeedbackVaryingsEXT", {2, 0, P, GL_INTERLEAVED_ATTRIBS}},
};
// Routines with other rules: they ask the host first, make several commands, are refused in lists, or record less than they send.
// buffers_test, vertex_arrays_test and draws_test have their rules.
const std::set<std::string> kOwnRules = {
    "glMapBuffer", "glMapBufferRange", "glUnmapBuffer", "glInterleavedArrays", "glVertexAttribFormat", "glVertexAttribIFormat",
    "glVertexAttribLFormat", "glDrawArraysInstanced", "glDrawArraysInstancedARB", "glDrawArraysInstancedEXT", "glDrawElements",
    "glDrawElementsInstanced", "glDrawElementsInstancedARB", "glDrawElementsInstancedEXT", "glMultiDrawArrays", "glMultiDrawElements",
    "glMultiDrawElementsBaseVertex",
    // Those of debug output and labels have no command: debug_log_test and labels_test.
    "glDebugMessageCallback", "glDebugMessageCallbackARB", "glDebugMessageControl", "glDebugMessageControlARB", "glDebugMessageInsert",
    "glDebugMessageInsertARB", "glGetDebugMessageLog", "glGetDebugMessageLogARB", "glPushDebugGroup", "glPopDebugGroup", "glObjectLabel",
    "glLabelObjectEXT", "glObjectPtrLabel", "glGetObjectLabel", "glGetObjectLabelEXT", "glGetObjectPtrLabel",
};
// clang-format on

const RowFacts& rowOf(const std::string& name) {
  for (const RowFacts& row : allRows()) {
    if (name == row.name) return row;
  }
  throw std::runtime_error("no row " + name);
}

uint8_t arrays[3][512];

class RuleRows : public ContextTest {
 protected:
  RuleRows() {
    GLuint names[2];
    QV_CALL(glGenTextures)(2, names);
    QV_CALL(glBindTexture)(GL_TEXTURE_2D, 1);
    context().quirkFlags |= kQuirkQueryTable;  // so that queries reach the host
    linkProgramOfEveryType();
    drop();
  }
  static void call(const RowFacts& row, std::vector<uint64_t> values) {
    size_t array = 0;
    for (uint64_t& value : values) {
      if (value == P) value = reinterpret_cast<uintptr_t>(arrays[array++ % 3]);
    }
    callRoutine(row, reinterpret_cast<Routine>(findProc(row.name)), values.data());
  }
  void forget() {
    context().insideBegin = 0;
    context().limits.maxUniformBufferBindings = 4;
    QV_CALL(glBindVertexArray)(1);
    for (const GLenum target : {GL_ARRAY_BUFFER, GL_DRAW_INDIRECT_BUFFER}) QV_CALL(glBindBuffer)(target, 1);
    drop();
    std::memset(context().base, 0, 4096);  // pad bytes have no defined value
    host.submissions.clear();
    context().recordedError = 0;
    context().lastOpcode = -1;
  }
  // What has been sent and is in the stream, with zeros as pad bytes.
  std::vector<uint8_t> written() {
    std::vector<uint8_t> all;
    for (const Submission& submission : host.submissions) all += submission.stream;
    return all += pending();
  }
  // Makes `make` while a list is recorded, and gives what the list holds of it.
  template <typename Make>
  std::vector<uint8_t> recording(GLenum mode, Make&& make) {
    auto* const list = new DisplayListStream(1);
    list->reserve(2048);
    std::memset(list->base, 0, list->capacity);
    context().recordingList = list;
    context().listMode = mode;
    make();
    const std::vector<uint8_t> recorded(list->base, list->cursor);
    delete std::exchange(context().recordingList, nullptr);
    context().listMode = 0;
    return recorded;
  }
  void endPrimitive() {
    context().insideBegin = 0;
    static_cast<VertexRun&>(context()) = {};
  }
};

// Without a current context no routine but those of vertex attributes does anything: nothing is written or sent, and an array of
// the program stays as it was.
TEST_F(RuleRows, NothingHappensWithoutAContext) {
  forget();
  TlsSetValue(ContextTlsSlot, nullptr);
  std::memset(arrays, 0xEE, sizeof arrays);
  size_t called = 0;
  const auto make = [&](const RowFacts& row, const std::vector<uint64_t>& values) {
    SCOPED_TRACE(row.name);
    call(row, values);
    ++called;
  };
  for (const RowFacts& row : allRows()) {
    if (!row.stamped) continue;
    std::vector<uint64_t> values;
    for (const ArgumentFacts& argument : row.arguments) values.push_back(argument.pointer ? P : 1);
    make(row, values);
  }
  for (const CustomCall& each : kCustomCalls) make(rowOf(each.routine), each.arguments);
  for (const char* const routine : {"glEnd", "glPrimitiveRestartNV"}) make(rowOf(routine), {});
  make(rowOf("glBegin"), {GL_POINTS});
  for (const auto& array : arrays) {
    for (const uint8_t byte : array) ASSERT_EQ(byte, 0xEE);
  }
  TlsSetValue(ContextTlsSlot, &context());
  EXPECT_GE(called, 500u);
  EXPECT_TRUE(written().empty());
  EXPECT_EQ(context().recordedError, 0u);
  EXPECT_EQ(context().lastOpcode, -1);
}

// Outside glBegin each hand-written row leaves its opcode and no error; one with a command writes that command alone.
TEST_F(RuleRows, CustomRowsLeaveTheirOpcode) {
  for (const CustomCall& each : kCustomCalls) {
    SCOPED_TRACE(each.routine);
    const RowFacts& row = rowOf(each.routine);
    forget();
    call(row, each.arguments);
    EXPECT_EQ(context().recordedError, 0u);
    if (row.opcode == kNoOpcode) continue;  // glGetStringi goes through glGetString
    EXPECT_EQ(context().lastOpcode, row.opcode);
    const std::vector<Command> commands = parse(written());
    ASSERT_EQ(commands.size(), row.form == FormKind::Local ? 0u : each.commands);
    if (commands.empty()) continue;
    EXPECT_EQ(commands.back().opcode, static_cast<uint32_t>(row.opcode));
  }
}

// Inside glBegin a row with the check is refused and the run goes on; one without it breaks the run and is sent, and one without
// a command leaves the run open.
TEST_F(RuleRows, CustomRowsKeepTheBeginCheck) {
  for (const CustomCall& each : kCustomCalls) {
    SCOPED_TRACE(each.routine);
    const RowFacts& row = rowOf(each.routine);
    if (row.opcode == kNoOpcode) continue;
    forget();
    QV_CALL(glBegin)(GL_POINTS);
    const std::vector<uint8_t> before = written();
    call(row, each.arguments);
    const bool checked = (row.properties & kBeginCheck) != 0;
    EXPECT_EQ(context().recordedError, checked ? static_cast<uint32_t>(GL_INVALID_OPERATION) : 0u);
    EXPECT_EQ(context().lastOpcode, row.opcode);
    if (checked || row.form == FormKind::Local) {
      EXPECT_EQ(written(), before);
      EXPECT_EQ(context().runOpen, 1);
    } else {
      const std::vector<Command> commands = parse(written());
      ASSERT_EQ(commands.size(), 1 + each.commands);
      EXPECT_EQ(commands[0].opcode, uint32_t{kRunBroken});
      EXPECT_EQ(commands.back().opcode, static_cast<uint32_t>(row.opcode));
      EXPECT_EQ(context().runOpen, 0);
    }
    endPrimitive();
  }
}

// While a list is compiled a row that records writes the same bytes to the list and to the host, and one that does not writes to
// the host alone.
TEST_F(RuleRows, CustomRowsRecordOrDoNot) {
  for (const CustomCall& each : kCustomCalls) {
    SCOPED_TRACE(each.routine);
    const RowFacts& row = rowOf(each.routine);
    if (row.opcode == kNoOpcode) continue;
    for (const GLenum mode : {GL_COMPILE, GL_COMPILE_AND_EXECUTE}) {
      forget();
      const std::vector<uint8_t> recorded = recording(mode, [&] { call(row, each.arguments); });
      EXPECT_EQ(context().recordedError, 0u);
      const std::vector<uint8_t> sent = written();
      EXPECT_EQ(sent.empty(), row.form == FormKind::Local);
      EXPECT_EQ(recorded, (row.properties & kRecords) != 0 ? sent : std::vector<uint8_t>{});
    }
  }
}

// A call that is refused inside glBegin has been recorded by then, and no error shows while the list is only compiled.
TEST_F(RuleRows, RefusedCallsAreRecorded) {
  size_t tested = 0;
  const auto check = [&](const RowFacts& row, auto&& make) {
    SCOPED_TRACE(row.name);
    if ((row.properties & kRecords) == 0 || (row.properties & kBeginCheck) == 0) return;
    for (const GLenum mode : {GL_COMPILE, GL_COMPILE_AND_EXECUTE}) {
      forget();
      QV_CALL(glBegin)(GL_POINTS);
      const std::vector<uint8_t> before = written();
      const std::vector<uint8_t> recorded = recording(mode, make);
      EXPECT_EQ(parse(recorded).size(), 1u);
      EXPECT_EQ(written(), before);
      EXPECT_EQ(context().recordedError, mode == GL_COMPILE ? 0u : static_cast<uint32_t>(GL_INVALID_OPERATION));
      EXPECT_EQ(context().lastOpcode, row.opcode);
      endPrimitive();
    }
    ++tested;
  };
  for (const CustomCall& each : kCustomCalls) {
    const RowFacts& row = rowOf(each.routine);
    check(row, [&] { call(row, each.arguments); });
  }
  for (const RowFacts& row : allRows()) {
    if (!row.stamped) continue;
    for (const RowCase& one : casesOf(row)) check(row, [&] { one.call(reinterpret_cast<Routine>(findProc(row.name))); });
  }
  EXPECT_GE(tested, 100u);
}

// glBegin, glEnd and glPrimitiveRestartNV are refused where the others are not.
TEST_F(RuleRows, PrimitivesHaveTheirOwnChecks) {
  for (const char* const routine : {"glEnd", "glPrimitiveRestartNV"}) {
    forget();
    call(rowOf(routine), {});
    EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_OPERATION)) << routine;
    EXPECT_EQ(context().lastOpcode, rowOf(routine).opcode);
    EXPECT_TRUE(written().empty());
  }
  QV_CALL(glBegin)(GL_POINTS);
  const std::vector<uint8_t> before = written();
  QV_CALL(glBegin)(GL_LINES);
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(context().lastOpcode, 7);
  EXPECT_EQ(context().beginPrimitive, static_cast<uint32_t>(GL_POINTS));
  EXPECT_EQ(written(), before);
  QV_CALL(glEnd)();
}

// No hand-written row is missing above.
TEST_F(RuleRows, EveryCustomRowIsThere) {
  // glGetProgramStringARB asks twice.
  std::set<std::string> listed = {"glBegin", "glEnd", "glPrimitiveRestartNV", "glGetProgramStringARB"};
  for (const CustomCall& each : kCustomCalls) listed.insert(each.routine);
  listed.insert(kOwnRules.begin(), kOwnRules.end());
  std::set<std::string> custom;
  for (const RowFacts& row : allRows()) {
    if (!row.stamped && !row.attribute && !row.uniform && !row.isPrivate) custom.insert(row.name);
  }
  EXPECT_EQ(listed, custom);
}

}  // namespace
}  // namespace qv::test
