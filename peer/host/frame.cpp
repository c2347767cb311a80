// Reads the frame back under default read state and puts the guest's state back.
#include "peer/host/frame.h"

#include <algorithm>

#include "peer/replay/gl_functions.h"

namespace qv::peer {
namespace {

constexpr GLenum kPackInvert = 0x8758;  // GL_PACK_INVERT_MESA: rows come top-down

// Sets a pixel store parameter of glReadPixels for as long as the object lives.
class PackSetting {
 public:
  PackSetting(GLenum name, GLint value) : name_(name) {
    gl.glGetIntegerv(name, &before_);
    changed_ = before_ != value;
    if (changed_) gl.glPixelStorei(name, value);
  }
  ~PackSetting() {
    if (changed_) gl.glPixelStorei(name_, before_);
  }
  PackSetting(const PackSetting&) = delete;
  PackSetting& operator=(const PackSetting&) = delete;

 private:
  GLenum name_;
  GLint before_ = 0;
  bool changed_ = false;
};

class TransferSetting {
 public:
  TransferSetting(GLenum name, GLfloat value) : name_(name) {
    gl.glGetFloatv(name, &before_);
    changed_ = before_ != value;
    if (changed_) gl.glPixelTransferf(name, value);
  }
  ~TransferSetting() {
    if (changed_) gl.glPixelTransferf(name_, before_);
  }
  TransferSetting(const TransferSetting&) = delete;
  TransferSetting& operator=(const TransferSetting&) = delete;

 private:
  GLenum name_;
  GLfloat before_ = 0;
  bool changed_ = false;
};

GLint integer(GLenum name) {
  GLint value = 0;
  gl.glGetIntegerv(name, &value);
  return value;
}

}  // namespace

void readFrame(int32_t width, int32_t height, const Allocation& target) {
  const int32_t columns = static_cast<int32_t>(std::min<int64_t>(width, target.description.width));
  const int32_t rows = static_cast<int32_t>(std::min<int64_t>(height, target.description.height));
  const PackSetting alignment(GL_PACK_ALIGNMENT, 4);
  const PackSetting rowLength(GL_PACK_ROW_LENGTH, static_cast<GLint>(target.description.pitch / 4));
  const PackSetting skipRows(GL_PACK_SKIP_ROWS, 0);
  const PackSetting skipPixels(GL_PACK_SKIP_PIXELS, 0);
  const PackSetting swapBytes(GL_PACK_SWAP_BYTES, GL_FALSE);
  const PackSetting lsbFirst(GL_PACK_LSB_FIRST, GL_FALSE);
  const PackSetting invert(kPackInvert, GL_TRUE);
  // In bounds: rows and columns are cut to those of the allocation, whose height * pitch bytes are mapped.
  gl.glReadPixels(0, height - rows, columns, rows, GL_BGRA, GL_UNSIGNED_BYTE, target.memory);
}

void copyFrame(int32_t width, int32_t height, const Allocation& target, bool listOpen) {
  const GLint packBuffer = integer(GL_PIXEL_PACK_BUFFER_BINDING);
  if (packBuffer != 0) gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
  const GLint readFramebuffer = integer(GL_READ_FRAMEBUFFER_BINDING);
  if (readFramebuffer != 0) gl.glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
  if (listOpen) {
    readFrame(width, height, target);
  } else {
    const GLint readBuffer = integer(GL_READ_BUFFER);
    if (readBuffer != GL_BACK) gl.glReadBuffer(GL_BACK);
    {
      const TransferSetting redScale(GL_RED_SCALE, 1), greenScale(GL_GREEN_SCALE, 1), blueScale(GL_BLUE_SCALE, 1),
          alphaScale(GL_ALPHA_SCALE, 1);
      const TransferSetting redBias(GL_RED_BIAS, 0), greenBias(GL_GREEN_BIAS, 0), blueBias(GL_BLUE_BIAS, 0),
          alphaBias(GL_ALPHA_BIAS, 0);
      const TransferSetting mapColor(GL_MAP_COLOR, 0);
      readFrame(width, height, target);
    }
    if (readBuffer != GL_BACK) gl.glReadBuffer(static_cast<GLenum>(readBuffer));
  }
  if (readFramebuffer != 0) gl.glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(readFramebuffer));
  if (packBuffer != 0) gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, static_cast<GLuint>(packBuffer));
}

}  // namespace qv::peer
