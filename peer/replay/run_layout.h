// RunLayout: the tags of a vertex run, decoded.
#pragma once

#include <cstdint>

#include "peer/replay/run_arrays.h"
#include "wire/entry_table.h"

namespace qv::peer {

class Replayer;

// Gives GL one attribute. `target` is the texture unit, for the calls that take one.
using AttributeCall = void (*)(GLenum target, const uint8_t* data);

struct RunSlot {
  AttributeCall call;
  GLenum target;
  uint32_t offset;  // from the vertex's start
  uint32_t width;   // bytes
};

struct RunLayout {
  // The record and tags that the layout was decoded from. slotsAndStride is 0 for the layout of no run.
  uint32_t slotsAndStride = 0;
  RunTag tags[kRunSlots] = {};

  uint32_t slots = 0;
  uint32_t stride = 0;
  bool positioned = false;  // the last slot is the position; without one the run gives attributes only
  bool refused = false;  // a slot is of no attribute that GL has, such as a texture unit far from any; its data count for nothing
  bool arrays = false;      // every slot is one that GL has float arrays for
  RunSlot slot[kRunSlots];
  // For array draws. When a vertex gives an attribute twice, the later one counts.
  uint32_t attributes = 0;
  RunAttribute attribute[kRunSlots];
};

// Makes `layout` the layout of a run with this record and these tags, one for each slot. False for bad tags: the replayer has been
// told why, and the layout is then that of no run.
bool readRunLayout(Replayer& replayer, VertexRunRecord record, const uint8_t* tags, RunLayout& layout);

}  // namespace qv::peer
