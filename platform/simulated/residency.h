// The seven thunks that a process finds in Gdi32.dll by name. Internal to platform/simulated.
#pragma once

#include <span>

#include "platform/d3dkmt.h"

namespace qv::sim {

struct ResidencyThunk {
  const char* name;
  PROC address;
};
std::span<const ResidencyThunk> residencyThunks();

}  // namespace qv::sim
