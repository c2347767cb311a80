// GlProcTable and ProcNameTable, derived from the table of entry points; static data without set-up.
#include "driver/tables/proc_tables.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "driver/calls/all.h"
#include "driver/tables/checked_call.h"
#include "driver/tables/wgl_routines.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv {
namespace {

// Every name of the table, aliases too, by its place there.
enum NameIndex : uint32_t {
#define QV_ROW(name, ...) k_##name,
#define QV_ALIAS(name, row) k_##name,
#define QV_WGL(name, ...) k_##name,
#include "wire/entry_points.def"
  kNameCount
};
static_assert(kNameCount == kProcNames);

constexpr std::string_view kNames[] = {
#define QV_ROW(name, ...) #name,
#define QV_ALIAS(name, row) #name,
#define QV_WGL(name, ...) #name,
#include "wire/entry_points.def"
};

// The routine behind a name, as the type of function pointer that the platform uses for all of them.
template <uint32_t Index>
struct Routine;

template <typename Row, typename Implementation>
struct Generated;
template <typename Row>
struct Generated<Row, Stamped> {
  static constexpr auto pointer = &Entry<Row>::call;
};
template <typename Row, uint32_t Number>
struct Generated<Row, Attribute<Number>> {
  static constexpr auto pointer = &AttributeEntry<Row, Number>::call;
};
template <typename Row, uint32_t Type>
struct Generated<Row, Uniform<Type>> {
  static constexpr auto pointer = &UniformEntry<Row, Type>::call;
};

// The routine itself, or in builds that check every call the routine with the check around it.
template <typename Row, auto Pointer>
constexpr auto checked() {
  // The commands of a called list are refused one by one.
  constexpr bool kCallsLists = std::is_same_v<Row, op::glCallList> || std::is_same_v<Row, op::glCallLists>;
  if constexpr (kChecksCalls && !has<Row>(kManyParts) && !kCallsLists) {
    return &CheckedCall<Pointer, Row::kName>::call;
  } else {
    return Pointer;
  }
}

// The hand-written function of a Custom row, which a template cannot name; else what the row's implementation makes.
#define QV_CHOOSE(name, row)                                                \
  template <typename Implementation>                                        \
  constexpr auto choose_##name() {                                          \
    if constexpr (std::is_same_v<Implementation, Custom>) {                 \
      return &gl::name;                                                     \
    } else {                                                                \
      return Generated<row, Implementation>::pointer;                       \
    }                                                                       \
  }
#define QV_ROW(name, opcode, size, core, properties, implementation, ...)   \
  QV_CHOOSE(name, op::name)                                                 \
  template <>                                                               \
  struct Routine<k_##name> {                                                \
    static constexpr auto pointer = checked<op::name, choose_##name<implementation>()>(); \
    static constexpr int kCoreIndex = core;                                 \
  };
#define QV_WGL(name, implementation)                                        \
  QV_CHOOSE(name, void)                                                     \
  template <>                                                               \
  struct Routine<k_##name> {                                                \
    static constexpr auto pointer = choose_##name<implementation>();        \
    static constexpr int kCoreIndex = kNotCore;                             \
  };
#include "wire/entry_points.def"
#undef QV_CHOOSE
#define QV_ALIAS(name, row)                                                 \
  template <>                                                               \
  struct Routine<k_##name> : Routine<k_##row> {                             \
    static constexpr int kCoreIndex = kNotCore;                             \
  };
#include "wire/entry_points.def"

// Where a routine pops its own arguments, the EXT name, which has none, cannot stand for the ARB routine, which has one.
template <uint32_t Index>
constexpr auto kPointer = Routine<Index>::pointer;
template <>
constexpr auto kPointer<k_wglGetExtensionsStringEXT> = [] {
  if constexpr (sizeof(void*) == 4) {
    return &gl::wglGetExtensionsStringEXT;
  } else {
    return &gl::wglGetExtensionsStringARB;
  }
}();

constexpr std::array<uint32_t, kProcNames> sortedNames() {
  std::array<uint32_t, kProcNames> order{};
  for (uint32_t i = 0; i < kProcNames; ++i) order[i] = i;
  std::sort(order.begin(), order.end(), [](uint32_t a, uint32_t b) { return kNames[a] < kNames[b]; });
  return order;
}
constexpr auto kSorted = sortedNames();

constexpr std::array<uint32_t, kCoreProcs> coreOrder() {
  std::array<uint32_t, kCoreProcs> order{};
#define QV_ROW(name, opcode, size, core, ...) \
  if (core != kNotCore) order[static_cast<uint32_t>(core)] = k_##name;
#include "wire/entry_points.def"
  return order;
}
constexpr auto kCoreOrder = coreOrder();

template <size_t... I>
constexpr bool coreComplete(std::index_sequence<I...>) {
  return ((Routine<kCoreOrder[I]>::kCoreIndex == static_cast<int>(I)) && ...);
}
static_assert(coreComplete(std::make_index_sequence<kCoreProcs>{}), "every core index stands in exactly one row");

// The initialisers are names and addresses of functions, so that the compiler lays both tables out as constant data.
template <typename Indices>
struct Tables;
template <size_t... I>
struct Tables<std::index_sequence<I...>> {
  static const ProcNameRow byName[sizeof...(I)];
  static const GlProcTableRecord core;
};
template <size_t... I>
const ProcNameRow Tables<std::index_sequence<I...>>::byName[sizeof...(I)] = {
    {kNames[kSorted[I]].data(), reinterpret_cast<PROC>(kPointer<kSorted[I]>)}...};
template <size_t... I>
const GlProcTableRecord Tables<std::index_sequence<I...>>::core = {
    kCoreProcs, {reinterpret_cast<PROC>(Routine<kCoreOrder[I]>::pointer)...}};

}  // namespace

const ProcNameRow (&ProcNameTable)[kProcNames] = Tables<std::make_index_sequence<kProcNames>>::byName;
const GlProcTableRecord& GlProcTable = Tables<std::make_index_sequence<kCoreProcs>>::core;

}  // namespace qv
