// Entry points with a rule of their own, and the shadow steps of the stamped ones.
#include "driver/objects/share_group.h"
#include "driver/objects/tracked_object.h"
#include "tests/stream/recording_host.h"

namespace qv::test {
namespace {

class SpecialCalls : public ContextTest {};

// glMaterialf and glMateriali send the shininess only; anything else is dropped without an error. This is required.
TEST_F(SpecialCalls, MaterialSendsShininessOnly) {
  QV_CALL(glMaterialf)(GL_FRONT, GL_SHININESS, 1.0f);
  expectStream(words({16u << 12 | 169, 0x404, 5633, 0x3f800000}));
  QV_CALL(glMateriali)(GL_BACK, GL_SHININESS, 3);
  expectStream(words({16u << 12 | 171, 0x405, 5633, 3}));
  context().lastOpcode = -1;
  QV_CALL(glMaterialf)(GL_FRONT, GL_AMBIENT, 1.0f);
  QV_CALL(glMateriali)(GL_FRONT, GL_AMBIENT, 1);
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(context().recordedError, 0u);
  EXPECT_EQ(context().lastOpcode, -1);
}

// They have no begin check: inside a primitive they break the run and are sent.
TEST_F(SpecialCalls, MaterialInsideBegin) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glMaterialf)(GL_FRONT, GL_SHININESS, 1.0f);
  EXPECT_EQ(context().recordedError, 0u);
  expectStream(words({2007, 12, 0, 16u << 12 | 169, 0x404, 5633, 0x3f800000}));
  QV_CALL(glEnd)();
}

// A count that comes from the cache of the binary formats is no error when it is 0: nothing is sent, on the write side too.
TEST_F(SpecialCalls, BinaryFormatsAsAPname) {
  const float values[4] = {};
  for (const int32_t cached : {-1, 0}) {
    context().limits.numShaderBinaryFormats = cached;
    QV_CALL(glLightfv)(GL_LIGHT0, GL_SHADER_BINARY_FORMATS, values);
    EXPECT_EQ(context().lastOpcode, 160);
    QV_CALL(glMaterialfv)(GL_FRONT, GL_SHADER_BINARY_FORMATS, values);
    EXPECT_EQ(context().lastOpcode, 170);
    EXPECT_EQ(context().recordedError, 0u);
    EXPECT_TRUE(pending().empty());
  }
  context().limits.numShaderBinaryFormats = 2;
  QV_CALL(glLightfv)(GL_LIGHT0, GL_SHADER_BINARY_FORMATS, values);
  expectStream(words({24u << 12 | 160, 0x4000, 0x8DF8, 2, 0, 0}));
}

// The restart index of the NV calls is the guest's own: no command, whatever the mode.
TEST_F(SpecialCalls, RestartIndexOfTheGuest) {
  QV_CALL(glPrimitiveRestartIndexNV)(0xFFFF);
  EXPECT_EQ(context().restartNvIndex, 0xFFFFu);
  EXPECT_EQ(context().restartIndex, 0u);
  EXPECT_EQ(context().lastOpcode, 1400);
  EXPECT_TRUE(pending().empty());
}

// Units above 15 go to the host, which complains; the shadow moves for the first sixteen only.
TEST_F(SpecialCalls, ActiveTexture) {
  QV_CALL(glActiveTexture)(GL_TEXTURE5);
  EXPECT_EQ(context().activeTextureUnit, 5u);
  QV_CALL(glActiveTexture)(GL_TEXTURE0 + 16);
  EXPECT_EQ(context().activeTextureUnit, 5u);
  expectStream(words({0x8176, 0x84C5, 0x8176, 0x84D0}));
}

// The client has eight texture units, not sixteen.
TEST_F(SpecialCalls, ClientActiveTexture) {
  QV_CALL(glClientActiveTexture)(GL_TEXTURE7);
  EXPECT_EQ(context().clientActiveUnit, 7u);
  QV_CALL(glClientActiveTexture)(GL_TEXTURE8);
  EXPECT_EQ(context().clientActiveUnit, 7u);
  EXPECT_EQ(pending().size(), 16u);
}

