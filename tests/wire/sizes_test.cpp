// Headers, padding and the rule for what fits into a command, in numbers written by hand.
#include "wire/sizes.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "wire/clear_value.h"

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

// A clear value is a pixel, as long as one of an image; what no pixel can be has no length.
TEST(ClearValues, AreAsLongAsAPixel) {
  const auto lengths = [](std::initializer_list<GLenum> formats, GLenum type, uint32_t bytes) {
    for (const GLenum format : formats) EXPECT_EQ(clearValueBytes(format, type), bytes) << std::hex << format << " " << type;
  };
  const std::initializer_list<GLenum> one = {GL_RED,           GL_GREEN,          GL_BLUE,         GL_ALPHA,
                                             GL_RED_INTEGER,   GL_GREEN_INTEGER,  GL_BLUE_INTEGER, GL_LUMINANCE,
                                             GL_STENCIL_INDEX, GL_DEPTH_COMPONENT};
  const std::initializer_list<GLenum> two = {GL_RG, GL_RG_INTEGER, GL_LUMINANCE_ALPHA, GL_DEPTH_STENCIL};
  const std::initializer_list<GLenum> three = {GL_RGB, GL_BGR, GL_RGB_INTEGER, GL_BGR_INTEGER};
  const std::initializer_list<GLenum> four = {GL_RGBA, GL_BGRA, GL_RGBA_INTEGER, GL_BGRA_INTEGER};
  for (const auto& [type, bytes] : {std::pair<GLenum, uint32_t>(GL_BYTE, 1),
                                    {GL_UNSIGNED_BYTE, 1},
                                    {GL_SHORT, 2},
                                    {GL_UNSIGNED_SHORT, 2},
                                    {GL_HALF_FLOAT, 2},
                                    {GL_INT, 4},
                                    {GL_UNSIGNED_INT, 4},
                                    {GL_FLOAT, 4}}) {
    lengths(one, type, bytes);
    lengths(two, type, 2 * bytes);
    lengths(three, type, 3 * bytes);
    lengths(four, type, 4 * bytes);
  }
  lengths({GL_RGB}, GL_UNSIGNED_BYTE_3_3_2, 1);
  lengths({GL_RGB}, GL_UNSIGNED_SHORT_5_6_5_REV, 2);
  lengths({GL_RGBA, GL_BGRA}, GL_UNSIGNED_SHORT_1_5_5_5_REV, 2);
  lengths({GL_RGBA, GL_BGRA}, GL_UNSIGNED_INT_2_10_10_10_REV, 4);
  lengths({GL_RGB}, GL_UNSIGNED_INT_10F_11F_11F_REV, 4);
  lengths({GL_DEPTH_STENCIL}, GL_UNSIGNED_INT_24_8, 4);
  lengths({GL_DEPTH_STENCIL}, GL_FLOAT_32_UNSIGNED_INT_24_8_REV, 8);
  lengths({0, 77, GL_FLOAT}, GL_FLOAT, 0);
  lengths({0, 77, GL_FLOAT}, GL_UNSIGNED_INT_24_8, 0);
  lengths({GL_RED, GL_RGBA, GL_DEPTH_STENCIL}, GL_BITMAP, 0);
  lengths({GL_RED, GL_RGBA, GL_DEPTH_STENCIL}, 77, 0);
  // None is longer than the longest.
  for (GLenum format = 0; format < 0x9000; ++format) {
    for (const GLenum type : {GL_FLOAT, GL_INT, GL_FLOAT_32_UNSIGNED_INT_24_8_REV})
      ASSERT_LE(clearValueBytes(format, type), kLongestClearValue);
  }
}

}  // namespace
}  // namespace qv::test
