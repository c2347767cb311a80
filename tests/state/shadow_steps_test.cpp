// What each call leaves in the shadow, seen through every form of glGet: the answers that it changes, and no others. Then all
// names there are: those of tests/state/local_names.h are answered without the host, and no other is.
#include <functional>
#include <map>
#include <set>

#include "driver/diagnostics/debug_log.h"
#include "driver/objects/display_list_stream.h"
#include "driver/state/string_block.h"
#include "harness.h"
#include "tests/state/local_names.h"

namespace qv::test {
namespace {

// A name whose answer a call changes, with its answer in each form.
struct Change {
  GLenum pname;
  std::vector<int64_t> integers, longs;
  std::vector<double> reals;
  std::vector<int> booleans;
};

// The same in every form.
Change whole(GLenum pname, const std::vector<int64_t>& values) {
  Change change{pname, values, values, {}, {}};
  for (const int64_t value : values) {
    change.reals.push_back(static_cast<double>(value));
    change.booleans.push_back(value != 0);
  }
  return change;
}
Change whole(GLenum pname, int64_t value) { return whole(pname, std::vector<int64_t>{value}); }

struct Step {
  const char* call;
  std::function<void()> make;
  std::vector<Change> changes;
  bool whileCompiling = false;  // it also acts while a list is only compiled
};

constexpr int64_t kMost = 2147483647;
// Nothing in GL: the shadow takes it as it comes.
constexpr GLenum kNoEnum = 0x1234;

std::vector<Change> blend(int64_t source, int64_t destination, int64_t sourceAlpha, int64_t destinationAlpha) {
  return {
      whole(GL_BLEND_SRC, source),          whole(GL_BLEND_DST, destination),       whole(GL_BLEND_SRC_RGB, source),
      whole(GL_BLEND_DST_RGB, destination), whole(GL_BLEND_SRC_ALPHA, sourceAlpha), whole(GL_BLEND_DST_ALPHA, destinationAlpha)};
}

// Fog colours are 0.5, 0.25, -1 and 1 in all of them.
Change fogColor() { return {GL_FOG_COLOR, {1073741823, 536870911, -kMost, kMost}, {0, 0, -1, 1}, {0.5, 0.25, -1, 1}, {1}}; }

std::vector<Step> steps() {
  static const GLfloat floats[] = {0.5f, 0.25f, -1.0f, 1.0f}, plain[] = {7.75f}, mode[] = {9729.0f}, source[] = {33873.0f};
  static const GLint ints[] = {kMost, 0, -kMost - 1, kMost / 2}, seven[] = {7}, linear[] = {9729}, coordinate[] = {33873};
  const double kHalfStep = 1.0 / 4294967295.0;
  return {
      {"glCullFace", [] { call<op::glCullFace>(GLenum{GL_FRONT}); }, {whole(GL_CULL_FACE_MODE, GL_FRONT)}},
      {"glCullFace", [] { call<op::glCullFace>(kNoEnum); }, {whole(GL_CULL_FACE_MODE, kNoEnum)}},
      {"glFrontFace", [] { call<op::glFrontFace>(GLenum{GL_CW}); }, {whole(GL_FRONT_FACE, GL_CW)}},
      {"glShadeModel", [] { call<op::glShadeModel>(GLenum{GL_FLAT}); }, {whole(GL_SHADE_MODEL, GL_FLAT)}},
      {"glDepthFunc", [] { call<op::glDepthFunc>(GLenum{GL_ALWAYS}); }, {whole(GL_DEPTH_FUNC, GL_ALWAYS)}},
      {"glDepthMask", [] { call<op::glDepthMask>(GLboolean{0}); }, {whole(GL_DEPTH_WRITEMASK, 0)}},
      {"glClearDepth", [] { call<op::glClearDepth>(GLclampd{0.25}); }, {{GL_DEPTH_CLEAR_VALUE, {536870911}, {0}, {0.25}, {1}}}},
      {"glClearDepthf",
       [] { call<op::glClearDepthf>(GLfloat{-7}); },
       {{GL_DEPTH_CLEAR_VALUE, {-kMost - 1}, {-7}, {-7}, {1}}},
       true},
      {"glDepthRange",
       [] { call<op::glDepthRange>(GLclampd{0.5}, GLclampd{0.25}); },
       {{GL_DEPTH_RANGE, {1073741823, 536870911}, {0, 0}, {0.5, 0.25}, {1, 1}}}},
      {"glDepthRangef",
       [] { call<op::glDepthRangef>(GLfloat{1}, GLfloat{0}); },
       {{GL_DEPTH_RANGE, {kMost, 0}, {1, 0}, {1, 0}, {1, 0}}},
       true},
      {"glViewport",
       [] { call<op::glViewport>(GLint{-3}, GLint{4}, GLsizei{500}, GLsizei{0}); },
       {whole(GL_VIEWPORT, {-3, 4, 500, 0})}},
      {"glPolygonMode",
       [] { call<op::glPolygonMode>(GLenum{GL_FRONT}, GLenum{GL_LINE}); },
       {whole(GL_POLYGON_MODE, {GL_LINE, GL_FILL})},
       true},
      {"glPolygonMode",
       [] { call<op::glPolygonMode>(GLenum{GL_BACK}, GLenum{GL_POINT}); },
       {whole(GL_POLYGON_MODE, {GL_FILL, GL_POINT})},
       true},
      {"glPolygonMode",
       [] { call<op::glPolygonMode>(GLenum{GL_FRONT_AND_BACK}, GLenum{GL_LINE}); },
       {whole(GL_POLYGON_MODE, {GL_LINE, GL_LINE})},
       true},
      {"glPolygonMode", [] { call<op::glPolygonMode>(kNoEnum, GLenum{GL_LINE}); }, {}, true},
      {"glPolygonOffset",
       [] { call<op::glPolygonOffset>(GLfloat{2.75f}, GLfloat{-3.75f}); },
       {{GL_POLYGON_OFFSET_FACTOR, {2}, {2}, {2.75}, {1}}, {GL_POLYGON_OFFSET_UNITS, {-3}, {-3}, {-3.75}, {1}}},
       true},
      {"glBlendFunc", [] { call<op::glBlendFunc>(GLenum{5}, GLenum{6}); }, blend(5, 6, 5, 6), true},
      {"glBlendFuncSeparate", [] { call<op::glBlendFuncSeparate>(GLenum{5}, GLenum{6}, GLenum{7}, GLenum{8}); },
       blend(5, 6, 7, 8), true},

      {"glFogf", [] { call<op::glFogf>(GLenum{GL_FOG_DENSITY}, GLfloat{0.5f}); }, {{GL_FOG_DENSITY, {1}, {0}, {0.5}, {1}}}, true},
      {"glFogf", [] { call<op::glFogf>(GLenum{GL_FOG_START}, GLfloat{-1.5f}); }, {{GL_FOG_START, {-1}, {-1}, {-1.5}, {1}}}, true},
      {"glFogf", [] { call<op::glFogf>(GLenum{GL_FOG_END}, GLfloat{7.75f}); }, {{GL_FOG_END, {8}, {7}, {7.75}, {1}}}, true},
      {"glFogf", [] { call<op::glFogf>(GLenum{GL_FOG_INDEX}, GLfloat{7.75f}); }, {{GL_FOG_INDEX, {7}, {7}, {7.75}, {1}}}, true},
      {"glFogf", [] { call<op::glFogf>(GLenum{GL_FOG_MODE}, GLfloat{9729}); }, {whole(GL_FOG_MODE, GL_LINEAR)}, true},
      {"glFogf",
       [] { call<op::glFogf>(GLenum{GL_FOG_COORD_SRC}, GLfloat{33873}); },
       {whole(GL_FOG_COORD_SRC, GL_FOG_COORD)},
       true},
      {"glFogf", [] { call<op::glFogf>(GLenum{GL_FOG_COLOR}, GLfloat{1}); }, {}, true},
      {"glFogf", [] { call<op::glFogf>(kNoEnum, GLfloat{1}); }, {}, true},
      {"glFogi", [] { call<op::glFogi>(GLenum{GL_FOG_DENSITY}, GLint{3}); }, {whole(GL_FOG_DENSITY, 3)}, true},
      {"glFogi", [] { call<op::glFogi>(GLenum{GL_FOG_START}, GLint{-4}); }, {whole(GL_FOG_START, -4)}, true},
      {"glFogi", [] { call<op::glFogi>(GLenum{GL_FOG_END}, GLint{5}); }, {whole(GL_FOG_END, 5)}, true},
      {"glFogi", [] { call<op::glFogi>(GLenum{GL_FOG_INDEX}, GLint{6}); }, {whole(GL_FOG_INDEX, 6)}, true},
      {"glFogi", [] { call<op::glFogi>(GLenum{GL_FOG_MODE}, GLint{GL_EXP2}); }, {whole(GL_FOG_MODE, GL_EXP2)}, true},
      {"glFogi", [] { call<op::glFogi>(GLenum{GL_FOG_COORD_SRC}, GLint{33873}); }, {whole(GL_FOG_COORD_SRC, GL_FOG_COORD)}, true},
      {"glFogi", [] { call<op::glFogi>(GLenum{GL_FOG_COLOR}, GLint{1}); }, {}, true},
      {"glFogfv", [] { call<op::glFogfv>(GLenum{GL_FOG_COLOR}, &floats[0]); }, {fogColor()}, true},
      {"glFogfv", [] { call<op::glFogfv>(GLenum{GL_FOG_DENSITY}, &floats[0]); }, {{GL_FOG_DENSITY, {1}, {0}, {0.5}, {1}}}, true},
      {"glFogfv", [] { call<op::glFogfv>(GLenum{GL_FOG_START}, &floats[1]); }, {{GL_FOG_START, {0}, {0}, {0.25}, {0}}}, true},
      {"glFogfv", [] { call<op::glFogfv>(GLenum{GL_FOG_END}, &floats[2]); }, {whole(GL_FOG_END, -1)}, true},
      {"glFogfv", [] { call<op::glFogfv>(GLenum{GL_FOG_INDEX}, &plain[0]); }, {{GL_FOG_INDEX, {7}, {7}, {7.75}, {1}}}, true},
      {"glFogfv", [] { call<op::glFogfv>(GLenum{GL_FOG_MODE}, &mode[0]); }, {whole(GL_FOG_MODE, GL_LINEAR)}, true},
      {"glFogfv", [] { call<op::glFogfv>(GLenum{GL_FOG_COORD_SRC}, &source[0]); }, {whole(GL_FOG_COORD_SRC, GL_FOG_COORD)}, true},
      // Integer colours map to -1..1, from the lowest to the highest.
      {"glFogiv",
       [] { call<op::glFogiv>(GLenum{GL_FOG_COLOR}, &ints[0]); },
       {{GL_FOG_COLOR, {kMost, 0, -kMost, 1073741823}, {1, 0, -1, 0}, {1, kHalfStep, -1, 0.5}, {1}}},
       true},
      {"glFogiv", [] { call<op::glFogiv>(GLenum{GL_FOG_DENSITY}, &seven[0]); }, {whole(GL_FOG_DENSITY, 7)}, true},
      {"glFogiv", [] { call<op::glFogiv>(GLenum{GL_FOG_START}, &seven[0]); }, {whole(GL_FOG_START, 7)}, true},
      {"glFogiv", [] { call<op::glFogiv>(GLenum{GL_FOG_END}, &seven[0]); }, {whole(GL_FOG_END, 7)}, true},
      {"glFogiv", [] { call<op::glFogiv>(GLenum{GL_FOG_INDEX}, &seven[0]); }, {whole(GL_FOG_INDEX, 7)}, true},
      {"glFogiv", [] { call<op::glFogiv>(GLenum{GL_FOG_MODE}, &linear[0]); }, {whole(GL_FOG_MODE, GL_LINEAR)}, true},
      {"glFogiv",
       [] { call<op::glFogiv>(GLenum{GL_FOG_COORD_SRC}, &coordinate[0]); },
       {whole(GL_FOG_COORD_SRC, GL_FOG_COORD)},
       true},

      {"glBindFramebuffer",
       [] { call<op::glBindFramebuffer>(GLenum{GL_FRAMEBUFFER}, GLuint{9}); },
       {whole(GL_DRAW_FRAMEBUFFER_BINDING, 9), whole(GL_READ_FRAMEBUFFER_BINDING, 9)},
       true},
      {"glBindFramebuffer",
       [] { call<op::glBindFramebuffer>(GLenum{GL_DRAW_FRAMEBUFFER}, GLuint{9}); },
       {whole(GL_DRAW_FRAMEBUFFER_BINDING, 9)},
       true},
      {"glBindFramebuffer",
       [] { call<op::glBindFramebuffer>(GLenum{GL_READ_FRAMEBUFFER}, GLuint{9}); },
       {whole(GL_READ_FRAMEBUFFER_BINDING, 9)},
       true},
      {"glBindFramebuffer", [] { call<op::glBindFramebuffer>(kNoEnum, GLuint{9}); }, {}, true},
      {"glBindFramebufferEXT",
       [] { call<op::glBindFramebufferEXT>(GLenum{GL_FRAMEBUFFER}, GLuint{9}); },
       {whole(GL_DRAW_FRAMEBUFFER_BINDING, 9), whole(GL_READ_FRAMEBUFFER_BINDING, 9)},
       true},
      {"glBindFramebufferEXT",
       [] { call<op::glBindFramebufferEXT>(GLenum{GL_DRAW_FRAMEBUFFER}, GLuint{9}); },
       {whole(GL_DRAW_FRAMEBUFFER_BINDING, 9)},
       true},
      {"glBindFramebufferEXT",
       [] { call<op::glBindFramebufferEXT>(GLenum{GL_READ_FRAMEBUFFER}, GLuint{9}); },
       {whole(GL_READ_FRAMEBUFFER_BINDING, 9)},
       true},

      {"glActiveTexture",
       [] { call<op::glActiveTexture>(GLenum{GL_TEXTURE0 + 15}); },
       {whole(GL_ACTIVE_TEXTURE, GL_TEXTURE0 + 15)}},
      {"glActiveTexture", [] { call<op::glActiveTexture>(GLenum{GL_TEXTURE0 + 16}); }, {}},
      {"glActiveTexture", [] { call<op::glActiveTexture>(GLenum{GL_TEXTURE0 - 1}); }, {}},
      {"glClientActiveTexture",
       [] { call<op::glClientActiveTexture>(GLenum{GL_TEXTURE0 + 7}); },
       {whole(GL_CLIENT_ACTIVE_TEXTURE, GL_TEXTURE0 + 7)},
       true},
      {"glClientActiveTexture", [] { call<op::glClientActiveTexture>(GLenum{GL_TEXTURE0 + 8}); }, {}, true},
      {"glBindTexture",
       [] { call<op::glBindTexture>(GLenum{GL_TEXTURE_1D}, GLuint{5}); },
       {whole(GL_TEXTURE_BINDING_1D, 5)},
       true},
      {"glBindTexture",
       [] { call<op::glBindTexture>(GLenum{GL_TEXTURE_2D}, GLuint{5}); },
       {whole(GL_TEXTURE_BINDING_2D, 5)},
       true},
      {"glBindTexture",
       [] { call<op::glBindTexture>(GLenum{GL_TEXTURE_3D}, GLuint{5}); },
       {whole(GL_TEXTURE_BINDING_3D, 5)},
       true},
      {"glBindTexture",
       [] { call<op::glBindTexture>(GLenum{GL_TEXTURE_CUBE_MAP}, GLuint{5}); },
       {whole(GL_TEXTURE_BINDING_CUBE_MAP, 5)},
       true},
      {"glBindTexture",
       [] { call<op::glBindTexture>(GLenum{GL_TEXTURE_RECTANGLE}, GLuint{5}); },
       {whole(GL_TEXTURE_BINDING_RECTANGLE, 5)},
       true},
      {"glBindTexture", [] { call<op::glBindTexture>(GLenum{GL_TEXTURE_2D_ARRAY}, GLuint{5}); }, {}, true},

      {"glPrimitiveRestartIndex",
       [] { call<op::glPrimitiveRestartIndex>(GLuint{77}); },
       {whole(GL_PRIMITIVE_RESTART_INDEX, 77)},
       true},
      {"glPrimitiveRestartIndexNV", [] { gl::glPrimitiveRestartIndexNV(78); }, {whole(GL_PRIMITIVE_RESTART_INDEX_NV, 78)}, true},
      {"glListBase", [] { call<op::glListBase>(GLuint{79}); }, {whole(GL_LIST_BASE, 79)}},
      {"glMatrixMode", [] { call<op::glMatrixMode>(GLenum{GL_COLOR}); }, {whole(GL_MATRIX_MODE, GL_COLOR)}},
      {"glMatrixMode", [] { call<op::glMatrixMode>(kNoEnum); }, {whole(GL_MATRIX_MODE, kNoEnum)}},
      {"glPushMatrix", [] { call<op::glPushMatrix>(); }, {whole(GL_MODELVIEW_STACK_DEPTH, 2)}},
      {"glPopMatrix", [] { call<op::glPopMatrix>(); }, {}},
      {"glTranslated",
       [] { call<op::glTranslated>(2.0, 3.0, 4.0); },
       {{GL_MODELVIEW_MATRIX,
         {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 2, 3, 4, 1},
         {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 2, 3, 4, 1},
         {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 2, 3, 4, 1},
         {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1, 1, 1, 1}}}},

      {"glPixelStorei", [] { gl::glPixelStorei(GL_UNPACK_SWAP_BYTES, 5); }, {whole(GL_UNPACK_SWAP_BYTES, 1)}, true},
      {"glPixelStorei", [] { gl::glPixelStorei(GL_UNPACK_LSB_FIRST, 5); }, {whole(GL_UNPACK_LSB_FIRST, 1)}, true},
      {"glPixelStorei", [] { gl::glPixelStorei(GL_UNPACK_ROW_LENGTH, 5); }, {whole(GL_UNPACK_ROW_LENGTH, 5)}, true},
      {"glPixelStorei", [] { gl::glPixelStorei(GL_UNPACK_SKIP_ROWS, 5); }, {whole(GL_UNPACK_SKIP_ROWS, 5)}, true},
      {"glPixelStorei", [] { gl::glPixelStorei(GL_UNPACK_SKIP_PIXELS, 5); }, {whole(GL_UNPACK_SKIP_PIXELS, 5)}, true},
      {"glPixelStorei", [] { gl::glPixelStorei(GL_UNPACK_ALIGNMENT, 8); }, {whole(GL_UNPACK_ALIGNMENT, 8)}, true},
      {"glPixelStorei", [] { gl::glPixelStorei(GL_UNPACK_SKIP_IMAGES, 5); }, {whole(GL_UNPACK_SKIP_IMAGES, 5)}, true},
      {"glPixelStorei", [] { gl::glPixelStorei(GL_UNPACK_IMAGE_HEIGHT, 5); }, {whole(GL_UNPACK_IMAGE_HEIGHT, 5)}, true},
      {"glPixelStoref", [] { gl::glPixelStoref(GL_PACK_SWAP_BYTES, 1.0f); }, {whole(GL_PACK_SWAP_BYTES, 1)}, true},
      {"glPixelStoref", [] { gl::glPixelStoref(GL_PACK_LSB_FIRST, 1.0f); }, {whole(GL_PACK_LSB_FIRST, 1)}, true},
      {"glPixelStoref", [] { gl::glPixelStoref(GL_PACK_ROW_LENGTH, 4.5f); }, {whole(GL_PACK_ROW_LENGTH, 5)}, true},
      {"glPixelStoref", [] { gl::glPixelStoref(GL_PACK_SKIP_ROWS, 5.0f); }, {whole(GL_PACK_SKIP_ROWS, 5)}, true},
      {"glPixelStoref", [] { gl::glPixelStoref(GL_PACK_SKIP_PIXELS, 5.0f); }, {whole(GL_PACK_SKIP_PIXELS, 5)}, true},
      {"glPixelStoref", [] { gl::glPixelStoref(GL_PACK_ALIGNMENT, 1.0f); }, {whole(GL_PACK_ALIGNMENT, 1)}, true},
      {"glPixelStoref", [] { gl::glPixelStoref(GL_PACK_SKIP_IMAGES, 5.0f); }, {whole(GL_PACK_SKIP_IMAGES, 5)}, true},
      {"glPixelStoref", [] { gl::glPixelStoref(GL_PACK_IMAGE_HEIGHT, 5.0f); }, {whole(GL_PACK_IMAGE_HEIGHT, 5)}, true},
  };
}

class ShadowStepsTest : public StateTest {
 protected:
  ShadowStepsTest() { prepare(450); }

