// The table as data: who is in it, which row a number finds, facts written by hand, and commands in readable form.
#include "wire/row_facts.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/opcodes.h"
#include "tests/support/stream_builder.h"
#include "wire/columns.h"

namespace qv::test {
namespace {

using Bytes = std::vector<uint8_t>;

const RowFacts& rowOf(const std::string& name) {
  for (const RowFacts& row : allRows()) {
    if (name == row.name) return row;
  }
  ADD_FAILURE() << "no row " << name;
  return allRows()[0];
}

// The readable form of a command whose payload is these arguments.
std::string described(uint32_t opcode, Bytes payload) {
  payload.reserve(1);  // a reader of no memory at all has failed
  return describeCommand(opcode, Reader(payload.data(), payload.size()));
}
template <typename... T>
std::string describedWith(uint32_t opcode, T... arguments) {
  Bytes payload;
  (Stream::append(payload, arguments), ...);
  return described(opcode, std::move(payload));
}

// There are 1096 routines, and behind them the eight private commands.
TEST(RowFacts, HoldsRoutinesAndPrivateCommands) {
  ASSERT_EQ(allRows().size(), 1096u + 8);
  std::set<std::string> names;
  for (size_t i = 0; i < allRows().size(); ++i) {
    EXPECT_EQ(allRows()[i].isPrivate, i >= 1096) << allRows()[i].name;
    names.insert(allRows()[i].name);
  }
  EXPECT_EQ(names.size(), 1104u);
  EXPECT_STREQ(allRows()[0].name, "glNewList");
  const char* const known[] = {"qvPbufferAttrib", "qvBindTexImage", "qvReleaseTexImage", "qvActiveUniforms",
                               "qvActiveAttributes", "qvRunBroken", "qvRunEnded", "qvQueryResults"};
  for (size_t i = 0; i < 8; ++i) EXPECT_STREQ(allRows()[1096 + i].name, known[i]);
}

// Every opcode finds the row of its command, and every other number finds none.
TEST(RowFacts, OpcodesFindTheirRows) {
  std::vector<const RowFacts*> expected(4096, nullptr);
  size_t commands = 0;
  for (const RowFacts& row : allRows()) {
    if (row.opcode == kNoOpcode || row.form == FormKind::Local) continue;
    ++commands;
    expected.at(static_cast<size_t>(row.opcode)) = &row;
  }
  // 1073 routines have a number, 27 of which write no command, and there are eight private commands.
  EXPECT_EQ(commands, 1054u);
  for (uint32_t opcode = 0; opcode < 4096; ++opcode) EXPECT_EQ(findRow(opcode), expected[opcode]) << opcode;
  for (const uint32_t opcode : {4096u, 4096u + 206, 0x10000u, 0xFFFFFFFFu}) EXPECT_EQ(findRow(opcode), nullptr) << opcode;
}

// Single rows by their numbers, typed in.
TEST(RowFacts, NumbersFindTheirNames) {
  const std::pair<uint32_t, const char*> known[] = {
      {0, "glNewList"},          {7, "glBegin"},       {136, "glVertex3f"},
      {206, "glClearColor"},     {305, "glViewport"},  {1543, "glDeleteFramebuffers"},
      {2000, "qvPbufferAttrib"}, {2008, "qvRunEnded"}, {2378, "glCopyImageSubData"}};
  for (const auto& [opcode, name] : known) {
    ASSERT_NE(findRow(opcode), nullptr) << opcode;
    EXPECT_STREQ(findRow(opcode)->name, name);
  }
  // glGenLists has a number and writes no command.
  EXPECT_EQ(findRow(5), nullptr);
  EXPECT_EQ(rowOf("glGenLists").opcode, 5);
}

// The form of a row tells its fixed part and whether data stand behind it.
TEST(RowFacts, FormsHaveTheirLengths) {
  const struct {
    const char* name;
    FormKind form;
    ReplyKind reply;
    uint32_t fixedBytes;
    bool hasTail;
  } known[] = {
      {"glViewport", FormKind::Fixed, ReplyKind::None, 16, false},
      {"glDepthMask", FormKind::Fixed, ReplyKind::None, 1, false},
      {"glClearDepth", FormKind::Fixed, ReplyKind::None, 8, false},
      {"glLineStipple", FormKind::Fixed, ReplyKind::None, 8, false},
      {"glVertex3fv", FormKind::Vec, ReplyKind::None, 12, false},
      {"glRectsv", FormKind::Vec, ReplyKind::None, 8, false},
      {"glFogfv", FormKind::Sized, ReplyKind::None, 4, true},
      {"glLightfv", FormKind::Counted, ReplyKind::None, 12, true},
      {"glDeleteTextures", FormKind::Array, ReplyKind::None, 4, true},
      {"glMap1d", FormKind::Evaluator, ReplyKind::None, 28, true},
      {"glMap2f", FormKind::Evaluator, ReplyKind::None, 36, true},
      {"glBindAttribLocation", FormKind::Text, ReplyKind::None, 12, true},
      {"glGetFragDataLocation", FormKind::TextQuery, ReplyKind::Answer, 8, true},
      {"glGetError", FormKind::Query, ReplyKind::Answer, 0, false},
      {"glGetIntegerv", FormKind::Query, ReplyKind::Counted, 8, false},
      {"glGetTexGeniv", FormKind::Query, ReplyKind::Sized, 8, false},
      {"glGenFramebuffers", FormKind::Query, ReplyKind::Names, 4, false},
      {"glCallLists", FormKind::Record, ReplyKind::None, 12, true},
      {"qvPbufferAttrib", FormKind::Record, ReplyKind::None, 12, false},
      {"qvRunEnded", FormKind::Record, ReplyKind::None, 4, true},
  };
  for (const auto& each : known) {
    const RowFacts& row = rowOf(each.name);
    EXPECT_EQ(row.form, each.form) << each.name;
    EXPECT_EQ(row.reply, each.reply) << each.name;
    EXPECT_EQ(row.fixedBytes, each.fixedBytes) << each.name;
    EXPECT_EQ(row.hasTail, each.hasTail) << each.name;
  }
  EXPECT_TRUE(rowOf("qvRunEnded").openTail);
  EXPECT_FALSE(rowOf("glCallLists").openTail);
}

// The fixed part tells how many bytes stand behind it, in 64 bits.
TEST(RowFacts, FixedPartTellsTheLengthOfItsData) {
  const auto tail = [](const char* name, std::initializer_list<uint32_t> fixed) {
    return rowOf(name).tailBytes(words(fixed).data());
  };
  EXPECT_EQ(tail("glLightfv", {GL_LIGHT0, GL_AMBIENT, 4}), 16u);
  EXPECT_EQ(tail("glLightfv", {GL_LIGHT0, GL_AMBIENT, 0xFFFFFFFF}), 0x3FFFFFFFCu);
  EXPECT_EQ(tail("glFogfv", {GL_FOG_COLOR}), 16u);
  EXPECT_EQ(tail("glFogfv", {GL_FOG_DENSITY}), 4u);
  EXPECT_EQ(tail("glDeleteTextures", {3}), 12u);
  EXPECT_EQ(tail("glMap1f", {GL_MAP1_VERTEX_3, 0, 0, 5, 4}), 72u);
  EXPECT_EQ(tail("glMap1f", {GL_MAP1_VERTEX_3, 0, 0, 2, 4}), 0u);
  EXPECT_EQ(tail("glMap1f", {GL_MAP1_VERTEX_3, 0, 0, 0x7FFFFFFF, 64}), 4u * (63u * 0x7FFFFFFFull + 3));
  EXPECT_EQ(tail("glMap2f", {GL_MAP2_VERTEX_3, 0, 0, 3, 4, 0, 0, 12, 4}), 192u);
  EXPECT_EQ(tail("glDeleteTextures", {0xFFFFFFFF}), 0u);
  EXPECT_EQ(tail("glDeleteTextures", {0x40000001}), 0x100000004u);
  EXPECT_EQ(tail("glBindAttribLocation", {1, 0, 5}), 5u);
  EXPECT_EQ(tail("glCallLists", {3, GL_UNSIGNED_SHORT, 99}), 6u);
}

// Arguments have their widths, places and kinds.
TEST(RowFacts, ArgumentsHaveTheirFacts) {
  const RowFacts& range = rowOf("glBindBufferRange");  // target, index, buffer, offset, size
  ASSERT_EQ(range.arguments.size(), 5u);
  for (size_t i = 0; i < 5; ++i) {
    EXPECT_FALSE(range.arguments[i].pointer);
    EXPECT_EQ(range.arguments[i].offset, 4 * i);
    EXPECT_EQ(range.arguments[i].wireWidth, 4);
    EXPECT_EQ(range.arguments[i].width, i < 3 ? 4 : 8);
    EXPECT_EQ(range.arguments[i].cut, i >= 3);
  }
  const RowFacts& light = rowOf("glLightfv");
  ASSERT_EQ(light.arguments.size(), 3u);
  EXPECT_EQ(light.arguments[1].kind, ValueKind::Unsigned);
  EXPECT_TRUE(light.arguments[2].pointer);
  EXPECT_EQ(light.arguments[2].kind, ValueKind::Real);
  EXPECT_EQ(light.arguments[2].width, 4);
  EXPECT_EQ(light.arguments[2].components, 0);
  const RowFacts& corners = rowOf("glRectsv");
  ASSERT_EQ(corners.arguments.size(), 2u);
  EXPECT_EQ(corners.arguments[1].components, 2);
  EXPECT_EQ(corners.arguments[1].width, 2);
  EXPECT_EQ(corners.arguments[1].offset, 4);
  const RowFacts& stipple = rowOf("glLineStipple");
  EXPECT_EQ(stipple.arguments[1].offset, 4);
  EXPECT_EQ(stipple.arguments[1].wireWidth, 2);
  EXPECT_EQ(rowOf("glIsFramebuffer").returnBytes, 1u);
  EXPECT_EQ(rowOf("glViewport").returnBytes, 0u);
}

// --- commands in readable form ---

// Scalars stand in the order of the prototype: small numbers in decimal, enums in hexadecimal, reals as reals.
TEST(DescribeCommand, ScalarsStandInOrder) {
  EXPECT_EQ(describedWith(kViewport, 0, 0, 300, 300), "glViewport(0, 0, 300, 300)");
  EXPECT_EQ(describedWith(kEnable, GL_BLEND), "glEnable(0xbe2)");
  EXPECT_EQ(describedWith(kClearColor, 1.0f, 0.5f, 0.0f, -2.25f), "glClearColor(1, 0.5, 0, -2.25)");
  EXPECT_EQ(describedWith(kClearDepth, 0.125), "glClearDepth(0.125)");
  EXPECT_EQ(describedWith(kColorMask, uint8_t{1}, uint8_t{0}, uint8_t{1}, uint8_t{0}), "glColorMask(1, 0, 1, 0)");
  EXPECT_EQ(describedWith(kEnd), "glEnd()");
}

// Numbers of 32 bits below zero are negative; from 1024 on numbers are hexadecimal.
TEST(DescribeCommand, NumbersHaveTheirNotation) {
  EXPECT_EQ(describedWith(kViewport, -1, -4096, -4097, 1023), "glViewport(-1, -4096, -4097, 1023)");
  EXPECT_EQ(describedWith(kViewport, 1024, 0, 0, 0), "glViewport(0x400, 0, 0, 0)");
}

// Vectors stand in braces, one for each pointer.
TEST(DescribeCommand, VectorsStandInBraces) {
  EXPECT_EQ(describedWith(kVertex3fv, 1.0f, 2.0f, 3.0f), "glVertex3fv({1 2 3})");
  EXPECT_EQ(describedWith(kRectsv, int16_t{1}, int16_t{2}, int16_t{3}, int16_t{4}), "glRectsv({1 2}, {3 4})");
  EXPECT_EQ(described(kLoadMatrixf, floats({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 6, 7, 1})),
            "glLoadMatrixf({1 0 0 0 0 1 0 0 0 0 1 0 5 6 7 1})");
}

// Data behind the fixed part stand last, without the word that counts them.
TEST(DescribeCommand, DataStandLast) {
  EXPECT_EQ(describedWith(kFogfv, GL_FOG_COLOR, 1.0f, 0.0f, 0.0f, 1.0f), "glFogfv(0xb66, {1 0 0 1})");
  EXPECT_EQ(describedWith(kLightfv, GL_LIGHT0, GL_AMBIENT, 4, 0.5f, 0.0f, 0.0f, 1.0f), "glLightfv(0x4000, 0x1200, {0.5 0 0 1})");
  EXPECT_EQ(describedWith(kDeleteTextures, 2, 8, 9), "glDeleteTextures(2, {8 9})");
  EXPECT_EQ(describedWith(kDeleteTextures, -1), "glDeleteTextures(-1)");
  EXPECT_EQ(describedWith(kDeleteTextures, 0), "glDeleteTextures(0)");
}

// After sixteen values the number of all follows.
TEST(DescribeCommand, ManyValuesAreCut) {
  Bytes names = words({17});
  for (uint32_t i = 1; i <= 17; ++i) names += words({i});
  EXPECT_EQ(described(kDeleteTextures, names), "glDeleteTextures(17, {1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 ... 17})");
}

// Texts stand in quotes without their zero, and are cut after 64 characters with their length. They stay on one line: a quote, a
// backslash and what is not printable are escaped.
TEST(DescribeCommand, TextsStandInQuotes) {
  const auto text = [](const std::string& name) {
    Bytes payload = words({3, 1, static_cast<uint32_t>(name.size() + 1)});
    payload.insert(payload.end(), name.begin(), name.end());
    payload.push_back(0);
    return described(kBindAttribLocation, payload);
  };
  EXPECT_EQ(text("ab"), "glBindAttribLocation(3, 1, \"ab\")");
  EXPECT_EQ(text(""), "glBindAttribLocation(3, 1, \"\")");
  EXPECT_EQ(text(std::string(64, 'x')), "glBindAttribLocation(3, 1, \"" + std::string(64, 'x') + "\")");
  EXPECT_EQ(text(std::string(65, 'x')), "glBindAttribLocation(3, 1, \"" + std::string(64, 'x') + " ... 65\")");
  EXPECT_EQ(text("a\nb\"c\\d\x1b\x7f\xe9"), "glBindAttribLocation(3, 1, \"a\\nb\\\"c\\\\d\\x1b\\x7f\\xe9\")");
  Bytes query = words({3, 3});
  query += {'a', 'b', 0};
  EXPECT_EQ(described(kGetFragDataLocation, query), "glGetFragDataLocation(3, \"ab\")");
}

// Queries are told by their scalars alone.
TEST(DescribeCommand, QueriesAreTheirScalars) {
  EXPECT_EQ(describedWith(kGetIntegerv, GL_VIEWPORT, 4), "glGetIntegerv(0xba2)");
  EXPECT_EQ(describedWith(kIsFramebuffer, 3), "glIsFramebuffer(3)");
  EXPECT_EQ(describedWith(kGenFramebuffers, 2), "glGenFramebuffers(2)");
  EXPECT_EQ(describedWith(kGetError), "glGetError()");
}

// Records name their words.
TEST(DescribeCommand, RecordsNameTheirWords) {
  EXPECT_EQ(describedWith(kPbufferAttrib, 7, GL_TEXTURE_CUBE_MAP_POSITIVE_X, 2),
            "qvPbufferAttrib(window 7, face 0x8515, level 2)");
  EXPECT_EQ(describedWith(kBindTexImage, 9, GL_BACK), "qvBindTexImage(window 9, buffer 0x405)");
  EXPECT_EQ(describedWith(kCallLists, 3, GL_UNSIGNED_BYTE, 3, uint8_t{1}, uint8_t{2}, uint8_t{200}),
            "glCallLists(n 3, type 0x1401, bytes 3, {1 2 200})");
}

// Data of each pointer stand apart in their own type, and names of lists have the width that their type says.
TEST(DescribeCommand, DataHaveTheirOwnTypes) {
  EXPECT_EQ(describedWith(kPrioritizeTextures, 2, 8, 9, 0.5f, 1.0f), "glPrioritizeTextures(2, {8 9}, {0.5 1})");
  EXPECT_EQ(describedWith(kCallLists, 2, GL_UNSIGNED_SHORT, 4, uint16_t{258}, uint16_t{3}),
            "glCallLists(n 2, type 0x1403, bytes 4, {258 3})");
  EXPECT_EQ(describedWith(kCallLists, 1, GL_INT, 4, 70000), "glCallLists(n 1, type 0x1404, bytes 4, {0x11170})");
}

// A run tells mode, slots with their attribute, components and type, and its vertices.
TEST(DescribeCommand, RunsTellTheirLayout) {
  const Bytes two = floats({1, 0, 0, -1, -1, 0, 1, 0, 0, 3, -1, 0});
  EXPECT_EQ(described(kRunEnded, runPayload(GL_TRIANGLES, {0x3103, 0x3100}, 24, two)),
            "qvRunEnded(mode 4, 3:3f, 0:3f, 2 vertices of 24)");
  EXPECT_EQ(described(kRunBroken, runPayload(GL_LINES, {0x3703, 0x2400}, 8, {1, 2, 3, 0, 5, 0, 6, 0, 9, 9})),
            "qvRunBroken(mode 1, 3:3ub, 0:2s, 1 vertices of 8 and 2 bytes)");
  EXPECT_EQ(described(kRunEnded, runPayload(GL_POINTS, {}, 0, {})), "qvRunEnded(mode 0, 0 vertices of 0)");
}

// A run with a tag of no type, with more slots than there are, or without its tags is told as far as it goes.
TEST(DescribeCommand, BrokenRunsAreToldAsFarAsTheyGo) {
  EXPECT_EQ(described(kRunEnded, runPayload(GL_TRIANGLES, {0x3803}, 12, {})), "qvRunEnded(mode 4, 3:3?, 0 vertices of 12)");
  EXPECT_EQ(described(kRunEnded, words({4u << 24 | 17u << 16 | 204})), "qvRunEnded(mode 4, 17 slots)");
  EXPECT_EQ(described(kRunEnded, words({4u << 24 | 2u << 16 | 24})), "qvRunEnded(mode 4, 2 slots)");
  EXPECT_EQ(described(kRunEnded, {}), "qvRunEnded: 0 bytes, malformed");
}

// A payload that does not fit its row is told by its length.
TEST(DescribeCommand, MalformedPayloadsAreToldAsTheyAre) {
  EXPECT_EQ(describedWith(kViewport, 0, 0, 300), "glViewport: 12 bytes, malformed");
  EXPECT_EQ(describedWith(kViewport, 0, 0, 300, 300, 1), "glViewport: 20 bytes, malformed");
  EXPECT_EQ(describedWith(kLightfv, GL_LIGHT0, GL_AMBIENT, 4, 1.0f), "glLightfv: 16 bytes, malformed");
  EXPECT_EQ(describedWith(kDeleteTextures, 0x40000001, 8), "glDeleteTextures: 8 bytes, malformed");
  EXPECT_EQ(describedWith(kCallLists, 2, GL_UNSIGNED_INT), "glCallLists: 8 bytes, malformed");
  EXPECT_EQ(describedWith(kPbufferAttrib, 7), "qvPbufferAttrib: 4 bytes, malformed");
}

// A number without a command is told by its length.
TEST(DescribeCommand, UnknownCommandsAreToldByNumberAndLength) {
  EXPECT_EQ(described(kNobodysOpcode, {1, 2, 3, 4, 5}), "opcode 1900, 5 bytes");
  EXPECT_EQ(described(kGenLists, {}), "opcode 5, 0 bytes");
  EXPECT_EQ(described(70000, {}), "opcode 70000, 0 bytes");
}

}  // namespace
}  // namespace qv::test
