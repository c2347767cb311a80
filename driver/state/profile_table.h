// The rows that application profiles are matched against.
#pragma once

#include <cstdint>

namespace qv {

// What a row's text is compared with: tails of the image path, the product name.
enum ProfileText : uint32_t { kTail1 = 1, kTail2 = 2, kTail3 = 4, kProductName = 8 };

// A row that has kProductName belongs to the product stage, the others to the name stage before it.
struct VersionProfileRow {
  const char* text;       // in its stored form
  uint32_t against;       // ProfileText; a match with one of several is enough
  uint32_t productMajor;  // lowest product major that the row takes, 0 for any
  uint16_t version;
  bool wholeWglText;  // announces the multisample extensions too
};
inline constexpr uint32_t kVersionProfileRowCount = 17;
extern const VersionProfileRow kVersionProfileRows[kVersionProfileRowCount];

// Texts of the quirk routine: two file names, three product names.
struct QuirkTexts {
  const char* imageNoHostErrors;
  const char* imageNoHostErrorsToo;
  const char* ownVendor;
  const char* primitiveRestart;
  const char* shaderPacking;
};
extern const QuirkTexts kQuirkTexts;

}  // namespace qv
