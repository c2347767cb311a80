// Random: the numbers that makers and mutators draw.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qv::fuzz {

// The same seed gives the same numbers, so that an input can be made again.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}

  uint64_t next() {
    uint64_t z = state_ += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
  }
  // 0 to n - 1; 0 for an n of 0.
  uint32_t below(uint64_t n) { return static_cast<uint32_t>((next() >> 32) * n >> 32); }
  // Both ends count.
  int64_t between(int64_t low, int64_t high) {
    return low + static_cast<int64_t>(next() % (static_cast<uint64_t>(high) - static_cast<uint64_t>(low) + 1));
  }
  bool oneIn(uint32_t n) { return below(n) == 0; }
  double fraction() { return static_cast<double>(next() >> 11) * 0x1p-53; }
  template <typename T>
  const T& of(std::span<const T> choices) {
    return choices[below(choices.size())];
  }
  template <typename T, size_t N>
  const T& of(const T (&choices)[N]) {
    return choices[below(N)];
  }

 private:
  uint64_t state_;
};

}  // namespace qv::fuzz
