// The language's own functions for the DLL, on kernel32 alone: no runtime library is loaded with the driver, shares its heap or
// outlives it. The compiler calls the functions of memory; the driver calls the others.
#include <intrin.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/win32.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

namespace {

constexpr size_t kWide = 16;          // bytes of a vector register
constexpr size_t kStringMoves = 512;  // from here on the processor's own copying wins

struct [[gnu::packed, gnu::may_alias]] Unaligned16 {
  uint16_t value;
};
struct [[gnu::packed, gnu::may_alias]] Unaligned32 {
  uint32_t value;
};
struct [[gnu::packed, gnu::may_alias]] Unaligned64 {
  uint64_t value;
};

template <typename T>
inline void copyOne(uint8_t* to, const uint8_t* from) {
  reinterpret_cast<T*>(to)->value = reinterpret_cast<const T*>(from)->value;
}

inline __m128i load(const uint8_t* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
inline void store(uint8_t* to, __m128i value) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), value); }

// Up to 16 bytes, all of them read before one is written.
inline void copyFew(uint8_t* to, const uint8_t* from, size_t bytes) {
  if (bytes >= 8) {
    const uint64_t first = reinterpret_cast<const Unaligned64*>(from)->value;
    const uint64_t last = reinterpret_cast<const Unaligned64*>(from + bytes - 8)->value;
    reinterpret_cast<Unaligned64*>(to)->value = first;
    reinterpret_cast<Unaligned64*>(to + bytes - 8)->value = last;
  } else if (bytes >= 4) {
    const uint32_t first = reinterpret_cast<const Unaligned32*>(from)->value;
    const uint32_t last = reinterpret_cast<const Unaligned32*>(from + bytes - 4)->value;
    reinterpret_cast<Unaligned32*>(to)->value = first;
    reinterpret_cast<Unaligned32*>(to + bytes - 4)->value = last;
  } else if (bytes >= 2) {
    const uint16_t first = reinterpret_cast<const Unaligned16*>(from)->value;
    const uint16_t last = reinterpret_cast<const Unaligned16*>(from + bytes - 2)->value;
    reinterpret_cast<Unaligned16*>(to)->value = first;
    reinterpret_cast<Unaligned16*>(to + bytes - 2)->value = last;
  } else if (bytes == 1) {
    *to = *from;
  }
}

// Above 16 bytes: whole vectors, the last of which may overlap the one before it. Right also for ranges that overlap when `to` is
// below `from`, since the end is read first.
inline void copyForward(uint8_t* to, const uint8_t* from, size_t bytes) {
  const __m128i last = load(from + bytes - kWide);
  uint8_t* const lastTo = to + bytes - kWide;
  for (; bytes > kWide; bytes -= kWide, to += kWide, from += kWide) store(to, load(from));
  store(lastTo, last);
}

inline void copyBackward(uint8_t* to, const uint8_t* from, size_t bytes) {
  const __m128i first = load(from);
  for (; bytes > kWide; bytes -= kWide) store(to + bytes - kWide, load(from + bytes - kWide));
  store(to, first);
}

}  // namespace

