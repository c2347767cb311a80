// What the environment tells this library; docs/environment.md has the table for users.
#pragma once

#include <cstdint>
#include <string>

namespace qv::loader {

struct Environment {
  uint64_t frames = 0;    // QV_FRAMES: end the program after so many swaps; 0 never
  std::string png;        // QV_PNG: file for the last frame
  std::string report;     // QV_REPORT: file that gets one line when the driver loads, or cannot, and the figures at the end
  std::string record;     // QV_RECORD: file that gets every stream
  bool stats = false;     // QV_STATS: figures into the report, or to standard error without one
  bool useShm = true;     // QV_X_SHM=0: pictures travel over the X connection
  bool patch = true;      // QV_PATCH=0: libGL's entry points stay as they are
  bool composed = false;  // QV_COMPOSED=1: the simulated desktop composes its windows
};

// Read once.
const Environment& environment();

}  // namespace qv::loader
