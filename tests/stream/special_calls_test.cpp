// Entry points with a rule of their own, and the shadow steps of the stamped ones.
#include "driver/objects/share_group.h"
#include "driver/objects/tracked_object.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"

namespace qv::test {
namespace {

class SpecialCalls : public ContextTest {};

// glMaterialf and glMateriali send the shininess only; anything else is dropped without an error. This is required.
TEST_F(SpecialCalls, MaterialSendsShininessOnly) {
  QV_CALL(glMaterialf)(GL_FRONT, GL_SHININESS, 1.0f);
  expectStream(Stream().add(kMaterialf, GL_FRONT, GL_SHININESS, 1.0f));
  QV_CALL(glMateriali)(GL_BACK, GL_SHININESS, 3);
  expectStream(Stream().add(kMateriali, GL_BACK, GL_SHININESS, 3));
  context().lastOpcode = -1;
  QV_CALL(glMaterialf)(GL_FRONT, GL_AMBIENT, 1.0f);
  QV_CALL(glMateriali)(GL_FRONT, GL_AMBIENT, 1);
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(context().recordedError, 0u);
  EXPECT_EQ(context().lastOpcode, -1);
}

// glMaterialf has no begin check: inside a primitive it breaks the run and is sent.
TEST_F(SpecialCalls, MaterialInsideBeginBreaksTheRun) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glMaterialf)(GL_FRONT, GL_SHININESS, 1.0f);
  EXPECT_EQ(context().recordedError, 0u);
  expectStream(Stream().large(kRunBroken, words({0})).add(kMaterialf, GL_FRONT, GL_SHININESS, 1.0f));
  QV_CALL(glEnd)();
}

// A count that comes from the cache of the binary formats is no error when it is 0: nothing is sent, on the write side too.
TEST_F(SpecialCalls, CountOfNoBinaryFormatsSendsNothing) {
  const float values[4] = {};
  for (const int32_t cached : {-1, 0}) {
    context().limits.numShaderBinaryFormats = cached;
    QV_CALL(glLightfv)(GL_LIGHT0, GL_SHADER_BINARY_FORMATS, values);
    EXPECT_EQ(context().lastOpcode, kLightfv);
    QV_CALL(glMaterialfv)(GL_FRONT, GL_SHADER_BINARY_FORMATS, values);
    EXPECT_EQ(context().lastOpcode, kMaterialfv);
    EXPECT_EQ(context().recordedError, 0u);
    EXPECT_TRUE(pending().empty());
  }
  context().limits.numShaderBinaryFormats = 2;
  QV_CALL(glLightfv)(GL_LIGHT0, GL_SHADER_BINARY_FORMATS, values);
  expectStream(Stream().add(kLightfv, GL_LIGHT0, GL_SHADER_BINARY_FORMATS, 2, 0.0f, 0.0f));
}

// The attribute stack of a fresh context has the depth 1 (required oddity 88).
TEST_F(SpecialCalls, AttributeStackDepthBeginsWithOne) {
  int32_t depth = -1;
  QV_CALL(glGetIntegerv)(GL_ATTRIB_STACK_DEPTH, &depth);
  EXPECT_EQ(depth, 1);
}

// Calls with an index leave the shadow alone, though index 0 is what the calls without one set (required oddity 89).
TEST_F(SpecialCalls, IndexedCallsLeaveTheShadowAlone) {
  const auto integer = [](GLenum name, size_t value) {
    int32_t values[4] = {};
    QV_CALL(glGetIntegerv)(name, values);
    return values[value];
  };
  QV_CALL(glViewport)(1, 2, 3, 4);
  QV_CALL(glDepthRange)(0, 1);
  QV_CALL(glBlendFunc)(GL_ONE, GL_DST_COLOR);
  QV_CALL(glViewportIndexedf)(0, 5.0f, 6.0f, 7.0f, 8.0f);
  QV_CALL(glDepthRangeIndexed)(0, 1, 1);
  QV_CALL(glBlendFunci)(0, GL_SRC_ALPHA, GL_ZERO);
  EXPECT_EQ(integer(GL_VIEWPORT, 0), 1);
  EXPECT_EQ(integer(GL_DEPTH_RANGE, 0), 0);
  EXPECT_EQ(integer(GL_BLEND_SRC, 0), GL_ONE);
}

// A deleted framebuffer stays bound in the shadow (required oddity 90).
TEST_F(SpecialCalls, DeletedFramebuffersStayBound) {
  const GLuint name = 5;
  QV_CALL(glBindFramebuffer)(GL_FRAMEBUFFER, name);
  QV_CALL(glDeleteFramebuffers)(1, &name);
  int32_t bound = 0;
  QV_CALL(glGetIntegerv)(GL_DRAW_FRAMEBUFFER_BINDING, &bound);
  EXPECT_EQ(bound, 5);
}

