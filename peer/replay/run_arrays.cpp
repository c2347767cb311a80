// Draws a run as client arrays.
#include "peer/replay/run_arrays.h"

#include "peer/gl_functions.h"

namespace qv::peer {
namespace {

constexpr uint32_t kFirstTexCoord = 8;

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
      gl.glClientActiveTexture(GL_TEXTURE0 + number - kFirstTexCoord);
      set(GL_TEXTURE_COORD_ARRAY);
      break;
  }
}

}  // namespace

void RunArrays::draw(uint32_t mode, const uint8_t* data, int32_t vertices, int32_t stride, const RunAttribute* attributes,
                     uint32_t count) {
  // With a buffer bound, an array's pointer is an offset into it.
  GLint arrayBuffer = 0;
  gl.glGetIntegerv(GL_ARRAY_BUFFER_BINDING, &arrayBuffer);
  if (arrayBuffer != 0) gl.glBindBuffer(GL_ARRAY_BUFFER, 0);

  uint64_t wanted = 0;
  for (uint32_t i = 0; i < count; ++i) wanted |= uint64_t{1} << attributes[i].number;
  for (uint64_t change = wanted ^ enabled_; change != 0; change &= change - 1) {
    const auto number = static_cast<uint32_t>(__builtin_ctzll(change));
    setEnabled(number, (wanted >> number & 1) != 0);
  }
  enabled_ = wanted;
  for (uint32_t i = 0; i < count; ++i) {
    const RunAttribute& attribute = attributes[i];
    const uint8_t* const pointer = data + attribute.offset;
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
        gl.glClientActiveTexture(GL_TEXTURE0 + attribute.number - kFirstTexCoord);
        gl.glTexCoordPointer(attribute.components, GL_FLOAT, stride, pointer);
        break;
    }
  }
  gl.glDrawArrays(mode, 0, vertices);
  if (arrayBuffer != 0) gl.glBindBuffer(GL_ARRAY_BUFFER, static_cast<GLuint>(arrayBuffer));
}

}  // namespace qv::peer
