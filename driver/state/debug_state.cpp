// The end of debug messages, and the filter.
#include "driver/state/debug_state.h"

#include <utility>

namespace qv {

char debugOutOfMemoryText[] = "Debugging error: out of memory";

DebugFilterBlock::~DebugFilterBlock() {
  for (DebugFilterRow& each : rows) {
    while (each.entries != nullptr) delete std::exchange(each.entries, each.entries->next);
  }
}

DebugState::~DebugState() {
  for (; depth > 0; --depth) {
    if (filters[depth] != filters[depth - 1]) delete filters[depth];
    clearMessage(groups[depth - 1]);
  }
  delete filters[0];
  for (DebugMessage& message : log) clearMessage(message);
}

bool DebugState::passes(int32_t source, int32_t type, uint32_t id, int32_t severity) const {
  if (enabled == 0) return false;
  const DebugFilterRow& row = filters[depth]->row(source, type);
  uint32_t mask = row.defaultMask;
  for (const DebugIdEntry* entry = row.entries; entry != nullptr; entry = entry->next) {
    if (entry->id == id) mask = entry->mask;
  }
  return (mask >> severity & 1) != 0;
}

void clearMessage(DebugMessage& message) {
  if (message.text != debugOutOfMemoryText) delete[] message.text;
  message.text = nullptr;
  message.length = 0;
}

}  // namespace qv
