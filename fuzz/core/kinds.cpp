// The values of the kinds.
#include "fuzz/core/kinds.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <set>
#include <vector>

namespace qv::fuzz {
namespace {

enum class Shape : uint8_t { Enums, Bits, Whole, Real };

struct KindFacts {
  Shape shape;
  std::span<const uint32_t> choices;
  double low = 0, high = 0;
};

namespace choices {
#define QV_ENUMS(kind, ...) constexpr uint32_t kind[] = {__VA_ARGS__};
#define QV_BITS(kind, ...) constexpr uint32_t kind[] = {__VA_ARGS__};
#include "fuzz/core/kinds.def"
}  // namespace choices

constexpr KindFacts kKinds[] = {
#define QV_ENUMS(kind, ...) {Shape::Enums, choices::kind},
#define QV_BITS(kind, ...) {Shape::Bits, choices::kind},
#define QV_WHOLE(kind, low, high) {Shape::Whole, {}, low, high},
#define QV_REAL(kind, low, high) {Shape::Real, {}, low, high},
#include "fuzz/core/kinds.def"
};

// In steps of 1/64, so that a program is short as a text.
double drawReal(double low, double high, Random& random) {
  constexpr double kSteps = 64;
  const double first = std::ceil(low), last = std::floor(high);
  if (first <= last && random.oneIn(4))
    return static_cast<double>(random.between(static_cast<int64_t>(first), static_cast<int64_t>(last)));
  return static_cast<double>(random.between(static_cast<int64_t>(low * kSteps), static_cast<int64_t>(high * kSteps))) / kSteps;
}

constexpr uint64_t kEdges[] = {0,          1,          2,          3,          15,         16,         31,         32,
                               63,         64,         255,        256,        4095,       4096,       16384,      32767,
                               32768,      65535,      65536,      0xFFFFF,    0x100000,   0x3FFFFFFF, 0x40000000, 0x7FFFFFFE,
                               0x7FFFFFFF, 0x80000000, 0x80000001, 0xC0000000, 0xFFFFFFF0, 0xFFFFFFFE, 0xFFFFFFFF, 0x100000000};

constexpr double kStrange[] = {0.0,
                               -0.0,
                               1.0,
                               -1.0,
                               1e30,
                               -1e30,
                               1e-40,
                               65536.0,
                               2147483648.0,
                               -2147483649.0,
                               4294967296.0,
                               std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()};

constexpr std::string_view kTexts[] = {
    "!!ARBvp1.0\nMOV result.position, vertex.position;\nMOV result.color, vertex.color;\nEND\n",
    "!!ARBfp1.0\nMUL result.color, fragment.color, program.env[0];\nEND\n",
    "!!ARBfp1.0\nTEMP t;\nTEX t, fragment.texcoord[0], texture[0], 2D;\nADD result.color, t, program.local[1];\nEND\n",
    "gl_FragColor",
    "a",
    "",
    "block.member[3]",
    "!!ARBvp1.0\nADDRESS a;\nARL a.x, vertex.attrib[1].x;\nMOV result.position, program.env[a.x+7];\nEND\n"};

}  // namespace

double drawValue(Kind kind, Random& random) {
  if (kind == Kind::Anything) return static_cast<double>(random.below(8));
  const KindFacts& facts = kKinds[static_cast<size_t>(kind)];
  switch (facts.shape) {
    case Shape::Enums:
      return random.of(facts.choices);
    case Shape::Bits: {
      uint32_t bits = 0;
      for (const uint32_t bit : facts.choices)
        if (random.oneIn(2)) bits |= bit;
      return bits;
    }
    case Shape::Whole:
      return static_cast<double>(random.between(static_cast<int64_t>(facts.low), static_cast<int64_t>(facts.high)));
    case Shape::Real:
      return drawReal(facts.low, facts.high, random);
  }
  return 0;
}

uint64_t drawAnything(const ArgumentFacts& argument, Random& random) {
  if (argument.kind == ValueKind::Real) {
    if (random.oneIn(3)) return bitsOf(argument, random.of(kStrange));
    return random.oneIn(2) ? random.next() : bitsOf(argument, drawReal(-100, 100, random));
  }
  switch (random.below(4)) {
    case 0:
      return random.of(kEdges);
    case 1:
      return random.of(everyEnum());
    case 2:
      return random.below(8);
    default:
      return random.next() >> random.below(64);
  }
}

uint64_t drawBits(const ArgumentFacts& argument, Kind kind, Random& random) {
  if (kind != Kind::Anything) return bitsOf(argument, drawValue(kind, random));
  if (argument.kind == ValueKind::Real) return bitsOf(argument, drawValue(Kind::Coordinate, random));
  return random.oneIn(3) ? random.of(everyEnum()) : random.below(9);
}

std::string_view drawText(Random& random) { return random.of(kTexts); }

uint64_t bitsOf(const ArgumentFacts& argument, double number) {
  if (argument.kind == ValueKind::Real) {
    return argument.width == 4 ? std::bit_cast<uint32_t>(static_cast<float>(number)) : std::bit_cast<uint64_t>(number);
  }
  return static_cast<uint64_t>(static_cast<int64_t>(number));
}

std::span<const uint32_t> everyEnum() {
  static const std::vector<uint32_t> all = [] {
    std::set<uint32_t> found;
    for (const KindFacts& facts : kKinds) found.insert(facts.choices.begin(), facts.choices.end());
    return std::vector<uint32_t>(found.begin(), found.end());
  }();
  return all;
}

std::span<const uint32_t> choicesOf(Kind kind) {
  return kind == Kind::Anything ? std::span<const uint32_t>() : kKinds[static_cast<size_t>(kind)].choices;
}

}  // namespace qv::fuzz
