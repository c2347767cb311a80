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
  const bool oneVertex = listOpen_ && primitiveOpen_ && vertices_ == 1;
  switch (static_cast<uint32_t>(row.opcode)) {
    case opcodeOf<op::glNewList>:
      if (!listOpen_) primitiveOpen_ = false;
      listOpen_ = true;
      return true;
    case opcodeOf<op::glEndList>:
      if (oneVertex) return false;
      listOpen_ = false;
      return true;
    case opcodeOf<op::glBegin>:
      if (!primitiveOpen_) vertices_ = 0;
      primitiveOpen_ = true;
      return true;
    case opcodeOf<op::qvRunBroken>:
      primitiveOpen_ = true;
      vertices_ = 1;  // or any number
      return true;
    case opcodeOf<op::glEnd>:
    case opcodeOf<op::qvRunEnded>:
      primitiveOpen_ = false;
      return true;
    default:
      break;
  }
  if (isPosition(row.name)) ++vertices_;
  return !(oneVertex && setsAttribute(row));
}

}  // namespace qv::fuzz
