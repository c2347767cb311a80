// ReplayState: what the host keeps of one context besides GL's own state, for the functions that replay its commands.
#pragma once

#include "peer/replay/run_arrays.h"
#include "peer/replay/run_layout.h"

namespace qv::peer {

class WindowCommands;

struct ReplayState {
  WindowCommands* windows = nullptr;  // null for a stream without windows
  bool insideBegin = false;           // a primitive is open
  bool listOpen = false;              // between glNewList and glEndList
  RunLayout runLayout;                // of the last run; most runs have the layout of the one before
  RunArrays runArrays;
  const uint8_t* joinSeen = nullptr;  // runs of the stretch before this place have been looked at for joining
};

}  // namespace qv::peer
