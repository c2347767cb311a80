// Copying, filling and comparing memory, for a DLL that has no runtime library: what memcpy and its kin are there.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

namespace qv::windows {

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

inline void* copyBytes(void* __restrict to, const void* __restrict from, size_t bytes) {
  auto* out = static_cast<uint8_t*>(to);
  const auto* in = static_cast<const uint8_t*>(from);
  if (bytes <= kWide) {
    copyFew(out, in, bytes);
  } else if (bytes < kStringMoves) {
    copyForward(out, in, bytes);
  } else {
    __asm__ volatile("rep movsb" : "+D"(out), "+S"(in), "+c"(bytes) : : "memory");
  }
  return to;
}

inline void* moveBytes(void* to, const void* from, size_t bytes) {
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

inline void* fillBytes(void* at, int value, size_t bytes) {
  void* out = at;
  __asm__ volatile("rep stosb" : "+D"(out), "+c"(bytes) : "a"(value) : "memory");
  return at;
}

inline int compareBytes(const void* a, const void* b, size_t bytes) {
  const auto* const left = static_cast<const uint8_t*>(a);
  const auto* const right = static_cast<const uint8_t*>(b);
  for (size_t i = 0; i < bytes; ++i)
    if (left[i] != right[i]) return left[i] < right[i] ? -1 : 1;
  return 0;
}

inline void* findByte(const void* at, int value, size_t bytes) {
  auto* const in = static_cast<uint8_t*>(const_cast<void*>(at));
  for (size_t i = 0; i < bytes; ++i)
    if (in[i] == static_cast<uint8_t>(value)) return in + i;
  return nullptr;
}

}  // namespace qv::windows
