// Headers, padding and the rule for what fits into a command, in numbers written by hand.
#include "wire/sizes.h"

#include <gtest/gtest.h>

#include <vector>

namespace qv::test {
namespace {

using Bytes = std::vector<uint8_t>;

// Sizes are rounded up to multiples of 4, in 64 bits.
TEST(Sizes, PaddingRoundsUpToWords) {
  EXPECT_EQ(padded(0), 0u);
  EXPECT_EQ(padded(1), 4u);
  EXPECT_EQ(padded(3), 4u);
  EXPECT_EQ(padded(4), 4u);
  EXPECT_EQ(padded(5), 8u);
  EXPECT_EQ(padded(0xFFFFFFFD), 0x100000000u);
  EXPECT_EQ(padded(0x123456789), 0x12345678Cu);
}

// A payload of 0xFFFFB bytes is the longest with a header of 4 bytes; from 0xFFFFC on the header has 8.
TEST(Sizes, LargeFormBeginsAt0xFFFFC) {
  EXPECT_FALSE(needsLargeForm(0));
  EXPECT_EQ(headerBytes(0), 4u);
  EXPECT_FALSE(needsLargeForm(0xFFFFB));
  EXPECT_EQ(headerBytes(0xFFFFB), 4u);
  EXPECT_TRUE(needsLargeForm(0xFFFFC));
  EXPECT_EQ(headerBytes(0xFFFFC), 8u);
  EXPECT_TRUE(needsLargeForm(0xFFFFFFFF));
  EXPECT_TRUE(needsLargeForm(0x100000000));
}

// A small header holds the total in its upper 20 bits and the opcode in its lower 12.
TEST(Sizes, SmallHeaderHoldsTotalAndOpcode) {
  EXPECT_EQ(smallHeader(206, 20), 0x140CEu);
  EXPECT_EQ(smallHeader(4095, 4), 0x4FFFu);
  EXPECT_EQ(smallHeader(0, 0xFFFFF), 0xFFFFF000u);
}

// A large header is the opcode alone and then the total.
TEST(Sizes, LargeHeaderIsTwoWords) {
  Bytes bytes(9, 0xAA);
  putLargeHeader(bytes.data(), 2008, 0x01020304);
  EXPECT_EQ(bytes, (Bytes{0xD8, 0x07, 0, 0, 4, 3, 2, 1, 0xAA}));
}

// Values are stored and read little-endian, at any alignment.
TEST(Sizes, ValuesNeedNoAlignment) {
  Bytes bytes(6, 0xAA);
  put(bytes.data() + 1, uint32_t{0x04030201});
  EXPECT_EQ(bytes, (Bytes{0xAA, 1, 2, 3, 4, 0xAA}));
  EXPECT_EQ(get<uint32_t>(bytes.data() + 1), 0x04030201u);
  EXPECT_EQ(get<uint16_t>(bytes.data() + 3), 0x0403);
}

// The longest payload makes a large command whose total still fits into 32 bits when it is padded.
TEST(Sizes, LongestPayloadFits32Bits) {
  EXPECT_EQ(kLongestPayload, 0xFFFFFFF4u);
  EXPECT_EQ(padded(kLongestPayload + 8), 0xFFFFFFFCu);
}

// A payload is its fixed part and its data. Data that make no command are left out as a whole, however their 64 bits look.
TEST(Sizes, PayloadLeavesOutDataThatMakeNoCommand) {
  EXPECT_EQ(payloadOf(0, 0), 0u);
  EXPECT_EQ(payloadOf(12, 0), 12u);
  EXPECT_EQ(payloadOf(12, 8), 20u);
  EXPECT_EQ(payloadOf(0, 0xFFFFFFF4), 0xFFFFFFF4u);
  EXPECT_EQ(payloadOf(0, 0xFFFFFFF5), 0u);
  EXPECT_EQ(payloadOf(16, 0xFFFFFFE4), 0xFFFFFFF4u);
  EXPECT_EQ(payloadOf(16, 0xFFFFFFE5), 16u);
  EXPECT_EQ(payloadOf(16, 0x100000004), 16u);
  EXPECT_EQ(payloadOf(16, 0xFFFFFFFFFFFFFFF8), 16u);
}

}  // namespace
}  // namespace qv::test
