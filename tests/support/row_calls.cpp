// One call for each prototype of the table. What goes through a thousand rows ends here, so that tests stay cheap to compile.
#include "tests/support/row_calls.h"

#include <cstring>
#include <iterator>
#include <type_traits>
#include <utility>

#include "wire/gl_api.h"

namespace qv::test {
namespace {

template <typename T>
T argument(uint64_t value) {
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(static_cast<uintptr_t>(value));
  } else {
    T out;
    std::memcpy(&out, &value, sizeof out);
    return out;
  }
}

template <typename Pointer>
struct Caller;
template <typename R, typename... A>
struct Caller<R(APIENTRY*)(A...)> {
  static uint64_t call(Routine routine, const uint64_t* values) { return call(routine, values, std::index_sequence_for<A...>{}); }

 private:
  template <size_t... I>
  static uint64_t call(Routine routine, [[maybe_unused]] const uint64_t* values, std::index_sequence<I...>) {
    const auto function = reinterpret_cast<R(APIENTRY*)(A...)>(routine);
    uint64_t bits = 0;
    if constexpr (std::is_void_v<R>) {
      function(argument<A>(values[I])...);
    } else {
      const R result = function(argument<A>(values[I])...);
      std::memcpy(&bits, &result, sizeof result);
    }
    return bits;
  }
};

// In the order of allRows(), which has the routines first.
constexpr uint64_t (*kCalls[])(Routine, const uint64_t*) = {
#define QV_ROW(name, ...) &Caller<decltype(&::name)>::call,
#include "wire/entry_points.def"
};

}  // namespace

uint64_t callRoutine(const RowFacts& row, Routine routine, const uint64_t* values) {
  return kCalls[&row - allRows().data()](routine, values);
}

}  // namespace qv::test
