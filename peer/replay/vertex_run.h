// Replay of packed vertex runs: one array draw where that is faster and the same, one call per attribute elsewhere.
#pragma once

#include "wire/records/vertex_run.h"

namespace qv::peer {

class Replayer;

// A broken run of which only the head has arrived: opens the primitive.
void openBareRun(Replayer& replayer, VertexRunRecord record);

}  // namespace qv::peer
