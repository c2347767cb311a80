// Vertex runs byte by byte: opening, layouts, every way to break one, and what stays plain.
#include <string>

#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"
#include "tests/support/row_cases.h"

namespace qv::test {
namespace {

class VertexRuns : public ContextTest {
 protected:
  VertexRuns() {
    context().reserve(1);
    std::memset(context().base, 0, context().capacity);
  }
};

constexpr uint32_t kOne = 0x3f800000, kTwo = 0x40000000, kThree = 0x40400000;

// glBegin and glEnd with nothing between make a run of 12 bytes whose packed word holds the mode alone.
TEST_F(VertexRuns, EmptyPrimitiveIsARunOfItsModeAlone) {
  QV_CALL(glBegin)(GL_TRIANGLES);
  EXPECT_EQ(context().insideBegin, 1);
  EXPECT_EQ(context().lastOpcode, kBegin);
  QV_CALL(glEnd)();
  EXPECT_EQ(context().lastOpcode, kEnd);
  EXPECT_EQ(context().insideBegin, 0);
  expectStream(words({kRunEnded, 12, 4u << 24}));
}

// An attribute without a vertex stands as the run's only element.
TEST_F(VertexRuns, AttributeWithoutVertexStandsAlone) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glColor3f)(1, 2, 3);
  QV_CALL(glEnd)();
  expectStream(words({kRunEnded, 28, 1u << 16 | 12, 0x3103, kOne, kTwo, kThree}));
}

// Two vertices of colour and position: one head, two tags, then bare attribute bytes.
TEST_F(VertexRuns, RepeatedLayoutIsPacked) {
  QV_CALL(glBegin)(GL_LINES);
  for (int i = 0; i < 2; ++i) {
    QV_CALL(glColor3f)(1, 2, 3);
    QV_CALL(glVertex2f)(1, static_cast<float>(i));
  }
  QV_CALL(glEnd)();
  expectStream(
      words({kRunEnded, 56, 1u << 24 | 2u << 16 | 20, 0x21003103, kOne, kTwo, kThree, kOne, 0, kOne, kTwo, kThree, kOne, kOne}));
}

// A second vertex without its colour ends the run as broken, with one vertex; the vertex and the glEnd go plain.
TEST_F(VertexRuns, MissingAttributeBreaksTheRun) {
  QV_CALL(glBegin)(GL_LINES);
  QV_CALL(glColor3f)(1, 2, 3);
  QV_CALL(glVertex3f)(1, 1, 1);
  QV_CALL(glVertex3f)(2, 2, 2);
  EXPECT_EQ(context().insideBegin, 1);
  QV_CALL(glEnd)();
  const auto run = words({kRunBroken, 40, 1u << 24 | 2u << 16 | 24, 0x31003103, kOne, kTwo, kThree, kOne, kOne, kOne});
  expectStream(Stream().raw(run).add(kVertex3f, 2.0f, 2.0f, 2.0f).add(kEnd));
}

// A differing attribute on a frozen layout leaves the attributes already written as a partial vertex.
TEST_F(VertexRuns, PartialVertexStaysInTheRun) {
  QV_CALL(glBegin)(GL_LINES);
  QV_CALL(glColor3f)(1, 1, 1);
  QV_CALL(glVertex2f)(1, 1);
  QV_CALL(glColor3f)(2, 2, 2);
  QV_CALL(glTexCoord1f)(3);
  QV_CALL(glEnd)();
  const auto run = words({kRunBroken, 48, 1u << 24 | 2u << 16 | 20, 0x21003103, kOne, kOne, kOne, kOne, kOne, kTwo, kTwo, kTwo});
  expectStream(Stream().raw(run).add(kTexCoord1f, 3.0f).add(kEnd));
}

// A vertex of another type does not match the layout.
TEST_F(VertexRuns, OtherTypeBreaksTheRun) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glVertex2f)(1, 1);
  QV_CALL(glVertex2i)(5, 6);
  QV_CALL(glEnd)();
  expectStream(Stream().raw(words({kRunBroken, 24, 1u << 16 | 8, 0x2100, kOne, kOne})).add(kVertex2i, 5, 6).add(kEnd));
}

