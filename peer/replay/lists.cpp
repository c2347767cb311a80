// Replay of the display list commands that are more than a call.
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer::replay {

void glNewList(Replayer& replayer, GLuint list, GLenum mode) {
  gl.glNewList(list, mode);
  if (list != 0 && (mode == GL_COMPILE || mode == GL_COMPILE_AND_EXECUTE)) replayer.state().listOpen = true;
}

void glEndList(Replayer& replayer) {
  gl.glEndList();
  replayer.state().listOpen = false;
}

void glCallLists(Replayer& replayer, const CallListsRecord& record, Reader& names) {
  if (record.bytes != names.left()) return replayer.fail("%u bytes of names told, %u there", record.bytes, static_cast<uint32_t>(names.left()));
  gl.glCallLists(record.count, record.type, names.rest().data());
}

}  // namespace qv::peer::replay
