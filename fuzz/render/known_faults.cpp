// The known faults.
#include "fuzz/render/known_faults.h"

#include <string_view>

#include "peer/replay/vertex_attributes.h"
#include "wire/entry_table.h"
#include "wire/records/vertex_run.h"
#include "wire/sizes.h"

namespace qv::fuzz {
namespace {

bool isPosition(std::string_view name) { return name.starts_with("glVertex") && !name.starts_with("glVertexAttrib"); }

// Whether a run has whole primitives of any mode. One that has not ends in a list like a primitive that glEndList cuts.
bool isWhole(const uint8_t* payload, uint64_t bytes) {
  if (bytes < sizeof(VertexRunRecord)) return true;
  const auto record = get<VertexRunRecord>(payload);
  const uint64_t head = sizeof record + padded(2 * uint64_t{record.slots()});
  if (record.mode() <= GL_LINES || record.stride() == 0 || bytes <= head) return true;
  return (bytes - head) / record.stride() % 12 == 0;
}

}  // namespace

bool KnownFaults::allows(const RowFacts& row, const uint8_t* payload, uint64_t bytes) {
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
      if (cut) return false;  // it begins with attributes
      primitiveOpen_ = true;
      vertices_ = 1;  // or any number
      position_ = 0;
      return true;
    case opcodeOf<op::qvRunEnded>:
      if (cut || (listOpen_ && payload != nullptr && !isWhole(payload, bytes))) return false;
      primitiveOpen_ = false;
      return true;
    case opcodeOf<op::glEnd>:
      primitiveOpen_ = false;
      return true;
    default:
      break;
  }
  // An evaluated vertex brings attributes of its own.
  if (listOpen_ && primitiveOpen_ && std::string_view(row.name).starts_with("glEval")) return false;
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
