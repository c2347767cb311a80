// Replay of the display list commands that are more than a call.
#include <utility>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

// Calls lists, which may open a primitive or close the open one; `insideBegin` is true again afterwards.
template <typename Call>
void callLists(Replayer& replayer, Call&& call) {
  ReplayState& state = replayer.state();
  const bool carriedOut = !state.listOpen || state.listExecutes;
  const bool ask = state.insideBegin || state.shared->hasUnbalancedLists();
  if (state.listOpen && state.shared->hasUnbalancedLists()) state.listUnbalanced = true;
  if (carriedOut && ask && !state.insideBegin) holdGlError(replayer);
  call();
  if (!carriedOut || !ask) return;
  state.insideBegin = askWhetherPrimitiveIsOpen(replayer);
  dropProvokedError(replayer);
}

// At the end of some lists an OpenGL visits the lists that the list calls, and those that they call: it crashes over one that is not
// there, and never comes back from a circle. So it does with lists that call others inside a primitive, and that leave a primitive
// open. Inside a primitive of a list only lists may be called that are there and call no others. Returns whether the call of any
// list but such may be recorded.
bool mayCallAny(Replayer& replayer, uint32_t opcode, const char* name) {
  ReplayState& state = replayer.state();
  if (!state.listOpen || !state.listInsideBegin) return true;
  replayer.passOver(opcode, name, "inside a primitive of a list, of a list that calls others or is not there");
  return false;
}

}  // namespace

namespace replay {

void glNewList(Replayer& replayer, GLuint list, GLenum mode) {
  gl.glNewList(list, mode);
  ReplayState& state = replayer.state();
  if (list == 0 || state.listOpen || state.insideBegin || (mode != GL_COMPILE && mode != GL_COMPILE_AND_EXECUTE)) return;
  state.listOpen = true;
  state.listName = list;
  state.listExecutes = mode == GL_COMPILE_AND_EXECUTE;
  state.listPrimitives = 0;
  state.listUnbalanced = false;
  state.listInsideBegin = false;
  state.listCallsLists = false;
  state.listCallsInside = false;
}

void glEndList(Replayer& replayer) {
  ReplayState& state = replayer.state();
  // See mayCallAny(): there the primitive ends with the list.
  if (state.listOpen && state.listCallsLists && state.listInsideBegin) {
    replayer.passOver(opcodeOf<op::glBegin>, "glBegin", "a list that calls lists leaves its primitive open: it ends with the list");
    glEnd(replayer);
  }
  gl.glEndList();
  if (!state.listOpen) return;
  if (state.listUnbalanced || state.listPrimitives != 0) state.shared->noteUnbalancedList();
  state.shared->lists.compiled(state.listName, state.listCallsLists);
  state.listOpen = false;
  for (const auto& [first, count] : std::exchange(state.deletedLists, {})) glDeleteLists(replayer, first, count);
}

void glDeleteLists(Replayer& replayer, GLuint first, GLsizei count) {
  ReplayState& state = replayer.state();
  // A list that is called inside a primitive of the open one must stay until that ends.
  if (state.listOpen && state.listCallsInside && !state.insideBegin && count > 0) {
    state.deletedLists.emplace_back(first, count);
    return;
  }
  gl.glDeleteLists(first, count);
  if (!state.insideBegin && count > 0) state.shared->lists.deleted(first, static_cast<uint32_t>(count));
}

void glCallList(Replayer& replayer, GLuint list) {
  ReplayState& state = replayer.state();
  const bool leaf = list != state.listName && state.shared->lists.isLeaf(list);
  if (!leaf && !mayCallAny(replayer, opcodeOf<op::glCallList>, "glCallList")) return;
  if (state.listOpen) {
    state.listCallsLists = true;
    state.listCallsInside = state.listCallsInside || state.listInsideBegin;
  }
  callLists(replayer, [&] { gl.glCallList(list); });
}

void glCallLists(Replayer& replayer, const CallListsRecord& record, Reader& names) {
  if (record.bytes != names.left()) {
    return replayer.fail("byte count of %u for %u bytes of names", record.bytes, static_cast<uint32_t>(names.left()));
  }
  const uint8_t* const data = names.rest().data();
  if (!mayCallAny(replayer, opcodeOf<op::glCallLists>, "glCallLists")) return;
  if (replayer.state().listOpen) replayer.state().listCallsLists = true;
  callLists(replayer, [&] { gl.glCallLists(record.count, record.type, data); });
}

}  // namespace replay

}  // namespace qv::peer
