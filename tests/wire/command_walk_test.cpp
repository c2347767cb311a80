// The walk over a stream that is all there: both forms of a command, every way a stream can be cut, and where the walk stands.
#include "wire/command_walk.h"

#include <gtest/gtest.h>

#include <vector>

namespace qv::test {
namespace {

using Bytes = std::vector<uint8_t>;

struct Step {
  uint64_t offset;
  uint32_t opcode;
  Bytes payload;
  bool operator==(const Step&) const = default;
};
void PrintTo(const Step& step, std::ostream* out) {
  *out << "opcode " << step.opcode << " at " << step.offset << " " << testing::PrintToString(step.payload);
}

// The commands of a stream; `malformedAt` is where the walk gave up, and -1 when it came to the end.
struct Walk {
  std::vector<Step> steps;
  int64_t malformedAt = -1;
};
Walk walkOver(const Bytes& stream) {
  Walk out;
  CommandWalk walk(stream.data(), stream.size());
  uint32_t opcode = 0;
  Reader payload(nullptr, 0);
  while (walk.next(opcode, payload)) {
    const Elements<uint8_t> bytes = payload.rest();
    out.steps.push_back({walk.offset(), opcode, Bytes(bytes.data(), bytes.data() + bytes.size())});
  }
  if (walk.malformed()) out.malformedAt = static_cast<int64_t>(walk.offset());
  // The walk does not go on behind its end.
  EXPECT_FALSE(walk.next(opcode, payload));
  EXPECT_EQ(walk.malformed(), out.malformedAt >= 0);
  return out;
}

// An empty stream has no command and is whole.
TEST(CommandWalk, EmptyStreamIsWhole) {
  const Walk walk = walkOver({});
  EXPECT_TRUE(walk.steps.empty());
  EXPECT_EQ(walk.malformedAt, -1);
}

// Small commands follow each other at multiples of 4, and their pad bytes are no payload.
TEST(CommandWalk, SmallCommandsFollowEachOther) {
  const Walk walk = walkOver({0xD9, 0x40, 0, 0,                          // 217 alone
                              0xD3, 0x50, 0, 0, 1,    0xEE, 0xEE, 0xEE,  // 211 with a byte
                              0xD7, 0x80, 0, 0, 0xE2, 0x0B, 0,    0});   // 215 with a word
  EXPECT_EQ(walk.steps, (std::vector<Step>{{0, 217, {}}, {4, 211, {1}}, {12, 215, {0xE2, 0x0B, 0, 0}}}));
  EXPECT_EQ(walk.malformedAt, -1);
}

// A large command has its total in the second word, which counts both.
TEST(CommandWalk, LargeCommandsHaveTheirTotalBehind) {
  const Walk walk = walkOver({0xD8, 0x07, 0, 0, 11, 0, 0, 0, 1, 2, 3, 0xEE,  // 2008 with three bytes
                              0xFF, 0x0F, 0, 0, 8,  0, 0, 0,                 // 4095 with none
                              0xD9, 0x40, 0, 0});
  EXPECT_EQ(walk.steps, (std::vector<Step>{{0, 2008, {1, 2, 3}}, {12, 4095, {}}, {20, 217, {}}}));
  EXPECT_EQ(walk.malformedAt, -1);
}

// A total below 4 in the first word stands for the large form, whatever it is.
TEST(CommandWalk, TotalsBelowFourAreLarge) {
  for (uint32_t total = 0; total < 4; ++total) {
    const Walk walk = walkOver({0xCE, static_cast<uint8_t>(total << 4), 0, 0, 12, 0, 0, 0, 1, 2, 3, 4});
    EXPECT_EQ(walk.steps, (std::vector<Step>{{0, 206, {1, 2, 3, 4}}})) << total;
    EXPECT_EQ(walk.malformedAt, -1) << total;
  }
}

// A command of more than a mebibyte is walked over by its 32-bit total.
TEST(CommandWalk, LongCommandIsWalkedOver) {
  Bytes stream(8 + 0x100001, 0x5A);
  const Bytes head = {0xD8, 0x07, 0, 0, 9, 0, 0x10, 0};
  std::copy(head.begin(), head.end(), stream.begin());
  stream.resize(stream.size() + 3, 0xEE);
  const Bytes flush = {0xD9, 0x40, 0, 0};
  stream.insert(stream.end(), flush.begin(), flush.end());
  const Walk walk = walkOver(stream);
  ASSERT_EQ(walk.steps.size(), 2u);
  EXPECT_EQ(walk.steps[0].payload.size(), 0x100001u);
  EXPECT_EQ(walk.steps[1], (Step{0x10000C, 217, {}}));
}

// The pad bytes of the last command may be missing, wholly or in part.
TEST(CommandWalk, LastPadMayBeMissing) {
  const Bytes whole = {0xD9, 0x40, 0, 0, 0xD3, 0x50, 0, 0, 1, 0xEE, 0xEE, 0xEE};
  for (size_t missing = 0; missing <= 3; ++missing) {
    const Walk walk = walkOver(Bytes(whole.begin(), whole.end() - static_cast<std::ptrdiff_t>(missing)));
    EXPECT_EQ(walk.steps, (std::vector<Step>{{0, 217, {}}, {4, 211, {1}}})) << missing;
    EXPECT_EQ(walk.malformedAt, -1) << missing;
  }
}

// A stream that ends inside a header is malformed there, and so is one that ends inside a large header.
TEST(CommandWalk, CutHeadersAreMalformed) {
  for (size_t bytes = 1; bytes <= 3; ++bytes) {
    Bytes stream = {0xD9, 0x40, 0, 0};
    stream.resize(4 + bytes, 0x40);
    const Walk walk = walkOver(stream);
    EXPECT_EQ(walk.steps.size(), 1u) << bytes;
    EXPECT_EQ(walk.malformedAt, 4) << bytes;
  }
  const Bytes large = {0xD9, 0x40, 0, 0, 0xD8, 0x07, 0, 0, 8, 0, 0, 0};
  for (size_t bytes = 8; bytes < 12; ++bytes) {
    const Walk walk = walkOver(Bytes(large.begin(), large.begin() + static_cast<std::ptrdiff_t>(bytes)));
    EXPECT_EQ(walk.steps.size(), 1u) << bytes;
    EXPECT_EQ(walk.malformedAt, 4) << bytes;
  }
}

// A large total that does not count its own header is malformed.
TEST(CommandWalk, LargeTotalsBelowTheirHeaderAreMalformed) {
  for (uint8_t total = 0; total < 8; ++total) {
    const Walk walk = walkOver({0xD9, 0x40, 0, 0, 0xCE, 0, 0, 0, total, 0, 0, 0, 1, 2, 3, 4});
    EXPECT_EQ(walk.steps.size(), 1u) << int{total};
    EXPECT_EQ(walk.malformedAt, 4) << int{total};
  }
}

// A total that reaches beyond the stream is malformed in both forms, also one that would wrap when padded.
TEST(CommandWalk, TotalsBeyondTheStreamAreMalformed) {
  const Bytes streams[] = {{0xD7, 0x80, 0, 0, 0xE2, 0x0B, 0},
                           {0xD7, 0xF0, 0xFF, 0xFF},
                           {0xD8, 0x07, 0, 0, 9, 0, 0, 0},
                           {0xD8, 0x07, 0, 0, 0xFD, 0xFF, 0xFF, 0xFF},
                           {0xD8, 0x07, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}};
  for (const Bytes& stream : streams) {
    const Walk walk = walkOver(stream);
    EXPECT_TRUE(walk.steps.empty()) << testing::PrintToString(stream);
    EXPECT_EQ(walk.malformedAt, 0) << testing::PrintToString(stream);
  }
}

// A run that a swap broke before its first vertex ends the stream with its first tags; the total, which counts all tags, the
// attributes and a word more, is as it is sent.
TEST(CommandWalk, RunWithoutVerticesEndsAStream) {
  const Bytes run = {0xD7, 0x07, 0, 0, 32, 0, 0, 0, 12, 0, 1, 4, 0x03, 0x31, 0, 0};
  const Walk walk = walkOver(run);
  EXPECT_EQ(walk.steps, (std::vector<Step>{{0, 2007, {12, 0, 1, 4, 0x03, 0x31, 0, 0}}}));
  EXPECT_EQ(walk.malformedAt, -1);
  // Another total, no slot, a word behind it, a word less, another opcode.
  const auto changed = [&](size_t at, uint8_t value) {
    Bytes other = run;
    other[at] = value;
    return walkOver(other).malformedAt;
  };
  EXPECT_EQ(changed(4, 28), 0);
  EXPECT_EQ(changed(4, 36), 0);
  EXPECT_EQ(changed(8, 16), 0);
  EXPECT_EQ(changed(10, 0), 0);
  EXPECT_EQ(changed(0, 0xD8), 0);
  Bytes longer = run;
  longer.insert(longer.end(), {0xD9, 0x40, 0, 0});
  EXPECT_EQ(walkOver(longer).malformedAt, 0);
  EXPECT_EQ(walkOver(Bytes(run.begin(), run.begin() + 12)).malformedAt, 0);
}

// The offset is that of the command last given, and at the end that of the end.
TEST(CommandWalk, OffsetIsThatOfTheCommand) {
  const Bytes stream = {0xD9, 0x40, 0, 0, 0xD7, 0x80, 0, 0, 0xE2, 0x0B, 0, 0};
  CommandWalk walk(stream.data(), stream.size());
  uint32_t opcode = 0;
  Reader payload(nullptr, 0);
  ASSERT_TRUE(walk.next(opcode, payload));
  EXPECT_EQ(walk.offset(), 0u);
  ASSERT_TRUE(walk.next(opcode, payload));
  EXPECT_EQ(walk.offset(), 4u);
  ASSERT_FALSE(walk.next(opcode, payload));
  EXPECT_EQ(walk.offset(), 12u);
  EXPECT_FALSE(walk.malformed());
}

}  // namespace
}  // namespace qv::test
