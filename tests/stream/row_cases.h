// The stamped rows of the table as data, with distinct arguments for each, for tests that go through all of them.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/win32.h"
#include "wire/entry_table.h"

namespace qv::test {

struct Arg {
  bool pointer = false;
  uint32_t width = 0;  // bytes of the C type, of one element for a pointer
  bool cut = false;    // a 64-bit type that goes as 32 bits
  bool real = false;   // floating point
  uint64_t bits = 0;   // value of a scalar
};

enum class Kind { kFixed, kVec, kSized, kCounted, kArray, kAnswer, kComponents, kSizedReply, kCountedReply, kNamesReply, kLengthReply };

struct FormFacts {
  Kind kind = Kind::kFixed;
  uint32_t n = 0;  // components, per count, or the key argument
  uint32_t otherwise = 0, listed = 0;
  std::vector<uint32_t> keys;
  CountRule rule = CountRule::Value;
};

struct RowCase {
  const char* name;
  int opcode, size;
  uint32_t properties;
  bool attribute;
  FormFacts form;
  std::vector<Arg> args;
  uint32_t returnBytes;
  void (*call)(PROC, const std::vector<Arg>&);
};

// An argument that a form needs of a certain kind, none for index -1.
struct Fix {
  int index = -1;
  uint32_t value = 0;
};

inline constexpr uint32_t kArrayCount = 3;

// Bytes behind every pointer argument; filled by fillMemory with distinct values.
extern uint8_t memory[512];
void fillMemory();

// Rows whose entry point is stamped from their form, and the participants of vertex runs.
std::vector<RowCase> stampedRows();
// The calls to make of a row: one for each size that its form can have. None for a row whose count needs the host.
std::vector<Fix> fixesOf(const RowCase& row);
// Distinct values for every scalar, small enough for its type.
std::vector<Arg> argumentsOf(const RowCase& row, const Fix& fix);
// Value counts typed in by hand, for the names that fixesOf uses.
uint32_t countOf(uint32_t pname);
uint32_t sizedCount(const FormFacts& form, const Fix& fix);
// Elements behind each pointer that the command carries.
uint32_t elementsOf(const RowCase& row, const Fix& fix);

}  // namespace qv::test
