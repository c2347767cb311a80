// Replay of the display list commands that are more than their arguments.
#include "driver/stream/forms.h"
#include "peer/gl_functions.h"
#include "peer/replay/hand_written.h"
#include "peer/replay/replayer.h"

namespace qv::peer {

bool replayNewList(Replayer& replayer, const uint8_t* payload, uint32_t) {
  const GLuint list = get<GLuint>(payload);
  const GLenum mode = get<GLenum>(payload + 4);
  gl.glNewList(list, mode);
  if (list != 0 && (mode == GL_COMPILE || mode == GL_COMPILE_AND_EXECUTE)) replayer.setListOpen(true);
  return true;
}

bool replayEndList(Replayer& replayer, const uint8_t*, uint32_t) {
  gl.glEndList();
  replayer.setListOpen(false);
  return true;
}

bool replayCallLists(Replayer& replayer, const uint8_t* payload, uint32_t bytes) {
  constexpr uint32_t kFixed = 12;
  const GLsizei n = get<GLsizei>(payload);
  const GLenum type = get<GLenum>(payload + 4);
  const uint32_t length = get<uint32_t>(payload + 8);
  const uint64_t needed = n < 0 ? 0 : static_cast<uint64_t>(n) * listNameBytes(type);
  if (length != bytes - kFixed || length != needed) {
    return replayer.fail("%d list names of type 0x%x in %u bytes, payload %u", n, type, length, bytes);
  }
  gl.glCallLists(n, type, payload + kFixed);
  return true;
}

}  // namespace qv::peer
