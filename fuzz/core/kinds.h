// Kinds of arguments: what values a place in a call takes.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "fuzz/core/random.h"
#include "wire/gl_api.h"
#include "wire/row_facts.h"

namespace qv::fuzz {

enum class Kind : uint8_t {
#define QV_ENUMS(kind, ...) kind,
#define QV_BITS(kind, ...) kind,
#define QV_WHOLE(kind, ...) kind,
#define QV_REAL(kind, ...) kind,
#include "fuzz/core/kinds.def"
  Anything,  // of an argument that no line tells about
};

// A value of the kind, as a number.
double drawValue(Kind kind, Random& random);
// A value of no kind for an argument of this type: limits of the type, numbers that a sum or a product of which wraps, enums of
// any kind, reals that are no numbers.
uint64_t drawAnything(const ArgumentFacts& argument, Random& random);

// The bits of a value of the kind; of Kind::Anything such as a careless program gives.
uint64_t drawBits(const ArgumentFacts& argument, Kind kind, Random& random);

// The bits of `number` in the argument's C type; those of an element for a pointer.
uint64_t bitsOf(const ArgumentFacts& argument, double number);

// A text that some routine takes: a program, a name.
std::string_view drawText(Random& random);

// Every enum that some kind has.
std::span<const uint32_t> everyEnum();
// The choices of a kind; none for a range.
std::span<const uint32_t> choicesOf(Kind kind);

}  // namespace qv::fuzz
