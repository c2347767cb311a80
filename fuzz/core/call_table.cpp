// Reads the table of call makers.
#include "fuzz/core/call_table.h"

#include <string_view>
#include <unordered_map>
#include <vector>

#include "wire/entry_table.h"

namespace qv::fuzz {
namespace {

enum class Place { Outside, Anywhere };

template <Kind... Kinds>
struct KindList {
  static constexpr std::array<Kind, sizeof...(Kinds)> value = {Kinds...};
};

// The kinds of a line as values: a name of a line stands for the kind of that name.
constexpr Place Outside = Place::Outside, Anywhere = Place::Anywhere;
using enum Kind;

struct NamedLine {
  const char* name;
  Place place;
  std::span<const Kind> kinds;
};

constexpr NamedLine kLines[] = {
#define QV_CALL(name, place, ...) {#name, place, KindList<__VA_ARGS__>::value},
#define QV_WORDS(name, ...) {#name, Outside, KindList<__VA_ARGS__>::value},
#include "fuzz/core/calls.def"
};

// A line has a kind for each argument of the prototype.
#define QV_CALL(name, place, ...) \
  static_assert(KindList<__VA_ARGS__>::value.size() == op::name::Prototype::kArguments, "kinds of " #name);
#include "fuzz/core/calls.def"

struct Table {
  std::vector<CallLine> lines;
  std::unordered_map<const RowFacts*, std::vector<const CallLine*>> byRow;

  Table() {
    std::unordered_map<std::string_view, const RowFacts*> rows;
    for (const RowFacts& row : allRows()) rows[row.name] = &row;
    for (const NamedLine& line : kLines) lines.push_back({rows.at(line.name), line.place == Place::Anywhere, line.kinds});
    for (const CallLine& line : lines) byRow[line.row].push_back(&line);
  }
};

const Table& table() {
  static const Table instance;
  return instance;
}

}  // namespace

std::span<const CallLine> callLines() { return table().lines; }

const CallLine* drawLine(const RowFacts& row, Random& random) {
  const auto found = table().byRow.find(&row);
  return found == table().byRow.end() ? nullptr : random.of(std::span<const CallLine* const>(found->second));
}

}  // namespace qv::fuzz