// With its quirk bit the framebuffer status is complete without a round trip; without it the host answers.
TEST_F(SpecialCalls, FramebufferStatus) {
  host().answerWith<uint32_t>(GL_FRAMEBUFFER_UNSUPPORTED);
  EXPECT_EQ(QV_CALL(glCheckFramebufferStatus)(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_UNSUPPORTED));
  ASSERT_EQ(host().submissions.size(), 1u);
  EXPECT_EQ(host().submissions[0].stream, words({0x8609, 0x8D40}));
  context().quirkFlags |= kQuirkFramebufferComplete;
  EXPECT_EQ(QV_CALL(glCheckFramebufferStatusEXT)(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
  EXPECT_EQ(context().lastOpcode, 1420);
  EXPECT_EQ(host().submissions.size(), 1u);
}

// A bind of a framebuffer sets the fields its target names; a bad target is sent and changes nothing.
TEST_F(SpecialCalls, BindFramebuffer) {
  QV_CALL(glBindFramebuffer)(GL_FRAMEBUFFER, 7);
  QV_CALL(glBindFramebuffer)(GL_READ_FRAMEBUFFER, 0);
  EXPECT_EQ(context().drawFramebuffer, 7u);
  EXPECT_EQ(context().readFramebuffer, 0u);
  QV_CALL(glBindFramebuffer)(1, 9);
  EXPECT_EQ(context().drawFramebuffer, 7u);
  EXPECT_EQ(pending().size(), 36u);
}

// Names that the host makes come back in the caller's array through one flush.
TEST_F(SpecialCalls, HostNames) {
  host().answer = words({11, 12});
  GLuint names[2] = {};
  QV_CALL(glGenFramebuffers)(2, names);
  EXPECT_EQ(names[0], 11u);
  EXPECT_EQ(names[1], 12u);
  ASSERT_EQ(host().submissions.size(), 1u);
  EXPECT_EQ(host().submissions[0].stream, words({0x8608, 2}));
  EXPECT_EQ(host().submissions[0].replySize, 8u);
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glGenProgramPipelines)(1, names);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(host().submissions.size(), 1u);
  QV_CALL(glEnd)();
}

// One-byte answers.
TEST_F(SpecialCalls, IsCallsAskTheHost) {
  host().answer = {1};
  EXPECT_EQ(QV_CALL(glIsFramebuffer)(3), GL_TRUE);
  EXPECT_EQ(host().submissions[0].replySize, 1u);
  EXPECT_EQ(host().submissions[0].stream, words({0x8605, 3}));
}

// Every call whose answer is one byte, and every call that takes its names from the host: command and length of reply.
TEST_F(SpecialCalls, HostAnswersByNumber) {
  host().answer = {1, 0, 0, 0};
  const std::pair<const char*, uint32_t> tests[] = {
      {"glIsFramebuffer", 1541}, {"glIsFramebufferEXT", 1416},  {"glIsRenderbuffer", 1535}, {"glIsRenderbufferEXT", 1410},
      {"glIsSampler", 2133},     {"glIsProgramPipeline", 2269}, {"glIsProgramARB", 723}};
  for (const auto& [name, opcode] : tests) {
    host().submissions.clear();
    EXPECT_EQ((*gl<decltype(::glIsFramebuffer)>(name))(3), GL_TRUE) << name;
    ASSERT_EQ(host().submissions.size(), 1u) << name;
    EXPECT_EQ(host().submissions[0].stream, words({8u << 12 | opcode, 3})) << name;
    EXPECT_EQ(host().submissions[0].replySize, 1u) << name;
  }
  host().submissions.clear();
  EXPECT_EQ(QV_CALL(glIsSync)(reinterpret_cast<GLsync>(uintptr_t{5})), GL_TRUE);
  ASSERT_EQ(host().submissions.size(), 1u);
  EXPECT_EQ(host().submissions[0].stream, words({8u << 12 | 1566, 5}));
  EXPECT_EQ(host().submissions[0].replySize, 1u);
  const std::pair<const char*, uint32_t> makers[] = {
      {"glGenFramebuffers", 1544}, {"glGenFramebuffersEXT", 1419},  {"glGenRenderbuffers", 1538}, {"glGenRenderbuffersEXT", 1413},
      {"glGenSamplers", 2131},     {"glGenProgramPipelines", 2268}, {"glGenProgramsARB", 704}};
  host().answer = words({21, 22});
  for (const auto& [name, opcode] : makers) {
    host().submissions.clear();
    GLuint names[2] = {};
    (*gl<decltype(::glGenFramebuffers)>(name))(2, names);
    ASSERT_EQ(host().submissions.size(), 1u) << name;
    EXPECT_EQ(host().submissions[0].stream, words({8u << 12 | opcode, 2})) << name;
    EXPECT_EQ(host().submissions[0].replySize, 8u) << name;
    EXPECT_EQ(names[1], 22u) << name;
  }
}

// Replies whose length the pname decides.
TEST_F(SpecialCalls, RepliesByPname) {
  GLint values[4] = {};
  QV_CALL(glGetTexGeniv)(GL_S, GL_TEXTURE_GEN_MODE, values);
  EXPECT_EQ(host().submissions.back().replySize, 4u);
  QV_CALL(glGetTexGeniv)(GL_S, GL_OBJECT_PLANE, values);
  EXPECT_EQ(host().submissions.back().replySize, 16u);
  GLfloat reals[4] = {};
  QV_CALL(glGetTexGenfv)(GL_T, GL_TEXTURE_GEN_MODE, reals);
  EXPECT_EQ(host().submissions.back().replySize, 4u);
  QV_CALL(glGetTexGenfv)(GL_T, GL_EYE_PLANE, reals);
  EXPECT_EQ(host().submissions.back().replySize, 16u);
}

// Names made in the guest write no command, set lastOpcode, and refuse a count of 0; this is required.
TEST_F(SpecialCalls, GuestNames) {
  GLuint name = 0;
  const struct {
    const char* gen;
    const char* is;
    int genOpcode, isOpcode;
    GLboolean afterGen;
  } kinds[] = {{"glGenBuffers", "glIsBuffer", 475, 476, GL_TRUE},
               {"glGenTextures", "glIsTexture", 329, 330, GL_FALSE},
               {"glGenTransformFeedbacks", "glIsTransformFeedback", 2254, 2255, GL_FALSE},
               {"glGenVertexArrays", "glIsVertexArray", 1533, 1534, GL_TRUE},
               {"glGenQueries", "glIsQuery", 465, 467, GL_TRUE}};
  for (const auto& kind : kinds) {
    (*gl<decltype(::glGenBuffers)>(kind.gen))(1, &name);
    EXPECT_EQ(name, 1u) << kind.gen;
    EXPECT_EQ(context().lastOpcode, kind.genOpcode);
    EXPECT_EQ((*gl<decltype(::glIsBuffer)>(kind.is))(name), kind.afterGen) << kind.is;
    EXPECT_EQ(context().lastOpcode, kind.isOpcode);
    context().recordedError = 0;
    (*gl<decltype(::glGenBuffers)>(kind.gen))(0, &name);
    EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION)) << kind.gen;
  }
  EXPECT_TRUE(pending().empty());
}

