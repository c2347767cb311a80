// Feeds the vertices of runs to GL.
#include "peer/replay/vertex_run.h"

#include <cstring>
#include <vector>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "peer/replay/run_joining.h"

namespace qv::peer {
namespace {

constexpr uint32_t kModes = 15;  // GL_POINTS to GL_PATCHES

void give(const RunLayout& layout, const uint8_t* vertex, uint32_t slots) {
  for (uint32_t i = 0; i < slots; ++i) layout.slot[i].call(layout.slot[i].target, vertex + layout.slot[i].offset);
}

bool isLayoutOf(const RunLayout& layout, VertexRunRecord record, const uint8_t* tags) {
  return record.slots() != 0 && (record.packed & 0xFFFFFF) == layout.slotsAndStride &&
         std::memcmp(tags, layout.tags, sizeof(RunTag) * record.slots()) == 0;
}

// The whole vertices of a run, and the attributes of a vertex that was cut short.
struct RunData {
  const uint8_t* vertices = nullptr;
  uint32_t count = 0;
  uint32_t wholeSlots = 0;  // attributes of the vertex that was cut short
};

// False when the last vertex is cut short inside a slot.
bool measure(const RunLayout& layout, const uint8_t* data, uint64_t bytes, RunData& out) {
  out.vertices = data;
  out.count = layout.stride == 0 ? 0 : static_cast<uint32_t>(bytes / layout.stride);
  uint64_t rest = bytes - uint64_t{out.count} * layout.stride;
  while (rest != 0 && out.wholeSlots < layout.slots && layout.slot[out.wholeSlots].width <= rest) {
    rest -= layout.slot[out.wholeSlots++].width;
  }
  return rest == 0;
}

// Whether a broken run, the last command of a stream, ends with the mark of a swap. A word of that value is data where it completes
// a vertex; when a position has 4 bytes, it would do so too often, and the mark it is then always.
bool endsWithMark(const RunLayout& layout, const uint8_t* data, uint64_t bytes) {
  if (bytes < kSmallHeaderBytes || get<uint32_t>(data + bytes - kSmallHeaderBytes) != kMarkInRun) return false;
  if (layout.slots == 0) return true;
  return bytes % layout.stride != 0 || layout.slot[layout.slots - 1].width == kSmallHeaderBytes;
}

void replayRun(Replayer& replayer, VertexRunRecord record, Reader& rest, bool ended) {
  ReplayState& state = replayer.state();
  RunLayout& layout = state.runLayout;
  if (record.slots() > kRunSlots) return replayer.fail("%u slots, more than a vertex has", record.slots());
  const uint8_t* const tags = rest.bytes(runTagBytes(record.slots()));
  if (tags == nullptr) return replayer.fail("%u slots without their tags", record.slots());
  if (!isLayoutOf(layout, record, tags) && !readRunLayout(replayer, record, tags, layout)) return;
  const Elements<uint8_t> data = rest.rest();
  uint64_t bytes = data.size();
  if (!ended && replayer.endsStream() && endsWithMark(layout, data.data(), bytes)) bytes -= kSmallHeaderBytes;
  RunData run;
  if (!measure(layout, data.data(), bytes, run)) {
    const auto size = static_cast<unsigned long long>(bytes);
    return replayer.fail("%llu bytes of vertices of %u bytes end inside an attribute", size, layout.stride);
  }
  if (layout.refused) refuse(replayer, GL_INVALID_ENUM);

  const uint32_t mode = record.mode();
  const bool drawable =
      ended && layout.positioned && layout.arrays && mode < kModes && !state.insideBegin && !state.listOpen && run.wholeSlots == 0;
  RunDraw draw = {mode, run.vertices, run.count, run.vertices + uint64_t{run.count} * layout.stride};
  if (drawable && (joinRuns(replayer, record, draw) || run.count >= kLeastForArrays)) {
    // Runs of strips that are too short have vertices and no primitive.
    if (draw.count != 0) {
      state.arrays.bindNone();
      state.runArrays.draw(layout, draw);
    }
    // After glEnd the current values are the attributes of the last vertex.
    give(layout, draw.end - layout.stride, layout.slots - 1);
    return;
  }
  if (!ended && !state.insideBegin) state.arrays.beforePrimitive(replayer);
  gl.glBegin(mode);
  state.primitiveOpened(mode);
  for (uint32_t v = 0; v < run.count; ++v) give(layout, run.vertices + v * uint64_t{layout.stride}, layout.slots);
  give(layout, run.vertices + run.count * uint64_t{layout.stride}, run.wholeSlots);
  if (!ended) return;
  gl.glEnd();
  state.primitiveClosed();
  dropProvokedError(replayer);
}

}  // namespace

void openRunWithoutVertices(Replayer& replayer, VertexRunRecord record) {
  replay::glBegin(replayer, record.mode());
}

namespace replay {

void qvRunBroken(Replayer& replayer, const VertexRunRecord& record, Reader& rest) { replayRun(replayer, record, rest, false); }
void qvRunEnded(Replayer& replayer, const VertexRunRecord& record, Reader& rest) { replayRun(replayer, record, rest, true); }

}  // namespace replay

}  // namespace qv::peer
