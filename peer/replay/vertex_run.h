// Replay of vertex runs: one array draw where that is faster and looks the same, elsewhere one call per attribute.
#pragma once

#include "wire/records/vertex_run.h"

namespace qv::peer {

class Replayer;

// A broken run of which only the head has arrived: opens the primitive.
void openRunWithoutVertices(Replayer& replayer, VertexRunRecord record);

}  // namespace qv::peer
