// Replay of sync objects.
#include <algorithm>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "peer/replay/text_replay.h"

namespace qv::peer {
namespace {

constexpr GLuint64 kSlice = 50'000'000;  // nanoseconds of a wait in GL, which nothing else ends

// What came over the wire as a handle is a number.
uint32_t nameOf(GLsync handle) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(handle)); }

SyncNames& syncsOf(Replayer& replayer) { return replayer.state().shared->syncs; }

bool stopped(Replayer& replayer) {
  const std::atomic<bool>* const stopped = replayer.state().stopped;
  return stopped != nullptr && stopped->load(std::memory_order_relaxed);
}

// Waits in slices, so that the end of a context need not wait for a fence that never comes.
GLenum waitFor(Replayer& replayer, GLsync sync, GLbitfield flags, GLuint64 timeout) {
  flags |= GL_SYNC_FLUSH_COMMANDS_BIT;
  GLenum status = gl.glClientWaitSync(sync, flags, std::min(timeout, kSlice));
  for (GLuint64 left = timeout; status == GL_TIMEOUT_EXPIRED && left > kSlice && !stopped(replayer);) {
    if (timeout != GL_TIMEOUT_IGNORED) left -= kSlice;
    status = gl.glClientWaitSync(sync, 0, std::min(left, kSlice));
    if (status == GL_ALREADY_SIGNALED) status = GL_CONDITION_SATISFIED;
  }
  return status;
}

}  // namespace

namespace replay {

void glFenceSync(Replayer& replayer, GLenum condition, GLbitfield flags) {
  const GLsync sync = gl.glFenceSync(condition, flags);
  uint32_t name = 0;
  if (sync != nullptr) {
    name = syncsOf(replayer).add(sync);
    if (name == 0) {
      gl.glDeleteSync(sync);
      refuse(replayer, GL_OUT_OF_MEMORY);
    }
  }
  replayer.answer(&name, sizeof name);
}

void glIsSync(Replayer& replayer, GLsync handle) {
  const GLboolean known = syncsOf(replayer).find(nameOf(handle)) != nullptr;
  replayer.answer(&known, sizeof known);
}

void glDeleteSync(Replayer& replayer, GLsync handle) {
  if (nameOf(handle) == 0) return;
  const GLsync sync = syncsOf(replayer).remove(nameOf(handle));
  if (sync == nullptr) return refuse(replayer, GL_INVALID_VALUE);
  gl.glDeleteSync(sync);
}

void glClientWaitSync(Replayer& replayer, GLsync handle, GLbitfield flags, GLuint64 timeout) {
  const GLsync sync = syncsOf(replayer).find(nameOf(handle));
  GLenum status = GL_WAIT_FAILED;
  if (sync == nullptr) {
    refuse(replayer, GL_INVALID_VALUE);
  } else {
    status = waitFor(replayer, sync, flags, timeout);
  }
  replayer.answer(&status, sizeof status);
}

void glWaitSync(Replayer& replayer, GLsync handle, GLbitfield flags, GLuint64 timeout) {
  const GLsync sync = syncsOf(replayer).find(nameOf(handle));
  if (sync == nullptr) return refuse(replayer, GL_INVALID_VALUE);
  gl.glWaitSync(sync, flags, timeout);
}

void glGetSynciv(Replayer& replayer, const SyncValueRecord& record) {
  const GLsync sync = syncsOf(replayer).find(record.sync);
  if (sync == nullptr) return refuse(replayer, GL_INVALID_VALUE);
  if (!mayAsk(replayer)) return;
  GLint value = 0;
  GLsizei length = 0;
  holdGlError(replayer);
  gl.glGetSynciv(sync, record.pname, 1, &length, &value);
  if (glRefused(replayer)) return;
  length = std::clamp(length, 0, 1);
  replayer.answer(&length, sizeof length, &value, static_cast<uint32_t>(length) * 4);
}

}  // namespace replay

}  // namespace qv::peer
