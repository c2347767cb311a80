// Conversion of stored values to the types of the query calls.
#pragma once

#include <cstdint>
#include <limits>

namespace qv {

// Truncates toward zero. A value beyond the range of the integer becomes the lowest integer, as the processor converts it.
template <typename Integer>
inline Integer truncateTo(double value) {
  constexpr double kBound = -static_cast<double>(std::numeric_limits<Integer>::min());
  // Values between the lowest integer and the number one below it truncate to the lowest integer.
  if (value < kBound && value > -kBound - 1.0) return static_cast<Integer>(value);
  return std::numeric_limits<Integer>::min();
}

}  // namespace qv
