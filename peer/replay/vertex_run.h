// Replay of packed vertex runs: one array draw where that is faster and the same, one call per attribute elsewhere.
#pragma once

#include <cstdint>

namespace qv::peer {

class Replayer;

// The payload of a run behind its two header words. `ended` tells 2008 from 2007, which leaves the primitive open.
bool replayRun(Replayer& replayer, const uint8_t* payload, uint32_t bytes, bool ended);

// A broken run of which only the packed word has arrived: opens the primitive.
void openBareRun(Replayer& replayer, uint32_t packed);

}  // namespace qv::peer
