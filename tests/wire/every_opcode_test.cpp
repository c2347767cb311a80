// Every opcode with payloads of every length up to a few bytes behind its fixed part: the host carries the command out, passes it
// over or refuses it, and reads nothing that is not there.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "peer/link/log.h"
#include "peer/replay/replayer.h"
#include "tests/support/gl_recorder.h"
#include "tests/support/opcodes.h"
#include "wire/columns.h"
#include "wire/row_facts.h"

namespace qv::test {
namespace {

using Outcome = peer::Replayer::Outcome;

enum class Fill { Zeros, Ones, Counting };

// The length of a payload without data, from the header total that stands in the table or from the words of a private command.
uint32_t fixedLength(const RowFacts& row) {
  if (row.form == FormKind::Record) return static_cast<uint32_t>(4 * row.words.size());
  return row.size >= 0 ? static_cast<uint32_t>(row.size) - 4 : row.fixedBytes;
}

// Whether a reply of this kind asks for as many values as the payload says, of which the host gives only so many.
bool asksForANumber(const RowFacts& row) {
  return row.reply == ReplyKind::Counted || row.reply == ReplyKind::Names || row.reply == ReplyKind::Length ||
         std::string_view(row.name).starts_with("glGetBufferParameter");
}

// The length at which a payload of zeros or of ones is carried out or passed over; none when there is no such length. Ones are a
// negative count, a count that makes no command, or a name that no form lists.
std::optional<uint64_t> goodLength(const RowFacts& row, Fill fill) {
  const uint64_t fixed = fixedLength(row);
  switch (row.form) {
    case FormKind::Counted:
    case FormKind::Array:
    case FormKind::Image:
    case FormKind::Matrices:
    case FormKind::Evaluator:
      return fixed;
    case FormKind::Sized:
      for (const ArgumentFacts& argument : row.arguments) {
        if (argument.pointer) return fixed + uint64_t{row.otherwise} * argument.width;
      }
      return std::nullopt;
    case FormKind::Text:
    case FormKind::TextQuery:
      // A text has at least its zero.
      return fill == Fill::Ones ? std::optional(fixed) : std::nullopt;
    case FormKind::Record: {
      const std::string_view name = row.name;
      if (fill == Fill::Ones) {
        // A negative count has no data, and data that are too long for a command are left out. A run of 255 slots is none, and
        // draws have no such flags.
        if (row.openTail || name == "glCallLists" || name == "glArrayElement" || name.starts_with("glDraw") ||
            name.starts_with("glMultiDraw"))
          return std::nullopt;
        const std::vector<uint8_t> ones(fixed, 0xFF);
        const uint64_t tail = row.tailBytes(ones.data());
        return tail == 0 || payloadOf(fixed, tail) == fixed ? std::optional(fixed) : std::nullopt;
      }
      // Words behind no indices.
      if (!name.starts_with("glDrawElements") || name.ends_with("BaseInstance")) return fixed;
      return fixed + (name.find("Instanced") != name.npos ? 4 : 0) + (name.ends_with("BaseVertex") ? 4 : 0);
    }
    default:
      ADD_FAILURE() << row.name << " has no data";
      return std::nullopt;
  }
}

class EveryOpcode : public testing::TestWithParam<Fill> {
 protected:
  // What is passed over is told in a line each, of which there are many here.
  EveryOpcode() {
    peer::setLogSink([](std::string_view) {});
  }
  ~EveryOpcode() override { peer::setLogSink({}); }

