// Calls to make of a row, and the bytes of the command that each must become.
//
// The bytes come from an encoder of this file's own, written from the payload rules. Of the table's facts it reads what stands in
// the row and in the C prototype: opcode, form, widths. It never reads what wire/layout.h has made of them: places, cuts and
// lengths.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/row_calls.h"

namespace qv::test {

// One call of a row.
struct RowCase {
  const RowFacts* row = nullptr;
  std::vector<uint64_t> values;  // as callRoutine() takes them; a pointer's is that of caseMemory()
  uint32_t elements = 0;         // that the command or the reply has behind each pointer

  // Calls `routine` with the values, behind whose pointers the pattern stands.
  void call(Routine routine) const;
  // The command with its header and zeros as pad bytes.
  std::vector<uint8_t> command() const;
  uint32_t replyBytes() const;
  // What the host's function is called with, in order: a scalar's own bytes, the bytes behind a pointer.
  std::vector<std::vector<uint8_t>> arguments() const;
};

// One call for each size that the row's form can have, each with values of its own for every argument and every byte of one. None
// for a form whose bytes no rule tells (texts, records, rows without a command) and for a count that takes a question to the
// host.
std::vector<RowCase> casesOf(const RowFacts& row);

// Elements of a call's arrays where the program gives their number.
inline constexpr uint32_t kArrayCount = 3;

}  // namespace qv::test
