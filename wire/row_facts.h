// The rows of the table as data, for code that goes through all rows or finds one by its opcode: the dump, the tests.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "wire/forms.h"
#include "wire/reader.h"

namespace qv {

enum class ValueKind : uint8_t { Unsigned, Signed, Real };

struct ArgumentFacts {
  bool pointer = false;
  ValueKind kind = ValueKind::Unsigned;
  bool cut = false;            // 64 bits of which the wire has the low 32
  uint8_t width = 0;           // bytes of the C type, of one element for a pointer; 1 for void
  uint8_t wireWidth = 0;       // bytes of one component on the wire
  uint16_t offset = 0;         // in the fixed part; no meaning for a pointer whose data stand elsewhere
  uint16_t components = 0;     // in the fixed part; 0 for a pointer whose data stand elsewhere
};

// clang-format off
enum class FormKind : uint8_t {
  Fixed, Vec, Sized, Counted, Array, Matrices, Evaluator, Text, Image, Record, Local, Query, TextQuery
};
// clang-format on
enum class ReplyKind : uint8_t { None, Answer, Bytes, Components, Sized, Counted, Names, Length, List };

struct RowFacts {
  const char* name = nullptr;
  int opcode = 0, size = 0, core = 0;
  uint32_t properties = 0;
  bool stamped = false, attribute = false, uniform = false, isPrivate = false;
  FormKind form = FormKind::Local;
  ReplyKind reply = ReplyKind::None;
  uint32_t n = 0;  // components of Vec and Components, elements per count of Array and Matrices, the key argument
  uint32_t otherwise = 0, listed = 0;   // of Sized
  std::span<const GLenum> keys;         // of Sized
  CountRule rule = CountRule::Value;    // of Counted
  uint32_t fixedBytes = 0;              // of the payload
  uint32_t returnBytes = 0;             // of the C function
  std::span<const ArgumentFacts> arguments;
  std::span<const char* const> words;   // names of a record's words
  bool hasTail = false, openTail = false, tailMayBeMissing = false;
  uint64_t (*tailBytes)(const uint8_t* fixed) = nullptr;  // of the data behind the fixed part
  uint32_t (*tailWidth)(const uint8_t* fixed) = nullptr;  // of one of these data, where the record tells; else null
};

// Every routine of the table in its order, then the private commands.
std::span<const RowFacts> allRows();
// The row of an opcode; null for a number without a command.
const RowFacts* findRow(uint32_t opcode);

// A command in readable form, for example "glViewport(0, 0, 300, 300)": scalars in the order of the prototype, reals with
// a point, words of a record with their names, then the tail, cut after a few values. Of a payload that does not fit the row only
// the length is told.
std::string describeCommand(uint32_t opcode, Reader payload);

}  // namespace qv