  // A new context that knows its limits, so that every name of the lists has its answer here.
  void prepare(uint16_t version) {
    remake(version);
    host = {};
    LimitCache& limits = c->limits;
    for (int32_t LimitCache::*const field :
         {&LimitCache::maxLights, &LimitCache::maxAttribStackDepth, &LimitCache::maxModelviewStackDepth,
          &LimitCache::maxProjectionStackDepth, &LimitCache::maxTextureStackDepth, &LimitCache::maxColorMatrixStackDepth,
          &LimitCache::maxTextureUnits, &LimitCache::maxTextureImageUnits, &LimitCache::maxTextureCoords,
          &LimitCache::maxColorAttachments, &LimitCache::maxViewports, &LimitCache::numShaderBinaryFormats,
          &LimitCache::maxTransformFeedbackSeparateAttribs, &LimitCache::maxUniformBufferBindings,
          &LimitCache::maxAtomicCounterBufferBindings, &LimitCache::maxShaderStorageBufferBindings,
          &LimitCache::maxVertexAttribBindings, &LimitCache::maxVertexAttribRelativeOffset}) {
      limits.*field = 8;
    }
    limits.maxTextureCoords = 16;
    known_ = limits;
    host.answerText(GL_EXTENSIONS, "GL_ARB_multitexture");
    gl::glGetString(GL_EXTENSIONS);
    forget();
  }
  // Drops what has been written and sent, and what answers of the host have left in the cache.
  void forget() {
    c->limits = known_;
    host.submissions.clear();
    c->cursor = c->base;
    c->remaining = c->capacity;
    c->recordedError = 0;
  }
  // Every local answer, as reals.
  std::map<GLenum, std::vector<double>> everyAnswer() {
    std::map<GLenum, std::vector<double>> answers;
    const auto read = [&](GLenum pname, uint32_t values) {
      double out[16] = {};
      gl::glGetDoublev(pname, out);
      answers[pname].assign(out, out + values);
    };
    for (const LocalName& name : kLocalNames) {
      // With a framebuffer object bound the host answers the bits of its buffers.
      const bool bits = name.pname >= GL_RED_BITS && name.pname <= GL_ALPHA_BITS;
      if (!bits || c->drawFramebuffer == 0) read(name.pname, name.values);
    }
    for (const GLenum capability : kLocalCapabilities) read(capability, 1);
    EXPECT_TRUE(host.submissions.empty());
    EXPECT_EQ(c->recordedError, 0u);
    return answers;
  }
  // The names whose answers `make` changes. Nothing is sent for them.
  std::set<GLenum> changedBy(const std::function<void()>& make) {
    const auto before = everyAnswer();
    make();
    forget();
    const auto after = everyAnswer();
    EXPECT_EQ(c->cursor, c->base);
    std::set<GLenum> changed;
    for (const auto& [pname, values] : after) {
      if (values != before.at(pname)) changed.insert(pname);
    }
    return changed;
  }
  void expectForms(const Change& change) {
    constexpr int kRoom = 20;
    GLint integers[kRoom];
    GLint64 longs[kRoom];
    GLfloat floats[kRoom];
    GLdouble doubles[kRoom];
    GLboolean booleans[kRoom];
    for (int i = 0; i < kRoom; ++i)
      integers[i] = 0x5A5A5A5A, longs[i] = 0x5A5A5A5A, floats[i] = 0.75f, doubles[i] = 0.75, booleans[i] = 0x5A;
    gl::glGetIntegerv(change.pname, integers);
    gl::glGetInteger64v(change.pname, longs);
    gl::glGetFloatv(change.pname, floats);
    gl::glGetDoublev(change.pname, doubles);
    gl::glGetBooleanv(change.pname, booleans);
    size_t i = 0;
    for (; i < change.integers.size(); ++i) EXPECT_EQ(integers[i], change.integers[i]) << i;
    EXPECT_EQ(integers[i], 0x5A5A5A5A);
    for (i = 0; i < change.longs.size(); ++i) EXPECT_EQ(longs[i], change.longs[i]) << i;
    EXPECT_EQ(longs[i], 0x5A5A5A5A);
    for (i = 0; i < change.reals.size(); ++i) {
      EXPECT_EQ(floats[i], static_cast<float>(change.reals[i])) << i;
      // What the shadow keeps as a float comes back as that float.
      EXPECT_NEAR(doubles[i], change.reals[i], 1e-9) << i;
    }
    EXPECT_EQ(floats[i], 0.75f);
    EXPECT_EQ(doubles[i], 0.75);
    for (i = 0; i < change.booleans.size(); ++i) EXPECT_EQ(booleans[i], change.booleans[i]) << i;
    EXPECT_EQ(booleans[i], 0x5A);
    EXPECT_TRUE(host.submissions.empty());
    EXPECT_EQ(c->cursor, c->base);
    EXPECT_EQ(c->recordedError, 0u);
  }

