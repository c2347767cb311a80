// The peer's reader against every row of the table: commands laid out by the payload rules come to GL as the same arguments.
#include <gtest/gtest.h>

#include <memory>
#include <string_view>

#include "peer/host/egl_display.h"
#include "peer/replay/opcode_table.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replayer.h"
#include "tests/peer/test_guest.h"
#include "tests/support/gl_recorder.h"
#include "tests/support/row_cases.h"

namespace qv::peer::test {
namespace {

using V = std::vector<uint8_t>;

class Decode : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(EglDisplay::get(), nullptr);
    opcodeTable();  // while the real functions are there
    recorder = std::make_unique<GlRecorder>();
  }
  // Expects the command to be one call of GL with these arguments; with a name given, one call of that name beside others. A pointer
  // shows as many bytes as the recorder keeps.
  void expectCall(const V& command, const std::vector<V>& arguments, std::string_view among = {}) {
    recorder->calls.clear();
    Replayer replayer;
    const auto length = static_cast<uint32_t>(command.size());
    ASSERT_EQ(replayer.replay(command.data(), length, length).outcome, Replayer::Outcome::Done) << replayer.complaint();
    if (!among.empty()) std::erase_if(recorder->calls, [&](const GlCall& call) { return call.name != among; });
    ASSERT_EQ(recorder->calls.size(), 1u);
    EXPECT_EQ(recorder->calls[0].arguments, arguments);
  }

  std::unique_ptr<GlRecorder> recorder;
};

// Whether the peer has a function of its own for a row, in the order of allRows().
constexpr bool kByHand[] = {
#define QV_ROW(name, ...) kHasOwnReplay<op::name>,
#include "wire/entry_points.def"
};
bool isByHand(const RowFacts& row) { return kByHand[&row - allRows().data()]; }

// Rows that a function replays because it looks at the window too: in a stream without windows, that is the replay of the form.
bool looksBeyond(std::string_view name) { return name == "glAccum" || name == "glClear"; }

// Rows before which the peer asks GL whether it can bear them.
bool asksFirst(std::string_view name) { return name == "glGenerateMipmap" || name == "glGenerateMipmapEXT"; }

// Every row of scalars and vectors that its form replays gives GL the arguments of its command. What is left out is counted.
TEST_F(Decode, FixedRowsGiveTheirArguments) {
  size_t tried = 0, others = 0;
  for (const RowFacts& row : allRows()) {
    if (row.isPrivate || row.opcode == kNoOpcode || (row.form != FormKind::Fixed && row.form != FormKind::Vec)) continue;
    if (isByHand(row) && !looksBeyond(row.name)) {
      ++others;
      continue;
    }
    ++tried;
    SCOPED_TRACE(row.name);
    const RowCase one = casesOf(row).at(0);
    recorder->bytesBehind = row.form == FormKind::Vec ? size_t{one.elements} * row.arguments.back().width : 0;
    expectCall(one.command(), one.arguments(), asksFirst(row.name) ? std::string_view(row.name) : std::string_view());
  }
  std::printf("rows decoded: %zu, replayed by hand: %zu\n", tried, others);
  EXPECT_GE(tried, 602u);
}

// --- an independent list: bytes by hand, arguments by hand ---

// Commands written as bytes by hand give GL the arguments written by hand, one for each form.
TEST_F(Decode, LiteralCommandsGiveTheirArguments) {
  const auto expect = [&](const V& command, const std::vector<V>& arguments, size_t behind = 0) {
    recorder->bytesBehind = behind;
    expectCall(command, arguments);
  };
  // glDepthMask: 5 bytes, one of payload.
  expect({0xD3, 0x50, 0, 0, 1, 9, 9, 9}, {V{1}});
  // glColorMask: four bytes in a row.
  expect({0xD2, 0x80, 0, 0, 1, 0, 1, 0}, {V{1}, V{0}, V{1}, V{0}});
  // glColor3ub: three packed bytes.
  expect({0x13, 0x70, 0, 0, 1, 2, 3, 9}, {V{1}, V{2}, V{3}});
  // glVertex3s: three packed shorts.
  expect({0x8C, 0xA0, 0, 0, 1, 0, 2, 0, 3, 0, 9, 9}, {V{1, 0}, V{2, 0}, V{3, 0}});
  // glLineStipple: the pattern in the low half of its word.
  expect({0xA7, 0xC0, 0, 0, 4, 0, 0, 0, 0xAA, 0x55, 9, 9}, {V{4, 0, 0, 0}, V{0xAA, 0x55}});
  // glClearDepth: the double at offset 4.
  expect({0xD0, 0xC0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F}, {V{0, 0, 0, 0, 0, 0, 0xE0, 0x3F}});
  // glColor3fv: the same bytes as glColor3f under a number of its own.
  expect({0x0E, 0x00, 1, 0, 0, 0, 0x80, 0x3F, 0, 0, 0, 0x40, 0, 0, 0x40, 0x40},
         {V{0, 0, 0x80, 0x3F, 0, 0, 0, 0x40, 0, 0, 0x40, 0x40}}, 12);
  // glRectsv: two corners of two shorts.
  expect({0x5D, 0xC0, 0, 0, 1, 0, 2, 0, 3, 0, 4, 0}, {V{1, 0, 2, 0}, V{3, 0, 4, 0}}, 4);
  // glFogfv with GL_FOG_COLOR: four floats and no count.
  expect({0x9A, 0x80, 1, 0, 0x66, 0x0B, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4},
         {V{0x66, 0x0B, 0, 0}, V{1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4}}, 16);
  // glLightfv: a count before the values.
  expect({0xA0, 0x40, 1, 0, 0, 0x40, 0, 0, 5, 0x12, 0, 0, 1, 0, 0, 0, 7, 7, 7, 7},
         {V{0, 0x40, 0, 0}, V{5, 0x12, 0, 0}, V{7, 7, 7, 7}}, 4);
  // glDeleteTextures: a count and as many names.
  expect({0x48, 0x01, 1, 0, 2, 0, 0, 0, 8, 0, 0, 0, 9, 0, 0, 0}, {V{2, 0, 0, 0}, V{8, 0, 0, 0, 9, 0, 0, 0}}, 8);
  // glBindAttribLocation: the length with the zero, then the name.
  expect({0xEA, 0x21, 1, 0, 3, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 'a', 0, 9, 9}, {V{3, 0, 0, 0}, V{1, 0, 0, 0}, V{'a', 0}}, 2);
}

}  // namespace
}  // namespace qv::peer::test