// Tag and bytes of each of the 130 participants, read off its name: family, components, type.
TEST_F(VertexRuns, EveryParticipantHasItsTag) {
  const std::pair<std::string, uint32_t> families[] = {
      {"glVertex", 0}, {"glNormal", 2}, {"glColor", 3}, {"glTexCoord", 8}, {"glMultiTexCoord", 8}};
  struct Type {
    const char* suffix;
    uint32_t code, bytes;
  };
  const Type types[] = {{"d", 0, 8}, {"f", 1, 4},  {"i", 2, 4}, {"ui", 3, 4},
                        {"s", 4, 2}, {"us", 5, 2}, {"b", 6, 1}, {"ub", 7, 1}};
  int participants = 0;
  for (const RowFacts& row : allRows()) {
    if (!row.attribute) continue;
    ++participants;
    const std::string name = row.name;
    const size_t digit = name.find_first_of("1234");
    const std::string family = name.substr(0, digit);
    std::string suffix = name.substr(digit + 1);
    if (suffix.back() == 'v') suffix.pop_back();
    uint32_t attribute = 99;
    for (const auto& [known, number] : families)
      if (known == family) attribute = number;
    const Type* type = nullptr;
    for (const Type& each : types)
      if (each.suffix == suffix) type = &each;
    ASSERT_NE(type, nullptr) << name;
    const uint32_t components = static_cast<uint32_t>(name[digit] - '0');
    const uint32_t bytes = (components * type->bytes + 3) / 4 * 4;
    RowCase one = casesOf(row).at(0);
    if (family == "glMultiTexCoord") {
      one.values[0] = GL_TEXTURE5;
      attribute = 13;
    }
    drop();
    QV_CALL(glBegin)(GL_LINES);
    one.call(reinterpret_cast<Routine>(findProc(row.name)));
    QV_CALL(glEnd)();
    const std::vector<uint8_t> run = pending();
    ASSERT_EQ(run.size(), 16u + bytes) << name;
    EXPECT_EQ(std::vector<uint8_t>(run.begin(), run.begin() + 12), words({kRunEnded, 16 + bytes, 1u << 24 | 1u << 16 | bytes}))
        << name;
    EXPECT_EQ(run[12] | run[13] << 8, static_cast<int>(components << 12 | type->code << 8 | attribute)) << name;
  }
  EXPECT_EQ(participants, 130);
}

// Fifteen attributes and a position make sixteen slots; the whole layout repeats.
TEST_F(VertexRuns, LayoutHoldsSixteenSlots) {
  QV_CALL(glBegin)(GL_POINTS);
  for (int vertex = 0; vertex < 2; ++vertex) {
    for (int i = 0; i < 15; ++i) QV_CALL(glTexCoord1i)(i);
    QV_CALL(glVertex2i)(100, 200);
  }
  QV_CALL(glEnd)();
  const std::vector<uint8_t> bytes = pending();
  // head 12, sixteen tags 32, two vertices of 15 * 4 + 8
  ASSERT_EQ(bytes.size(), 12u + 32 + 2 * 68);
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 12), words({kRunEnded, 180, 16u << 16 | 68}));
  EXPECT_EQ(bytes[12], 0x08);
  EXPECT_EQ(bytes[13], 0x12);
  EXPECT_EQ(bytes[12 + 30], 0x00);
  EXPECT_EQ(bytes[12 + 31], 0x22);
}

// Sixteen slots of four doubles fill the 512 bytes of a vertex, and each keeps its own values.
TEST_F(VertexRuns, WidestVertexHas512Bytes) {
  QV_CALL(glBegin)(GL_POINTS);
  for (int vertex = 0; vertex < 2; ++vertex) {
    for (int i = 0; i < 15; ++i) {
      const double value = 100 * vertex + i;
      QV_CALL(glTexCoord4d)(value, value + 0.25, value + 0.5, value + 0.75);
    }
    QV_CALL(glVertex4d)(-1 - vertex, -2, -3, -4);
  }
  QV_CALL(glEnd)();
  const std::vector<uint8_t> bytes = pending();
  ASSERT_EQ(bytes.size(), 12u + 32 + 2 * 512);
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 12), words({kRunEnded, 12 + 32 + 1024, 16u << 16 | 512}));
  double values[128];
  std::memcpy(values, bytes.data() + 44, sizeof values);
  for (int vertex = 0; vertex < 2; ++vertex) {
    for (int i = 0; i < 60; ++i) EXPECT_EQ(values[64 * vertex + i], 100 * vertex + i / 4 + 0.25 * (i % 4)) << i;
    EXPECT_EQ(values[64 * vertex + 60], -1 - vertex);
    EXPECT_EQ(values[64 * vertex + 63], -4);
  }
}

// An attribute that goes into a run leaves lastOpcode as it was, whether it defines a slot, freezes the layout or repeats it.
TEST_F(VertexRuns, PackedAttributeLeavesLastOpcode) {
  QV_CALL(glBegin)(GL_POINTS);
  for (int vertex = 0; vertex < 3; ++vertex) {
    QV_CALL(glColor3f)(1, 2, 3);
    EXPECT_EQ(context().lastOpcode, kBegin);
    QV_CALL(glMultiTexCoord2f)(GL_TEXTURE1, 1, 2);
    EXPECT_EQ(context().lastOpcode, kBegin);
    QV_CALL(glVertex2f)(1, 2);
    EXPECT_EQ(context().lastOpcode, kBegin);
  }
  QV_CALL(glEnd)();
}

