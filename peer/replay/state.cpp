// Replay of state commands that need not reach GL when the very next command undoes them.
//
// Programs switch state to and fro between draws; of commands in a row that set the same thing, GL only has to see the last.
// A command is left out only if that can be told from it and the next alone: no side effect, and no error that the next one
// would not raise too.
#include <cstring>

#include "driver/stream/opcodes.h"
#include "peer/gl_functions.h"
#include "peer/replay/hand_written.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

constexpr uint32_t kEnable = smallHeader(opcodeOf<op::glEnable>, op::glEnable::kSize);
constexpr uint32_t kDisable = smallHeader(opcodeOf<op::glDisable>, op::glDisable::kSize);
constexpr uint32_t kBlendFunc = smallHeader(opcodeOf<op::glBlendFunc>, op::glBlendFunc::kSize);
constexpr uint32_t kLoadMatrix = smallHeader(opcodeOf<op::glLoadMatrixf>, op::glLoadMatrixf::kSize);

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

// Replays glEnable and glDisable: the last of those in a row that set the capability of the first.
bool replayCapability(Replayer& replayer, const uint8_t* payload, bool on) {
  const GLenum capability = get<GLenum>(payload);
  const uint8_t* const first = payload + 4;
  const uint8_t* next = first;
  const auto setsItAgain = [&] {
    if (replayer.bytesFrom(next) < op::glEnable::kSize) return false;
    const uint32_t header = get<uint32_t>(next);
    return (header == kEnable || header == kDisable) && get<GLenum>(next + 4) == capability;
  };
  if (setsItAgain() && isPlainFlag(capability)) {
    do {
      on = get<uint32_t>(next) == kEnable;
      next += op::glEnable::kSize;
    } while (setsItAgain());
    replayer.took(next, static_cast<uint64_t>(next - first) / op::glEnable::kSize);
  }
  (on ? gl.glEnable : gl.glDisable)(capability);
  return true;
}

// Skips to the last of the commands in a row from `payload` on that have `header` and occupy `size` bytes, as long as
// `mayBeLeftOut(payload)`. Returns that command's payload.
template <typename MayBeLeftOut>
const uint8_t* lastInARow(Replayer& replayer, const uint8_t* payload, uint32_t header, uint32_t size,
                          MayBeLeftOut&& mayBeLeftOut) {
  const uint8_t* const first = payload;
  while (replayer.bytesFrom(payload - 4 + size) >= size && get<uint32_t>(payload - 4 + size) == header && mayBeLeftOut(payload))
    payload += size;
  if (payload != first) replayer.took(payload - 4 + size, static_cast<uint64_t>(payload - first) / size);
  return payload;
}

}  // namespace

bool replayEnable(Replayer& replayer, const uint8_t* payload, uint32_t) { return replayCapability(replayer, payload, true); }

bool replayDisable(Replayer& replayer, const uint8_t* payload, uint32_t) { return replayCapability(replayer, payload, false); }

bool replayBlendFunc(Replayer& replayer, const uint8_t* payload, uint32_t) {
  payload = lastInARow(replayer, payload, kBlendFunc, op::glBlendFunc::kSize, [](const uint8_t* factors) {
    return isBlendFactor(get<GLenum>(factors)) && isBlendFactor(get<GLenum>(factors + 4));
  });
  gl.glBlendFunc(get<GLenum>(payload), get<GLenum>(payload + 4));
  return true;
}

bool replayLoadMatrixf(Replayer& replayer, const uint8_t* payload, uint32_t) {
  payload = lastInARow(replayer, payload, kLoadMatrix, op::glLoadMatrixf::kSize, [](const uint8_t*) { return true; });
  GLfloat matrix[16];
  std::memcpy(matrix, payload, sizeof matrix);
  gl.glLoadMatrixf(matrix);
  return true;
}

}  // namespace qv::peer