// A texture that has a record keeps its row until the flush that carries its delete; one never bound goes at once.
TEST_F(SpecialCalls, TextureDeletesAreDeferred) {
  GLuint names[2] = {};
  QV_CALL(glGenTextures)(2, names);
  context().shareGroup->table(ShareSlot::kTextures).set(names[0], new LabelRecord);
  EXPECT_EQ(QV_CALL(glIsTexture)(names[0]), GL_TRUE);
  QV_CALL(glDeleteTextures)(2, names);
  expectStream(words({16u << 12 | 328, 2, 1, 2}));
  EXPECT_EQ(QV_CALL(glIsTexture)(names[0]), GL_TRUE);
  GLuint again = 0;
  QV_CALL(glGenTextures)(1, &again);
  EXPECT_EQ(again, 2u);
  QV_CALL(glGetError)();
  EXPECT_EQ(QV_CALL(glIsTexture)(names[0]), GL_FALSE);
}

// Deletes take the labels of host-named objects and the context's own queries out of their tables, and no other rows.
TEST_F(SpecialCalls, DeletesReachTheirTables) {
  const GLuint names[2] = {5, 9};
  const struct {
    const char* call;
    uint32_t opcode;
    uint32_t slot;
  } kinds[] = {{"glDeleteFramebuffers", 1543, 0},  {"glDeleteFramebuffersEXT", 1418, 0},
               {"glDeleteRenderbuffers", 1537, 1}, {"glDeleteRenderbuffersEXT", 1412, 1},
               {"glDeleteSamplers", 2132, 2},      {"glDeleteTransformFeedbacks", 2253, 3}};
  for (const auto& kind : kinds) {
    for (NameTable* const table : context().shareGroup->tables) table->clear();
    for (uint32_t slot = 0; slot < 4; ++slot) {
      for (const GLuint name : {5u, 7u, 9u}) context().shareGroup->tables[slot]->set(name, new LabelRecord);
    }
    (*gl<decltype(::glDeleteFramebuffers)>(kind.call))(2, names);
    expectStream(words({16u << 12 | kind.opcode, 2, 5, 9}));
    for (uint32_t slot = 0; slot < 4; ++slot) {
      NameTable& table = *context().shareGroup->tables[slot];
      EXPECT_EQ(table.count, slot == kind.slot ? 1 : 3) << kind.call << " " << slot;
      EXPECT_TRUE(table.contains(7)) << kind.call;
    }
  }
  for (const GLuint name : {5u, 7u, 9u}) context().queryTable.set(name, new LabelledRecord);
  QV_CALL(glDeleteQueries)(2, names);
  expectStream(words({16u << 12 | 466, 2, 5, 9}));
  EXPECT_EQ(context().queryTable.count, 1);
  EXPECT_TRUE(context().queryTable.contains(7));
  EXPECT_EQ(context().recordedError, 0u);
}

