// Calls of OpenGL routines with arguments and memory, out of the table of call makers; programs of them as inputs.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "fuzz/core/call_table.h"
#include "fuzz/core/image_sizes.h"
#include "fuzz/core/random.h"

namespace qv::fuzz {

// The memory behind a pointer of a call, exactly as much as a correct program has there.
struct CallMemory {
  size_t argument = 0;
  size_t bytes = 0;
  std::unique_ptr<uint8_t[]> data;
};

struct Call {
  const RowFacts* row = nullptr;
  const CallLine* line = nullptr;  // null: no line tells about the routine
  std::vector<uint64_t> values;    // the bits of a scalar, the address for a pointer; as callRoutine() takes them
  std::vector<CallMemory> memory;  // of the pointers
};

// A call of the row in a context whose images lie as `pixels` says. Every `oneInWild`-th argument is any number; 0 for none.
Call makeCall(const RowFacts& row, Random& random, uint32_t oneInWild, const PixelState& pixels = {});
// A call of the line with these scalars; the places of pointers are skipped.
Call callWith(const CallLine& line, std::vector<uint64_t> values, Random& random);
// "glName(1, 0x1405, ...)", pointers as such.
std::string describe(const Call& call);
// The same call once more, with memory of its own.
Call copyOf(const Call& call);

// A step of a program: which routine, and what its arguments are drawn from. In an input it takes six bytes. The routine is
// found by its name, so that new rows leave the corpora as they are.
struct Step {
  uint16_t which = 0;
  uint32_t seed = 0;
};
std::vector<Step> readSteps(std::span<const uint8_t> input);
// The routines of a step: mostly one, which has a line or sets a vertex attribute; a whole primitive behind glBegin, a whole list
// behind glNewList. With `any`, also routines of which only the prototype is known.
std::vector<const RowFacts*> routinesOf(const Step& step, Random& random, bool any);

}  // namespace qv::fuzz