// A sixteenth attribute before the first vertex closes the run with fifteen slots and its partial vertex.
TEST_F(VertexRuns, SixteenthAttributeBreaksTheRun) {
  QV_CALL(glBegin)(GL_POINTS);
  for (int i = 0; i < 16; ++i) QV_CALL(glTexCoord1i)(i);
  std::vector<uint8_t> bytes = pending();
  ASSERT_EQ(bytes.size(), 12u + 32 + 60 + 8);
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 12), words({kRunBroken, 12 + 32 + 60, 15u << 16 | 60}));
  EXPECT_EQ(std::vector<uint8_t>(bytes.end() - 8, bytes.end()), words({8u << 12 | kTexCoord1i, 15}));
  EXPECT_EQ(context().lastOpcode, kTexCoord1i);
  QV_CALL(glEnd)();
}

// A texture unit far from any can repeat the position of a full layout under another name. The call behind it meets no slot and
// breaks the run.
TEST_F(VertexRuns, NoSlotFollowsTheSixteenth) {
  constexpr GLenum kPositionByAnotherName = 33976;
  QV_CALL(glBegin)(GL_POINTS);
  for (int i = 0; i < 15; ++i) QV_CALL(glTexCoord1i)(i);
  QV_CALL(glVertex2i)(100, 200);
  for (int i = 0; i < 15; ++i) QV_CALL(glTexCoord1i)(i);
  QV_CALL(glMultiTexCoord2i)(kPositionByAnotherName, 1, 2);
  EXPECT_EQ(context().runSlotIndex, 16u);
  QV_CALL(glTexCoord1i)(7);
  EXPECT_EQ(context().runOpen, 0);
  const std::vector<uint8_t> bytes = pending();
  EXPECT_EQ(std::vector<uint8_t>(bytes.end() - 8, bytes.end()), words({8u << 12 | kTexCoord1i, 7}));
  QV_CALL(glEnd)();
}

// The same attribute given twice before the first vertex takes two slots.
TEST_F(VertexRuns, RepeatedAttributeTakesTwoSlots) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glColor3ub)(1, 2, 3);
  QV_CALL(glColor3ub)(4, 5, 6);
  QV_CALL(glVertex2i)(7, 8);
  QV_CALL(glEnd)();
  std::vector<uint8_t> bytes = pending();
  ASSERT_EQ(bytes.size(), 12u + 8 + 16);
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 12), words({kRunEnded, 36, 3u << 16 | 16}));
}

// Attributes are padded one by one to whole words: 3 bytes take 4, three shorts take 8.
TEST_F(VertexRuns, AttributesArePadded) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glNormal3b)(1, 2, 3);
  QV_CALL(glVertex3s)(4, 5, 6);
  QV_CALL(glEnd)();
  std::vector<uint8_t> bytes = pending();
  ASSERT_EQ(bytes.size(), 12u + 4 + 12);
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 16), words({kRunEnded, 28, 2u << 16 | 12, 0x34003602}));
  EXPECT_EQ(bytes[16], 1);
  EXPECT_EQ(bytes[18], 3);
  EXPECT_EQ(bytes[20], 4);
  EXPECT_EQ(bytes[24], 6);
}

// Scalar and vector forms of a call share their signature.
TEST_F(VertexRuns, VectorFormMatchesScalarForm) {
  const GLint position[2] = {3, 4};
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glVertex2i)(1, 2);
  QV_CALL(glVertex2iv)(position);
  QV_CALL(glEnd)();
  expectStream(words({kRunEnded, 32, 1u << 16 | 8, 0x2200, 1, 2, 3, 4}));
}

// glMultiTexCoord2f for unit 3 has tag 0x210B, and another unit does not match it.
TEST_F(VertexRuns, MultiTexCoordCarriesItsUnit) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glMultiTexCoord2f)(GL_TEXTURE3, 1, 2);
  QV_CALL(glVertex2i)(1, 2);
  QV_CALL(glMultiTexCoord2f)(GL_TEXTURE2, 1, 2);
  QV_CALL(glEnd)();
  const auto run = words({kRunBroken, 32, 2u << 16 | 16, 0x2200210B, kOne, kTwo, 1, 2});
  expectStream(Stream().raw(run).add(kMultiTexCoord2f, GL_TEXTURE2, 1.0f, 2.0f).add(kEnd));
}

