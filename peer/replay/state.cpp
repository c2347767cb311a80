// Replay of state commands that need not reach GL when the very next command undoes them.
//
// Programs switch state to and fro between draws; of two commands in a row that set the same thing, GL only has to see the
// second. A command is left out only if that can be told from the two alone: no side effect, and no error that the second one
// would not raise too.
#include "driver/stream/opcodes.h"
#include "peer/gl_functions.h"
#include "peer/replay/hand_written.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

constexpr uint32_t kEnable = smallHeader(opcodeOf<op::glEnable>, op::glEnable::kSize);
constexpr uint32_t kDisable = smallHeader(opcodeOf<op::glDisable>, op::glDisable::kSize);
constexpr uint32_t kBlendFunc = smallHeader(opcodeOf<op::glBlendFunc>, op::glBlendFunc::kSize);

// Capabilities that are a flag and nothing more. (Enabling GL_COLOR_MATERIAL, for one, changes the material.)
bool isPlainFlag(GLenum capability) {
  switch (capability) {
    case GL_ALPHA_TEST:
    case GL_BLEND:
    case GL_CULL_FACE:
    case GL_DEPTH_TEST:
    case GL_DITHER:
    case GL_FOG:
    case GL_LIGHTING:
    case GL_LINE_SMOOTH:
    case GL_LINE_STIPPLE:
    case GL_MULTISAMPLE:
    case GL_NORMALIZE:
    case GL_POLYGON_OFFSET_FILL:
    case GL_POLYGON_OFFSET_LINE:
    case GL_POLYGON_OFFSET_POINT:
    case GL_POLYGON_SMOOTH:
    case GL_POLYGON_STIPPLE:
    case GL_SCISSOR_TEST:
    case GL_STENCIL_TEST:
    case GL_TEXTURE_1D:
    case GL_TEXTURE_2D:
    case GL_TEXTURE_3D:
    case GL_TEXTURE_CUBE_MAP:
      return true;
    default:
      return capability >= GL_LIGHT0 && capability <= GL_LIGHT7;
  }
}

// A factor that GL takes for source and destination alike, in every version.
bool isBlendFactor(GLenum factor) {
  return factor <= GL_ONE || (factor >= GL_SRC_COLOR && factor <= GL_ONE_MINUS_DST_COLOR) ||
         (factor >= GL_CONSTANT_COLOR && factor <= GL_ONE_MINUS_CONSTANT_ALPHA);
}

bool capabilityIsSetAgain(const Replayer& replayer, const uint8_t* payload) {
  const uint8_t* const next = payload + 4;
  if (replayer.bytesFrom(next) < op::glEnable::kSize) return false;
  const uint32_t header = get<uint32_t>(next);
  const GLenum capability = get<GLenum>(payload);
  return (header == kEnable || header == kDisable) && get<GLenum>(next + 4) == capability && isPlainFlag(capability);
}

}  // namespace

bool replayEnable(Replayer& replayer, const uint8_t* payload, uint32_t) {
  if (!capabilityIsSetAgain(replayer, payload)) gl.glEnable(get<GLenum>(payload));
  return true;
}

bool replayDisable(Replayer& replayer, const uint8_t* payload, uint32_t) {
  if (!capabilityIsSetAgain(replayer, payload)) gl.glDisable(get<GLenum>(payload));
  return true;
}

bool replayBlendFunc(Replayer& replayer, const uint8_t* payload, uint32_t) {
  const GLenum source = get<GLenum>(payload), destination = get<GLenum>(payload + 4);
  const uint8_t* const next = payload + 8;
  if (replayer.bytesFrom(next) >= op::glBlendFunc::kSize && get<uint32_t>(next) == kBlendFunc && isBlendFactor(source) &&
      isBlendFactor(destination)) {
    return true;
  }
  gl.glBlendFunc(source, destination);
  return true;
}

}  // namespace qv::peer