// The restart index of the NV calls is the guest's own: no command, whatever the mode.
TEST_F(SpecialCalls, NvRestartIndexStaysInTheGuest) {
  QV_CALL(glPrimitiveRestartIndexNV)(0xFFFF);
  EXPECT_EQ(context().nvRestartIndex, 0xFFFFu);
  EXPECT_EQ(context().restartIndex, 0u);
  EXPECT_EQ(context().lastOpcode, kPrimitiveRestartIndexNV);
  EXPECT_TRUE(pending().empty());
}

// Units above 15 go to the host, which complains; the shadow moves for the first sixteen only.
TEST_F(SpecialCalls, ActiveTextureShadowsSixteenUnits) {
  QV_CALL(glActiveTexture)(GL_TEXTURE5);
  EXPECT_EQ(context().activeTextureUnit, 5u);
  QV_CALL(glActiveTexture)(GL_TEXTURE0 + 16);
  EXPECT_EQ(context().activeTextureUnit, 5u);
  expectStream(Stream().add(kActiveTexture, GL_TEXTURE5).add(kActiveTexture, GL_TEXTURE16));
}

// The shadow has eight client texture units, not sixteen; every call is sent.
TEST_F(SpecialCalls, ClientActiveTextureShadowsEightUnits) {
  QV_CALL(glClientActiveTexture)(GL_TEXTURE7);
  EXPECT_EQ(context().clientActiveUnit, 7u);
  QV_CALL(glClientActiveTexture)(GL_TEXTURE8);
  EXPECT_EQ(context().clientActiveUnit, 7u);
  EXPECT_EQ(pending().size(), 16u);
}

// With its quirk bit the framebuffer status is complete without a round trip; without it the host answers.
TEST_F(SpecialCalls, FramebufferStatusIsCompleteUnderItsQuirk) {
  host.answerAll<uint32_t>({GL_FRAMEBUFFER_UNSUPPORTED});
  EXPECT_EQ(QV_CALL(glCheckFramebufferStatus)(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_UNSUPPORTED));
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kCheckFramebufferStatus, GL_FRAMEBUFFER).data);
  context().quirkFlags |= kQuirkFramebufferComplete;
  EXPECT_EQ(QV_CALL(glCheckFramebufferStatusEXT)(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
  EXPECT_EQ(context().lastOpcode, kCheckFramebufferStatusEXT);
  EXPECT_EQ(host.submissions.size(), 1u);
}

// A bind of a framebuffer sets the fields its target names; a bad target is sent and changes nothing.
TEST_F(SpecialCalls, BoundFramebuffersFollowTheTarget) {
  QV_CALL(glBindFramebuffer)(GL_FRAMEBUFFER, 7);
  QV_CALL(glBindFramebuffer)(GL_READ_FRAMEBUFFER, 0);
  EXPECT_EQ(context().drawFramebuffer, 7u);
  EXPECT_EQ(context().readFramebuffer, 0u);
  QV_CALL(glBindFramebuffer)(1, 9);
  EXPECT_EQ(context().drawFramebuffer, 7u);
  EXPECT_EQ(pending().size(), 36u);
}

// Names that the host makes come back in the caller's array through one flush.
TEST_F(SpecialCalls, NamesFromTheHostTakeOneFlush) {
  host.answerAll<uint32_t>({11, 12});
  GLuint names[2] = {};
  QV_CALL(glGenFramebuffers)(2, names);
  EXPECT_EQ(names[0], 11u);
  EXPECT_EQ(names[1], 12u);
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kGenFramebuffers, 2).data);
  EXPECT_EQ(host.submissions[0].replySize, 8u);
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glGenProgramPipelines)(1, names);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(host.submissions.size(), 1u);
  QV_CALL(glEnd)();
}

// glIsFramebuffer asks the host and takes one byte of answer.
TEST_F(SpecialCalls, IsFramebufferAsksTheHost) {
  host.answerAll<uint8_t>({1});
  EXPECT_EQ(QV_CALL(glIsFramebuffer)(3), GL_TRUE);
  EXPECT_EQ(host.submissions[0].replySize, 1u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kIsFramebuffer, 3).data);
}

