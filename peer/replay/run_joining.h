// Joining of runs: programs give each primitive a glBegin of its own, and one draw costs as much as hundreds of vertices.
#pragma once

#include <cstdint>

#include "wire/records/vertex_run.h"

namespace qv::peer {

class Replayer;

// From so many vertices on one array draw, set-up included, is cheaper than a call per attribute.
inline constexpr uint32_t kLeastForArrays = 48;

// Vertices to be drawn with arrays.
struct RunDraw {
  uint32_t mode;
  const uint8_t* vertices;
  uint32_t count;
  const uint8_t* end;  // of the last vertex that the program gave
};

// Looks for whole runs behind the one in `draw` that have the same record and tags. If all together are worth an array draw, takes
// them out of the stream and makes `draw` the draw of all; strips, fans and loops become triangles and lines. False when nothing
// was joined. The state's layout is that of the run, and neither a primitive nor a list is open.
bool joinRuns(Replayer& replayer, VertexRunRecord record, RunDraw& draw);

}  // namespace qv::peer
