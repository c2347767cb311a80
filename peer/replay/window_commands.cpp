// Replay of the private commands on pbuffers, and of GL's commands on the accumulation buffer, which EGL's drawables lack.
#include "peer/replay/window_commands.h"

#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

constexpr GLbitfield kClearBits = GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT | GL_ACCUM_BUFFER_BIT;

// Ends a command with its outcome.
template <typename Row>
void finish(Replayer& replayer, const WindowCommands::Result& result) {
  switch (result.outcome) {
    case WindowCommands::Outcome::Done:
      return;
    case WindowCommands::Outcome::PassedOver:
      return replayer.passOver(opcodeOf<Row>, Row::kName, result.why);
    case WindowCommands::Outcome::DrawableLost:
      return replayer.fail("%s", result.why);
  }
}

// Calls `command(windows)`, unless there is a reason to pass the command over.
template <typename Row, typename Command>
void replayCommand(Replayer& replayer, Command&& command) {
  WindowCommands* const windows = replayer.state().windows;
  if (windows == nullptr) return finish<Row>(replayer, WindowCommands::passOver("the stream has no windows"));
  if (replayer.insideBegin()) return finish<Row>(replayer, WindowCommands::passOver("a primitive is open"));
  finish<Row>(replayer, command(*windows));
}

// A drawable has one colour buffer, which is front and back.
template <typename Row, typename Command>
void replayBufferCommand(Replayer& replayer, GLenum buffer, Command&& command) {
  if (buffer != GL_FRONT && buffer != GL_BACK) {
    return finish<Row>(replayer, WindowCommands::passOver("neither the front nor the back buffer"));
  }
  replayCommand<Row>(replayer, command);
}

// The windows whose accumulation buffer a command works on; null when GL itself answers the command.
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

void qvBindTexImage(Replayer& replayer, const PbufferImageRecord& record) {
  replayBufferCommand<op::qvBindTexImage>(replayer, record.buffer,
                                          [&](WindowCommands& windows) { return windows.bindTexImage(record.windowId); });
}

void qvReleaseTexImage(Replayer& replayer, const PbufferImageRecord& record) {
  replayBufferCommand<op::qvReleaseTexImage>(replayer, record.buffer,
                                             [&](WindowCommands& windows) { return windows.releaseTexImage(record.windowId); });
}

void glAccum(Replayer& replayer, GLenum operation, GLfloat value) {
  WindowCommands* const windows = accumulating(replayer);
  if (windows == nullptr || operation < GL_ACCUM || operation > GL_ADD) return gl.glAccum(operation, value);
  finish<op::glAccum>(replayer, replayer.listOpen() ? WindowCommands::passOver("not possible in a display list")
                                                    : windows->accumulate(operation, value));
}

void glClear(Replayer& replayer, GLbitfield buffers) {
  WindowCommands::Result result;
  if ((buffers & GL_ACCUM_BUFFER_BIT) != 0 && (buffers & ~kClearBits) == 0) [[unlikely]] {
    WindowCommands* const windows = accumulating(replayer);
    if (windows != nullptr) {
      result = replayer.listOpen() ? WindowCommands::passOver("no clear of the accumulation buffer in a display list")
                                   : windows->clearAccumulation();
    }
  }
  gl.glClear(buffers);
  finish<op::glClear>(replayer, result);
}

}  // namespace replay

}  // namespace qv::peer
