// Builds the table of handlers from the table of entry points.
#include "peer/replay/opcode_table.h"

#include <array>

#include "peer/replay/evaluators.h"
#include "peer/replay/framebuffer_replay.h"
#include "peer/replay/image_replay.h"
#include "peer/replay/row_replay.h"
#include "peer/replay/texture_replay.h"

namespace qv::peer {
namespace {

using Table = std::array<Handler, kOpcodes>;

constexpr const char* kNoFunction = "the host's OpenGL lacks the function";

template <typename Row>
bool passOverMissing(Replayer& replayer, Reader) {
  replayer.passOver(opcodeOf<Row>, Row::kName, kNoFunction);
  return true;
}

// `Own` is the row's own function; null when it has none.
template <typename Row, auto Own>
constexpr Handler handlerOf() {
  using Form = typename Row::Form;
  using L = LayoutOf<Row>;
  if constexpr (kHasOwnReplay<Row>) {
    return &replayCommand<Row, L, &callOwn<Row, L, Own>>;
  } else {
    return &replayCommand<Row, L, &FormReplay<Row, Form>::replay>;
  }
}

// One element per row, in the order of the table, as constants: code that visits the rows would become one huge function.
struct RowEntry {
  int opcode = kNoOpcode;  // of a routine that writes a command
  Handler handler = nullptr;
  Handler missing = nullptr;  // for a host without the function
};

template <typename Row, auto Own>
constexpr RowEntry rowEntryOf() {
  if constexpr (kHasCommand<Row>) {
    // The state of arrays is the host's own: it follows the guest's whatever GL has.
    constexpr bool kWithoutGl = std::is_same_v<typename Row::Form, As<ArrayPointerRecord>>;
    constexpr Handler kHandler = handlerOf<Row, Own>();
    return {Row::kOpcode, kHandler, kWithoutGl ? kHandler : &passOverMissing<Row>};
  } else {
    return {};
  }
}

// A row without a function of its own must not name one: the address of an undefined function cannot be taken.
#define QV_OWN(name)                                    \
  []<typename Row>(Row) {                               \
    if constexpr (kHasOwnReplay<Row>) {                 \
      return rowEntryOf<Row, &replay::name>();          \
    } else {                                            \
      return rowEntryOf<Row, nullptr>();                \
    }                                                   \
  }(op::name{})

constexpr RowEntry kRows[] = {
#define QV_ROW(name, ...) QV_OWN(name),
#include "wire/entry_points.def"
};
static_assert(sizeof(GlFunctions) == std::size(kRows) * sizeof(void*));

Table makeTable() {
  Table table{};
  for (size_t i = 0; i < std::size(kRows); ++i) {
    const RowEntry& row = kRows[i];
    if (row.opcode == kNoOpcode) continue;
    void* function = nullptr;
    std::memcpy(&function, reinterpret_cast<const uint8_t*>(&gl) + i * sizeof function, sizeof function);
    table[static_cast<size_t>(row.opcode)] = function != nullptr ? row.handler : row.missing;
  }
#define QV_PRIVATE(name, ...)                    \
  table[static_cast<size_t>(op::name::kOpcode)] = \
      &replayCommand<op::name, Layout<op::name::Form>, &callOwn<op::name, Layout<op::name::Form>, &replay::name>>;
#include "wire/entry_points.def"
  return table;
}

template <typename Form>
inline constexpr bool kIsQuery = std::is_same_v<Form, TextQuery>;
template <typename Reply>
inline constexpr bool kIsQuery<Query<Reply>> = true;

constexpr std::array<bool, kOpcodes> makeQueries() {
  std::array<bool, kOpcodes> queries{};
  forEachRow([&]<typename Row>(Row) {
    if constexpr (Row::kOpcode != kNoOpcode) queries[Row::kOpcode] = kIsQuery<typename Row::Form>;
  });
  return queries;
}

constexpr std::array<const char*, kOpcodes> makeNames() {
  std::array<const char*, kOpcodes> names{};
  forEachRow([&]<typename Row>(Row) {
    if constexpr (Row::kOpcode != kNoOpcode) names[Row::kOpcode] = Row::kName;
  });
#define QV_PRIVATE(name, opcode, record) names[opcode] = #name;
#include "wire/entry_points.def"
  return names;
}

}  // namespace

const Handler* opcodeTable() {
  static const Table table = makeTable();
  return table.data();
}

bool isQuery(uint32_t opcode) {
  static constexpr std::array<bool, kOpcodes> kQueries = makeQueries();
  return opcode < kOpcodes && kQueries[opcode];
}

const char* opcodeName(uint32_t opcode) {
  static constexpr std::array<const char*, kOpcodes> kNames = makeNames();
  return opcode < kOpcodes ? kNames[opcode] : nullptr;
}

}  // namespace qv::peer
