// The indexed forms of the glGet family, and the enables by unit.
#include "harness.h"

namespace qv::test {
namespace {

class GetIndexedTest : public StateTest {
 protected:
  GLint getInt(GLenum pname) {
    GLint value = -99;
    gl::glGetIntegerv(pname, &value);
    return value;
  }
  bool asked() const { return !host.submissions.empty(); }
};

// Each indexed call writes its command and asks for a reply of its length.
TEST_F(GetIndexedTest, IndexedFormsAskUnderTheirNumbers) {
  GLboolean b[4] = {};
  GLint i[4] = {};
  GLfloat f[4] = {};
  GLdouble d[4] = {};
  GLint64 l[4] = {};
  const auto expectLast = [&](uint32_t opcode, uint32_t replySize) {
    EXPECT_EQ(host.last().opcode, opcode);
    EXPECT_EQ(host.last().words, (std::vector<uint32_t>{GL_SCISSOR_BOX, 2, 4}));
    EXPECT_EQ(host.submissions.back().replySize, replySize);
    EXPECT_EQ(c->lastOpcode, static_cast<int32_t>(opcode));
  };
  gl::glGetBooleani_v(GL_SCISSOR_BOX, 2, b);
  expectLast(kGetBooleani_v, 4);
  gl::glGetIntegeri_v(GL_SCISSOR_BOX, 2, i);
  expectLast(kGetIntegeri_v, 16);
  gl::glGetFloati_v(GL_SCISSOR_BOX, 2, f);
  expectLast(kGetFloati_v, 16);
  gl::glGetDoublei_v(GL_SCISSOR_BOX, 2, d);
  expectLast(kGetDoublei_v, 32);
  gl::glGetInteger64i_v(GL_SCISSOR_BOX, 2, l);
  expectLast(kGetInteger64i_v, 32);
  gl::glGetBooleanIndexedvEXT(GL_SCISSOR_BOX, 2, b);
  expectLast(kGetBooleanIndexedvEXT, 4);
  gl::glGetIntegerIndexedvEXT(GL_SCISSOR_BOX, 2, i);
  expectLast(kGetIntegerIndexedvEXT, 16);
}

// Viewport indices of 16 and more are refused before any look-up, but not by the EXT calls.
TEST_F(GetIndexedTest, ViewportIndicesFrom16OnAreRefused) {
  GLboolean b = 0;
  GLint i[4] = {};
  GLfloat f[4] = {};
  GLdouble d[4] = {};
  GLint64 l[4] = {};
  for (const GLenum pname : {GL_VIEWPORT, GL_SCISSOR_BOX, GL_DEPTH_RANGE}) {
    gl::glGetBooleani_v(pname, 16, &b);
    EXPECT_EQ(takeError(), GL_INVALID_VALUE);
    gl::glGetIntegeri_v(pname, 16, i);
    EXPECT_EQ(takeError(), GL_INVALID_VALUE);
    EXPECT_EQ(c->lastOpcode, kGetIntegeri_v);
    gl::glGetFloati_v(pname, 0xFFFFFFFF, f);
    EXPECT_EQ(takeError(), GL_INVALID_VALUE);
    gl::glGetDoublei_v(pname, 16, d);
    EXPECT_EQ(takeError(), GL_INVALID_VALUE);
    gl::glGetInteger64i_v(pname, 16, l);
    EXPECT_EQ(takeError(), GL_INVALID_VALUE);
  }
  EXPECT_FALSE(asked());
  gl::glGetIntegeri_v(GL_VIEWPORT, 15, i);
  gl::glGetIntegerIndexedvEXT(GL_VIEWPORT, 16, i);
  GLboolean four[4] = {};
  gl::glGetBooleanIndexedvEXT(GL_SCISSOR_BOX, 99, four);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(host.submissions.size(), 3u);
}

// Indexed buffer bindings are answered from the shadow, and indices beyond their arrays read as 0.
TEST_F(GetIndexedTest, IndexedBufferBindingsAreLocal) {
  c->buffers.indexedUniform[127] = 51;
  c->buffers.indexedShaderStorage[79] = 52;
  c->buffers.indexedAtomicCounter[14] = 53;
  c->buffers.indexedTransformFeedback[7] = 54;
  c->limits.maxTransformFeedbackSeparateAttribs = 8;
  const struct {
    GLenum pname;
    GLuint index;
    GLint expected;
  } rows[] = {{GL_UNIFORM_BUFFER_BINDING, 127, 51},        {GL_UNIFORM_BUFFER_BINDING, 128, 0},
              {GL_UNIFORM_BUFFER_BINDING, 200, 0},         {GL_SHADER_STORAGE_BUFFER_BINDING, 79, 52},
              {GL_SHADER_STORAGE_BUFFER_BINDING, 80, 0},   {GL_ATOMIC_COUNTER_BUFFER_BINDING, 14, 53},
              {GL_ATOMIC_COUNTER_BUFFER_BINDING, 15, 0},   {GL_TRANSFORM_FEEDBACK_BUFFER_BINDING, 7, 54},
              {GL_TRANSFORM_FEEDBACK_BUFFER_BINDING, 0, 0}};
  for (const auto& row : rows) {
    GLint i = -1;
    GLint64 l = -1;
    GLfloat f = -1;
    GLdouble d = -1;
    GLboolean b = 7;
    gl::glGetIntegeri_v(row.pname, row.index, &i);
    gl::glGetInteger64i_v(row.pname, row.index, &l);
    gl::glGetFloati_v(row.pname, row.index, &f);
    gl::glGetDoublei_v(row.pname, row.index, &d);
    gl::glGetBooleani_v(row.pname, row.index, &b);
    EXPECT_EQ(i, row.expected);
    EXPECT_EQ(l, row.expected);
    EXPECT_EQ(f, static_cast<float>(row.expected));
    EXPECT_EQ(d, row.expected);
    EXPECT_EQ(b, row.expected != 0);
  }
  EXPECT_EQ(takeError(), 0u);
  EXPECT_FALSE(asked());
}

// A bad index is told once and leaves the array alone, in every form.
TEST_F(GetIndexedTest, BadIndexLeavesTheArrayAlone) {
  c->limits.maxTransformFeedbackSeparateAttribs = 8;
  GLint i = -99;
  GLint64 l = -99;
  GLfloat f = -99;
  GLdouble d = -99;
  GLboolean b = 0xEE;
  for (const auto& [pname, index] : {std::pair<GLenum, GLuint>{GL_TRANSFORM_FEEDBACK_BUFFER_BINDING, 8},
                                     std::pair<GLenum, GLuint>{GL_VERTEX_BINDING_STRIDE, 16},
                                     std::pair<GLenum, GLuint>{GL_VERTEX_BINDING_OFFSET, 0xFFFFFFFF}}) {
    gl::glGetIntegeri_v(pname, index, &i);
    EXPECT_EQ(takeError(), GL_INVALID_VALUE);
    gl::glGetInteger64i_v(pname, index, &l);
    EXPECT_EQ(takeError(), GL_INVALID_VALUE);
    gl::glGetFloati_v(pname, index, &f);
    EXPECT_EQ(takeError(), GL_INVALID_VALUE);
    gl::glGetDoublei_v(pname, index, &d);
    EXPECT_EQ(takeError(), GL_INVALID_VALUE);
    gl::glGetBooleani_v(pname, index, &b);
    EXPECT_EQ(takeError(), GL_INVALID_VALUE);
  }
  EXPECT_EQ(i, -99);
  EXPECT_EQ(l, -99);
  EXPECT_EQ(f, -99);
  EXPECT_EQ(d, -99);
  EXPECT_EQ(b, 0xEE);
  EXPECT_FALSE(asked());
}

// Vertex bindings are answered by index; the offset keeps its 64 bits where the form has them.
TEST_F(GetIndexedTest, VertexBindingsAreAnsweredByIndex) {
  VertexBindingRecord& binding = c->defaultVertexArray.bindings[5];
  binding = {.offset = (uint64_t{1} << 33) + 7, .stride = 24, .divisor = 2, .buffer = 61};
  const auto get = [](GLenum pname) {
    GLint64 value = -1;
    gl::glGetInteger64i_v(pname, 5, &value);
    return value;
  };
  EXPECT_EQ(get(GL_VERTEX_BINDING_OFFSET), (int64_t{1} << 33) + 7);
  EXPECT_EQ(get(GL_VERTEX_BINDING_STRIDE), 24);
  EXPECT_EQ(get(GL_VERTEX_BINDING_DIVISOR), 2);
  EXPECT_EQ(get(GL_VERTEX_BINDING_BUFFER), 61);
  GLint low = 0;
  gl::glGetIntegeri_v(GL_VERTEX_BINDING_OFFSET, 5, &low);
  EXPECT_EQ(low, 7);
  GLint64 limit = 0;
  gl::glGetInteger64i_v(GL_MAX_COMPUTE_WORK_GROUP_COUNT, 99, &limit);
  EXPECT_EQ(limit, 65535);
  gl::glGetInteger64i_v(GL_MAX_COMPUTE_WORK_GROUP_SIZE, 99, &limit);
  EXPECT_EQ(limit, 1024);
  EXPECT_FALSE(asked());
}

// Below their versions the gated indexed names are unknown.
TEST_F(GetIndexedTest, IndexedNamesAreUnknownBelowTheirVersion) {
  const std::pair<GLenum, uint16_t> gates[] = {{GL_SHADER_STORAGE_BUFFER_BINDING, 430}, {GL_ATOMIC_COUNTER_BUFFER_BINDING, 420},
                                               {GL_VERTEX_BINDING_BUFFER, 430},         {GL_VERTEX_BINDING_OFFSET, 430},
                                               {GL_VERTEX_BINDING_STRIDE, 430},         {GL_VERTEX_BINDING_DIVISOR, 430},
                                               {GL_MAX_COMPUTE_WORK_GROUP_COUNT, 430},  {GL_MAX_COMPUTE_WORK_GROUP_SIZE, 430}};
  for (const auto& [pname, version] : gates) {
    for (const uint16_t each : {version, static_cast<uint16_t>(version - 10)}) {
      remake(each);
      GLint value = -99;
      gl::glGetIntegeri_v(pname, 0, &value);
      EXPECT_EQ(takeError(), each == version ? 0u : GL_INVALID_ENUM) << pname;
      EXPECT_EQ(value == -99, each != version) << pname;
    }
  }
  EXPECT_FALSE(asked());
}

// Texture bindings and enables are answered by unit; a unit beyond 15 goes on to the host.
TEST_F(GetIndexedTest, TexturesAreAnsweredByUnit) {
  const GLenum bindings[] = {GL_TEXTURE_BINDING_1D, GL_TEXTURE_BINDING_2D, GL_TEXTURE_BINDING_3D, GL_TEXTURE_BINDING_CUBE_MAP,
                             GL_TEXTURE_BINDING_RECTANGLE};
  const GLenum targets[] = {GL_TEXTURE_1D, GL_TEXTURE_2D, GL_TEXTURE_3D, GL_TEXTURE_CUBE_MAP, GL_TEXTURE_RECTANGLE};
  for (uint32_t target = 0; target < 5; ++target) {
    c->texture.current().units[9].binding(target) = 70 + target;
    c->texture.current().units[9].enabled[target] = 1;
    GLint value = 0;
    gl::glGetIntegeri_v(bindings[target], 9, &value);
    EXPECT_EQ(value, static_cast<GLint>(70 + target));
    GLfloat enabled = 0;
    gl::glGetFloati_v(targets[target], 9, &enabled);
    EXPECT_EQ(enabled, 1.0f);
    GLboolean byte = 0;
    gl::glGetBooleani_v(targets[target], 9, &byte);
    EXPECT_EQ(byte, 1);
    EXPECT_EQ(gl::glIsEnabledi(targets[target], 9), GL_TRUE);
    EXPECT_EQ(gl::glIsEnabledi(targets[target], 8), GL_FALSE);
    EXPECT_EQ(gl::glIsEnabledIndexedEXT(targets[target], 9), GL_TRUE);
    c->activeTextureUnit = 9;
    EXPECT_EQ(getInt(bindings[target]), static_cast<GLint>(70 + target));
    EXPECT_EQ(getInt(targets[target]), 1);
    c->activeTextureUnit = 0;
    EXPECT_EQ(getInt(bindings[target]), 0);
  }
  EXPECT_FALSE(asked());
  GLint value = 0;
  gl::glGetIntegeri_v(GL_TEXTURE_BINDING_2D, 16, &value);
  EXPECT_EQ(host.last().opcode, kGetIntegeri_v);
}

// An indexed capability that is no texture target is the host's, with a reply of one byte.
TEST_F(GetIndexedTest, IsEnabledIndexedAsksTheHost) {
  host.answer<uint8_t>(GL_BLEND, {1});
  EXPECT_EQ(gl::glIsEnabledi(GL_BLEND, 3), GL_TRUE);
  EXPECT_EQ(host.last().opcode, kIsEnabledi);
  EXPECT_EQ(host.last().words, (std::vector<uint32_t>{GL_BLEND, 3}));
  EXPECT_EQ(host.submissions.back().replySize, 1u);
  EXPECT_EQ(gl::glIsEnabledIndexedEXT(GL_BLEND, 3), GL_TRUE);
  EXPECT_EQ(host.last().opcode, kIsEnabledIndexedEXT);
  EXPECT_EQ(gl::glIsEnabledi(GL_TEXTURE_2D, 16), GL_FALSE);
  EXPECT_EQ(host.submissions.size(), 3u);
}

}  // namespace
}  // namespace qv::test
