// The DLL's own functions of memory and text against the C library's.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include "platform/windows/memory_functions.h"
#include "platform/windows/text_functions.h"

namespace qv::windows {
namespace {

std::vector<uint8_t> pattern(size_t bytes) {
  std::vector<uint8_t> made(bytes);
  std::iota(made.begin(), made.end(), uint8_t{1});
  return made;
}

// Every size around the borders of the ways to copy arrives whole, at every alignment, and writes nothing beside itself.
TEST(WindowsFunctions, CopiesBytes) {
  const std::vector<uint8_t> source = pattern(2000);
  for (size_t bytes = 0; bytes < 700; ++bytes) {
    for (size_t at = 0; at < 3; ++at) {
      std::vector<uint8_t> expected(2000, 0xEE), actual = expected;
      std::memcpy(expected.data() + 5 + at, source.data() + at * 7, bytes);
      EXPECT_EQ(copyBytes(actual.data() + 5 + at, source.data() + at * 7, bytes), actual.data() + 5 + at);
      ASSERT_EQ(actual, expected) << bytes << " at " << at;
    }
  }
}

// Ranges that overlap move as if there were a copy between, whichever lies first and however far apart.
TEST(WindowsFunctions, MovesBytesThatOverlap) {
  for (size_t bytes = 0; bytes < 80; ++bytes) {
    for (size_t from = 0; from < 60; ++from) {
      for (const size_t to : {size_t{0}, size_t{1}, size_t{15}, size_t{16}, size_t{17}, size_t{33}, size_t{59}}) {
        std::vector<uint8_t> expected = pattern(200), actual = expected;
        std::memmove(expected.data() + to, expected.data() + from, bytes);
        EXPECT_EQ(moveBytes(actual.data() + to, actual.data() + from, bytes), actual.data() + to);
        ASSERT_EQ(actual, expected) << bytes << " from " << from << " to " << to;
      }
    }
  }
}

// Filling writes its bytes alone; comparing and finding look at bytes without a sign and stop where they are told.
TEST(WindowsFunctions, FillsComparesAndFindsBytes) {
  std::vector<uint8_t> bytes(20, 1);
  EXPECT_EQ(fillBytes(bytes.data() + 3, 0x1FF, 9), bytes.data() + 3);
  for (size_t i = 0; i < bytes.size(); ++i) EXPECT_EQ(bytes[i], i >= 3 && i < 12 ? 0xFF : 1) << i;
  EXPECT_LT(compareBytes("a\x01", "a\xF0", 2), 0);
  EXPECT_GT(compareBytes("a\xF0", "a\x01", 2), 0);
  EXPECT_EQ(compareBytes("a\xF0", "a\x01", 1), 0);
  EXPECT_EQ(compareBytes("", "", 0), 0);
  EXPECT_EQ(findByte(bytes.data(), 0xFF, 20), bytes.data() + 3);
  EXPECT_EQ(findByte(bytes.data(), 0x1FF, 4), bytes.data() + 3);
  EXPECT_EQ(findByte(bytes.data(), 0xFF, 3), nullptr);
}

// Searches in texts answer what the C library's answer.
TEST(WindowsFunctions, SearchesTexts) {
  const char* const texts[] = {"", "a", "abc", "abd", "ab", "a.b[3].c", "  x y", "\xF0z", "...."};
  for (const char* const text : texts) {
    SCOPED_TRACE(text);
    EXPECT_EQ(lengthOf(text), std::strlen(text));
    for (const char character : {'\0', '.', '[', 'a', 'x', '\xF0'}) {
      EXPECT_EQ(findCharacter(text, character), std::strchr(text, character));
      EXPECT_EQ(findLastCharacter(text, character), std::strrchr(text, character));
    }
    for (const char* const set : {"", " ", ".", "abc", " x\xF0"}) {
      EXPECT_EQ(lengthWithin(text, set), std::strspn(text, set));
      EXPECT_EQ(lengthWithout(text, set), std::strcspn(text, set));
    }
    for (const char* const other : texts) {
      const auto sign = [](int value) { return (value > 0) - (value < 0); };
      EXPECT_EQ(sign(compareTexts(text, other)), sign(std::strcmp(text, other))) << other;
      for (const size_t n : {size_t{0}, size_t{1}, size_t{2}, size_t{3}, size_t{9}})
        EXPECT_EQ(sign(compareTextStarts(text, other, n)), sign(std::strncmp(text, other, n))) << other << " " << n;
    }
  }
}

// Decimal numbers are read up to the first other character, and those of more than 32 bits become the nearest.
TEST(WindowsFunctions, ParsesNumbers) {
  const auto parsed = [](const char* text) {
    char* end = nullptr;
    const int32_t value = parseNumber(text, &end);
    return std::pair<int32_t, ptrdiff_t>(value, end - text);
  };
  using Parsed = std::pair<int32_t, ptrdiff_t>;
  EXPECT_EQ(parsed("12]"), Parsed(12, 2));
  EXPECT_EQ(parsed(" \t-7x"), Parsed(-7, 4));
  EXPECT_EQ(parsed("+0"), Parsed(0, 2));
  EXPECT_EQ(parsed("2147483647"), Parsed(INT_MAX, 10));
  EXPECT_EQ(parsed("2147483648"), Parsed(INT_MAX, 10));
  EXPECT_EQ(parsed("-2147483648"), Parsed(INT_MIN, 11));
  EXPECT_EQ(parsed("-99999999999999999999999"), Parsed(INT_MIN, 24));
  EXPECT_EQ(parsed("99999999999999999999999"), Parsed(INT_MAX, 23));
  EXPECT_EQ(parseNumber("5", nullptr), 5);
}

[[gnu::format(printf, 1, 2)]] void expectSame(const char* format, ...) {
  for (const size_t room : {size_t{0}, size_t{1}, size_t{5}, size_t{100}}) {
    char expected[100], actual[100];
    std::memset(expected, 'x', sizeof expected);
    std::memset(actual, 'x', sizeof actual);
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int length = std::vsnprintf(expected, room, format, arguments);
    EXPECT_EQ(formatText(actual, room, format, again), length) << format;
    va_end(again);
    va_end(arguments);
    // What the C library leaves behind the text is not compared.
    EXPECT_EQ(std::string(actual, std::min<size_t>(room, static_cast<size_t>(length) + 1)),
              std::string(expected, std::min<size_t>(room, static_cast<size_t>(length) + 1)))
        << format;
    for (size_t i = room; i < sizeof actual; ++i) ASSERT_EQ(actual[i], 'x') << i;
  }
}

// Texts are what printf makes of them, cut to the room with their whole length told.
TEST(WindowsFunctions, FormatsTexts) {
  expectSame("plain");
  expectSame("%s in %s", "GL_INVALID_VALUE", "glBegin(0)");
  expectSame("%d %i %u", -1, INT_MIN, UINT_MAX);
  expectSame("%x %X %04x", 0xBEEFu, 0xBEEFu, 0x1Fu);
  expectSame("%llu %lld", ULLONG_MAX, LLONG_MIN);
  expectSame("%llx", 0x123456789ABCDEFull);
  expectSame("%5d|%05d|%3u", -42, -42, 12345u);
  expectSame("%c%%", 'q');
  expectSame("%s", "");
}

}  // namespace
}  // namespace qv::windows
