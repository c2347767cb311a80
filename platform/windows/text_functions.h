// Texts: searching, numbers and formatting, for a DLL that has no runtime library.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace qv::windows {

inline size_t lengthOf(const char* text) {
  size_t length = 0;
  while (text[length] != '\0') ++length;
  return length;
}

inline int compareTexts(const char* a, const char* b) {
  for (; *a != '\0' && *a == *b; ++a) ++b;
  return static_cast<uint8_t>(*a) - static_cast<uint8_t>(*b);
}

inline int compareTextStarts(const char* a, const char* b, size_t n) {
  for (; n != 0; --n, ++a, ++b) {
    if (*a != *b) return static_cast<uint8_t>(*a) - static_cast<uint8_t>(*b);
    if (*a == '\0') return 0;
  }
  return 0;
}

inline char* findCharacter(const char* text, int character) {
  for (;; ++text) {
    if (*text == static_cast<char>(character)) return const_cast<char*>(text);
    if (*text == '\0') return nullptr;
  }
}

inline char* findLastCharacter(const char* text, int character) {
  const char* found = nullptr;
  for (;; ++text) {
    if (*text == static_cast<char>(character)) found = text;
    if (*text == '\0') return const_cast<char*>(found);
  }
}

inline size_t lengthWithin(const char* text, const char* set) {
  size_t length = 0;
  while (text[length] != '\0' && findCharacter(set, text[length]) != nullptr) ++length;
  return length;
}

inline size_t lengthWithout(const char* text, const char* set) {
  size_t length = 0;
  while (text[length] != '\0' && findCharacter(set, text[length]) == nullptr) ++length;
  return length;
}

// Decimal numbers, as the driver reads them; what is too large is the largest number.
inline int32_t parseNumber(const char* text, char** end) {
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  constexpr int64_t kMost = INT32_MAX;
  int64_t value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    if (value <= kMost) value = value * 10 + (*text - '0');
  }
  if (end != nullptr) *end = const_cast<char*>(text);
  if (negative) return static_cast<int32_t>(value > kMost ? -kMost - 1 : -value);
  return static_cast<int32_t>(value > kMost ? kMost : value);
}

// Collects what fits and counts the rest.
struct Text {
  char* out;
  size_t room;  // the zero at the end included
  size_t length = 0;

  void add(char character) {
    if (length + 1 < room) out[length] = character;
    ++length;
  }
};

inline void addNumber(Text& text, uint64_t value, bool negative, uint32_t base, const char* digits, uint32_t width, char fill) {
  char reversed[24];
  uint32_t count = 0;
  do {
    reversed[count++] = digits[value % base];
    value /= base;
  } while (value != 0);
  if (negative && fill == '0') text.add('-');
  for (uint32_t used = count + negative; used < width; ++used) text.add(fill);
  if (negative && fill != '0') text.add('-');
  while (count != 0) text.add(reversed[--count]);
}

// The conversions that the driver's texts use: %s %c %d %i %u %x %X %p, with a width, filled by blanks or zeros, and with l or ll.
// At most `room` bytes are written, the last of them 0; the result is the length of the whole text.
inline int formatText(char* out, size_t room, const char* format, va_list arguments) {
  Text text{out, room};
  for (; *format != '\0'; ++format) {
    if (*format != '%') {
      text.add(*format);
      continue;
    }
    ++format;
    const char fill = *format == '0' ? '0' : ' ';
    uint32_t width = 0;
    for (; *format >= '0' && *format <= '9'; ++format) width = width * 10 + static_cast<uint32_t>(*format - '0');
    uint32_t longs = 0;
    for (; *format == 'l'; ++format) ++longs;
    switch (*format) {
      case 's': {
        const char* const string = va_arg(arguments, const char*);
        for (const char* at = string == nullptr ? "(null)" : string; *at != '\0'; ++at) text.add(*at);
        break;
      }
      case 'c':
        text.add(static_cast<char>(va_arg(arguments, int)));
        break;
      case 'd':
      case 'i': {
        const int64_t value = longs >= 2 ? va_arg(arguments, int64_t) : va_arg(arguments, int32_t);
        const auto bits = static_cast<uint64_t>(value);
        addNumber(text, value < 0 ? 0 - bits : bits, value < 0, 10, "0123456789", width, fill);
        break;
      }
      case 'u':
      case 'x':
      case 'X': {
        const uint64_t value = longs >= 2 ? va_arg(arguments, uint64_t) : va_arg(arguments, uint32_t);
        addNumber(text, value, false, *format == 'u' ? 10 : 16, *format == 'X' ? "0123456789ABCDEF" : "0123456789abcdef", width, fill);
        break;
      }
      case 'p':
        addNumber(text, reinterpret_cast<uintptr_t>(va_arg(arguments, void*)), false, 16, "0123456789ABCDEF", 2 * sizeof(void*), '0');
        break;
      case '\0':
        --format;
        break;
      default:
        text.add(*format);
    }
  }
  if (room != 0) out[text.length < room ? text.length : room - 1] = '\0';
  return static_cast<int>(text.length);
}

}  // namespace qv::windows
