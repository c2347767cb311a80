// The size of a command by its row.
#include "fuzz/core/command_size.h"

#include "wire/command_walk.h"
#include "wire/records/vertex_run.h"
#include "wire/row_facts.h"

namespace qv::fuzz {

bool hasItsSize(std::span<const uint8_t> command) {
  CommandWalk walk(command.data(), command.size());
  uint32_t opcode = 0;
  Reader payload(nullptr, 0);
  if (!walk.next(opcode, payload)) return false;
  const RowFacts* const row = findRow(opcode);
  if (row == nullptr) return true;
  const uint8_t* const fixed = payload.bytes(row->fixedBytes);
  if (fixed == nullptr) return false;
  if (row->tailMayBeMissing && payload.left() == 0) return true;
  if (!row->openTail) return payload.left() == row->tailBytes(fixed);
  const auto record = get<VertexRunRecord>(fixed);
  const uint8_t* const tags = record.slots() <= kRunSlots ? payload.bytes(runTagBytes(record.slots())) : nullptr;
  uint32_t stride = 0;
  for (uint32_t i = 0; tags != nullptr && i < record.slots(); ++i) {
    const auto tag = get<RunTag>(tags + sizeof(RunTag) * i);
    if (!tag.valid()) return false;
    stride += runAttributeBytes(tag.components(), kRunTypeBytes[tag.type()]);
  }
  return tags != nullptr && stride == record.stride() && (stride == 0 ? payload.left() == 0 : payload.left() % stride == 0);
}

}  // namespace qv::fuzz
