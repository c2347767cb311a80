// Replay of the arrays of viewports, scissor boxes and depth ranges.
#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

// Calls `set(values)` with `count` times `Per` values. An OpenGL may add `first` and `count` in 32 bits, so both are bounded here.
template <typename T, uint32_t Per, typename Set>
void setArray(Replayer& replayer, GLuint first, GLsizei count, Reader& rest, Set&& set) {
  constexpr uint32_t kMost = 64;  // more than any OpenGL has
  if (count < 0 || static_cast<uint32_t>(count) > kMost || first > kMost - static_cast<uint32_t>(count))
    return refuse(replayer, GL_INVALID_VALUE);
  T values[kMost * Per];
  const auto given = rest.elements<T>(static_cast<uint64_t>(count) * Per);
  given.copyTo(values);
  set(values);
}

}  // namespace

namespace replay {

void glViewportArrayv(Replayer& replayer, GLuint first, GLsizei count, Reader& rest) {
  setArray<GLfloat, 4>(replayer, first, count, rest, [&](const GLfloat* values) { gl.glViewportArrayv(first, count, values); });
}
void glScissorArrayv(Replayer& replayer, GLuint first, GLsizei count, Reader& rest) {
  setArray<GLint, 4>(replayer, first, count, rest, [&](const GLint* values) { gl.glScissorArrayv(first, count, values); });
}
void glDepthRangeArrayv(Replayer& replayer, GLuint first, GLsizei count, Reader& rest) {
  setArray<GLdouble, 2>(replayer, first, count, rest, [&](const GLdouble* values) { gl.glDepthRangeArrayv(first, count, values); });
}

}  // namespace replay

}  // namespace qv::peer
