// The routine of every row, called with argument values that are only known at run time.
#pragma once

#include <cstdint>

#include "wire/row_facts.h"

namespace qv::test {

// A routine of any type, as GL's loaders hand it out.
using Routine = void (*)();

// Calls `routine`, which has the prototype of `row`, with one value per argument: the bits of a scalar, the address for a
// pointer. Returns the bits that it returns, 0 for none.
uint64_t callRoutine(const RowFacts& row, Routine routine, const uint64_t* values);

}  // namespace qv::test
