// Replay of the client state commands. The host keeps the client state as the guest does: draws bring their data without tags.
#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

void switchArray(Replayer& replayer, GLenum array, bool on) {
  ArrayState& arrays = replayer.state().arrays;
  const uint32_t row = conventionalRow(array, arrays.clientUnit());
  if (row == kNoArrayRow) return refuse(replayer, GL_INVALID_ENUM);
  arrays.setEnabled(row, on);
}

constexpr size_t kMostSaved = 16;

}  // namespace

namespace replay {

void glEnableClientState(Replayer& replayer, GLenum array) { switchArray(replayer, array, true); }
void glDisableClientState(Replayer& replayer, GLenum array) { switchArray(replayer, array, false); }

// The guest follows eight units. Any other one is GL's to refuse.
void glClientActiveTexture(Replayer& replayer, GLenum texture) {
  if (texture - GL_TEXTURE0 < kClientUnits) {
    replayer.state().arrays.setClientUnit(texture - GL_TEXTURE0);
  } else {
    gl.glClientActiveTexture(texture);
  }
}

void glPushClientAttrib(Replayer& replayer, GLbitfield mask) {
  ReplayState& state = replayer.state();
  if (state.savedClients.size() >= kMostSaved) return refuse(replayer, GL_STACK_OVERFLOW);
  state.savedClients.push_back({mask, state.pixelStore});
  if ((mask & GL_CLIENT_VERTEX_ARRAY_BIT) != 0) state.arrays.push();
}

void glPopClientAttrib(Replayer& replayer) {
  ReplayState& state = replayer.state();
  if (state.savedClients.empty()) return refuse(replayer, GL_STACK_UNDERFLOW);
  if (state.insideBegin) return refuse(replayer, GL_INVALID_OPERATION);
  const ReplayState::SavedClient saved = state.savedClients.back();
  state.savedClients.pop_back();
  if ((saved.mask & GL_CLIENT_PIXEL_STORE_BIT) != 0) state.pixelStore = saved.pixelStore;
  if ((saved.mask & GL_CLIENT_VERTEX_ARRAY_BIT) != 0) state.arrays.pop(replayer);
}

}  // namespace replay

}  // namespace qv::peer