// Every call whose answer is one byte, and every call that takes its names from the host: command and length of reply.
TEST_F(SpecialCalls, IsAndGenCallsAskUnderTheirNumbers) {
  host.answerAll<uint8_t>({1, 0, 0, 0});
  const std::pair<const char*, uint32_t> tests[] = {
      {"glIsFramebuffer", kIsFramebuffer},   {"glIsFramebufferEXT", kIsFramebufferEXT},
      {"glIsRenderbuffer", kIsRenderbuffer}, {"glIsRenderbufferEXT", kIsRenderbufferEXT},
      {"glIsSampler", kIsSampler},           {"glIsProgramPipeline", kIsProgramPipeline},
      {"glIsProgramARB", kIsProgramARB}};
  for (const auto& [name, opcode] : tests) {
    host.submissions.clear();
    EXPECT_EQ((*gl<decltype(::glIsFramebuffer)>(name))(3), GL_TRUE) << name;
    ASSERT_EQ(host.submissions.size(), 1u) << name;
    EXPECT_EQ(host.submissions[0].stream, Stream().add(opcode, 3).data) << name;
    EXPECT_EQ(host.submissions[0].replySize, 1u) << name;
  }
  host.submissions.clear();
  EXPECT_EQ(QV_CALL(glIsSync)(reinterpret_cast<GLsync>(uintptr_t{5})), GL_TRUE);
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kIsSync, 5).data);
  EXPECT_EQ(host.submissions[0].replySize, 1u);
  const std::pair<const char*, uint32_t> makers[] = {
      {"glGenFramebuffers", kGenFramebuffers},   {"glGenFramebuffersEXT", kGenFramebuffersEXT},
      {"glGenRenderbuffers", kGenRenderbuffers}, {"glGenRenderbuffersEXT", kGenRenderbuffersEXT},
      {"glGenSamplers", kGenSamplers},           {"glGenProgramPipelines", kGenProgramPipelines},
      {"glGenProgramsARB", kGenProgramsARB}};
  host.answerAll<uint32_t>({21, 22});
  for (const auto& [name, opcode] : makers) {
    host.submissions.clear();
    GLuint names[2] = {};
    (*gl<decltype(::glGenFramebuffers)>(name))(2, names);
    ASSERT_EQ(host.submissions.size(), 1u) << name;
    EXPECT_EQ(host.submissions[0].stream, Stream().add(opcode, 2).data) << name;
    EXPECT_EQ(host.submissions[0].replySize, 8u) << name;
    EXPECT_EQ(names[1], 22u) << name;
  }
}

// The pname of glGetTexGen decides how long a reply the call asks for.
TEST_F(SpecialCalls, PnameDecidesTheLengthOfAReply) {
  GLint values[4] = {};
  QV_CALL(glGetTexGeniv)(GL_S, GL_TEXTURE_GEN_MODE, values);
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  QV_CALL(glGetTexGeniv)(GL_S, GL_OBJECT_PLANE, values);
  EXPECT_EQ(host.submissions.back().replySize, 16u);
  GLfloat reals[4] = {};
  QV_CALL(glGetTexGenfv)(GL_T, GL_TEXTURE_GEN_MODE, reals);
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  QV_CALL(glGetTexGenfv)(GL_T, GL_EYE_PLANE, reals);
  EXPECT_EQ(host.submissions.back().replySize, 16u);
}

// Names made in the guest write no command, set lastOpcode, and refuse a count of 0; this is required.
TEST_F(SpecialCalls, NamesFromTheGuestWriteNoCommand) {
  GLuint name = 0;
  const struct {
    const char* gen;
    const char* is;
    uint32_t genOpcode, isOpcode;
    GLboolean afterGen;
  } kinds[] = {{"glGenBuffers", "glIsBuffer", kGenBuffers, kIsBuffer, GL_TRUE},
               {"glGenTextures", "glIsTexture", kGenTextures, kIsTexture, GL_FALSE},
               {"glGenTransformFeedbacks", "glIsTransformFeedback", kGenTransformFeedbacks, kIsTransformFeedback, GL_FALSE},
               {"glGenVertexArrays", "glIsVertexArray", kGenVertexArrays, kIsVertexArray, GL_TRUE},
               {"glGenQueries", "glIsQuery", kGenQueries, kIsQuery, GL_TRUE}};
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
  expectStream(Stream().add(kDeleteTextures, 2, 1, 2));
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
  } kinds[] = {{"glDeleteFramebuffers", kDeleteFramebuffers, 0},   {"glDeleteFramebuffersEXT", kDeleteFramebuffersEXT, 0},
               {"glDeleteRenderbuffers", kDeleteRenderbuffers, 1}, {"glDeleteRenderbuffersEXT", kDeleteRenderbuffersEXT, 1},
               {"glDeleteSamplers", kDeleteSamplers, 2},           {"glDeleteTransformFeedbacks", kDeleteTransformFeedbacks, 3}};
  for (const auto& kind : kinds) {
    for (NameTable* const table : context().shareGroup->tables) table->clear();
    for (uint32_t slot = 0; slot < 4; ++slot) {
      for (const GLuint name : {5u, 7u, 9u}) context().shareGroup->tables[slot]->set(name, new LabelRecord);
    }
    (*gl<decltype(::glDeleteFramebuffers)>(kind.call))(2, names);
    expectStream(Stream().add(kind.opcode, 2, 5, 9));
    for (uint32_t slot = 0; slot < 4; ++slot) {
      NameTable& table = *context().shareGroup->tables[slot];
      EXPECT_EQ(table.count, slot == kind.slot ? 1 : 3) << kind.call << " " << slot;
      EXPECT_TRUE(table.contains(7)) << kind.call;
    }
  }
  for (const GLuint name : {5u, 7u, 9u}) context().queryTable.set(name, new QueryRecord);
  QV_CALL(glDeleteQueries)(2, names);
  expectStream(Stream().add(kDeleteQueries, 2, 5, 9));
  EXPECT_EQ(context().queryTable.count, 1);
  EXPECT_TRUE(context().queryTable.contains(7));
  EXPECT_EQ(context().recordedError, 0u);
}

// Calls of six attribute groups leave their values in the shadow.
TEST_F(SpecialCalls, CallsLeaveTheirValuesInTheShadow) {
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
