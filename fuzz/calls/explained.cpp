// Reads the table of explained differences.
#include "fuzz/calls/explained.h"

#include <string_view>
#include <unordered_set>

#include "wire/columns.h"

namespace qv::fuzz {
namespace {

struct Query {
  std::string_view routine;
  uint32_t name;
};
constexpr Query kNotAsked[] = {
#define QV_NOT_ASKED(routine, name, why) {#routine, name},
#include "fuzz/calls/explained.def"
};

constexpr Query kRounded[] = {
#define QV_ROUNDED(routine, name, why) {#routine, name},
#include "fuzz/calls/explained.def"
};

constexpr uint32_t kAnyAnswer[] = {
#define QV_ANY_ANSWER(name, why) name,
#include "fuzz/calls/explained.def"
};

std::unordered_set<std::string_view> leftOut() {
  std::unordered_set<std::string_view> out = {
#define QV_NOT_CALLED(routine, why) #routine,
#include "fuzz/calls/explained.def"
  };
  return out;
}

}  // namespace

bool isCompared(const RowFacts& row) {
  static const std::unordered_set<std::string_view> names = leftOut();
  // Without a line the target of a glMultiTexCoord is any: required oddity 80.
  Random none(0);
  if (drawLine(row, none) == nullptr && std::string_view(row.name).starts_with("glMultiTexCoord")) return false;
  return !row.isPrivate && !names.contains(row.name);
}

bool isComparedInList(const RowFacts& row) {
  const std::string_view name = row.name;
  if (row.attribute || name == "glBegin" || name == "glEnd" || name == "glEndList" || name.starts_with("glCallList")) return true;
  return row.stamped && (row.properties & (kShadow | kListTest)) == 0;
}

bool isCompared(const Call& call) {
  for (const Query& query : kNotAsked)
    if (query.routine == call.row->name && call.values[0] == query.name) return false;
  return true;
}

bool isAnswerCompared(const Call& call) {
  for (const uint64_t value : call.values)
    for (const uint32_t name : kAnyAnswer)
      if (value == name) return false;
  return true;
}

bool isRounded(const Call& call) {
  for (const Query& query : kRounded)
    if (query.routine == call.row->name && call.values[0] == query.name) return true;
  return false;
}

}  // namespace qv::fuzz