 private:
  LimitCache known_;
};

// Each call changes the answers of its own state, in all five forms, and no other answer; none of them needs the host.
TEST_F(ShadowStepsTest, CallsChangeTheirOwnAnswersAlone) {
  for (const Step& step : steps()) {
    SCOPED_TRACE(step.call);
    prepare(450);
    std::set<GLenum> expected;
    for (const Change& change : step.changes) expected.insert(change.pname);
    EXPECT_EQ(changedBy(step.make), expected);
    for (const Change& change : step.changes) {
      SCOPED_TRACE(change.pname);
      expectForms(change);
    }
  }
}

// While a list is only compiled, the calls whose effect a replay of the list repeats leave all answers alone; the others act at
// once (required oddity 2).
TEST_F(ShadowStepsTest, CompiledCallsActAtOnceOrNotAtAll) {
  for (const Step& step : steps()) {
    SCOPED_TRACE(step.call);
    prepare(450);
    call<op::glNewList>(GLuint{1}, GLenum{GL_COMPILE});
    std::set<GLenum> expected;
    for (const Change& change : step.changes) {
      if (step.whileCompiling) expected.insert(change.pname);
    }
    EXPECT_EQ(changedBy(step.make), expected);
    call<op::glEndList>();
  }
}

// glEnable, glDisable and their client forms change the answer of their capability, in all five forms and glIsEnabled, and no
// other.
TEST_F(ShadowStepsTest, CapabilitiesChangeTheirOwnAnswersAlone) {
  const std::set<GLenum> clientOnly = {GL_SECONDARY_COLOR_ARRAY, GL_FOG_COORD_ARRAY, GL_WEIGHT_ARRAY_ARB,
                                       GL_PRIMITIVE_RESTART_NV};
  for (const GLenum capability : kLocalCapabilities) {
    SCOPED_TRACE(capability);
    const bool client = clientOnly.contains(capability);
    prepare(450);
    for (const int value : {1, 0, 1}) {
      const bool was = gl::glIsEnabled(capability) != 0;
      const auto set = [&] {
        if (client) {
          value != 0 ? gl::glEnableClientState(capability) : gl::glDisableClientState(capability);
        } else {
          value != 0 ? call<op::glEnable>(capability) : call<op::glDisable>(capability);
        }
      };
      const bool changes = was != (value != 0);
      EXPECT_EQ(changedBy(set), changes ? std::set<GLenum>{capability} : std::set<GLenum>{}) << value;
      expectForms(whole(capability, value));
      EXPECT_EQ(gl::glIsEnabled(capability), value);
    }
    EXPECT_TRUE(host.submissions.empty());
  }
}

// With a log, glEnable and glDisable turn its output and its synchronous output on and off, each on its own.
TEST_F(ShadowStepsTest, DebugOutputIsTheLogs) {
  call<op::glEnable>(GLenum{GL_DEBUG_OUTPUT});
  const DebugState& log = *c->debugLog;
  EXPECT_EQ(log.enabled, 1);
  EXPECT_EQ(log.synchronous, 0);
  EXPECT_EQ(gl::glIsEnabled(GL_DEBUG_OUTPUT), 1);
  EXPECT_EQ(gl::glIsEnabled(GL_DEBUG_OUTPUT_SYNCHRONOUS), 0);
  call<op::glEnable>(GLenum{GL_DEBUG_OUTPUT_SYNCHRONOUS});
  call<op::glDisable>(GLenum{GL_DEBUG_OUTPUT});
  EXPECT_EQ(log.enabled, 0);
  EXPECT_EQ(log.synchronous, 1);
  EXPECT_EQ(gl::glIsEnabled(GL_DEBUG_OUTPUT), 0);
  EXPECT_EQ(gl::glIsEnabled(GL_DEBUG_OUTPUT_SYNCHRONOUS), 1);
}

// How a plain query of `pname` was answered.
enum class Road { kLocal, kHost, kRefused };

struct Sweep {
  uint16_t version;
  std::set<GLenum> local;
};

Sweep sweepOf(uint16_t version) {
  Sweep sweep{version, {}};
  for (const LocalName& name : kLocalNames) {
    if (version >= name.minVersion) sweep.local.insert(name.pname);
  }
  sweep.local.insert(std::begin(kLocalCapabilities), std::end(kLocalCapabilities));
  return sweep;
}

// Of all names there are, those of the lists are answered without the host, and no other is, in any of the plain forms.
TEST_F(ShadowStepsTest, NoOtherNameIsAnsweredHere) {
  for (const uint16_t version : {uint16_t{210}, uint16_t{410}, uint16_t{420}, uint16_t{430}}) {
    prepare(version);
    const Sweep sweep = sweepOf(version);
    const auto road = [&](auto&& query, GLenum pname) {
      forget();
      query(pname);
      // Two lists of formats ask for their length before they are asked for themselves.
      return !host.submissions.empty() ? Road::kHost : c->recordedError != 0 ? Road::kRefused : Road::kLocal;
    };
    std::set<GLenum> found[5];
    GLint integers[2048];
    GLint64 longs[2048];
    GLfloat floats[2048];
    GLdouble doubles[2048];
    GLboolean booleans[2048];
    for (GLenum pname = 0; pname < 65536; ++pname) {
      if (road([&](GLenum name) { gl::glGetIntegerv(name, integers); }, pname) == Road::kLocal) found[0].insert(pname);
      if (road([&](GLenum name) { gl::glGetInteger64v(name, longs); }, pname) == Road::kLocal) found[1].insert(pname);
      if (road([&](GLenum name) { gl::glGetFloatv(name, floats); }, pname) == Road::kLocal) found[2].insert(pname);
      if (road([&](GLenum name) { gl::glGetDoublev(name, doubles); }, pname) == Road::kLocal) found[3].insert(pname);
      if (road([&](GLenum name) { gl::glGetBooleanv(name, booleans); }, pname) == Road::kLocal) found[4].insert(pname);
    }
    for (const std::set<GLenum>& each : found) EXPECT_EQ(each, sweep.local) << version;
  }
}

// The limits among them are the host's to tell as long as they are not known; GL_NUM_EXTENSIONS too.
TEST_F(ShadowStepsTest, UnknownLimitsAreAskedFor) {
  const std::set<GLenum> asked = {GL_MAX_LIGHTS,
                                  GL_MAX_ATTRIB_STACK_DEPTH,
                                  GL_MAX_MODELVIEW_STACK_DEPTH,
                                  GL_MAX_PROJECTION_STACK_DEPTH,
                                  GL_MAX_TEXTURE_STACK_DEPTH,
                                  GL_MAX_COLOR_MATRIX_STACK_DEPTH,
                                  GL_MAX_VIEWPORTS,
                                  GL_MAX_COLOR_ATTACHMENTS,
                                  GL_MAX_TEXTURE_COORDS,
                                  GL_MAX_TEXTURE_IMAGE_UNITS,
                                  GL_MAX_TEXTURE_UNITS,
                                  GL_NUM_SHADER_BINARY_FORMATS,
                                  GL_MAX_TRANSFORM_FEEDBACK_SEPARATE_ATTRIBS,
                                  GL_MAX_UNIFORM_BUFFER_BINDINGS,
                                  GL_MAX_ATOMIC_COUNTER_BUFFER_BINDINGS,
                                  GL_MAX_SHADER_STORAGE_BUFFER_BINDINGS,
                                  GL_MAX_VERTEX_ATTRIB_BINDINGS,
                                  GL_MAX_VERTEX_ATTRIB_RELATIVE_OFFSET,
                                  GL_NUM_EXTENSIONS};
  std::set<GLenum> found;
  for (const LocalName& name : kLocalNames) {
    remake(430);
    new (&stringBlockFor(430)) StringBlock;
    c->activeTextureUnit = 0;
    host.submissions.clear();
    GLdouble values[16];
    gl::glGetDoublev(name.pname, values);
    if (!host.submissions.empty()) found.insert(name.pname);
  }
  EXPECT_EQ(found, asked);
}

// The same for the indexed calls, at index 0: their fifteen names and the five targets of texture units.
TEST_F(ShadowStepsTest, NoOtherIndexedNameIsAnsweredHere) {
  for (const uint16_t version : {uint16_t{410}, uint16_t{420}, uint16_t{430}}) {
    prepare(version);
    std::set<GLenum> local(std::begin(kUnitCapabilities), std::end(kUnitCapabilities)), found[7];
    for (const LocalName& name : kLocalIndexedNames) {
      if (version >= name.minVersion) local.insert(name.pname);
    }
    GLint integers[2048];
    GLint64 longs[2048];
    GLfloat floats[2048];
    GLdouble doubles[2048];
    GLboolean booleans[2048];
    for (GLenum pname = 0; pname < 65536; ++pname) {
      const auto query = [&](std::set<GLenum>& into, auto&& ask) {
        forget();
        ask();
        if (host.submissions.empty() && c->recordedError == 0) into.insert(pname);
      };
      query(found[0], [&] { gl::glGetIntegeri_v(pname, 0, integers); });
      query(found[1], [&] { gl::glGetInteger64i_v(pname, 0, longs); });
      query(found[2], [&] { gl::glGetFloati_v(pname, 0, floats); });
      query(found[3], [&] { gl::glGetDoublei_v(pname, 0, doubles); });
      query(found[4], [&] { gl::glGetBooleani_v(pname, 0, booleans); });
      query(found[5], [&] { gl::glGetIntegerIndexedvEXT(pname, 0, integers); });
      query(found[6], [&] { gl::glGetBooleanIndexedvEXT(pname, 0, booleans); });
    }
    for (const std::set<GLenum>& each : found) EXPECT_EQ(each, local) << version;
  }
}

// glIsEnabled answers the capabilities of the list without the host and asks for every other; the indexed forms answer the five
// targets.
TEST_F(ShadowStepsTest, NoOtherCapabilityIsAnsweredHere) {
  std::set<GLenum> found, indexed, indexedExt;
  for (GLenum capability = 0; capability < 65536; ++capability) {
    forget();
    gl::glIsEnabled(capability);
    if (host.submissions.empty()) found.insert(capability);
    forget();
    gl::glIsEnabledi(capability, 3);
    if (host.submissions.empty()) indexed.insert(capability);
    forget();
    gl::glIsEnabledIndexedEXT(capability, 3);
    if (host.submissions.empty()) indexedExt.insert(capability);
    EXPECT_EQ(c->recordedError, 0u);
  }
  EXPECT_EQ(found, std::set<GLenum>(std::begin(kLocalCapabilities), std::end(kLocalCapabilities)));
  const std::set<GLenum> units(std::begin(kUnitCapabilities), std::end(kUnitCapabilities));
  EXPECT_EQ(indexed, units);
  EXPECT_EQ(indexedExt, units);
}

}  // namespace
}  // namespace qv::test
