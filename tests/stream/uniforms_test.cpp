// The setters of uniforms: what is checked, in which order, what is sent, and what is cut.
#include <cstring>

#include "tests/stream/program_fixture.h"

namespace qv::test {
namespace {

class Uniforms : public ProgramTest {
 protected:
  // The program 2 is linked and current.
  void use(const std::vector<Resource>& uniforms) {
    link(uniforms);
    QV_CALL(glUseProgram)(2);
    drop();
  }
  void expectWords(std::initializer_list<uint32_t> expected) {
    EXPECT_EQ(takeError(), 0u);
    expectStream(words(expected));
  }
  const GLfloat ones[64] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  const GLdouble wide[16] = {};
  const GLint integers[16] = {7, 8, 9, 10};
  const GLuint words_[16] = {7, 8, 9, 10};
};

constexpr uint32_t kOne = 0x3F800000;

// The location -1 is nothing at all: no error, no command, whatever the count and the program.
TEST_F(Uniforms, LocationMinusOneDoesNothing) {
  QV_CALL(glUniform1f)(-1, 1.0f);
  expectNothing();
  QV_CALL(glUniform1fv)(-1, -5, ones);
  expectNothing();
  QV_CALL(glUniformMatrix4fv)(-1, -5, GL_FALSE, ones);
  expectNothing();
  QV_CALL(glProgramUniform1f)(9, -1, 1.0f);
  expectNothing();
}

// A negative count comes before everything but the location, a missing program before the type.
TEST_F(Uniforms, ChecksHaveTheirOrder) {
  QV_CALL(glUniform1fv)(0, -5, ones);
  expectRefused(GL_INVALID_VALUE, kUniform1fv);
  QV_CALL(glUniformMatrix4fv)(0, -1, GL_FALSE, ones);
  expectRefused(GL_INVALID_VALUE, kUniformMatrix4fv);
  QV_CALL(glUniform1f)(0, 1.0f);
  expectRefused(GL_INVALID_OPERATION, kUniform1f);
  QV_CALL(glProgramUniform1f)(77, 0, 1.0f);
  expectRefused(GL_INVALID_OPERATION, kProgramUniform1f);
}

// A location that nobody has told is refused, and so is every location of a program that exposes nothing.
TEST_F(Uniforms, UnknownLocationsAreRefused) {
  use({{GL_FLOAT, 1, 0, 0, "f"}});
  QV_CALL(glUniform1f)(0, 1.0f);
  expectWords({0xC208, 0, kOne});
  for (const GLint location : {1, -2, 0x7FFFFFFF}) {
    QV_CALL(glUniform1f)(location, 1.0f);
    expectRefused(GL_INVALID_OPERATION, kUniform1f);
  }
  use({});
  QV_CALL(glUniform1f)(0, 1.0f);
  expectRefused(GL_INVALID_OPERATION, kUniform1f);
}

// glUniform1i sets a sampler, glUniform1f and glUniform1ui do not.
TEST_F(Uniforms, SamplersTakeIntegers) {
  use({{GL_SAMPLER_2D, 1, 3, 0, "s"}});
  QV_CALL(glUniform1i)(3, 5);
  expectWords({0xC20C, 3, 5});
  QV_CALL(glUniform1iv)(3, 1, integers);
  EXPECT_EQ(takeError(), 0u);
  drop();
  QV_CALL(glUniform1f)(3, 1.0f);
  expectRefused(GL_INVALID_OPERATION, kUniform1f);
  QV_CALL(glUniform1ui)(3, 1);
  expectRefused(GL_INVALID_OPERATION, kUniform1ui);
}

// Bools take floats, integers and unsigned ones of their width, and no doubles.
TEST_F(Uniforms, BoolsTakeAllButDoubles) {
  use({{GL_BOOL, 1, 0, 0, "b"}, {GL_BOOL_VEC4, 1, 1, 0, "b4"}, {GL_BOOL_VEC2, 1, 2, 0, "b2"}, {GL_BOOL_VEC3, 1, 3, 0, "b3"}});
  QV_CALL(glUniform1f)(0, 1.0f);
  QV_CALL(glUniform1i)(0, 1);
  QV_CALL(glUniform1ui)(0, 1);
  QV_CALL(glUniform1uiEXT)(0, 1);
  QV_CALL(glUniform4fv)(1, 1, ones);
  QV_CALL(glUniform4iv)(1, 1, integers);
  QV_CALL(glUniform4uivEXT)(1, 1, words_);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(parse(pending()).size(), 7u);
  QV_CALL(glUniform2f)(2, 1, 1);
  QV_CALL(glUniform2i)(2, 1, 1);
  QV_CALL(glUniform2ui)(2, 1, 1);
  QV_CALL(glUniform3f)(3, 1, 1, 1);
  QV_CALL(glUniform3i)(3, 1, 1, 1);
  QV_CALL(glUniform3ui)(3, 1, 1, 1);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(parse(pending()).size(), 13u);
  drop();
  QV_CALL(glUniform2d)(2, 1, 1);
  expectRefused(GL_INVALID_OPERATION, 2202);
  QV_CALL(glUniform3f)(2, 1, 1, 1);
  expectRefused(GL_INVALID_OPERATION, 522);
  QV_CALL(glUniform1d)(0, 1.0);
  expectRefused(GL_INVALID_OPERATION, kUniform1d);
  QV_CALL(glUniform4f)(0, 1, 1, 1, 1);
  expectRefused(GL_INVALID_OPERATION, kUniform4f);
}

// Values that exceed an array are dropped, as GL wants it; other uniforms do not take them.
TEST_F(Uniforms, ArraysAreCut) {
  use({{GL_FLOAT_VEC4, 4, 0, 1, "v"}, {GL_FLOAT, 1, 9, 0, "f"}});
  QV_CALL(glUniform4fv)(0, 10, ones);
  std::vector<uint8_t> expected = words({76u << 12 | 531, 0, 4});
  expected += floats({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1});
  expectStream(expected);
  QV_CALL(glUniform4fv)(2, 10, ones);
  expected = words({0x2C213, 2, 2});
  expected += floats({1, 1, 1, 1, 1, 1, 1, 1});
  expectStream(expected);
  // The product of size and count does not wrap.
  QV_CALL(glUniform4fv)(0, 0x10000001, ones);
  ASSERT_EQ(parse(pending()).size(), 1u);
  EXPECT_EQ(parse(pending())[0].words[1], 4u);
  drop();
  QV_CALL(glUniform1fv)(9, 2, ones);
  expectRefused(GL_INVALID_OPERATION, kUniform1fv);
  QV_CALL(glUniform1fv)(9, 1, ones);
  expectWords({0x10210, 9, 1, kOne});
  QV_CALL(glUniform1fv)(9, 0, ones);
  expectNothing();
  QV_CALL(glUniform4fv)(0, 0, ones);
  expectNothing();
}

// A scalar call on an array sets one element, at every place of it.
TEST_F(Uniforms, ElementsOfArraysAreSet) {
  use({{GL_FLOAT, 3, 5, 1, "a"}});
  for (const GLint location : {5, 6, 7}) {
    QV_CALL(glUniform1f)(location, 1.0f);
    expectWords({0xC208, static_cast<uint32_t>(location), kOne});
  }
  QV_CALL(glUniform1f)(8, 1.0f);
  expectRefused(GL_INVALID_OPERATION, kUniform1f);
}

// Matrices fit their own type alone; the transpose flag goes as a word.
TEST_F(Uniforms, MatricesHaveTheirWords) {
  use({{GL_FLOAT_MAT4, 1, 0, 0, "m"},
       {GL_FLOAT_MAT3, 1, 1, 0, "n"},
       {GL_FLOAT_MAT2x3, 2, 2, 1, "r"},
       {GL_DOUBLE_MAT4, 1, 8, 0, "d"}});
  QV_CALL(glUniformMatrix4fv)(0, 1, GL_TRUE, ones);
  std::vector<uint8_t> expected = words({0x5021A, 0, 1, 1});
  expected += floats({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1});
  expectStream(expected);
  QV_CALL(glUniformMatrix4fv)(1, 1, GL_FALSE, ones);
  expectRefused(GL_INVALID_OPERATION, kUniformMatrix4fv);
  QV_CALL(glUniformMatrix2x3fv)(2, 5, GL_FALSE, ones);
  ASSERT_EQ(pending().size(), 16u + 48);
  EXPECT_EQ(parse(pending())[0].words[1], 2u);
  EXPECT_EQ(parse(pending())[0].words[2], 0u);
  drop();
  QV_CALL(glUniformMatrix3x2fv)(2, 1, GL_FALSE, ones);
  EXPECT_EQ(takeError(), static_cast<GLenum>(GL_INVALID_OPERATION));
  QV_CALL(glUniformMatrix4dv)(8, 1, GL_TRUE, wide);
  EXPECT_EQ(pending().size(), 16u + 128);
  drop();
  QV_CALL(glProgramUniformMatrix4fv)(2, 0, 1, GL_FALSE, ones);
  EXPECT_EQ(pending().size(), 20u + 64);
  EXPECT_EQ(parse(pending())[0].words[0], 2u);
}

// The transpose flag writes its whole word, whatever stood in the buffer before.
TEST_F(Uniforms, TransposeWritesItsWholeWord) {
  use({{GL_FLOAT_MAT2, 1, 0, 0, "m"}});
  std::memset(context().base, 0xEE, 64);
  QV_CALL(glUniformMatrix2fv)(0, 1, GL_FALSE, ones);
  EXPECT_EQ(parse(pending())[0].words[2], 0u);
}

// Without a current program the active program of the bound pipeline is meant.
TEST_F(Uniforms, PipelinesNameTheirActiveProgram) {
  link({{GL_FLOAT, 1, 4, 0, "f"}});
  QV_CALL(glBindProgramPipeline)(6);
  drop();
  QV_CALL(glUniform1f)(4, 1.0f);
  expectRefused(GL_INVALID_OPERATION, kUniform1f);
  QV_CALL(glActiveShaderProgram)(6, 2);
  drop();
  QV_CALL(glUniform1f)(4, 1.0f);
  expectWords({0xC208, 4, kOne});
  // A current program comes first.
  QV_CALL(glUseProgram)(3);
  drop();
  QV_CALL(glUniform1f)(4, 1.0f);
  expectRefused(GL_INVALID_OPERATION, kUniform1f);
}

// A named program is checked without being current; the name 0 means the current one and goes as 0.
TEST_F(Uniforms, NamedProgramsAreChecked) {
  link({{GL_FLOAT, 1, 4, 0, "f"}});
  QV_CALL(glProgramUniform1f)(2, 4, 1.0f);
  expectWords({0x108E1, 2, 4, kOne});
  QV_CALL(glProgramUniform1f)(0, 4, 1.0f);
  expectRefused(GL_INVALID_OPERATION, kProgramUniform1f);
  QV_CALL(glUseProgram)(2);
  drop();
  QV_CALL(glProgramUniform1f)(0, 4, 1.0f);
  expectWords({0x108E1, 0, 4, kOne});
  QV_CALL(glProgramUniform4fv)(2, 4, 1, ones);
  expectRefused(GL_INVALID_OPERATION, kProgramUniform4fv);
}

// Doubles take eight bytes, behind a location of four.
TEST_F(Uniforms, DoublesTakeTwoWords) {
  use({{GL_DOUBLE, 1, 1, 0, "d"}});
  QV_CALL(glUniform1d)(1, 1.0);
  expectWords({16u << 12 | 2201, 1, 0, 0x3FF00000});
}

// While a list is compiled setters are checked and cut as ever, by the program that is current then; refusals make no error.
TEST_F(Uniforms, SettersAreCheckedWhileAListIsCompiled) {
  use({{GL_FLOAT, 2, 1, 1, "f"}});
  QV_CALL(glNewList)(1, GL_COMPILE);
  drop();
  QV_CALL(glUniform1fv)(1, 3, ones);
  ASSERT_EQ(parse(pending()).size(), 1u);
  EXPECT_EQ(parse(pending())[0].words[1], 2u);
  drop();
  QV_CALL(glUniform1f)(9, 1.0f);
  QV_CALL(glUniform1i)(1, 1);
  expectNothing();
  QV_CALL(glEndList)();
}

// A setter breaks an open run and is sent.
TEST_F(Uniforms, SettersBreakARun) {
  use({{GL_FLOAT, 1, 1, 0, "f"}});
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glUniform1f)(1, 1.0f);
  expectStream(Stream().large(kRunBroken, words({0})).add(kUniform1f, 1, 1.0f));
  QV_CALL(glEnd)();
}

// From a total of 0x100000 on the values go in the large form.
TEST_F(Uniforms, LongArraysTakeTheLargeForm) {
  use({{GL_FLOAT_VEC4, 100000, 0, 1, "v"}});
  const std::vector<GLfloat> many(400000);
  QV_CALL(glUniform4fv)(0, 65535, many.data());  // 12 + 0xFFFF0
  EXPECT_EQ(parse(pending())[0].words[1], 65535u);
  const std::vector<uint8_t> smallForm = pending();
  EXPECT_EQ(std::vector<uint8_t>(smallForm.begin(), smallForm.begin() + 4), words({0xFFFFCu << 12 | 531}));
  drop();
  QV_CALL(glUniform4fv)(0, 65536, many.data());
  const std::vector<uint8_t> largeForm = pending();
  EXPECT_EQ(std::vector<uint8_t>(largeForm.begin(), largeForm.begin() + 8), words({531, 0x100010}));
}

// Each setter writes its own number, location and values: the whole family, a row each.
TEST_F(Uniforms, EverySetterIsSent) {
  use({{GL_FLOAT, 1, 1, 0, "f1"},
       {GL_FLOAT_VEC2, 1, 2, 0, "f2"},
       {GL_FLOAT_VEC3, 1, 3, 0, "f3"},
       {GL_FLOAT_VEC4, 1, 4, 0, "f4"},
       {GL_INT, 1, 11, 0, "i1"},
       {GL_INT_VEC2, 1, 12, 0, "i2"},
       {GL_INT_VEC3, 1, 13, 0, "i3"},
       {GL_INT_VEC4, 1, 14, 0, "i4"},
       {GL_UNSIGNED_INT, 1, 21, 0, "u1"},
       {GL_UNSIGNED_INT_VEC2, 1, 22, 0, "u2"},
       {GL_UNSIGNED_INT_VEC3, 1, 23, 0, "u3"},
       {GL_UNSIGNED_INT_VEC4, 1, 24, 0, "u4"},
       {GL_DOUBLE, 1, 31, 0, "d1"},
       {GL_DOUBLE_VEC2, 1, 32, 0, "d2"},
       {GL_DOUBLE_VEC3, 1, 33, 0, "d3"},
       {GL_DOUBLE_VEC4, 1, 34, 0, "d4"}});
#define SET(number, name, bytes, ...)                        \
  QV_CALL(name)(__VA_ARGS__);                                \
  EXPECT_EQ(takeError(), 0u) << #name;                       \
  ASSERT_EQ(parse(pending()).size(), 1u) << #name;           \
  EXPECT_EQ(parse(pending())[0].opcode, number##u) << #name; \
  EXPECT_EQ(pending().size(), bytes##u) << #name;            \
  drop();
  SET(520, glUniform1f, 12, 1, 0)
  SET(521, glUniform2f, 16, 2, 0, 0)
  SET(522, glUniform3f, 20, 3, 0, 0, 0)
  SET(523, glUniform4f, 24, 4, 0, 0, 0, 0)
  SET(524, glUniform1i, 12, 11, 0)
  SET(525, glUniform2i, 16, 12, 0, 0)
  SET(526, glUniform3i, 20, 13, 0, 0, 0)
  SET(527, glUniform4i, 24, 14, 0, 0, 0, 0)
  SET(528, glUniform1fv, 16, 1, 1, ones)
  SET(529, glUniform2fv, 20, 2, 1, ones)
  SET(530, glUniform3fv, 24, 3, 1, ones)
  SET(531, glUniform4fv, 28, 4, 1, ones)
  SET(532, glUniform1iv, 16, 11, 1, integers)
  SET(533, glUniform2iv, 20, 12, 1, integers)
  SET(534, glUniform3iv, 24, 13, 1, integers)
  SET(535, glUniform4iv, 28, 14, 1, integers)
  SET(2089, glUniform1ui, 12, 21, 0)
  SET(2090, glUniform2ui, 16, 22, 0, 0)
  SET(2091, glUniform3ui, 20, 23, 0, 0, 0)
  SET(2092, glUniform4ui, 24, 24, 0, 0, 0, 0)
  SET(2093, glUniform1uiv, 16, 21, 1, words_)
  SET(2094, glUniform2uiv, 20, 22, 1, words_)
  SET(2095, glUniform3uiv, 24, 23, 1, words_)
  SET(2096, glUniform4uiv, 28, 24, 1, words_)
  SET(1484, glUniform1uiEXT, 12, 21, 0)
  SET(1487, glUniform4uiEXT, 24, 24, 0, 0, 0, 0)
  SET(1488, glUniform1uivEXT, 16, 21, 1, words_)
  SET(1491, glUniform4uivEXT, 28, 24, 1, words_)
  SET(2201, glUniform1d, 16, 31, 0)
  SET(2204, glUniform4d, 40, 34, 0, 0, 0, 0)
  SET(2205, glUniform1dv, 20, 31, 1, wide)
  SET(2206, glUniform2dv, 28, 32, 1, wide)
  SET(2207, glUniform3dv, 36, 33, 1, wide)
  SET(2208, glUniform4dv, 44, 34, 1, wide)
  SET(2271, glProgramUniform1i, 16, 2, 11, 0)
  SET(2272, glProgramUniform1iv, 20, 2, 11, 1, integers)
  SET(2275, glProgramUniform1d, 20, 2, 31, 0)
  SET(2278, glProgramUniform1uiv, 20, 2, 21, 1, words_)
  SET(2281, glProgramUniform2f, 20, 2, 2, 0, 0)
  SET(2292, glProgramUniform3dv, 40, 2, 33, 1, wide)
  SET(2301, glProgramUniform4ui, 28, 2, 24, 0, 0, 0, 0)
  SET(2302, glProgramUniform4uiv, 32, 2, 24, 1, words_)
#undef SET
}

// --- reading ---

// As many values are asked for as the location has, and refused where it has none.
TEST_F(Uniforms, ValuesAreReadByTheirCount) {
  link({{GL_FLOAT_VEC3, 1, 0, 0, "v"}, {GL_FLOAT_VEC4, 2, 4, 1, "w"}, {GL_DOUBLE_MAT4, 1, 8, 0, "d"}, {0x92DB, 1, 30, 0, "odd"}});
  GLfloat values[16] = {};
  host.answerCommand(kGetUniformfv, floats({1, 2, 3}));
  QV_CALL(glGetUniformfv)(2, 0, values);
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, words({0x101FD, 2, 0, 3}));
  EXPECT_EQ(host.submissions[0].replySize, 12u);
  EXPECT_EQ(values[2], 3.0f);
  QV_CALL(glGetUniformfv)(2, 5, values);
  EXPECT_EQ(host.last().words[2], 4u);
  GLdouble wideValues[16];
  QV_CALL(glGetUniformdv)(2, 8, wideValues);
  EXPECT_EQ(host.submissions.back().replySize, 128u);
  GLint integer[4];
  GLuint word[4];
  QV_CALL(glGetUniformiv)(2, 0, integer);
  EXPECT_EQ(host.last().opcode, kGetUniformiv);
  QV_CALL(glGetUniformuiv)(2, 0, word);
  EXPECT_EQ(host.last().opcode, kGetUniformuiv);
  QV_CALL(glGetUniformuivEXT)(2, 0, word);
  EXPECT_EQ(host.last().opcode, kGetUniformuivEXT);
  EXPECT_EQ(host.submissions.back().replySize, 12u);
  for (const Submission& one : host.submissions) EXPECT_EQ(one.presentMode, 0u);
  host.submissions.clear();
  for (const GLint location : {-1, 3, 30}) {
    QV_CALL(glGetUniformfv)(2, location, values);
    expectRefused(GL_INVALID_OPERATION, kGetUniformfv);
  }
  QV_CALL(glGetUniformfv)(3, 0, values);
  expectRefused(GL_INVALID_OPERATION, kGetUniformfv);
}

}  // namespace
}  // namespace qv::test