// With no glBegin an attribute goes out as its plain command and sets lastOpcode.
TEST_F(VertexRuns, AttributeOutsideBeginIsPlain) {
  QV_CALL(glColor3f)(1, 2, 3);
  EXPECT_EQ(context().lastOpcode, kColor3f);
  expectStream(Stream().add(kColor3f, 1.0f, 2.0f, 3.0f));
}

// Without the quirk bit no run ever opens and every call is plain.
TEST_F(VertexRuns, NoRunWithoutItsBit) {
  context().quirkFlags &= ~kQuirkVertexRuns;
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glVertex2i)(1, 2);
  QV_CALL(glEnd)();
  expectStream(Stream().add(kBegin, GL_POINTS).add(kVertex2i, 1, 2).add(kEnd));
}

// A second glBegin is refused and the run goes on.
TEST_F(VertexRuns, NestedBeginIsRefused) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glBegin)(GL_LINES);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(context().lastOpcode, kBegin);
  QV_CALL(glEnd)();
  expectStream(words({kRunEnded, 12, 0}));
}

// A glEnd without glBegin is refused and writes nothing.
TEST_F(VertexRuns, StrayEndIsRefused) {
  QV_CALL(glEnd)();
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(context().lastOpcode, kEnd);
  EXPECT_TRUE(pending().empty());
}

// A later GL's call between glBegin and glEnd breaks the run and is sent; the host decides.
TEST_F(VertexRuns, OtherCallsBreakTheRunAndAreSent) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glVertex2i)(1, 2);
  QV_CALL(glColorMaski)(0, 1, 0, 1, 0);
  EXPECT_EQ(context().recordedError, 0u);
  QV_CALL(glEnd)();
  expectStream(Stream().raw(words({kRunBroken, 24, 1u << 16 | 8, 0x2200, 1, 2})).add(kColorMaski, 0, 0x00010001).add(kEnd));
}

// glSecondaryColor takes no part in runs and breaks the run too.
TEST_F(VertexRuns, SecondaryColorBreaksTheRun) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glVertex2i)(1, 2);
  QV_CALL(glSecondaryColor3f)(1, 2, 3);
  QV_CALL(glEnd)();
  const auto run = words({kRunBroken, 24, 1u << 16 | 8, 0x2200, 1, 2});
  expectStream(Stream().raw(run).add(kSecondaryColor3f, 1.0f, 2.0f, 3.0f).add(kEnd));
}

// A refused call leaves the run open and the stream as it was.
TEST_F(VertexRuns, RefusedCallLeavesTheRun) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glVertex2i)(1, 2);
  QV_CALL(glEnable)(GL_BLEND);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(context().lastOpcode, kEnable);
  EXPECT_EQ(context().runOpen, 1);
  QV_CALL(glVertex2i)(3, 4);
  QV_CALL(glEnd)();
  expectStream(words({kRunEnded, 32, 1u << 16 | 8, 0x2200, 1, 2, 3, 4}));
}

// glPrimitiveRestartNV ends the run and begins another of the same mode; outside glBegin it is refused.
TEST_F(VertexRuns, PrimitiveRestartBeginsAnotherRun) {
  QV_CALL(glBegin)(GL_LINE_STRIP);
  QV_CALL(glVertex2i)(1, 2);
  QV_CALL(glPrimitiveRestartNV)();
  QV_CALL(glVertex2i)(3, 4);
  QV_CALL(glEnd)();
  expectStream(
      words({kRunEnded, 24, 3u << 24 | 1u << 16 | 8, 0x2200, 1, 2, kRunEnded, 24, 3u << 24 | 1u << 16 | 8, 0x2200, 3, 4}));
  QV_CALL(glPrimitiveRestartNV)();
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(context().lastOpcode, kPrimitiveRestartNV);
}

// A run grows past the buffer's first capacity without losing a byte.
TEST_F(VertexRuns, RunOutgrowsTheBuffer) {
  constexpr int kVertices = 40000;  // 320000 bytes in a buffer of 262144
  QV_CALL(glBegin)(GL_POINTS);
  for (int i = 0; i < kVertices; ++i) QV_CALL(glVertex2i)(i, -i);
  QV_CALL(glEnd)();
  const std::vector<uint8_t> bytes = pending();
  ASSERT_EQ(bytes.size(), 16u + 8u * kVertices);
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 8), words({kRunEnded, 16 + 8 * kVertices}));
  EXPECT_EQ(std::vector<uint8_t>(bytes.end() - 8, bytes.end()), words({kVertices - 1, static_cast<uint32_t>(1 - kVertices)}));
  EXPECT_TRUE(host.submissions.empty());
}

}  // namespace
}  // namespace qv::test
