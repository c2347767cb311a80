// The known faults.
#include "fuzz/render/known_faults.h"

#include <string_view>

#include "peer/replay/vertex_attributes.h"
#include "wire/entry_table.h"

namespace qv::fuzz {
namespace {

bool isPosition(std::string_view name) { return name.starts_with("glVertex") && !name.starts_with("glVertexAttrib"); }

}  // namespace

bool KnownFaults::allows(const RowFacts& row, const uint8_t*, uint64_t) {
  const auto opcode = static_cast<uint32_t>(row.opcode);
  const bool cut = listOpen_ && primitiveOpen_ && vertices_ > 0;
  switch (opcode) {
    case opcodeOf<op::glNewList>:
      if (!listOpen_) primitiveOpen_ = false;
      listOpen_ = true;
      return true;
    case opcodeOf<op::glEndList>:
      if (cut) return false;
      listOpen_ = false;
      return true;
    case opcodeOf<op::glBegin>:
      if (!primitiveOpen_) vertices_ = 0;
      primitiveOpen_ = true;
      return true;
    case opcodeOf<op::qvRunBroken>:
      primitiveOpen_ = true;
      vertices_ = 1;  // or any number
      position_ = 0;
      return true;
    case opcodeOf<op::glEnd>:
    case opcodeOf<op::qvRunEnded>:
      primitiveOpen_ = false;
      return true;
    default:
      break;
  }
  const bool position = isPosition(row.name);
  const bool change = peer::setsAttribute(row.name) || (position && vertices_ > 0 && opcode != position_);
  if (cut && change) return false;
  if (position) {
    ++vertices_;
    position_ = opcode;
  }
  return true;
}

}  // namespace qv::fuzz
