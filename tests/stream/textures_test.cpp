// Texture names, bindings and the filter in front of glTexParameter.
#include "driver/objects/display_list_stream.h"
#include "driver/objects/share_group.h"
#include "driver/objects/tracked_object.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"

namespace qv::test {
namespace {

class Textures : public ContextTest {
 protected:
  NameTable& names() { return context().shareGroup->table(ShareSlot::kTextures); }
  uint32_t bound(uint32_t unit, int target) {
    return context().texture.current().units[unit].binding(static_cast<uint32_t>(target));
  }
};

constexpr int k2D = 1, kRectangle = 4;

// GL_CLAMP never reaches the host: the command carries GL_CLAMP_TO_EDGE.
TEST_F(Textures, ClampBecomesClampToEdge) {
  QV_CALL(glTexParameteri)(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP);
  expectStream(Stream().add(kTexParameteri, GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE));
  QV_CALL(glTexParameterf)(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, static_cast<float>(GL_CLAMP));
  expectStream(Stream().add(kTexParameterf, GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, static_cast<float>(GL_CLAMP_TO_EDGE)));
  QV_CALL(glTexParameteri)(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_R, GL_CLAMP);
  expectStream(Stream().add(kTexParameteri, GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE));
  QV_CALL(glTexParameteri)(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_CLAMP);
  expectStream(Stream().add(kTexParameteri, GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_CLAMP));
}

// The forms with a pointer write the replacement into the caller's array. This is required.
TEST_F(Textures, ClampIsReplacedInTheCallersArray) {
  GLint integer = GL_CLAMP;
  QV_CALL(glTexParameteriv)(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &integer);
  EXPECT_EQ(integer, GL_CLAMP_TO_EDGE);
  expectStream(Stream().add(kTexParameteriv, GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE));
  GLfloat number = GL_CLAMP;
  QV_CALL(glTexParameterfv)(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &number);
  EXPECT_EQ(number, static_cast<float>(GL_CLAMP_TO_EDGE));
  GLuint word = GL_CLAMP;
  QV_CALL(glTexParameterIuiv)(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &word);
  EXPECT_EQ(word, static_cast<GLuint>(GL_CLAMP_TO_EDGE));
  integer = GL_CLAMP;
  QV_CALL(glTexParameterIivEXT)(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &integer);
  EXPECT_EQ(integer, GL_CLAMP_TO_EDGE);
  drop();
  // Four values go for a border colour and a swizzle.
  const GLfloat border[4] = {1, 2, 3, 4};
  QV_CALL(glTexParameterfv)(GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, border);
  expectStream(Stream().add(kTexParameterfv, GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, 1.0f, 2.0f, 3.0f, 4.0f));
}

// What a rectangle texture does not take is refused with one error, and nothing is sent or recorded.
TEST_F(Textures, RectanglesRefuseWhatTheyDoNotTake) {
  QV_CALL(glNewList)(1, GL_COMPILE_AND_EXECUTE);
  drop();
  const uint64_t recorded = static_cast<uint64_t>(context().recordingList->cursor - context().recordingList->base);
  for (const GLenum wrap :
       {GL_REPEAT, GL_MIRRORED_REPEAT, GL_MIRROR_CLAMP_EXT, GL_MIRROR_CLAMP_TO_EDGE_EXT, GL_MIRROR_CLAMP_TO_BORDER_EXT}) {
    QV_CALL(glTexParameteri)(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_S, static_cast<GLint>(wrap));
    EXPECT_EQ(takeError(), static_cast<GLenum>(GL_INVALID_ENUM)) << wrap;
  }
  QV_CALL(glTexParameteri)(GL_TEXTURE_RECTANGLE, GL_TEXTURE_BASE_LEVEL, 1);
  EXPECT_EQ(takeError(), static_cast<GLenum>(GL_INVALID_OPERATION));
  QV_CALL(glTexParameterf)(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
  EXPECT_EQ(takeError(), static_cast<GLenum>(GL_INVALID_ENUM));
  EXPECT_EQ(context().lastOpcode, kTexParameterf);
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(static_cast<uint64_t>(context().recordingList->cursor - context().recordingList->base), recorded);
  QV_CALL(glTexParameteri)(GL_TEXTURE_RECTANGLE, GL_TEXTURE_BASE_LEVEL, 0);
  QV_CALL(glTexParameteri)(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(pending().size(), 32u);
  EXPECT_EQ(static_cast<uint64_t>(context().recordingList->cursor - context().recordingList->base), recorded + 32);
  QV_CALL(glEndList)();
}

// Between glBegin and glEnd glTexParameter is an error, but its I forms have no such check.
TEST_F(Textures, OnlyTheIFormsPassInsideBegin) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glTexParameteri)(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
  EXPECT_EQ(takeError(), static_cast<GLenum>(GL_INVALID_OPERATION));
  const GLint repeat = GL_REPEAT;
  QV_CALL(glTexParameterIiv)(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &repeat);
  EXPECT_EQ(takeError(), 0u);
  QV_CALL(glEnd)();
}

// A bind is tracked in the active unit only, for five targets, and gives the name its record.
TEST_F(Textures, BindIsTrackedInTheActiveUnit) {
  QV_CALL(glActiveTexture)(GL_TEXTURE3);
  drop();
  QV_CALL(glBindTexture)(GL_TEXTURE_2D, 5);
  expectStream(Stream().add(kBindTexture, GL_TEXTURE_2D, 5));
  EXPECT_EQ(bound(3, k2D), 5u);
  EXPECT_EQ(bound(0, k2D), 0u);
  EXPECT_NE(names().find(5), nullptr);
  QV_CALL(glBindTexture)(GL_TEXTURE_RECTANGLE, 6);
  EXPECT_EQ(bound(3, kRectangle), 6u);
  EXPECT_EQ(bound(3, k2D), 5u);
  QV_CALL(glBindTexture)(GL_TEXTURE_2D_ARRAY, 7);
  EXPECT_NE(names().find(7), nullptr);
  for (int target = 0; target < 5; ++target) EXPECT_NE(bound(3, target), 7u);
  QV_CALL(glBindTexture)(GL_TEXTURE_1D, 8);
  EXPECT_EQ(bound(3, 0), 8u);
  const int32_t rows = names().count;
  QV_CALL(glBindTexture)(GL_TEXTURE_2D, 0);
  EXPECT_EQ(bound(3, k2D), 0u);
  EXPECT_EQ(names().count, rows);
  // Neither a wrong target nor glBegin is the guest's business.
  drop();
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glBindTexture)(0x1234, 9);
  EXPECT_EQ(context().recordedError, 0u);
  expectStream(Stream().large(kRunBroken, words({0})).add(kBindTexture, 0x1234, 9));
  QV_CALL(glEnd)();
}

// While a list is only compiled, glActiveTexture leaves the unit and glBindTexture changes it. This asymmetry is required.
TEST_F(Textures, CompilingMovesBindingsButNotTheUnit) {
  QV_CALL(glNewList)(1, GL_COMPILE);
  QV_CALL(glActiveTexture)(GL_TEXTURE2);
  QV_CALL(glBindTexture)(GL_TEXTURE_2D, 4);
  QV_CALL(glEndList)();
  EXPECT_EQ(context().activeTextureUnit, 0u);
  EXPECT_EQ(bound(0, k2D), 4u);
  EXPECT_EQ(bound(2, k2D), 0u);
}

// A view needs an original that has been bound and a name of its own that has only to exist; it counts as bound afterwards.
TEST_F(Textures, ViewNeedsABoundOriginalAndANameOfItsOwn) {
  GLuint generated[2] = {};
  QV_CALL(glGenTextures)(2, generated);
  const auto view = [&](GLuint texture, GLuint original) {
    QV_CALL(glTextureView)(texture, GL_TEXTURE_2D, original, GL_RGBA8, 1, 2, 3, 4);
    return takeError();
  };
  drop();
  EXPECT_EQ(view(generated[1], 0), static_cast<GLenum>(GL_INVALID_VALUE));
  EXPECT_EQ(view(generated[1], 99), static_cast<GLenum>(GL_INVALID_VALUE));
  EXPECT_EQ(view(generated[1], generated[0]), static_cast<GLenum>(GL_INVALID_OPERATION));
  EXPECT_TRUE(pending().empty());
  QV_CALL(glBindTexture)(GL_TEXTURE_2D, generated[0]);
  drop();
  EXPECT_EQ(view(0, generated[0]), static_cast<GLenum>(GL_INVALID_VALUE));
  EXPECT_EQ(view(99, generated[0]), static_cast<GLenum>(GL_INVALID_OPERATION));
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(bound(0, k2D), generated[0]);
  EXPECT_EQ(view(generated[1], generated[0]), 0u);
  expectStream(Stream().add(kTextureView, generated[1], GL_TEXTURE_2D, generated[0], GL_RGBA8, 1, 2, 3, 4));
  EXPECT_EQ(bound(0, k2D), generated[1]);
  EXPECT_NE(names().find(generated[1]), nullptr);
}

// A border colour and a swizzle come back as four words, any other parameter as one.
TEST_F(Textures, QueriesAskForTheirSize) {
  GLfloat values[4];
  QV_CALL(glGetTexParameterfv)(GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, values);
  QV_CALL(glGetTexParameterfv)(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, values);
  QV_CALL(glGetTexLevelParameterfv)(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, values);
  ASSERT_EQ(host.submissions.size(), 3u);
  EXPECT_EQ(host.submissions[0].replySize, 16u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kGetTexParameterfv, GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR).data);
  EXPECT_EQ(host.submissions[1].replySize, 4u);
  EXPECT_EQ(host.submissions[2].replySize, 4u);
  EXPECT_EQ(host.submissions[2].stream, Stream().add(kGetTexLevelParameterfv, GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH).data);
}

}  // namespace
}  // namespace qv::test
