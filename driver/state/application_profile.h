// What the driver decides from the name of the process image and the product name in its version resource.
#pragma once

#include <cstdint>

namespace qv {

// Bits of GlContext::quirkFlags. The first two: required oddity 52. The last two are for calls that are not built yet.
inline constexpr uint32_t kQuirkNoHostErrors = 1;         // glGetError never asks the host
inline constexpr uint32_t kQuirkFramebufferComplete = 2;  // glCheckFramebufferStatus answers without asking
inline constexpr uint32_t kQuirkVertexRuns = 4;           // glBegin may open a VertexRun
inline constexpr uint32_t kQuirkQueryTable = 32;          // the reading of a query object consults the table of queries
inline constexpr uint32_t kQuirkFlushShared = 128;        // calls on programs flush at once on a shared context; never set

// Runs at every DrvCreateContext. True when a row matched; `version` and `compatibility` are then overwritten.
bool applyVersionProfile(uint16_t& version, uint8_t& compatibility);

// Runs at the end of the GlContext constructor: the quirkFlags of a context of that version. Sets the process-wide extension
// overrides, and the vendor in the block of strings of the version.
uint32_t applyQuirks(uint16_t contextVersion);

}  // namespace qv