extern "C" {

void* memcpy(void* __restrict to, const void* __restrict from, size_t bytes) {
  auto* const out = static_cast<uint8_t*>(to);
  const auto* const in = static_cast<const uint8_t*>(from);
  if (bytes <= kWide) {
    copyFew(out, in, bytes);
  } else if (bytes < kStringMoves) {
    copyForward(out, in, bytes);
  } else {
    __movsb(out, in, bytes);
  }
  return to;
}

void* memmove(void* to, const void* from, size_t bytes) {
  auto* const out = static_cast<uint8_t*>(to);
  const auto* const in = static_cast<const uint8_t*>(from);
  if (bytes <= kWide) {
    copyFew(out, in, bytes);
  } else if (reinterpret_cast<uintptr_t>(out) - reinterpret_cast<uintptr_t>(in) >= bytes) {
    copyForward(out, in, bytes);
  } else {
    copyBackward(out, in, bytes);
  }
  return to;
}

void* memset(void* at, int value, size_t bytes) {
  __stosb(static_cast<uint8_t*>(at), static_cast<uint8_t>(value), bytes);
  return at;
}

int memcmp(const void* a, const void* b, size_t bytes) {
  const auto* const left = static_cast<const uint8_t*>(a);
  const auto* const right = static_cast<const uint8_t*>(b);
  for (size_t i = 0; i < bytes; ++i)
    if (left[i] != right[i]) return left[i] < right[i] ? -1 : 1;
  return 0;
}

void* memchr(const void* at, int value, size_t bytes) {
  auto* const in = static_cast<uint8_t*>(const_cast<void*>(at));
  for (size_t i = 0; i < bytes; ++i)
    if (in[i] == static_cast<uint8_t>(value)) return in + i;
  return nullptr;
}

size_t strlen(const char* text) {
  size_t length = 0;
  while (text[length] != '\0') ++length;
  return length;
}

int strcmp(const char* a, const char* b) {
  for (; *a != '\0' && *a == *b; ++a) ++b;
  return static_cast<uint8_t>(*a) - static_cast<uint8_t>(*b);
}

int strncmp(const char* a, const char* b, size_t n) {
  for (; n != 0; --n, ++a, ++b) {
    if (*a != *b) return static_cast<uint8_t>(*a) - static_cast<uint8_t>(*b);
    if (*a == '\0') return 0;
  }
  return 0;
}

char* strchr(const char* text, int character) {
  for (;; ++text) {
    if (*text == static_cast<char>(character)) return const_cast<char*>(text);
    if (*text == '\0') return nullptr;
  }
}

char* strrchr(const char* text, int character) {
  const char* found = nullptr;
  for (;; ++text) {
    if (*text == static_cast<char>(character)) found = text;
    if (*text == '\0') return const_cast<char*>(found);
  }
}

size_t strspn(const char* text, const char* set) {
  size_t length = 0;
  while (text[length] != '\0' && strchr(set, text[length]) != nullptr) ++length;
  return length;
}

size_t strcspn(const char* text, const char* set) {
  size_t length = 0;
  while (text[length] != '\0' && strchr(set, text[length]) == nullptr) ++length;
  return length;
}

// Decimal numbers, as the driver reads them; what is too large is the largest number.
long strtol(const char* text, char** end, int) {
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  constexpr int64_t kMost = 0x7FFFFFFF;  // long has 32 bits
  int64_t value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    if (value <= kMost) value = value * 10 + (*text - '0');
  }
  if (end != nullptr) *end = const_cast<char*>(text);
  if (negative) return static_cast<long>(value > kMost ? -kMost - 1 : -value);
  return static_cast<long>(value > kMost ? kMost : value);
}

void* malloc(size_t bytes) { return HeapAlloc(GetProcessHeap(), 0, bytes); }
void free(void* memory) { HeapFree(GetProcessHeap(), 0, memory); }
void* realloc(void* memory, size_t bytes) {
  return memory == nullptr ? malloc(bytes) : HeapReAlloc(GetProcessHeap(), 0, memory, bytes);
}
void* calloc(size_t count, size_t bytes) {
  if (bytes != 0 && count > SIZE_MAX / bytes) return nullptr;
  return HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, count * bytes);
}

[[noreturn]] void abort() {
  TerminateProcess(GetCurrentProcess(), 3);
  __builtin_unreachable();
}

double sqrt(double value) { return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(value))); }

// The processor's own; it leaves angles beyond 2^63 as they are, which no picture tells apart.
void sincos(double angle, double* sine, double* cosine) {
  long double s = 0, c = 0;
  __asm__("fsincos" : "=t"(c), "=u"(s) : "0"(static_cast<long double>(angle)));
  *sine = static_cast<double>(s);
  *cosine = static_cast<double>(c);
}
double sin(double angle) {
  double sine = 0, cosine = 0;
  sincos(angle, &sine, &cosine);
  return sine;
}
double cos(double angle) {
  double sine = 0, cosine = 0;
  sincos(angle, &sine, &cosine);
  return cosine;
}

[[noreturn]] void __cxa_pure_virtual() { abort(); }

}  // extern "C"

// --- texts of errors ---

