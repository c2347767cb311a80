// Matrix tracking: the mode, each operation against values worked out by hand, and the stacks.
#include "driver/calls/all.h"
#include "driver/stream/entry_template.h"
#include "driver/state/matrix.h"

#include <cmath>

#include "harness.h"

namespace qv::test {
namespace {

class MatrixTest : public StateTest {
 protected:
  // Element (row, column) of the top of the current stack.
  double at(uint32_t row, uint32_t column) const { return c->currentMatrixStack->current().m[4 * row + column]; }
  void expectRows(std::initializer_list<double> expected) {
    uint32_t i = 0;
    for (const double value : expected) {
      EXPECT_DOUBLE_EQ(c->currentMatrixStack->current().m[i], value) << "element " << i;
      ++i;
    }
    EXPECT_EQ(i, 16u);
  }
  void expectIdentity() { expectRows({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}); }
};

constexpr GLfloat kCounting[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
constexpr GLdouble kCountingD[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

// Each valid mode selects its stack; the mode itself is stored in the transform group.
TEST_F(MatrixTest, ModeSelectsTheStack) {
  call<op::glMatrixMode>(GLenum{GL_PROJECTION});
  EXPECT_EQ(c->currentMatrixStack, &c->projection);
  EXPECT_EQ(c->transform.current().matrixMode, static_cast<uint32_t>(GL_PROJECTION));
  call<op::glMatrixMode>(GLenum{GL_TEXTURE});
  EXPECT_EQ(c->currentMatrixStack, c->textureMatrices[0]);
  call<op::glMatrixMode>(GLenum{GL_COLOR});
  EXPECT_EQ(c->currentMatrixStack, &c->color);
  call<op::glMatrixMode>(GLenum{GL_MODELVIEW});
  EXPECT_EQ(c->currentMatrixStack, &c->modelview);
}

// In texture mode the current stack follows the active unit.
TEST_F(MatrixTest, TextureModeFollowsTheUnit) {
  call<op::glMatrixMode>(GLenum{GL_TEXTURE});
  call<op::glActiveTexture>(GLenum{GL_TEXTURE3});
  EXPECT_EQ(c->currentMatrixStack, c->textureMatrices[3]);
}

// An invalid mode goes to the host and is stored; until a valid one is set no matrix call changes the shadow.
TEST_F(MatrixTest, InvalidModeStopsTheShadow) {
  call<op::glMatrixMode>(GLenum{0x1234});
  ASSERT_EQ(pending().size(), 1u);
  EXPECT_EQ(pending()[0].opcode, kMatrixMode);
  EXPECT_EQ(pending()[0].words[0], 0x1234u);
  EXPECT_EQ(c->transform.current().matrixMode, 0x1234u);
  EXPECT_EQ(c->currentMatrixStack, nullptr);
  call<op::glLoadIdentity>();
  call<op::glLoadMatrixf>(kCounting);
  call<op::glLoadMatrixd>(kCountingD);
  call<op::glLoadTransposeMatrixf>(kCounting);
  call<op::glLoadTransposeMatrixd>(kCountingD);
  call<op::glMultMatrixf>(kCounting);
  call<op::glMultMatrixd>(kCountingD);
  call<op::glMultTransposeMatrixf>(kCounting);
  call<op::glMultTransposeMatrixd>(kCountingD);
  call<op::glFrustum>(1.0, 2.0, 3.0, 4.0, 5.0, 6.0);
  call<op::glOrtho>(1.0, 2.0, 3.0, 4.0, 5.0, 6.0);
  call<op::glRotatef>(1.0f, 2.0f, 3.0f, 4.0f);
  call<op::glScalef>(1.0f, 2.0f, 3.0f);
  call<op::glTranslatef>(1.0f, 2.0f, 3.0f);
  call<op::glPushMatrix>();
  call<op::glPopMatrix>();
  call<op::glMatrixMode>(GLenum{GL_MODELVIEW});
  expectIdentity();
  EXPECT_EQ(c->modelview.top, 0u);
}

// Each matrix call writes its command with as many words as its argument has.
TEST_F(MatrixTest, CallsWriteTheirCommands) {
  call<op::glLoadIdentity>();
  call<op::glLoadMatrixf>(kCounting);
  call<op::glLoadMatrixd>(kCountingD);
  call<op::glLoadTransposeMatrixf>(kCounting);
  call<op::glLoadTransposeMatrixd>(kCountingD);
  call<op::glMultMatrixf>(kCounting);
  call<op::glMultMatrixd>(kCountingD);
  call<op::glMultTransposeMatrixf>(kCounting);
  call<op::glMultTransposeMatrixd>(kCountingD);
  call<op::glFrustum>(1.0, 2.0, 3.0, 4.0, 5.0, 6.0);
  call<op::glOrtho>(1.0, 2.0, 3.0, 4.0, 5.0, 6.0);
  call<op::glRotatef>(1.0f, 2.0f, 3.0f, 4.0f);
  call<op::glRotated>(1.0, 2.0, 3.0, 4.0);
  call<op::glScalef>(1.0f, 2.0f, 3.0f);
  call<op::glScaled>(1.0, 2.0, 3.0);
  call<op::glTranslatef>(1.0f, 2.0f, 3.0f);
  call<op::glTranslated>(1.0, 2.0, 3.0);
  call<op::glPopMatrix>();
  const std::pair<uint32_t, size_t> expected[] = {{kLoadIdentity, 0},
                                                  {kLoadMatrixf, 16},
                                                  {kLoadMatrixd, 32},
                                                  {kLoadTransposeMatrixf, 16},
                                                  {kLoadTransposeMatrixd, 32},
                                                  {kMultMatrixf, 16},
                                                  {kMultMatrixd, 32},
                                                  {kMultTransposeMatrixf, 16},
                                                  {kMultTransposeMatrixd, 32},
                                                  {kFrustum, 12},
                                                  {kOrtho, 12},
                                                  {kRotatef, 4},
                                                  {kRotated, 8},
                                                  {kScalef, 3},
                                                  {kScaled, 6},
                                                  {kTranslatef, 3},
                                                  {kTranslated, 6},
                                                  {kPopMatrix, 0}};
  const std::vector<Command> commands = pending();
  ASSERT_EQ(commands.size(), std::size(expected));
  for (size_t i = 0; i < commands.size(); ++i) {
    EXPECT_EQ(commands[i].opcode, expected[i].first) << i;
    EXPECT_EQ(commands[i].words.size(), expected[i].second) << i;
  }
}

// Loading transposes: GL's columns become our rows.
TEST_F(MatrixTest, LoadingTransposes) {
  const std::initializer_list<double> transposed = {1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16};
  const std::initializer_list<double> plain = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  call<op::glLoadMatrixf>(kCounting);
  expectRows(transposed);
  call<op::glLoadTransposeMatrixf>(kCounting);
  expectRows(plain);
  call<op::glLoadMatrixd>(kCountingD);
  expectRows(transposed);
  call<op::glLoadTransposeMatrixd>(kCountingD);
  expectRows(plain);
  call<op::glLoadIdentity>();
  expectIdentity();
}

// What was loaded comes back, through both transpositions, in all forms.
TEST_F(MatrixTest, LoadedMatrixComesBack) {
  call<op::glLoadMatrixf>(kCounting);
  GLfloat f[16] = {};
  GLdouble d[16] = {};
  GLint i[16] = {};
  gl::glGetFloatv(GL_MODELVIEW_MATRIX, f);
  gl::glGetDoublev(GL_MODELVIEW_MATRIX, d);
  gl::glGetIntegerv(GL_MODELVIEW_MATRIX, i);
  for (int k = 0; k < 16; ++k) {
    EXPECT_EQ(f[k], static_cast<float>(k + 1));
    EXPECT_EQ(d[k], k + 1.0);
    EXPECT_EQ(i[k], k + 1);
  }
  EXPECT_TRUE(host.submissions.empty());
}

// The product is top times argument, with the argument as GL's columns or as rows.
TEST_F(MatrixTest, ProductIsTopTimesArgument) {
  // T = [[1,2,0,0],[0,1,0,0],[0,0,1,0],[0,0,0,1]], A = [[3,0,0,0],[4,5,0,0],[0,0,1,6],[0,0,0,1]], both by rows.
  const GLdouble t[16] = {1, 2, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  const GLdouble a[16] = {3, 0, 0, 0, 4, 5, 0, 0, 0, 0, 1, 6, 0, 0, 0, 1};
  const GLfloat af[16] = {3, 0, 0, 0, 4, 5, 0, 0, 0, 0, 1, 6, 0, 0, 0, 1};
  const std::initializer_list<double> product = {11, 10, 0, 0, 4, 5, 0, 0, 0, 0, 1, 6, 0, 0, 0, 1};
  // T x transpose of A = T x [[3,4,0,0],[0,5,0,0],[0,0,1,0],[0,0,6,1]].
  const std::initializer_list<double> byTranspose = {3, 14, 0, 0, 0, 5, 0, 0, 0, 0, 1, 0, 0, 0, 6, 1};
  call<op::glLoadTransposeMatrixd>(t);
  call<op::glMultTransposeMatrixd>(a);
  expectRows(product);
  call<op::glLoadTransposeMatrixd>(t);
  call<op::glMultTransposeMatrixf>(af);
  expectRows(product);
  call<op::glLoadTransposeMatrixd>(t);
  call<op::glMultMatrixd>(a);
  expectRows(byTranspose);
  call<op::glLoadTransposeMatrixd>(t);
  call<op::glMultMatrixf>(af);
  expectRows(byTranspose);
}

// Every element of a product of matrices without zeros is right.
TEST_F(MatrixTest, FullProductIsRight) {
  call<op::glLoadTransposeMatrixf>(kCounting);
  call<op::glMultTransposeMatrixf>(kCounting);
  expectRows({90, 100, 110, 120, 202, 228, 254, 280, 314, 356, 398, 440, 426, 484, 542, 600});
}

// glFrustum and glOrtho multiply with the two projections.
TEST_F(MatrixTest, FrustumAndOrthoMultiply) {
  call<op::glFrustum>(-1.0, 3.0, -2.0, 6.0, 1.0, 5.0);
  expectRows({0.5, 0, 0.5, 0, 0, 0.25, 0.5, 0, 0, 0, -1.5, -2.5, 0, 0, -1, 0});
  call<op::glLoadIdentity>();
  call<op::glOrtho>(-1.0, 3.0, -2.0, 6.0, 1.0, 5.0);
  expectRows({0.5, 0, 0, -0.5, 0, 0.25, 0, -0.5, 0, 0, -0.5, -1.5, 0, 0, 0, 1});
}

// A singular frustum is not refused: the shadow takes the infinities, and the command goes out.
TEST_F(MatrixTest, SingularFrustumIsTaken) {
  call<op::glFrustum>(1.0, 1.0, -1.0, 1.0, 1.0, 2.0);
  EXPECT_FALSE(std::isfinite(at(0, 0)));
  EXPECT_EQ(c->recordedError, 0u);
  EXPECT_EQ(pending().size(), 1u);
}

// Rotations about each axis and about a slanted one give the values worked out by hand.
TEST_F(MatrixTest, RotationsAreRight) {
  const double s = std::sin(30 * 3.141592653589793 / 180.0), k = std::cos(30 * 3.141592653589793 / 180.0);
  call<op::glRotated>(30.0, 0.0, 0.0, 2.0);
  expectRows({k, -s, 0, 0, s, k, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
  call<op::glLoadIdentity>();
  call<op::glRotatef>(30.0f, 5.0f, 0.0f, 0.0f);
  expectRows({1, 0, 0, 0, 0, k, -s, 0, 0, s, k, 0, 0, 0, 0, 1});
  call<op::glLoadIdentity>();
  call<op::glRotated>(30.0, 0.0, -1.0, 0.0);
  expectRows({k, 0, -s, 0, 0, 1, 0, 0, s, 0, k, 0, 0, 0, 0, 1});
  call<op::glLoadIdentity>();
  call<op::glRotated>(120.0, 1.0, 1.0, 1.0);  // moves x to y, y to z, z to x
  const double expected[16] = {0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1};
  for (uint32_t i = 0; i < 16; ++i) EXPECT_NEAR(c->modelview.current().m[i], expected[i], 1e-15) << i;
}

// An axis of no length leaves the matrix as it is.
TEST_F(MatrixTest, RotationAboutNoAxisChangesNothing) {
  call<op::glLoadMatrixf>(kCounting);
  call<op::glRotatef>(90.0f, 0.0f, 0.0f, 0.0f);
  expectRows({1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16});
}

// Scaling and translation give the values worked out by hand.
TEST_F(MatrixTest, ScalingAndTranslationAreRight) {
  call<op::glScalef>(2.0f, 3.0f, 4.0f);
  call<op::glTranslated>(1.0, 10.0, 100.0);
  expectRows({2, 0, 0, 2, 0, 3, 0, 30, 0, 0, 4, 400, 0, 0, 0, 1});
  call<op::glLoadIdentity>();
  call<op::glTranslatef>(1.0f, 10.0f, 100.0f);
  call<op::glScaled>(2.0, 3.0, 4.0);
  expectRows({2, 0, 0, 1, 0, 3, 0, 10, 0, 0, 4, 100, 0, 0, 0, 1});
}

// Float arguments are widened before any arithmetic.
TEST_F(MatrixTest, ArithmeticIsDouble) {
  call<op::glScalef>(0.1f, 1.0f, 1.0f);
  call<op::glScalef>(0.1f, 1.0f, 1.0f);
  EXPECT_EQ(at(0, 0), static_cast<double>(0.1f) * static_cast<double>(0.1f));
}

// The first push asks the host for the limit once and the stack ends at the limit without an error.
TEST_F(MatrixTest, PushStopsAtTheLimit) {
  host.answer<int32_t>(0x0D36, {32});
  call<op::glTranslatef>(1.0f, 2.0f, 3.0f);
  for (int i = 0; i < 40; ++i) call<op::glPushMatrix>();
  EXPECT_EQ(c->modelview.top, 32u);
  EXPECT_EQ(c->modelview.capacity, 33u);
  EXPECT_EQ(c->recordedError, 0u);
  EXPECT_EQ(at(0, 3), 1.0);
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.last().opcode, kGetIntegerv);
  EXPECT_EQ(host.last().words, (std::vector<uint32_t>{0x0D36, 1}));
  for (int i = 0; i < 40; ++i) call<op::glPopMatrix>();
  EXPECT_EQ(c->modelview.top, 0u);
  EXPECT_EQ(c->recordedError, 0u);
}

// A push copies, a pop gives the old matrix back, and the depth is answered locally.
TEST_F(MatrixTest, PopBringsThePushedMatrixBack) {
  host.answer<int32_t>(0x0D36, {32});
  call<op::glPushMatrix>();
  call<op::glLoadMatrixf>(kCounting);
  GLint depth = 0;
  gl::glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &depth);
  EXPECT_EQ(depth, 2);
  call<op::glPopMatrix>();
  expectIdentity();
  gl::glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &depth);
  EXPECT_EQ(depth, 1);
}

// With the limit already in the cache the first push costs no round trip.
TEST_F(MatrixTest, PushWithAKnownLimitAsksNothing) {
  c->limits.maxProjectionStackDepth = 4;
  call<op::glMatrixMode>(GLenum{GL_PROJECTION});
  for (int i = 0; i < 9; ++i) call<op::glPushMatrix>();
  EXPECT_EQ(c->projection.top, 4u);
  EXPECT_TRUE(host.submissions.empty());
}

// Elements that the growth adds are identities.
TEST_F(MatrixTest, GrownElementsAreIdentities) {
  c->limits.maxModelviewStackDepth = 3;
  call<op::glLoadMatrixf>(kCounting);
  call<op::glPushMatrix>();
  for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(c->modelview.elements[2].m[i], i % 5 == 0 ? 1.0 : 0.0);
}

// Commands that are only being compiled leave the shadow alone; those executed as well do not.
TEST_F(MatrixTest, CompilingLeavesTheShadowAlone) {
  Entry<op::glNewList>::call(1, GL_COMPILE);
  call<op::glMatrixMode>(GLenum{GL_PROJECTION});
  call<op::glScalef>(2.0f, 2.0f, 2.0f);
  call<op::glPushMatrix>();
  Entry<op::glEndList>::call();
  EXPECT_EQ(c->currentMatrixStack, &c->modelview);
  expectIdentity();
  EXPECT_EQ(c->modelview.top, 0u);
  Entry<op::glNewList>::call(2, GL_COMPILE_AND_EXECUTE);
  call<op::glScalef>(2.0f, 2.0f, 2.0f);
  Entry<op::glEndList>::call();
  EXPECT_EQ(at(0, 0), 2.0);
}

// Between glBegin and glEnd all are refused but the transpose forms.
TEST_F(MatrixTest, OnlyTheTransposeFormsPassInsideBegin) {
  c->insideBegin = 1;
  call<op::glLoadMatrixf>(kCounting);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  EXPECT_EQ(c->lastOpcode, kLoadMatrixf);
  call<op::glMatrixMode>(GLenum{GL_PROJECTION});
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  expectIdentity();
  EXPECT_EQ(c->cursor, c->base);
  call<op::glLoadTransposeMatrixf>(kCounting);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(at(0, 1), 2.0);
}

}  // namespace
}  // namespace qv::test
