// The columns of the table of entry points: special numbers, properties and implementations.
#pragma once

#include <cstdint>

namespace qv {

inline constexpr int kVariable = -1;   // size: computed at the call
inline constexpr int kNoCommand = -2;  // size: the routine writes no command
inline constexpr int kNoOpcode = -1;
inline constexpr int kNotCore = -1;

// Properties.
inline constexpr uint32_t kRecords = 1;
inline constexpr uint32_t kBeginCheck = 2;
inline constexpr uint32_t kListTest = 4;
inline constexpr uint32_t kShadow = 8;
inline constexpr uint32_t kOwnReplay = 16;
inline constexpr uint32_t kManyParts = 32;

// Implementations in the driver.
struct Stamped {};
struct Custom {};
// A participant of vertex runs; `Number` is the attribute number of its tag.
template <uint32_t Number>
struct Attribute {};
// A setter of uniforms of this GL type, checked against the active uniforms of the program.
template <uint32_t Type>
struct Uniform {};

}  // namespace qv
