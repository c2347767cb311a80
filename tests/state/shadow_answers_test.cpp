// Every pname with a local answer: the value it gives in each form, that nothing is sent, and its version gate.
#include <functional>

#include "driver/calls/all.h"
#include "driver/stream/entry_template.h"
#include "driver/queries/limit_cache.h"
#include "driver/queries/shadow_answer.h"
#include "driver/objects/display_list_stream.h"
#include "harness.h"

namespace qv::test {
namespace {

class ShadowAnswersTest : public StateTest {
 protected:
  ShadowAnswersTest() {
    // A distinct value in every field that is read.
    GlContext& g = *c;
    g.list.current().listBase = 101;
    g.polygon.current() = {.cullMode = 102, .frontFace = 103, .frontMode = 104, .backMode = 105};
    g.lighting.current().shadeModel = 106;
    g.fog.current().mode = 107;
    g.fog.current().coordinateSource = 108;
    g.depth.current().writeMask = 1;
    g.depth.current().func = 109;
    g.transform.current().matrixMode = 110;
    ColorBufferState& blend = g.colorBuffer.current();
    blend.blendSrc = 111;
    blend.blendDst = 112;
    blend.blendSrcRgb = 113;
    blend.blendDstRgb = 114;
    blend.blendSrcAlpha = 115;
    blend.blendDstAlpha = 116;
    g.pixelStore.unpack = {2, 117, 118, 119, 120, 121, 1, 0};
    g.pixelStore.pack = {8, 122, 123, 124, 125, 126, 0, 1};
    g.feedbackBufferSize = 127;
    g.selectionBufferSize = 128;
    g.lockedFirst = 129;
    g.lockedCount = 130;
    g.restartIndex = 131;
    g.nvRestartIndex = 132;
    g.currentProgram = 134;
    g.boundPipeline = 135;
    g.readFramebuffer = 137;
    g.clientAttribDepth = 138;
    g.clientActiveUnit = 3;
    g.activeTextureUnit = 2;
    for (uint32_t target = 0; target < 5; ++target) g.texture.current().units[2].binding(target) = 140 + target;
    BufferBindings& b = g.buffers;
    b.array = 150;
    b.pixelPack = 151;
    b.pixelUnpack = 152;
    b.uniform = 153;
    b.texture = 154;
    b.transformFeedback = 155;
    b.uniformExt = 156;
    b.copyRead = 157;
    b.copyWrite = 158;
    b.drawIndirect = 159;
    b.shaderStorage = 160;
    b.dispatchIndirect = 161;
    b.atomicCounter = 162;
    VertexArrayObject& v = g.defaultVertexArray;
    v.elementArrayBuffer = 163;
    for (uint32_t row = 0; row < 16; ++row) {
      v.conventional[row].size = 200 + row;
      v.conventional[row].type = 220 + row;
      v.conventional[row].stride = 240 + row;
      v.bindings[row].buffer = 260 + row;
    }
    LimitCache& l = g.limits;
    l.maxLights = 301;
    l.maxAttribStackDepth = 302;
    l.maxModelviewStackDepth = 303;
    l.maxProjectionStackDepth = 304;
    l.maxTextureStackDepth = 305;
    l.maxColorMatrixStackDepth = 306;
    l.maxViewports = 307;
    l.maxColorAttachments = 308;
    l.maxTextureCoords = 11;
    l.maxTextureImageUnits = 12;
    l.maxTextureUnits = 13;
    l.numShaderBinaryFormats = 309;
    l.maxTransformFeedbackSeparateAttribs = 4;
    l.maxUniformBufferBindings = 84;
    l.maxAtomicCounterBufferBindings = 9;
    l.maxShaderStorageBufferBindings = 24;
    l.maxVertexAttribBindings = 310;
    l.maxVertexAttribRelativeOffset = 311;
    g.modelview.push(queryStackLimit);  // by the cached limits, with no round trip
    g.projection.push(queryStackLimit);
    g.projection.push(queryStackLimit);
    for (int i = 0; i < 3; ++i) g.color.push(queryStackLimit);
    for (int i = 0; i < 4; ++i) g.textureMatrices[2]->push(queryStackLimit);
    for (int i = 0; i < 5; ++i) g.attribMasks.push(queryStackLimit);
    EXPECT_TRUE(host.submissions.empty());
  }
};

struct Row {
  GLenum pname;
  int64_t value;
  uint16_t minVersion = 0;
};

// clang-format off
constexpr Row kRows[] = {
    // constants
    {GL_MAX_CLIENT_ATTRIB_STACK_DEPTH, 16}, {GL_MAX_VERTEX_ATTRIBS, 16}, {GL_NUM_PROGRAM_BINARY_FORMATS, 0},
    {GL_CONTEXT_FLAGS, 0}, {GL_RESET_NOTIFICATION_STRATEGY, 0x8261}, {GL_MAX_DEBUG_GROUP_STACK_DEPTH, 64, 430},
    {GL_MAX_VERTEX_ATTRIB_STRIDE, 2048, 430}, {GL_MAX_LABEL_LENGTH, 256, 430},
    {GL_MAX_COMPUTE_WORK_GROUP_INVOCATIONS, 1024, 430}, {GL_MAX_DEBUG_MESSAGE_LENGTH, 4096, 430},
    {GL_MAX_DEBUG_LOGGED_MESSAGES, 10, 430},
    // derived
    {GL_MAJOR_VERSION, 4}, {GL_MINOR_VERSION, 5}, {GL_CONTEXT_PROFILE_MASK, 2},
    // limits
    {GL_MAX_LIGHTS, 301}, {GL_MAX_ATTRIB_STACK_DEPTH, 302}, {GL_MAX_MODELVIEW_STACK_DEPTH, 303},
    {GL_MAX_PROJECTION_STACK_DEPTH, 304}, {GL_MAX_TEXTURE_STACK_DEPTH, 305}, {GL_MAX_COLOR_MATRIX_STACK_DEPTH, 306},
    {GL_MAX_VIEWPORTS, 307}, {GL_MAX_COLOR_ATTACHMENTS, 308}, {GL_MAX_TEXTURE_COORDS, 11}, {GL_MAX_TEXTURE_IMAGE_UNITS, 12},
    {GL_MAX_TEXTURE_UNITS, 12}, {GL_NUM_SHADER_BINARY_FORMATS, 309}, {GL_MAX_TRANSFORM_FEEDBACK_SEPARATE_ATTRIBS, 4},
    {GL_MAX_UNIFORM_BUFFER_BINDINGS, 84}, {GL_MAX_ATOMIC_COUNTER_BUFFER_BINDINGS, 9, 420},
    {GL_MAX_SHADER_STORAGE_BUFFER_BINDINGS, 24, 430}, {GL_MAX_VERTEX_ATTRIB_BINDINGS, 310, 430},
    {GL_MAX_VERTEX_ATTRIB_RELATIVE_OFFSET, 311, 430},
    // buffer bindings
    {GL_ARRAY_BUFFER_BINDING, 150}, {GL_ELEMENT_ARRAY_BUFFER_BINDING, 163}, {GL_PIXEL_PACK_BUFFER_BINDING, 151},
    {GL_PIXEL_UNPACK_BUFFER_BINDING, 152}, {GL_UNIFORM_BUFFER_BINDING, 153}, {GL_TEXTURE_BUFFER, 154},
    {GL_TRANSFORM_FEEDBACK_BUFFER_BINDING, 155}, {GL_UNIFORM_BUFFER_BINDING_EXT, 156}, {GL_COPY_READ_BUFFER, 157},
    {GL_COPY_WRITE_BUFFER, 158}, {GL_DRAW_INDIRECT_BUFFER, 159}, {GL_DRAW_INDIRECT_BUFFER_BINDING, 159},
    {GL_SHADER_STORAGE_BUFFER_BINDING, 160, 430}, {GL_DISPATCH_INDIRECT_BUFFER_BINDING, 161, 430},
    {GL_ATOMIC_COUNTER_BUFFER_BINDING, 162, 420},
    // client arrays, the texture coordinates of client unit 3 in row 11
    {GL_VERTEX_ARRAY_SIZE, 200}, {GL_VERTEX_ARRAY_TYPE, 220}, {GL_VERTEX_ARRAY_STRIDE, 240},
    {GL_VERTEX_ARRAY_BUFFER_BINDING, 260}, {GL_WEIGHT_ARRAY_SIZE_ARB, 201}, {GL_WEIGHT_ARRAY_TYPE_ARB, 221},
    {GL_WEIGHT_ARRAY_STRIDE_ARB, 241}, {GL_WEIGHT_ARRAY_BUFFER_BINDING, 261}, {GL_NORMAL_ARRAY_TYPE, 222},
    {GL_NORMAL_ARRAY_STRIDE, 242}, {GL_NORMAL_ARRAY_BUFFER_BINDING, 262}, {GL_COLOR_ARRAY_SIZE, 203},
    {GL_COLOR_ARRAY_TYPE, 223}, {GL_COLOR_ARRAY_STRIDE, 243}, {GL_COLOR_ARRAY_BUFFER_BINDING, 263},
    {GL_SECONDARY_COLOR_ARRAY_SIZE, 204}, {GL_SECONDARY_COLOR_ARRAY_TYPE, 224}, {GL_SECONDARY_COLOR_ARRAY_STRIDE, 244},
    {GL_SECONDARY_COLOR_ARRAY_BUFFER_BINDING, 264}, {GL_FOG_COORD_ARRAY_TYPE, 225}, {GL_FOG_COORD_ARRAY_STRIDE, 245},
    {GL_FOG_COORD_ARRAY_BUFFER_BINDING, 265}, {GL_INDEX_ARRAY_TYPE, 226}, {GL_INDEX_ARRAY_STRIDE, 246},
    {GL_INDEX_ARRAY_BUFFER_BINDING, 266}, {GL_EDGE_FLAG_ARRAY_STRIDE, 247}, {GL_EDGE_FLAG_ARRAY_BUFFER_BINDING, 267},
    {GL_TEXTURE_COORD_ARRAY_SIZE, 211}, {GL_TEXTURE_COORD_ARRAY_TYPE, 231}, {GL_TEXTURE_COORD_ARRAY_STRIDE, 251},
    {GL_TEXTURE_COORD_ARRAY_BUFFER_BINDING, 271},
    // attribute groups
    {GL_LIST_BASE, 101}, {GL_LIST_INDEX, 0}, {GL_CULL_FACE_MODE, 102}, {GL_FRONT_FACE, 103}, {GL_SHADE_MODEL, 106},
    {GL_FOG_MODE, 107}, {GL_FOG_COORD_SRC, 108}, {GL_DEPTH_WRITEMASK, 1}, {GL_DEPTH_FUNC, 109}, {GL_MATRIX_MODE, 110},
    {GL_BLEND_SRC, 111}, {GL_BLEND_DST, 112}, {GL_BLEND_SRC_RGB, 113}, {GL_BLEND_DST_RGB, 114}, {GL_BLEND_SRC_ALPHA, 115},
    {GL_BLEND_DST_ALPHA, 116}, {GL_MODELVIEW_STACK_DEPTH, 2}, {GL_PROJECTION_STACK_DEPTH, 3}, {GL_COLOR_MATRIX_STACK_DEPTH, 4},
    {GL_TEXTURE_STACK_DEPTH, 5}, {GL_ATTRIB_STACK_DEPTH, 6}, {GL_CLIENT_ATTRIB_STACK_DEPTH, 138},
    // pixel store
    {GL_UNPACK_ALIGNMENT, 2}, {GL_UNPACK_ROW_LENGTH, 117}, {GL_UNPACK_IMAGE_HEIGHT, 118}, {GL_UNPACK_SKIP_PIXELS, 119},
    {GL_UNPACK_SKIP_ROWS, 120}, {GL_UNPACK_SKIP_IMAGES, 121}, {GL_UNPACK_SWAP_BYTES, 1}, {GL_UNPACK_LSB_FIRST, 0},
    {GL_PACK_ALIGNMENT, 8}, {GL_PACK_ROW_LENGTH, 122}, {GL_PACK_IMAGE_HEIGHT, 123}, {GL_PACK_SKIP_PIXELS, 124},
    {GL_PACK_SKIP_ROWS, 125}, {GL_PACK_SKIP_IMAGES, 126}, {GL_PACK_SWAP_BYTES, 0}, {GL_PACK_LSB_FIRST, 1},
    // the rest
    {GL_FEEDBACK_BUFFER_SIZE, 127}, {GL_SELECTION_BUFFER_SIZE, 128}, {GL_ARRAY_ELEMENT_LOCK_FIRST_EXT, 129},
    {GL_ARRAY_ELEMENT_LOCK_COUNT_EXT, 130}, {GL_ACTIVE_TEXTURE, 0x84C2}, {GL_CLIENT_ACTIVE_TEXTURE, 0x84C3},
    {GL_TEXTURE_BINDING_1D, 140}, {GL_TEXTURE_BINDING_2D, 141}, {GL_TEXTURE_BINDING_3D, 142},
    {GL_TEXTURE_BINDING_CUBE_MAP, 143}, {GL_TEXTURE_BINDING_RECTANGLE, 144}, {GL_PRIMITIVE_RESTART_INDEX, 131},
    {GL_PRIMITIVE_RESTART_INDEX_NV, 132}, {GL_VERTEX_ARRAY_BINDING, 0}, {GL_CURRENT_PROGRAM, 134},
    {GL_PROGRAM_PIPELINE_BINDING, 135}, {GL_DRAW_FRAMEBUFFER_BINDING, 0}, {GL_READ_FRAMEBUFFER_BINDING, 137},
    {GL_DEBUG_NEXT_LOGGED_MESSAGE_LENGTH, 0, 430}, {GL_DEBUG_GROUP_STACK_DEPTH, 1, 430}, {GL_DEBUG_LOGGED_MESSAGES, 0, 430},
};
// clang-format on

// Each scalar answer has its value in all five forms, and no command is written.
TEST_F(ShadowAnswersTest, EveryScalarIsAnsweredInEveryForm) {
  for (const Row& row : kRows) {
    GLint i = -99;
    GLint64 l = -99;
    GLfloat f = -99;
    GLdouble d = -99;
    GLboolean b = 0xEE;
    gl::glGetIntegerv(row.pname, &i);
    gl::glGetInteger64v(row.pname, &l);
    gl::glGetFloatv(row.pname, &f);
    gl::glGetDoublev(row.pname, &d);
    gl::glGetBooleanv(row.pname, &b);
    EXPECT_EQ(i, row.value) << row.pname;
    EXPECT_EQ(l, row.value) << row.pname;
    EXPECT_EQ(f, static_cast<float>(row.value)) << row.pname;
    EXPECT_EQ(d, static_cast<double>(row.value)) << row.pname;
    EXPECT_EQ(b, row.value != 0) << row.pname;
  }
  EXPECT_EQ(c->recordedError, 0u);
  EXPECT_TRUE(host.submissions.empty());
  EXPECT_EQ(c->cursor, c->base);
}

// The rows here, those with several values, and the ones with tests of their own make up the whole.
TEST_F(ShadowAnswersTest, ListsMakeUpTheWhole) {
  // 19 of several values or their own conversion: polygon mode, viewport, depth range, fog colour, 4 matrices, 4 fog floats,
  // 2 offsets, depth clear value, binary formats, extension count, double buffer; then 4 colour bits.
  EXPECT_EQ(std::size(kRows) + 18 + 4, 159u);
}

// Below its version a gated name goes on to the forwarding path, where it is unknown or asked for.
TEST_F(ShadowAnswersTest, GatedNamesAreUnknownBelowTheirVersion) {
  for (const Row& row : kRows) {
    if (row.minVersion == 0) continue;
    const uint16_t below = row.minVersion == 430 ? 420 : 410;
    c->contextVersion = below;
    GLint value = -99;
    gl::glGetIntegerv(row.pname, &value);
    EXPECT_EQ(value, -99) << row.pname;
    EXPECT_EQ(takeError(), GL_INVALID_ENUM) << row.pname;
    c->contextVersion = row.minVersion;
    gl::glGetIntegerv(row.pname, &value);
    EXPECT_EQ(value, row.value) << row.pname;
    EXPECT_EQ(takeError(), 0u) << row.pname;
  }
  EXPECT_TRUE(host.submissions.empty());
}

// GL_MAX_DEBUG_MESSAGE_LENGTH in a context of 4.2 is an unknown name.
TEST_F(ShadowAnswersTest, DebugMessageLengthIsUnknownTo42) {
  remake(420);
  GLint value = -99;
  gl::glGetIntegerv(GL_MAX_DEBUG_MESSAGE_LENGTH, &value);
  EXPECT_EQ(takeError(), GL_INVALID_ENUM);
  EXPECT_EQ(value, -99);
}

// Answers with several values give all of them.
TEST_F(ShadowAnswersTest, SeveralValuesAreAllGiven) {
  GLint i[4] = {};
  gl::glGetIntegerv(GL_POLYGON_MODE, i);
  EXPECT_EQ(i[0], 104);
  EXPECT_EQ(i[1], 105);
  c->viewport.current() = {.x = -1, .y = 2, .width = 3, .height = 4};
  gl::glGetIntegerv(GL_VIEWPORT, i);
  EXPECT_EQ(i[0], -1);
  EXPECT_EQ(i[3], 4);
  GLfloat f[4] = {};
  gl::glGetFloatv(GL_VIEWPORT, f);
  EXPECT_EQ(f[0], -1.0f);
}

// Names and stored words are signed in every form.
TEST_F(ShadowAnswersTest, WordsAreSigned) {
  c->restartIndex = 0xFFFFFFFF;
  GLint64 l = 0;
  GLfloat f = 0;
  gl::glGetInteger64v(GL_PRIMITIVE_RESTART_INDEX, &l);
  gl::glGetFloatv(GL_PRIMITIVE_RESTART_INDEX, &f);
  EXPECT_EQ(l, -1);
  EXPECT_EQ(f, -1.0f);
}

// Each of the four matrices is answered from its own stack.
TEST_F(ShadowAnswersTest, MatricesComeFromTheirOwnStacks) {
  c->modelview.current().m[3] = 1.5;
  c->projection.current().m[3] = 2.5;
  c->color.current().m[3] = 3.5;
  c->textureMatrices[2]->current().m[3] = 4.5;
  const std::pair<GLenum, double> expected[] = {
      {GL_MODELVIEW_MATRIX, 1.5}, {GL_PROJECTION_MATRIX, 2.5}, {GL_COLOR_MATRIX, 3.5}, {GL_TEXTURE_MATRIX, 4.5}};
  for (const auto& [pname, value] : expected) {
    GLdouble d[16] = {};
    gl::glGetDoublev(pname, d);
    EXPECT_EQ(d[12], value);
    EXPECT_EQ(d[3], 0.0);
  }
}

// Contexts of 3.3 core and of 2.1 tell their version and profile.
TEST_F(ShadowAnswersTest, VersionAndProfileFollowTheContext) {
  const auto get = [](GLenum pname) {
    GLint value = -99;
    gl::glGetIntegerv(pname, &value);
    return value;
  };
  remake(330, 0);
  EXPECT_EQ(get(GL_MAJOR_VERSION), 3);
  EXPECT_EQ(get(GL_MINOR_VERSION), 3);
  EXPECT_EQ(get(GL_CONTEXT_PROFILE_MASK), 1);
  remake(210);
  EXPECT_EQ(get(GL_MAJOR_VERSION), 2);
  EXPECT_EQ(get(GL_MINOR_VERSION), 1);
}

// While a list is recorded its name is the list index.
TEST_F(ShadowAnswersTest, ListIndexIsTheRecordedName) {
  Entry<op::glNewList>::call(77, GL_COMPILE);
  GLint value = 0;
  gl::glGetIntegerv(GL_LIST_INDEX, &value);
  EXPECT_EQ(value, 77);
  Entry<op::glEndList>::call();
}

// A bound vertex array object answers for the arrays and the element buffer.
TEST_F(ShadowAnswersTest, BoundVertexArrayAnswersForItsArrays) {
  VertexArrayObject* const bound = new VertexArrayObject;
  bound->elementArrayBuffer = 500;
  bound->conventional[0].stride = 501;
  c->vertexArrayTable.set(4, static_cast<TrackedObject*>(bound));
  c->boundVertexArray = 4;
  GLint value = 0;
  gl::glGetIntegerv(GL_ELEMENT_ARRAY_BUFFER_BINDING, &value);
  EXPECT_EQ(value, 500);
  gl::glGetIntegerv(GL_VERTEX_ARRAY_STRIDE, &value);
  EXPECT_EQ(value, 501);
  gl::glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &value);
  EXPECT_EQ(value, 4);
  c->boundVertexArray = 5;  // no such record
  gl::glGetIntegerv(GL_ELEMENT_ARRAY_BUFFER_BINDING, &value);
  EXPECT_EQ(value, 163);
}

// The count of a local answer is 1 unless the name has more, for a capability and for a name that is not answered too.
TEST_F(ShadowAnswersTest, CountStartsAtOne) {
  for (const auto& [pname, expected] : {std::pair<GLenum, int32_t>{GL_LINE_SMOOTH, 1}, {GL_FRONT_FACE, 1}, {GL_STENCIL_FUNC, 1},
                                        {GL_VIEWPORT, 4}, {GL_FOG_COLOR, 1}, {GL_DEPTH_RANGE, 2}}) {
    int32_t count = 77;
    GLint values[16];
    EXPECT_EQ(answerFromShadow(c.get(), pname, values, &count), pname != GL_STENCIL_FUNC);
    EXPECT_EQ(count, expected) << pname;
  }
}

// Capabilities are answered by all forms of the get calls.
TEST_F(ShadowAnswersTest, CapabilitiesAreAnsweredByAllForms) {
  c->line.current().smoothEnabled = 1;
  GLint i = 0;
  GLint64 l = 0;
  GLfloat f = 0;
  GLdouble d = 0;
  GLboolean b = 0;
  gl::glGetIntegerv(GL_LINE_SMOOTH, &i);
  gl::glGetInteger64v(GL_LINE_SMOOTH, &l);
  gl::glGetFloatv(GL_LINE_SMOOTH, &f);
  gl::glGetDoublev(GL_LINE_SMOOTH, &d);
  gl::glGetBooleanv(GL_LINE_SMOOTH, &b);
  EXPECT_EQ(i, 1);
  EXPECT_EQ(l, 1);
  EXPECT_EQ(f, 1.0f);
  EXPECT_EQ(d, 1.0);
  EXPECT_EQ(b, 1);
  EXPECT_TRUE(host.submissions.empty());
}

}  // namespace
}  // namespace qv::test
