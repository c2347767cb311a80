// The known faults.
#include "fuzz/render/known_faults.h"

#include <string_view>

#include "wire/entry_table.h"

namespace qv::fuzz {
namespace {

bool isPosition(std::string_view name) { return name.starts_with("glVertex") && !name.starts_with("glVertexAttrib"); }

// Whether the command sets a vertex attribute other than the position.
bool setsAttribute(const RowFacts& row) {
  const std::string_view name = row.name;
  if (row.attribute) return !isPosition(name);
  for (const std::string_view begin : {"glVertexAttrib", "glSecondaryColor", "glFogCoord", "glTexCoordP", "glMultiTexCoordP", "glNormalP",
                                       "glColorP", "glEdgeFlag", "glIndex", "glMaterial", "glEvalCoord", "glEvalPoint"}) {
    if (name.starts_with(begin)) return true;
  }
  return false;
}

}  // namespace

bool KnownFaults::allows(const RowFacts& row, const uint8_t*, uint64_t) {
  switch (static_cast<uint32_t>(row.opcode)) {
    case opcodeOf<op::glNewList>:
      if (!listOpen_) primitiveOpen_ = anyVertex_ = false;
      listOpen_ = true;
      return true;
    case opcodeOf<op::glEndList>:
      listOpen_ = false;
      return true;
    case opcodeOf<op::glBegin>:
      if (!primitiveOpen_) anyVertex_ = false;
      primitiveOpen_ = true;
      return true;
    case opcodeOf<op::qvRunBroken>:
      primitiveOpen_ = anyVertex_ = true;
      return true;
    case opcodeOf<op::glEnd>:
    case opcodeOf<op::qvRunEnded>:
      primitiveOpen_ = false;
      return true;
    default:
      break;
  }
  if (isPosition(row.name)) anyVertex_ = true;
  // Fault 1: two attributes that first appear between two vertices of a primitive in a list.
  return !(listOpen_ && anyVertex_ && primitiveOpen_ && setsAttribute(row));
}

}  // namespace qv::fuzz
