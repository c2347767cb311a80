// The rows of the table as types, with their sizes checked against the published prototypes.
#pragma once

#include <cstdint>

#include "wire/columns.h"
#include "wire/layout.h"
#include "wire/records/arrays.h"
#include "wire/records/buffers.h"
#include "wire/records/draws.h"
#include "wire/records/images.h"
#include "wire/records/lists.h"
#include "wire/records/pbuffers.h"
#include "wire/records/programs.h"
#include "wire/records/queries.h"
#include "wire/records/selection.h"
#include "wire/records/vertex_run.h"

namespace qv {

// The parts of a prototype that templates need.
template <typename Function>
struct Signature;
template <typename R, typename... A>
struct Signature<R(APIENTRY*)(A...)> {
  using Return = R;
  using Pointer = R(APIENTRY*)(A...);
  static constexpr uint32_t kArguments = sizeof...(A);
  // Applies a template to the argument types: Apply<Layout, Form> is Layout<Form, A...>.
  template <template <typename, typename...> typename T, typename First>
  using Apply = T<First, A...>;
};

namespace op {

#define QV_ROW(name, opcode, size, core, properties, implementation, ...)          \
  struct name {                                                                    \
    static constexpr const char* kName = #name;                                    \
    static constexpr int kOpcode = opcode;                                         \
    static constexpr int kSize = size;                                             \
    static constexpr int kCore = core;                                             \
    static constexpr uint32_t kProperties = properties;                            \
    using Implementation = implementation;                                         \
    using Form = __VA_ARGS__;                                                      \
    using Prototype = Signature<decltype(&::name)>;                                \
  };
#define QV_PRIVATE(name, opcode, record)        \
  struct name {                                 \
    static constexpr const char* kName = #name; \
    static constexpr int kOpcode = opcode;      \
    using Form = As<record>;                    \
  };
#include "wire/entry_points.def"

}  // namespace op

// Opcode of a row or of a private command: opcodeOf<op::glFinish>.
template <typename Row>
inline constexpr uint32_t opcodeOf = static_cast<uint32_t>(Row::kOpcode);

// Calls `visit(op::Row{})` for every GL routine, in the order of the table.
template <typename Visitor>
constexpr void forEachRow(Visitor&& visit) {
#define QV_ROW(name, ...) visit(op::name{});
#include "wire/entry_points.def"
}

// Whether the routine of a row writes a command.
template <typename Row>
inline constexpr bool kHasCommand = Row::kOpcode != kNoOpcode && !std::is_same_v<typename Row::Form, Local>;

template <typename Row>
constexpr bool has(uint32_t property) {
  return (Row::kProperties & property) != 0;
}

template <typename Row>
using LayoutOf = typename Row::Prototype::template Apply<Layout, typename Row::Form>;

// Whether the header total of a command with this form follows from the prototype alone.
template <typename Form>
inline constexpr bool kSizeFollows = false;
template <>
inline constexpr bool kSizeFollows<Fixed> = true;
template <uint32_t N>
inline constexpr bool kSizeFollows<Vec<N>> = true;
template <typename Reply>
inline constexpr bool kSizeFollows<Query<Reply>> = true;

template <typename Row>
constexpr bool sizeHolds() {
  if constexpr (kSizeFollows<typename Row::Form>) {
    return Row::kSize == static_cast<int>(kSmallHeaderBytes + LayoutOf<Row>::kPayload);
  } else if constexpr (std::is_same_v<typename Row::Form, Local>) {
    return Row::kSize == kNoCommand;
  } else {
    return true;
  }
}

#define QV_ROW(name, ...) static_assert(sizeHolds<op::name>(), #name);
#include "wire/entry_points.def"

}  // namespace qv
