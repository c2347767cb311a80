// The limit cache: what a reply leaves in it, by every getter, and when a limit is answered from it.
#include "driver/queries/limit_cache.h"

#include "harness.h"

namespace qv::test {
namespace {

class LimitCacheTest : public StateTest {
 protected:
  GLint get(GLenum pname) {
    GLint value = -99;
    gl::glGetIntegerv(pname, &value);
    return value;
  }
};

struct Row {
  GLenum pname;
  int32_t LimitCache::*field;
  int32_t unset;
  int32_t answerOf500;    // what is stored when the host says 500
  int32_t answerOfMinus;  // what is stored when the host says -500
  uint16_t minVersion;
};

constexpr Row kRows[] = {
    {GL_MAX_LIGHTS, &LimitCache::maxLights, 0, 500, -500, 0},
    {GL_MAX_ATTRIB_STACK_DEPTH, &LimitCache::maxAttribStackDepth, 0, 500, -500, 0},
    {GL_MAX_MODELVIEW_STACK_DEPTH, &LimitCache::maxModelviewStackDepth, 0, 500, -500, 0},
    {GL_MAX_PROJECTION_STACK_DEPTH, &LimitCache::maxProjectionStackDepth, 0, 500, -500, 0},
    {GL_MAX_TEXTURE_STACK_DEPTH, &LimitCache::maxTextureStackDepth, 0, 500, -500, 0},
    {GL_MAX_COLOR_MATRIX_STACK_DEPTH, &LimitCache::maxColorMatrixStackDepth, 0, 500, -500, 0},
    {GL_MAX_VIEWPORTS, &LimitCache::maxViewports, 0, 500, -500, 0},
    {GL_MAX_COLOR_ATTACHMENTS, &LimitCache::maxColorAttachments, 0, 500, -500, 0},
    {GL_MAX_TEXTURE_COORDS, &LimitCache::maxTextureCoords, 0, 16, 16, 0},
    {GL_MAX_TEXTURE_IMAGE_UNITS, &LimitCache::maxTextureImageUnits, 0, 16, 16, 0},
    {GL_MAX_TEXTURE_UNITS, &LimitCache::maxTextureUnits, 0, 16, 16, 0},
    {GL_NUM_SHADER_BINARY_FORMATS, &LimitCache::numShaderBinaryFormats, -1, 500, -500, 300},
    {GL_MAX_TRANSFORM_FEEDBACK_SEPARATE_ATTRIBS, &LimitCache::maxTransformFeedbackSeparateAttribs, -1, 8, 0, 0},
    {GL_MAX_UNIFORM_BUFFER_BINDINGS, &LimitCache::maxUniformBufferBindings, -1, 128, 0, 300},
    {GL_MAX_ATOMIC_COUNTER_BUFFER_BINDINGS, &LimitCache::maxAtomicCounterBufferBindings, -1, 15, 0, 420},
    {GL_MAX_SHADER_STORAGE_BUFFER_BINDINGS, &LimitCache::maxShaderStorageBufferBindings, -1, 80, 0, 430},
    {GL_MAX_VERTEX_ATTRIB_BINDINGS, &LimitCache::maxVertexAttribBindings, -1, 500, -500, 430},
    {GL_MAX_VERTEX_ATTRIB_RELATIVE_OFFSET, &LimitCache::maxVertexAttribRelativeOffset, -1, 500, -500, 430},
};

// Each limit stores a high, a low and a plain reply within its bounds.
TEST_F(LimitCacheTest, ReplyIsStoredWithinItsBounds) {
  for (const Row& row : kRows) {
    for (const auto& [reply, stored] : {std::pair{500, row.answerOf500}, std::pair{-500, row.answerOfMinus}, std::pair{7, 7}}) {
      const int32_t field = c->limits.*(row.field);
      const GLint i[] = {reply, -1};
      EXPECT_TRUE(cacheLimit(c.get(), row.pname, i));
      EXPECT_EQ(c->limits.*(row.field), stored) << row.pname << " " << field;
      const GLfloat f = static_cast<float>(reply) + (reply < 0 ? -0.75f : 0.75f);
      c->limits.*(row.field) = row.unset;
      EXPECT_TRUE(cacheLimit(c.get(), row.pname, &f));
      EXPECT_EQ(c->limits.*(row.field), stored) << row.pname;
      const GLdouble d = static_cast<double>(f);
      c->limits.*(row.field) = row.unset;
      EXPECT_TRUE(cacheLimit(c.get(), row.pname, &d));
      EXPECT_EQ(c->limits.*(row.field), stored) << row.pname;
      // Of 64 bits the low half counts.
      const GLint64 l = static_cast<GLint64>(static_cast<uint32_t>(reply)) | int64_t{0x1234} << 32;
      c->limits.*(row.field) = row.unset;
      EXPECT_TRUE(cacheLimit(c.get(), row.pname, &l));
      EXPECT_EQ(c->limits.*(row.field), stored) << row.pname;
    }
  }
  const GLint value = 5;
  EXPECT_FALSE(cacheLimit(c.get(), GL_MAX_TEXTURE_SIZE, &value));
  EXPECT_FALSE(cacheLimit(c.get(), GL_MAX_CLIP_PLANES, &value));
}

// The byte form stores the byte that the host answered, and later questions get it.
TEST_F(LimitCacheTest, BooleanFormStoresTheByte) {
  host.answer<uint8_t>(GL_MAX_LIGHTS, {1});
  GLboolean b = 0;
  gl::glGetBooleanv(GL_MAX_LIGHTS, &b);
  EXPECT_EQ(b, 1);
  EXPECT_EQ(c->limits.maxLights, 1);
  host.answer<int32_t>(GL_MAX_LIGHTS, {8});
  EXPECT_EQ(get(GL_MAX_LIGHTS), 1);
  EXPECT_EQ(host.submissions.size(), 1u);
}

// Below its version a limit stores nothing, and the uniform limit keeps and re-clamps its field.
TEST_F(LimitCacheTest, NothingIsStoredBelowItsVersion) {
  const GLint reply = 7;
  for (const Row& row : kRows) {
    if (row.minVersion == 0) continue;
    remake(static_cast<uint16_t>(row.minVersion - 10));
    EXPECT_TRUE(cacheLimit(c.get(), row.pname, &reply));
    EXPECT_EQ(c->limits.*(row.field), row.pname == GL_MAX_UNIFORM_BUFFER_BINDINGS ? 0 : -1) << row.pname;
  }
  remake(210);
  c->limits.maxUniformBufferBindings = 300;
  EXPECT_TRUE(cacheLimit(c.get(), GL_MAX_UNIFORM_BUFFER_BINDINGS, &reply));
  EXPECT_EQ(c->limits.maxUniformBufferBindings, 128);
}

// A limit is asked for once and then answered here, in any form.
TEST_F(LimitCacheTest, LimitIsAskedOnce) {
  for (const Row& row : kRows) {
    host.submissions.clear();
    host.answer<int32_t>(row.pname, {6});
    host.answer<int32_t>(GL_MAX_TEXTURE_IMAGE_UNITS, {6});
    EXPECT_EQ(get(row.pname), 6) << row.pname;
    EXPECT_LE(host.submissions.size(), 1u) << row.pname;
    host.submissions.clear();
    EXPECT_EQ(get(row.pname), 6) << row.pname;
    GLfloat f = 0;
    gl::glGetFloatv(row.pname, &f);
    EXPECT_EQ(f, 6.0f) << row.pname;
    EXPECT_TRUE(host.submissions.empty()) << row.pname;
  }
}

// A reply to any getter fills the cache.
TEST_F(LimitCacheTest, EveryGetterFillsTheCache) {
  GLfloat f = 0;
  GLdouble d = 0;
  GLint64 l = 0;
  host.answer<float>(GL_MAX_LIGHTS, {9.9f});
  gl::glGetFloatv(GL_MAX_LIGHTS, &f);
  EXPECT_EQ(c->limits.maxLights, 9);
  host.answer<double>(GL_MAX_VIEWPORTS, {16.5});
  gl::glGetDoublev(GL_MAX_VIEWPORTS, &d);
  EXPECT_EQ(c->limits.maxViewports, 16);
  host.answer<int64_t>(GL_MAX_COLOR_ATTACHMENTS, {12});
  gl::glGetInteger64v(GL_MAX_COLOR_ATTACHMENTS, &l);
  EXPECT_EQ(c->limits.maxColorAttachments, 12);
  // The first reply is handed on as it came.
  EXPECT_EQ(f, 9.9f);
  EXPECT_EQ(d, 16.5);
}

// A limit counts as unset at 0, or at -1 and -2; two limits count as unset at -1 alone.
TEST_F(LimitCacheTest, UnsetMarkersAreAsked) {
  for (const Row& row : kRows) {
    // The fixed-function units of this version are the image units.
    if (row.pname == GL_MAX_TEXTURE_UNITS) continue;
    int32_t value = 0;
    for (const int32_t marker : {0, -1, -2}) {
      c->limits.*(row.field) = marker;
      const bool oneMarker = row.pname == GL_NUM_SHADER_BINARY_FORMATS || row.pname == GL_MAX_UNIFORM_BUFFER_BINDINGS;
      const bool unset = row.unset == 0 ? marker == 0 : marker == -1 || (marker == -2 && !oneMarker);
      EXPECT_EQ(cachedLimit(c.get(), row.pname, value), !unset) << row.pname << " " << marker;
    }
  }
}

// A host with 32 texture units is seen as one with 16, from the second question on.
TEST_F(LimitCacheTest, LegacyContextSeesSixteenTextureUnits) {
  remake(210);
  host.answer<int32_t>(GL_MAX_TEXTURE_UNITS, {32});
  get(GL_MAX_TEXTURE_UNITS);
  EXPECT_EQ(get(GL_MAX_TEXTURE_UNITS), 16);
  GLfloat f = 0;
  gl::glGetFloatv(GL_MAX_TEXTURE_UNITS, &f);
  EXPECT_EQ(f, 16.0f);
  EXPECT_EQ(host.submissions.size(), 1u);
}

// From 3.0 on the units are the image units, which are asked for if need be; a host without any is asked for the units.
TEST_F(LimitCacheTest, ModernContextTakesItsImageUnits) {
  host.answer<int32_t>(GL_MAX_TEXTURE_IMAGE_UNITS, {32});
  host.answer<int32_t>(GL_MAX_TEXTURE_UNITS, {4});
  EXPECT_EQ(get(GL_MAX_TEXTURE_UNITS), 16);
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.last().words[0], static_cast<uint32_t>(GL_MAX_TEXTURE_IMAGE_UNITS));
  EXPECT_EQ(c->limits.maxTextureUnits, 0);
  remake(300);
  host.answer<int32_t>(GL_MAX_TEXTURE_IMAGE_UNITS, {0});
  EXPECT_EQ(get(GL_MAX_TEXTURE_UNITS), 4);
  EXPECT_EQ(host.last().words[0], static_cast<uint32_t>(GL_MAX_TEXTURE_UNITS));
}

// Below 3.0 two limits are answered with 0 and without a question.
TEST_F(LimitCacheTest, TwoLimitsAreZeroBelow300) {
  remake(210);
  EXPECT_EQ(get(GL_NUM_SHADER_BINARY_FORMATS), 0);
  EXPECT_EQ(get(GL_MAX_UNIFORM_BUFFER_BINDINGS), 0);
  EXPECT_TRUE(host.submissions.empty());
}

// A negative count of binary formats reads as 0.
TEST_F(LimitCacheTest, NegativeBinaryFormatsReadAsZero) {
  for (const int32_t reply : {-2, -500}) {
    c->limits.numShaderBinaryFormats = reply;
    EXPECT_EQ(get(GL_NUM_SHADER_BINARY_FORMATS), 0);
    EXPECT_EQ(shaderBinaryFormatCount(c.get()), 0);
  }
  EXPECT_TRUE(host.submissions.empty());
  c->limits.numShaderBinaryFormats = 4;
  EXPECT_EQ(shaderBinaryFormatCount(c.get()), 4);
}

// An indexed query fills the cache for index 0 alone.
TEST_F(LimitCacheTest, IndexedQueriesFillAtIndexZeroAlone) {
  host.answer<int32_t>(GL_MAX_LIGHTS, {8});
  GLint i = 0;
  gl::glGetIntegeri_v(GL_MAX_LIGHTS, 1, &i);
  EXPECT_EQ(i, 8);
  EXPECT_EQ(c->limits.maxLights, 0);
  gl::glGetIntegerIndexedvEXT(GL_MAX_LIGHTS, 1, &i);
  EXPECT_EQ(c->limits.maxLights, 0);
  gl::glGetIntegeri_v(GL_MAX_LIGHTS, 0, &i);
  EXPECT_EQ(c->limits.maxLights, 8);
}

// Other limits have no cache and are asked each time.
TEST_F(LimitCacheTest, UncachedLimitIsAskedEachTime) {
  host.answer<int32_t>(GL_MAX_TEXTURE_SIZE, {8192});
  EXPECT_EQ(get(GL_MAX_TEXTURE_SIZE), 8192);
  EXPECT_EQ(get(GL_MAX_TEXTURE_SIZE), 8192);
  EXPECT_EQ(host.submissions.size(), 2u);
}

}  // namespace
}  // namespace qv::test
