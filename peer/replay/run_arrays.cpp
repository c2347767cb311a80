// Draws a run as client arrays.
#include "peer/replay/run_arrays.h"

#include "peer/replay/gl_functions.h"
#include "peer/replay/run_joining.h"
#include "peer/replay/run_layout.h"

namespace qv::peer {
namespace {

void setEnabled(uint32_t number, bool on) {
  const auto set = on ? gl.glEnableClientState : gl.glDisableClientState;
  switch (number) {
    case kPosition:
      set(GL_VERTEX_ARRAY);
      break;
    case kNormal:
      set(GL_NORMAL_ARRAY);
      break;
    case kColor:
      set(GL_COLOR_ARRAY);
      break;
    default:
      gl.glClientActiveTexture(GL_TEXTURE0 + number - kTexCoord);
      set(GL_TEXTURE_COORD_ARRAY);
      break;
  }
}

}  // namespace

void RunArrays::draw(const RunLayout& layout, const RunDraw& draw) {
  const auto stride = static_cast<GLsizei>(layout.stride);
  // With a buffer bound, an array's pointer is an offset into it.
  GLint arrayBuffer = 0;
  gl.glGetIntegerv(GL_ARRAY_BUFFER_BINDING, &arrayBuffer);
  if (arrayBuffer != 0) gl.glBindBuffer(GL_ARRAY_BUFFER, 0);

  uint64_t wanted = 0;
  for (uint32_t i = 0; i < layout.attributes; ++i) wanted |= uint64_t{1} << layout.attribute[i].number;
  for (uint64_t change = wanted ^ enabled_; change != 0; change &= change - 1) {
    const auto number = static_cast<uint32_t>(__builtin_ctzll(change));
    setEnabled(number, (wanted >> number & 1) != 0);
  }
  enabled_ = wanted;
  for (uint32_t i = 0; i < layout.attributes; ++i) {
    const RunAttribute& attribute = layout.attribute[i];
    const uint8_t* const pointer = draw.vertices + attribute.offset;
    switch (attribute.number) {
      case kPosition:
        gl.glVertexPointer(attribute.components, GL_FLOAT, stride, pointer);
        break;
      case kNormal:
        gl.glNormalPointer(GL_FLOAT, stride, pointer);
        break;
      case kColor:
        gl.glColorPointer(attribute.components, GL_FLOAT, stride, pointer);
        break;
      default:
        gl.glClientActiveTexture(GL_TEXTURE0 + attribute.number - kTexCoord);
        gl.glTexCoordPointer(attribute.components, GL_FLOAT, stride, pointer);
        break;
    }
  }
  gl.glDrawArrays(draw.mode, 0, static_cast<GLsizei>(draw.count));
  if (arrayBuffer != 0) gl.glBindBuffer(GL_ARRAY_BUFFER, static_cast<GLuint>(arrayBuffer));
}

}  // namespace qv::peer
