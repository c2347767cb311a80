// Replay of the private commands on pbuffers, and of those on the accumulation buffer, which a host's windows do not have.
#include "peer/replay/window_commands.h"

#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

constexpr GLbitfield kClearBits = GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT | GL_ACCUM_BUFFER_BIT;

// `why` is a command's result.
template <typename Row>
void finish(Replayer& replayer, const char* why) {
  if (why == WindowCommands::kDrawableLost) return replayer.fail("%s", why);
  if (why != nullptr) replayer.passOver(opcodeOf<Row>, Row::kName, why);
}

// `command(windows)` unless there is a reason to pass it over.
template <typename Row, typename Command>
void replayCommand(Replayer& replayer, Command&& command) {
  WindowCommands* const windows = replayer.state().windows;
  const char* why = "the stream has no windows";
  if (windows != nullptr) why = replayer.insideBegin() ? "a primitive is open" : command(*windows);
  finish<Row>(replayer, why);
}

const char* refuseBuffer(GLenum buffer) {
  return buffer == GL_FRONT || buffer == GL_BACK ? nullptr : "neither the front nor the back buffer";
}

// The windows whose accumulation buffer a command is for; null when it is GL's to answer.
WindowCommands* accumulating(Replayer& replayer) {
  WindowCommands* const windows = replayer.state().windows;
  return windows != nullptr && !replayer.insideBegin() && windows->accumulates() ? windows : nullptr;
}

}  // namespace

namespace replay {

void qvPbufferAttrib(Replayer& replayer, const PbufferAttribRecord& record) {
  replayCommand<op::qvPbufferAttrib>(
      replayer, [&](WindowCommands& windows) { return windows.selectImage(record.windowId, record.face, record.level); });
}

// A drawable has one colour buffer, which is front and back.
void qvBindTexImage(Replayer& replayer, const PbufferImageRecord& record) {
  replayCommand<op::qvBindTexImage>(replayer, [&](WindowCommands& windows) {
    const char* const why = refuseBuffer(record.buffer);
    return why != nullptr ? why : windows.bindTexImage(record.windowId);
  });
}

void qvReleaseTexImage(Replayer& replayer, const PbufferImageRecord& record) {
  replayCommand<op::qvReleaseTexImage>(replayer, [&](WindowCommands& windows) {
    const char* const why = refuseBuffer(record.buffer);
    return why != nullptr ? why : windows.releaseTexImage(record.windowId);
  });
}

void glAccum(Replayer& replayer, GLenum operation, GLfloat value) {
  WindowCommands* const windows = accumulating(replayer);
  if (windows == nullptr || operation < GL_ACCUM || operation > GL_ADD) return gl.glAccum(operation, value);
  finish<op::glAccum>(replayer, replayer.listOpen() ? "it cannot be in a display list" : windows->accumulate(operation, value));
}

void glClear(Replayer& replayer, GLbitfield buffers) {
  const char* why = nullptr;
  if ((buffers & GL_ACCUM_BUFFER_BIT) != 0 && (buffers & ~kClearBits) == 0) [[unlikely]] {
    WindowCommands* const windows = accumulating(replayer);
    if (windows != nullptr) {
      why = replayer.listOpen() ? "a display list does not clear the accumulation buffer" : windows->clearAccumulation();
    }
  }
  gl.glClear(buffers);
  finish<op::glClear>(replayer, why);
}

}  // namespace replay

}  // namespace qv::peer
