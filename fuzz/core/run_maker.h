// Vertex runs: made with the right strides and lengths most of the time.
#pragma once

#include <cstdint>
#include <vector>

#include "fuzz/core/random.h"

namespace qv::fuzz {

// Appends one run, ended or broken.
void makeRun(Random& random, std::vector<uint8_t>& out);
// Appends so many ended runs of one layout.
void makeRuns(Random& random, uint32_t count, std::vector<uint8_t>& out);
// Appends a run that leaves its primitive open.
void makeBrokenRun(Random& random, std::vector<uint8_t>& out);

}  // namespace qv::fuzz
