// What the driver decides from the name of the process image and the product name in its version resource.
#pragma once

#include <cstdint>

namespace qv {

class GlContext;

// Runs at every DrvCreateContext. True when a row matched; `version` and `compatibility` are then overwritten.
bool applyVersionProfile(uint16_t& version, uint8_t& compatibility);

// Runs at the end of the GlContext constructor: sets the context's quirkFlags and the process-wide extension overrides.
void applyQuirks(GlContext* context);

}  // namespace qv
