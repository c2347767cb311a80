// The plain forms of the glGet family: conversions, forwarding, errors and the begin check.
#include <limits>

#include "driver/queries/shadow_answer.h"
#include "harness.h"

namespace qv::test {
namespace {

class GetTest : public StateTest {
 protected:
  GLint getInt(GLenum pname) {
    GLint value = -99;
    gl::glGetIntegerv(pname, &value);
    return value;
  }
  GLint64 get64(GLenum pname) {
    GLint64 value = -99;
    gl::glGetInteger64v(pname, &value);
    return value;
  }
  GLfloat getFloat(GLenum pname) {
    GLfloat value = -99;
    gl::glGetFloatv(pname, &value);
    return value;
  }
  GLdouble getDouble(GLenum pname) {
    GLdouble value = -99;
    gl::glGetDoublev(pname, &value);
    return value;
  }
  // The bytes that glGetBooleanv writes, out of at most 20.
  std::vector<int> getBooleans(GLenum pname) {
    GLboolean values[20];
    std::memset(values, 0xEE, sizeof values);
    gl::glGetBooleanv(pname, values);
    std::vector<int> written;
    for (const GLboolean each : values) {
      if (each != 0xEE) written.push_back(each);
    }
    return written;
  }
  bool asked() const { return !host.submissions.empty(); }
};
using Ints = std::vector<int>;

// --- conversions ---

// Fog distances and density round in the 32-bit form only.
TEST_F(GetTest, FogIsRounded) {
  for (const auto& [pname, field] : {std::pair<GLenum, float FogState::*>{GL_FOG_DENSITY, &FogState::density},
                                     std::pair<GLenum, float FogState::*>{GL_FOG_START, &FogState::start},
                                     std::pair<GLenum, float FogState::*>{GL_FOG_END, &FogState::end}}) {
    c->fog.current().*field = 0.5f;
    EXPECT_EQ(getInt(pname), 1);
    EXPECT_EQ(get64(pname), 0);
    EXPECT_EQ(getFloat(pname), 0.5f);
    EXPECT_EQ(getDouble(pname), 0.5);
    EXPECT_EQ(getBooleans(pname), (Ints{1}));
    c->fog.current().*field = 0.3f;
    EXPECT_EQ(getInt(pname), 0);
    EXPECT_EQ(getBooleans(pname), (Ints{0}));
    c->fog.current().*field = -1.5f;
    EXPECT_EQ(getInt(pname), -1);
    EXPECT_EQ(get64(pname), -1);
    c->fog.current().*field = -1.7f;
    EXPECT_EQ(getInt(pname), -2);
    EXPECT_EQ(get64(pname), -1);
  }
  EXPECT_FALSE(asked());
}

// Polygon offsets and the fog index truncate in both integer forms.
TEST_F(GetTest, OffsetsAreTruncated) {
  c->polygon.current().offsetFactor = 2.9f;
  c->polygon.current().offsetUnits = -2.9f;
  c->fog.current().index = 7.9f;
  EXPECT_EQ(getInt(GL_POLYGON_OFFSET_FACTOR), 2);
  EXPECT_EQ(get64(GL_POLYGON_OFFSET_FACTOR), 2);
  EXPECT_EQ(getFloat(GL_POLYGON_OFFSET_FACTOR), 2.9f);
  EXPECT_EQ(getInt(GL_POLYGON_OFFSET_UNITS), -2);
  EXPECT_EQ(get64(GL_POLYGON_OFFSET_UNITS), -2);
  EXPECT_EQ(getDouble(GL_POLYGON_OFFSET_UNITS), static_cast<double>(-2.9f));
  EXPECT_EQ(getInt(GL_FOG_INDEX), 7);
}

// The fog colour scales in the 32-bit form only, and as booleans gives one.
TEST_F(GetTest, FogColorScalesIn32BitsOnly) {
  const float color[4] = {1.0f, 0.5f, -1.0f, 0.0f};
  std::memcpy(c->fog.current().color, color, sizeof color);
  GLint i[4] = {};
  GLint64 l[4] = {};
  GLfloat f[4] = {};
  GLdouble d[4] = {};
  gl::glGetIntegerv(GL_FOG_COLOR, i);
  gl::glGetInteger64v(GL_FOG_COLOR, l);
  gl::glGetFloatv(GL_FOG_COLOR, f);
  gl::glGetDoublev(GL_FOG_COLOR, d);
  EXPECT_EQ(i[0], 2147483647);
  EXPECT_EQ(i[1], 1073741823);
  EXPECT_EQ(i[2], -2147483647);
  EXPECT_EQ(i[3], 0);
  EXPECT_EQ(l[0], 1);
  EXPECT_EQ(l[1], 0);
  EXPECT_EQ(l[2], -1);
  EXPECT_EQ(f[1], 0.5f);
  EXPECT_EQ(d[2], -1.0);
  EXPECT_EQ(getBooleans(GL_FOG_COLOR), (Ints{1}));
}

// Values beyond every integer become the lowest, whatever they are.
TEST_F(GetTest, ValuesWithoutAnIntegerBecomeTheLowest) {
  const float wild[4] = {4.0f, -4.0f, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()};
  std::memcpy(c->fog.current().color, wild, sizeof wild);
  GLint i[4] = {};
  gl::glGetIntegerv(GL_FOG_COLOR, i);
  for (const GLint each : i) EXPECT_EQ(each, INT32_MIN);
  GLint64 l[4] = {};
  gl::glGetInteger64v(GL_FOG_COLOR, l);
  EXPECT_EQ(l[0], 4);
  EXPECT_EQ(l[2], INT64_MIN);
  EXPECT_EQ(l[3], INT64_MIN);
}

// The depth clear value scales in the 32-bit form and truncates in the 64-bit form.
TEST_F(GetTest, DepthClearValueScalesIn32BitsOnly) {
  EXPECT_EQ(getInt(GL_DEPTH_CLEAR_VALUE), 2147483647);
  EXPECT_EQ(get64(GL_DEPTH_CLEAR_VALUE), 1);
  EXPECT_EQ(getFloat(GL_DEPTH_CLEAR_VALUE), 1.0f);
  EXPECT_EQ(getDouble(GL_DEPTH_CLEAR_VALUE), 1.0);
  c->depth.current().clearValue = 0.5;
  EXPECT_EQ(getInt(GL_DEPTH_CLEAR_VALUE), 1073741823);
  EXPECT_EQ(get64(GL_DEPTH_CLEAR_VALUE), 0);
  EXPECT_EQ(getBooleans(GL_DEPTH_CLEAR_VALUE), (Ints{1}));
}

// The depth range scales in the 32-bit form and truncates in the 64-bit form.
TEST_F(GetTest, DepthRangeScalesIn32BitsOnly) {
  GLint i[2] = {9, 9};
  gl::glGetIntegerv(GL_DEPTH_RANGE, i);
  EXPECT_EQ(i[0], 0);
  EXPECT_EQ(i[1], 2147483647);
  c->viewport.current().nearValue = 0.25;
  gl::glGetIntegerv(GL_DEPTH_RANGE, i);
  EXPECT_EQ(i[0], 536870911);
  GLint64 l[2] = {};
  gl::glGetInteger64v(GL_DEPTH_RANGE, l);
  EXPECT_EQ(l[0], 0);
  EXPECT_EQ(l[1], 1);
  GLdouble d[2] = {};
  gl::glGetDoublev(GL_DEPTH_RANGE, d);
  EXPECT_EQ(d[0], 0.25);
  EXPECT_EQ(getBooleans(GL_DEPTH_RANGE), (Ints{1, 1}));
}

// Matrices in the integer forms are transposed and truncated.
TEST_F(GetTest, MatricesAreTransposedAndTruncated) {
  for (uint32_t k = 0; k < 16; ++k) c->projection.current().m[k] = k + 0.75;
  GLint i[16] = {};
  GLint64 l[16] = {};
  gl::glGetIntegerv(GL_PROJECTION_MATRIX, i);
  gl::glGetInteger64v(GL_PROJECTION_MATRIX, l);
  for (int k = 0; k < 16; ++k) {
    EXPECT_EQ(i[k], 4 * (k % 4) + k / 4);
    EXPECT_EQ(l[k], 4 * (k % 4) + k / 4);
  }
  EXPECT_EQ(getBooleans(GL_PROJECTION_MATRIX).size(), 16u);
  EXPECT_EQ(getBooleans(GL_MODELVIEW_MATRIX), (Ints{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
}

// Each pname with several values gives its number of booleans.
TEST_F(GetTest, BooleansHaveTheirCounts) {
  c->viewport.current() = {.x = 0, .y = 5, .width = 640, .height = 0};
  EXPECT_EQ(getBooleans(GL_VIEWPORT), (Ints{0, 1, 1, 0}));
  EXPECT_EQ(getBooleans(GL_POLYGON_MODE), (Ints{1, 1}));
  EXPECT_EQ(getBooleans(GL_PROGRAM_BINARY_FORMATS), (Ints{}));
  EXPECT_EQ(getBooleans(GL_DEPTH_WRITEMASK), (Ints{1}));
  EXPECT_FALSE(asked());
}

// Of the answers by unit the texture matrix alone checks the unit against the limit.
TEST_F(GetTest, TextureMatrixAloneChecksTheUnit) {
  c->limits.maxTextureCoords = 8;
  c->textureMatrices[7]->current().m[3] = 5.0;
  c->activeTextureUnit = 7;
  GLfloat f[16] = {};
  gl::glGetFloatv(GL_TEXTURE_MATRIX, f);
  EXPECT_EQ(f[12], 5.0f);
  c->activeTextureUnit = 8;
  f[12] = 77.0f;
  gl::glGetFloatv(GL_TEXTURE_MATRIX, f);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  EXPECT_EQ(f[12], 77.0f);
  EXPECT_EQ(getBooleans(GL_TEXTURE_MATRIX), (Ints{}));
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  EXPECT_EQ(get64(GL_TEXTURE_MATRIX), -99);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  EXPECT_EQ(getDouble(GL_TEXTURE_MATRIX), -99);
  EXPECT_EQ(getInt(GL_TEXTURE_STACK_DEPTH), 1);  // has no such check
  EXPECT_FALSE(asked());
}

// --- forwarding ---

// Each call writes its command and asks for a reply of its length.
TEST_F(GetTest, PlainFormsAskUnderTheirNumbers) {
  GLboolean b[4] = {};
  GLint i[4] = {};
  GLfloat f[4] = {};
  GLdouble d[4] = {};
  GLint64 l[4] = {};
  const auto expectLast = [&](uint32_t opcode, uint32_t replySize) {
    EXPECT_EQ(host.last().opcode, opcode);
    EXPECT_EQ(host.last().words, (std::vector<uint32_t>{GL_COLOR_CLEAR_VALUE, 4}));
    EXPECT_EQ(host.submissions.back().replySize, replySize);
    EXPECT_EQ(host.submissions.back().reply2Size, 0u);
    EXPECT_EQ(host.submissions.back().presentMode, 0u);
    EXPECT_EQ(c->lastOpcode, static_cast<int32_t>(opcode));
  };
  host.answer<uint8_t>(GL_COLOR_CLEAR_VALUE, {1, 0, 1, 1});
  gl::glGetBooleanv(GL_COLOR_CLEAR_VALUE, b);
  expectLast(kGetBooleanv, 4);
  EXPECT_EQ(b[2], 1);
  host.answer<int32_t>(GL_COLOR_CLEAR_VALUE, {1, 2, 3, 4});
  gl::glGetIntegerv(GL_COLOR_CLEAR_VALUE, i);
  expectLast(kGetIntegerv, 16);
  EXPECT_EQ(i[3], 4);
  host.answer<float>(GL_COLOR_CLEAR_VALUE, {0.5f, 0, 0, 1});
  gl::glGetFloatv(GL_COLOR_CLEAR_VALUE, f);
  expectLast(kGetFloatv, 16);
  EXPECT_EQ(f[0], 0.5f);
  host.answer<double>(GL_COLOR_CLEAR_VALUE, {0.25, 0, 0, 1});
  gl::glGetDoublev(GL_COLOR_CLEAR_VALUE, d);
  expectLast(kGetDoublev, 32);
  EXPECT_EQ(d[0], 0.25);
  host.answer<int64_t>(GL_COLOR_CLEAR_VALUE, {1, 2, 3, int64_t{1} << 40});
  gl::glGetInteger64v(GL_COLOR_CLEAR_VALUE, l);
  expectLast(kGetInteger64v, 32);
  EXPECT_EQ(l[3], int64_t{1} << 40);
}

// A forwarded query has these bytes.
TEST_F(GetTest, ForwardedQueryHasItsBytes) {
  c->reserve(64);
  const uint8_t* const base = c->base;
  GLint value = 0;
  gl::glGetIntegerv(GL_MAX_TEXTURE_SIZE, &value);
  const uint8_t expected[] = {0x07, 0xC1, 0, 0, 0x33, 0x0D, 0, 0, 1, 0, 0, 0};
  EXPECT_EQ(std::memcmp(base, expected, sizeof expected), 0);
  EXPECT_EQ(c->cursor, c->base);
}

// An unknown name is refused, sends nothing and touches nothing.
TEST_F(GetTest, UnknownNameIsRefused) {
  EXPECT_EQ(getInt(0), -99);
  EXPECT_EQ(takeError(), GL_INVALID_ENUM);
  EXPECT_EQ(c->lastOpcode, kGetIntegerv);
  EXPECT_EQ(getFloat(0), -99);
  EXPECT_EQ(takeError(), GL_INVALID_ENUM);
  EXPECT_EQ(getBooleans(0), (Ints{}));
  EXPECT_EQ(takeError(), GL_INVALID_ENUM);
  GLint value = -99;
  gl::glGetIntegeri_v(0, 0, &value);
  EXPECT_EQ(takeError(), GL_INVALID_ENUM);
  EXPECT_EQ(value, -99);
  EXPECT_FALSE(asked());
  EXPECT_EQ(c->cursor, c->base);
}

// The list of shader binary formats is as long as the cache says; nothing, and no error, when that is 0.
TEST_F(GetTest, ShaderBinaryFormatsAreAsManyAsTheCacheSays) {
  GLint values[4] = {9, 9, 9, 9};
  c->limits.numShaderBinaryFormats = 0;
  gl::glGetIntegerv(GL_SHADER_BINARY_FORMATS, values);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(values[0], 9);
  c->limits.numShaderBinaryFormats = -1;
  gl::glGetIntegerv(GL_SHADER_BINARY_FORMATS, values);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_FALSE(asked());
  c->limits.numShaderBinaryFormats = 3;
  host.answer<int32_t>(GL_SHADER_BINARY_FORMATS, {5, 6, 7});
  gl::glGetIntegerv(GL_SHADER_BINARY_FORMATS, values);
  EXPECT_EQ(host.last().words, (std::vector<uint32_t>{GL_SHADER_BINARY_FORMATS, 3}));
  EXPECT_EQ(values[2], 7);
  EXPECT_EQ(values[3], 9);
}

// A failed flush reads as zero.
TEST_F(GetTest, FailedFlushReadsAsZero) {
  host.failing = true;
  EXPECT_EQ(getInt(GL_MAX_TEXTURE_SIZE), 0);
  EXPECT_EQ(gl::glIsEnabled(GL_DITHER), GL_FALSE);
  EXPECT_EQ(takeError(), 0u);
}

// A local answer leaves an open run open, a forwarded one closes it before its command.
TEST_F(GetTest, OnlyForwardedQueriesCloseARun) {
  gl::glBegin(GL_TRIANGLES);
  ASSERT_TRUE(c->runOpen);
  c->insideBegin = 0;  // the calls with a begin check are asked as an application may ask those without
  EXPECT_EQ(getInt(GL_SHADE_MODEL), GL_SMOOTH);
  EXPECT_TRUE(c->runOpen);
  GLint64 value = 0;
  gl::glGetInteger64v(GL_SHADE_MODEL, &value);
  EXPECT_EQ(gl::glIsEnabled(GL_BLEND), GL_FALSE);
  EXPECT_TRUE(c->runOpen);
  c->insideBegin = 1;
  gl::glGetInteger64v(GL_MAX_TEXTURE_SIZE, &value);
  EXPECT_FALSE(c->runOpen);
  ASSERT_EQ(host.submissions.size(), 1u);
  ASSERT_EQ(host.submissions[0].commands().size(), 2u);
  EXPECT_EQ(host.submissions[0].commands()[0].opcode, kRunBroken);
  EXPECT_EQ(host.submissions[0].commands()[1].opcode, kGetInteger64v);
}

// The calls with a begin check refuse inside glBegin, and those without do not.
TEST_F(GetTest, PlainFormsAreRefusedInsideBegin) {
  c->insideBegin = 1;
  EXPECT_EQ(getInt(GL_SHADE_MODEL), -99);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  EXPECT_EQ(c->lastOpcode, kGetIntegerv);
  EXPECT_EQ(getFloat(GL_SHADE_MODEL), -99);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  EXPECT_EQ(getDouble(GL_SHADE_MODEL), -99);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  EXPECT_EQ(getBooleans(GL_SHADE_MODEL), (Ints{}));
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  call<op::glEnable>(GLenum{GL_DEPTH_TEST});
  takeError();
  c->depth.current().testEnabled = 1;
  EXPECT_EQ(gl::glIsEnabled(GL_DEPTH_TEST), GL_FALSE);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  EXPECT_EQ(c->lastOpcode, kIsEnabled);
  EXPECT_EQ(get64(GL_SHADE_MODEL), GL_SMOOTH);
  GLint value = 0;
  gl::glGetIntegeri_v(GL_UNIFORM_BUFFER_BINDING, 0, &value);
  EXPECT_EQ(gl::glIsEnabledi(GL_TEXTURE_2D, 0), GL_FALSE);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_FALSE(asked());
}

// Without a context no call writes a value or asks the host.
TEST_F(GetTest, CallsDoNothingWithoutAContext) {
  makeCurrent(nullptr);
  EXPECT_EQ(getInt(GL_SHADE_MODEL), -99);
  EXPECT_EQ(get64(GL_MAX_TEXTURE_SIZE), -99);
  GLint value = -99;
  gl::glGetIntegeri_v(GL_VIEWPORT, 99, &value);
  EXPECT_EQ(value, -99);
  EXPECT_EQ(gl::glIsEnabled(GL_MULTISAMPLE), GL_FALSE);
  EXPECT_EQ(gl::glIsEnabledi(GL_TEXTURE_2D, 0), GL_FALSE);
  EXPECT_FALSE(asked());
}

// The colour bits are those of the pixel format; with a framebuffer object bound the host tells them.
TEST_F(GetTest, ColorBitsFollowThePixelFormat) {
  for (int32_t format = 1; format <= 14; ++format) {
    remake(450, 1, format);
    const PixelFormatRecord& row = pixelFormat(format);
    EXPECT_EQ(getInt(GL_RED_BITS), row.cRedBits);
    EXPECT_EQ(getInt(GL_GREEN_BITS), row.cGreenBits);
    EXPECT_EQ(getInt(GL_BLUE_BITS), row.cBlueBits);
    EXPECT_EQ(getInt(GL_ALPHA_BITS), row.cAlphaBits);
    EXPECT_EQ(getInt(GL_DOUBLEBUFFER), static_cast<GLint>(row.dwFlags & 1));
  }
  EXPECT_FALSE(asked());
  c->drawFramebuffer = 3;
  host.answer<int32_t>(GL_RED_BITS, {10});
  EXPECT_EQ(getInt(GL_RED_BITS), 10);
  EXPECT_EQ(host.submissions.size(), 1u);
}

// GL_DRAW_BUFFER and GL_READ_BUFFER always go to the host.
TEST_F(GetTest, DrawBufferIsTheHosts) {
  host.answer<int32_t>(GL_DRAW_BUFFER, {GL_BACK});
  EXPECT_EQ(getInt(GL_DRAW_BUFFER), GL_BACK);
  host.answer<int32_t>(GL_READ_BUFFER, {GL_FRONT});
  EXPECT_EQ(getInt(GL_READ_BUFFER), GL_FRONT);
  EXPECT_EQ(host.submissions.size(), 2u);
}

}  // namespace
}  // namespace qv::test
