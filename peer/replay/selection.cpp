// Replay of selection and feedback.
#include "peer/replay/selection.h"

#include <algorithm>
#include <new>
#include <utility>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

// Gives GL a buffer by give(words, size) and keeps the old one when GL refuses it.
template <typename Give>
void exchangeBuffer(Replayer& replayer, RenderBuffer& buffer, GLsizei size, GLenum mode, Give&& give) {
  const ReplayState& state = replayer.state();
  if (state.insideBegin || state.render.mode == mode) return refuse(replayer, GL_INVALID_OPERATION);
  if (size < 0) return refuse(replayer, GL_INVALID_VALUE);
  RenderBuffer fresh;
  fresh.size = std::min(size, RenderBuffer::kMostWords);
  fresh.words.reset(new (std::nothrow) uint32_t[static_cast<size_t>(std::max(fresh.size, 1))]());
  if (fresh.words == nullptr) return refuse(replayer, GL_OUT_OF_MEMORY);
  holdGlError(replayer);
  give(fresh.words.get(), fresh.size);
  if (!glRefused(replayer)) buffer = std::move(fresh);
}

// Words of so many hit records: number of names, two depths, the names.
uint32_t hitWords(const RenderBuffer& buffer, GLint hits) {
  const auto size = static_cast<uint64_t>(buffer.size);
  uint64_t words = 0;
  for (GLint i = 0; i < hits && words < size; ++i) words += 3 + uint64_t{buffer.words[words]};
  return static_cast<uint32_t>(std::min(words, size));
}

// Why GL would refuse the mode; 0 when it takes it.
GLenum refusalOf(const ReplayState& state, GLenum mode) {
  if (state.insideBegin) return GL_INVALID_OPERATION;
  switch (mode) {
    case GL_RENDER:
      return 0;
    case GL_SELECT:
      return state.render.selection.size == 0 ? GL_INVALID_OPERATION : 0;
    case GL_FEEDBACK:
      return state.render.feedback.size == 0 ? GL_INVALID_OPERATION : 0;
    default:
      return GL_INVALID_ENUM;
  }
}

}  // namespace

namespace replay {

void glSelectBuffer(Replayer& replayer, const SelectBufferRecord& record) {
  exchangeBuffer(replayer, replayer.state().render.selection, record.size, GL_SELECT,
                 [](uint32_t* words, GLsizei size) { gl.glSelectBuffer(size, words); });
}

void glFeedbackBuffer(Replayer& replayer, const FeedbackBufferRecord& record) {
  if (record.type < GL_2D || record.type > GL_4D_COLOR_TEXTURE) return refuse(replayer, GL_INVALID_ENUM);
  exchangeBuffer(replayer, replayer.state().render.feedback, record.size, GL_FEEDBACK, [&](uint32_t* words, GLsizei size) {
    gl.glFeedbackBuffer(size, record.type, reinterpret_cast<GLfloat*>(words));
  });
}

// An OpenGL may enter a mode without a buffer although that is an error: the mode that is refused here is the old one there, too.
void glRenderMode(Replayer& replayer, GLenum mode) {
  RenderBuffers& render = replayer.state().render;
  GLint result = 0;
  if (const GLenum refusal = refusalOf(replayer.state(), mode); refusal != 0) {
    refuse(replayer, refusal);
    return replayer.answer(&result, sizeof result);
  }
  result = gl.glRenderMode(mode);
  const GLenum left = std::exchange(render.mode, mode);
  if (left == GL_RENDER) return replayer.answer(&result, sizeof result);
  const RenderBuffer& buffer = left == GL_SELECT ? render.selection : render.feedback;
  // All of it when GL had more to write. What GL has not written stays as it is in the program's buffer, too.
  uint32_t words = static_cast<uint32_t>(buffer.size);
  if (result >= 0) words = left == GL_SELECT ? hitWords(buffer, result) : std::min(static_cast<uint32_t>(result), words);
  replayer.answer(&result, sizeof result, buffer.words.get(), 4 * words);
}

}  // namespace replay

}  // namespace qv::peer
