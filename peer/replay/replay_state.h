// ReplayState: what the host keeps for one context besides GL's own state.
#pragma once

#include <memory>

#include "peer/replay/run_arrays.h"
#include "peer/replay/run_layout.h"
#include "peer/replay/shared_objects.h"

namespace qv::peer {

class WindowCommands;

struct ReplayState {
  WindowCommands* windows = nullptr;  // null for a stream without windows
  std::shared_ptr<SharedObjects> shared = std::make_shared<SharedObjects>();

  // --- primitives and lists ---
  bool insideBegin = false;    // a primitive is open
  bool listOpen = false;       // between glNewList and glEndList
  bool listExecutes = false;   // of the open list: its commands are carried out too
  int32_t listPrimitives = 0;  // of the open list: primitives opened and not closed
  bool listUnbalanced = false;

  // Notes a glBegin or a glEnd, in the open list or carried out or both.
  void primitiveOpened(GLenum mode) {
    if (mode > GL_PATCHES) return;
    if (listOpen) ++listPrimitives;
    if (!listOpen || listExecutes) insideBegin = true;
  }
  void primitiveClosed() {
    if (listOpen && --listPrimitives < 0) listUnbalanced = true;
    if (!listOpen || listExecutes) insideBegin = false;
  }

  // --- errors ---
  // The error of the peer's own finding, or one that has been taken out of GL: it comes before GL's own flag.
  GLenum heldError = GL_NO_ERROR;
  bool errorProvoked = false;  // a question inside an open primitive has set GL's flag

  // --- runs ---
  RunLayout runLayout;  // of the last run; most runs have the layout of the one before
  RunArrays runArrays;
  const uint8_t* joinSeen = nullptr;  // place in the stretch: the runs before it have been tried for joining
};

}  // namespace qv::peer
