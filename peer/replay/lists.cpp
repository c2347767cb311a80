// Replay of the display list commands that are more than a call.
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

}  // namespace

namespace replay {

void glNewList(Replayer& replayer, GLuint list, GLenum mode) {
  gl.glNewList(list, mode);
  ReplayState& state = replayer.state();
  if (list == 0 || state.listOpen || state.insideBegin || (mode != GL_COMPILE && mode != GL_COMPILE_AND_EXECUTE)) return;
  state.listOpen = true;
  state.listExecutes = mode == GL_COMPILE_AND_EXECUTE;
  state.listPrimitives = 0;
  state.listUnbalanced = false;
}

void glEndList(Replayer& replayer) {
  gl.glEndList();
  ReplayState& state = replayer.state();
  if (state.listOpen && (state.listUnbalanced || state.listPrimitives != 0)) state.shared->noteUnbalancedList();
  state.listOpen = false;
}

void glCallList(Replayer& replayer, GLuint list) {
  callLists(replayer, [&] { gl.glCallList(list); });
}

void glCallLists(Replayer& replayer, const CallListsRecord& record, Reader& names) {
  if (record.bytes != names.left()) {
    return replayer.fail("byte count of %u for %u bytes of names", record.bytes, static_cast<uint32_t>(names.left()));
  }
  const uint8_t* const data = names.rest().data();
  callLists(replayer, [&] { gl.glCallLists(record.count, record.type, data); });
}

}  // namespace replay

}  // namespace qv::peer
