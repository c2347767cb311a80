// Declarations of the hand-written replay functions, qv::peer::replay::name: for rows marked kOwnReplay, for rows whose form is a
// record, and for private commands.
#pragma once

#include <tuple>
#include <utility>

#include "wire/entry_table.h"
#include "wire/reader.h"

namespace qv::peer {

class Replayer;

// The record of a form, void for a form without one.
template <typename Form>
struct RecordOf {
  using Record = void;
};
template <typename R>
struct RecordOf<As<R>> {
  using Record = R;
};

// The arguments of a row that are no pointers.
template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct ScalarIndices;
template <typename Row, typename R, typename... A>
struct ScalarIndices<Row, R(APIENTRY*)(A...)> {
  static constexpr size_t kCount = sizeof...(A) - Arguments<A...>::kPointerCount;
  static constexpr auto kIndex = [] {
    std::array<size_t, sizeof...(A) + 1> index{};
    size_t k = 0;
    for (size_t i = 0; i < sizeof...(A); ++i) {
      if (!Arguments<A...>::kPointers[i]) index[k++] = i;
    }
    return index;
  }();
  template <size_t I>
  using Type = typename Arguments<A...>::template Type<kIndex[I]>;
};

template <typename Row>
inline constexpr bool kHasOwnReplay = [] {
  if constexpr (!std::is_void_v<typename RecordOf<typename Row::Form>::Record>) {
    return true;
  } else {
    return has<Row>(kOwnReplay);
  }
}();

// The type of a row's function: void(Replayer&, record or scalars, then the reader of the tail if there is one).
template <typename Row, bool Own = kHasOwnReplay<Row>>
struct ReplayFunction {
  using Type = void();  // never called, never defined
};
template <typename Row>
struct ReplayFunction<Row, true> {
  static auto type() {
    using Record = typename RecordOf<typename Row::Form>::Record;
    if constexpr (std::is_void_v<Record>) {
      return []<size_t... I>(std::index_sequence<I...>) {
        if constexpr (LayoutOf<Row>::kHasTail) {
          return std::type_identity<void(Replayer&, typename ScalarIndices<Row>::template Type<I>..., Reader&)>{};
        } else {
          return std::type_identity<void(Replayer&, typename ScalarIndices<Row>::template Type<I>...)>{};
        }
      }(std::make_index_sequence<ScalarIndices<Row>::kCount>{});
    } else if constexpr (HasTail<Record>) {
      return std::type_identity<void(Replayer&, const Record&, Reader&)>{};
    } else {
      return std::type_identity<void(Replayer&, const Record&)>{};
    }
  }
  using Type = typename decltype(type())::type;
};

namespace replay {

#define QV_ROW(name, ...) ReplayFunction<op::name>::Type name;
#define QV_PRIVATE(name, ...) ReplayFunction<op::name>::Type name;
#include "wire/entry_points.def"

}  // namespace replay

}  // namespace qv::peer
