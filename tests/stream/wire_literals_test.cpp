// An independent list of rows with literal numbers and bytes: a test derived from the table cannot see a wrong table.
#include <map>
#include <string>

#include "driver/stream/write_command.h"
#include "tests/support/context_fixture.h"
#include "wire/entry_table.h"

namespace qv::test {
namespace {

class WireLiterals : public ContextTest {};

// Rows from every corner of the number space have the opcodes and sizes typed in here.
TEST(WireTable, RowsHaveTheirNumbers) {
  std::map<std::string, std::pair<int, int>> table;
  forEachRow([&](auto row) { table[decltype(row)::kName] = {decltype(row)::kOpcode, decltype(row)::kSize}; });
  const std::map<std::string, std::pair<int, int>> known = {{"glNewList", {0, 12}},
                                                            {"glEndList", {1, 4}},
                                                            {"glBegin", {7, 8}},
                                                            {"glColor3b", {9, 7}},
                                                            {"glColor3d", {11, 28}},
                                                            {"glColor4us", {39, 12}},
                                                            {"glEdgeFlag", {41, 5}},
                                                            {"glEnd", {43, 4}},
                                                            {"glIndexs", {50, 6}},
                                                            {"glRectdv", {87, 36}},
                                                            {"glRectsv", {93, 12}},
                                                            {"glTexCoord1s", {100, 6}},
                                                            {"glVertex3f", {136, 16}},
                                                            {"glVertex3fv", {137, 16}},
                                                            {"glVertex3s", {140, 10}},
                                                            {"glClipPlane", {150, 40}},
                                                            {"glFogf", {153, 12}},
                                                            {"glLineStipple", {167, 12}},
                                                            {"glPushName", {200, 8}},
                                                            {"glPopName", {201, 4}},
                                                            {"glClearDepth", {208, 12}},
                                                            {"glColorMask", {210, 8}},
                                                            {"glDepthMask", {211, 5}},
                                                            {"glDisable", {214, 8}},
                                                            {"glEnable", {215, 8}},
                                                            {"glFinish", {216, 4}},
                                                            {"glFlush", {217, 4}},
                                                            {"glMapGrid2d", {226, 44}},
                                                            {"glBlendFunc", {241, 12}},
                                                            {"glReadPixels", {256, 36}},
                                                            {"glGetIntegerv", {263, 12}},
                                                            {"glIsEnabled", {286, 8}},
                                                            {"glDepthRange", {288, 20}},
                                                            {"glFrustum", {289, 52}},
                                                            {"glLoadMatrixf", {291, 68}},
                                                            {"glLoadMatrixd", {292, 132}},
                                                            {"glIndexub", {332, 5}},
                                                            {"glActiveTexture", {374, 8}},
                                                            {"glMultiTexCoord3s", {398, 16}},
                                                            {"glSampleCoverage", {412, 12}},
                                                            {"glWindowPos3s", {463, 10}},
                                                            {"glStencilOpSeparate", {486, 20}},
                                                            {"glVertexAttrib3s", {556, 16}},
                                                            {"glVertexAttrib4Nub", {561, 12}},
                                                            {"glVertexAttribPointer", {576, 32}},
                                                            {"glVertexBlendARB", {640, 8}},
                                                            {"glClampColorARB", {786, 12}},
                                                            {"glLockArraysEXT", {906, 12}},
                                                            {"glCombinerOutputNV", {1061, 36}},
                                                            {"glDepthBoundsEXT", {1408, 20}},
                                                            {"glBlitFramebufferEXT", {1429, 44}},
                                                            {"glBindBufferRangeEXT", {1558, 24}},
                                                            {"glClientWaitSync", {1568, 20}},
                                                            {"glDrawElementsInstancedBaseVertex", {1574, kVariable}},
                                                            {"glColorMaski", {2048, 12}},
                                                            {"glBindBufferRange", {2056, 24}},
                                                            {"glTexImage2DMultisample", {2124, 28}},
                                                            {"glClearDepthf", {2223, 8}},
                                                            {"glVertexAttribL4d", {2326, 40}},
                                                            {"glBindImageTexture", {2339, 32}},
                                                            {"glBindVertexBuffer", {2372, 20}},
                                                            {"glVertexAttribFormat", {2373, 24}},
                                                            {"glCopyImageSubData", {2378, 64}},
                                                            {"glTexBufferRange", {2381, 24}},
                                                            {"glTexStorage3DMultisample", {2386, 32}},
                                                            {"glGenLists", {5, kNoCommand}},
                                                            {"glIsList", {287, kNoCommand}},
                                                            {"glGenTextures", {329, kNoCommand}},
                                                            {"glCallLists", {3, kVariable}}};
  for (const auto& [name, numbers] : known) EXPECT_EQ(table.at(name), numbers) << name;
}

// The components behind a pointer are as many as the name of the call says. The header's total does not tell: beside wider
// arguments a vector of bytes or shorts fills whole words, whether it has one component or four.
TEST(WireTable, VectorsCarryAllTheirComponents) {
  const std::map<std::string, uint32_t> unnumbered = {{"glEdgeFlagv", 1},
                                                      {"glIndexdv", 1},
                                                      {"glIndexfv", 1},
                                                      {"glIndexiv", 1},
                                                      {"glIndexsv", 1},
                                                      {"glIndexubv", 1},
                                                      {"glRectdv", 2},
                                                      {"glRectfv", 2},
                                                      {"glRectiv", 2},
                                                      {"glRectsv", 2},
                                                      {"glClipPlane", 4},
                                                      {"glLoadMatrixf", 16},
                                                      {"glLoadMatrixd", 16},
                                                      {"glMultMatrixf", 16},
                                                      {"glMultMatrixd", 16},
                                                      {"glFogCoordfv", 1},
                                                      {"glFogCoorddv", 1},
                                                      {"glColorTableParameterfv", 4},
                                                      {"glViewportIndexedfv", 4},
                                                      {"glScissorIndexedv", 4},
                                                      {"glColorTableParameteriv", 4},
                                                      {"glLoadTransposeMatrixf", 16},
                                                      {"glLoadTransposeMatrixd", 16},
                                                      {"glMultTransposeMatrixf", 16},
                                                      {"glMultTransposeMatrixd", 16}};
  uint32_t numbered = 0, found = 0;
  forEachRow([&](auto row) {
    using Row = decltype(row);
    constexpr uint32_t kComponents = FormTraits<typename Row::Form>::kVector;
    if constexpr (kComponents != 0) {
      const std::string name = Row::kName;
      const auto listed = unnumbered.find(name);
      if (listed != unnumbered.end()) {
        EXPECT_EQ(kComponents, listed->second) << name;
        ++found;
        return;
      }
      const size_t digit = name.find_first_of("1234");
      ASSERT_NE(digit, std::string::npos) << name;
      // The packed forms hold all their components in one word.
      const bool packed = name[digit - 1] == 'P' && name.compare(digit + 1, 3, "uiv") == 0;
      EXPECT_EQ(kComponents, packed ? 1u : static_cast<uint32_t>(name[digit] - '0')) << name;
      ++numbered;
    }
  });
  EXPECT_EQ(found, unnumbered.size());
  EXPECT_GE(numbered, 150u);
}

// Vectors of bytes and shorts behind a number of 32 bits go whole.
TEST_F(WireLiterals, SmallVectorsBesideANumberAreWhole) {
  const GLubyte bytes[4] = {1, 2, 3, 4};
  const GLshort shorts[4] = {5, 6, 7, 8};
  QV_CALL(glVertexAttrib4Nubv)(9, bytes);
  expectStream(words({12u << 12 | 562, 9, 0x04030201}));
  QV_CALL(glVertexAttrib4sv)(9, shorts);
  expectStream(words({16u << 12 | 572, 9, 0x00060005, 0x00080007}));
  QV_CALL(glVertexAttrib2sv)(9, shorts);
  expectStream(words({12u << 12 | 551, 9, 0x00060005}));
  QV_CALL(glVertexAttribI4ubv)(9, bytes);
  expectStream(words({12u << 12 | 2084, 9, 0x04030201}));
  QV_CALL(glMultiTexCoord2sv)(GL_TEXTURE1, shorts);
  expectStream(words({12u << 12 | 391, 0x84C1, 0x00060005}));
  QV_CALL(glMultiTexCoord4sv)(GL_TEXTURE1, shorts);
  expectStream(words({16u << 12 | 407, 0x84C1, 0x00060005, 0x00080007}));
}

// Plain commands stand on the wire with these bytes while no run is open.
TEST_F(WireLiterals, FixedCommandsHaveTheirBytes) {
  QV_CALL(glVertex3f)(1.0f, 2.0f, -0.5f);
  expectStream(words({0x10088, 0x3f800000, 0x40000000, 0xbf000000}));
  QV_CALL(glAccum)(GL_LOAD, 1.0f);
  expectStream(words({0xC0D5, 0x101, 0x3f800000}));
  QV_CALL(glClearDepth)(1.0);
  expectStream(words({0xC0D0, 0, 0x3ff00000}));
  QV_CALL(glLineStipple)(3, 0xABCD);
  std::vector<uint8_t> stipple = pending();
  stipple[10] = stipple[11] = 0;  // pad bytes have no defined value
  EXPECT_EQ(stipple, words({0xC0A7, 3, 0xABCD}));
  drop();
  QV_CALL(glBlendFunc)(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
  expectStream(words({0xC0F1, 0x302, 0x303}));
}

// A 3-byte payload has size 7 and occupies 8 bytes; a 1-byte payload has size 5 and occupies 8 too.
TEST_F(WireLiterals, SmallPayloadsArePadded) {
  QV_CALL(glColor3ub)(1, 2, 3);
  std::vector<uint8_t> bytes = pending();
  ASSERT_EQ(bytes.size(), 8u);
  bytes.pop_back();
  EXPECT_EQ(bytes, (std::vector<uint8_t>{0x13, 0x70, 0, 0, 1, 2, 3}));
  drop();
  QV_CALL(glDepthMask)(GL_TRUE);
  bytes = pending();
  ASSERT_EQ(bytes.size(), 8u);
  bytes.resize(5);
  EXPECT_EQ(bytes, (std::vector<uint8_t>{0xD3, 0x50, 0, 0, 1}));
}

// glLoadMatrixf carries its 64 bytes inline under header 0x44123.
TEST_F(WireLiterals, MatrixGoesInline) {
  float m[16];
  for (int i = 0; i < 16; ++i) m[i] = static_cast<float>(i);
  QV_CALL(glLoadMatrixf)(m);
  const std::vector<uint8_t> bytes = pending();
  ASSERT_EQ(bytes.size(), 68u);
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 12), words({0x44123, 0, 0x3f800000}));
}

// A value-counted array carries its element count, a two-way one does not.
TEST_F(WireLiterals, CountedArraysCarryTheirCountAndTwoWayArraysDoNot) {
  const float color[4] = {1, 0, 0, 1};
  QV_CALL(glLightfv)(GL_LIGHT1, GL_DIFFUSE, color);
  expectStream(words({32u << 12 | 160, 0x4001, 0x1201, 4, 0x3f800000, 0, 0, 0x3f800000}));
  QV_CALL(glFogfv)(GL_FOG_COLOR, color);
  expectStream(words({24u << 12 | 154, 0xB66, 0x3f800000, 0, 0, 0x3f800000}));
  QV_CALL(glFogfv)(GL_FOG_DENSITY, color);
  expectStream(words({12u << 12 | 154, 0xB62, 0x3f800000}));
  const double plane[4] = {0, 0, 0, 1};
  QV_CALL(glTexGendv)(GL_S, GL_OBJECT_PLANE, plane);
  expectStream(words({44u << 12 | 189, 0x2000, 0x2501, 0, 0, 0, 0, 0, 0, 0, 0x3ff00000}));
  const double mode = 9216.0;
  QV_CALL(glTexGendv)(GL_S, GL_TEXTURE_GEN_MODE, &mode);
  EXPECT_EQ(pending().size(), 20u);
}

// Names go behind their count and nothing else.
TEST_F(WireLiterals, NamesStandBehindTheirCountAlone) {
  const GLuint names[3] = {7, 8, 9};
  QV_CALL(glDeleteFramebuffers)(3, names);
  expectStream(words({20u << 12 | 1543, 3, 7, 8, 9}));
  QV_CALL(glDeleteFramebuffers)(-1, names);
  expectStream(words({8u << 12 | 1543, 0xFFFFFFFF}));
}

// A payload of 0xFFFFB bytes is the largest small command; 0xFFFFC bytes go in large form with total 0x100004.
TEST_F(WireLiterals, LargeFormBegins) {
  uint8_t* payload = beginCommand(context(), 3, 0xFFFFB);
  EXPECT_EQ(payload, context().base + 4);
  EXPECT_EQ(get<uint32_t>(context().base), 0xFFFFF003u);
  EXPECT_EQ(context().cursor - context().base, 0x100000);
  drop();
  payload = beginCommand(context(), 3, 0xFFFFC);
  EXPECT_EQ(payload, context().base + 8);
  EXPECT_EQ(get<uint32_t>(context().base), 3u);
  EXPECT_EQ(get<uint32_t>(context().base + 4), 0x100004u);
  EXPECT_EQ(context().cursor - context().base, 0x100004);
}

// Sizes do not wrap: a tail that fits no command of 32 bits, padded, is left out as a whole.
TEST(WireForms, WhatFitsNoCommandIsLeftOut) {
  EXPECT_EQ(payloadOf(12, 0xFFFFFFFC - 8 - 12), 0xFFFFFFF4u);
  EXPECT_EQ(payloadOf(12, 0xFFFFFFFC - 8 - 11), 12u);
  EXPECT_EQ(payloadOf(12, 0x100000000), 12u);
  EXPECT_EQ(payloadOf(12, ~uint64_t{0}), 12u);
  EXPECT_TRUE(needsLargeForm(0xFFFFFFF4u));
}

}  // namespace
}  // namespace qv::test
