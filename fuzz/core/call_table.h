// The table of call makers as data.
#pragma once

#include <cstdint>
#include <span>

#include "fuzz/core/kinds.h"
#include "wire/row_facts.h"

namespace qv::fuzz {

struct CallLine {
  const RowFacts* row = nullptr;
  bool anywhere = false;        // between glBegin and glEnd, too
  std::span<const Kind> kinds;  // one for each argument, or for each word of a private command
};

// All lines of fuzz/core/calls.def.
std::span<const CallLine> callLines();
// A line of the row, any of several; null when there is none.
const CallLine* drawLine(const RowFacts& row, Random& random);
// The kind of the argument; Kind::Anything without a line.
inline Kind kindOf(const CallLine* line, size_t argument) { return line == nullptr ? Kind::Anything : line->kinds[argument]; }

}  // namespace qv::fuzz
