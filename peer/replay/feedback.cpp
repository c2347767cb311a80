// Replay of transform feedback objects, of which the guest makes the names, and of queries of framebuffers and formats.
#include <algorithm>
#include <vector>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "peer/replay/text_replay.h"

namespace qv::peer {
namespace {

constexpr uint32_t kMostFormatValues = 4096;
constexpr GLuint kNoObject = ~0u;

NameMap& feedbacksOf(Replayer& replayer) { return replayer.state().feedbacks; }

// Asks GL which object is bound now: each has buffers of its own.
void followBinding(Replayer& replayer) {
  if (replayer.state().insideBegin) return;
  GLint real = 0;
  gl.glGetIntegerv(GL_TRANSFORM_FEEDBACK_BINDING, &real);
  replayer.state().buffers.feedbackBound(feedbacksOf(replayer).guestOf(static_cast<GLuint>(real)));
}

// Draws as many vertices of the guest's arrays as have been captured. A name that the guest has not bound has no object, whatever
// the object 0 holds.
template <typename Draw>
void drawCaptured(Replayer& replayer, GLuint id, Draw&& draw) {
  ReplayState& state = replayer.state();
  if (state.insideBegin || state.listOpen) return refuse(replayer, GL_INVALID_OPERATION);
  state.arrays.useBuffers(replayer);
  const GLuint name = feedbacksOf(replayer).find(id);
  draw(name == 0 && id != 0 ? kNoObject : name);
}

}  // namespace

namespace replay {

// A name is made whether the guest has generated it or not, which it does not say: required oddity 180.
void glBindTransformFeedback(Replayer& replayer, GLenum target, GLuint id) {
  const GLuint name = feedbacksOf(replayer).findOrMake(id, [] {
    GLuint made = 0;
    gl.glGenTransformFeedbacks(1, &made);
    return made;
  });
  if (name == 0 && id != 0) return refuse(replayer, GL_OUT_OF_MEMORY);
  gl.glBindTransformFeedback(target, name);
  followBinding(replayer);
}

void glDeleteTransformFeedbacks(Replayer& replayer, GLsizei count, Reader& rest) {
  if (count < 0) return refuse(replayer, GL_INVALID_VALUE);
  const auto ids = rest.elements<GLuint>(static_cast<uint64_t>(count));
  for (uint64_t i = 0; i < ids.size(); ++i) {
    const GLuint name = feedbacksOf(replayer).find(ids[i]);
    if (name == 0) continue;
    // An object that is active stays, and so does its name.
    gl.glDeleteTransformFeedbacks(1, &name);
    followBinding(replayer);
    if (gl.glIsTransformFeedback(name) != GL_FALSE) continue;
    replayer.state().buffers.ofFeedbacks.erase(ids[i]);
    feedbacksOf(replayer).remove(ids[i]);
  }
}

void glDrawTransformFeedback(Replayer& replayer, GLenum mode, GLuint id) {
  drawCaptured(replayer, id, [&](GLuint name) { gl.glDrawTransformFeedback(mode, name); });
}
void glDrawTransformFeedbackStream(Replayer& replayer, GLenum mode, GLuint id, GLuint stream) {
  drawCaptured(replayer, id, [&](GLuint name) { gl.glDrawTransformFeedbackStream(mode, name, stream); });
}
void glDrawTransformFeedbackInstanced(Replayer& replayer, GLenum mode, GLuint id, GLsizei instances) {
  drawCaptured(replayer, id, [&](GLuint name) { gl.glDrawTransformFeedbackInstanced(mode, name, instances); });
}
void glDrawTransformFeedbackStreamInstanced(Replayer& replayer, GLenum mode, GLuint id, GLuint stream, GLsizei instances) {
  drawCaptured(replayer, id, [&](GLuint name) { gl.glDrawTransformFeedbackStreamInstanced(mode, name, stream, instances); });
}

void glGetFramebufferParameteriv(Replayer& replayer, const FramebufferParameterRecord& record) {
  if (!mayAsk(replayer)) return;
  GLint values[16] = {};
  holdGlError(replayer);
  gl.glGetFramebufferParameteriv(record.target, record.pname, values);
  if (!glRefused(replayer)) replayer.answer(values, std::min(record.count, 1u) * 4);
}

void glGetInternalformati64v(Replayer& replayer, const InternalFormatRecord& record) {
  if (record.room < 0) return refuse(replayer, GL_INVALID_VALUE);
  if (!mayAsk(replayer)) return;
  const uint32_t count = std::min({record.count, static_cast<uint32_t>(record.room), kMostFormatValues});
  std::vector<GLint64> values(size_t{count} + 16);
  holdGlError(replayer);
  gl.glGetInternalformati64v(record.target, record.format, record.pname, static_cast<GLsizei>(count), values.data());
  if (!glRefused(replayer)) replayer.answer(values.data(), count * 8);
}

}  // namespace replay

}  // namespace qv::peer
