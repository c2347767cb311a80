// ReplayState: what the host keeps for one context besides GL's own state.
#pragma once

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

#include "peer/replay/array_state.h"
#include "peer/replay/buffers.h"
#include "peer/replay/kept_objects.h"
#include "peer/replay/query_names.h"
#include "peer/replay/run_arrays.h"
#include "peer/replay/run_layout.h"
#include "peer/replay/selection.h"
#include "peer/replay/shared_objects.h"
#include "peer/replay/unpacking.h"
#include "wire/pixel_store.h"

namespace qv::peer {

class WindowCommands;

struct ReplayState {
  WindowCommands* windows = nullptr;  // null for a stream without windows
  uint16_t version = 0;               // of the context as the guest knows it, major * 100 + minor * 10; 0: as GL says
  bool core = false;
  std::shared_ptr<SharedObjects> shared = std::make_shared<SharedObjects>();

  const std::atomic<bool>* stopped = nullptr;  // set when the context ends: what waits gives up. Null: nothing ends it

  // --- names of this context alone ---
  QueryNames queries;
  NameMap feedbacks;  // transform feedback objects

  // --- primitives and lists ---
  bool insideBegin = false;        // a primitive is open
  bool listOpen = false;           // between glNewList and glEndList
  bool listExecutes = false;       // the open list is GL_COMPILE_AND_EXECUTE
  int32_t listPrimitives = 0;      // primitives opened in the open list and not closed
  bool listUnbalanced = false;     // the open list closes a primitive that it has not opened, or calls lists that may
  GLuint listName = 0;             // of the open list
  bool listInsideBegin = false;    // a primitive is open in the open list
  ListCalls listCalls;             // of the open list
  bool listCallsAbsent = false;    // the open list calls one that is not there as a whole
  bool listDefinesInside = false;  // the open list sets a vertex attribute inside a primitive
  bool listIsCaller = false;       // the open list is one of KnownLists::calls()
  uint64_t listBytes = 0;          // of the commands in the open list
  bool listFull = false;           // there is no memory for more of them

  // Note a glBegin and a glEnd: recorded into the open list, carried out, or both.
  void primitiveOpened(GLenum mode) {
    if (mode > GL_PATCHES) return;
    if (listOpen) ++listPrimitives, listInsideBegin = true;
    if (!listOpen || listExecutes) insideBegin = true;
  }
  void primitiveClosed() {
    if (listOpen && --listPrimitives < 0) listUnbalanced = true;
    listInsideBegin = false;
    if (!listOpen || listExecutes) insideBegin = false;
  }

  // --- errors ---
  // An error that the host raised or took from GL. glGetError answers it before GL's own.
  GLenum heldError = GL_NO_ERROR;
  bool errorProvoked = false;  // a query of the host inside an open primitive has set GL's flag

  // --- selection and feedback ---
  RenderBuffers render;

  // --- pixels ---
  // How the guest's images lie.
  PixelStoreState pixelStore;
  // What GL itself has at the moment.
  Unpacking unpacking;
  Packing packing;

  // --- textures, renderbuffers and framebuffers ---
  ObjectBindings bindings;

  // --- buffers and arrays ---
  BufferState buffers;
  ArrayState arrays;
  struct SavedClient {
    GLbitfield mask;
    PixelStoreState pixelStore;
  };
  std::vector<SavedClient> savedClients;  // by glPushClientAttrib

  // --- runs ---
  RunLayout runLayout;  // of the last run; most runs have the layout of the one before
  RunArrays runArrays;
  const uint8_t* joinSeen = nullptr;  // place in the stretch: the runs before it have been tried for joining
};

}  // namespace qv::peer
