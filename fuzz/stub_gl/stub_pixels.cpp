// The stubs of functions that read and write images in client memory.
#include "fuzz/stub_gl/stub_state.h"
#include "peer/replay/gl_functions.h"

namespace qv::fuzz {
namespace {

using peer::gl;

uint64_t componentsOf(GLenum format) {
  switch (format) {
    case GL_RGBA:
    case GL_BGRA:
    case GL_RGBA_INTEGER:
    case GL_BGRA_INTEGER:
      return 4;
    case GL_RGB:
    case GL_BGR:
    case GL_RGB_INTEGER:
    case GL_BGR_INTEGER:
      return 3;
    case GL_RG:
    case GL_RG_INTEGER:
    case GL_LUMINANCE_ALPHA:
    case GL_DEPTH_STENCIL:
      return 2;
    default:
      return 1;
  }
}

// Bytes of one pixel; 0 for a bitmap, whose pixels are bits.
uint64_t pixelBytes(GLenum format, GLenum type) {
  switch (type) {
    case GL_BITMAP:
      return 0;
    case GL_UNSIGNED_BYTE:
    case GL_BYTE:
      return componentsOf(format);
    case GL_UNSIGNED_SHORT:
    case GL_SHORT:
    case GL_HALF_FLOAT:
      return 2 * componentsOf(format);
    case GL_UNSIGNED_INT:
    case GL_INT:
    case GL_FLOAT:
      return 4 * componentsOf(format);
    case GL_UNSIGNED_BYTE_3_3_2:
    case GL_UNSIGNED_BYTE_2_3_3_REV:
      return 1;
    case GL_UNSIGNED_SHORT_5_6_5:
    case GL_UNSIGNED_SHORT_5_6_5_REV:
    case GL_UNSIGNED_SHORT_4_4_4_4:
    case GL_UNSIGNED_SHORT_4_4_4_4_REV:
    case GL_UNSIGNED_SHORT_5_5_5_1:
    case GL_UNSIGNED_SHORT_1_5_5_5_REV:
      return 2;
    case GL_FLOAT_32_UNSIGNED_INT_24_8_REV:
      return 8;
    default:
      return 4;
  }
}

void readImage(GLenum format, GLenum type, GLsizei width, GLsizei height, GLsizei depth, const void* pixels) {
  if (pixels == nullptr || stub.unpackBuffer != 0) return;
  const uint64_t end = imageEnd(stub.store.unpack, format, type, width, height, depth);
  if (end != 0) readMemory(pixels, end);
}

void APIENTRY readPixels(GLint, GLint, GLsizei width, GLsizei height, GLenum format, GLenum type, void* pixels) {
  if (pixels == nullptr || stub.packBuffer != 0) return;
  const uint64_t end = imageEnd(stub.store.pack, format, type, width, height, 1);
  if (end != 0) writeMemory(pixels, end);
}
void APIENTRY drawPixels(GLsizei width, GLsizei height, GLenum format, GLenum type, const void* pixels) {
  readImage(format, type, width, height, 1, pixels);
}
void APIENTRY texImage1D(GLenum, GLint, GLint, GLsizei width, GLint, GLenum format, GLenum type, const void* pixels) {
  readImage(format, type, width, 1, 1, pixels);
}
void APIENTRY texImage2D(GLenum, GLint, GLint, GLsizei width, GLsizei height, GLint, GLenum format, GLenum type,
                         const void* pixels) {
  readImage(format, type, width, height, 1, pixels);
}
void APIENTRY texImage3D(GLenum, GLint, GLint, GLsizei width, GLsizei height, GLsizei depth, GLint, GLenum format, GLenum type,
                         const void* pixels) {
  readImage(format, type, width, height, depth, pixels);
}
void APIENTRY texSubImage1D(GLenum, GLint, GLint, GLsizei width, GLenum format, GLenum type, const void* pixels) {
  readImage(format, type, width, 1, 1, pixels);
}
void APIENTRY texSubImage2D(GLenum, GLint, GLint, GLint, GLsizei width, GLsizei height, GLenum format, GLenum type,
                            const void* pixels) {
  readImage(format, type, width, height, 1, pixels);
}
void APIENTRY texSubImage3D(GLenum, GLint, GLint, GLint, GLint, GLsizei width, GLsizei height, GLsizei depth, GLenum format,
                            GLenum type, const void* pixels) {
  readImage(format, type, width, height, depth, pixels);
}

}  // namespace

uint64_t imageEnd(const PixelStoreHalf& store, GLenum format, GLenum type, GLsizei width, GLsizei height, GLsizei depth) {
  if (width <= 0 || height <= 0 || depth <= 0) return 0;
  const auto unsignedOf = [](int32_t value) { return static_cast<uint64_t>(value); };
  const uint64_t rowPixels = unsignedOf(store.rowLength > 0 ? store.rowLength : width);
  const uint64_t rows = unsignedOf(store.imageHeight > 0 ? store.imageHeight : height);
  const uint64_t pixel = pixelBytes(format, type), alignment = unsignedOf(store.alignment);
  const uint64_t used = unsignedOf(store.skipPixels) + unsignedOf(width);
  const uint64_t rowBytes = pixel == 0 ? (rowPixels + 7) / 8 : rowPixels * pixel;
  const uint64_t stride = (rowBytes + alignment - 1) / alignment * alignment;
  const uint64_t lastRow = pixel == 0 ? (used + 7) / 8 : used * pixel;
  const uint64_t images = unsignedOf(depth > 1 ? store.skipImages : 0) + unsignedOf(depth) - 1;
  return (images * rows + unsignedOf(store.skipRows) + unsignedOf(height) - 1) * stride + lastRow;
}

void installStubPixels() {
  gl.glReadPixels = &readPixels;
  gl.glDrawPixels = &drawPixels;
  gl.glTexImage1D = &texImage1D;
  gl.glTexImage2D = &texImage2D;
  gl.glTexImage3D = &texImage3D;
  gl.glTexSubImage1D = &texSubImage1D;
  gl.glTexSubImage2D = &texSubImage2D;
  gl.glTexSubImage3D = &texSubImage3D;
}

}  // namespace qv::fuzz
