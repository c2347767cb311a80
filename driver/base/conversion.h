// Conversion of stored values to the types of the query calls.
#pragma once

#include <cstdint>
#include <limits>

namespace qv {

// Toward zero. A value that has no integer of that width becomes the lowest one, as the processor's own conversion gives it.
template <typename Integer>
inline Integer truncateTo(double value) {
  constexpr double kBound = -static_cast<double>(std::numeric_limits<Integer>::min());
  // The lowest integer stands for itself too: values down to just above one below it truncate to it.
  if (value < kBound && value > -kBound - 1.0) return static_cast<Integer>(value);
  return std::numeric_limits<Integer>::min();
}

}  // namespace qv
