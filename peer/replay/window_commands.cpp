// Replay of the private commands on pbuffers, and of those on the accumulation buffer, which a host's windows do not have.
#include "peer/replay/window_commands.h"

#include "driver/stream/forms.h"
#include "driver/stream/opcodes.h"
#include "peer/gl_functions.h"
#include "peer/replay/hand_written.h"
#include "peer/replay/opcode_table.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

constexpr GLbitfield kClearBits = GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT | GL_ACCUM_BUFFER_BIT;

// `why` is a command's result.
bool finish(Replayer& replayer, uint32_t opcode, const char* why) {
  if (why == WindowCommands::kDrawableLost) return replayer.fail("%s", why);
  if (why != nullptr) replayer.passOver(opcode, opcodeName(opcode), why);
  return true;
}

// `command(windows)` unless there is a reason to pass it over.
template <typename Command>
bool replayCommand(Replayer& replayer, uint32_t opcode, Command&& command) {
  WindowCommands* const windows = replayer.windows();
  const char* why = "the stream has no windows";
  if (windows != nullptr) why = replayer.insideBegin() ? "a primitive is open" : command(*windows);
  return finish(replayer, opcode, why);
}

const char* refuseBuffer(GLenum buffer) {
  return buffer == GL_FRONT || buffer == GL_BACK ? nullptr : "neither the front nor the back buffer";
}

// The windows whose accumulation buffer a command is for; null when it is GL's to answer.
WindowCommands* accumulating(Replayer& replayer) {
  WindowCommands* const windows = replayer.windows();
  return windows != nullptr && !replayer.insideBegin() && windows->accumulates() ? windows : nullptr;
}

}  // namespace

bool replayPbufferAttrib(Replayer& replayer, const uint8_t* payload, uint32_t) {
  return replayCommand(replayer, kOpcodePbufferAttrib, [&](WindowCommands& windows) {
    return windows.selectImage(get<uint32_t>(payload), get<GLenum>(payload + 4), get<uint32_t>(payload + 8));
  });
}

// A drawable has one colour buffer, which is front and back.
bool replayBindTexImage(Replayer& replayer, const uint8_t* payload, uint32_t) {
  return replayCommand(replayer, kOpcodeBindTexImage, [&](WindowCommands& windows) {
    const char* const why = refuseBuffer(get<GLenum>(payload + 4));
    return why != nullptr ? why : windows.bindTexImage(get<uint32_t>(payload));
  });
}

bool replayReleaseTexImage(Replayer& replayer, const uint8_t* payload, uint32_t) {
  return replayCommand(replayer, kOpcodeReleaseTexImage, [&](WindowCommands& windows) {
    const char* const why = refuseBuffer(get<GLenum>(payload + 4));
    return why != nullptr ? why : windows.releaseTexImage(get<uint32_t>(payload));
  });
}

bool replayAccum(Replayer& replayer, const uint8_t* payload, uint32_t) {
  const GLenum operation = get<GLenum>(payload);
  const GLfloat value = get<GLfloat>(payload + 4);
  WindowCommands* const windows = accumulating(replayer);
  if (windows == nullptr || operation < GL_ACCUM || operation > GL_ADD) {
    gl.glAccum(operation, value);
    return true;
  }
  return finish(replayer, opcodeOf<op::glAccum>,
                replayer.listOpen() ? "it cannot be in a display list" : windows->accumulate(operation, value));
}

bool replayClear(Replayer& replayer, const uint8_t* payload, uint32_t) {
  const GLbitfield buffers = get<GLbitfield>(payload);
  const char* why = nullptr;
  if ((buffers & GL_ACCUM_BUFFER_BIT) != 0 && (buffers & ~kClearBits) == 0) [[unlikely]] {
    WindowCommands* const windows = accumulating(replayer);
    if (windows != nullptr) {
      why = replayer.listOpen() ? "a display list does not clear the accumulation buffer" : windows->clearAccumulation();
    }
  }
  gl.glClear(buffers);
  return finish(replayer, opcodeOf<op::glClear>, why);
}

}  // namespace qv::peer