namespace {

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

void addNumber(Text& text, uint64_t value, bool negative, uint32_t base, const char* digits, uint32_t width, char fill) {
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

}  // namespace

// The conversions that the driver's texts use: %s %c %d %i %u %x %X %p, with a width, filled by blanks or zeros, and with l or ll.
// Its name is what the compiler's headers call vsnprintf.
extern "C" int __mingw_vsnprintf(char* out, size_t room, const char* format, va_list arguments) {
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

// --- operator new and delete ---

namespace std {
const nothrow_t nothrow{};
}

namespace {

// The address that the heap gave stands before the aligned one.
void* allocateAligned(size_t bytes, size_t alignment) {
  if (bytes > SIZE_MAX - alignment - sizeof(void*)) return nullptr;
  void* const base = malloc(bytes + alignment + sizeof base);
  if (base == nullptr) return nullptr;
  const uintptr_t at = (reinterpret_cast<uintptr_t>(base) + sizeof base + alignment - 1) & ~static_cast<uintptr_t>(alignment - 1);
  std::memcpy(reinterpret_cast<void*>(at - sizeof base), &base, sizeof base);
  return reinterpret_cast<void*>(at);
}

void freeAligned(void* memory) {
  if (memory == nullptr) return;
  void* base = nullptr;
  std::memcpy(&base, static_cast<uint8_t*>(memory) - sizeof base, sizeof base);
  free(base);
}

// There are no exceptions: a program without memory ends here.
void* orEnd(void* memory) {
  if (memory == nullptr) abort();
  return memory;
}

}  // namespace

void* operator new(size_t bytes) { return orEnd(malloc(bytes)); }
void* operator new[](size_t bytes) { return orEnd(malloc(bytes)); }
void* operator new(size_t bytes, const std::nothrow_t&) noexcept { return malloc(bytes); }
void* operator new[](size_t bytes, const std::nothrow_t&) noexcept { return malloc(bytes); }
void* operator new(size_t bytes, std::align_val_t alignment) { return orEnd(allocateAligned(bytes, static_cast<size_t>(alignment))); }
void operator delete(void* memory) noexcept { free(memory); }
void operator delete[](void* memory) noexcept { free(memory); }
void operator delete(void* memory, size_t) noexcept { free(memory); }
void operator delete[](void* memory, size_t) noexcept { free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { freeAligned(memory); }
void operator delete(void* memory, size_t, std::align_val_t) noexcept { freeAligned(memory); }

// --- load and unload ---

namespace {

using Function = void (*)();
constexpr uint32_t kMostAtExit = 16;
Function atExit[kMostAtExit];
uint32_t atExitCount = 0;

}  // namespace

extern "C" {

// The constructors of static objects: a mark, the functions, null. The linker makes it.
extern const Function __CTOR_LIST__[];

int atexit(Function function) {
  if (atExitCount == kMostAtExit) return 1;
  atExit[atExitCount++] = function;
  return 0;
}

// What Windows calls. Objects are made before the driver attaches, in the order in which the usual start-up code makes them, and go
// behind its detach, but when the whole process ends. A failed attach is followed by a detach.
BOOL WINAPI DllMainCRTStartup(HINSTANCE instance, DWORD reason, LPVOID reserved) {
  static bool attached = false;
  // The loader tells of the end of a failed attach, too, which has been dealt with.
  if (reason == DLL_PROCESS_DETACH && !attached) return TRUE;
  if (reason == DLL_PROCESS_ATTACH) {
    uint32_t count = 0;
    while (__CTOR_LIST__[count + 1] != nullptr) ++count;
    for (; count != 0; --count) __CTOR_LIST__[count]();
  }
  BOOL result = DllMain(instance, reason, reserved);
  attached = attached || (reason == DLL_PROCESS_ATTACH && result);
  if (reason == DLL_PROCESS_ATTACH && !result) {
    DllMain(instance, DLL_PROCESS_DETACH, nullptr);
    reason = DLL_PROCESS_DETACH;
    reserved = nullptr;
  }
  if (reason == DLL_PROCESS_DETACH && reserved == nullptr) {
    while (atExitCount != 0) atExit[--atExitCount]();
  }
  return result;
}

}  // extern "C"