// The single values of the attribute groups.
TEST_F(SpecialCalls, ShadowedValues) {
  QV_CALL(glPolygonMode)(GL_FRONT, GL_LINE);
  EXPECT_EQ(context().polygon.current().frontMode, static_cast<uint32_t>(GL_LINE));
  EXPECT_EQ(context().polygon.current().backMode, static_cast<uint32_t>(GL_FILL));
  QV_CALL(glViewport)(1, 2, 3, 4);
  EXPECT_EQ(context().viewport.current().height, 4);
  QV_CALL(glFogi)(GL_FOG_MODE, GL_LINEAR);
  EXPECT_EQ(context().fog.current().mode, static_cast<uint32_t>(GL_LINEAR));
  const GLint color[4] = {2147483647, 0, 0, -2147483647 - 1};
  QV_CALL(glFogiv)(GL_FOG_COLOR, color);
  EXPECT_FLOAT_EQ(context().fog.current().color[0], 1.0f);
  EXPECT_FLOAT_EQ(context().fog.current().color[3], -1.0f);
  QV_CALL(glBlendFuncSeparate)(1, 2, 3, 4);
  EXPECT_EQ(context().colorBuffer.current().blendSrcAlpha, 3u);
  EXPECT_EQ(context().colorBuffer.current().blendDstRgb, 2u);
  QV_CALL(glPolygonOffset)(1.5f, 2.5f);
  EXPECT_EQ(context().polygon.current().offsetUnits, 2.5f);
}

}  // namespace
}  // namespace qv::test
