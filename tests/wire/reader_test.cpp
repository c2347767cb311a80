// The cursor that every reader of the wire reads through: what it gives, what it refuses, and that a failure stays.
#include "wire/reader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace qv::test {
namespace {

using Bytes = std::vector<uint8_t>;

// On the heap, so that a sanitizer sees a read behind the last byte.
Reader readerOf(const Bytes& bytes) { return Reader(bytes.data(), bytes.size()); }

// After a failure every request fails and nothing is left.
void expectFailed(Reader& reader) {
  EXPECT_TRUE(reader.failed());
  EXPECT_EQ(reader.left(), 0u);
  uint8_t byte = 0x5A;
  EXPECT_FALSE(reader.take(byte));
  EXPECT_EQ(byte, 0x5A);
  EXPECT_EQ(reader.bytes(0), nullptr);
  EXPECT_EQ(reader.bytes(1), nullptr);
  EXPECT_EQ(reader.elements<uint16_t>(0).size(), 0u);
  EXPECT_EQ(reader.elements<uint16_t>(1).size(), 0u);
  EXPECT_EQ(reader.text(1), nullptr);
  EXPECT_EQ(reader.rest().size(), 0u);
  EXPECT_TRUE(reader.failed());
  EXPECT_EQ(reader.left(), 0u);
}

// Values come off the front in order, at any alignment, and the reader counts what is left.
TEST(Reader, TakesValuesInOrder) {
  const Bytes bytes = {0x11, 0x44, 0x33, 0x22, 0x66, 0x55, 0, 0, 0x80, 0x3F};
  Reader reader = readerOf(bytes);
  EXPECT_EQ(reader.left(), 10u);
  uint8_t first = 0;
  uint16_t second = 0;
  float last = 0;
  ASSERT_TRUE(reader.take(first));
  EXPECT_EQ(first, 0x11);
  EXPECT_EQ(reader.left(), 9u);
  ASSERT_TRUE(reader.take(second));
  EXPECT_EQ(second, 0x3344);
  const uint8_t* const between = reader.bytes(3);
  ASSERT_EQ(between, bytes.data() + 3);
  EXPECT_EQ(between[0], 0x22);
  ASSERT_TRUE(reader.take(last));
  EXPECT_EQ(last, 1.0f);
  EXPECT_EQ(reader.left(), 0u);
  EXPECT_FALSE(reader.failed());
}

// A value that is not all there is not read: the reader fails and leaves the value as it was.
TEST(Reader, ValueBeyondTheEndFails) {
  const Bytes bytes = {1, 2, 3};
  Reader reader = readerOf(bytes);
  uint32_t value = 0xCAFE;
  EXPECT_FALSE(reader.take(value));
  EXPECT_EQ(value, 0xCAFEu);
  expectFailed(reader);
}

// A request for bytes ends exactly at the last one; one more fails, and so does a length of all 64 bits.
TEST(Reader, BytesEndAtTheLastOne) {
  const Bytes bytes = {1, 2, 3};
  Reader exact = readerOf(bytes);
  EXPECT_EQ(exact.bytes(3), bytes.data());
  EXPECT_FALSE(exact.failed());
  EXPECT_NE(exact.bytes(0), nullptr);
  EXPECT_FALSE(exact.failed());
  Reader oneMore = readerOf(bytes);
  EXPECT_EQ(oneMore.bytes(4), nullptr);
  expectFailed(oneMore);
  Reader all = readerOf(bytes);
  EXPECT_EQ(all.bytes(1), bytes.data());
  EXPECT_EQ(all.bytes(~uint64_t{0}), nullptr);
  expectFailed(all);
}

// Elements are read at any alignment, one by one and as a whole.
TEST(Reader, ElementsNeedNoAlignment) {
  const Bytes bytes = {0xFF, 1, 0, 0, 0, 2, 0, 0, 0, 9};
  Reader reader = readerOf(bytes);
  ASSERT_NE(reader.bytes(1), nullptr);
  const Elements<uint32_t> elements = reader.elements<uint32_t>(2);
  ASSERT_EQ(elements.size(), 2u);
  EXPECT_EQ(elements.bytes(), 8u);
  EXPECT_EQ(elements[0], 1u);
  EXPECT_EQ(elements[1], 2u);
  EXPECT_EQ(elements.data(), bytes.data() + 1);
  uint32_t copy[2] = {};
  elements.copyTo(copy);
  EXPECT_EQ(copy[1], 2u);
  EXPECT_EQ(reader.left(), 1u);
}

// A count of elements whose bytes are not all there fails, and no product of count and width wraps.
TEST(Reader, ElementsBeyondTheEndFail) {
  const Bytes bytes(8);
  for (const uint64_t count : {uint64_t{3}, uint64_t{0x40000001}, uint64_t{0x4000000000000000}, uint64_t{0x4000000000000001},
                               uint64_t{0x4000000000000002}, ~uint64_t{0}}) {
    Reader reader = readerOf(bytes);
    EXPECT_EQ(reader.elements<uint32_t>(count).size(), 0u) << count;
    expectFailed(reader);
  }
  for (const uint64_t count : {uint64_t{2}, uint64_t{0x2000000000000000}, uint64_t{0x2000000000000001}}) {
    Reader reader = readerOf(bytes);
    EXPECT_EQ(reader.elements<double>(count).size(), 0u) << count;
    expectFailed(reader);
  }
}

// No elements at all are no failure, also at the end.
TEST(Reader, NoElementsAreNoFailure) {
  const Bytes bytes = {1};
  Reader reader = readerOf(bytes);
  EXPECT_EQ(reader.elements<double>(0).size(), 0u);
  EXPECT_EQ(reader.left(), 1u);
  EXPECT_EQ(reader.rest().size(), 1u);
  EXPECT_EQ(reader.elements<double>(0).size(), 0u);
  EXPECT_FALSE(reader.failed());
  uint8_t untouched = 7;
  reader.elements<uint8_t>(0).copyTo(&untouched);
  EXPECT_EQ(untouched, 7);
}

// A text ends with its zero, which its length counts; zeros within it are its own.
TEST(Reader, TextEndsWithItsZero) {
  const Bytes bytes = {'a', 'b', 0, 0, 'c', 0, 0x33};
  Reader reader = readerOf(bytes);
  EXPECT_STREQ(reader.text(3), "ab");
  EXPECT_STREQ(reader.text(1), "");
  EXPECT_STREQ(reader.text(2), "c");
  EXPECT_EQ(reader.left(), 1u);
  Reader within = readerOf(bytes);
  const char* const whole = within.text(6);
  ASSERT_NE(whole, nullptr);
  EXPECT_EQ(std::string(whole, 5), std::string("ab\0\0c", 5));
}

// A text without its zero, of no length, or longer than what is left fails.
TEST(Reader, TextWithoutItsZeroFails) {
  const Bytes bytes = {'a', 'b', 'c'};
  for (const uint64_t length : {uint64_t{0}, uint64_t{1}, uint64_t{3}, uint64_t{4}, ~uint64_t{0}}) {
    Reader reader = readerOf(bytes);
    EXPECT_EQ(reader.text(length), nullptr) << length;
    expectFailed(reader);
  }
}

// The rest is all that is left, and nothing is left behind it.
TEST(Reader, RestIsAllThatIsLeft) {
  const Bytes bytes = {1, 2, 3};
  Reader reader = readerOf(bytes);
  ASSERT_NE(reader.bytes(1), nullptr);
  const Elements<uint8_t> rest = reader.rest();
  ASSERT_EQ(rest.size(), 2u);
  EXPECT_EQ(rest.data(), bytes.data() + 1);
  EXPECT_EQ(rest[1], 3);
  EXPECT_EQ(reader.left(), 0u);
  EXPECT_EQ(reader.rest().size(), 0u);
  EXPECT_FALSE(reader.failed());
}

// Whoever reads may make the reader fail.
TEST(Reader, FailureCanBeDeclared) {
  const Bytes bytes = {1, 2, 3};
  Reader reader = readerOf(bytes);
  reader.fail();
  expectFailed(reader);
}

// Bytes at no address are none: the reader has failed and nothing is left.
TEST(Reader, BytesAtNoAddressAreNone) {
  Reader reader(nullptr, 8);
  EXPECT_EQ(reader.left(), 0u);
  uint32_t value = 7;
  EXPECT_FALSE(reader.take(value));
  EXPECT_EQ(value, 7u);
  expectFailed(reader);
}

}  // namespace
}  // namespace qv::test