  // Replays one command in a block of memory that ends with it.
  void replay(uint32_t opcode, uint32_t length) {
    const uint32_t total = 4 + length;
    const std::unique_ptr<uint8_t[]> block(new uint8_t[total]);
    const uint32_t header = total << 12 | opcode;
    std::memcpy(block.get(), &header, 4);
    for (uint32_t i = 0; i < length; ++i) {
      block[4 + i] = GetParam() == Fill::Zeros ? 0 : GetParam() == Fill::Ones ? 0xFF : static_cast<uint8_t>(i);
    }
    recorder.calls.clear();
    peer::Replayer replayer;
    const peer::Replayer::Result result = replayer.replay(block.get(), total, total);
    outcome = result.outcome;
    consumed = result.consumed;
    complaint = outcome == Outcome::Failed ? replayer.complaint() : "";
  }
  void expectDone(uint32_t opcode, uint32_t length) {
    EXPECT_EQ(outcome, Outcome::Done) << opcode << " with " << length << " bytes: " << complaint;
    EXPECT_EQ(consumed, 4 + length) << opcode << " with " << length << " bytes";
  }
  // Nothing of a refused command reaches GL before its length has been looked at.
  void expectFailed(uint32_t opcode, uint32_t length) {
    EXPECT_EQ(outcome, Outcome::Failed) << opcode << " with " << length << " bytes";
    EXPECT_NE(complaint, "") << opcode << " with " << length << " bytes";
    EXPECT_TRUE(recorder.calls.empty()) << opcode << " with " << length << " bytes";
  }

  GlRecorder recorder;
  Outcome outcome{};
  uint32_t consumed = 0;
  std::string complaint;
};

constexpr uint32_t kBeyond = 12;         // bytes behind the fixed part
constexpr uint32_t kWithoutLength = 64;  // the longest payload where there is no fixed part

// A number without a command is passed over at every length.
TEST_P(EveryOpcode, UnknownCommandsAreDoneAtEveryLength) {
  uint32_t tested = 0;
  for (uint32_t opcode = 0; opcode < 4096; ++opcode) {
    const RowFacts* const row = findRow(opcode);
    if (row != nullptr) continue;
    ++tested;
    for (uint32_t length = 0; length <= kWithoutLength; ++length) {
      replay(opcode, length);
      expectDone(opcode, length);
      EXPECT_TRUE(recorder.calls.empty()) << opcode;
    }
  }
  EXPECT_GT(tested, 3000u);
}

// A command without data is carried out at its own length, and refused at every other.
TEST_P(EveryOpcode, CommandsWithoutDataAreDoneAtTheirOwnLengthOnly) {
  uint32_t tested = 0;
  for (const RowFacts& row : allRows()) {
    if (row.opcode == kNoOpcode || row.form == FormKind::Local || row.hasTail) continue;
    ++tested;
    const auto opcode = static_cast<uint32_t>(row.opcode);
    const uint32_t own = fixedLength(row);
    ASSERT_EQ(row.fixedBytes, own) << row.name;
    for (uint32_t length = 0; length <= own + kBeyond; ++length) {
      replay(opcode, length);
      if (length != own) {
        expectFailed(opcode, length);
      } else if (outcome == Outcome::Failed && asksForANumber(row) && GetParam() != Fill::Zeros) {
        EXPECT_NE(complaint.find("query for"), std::string::npos) << row.name << ": " << complaint;
      } else {
        expectDone(opcode, length);
      }
    }
  }
  EXPECT_GT(tested, 700u);
}

// A command with data is refused where its fixed part is cut, and is carried out at the one length that its payload tells.
TEST_P(EveryOpcode, CommandsWithDataAreDoneAtTheLengthTheyTell) {
  uint32_t tested = 0;
  for (const RowFacts& row : allRows()) {
    if (!row.hasTail) continue;
    ++tested;
    const auto opcode = static_cast<uint32_t>(row.opcode);
    const uint32_t fixed = row.fixedBytes;
    for (uint32_t length = 0; length <= fixed + kBeyond; ++length) {
      replay(opcode, length);
      if (length < fixed) {
        expectFailed(opcode, length);
      } else if (GetParam() != Fill::Counting) {
        const bool done = goodLength(row, GetParam()) == length;
        EXPECT_EQ(outcome, done ? Outcome::Done : Outcome::Failed) << row.name << " with " << length << " bytes: " << complaint;
      }
    }
  }
  EXPECT_GE(tested, 81u);
}

INSTANTIATE_TEST_SUITE_P(Fills, EveryOpcode, testing::Values(Fill::Zeros, Fill::Ones, Fill::Counting), [](const auto& one) {
  return one.param == Fill::Zeros ? "Zeros" : one.param == Fill::Ones ? "Ones" : "Counting";
});

}  // namespace
}  // namespace qv::test
