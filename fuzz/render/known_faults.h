// KnownFaults: commands that lead this OpenGL to faults which the peer does not guard it from, so that the fuzzer finds others.
#pragma once

#include <cstdint>

#include "wire/row_facts.h"

namespace qv::fuzz {

// Each fault here stands in fuzz/README.md with its reason. One object for each context.
class KnownFaults {
 public:
  // Whether the command is none that leads to one.
  bool allows(const RowFacts& row, const uint8_t* fixed, uint64_t bytes);

 private:
  // Fault 1: a list that is compiled, its primitive, and the vertices there.
  bool listOpen_ = false, primitiveOpen_ = false;
  uint64_t vertices_ = 0;
  uint32_t position_ = 0;  // the command of the last vertex
};

}  // namespace qv::fuzz
