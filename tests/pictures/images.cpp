// Images both ways: textures of several targets, formats and pixel store states, pixel rectangles, bitmaps, stipples, pixel maps, copies,
// lists with images, and what is read back, which is drawn again and told as a sum.
#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

#include <cstdint>
#include <cstdio>
#include <vector>

#include "picture.h"

namespace {

constexpr int kWidth = 320, kHeight = 240, kCell = 40;
GLuint textures[24], list = 0;

std::vector<uint8_t> pattern(size_t bytes, uint32_t seed) {
  std::vector<uint8_t> out(bytes);
  for (uint8_t& byte : out) {
    seed = seed * 1664525 + 1013904223;
    byte = static_cast<uint8_t>(seed >> 24);
  }
  return out;
}

// The state that an image lies by; the rest are defaults.
struct Store {
  GLint alignment = 4, rowLength = 0, imageHeight = 0, skipPixels = 0, skipRows = 0, skipImages = 0, swap = 0, lsb = 0;
  void apply(bool pack) const {
    const GLenum at = pack ? GL_PACK_SWAP_BYTES - GL_UNPACK_SWAP_BYTES : 0;
    glPixelStorei(GL_UNPACK_ALIGNMENT + at, alignment);
    glPixelStorei(GL_UNPACK_ROW_LENGTH + at, rowLength);
    glPixelStorei(GL_UNPACK_SKIP_PIXELS + at, skipPixels);
    glPixelStorei(GL_UNPACK_SKIP_ROWS + at, skipRows);
    glPixelStorei(GL_UNPACK_SWAP_BYTES + at, swap);
    glPixelStorei(GL_UNPACK_LSB_FIRST + at, lsb);
    glPixelStorei(pack ? GL_PACK_IMAGE_HEIGHT : GL_UNPACK_IMAGE_HEIGHT, imageHeight);
    glPixelStorei(pack ? GL_PACK_SKIP_IMAGES : GL_UNPACK_SKIP_IMAGES, skipImages);
  }
};

void bind(GLenum target, int number) {
  glBindTexture(target, textures[number]);
  glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

void cell(int number) { glViewport(number % 8 * kCell, number / 8 * kCell, kCell, kCell); }

void quad(float r = 0.5f) {
  glBegin(GL_QUADS);
  for (const auto& [x, y] : {std::pair(0, 0), {1, 0}, {1, 1}, {0, 1}}) {
    glTexCoord3f(static_cast<float>(x), static_cast<float>(y), r);
    glVertex2f(static_cast<float>(x) * 1.8f - 0.9f, static_cast<float>(y) * 1.8f - 0.9f);
  }
  glEnd();
}

void textured(GLenum target, int number, int at, float r = 0.5f) {
  cell(at);
  glEnable(target);
  glBindTexture(target, textures[number]);
  quad(r);
  glDisable(target);
}

void tell(const char* what, const std::vector<uint8_t>& bytes) {
  uint32_t sum = 2166136261u;
  for (const uint8_t byte : bytes) sum = (sum ^ byte) * 16777619u;
  std::printf("%s %zu %08x error %x\n", what, bytes.size(), sum, glGetError());
}

void init() {
  glGenTextures(24, textures);
  const std::vector<uint8_t> bytes = pattern(1 << 16, 7);
  const void* const p = bytes.data();

  bind(GL_TEXTURE_2D, 0);
  Store{.alignment = 1}.apply(false);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB, 5, 7, 0, GL_RGB, GL_UNSIGNED_BYTE, p);
  bind(GL_TEXTURE_2D, 1);
  Store{}.apply(false);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB, 5, 7, 0, GL_RGB, GL_UNSIGNED_BYTE, p);
  bind(GL_TEXTURE_2D, 2);
  Store{.alignment = 8, .rowLength = 11, .skipPixels = 2, .skipRows = 3}.apply(false);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 8, 8, 0, GL_BGRA, GL_UNSIGNED_BYTE, p);
  bind(GL_TEXTURE_2D, 3);
  Store{.swap = 1}.apply(false);  // some OpenGLs go wrong over swapped bytes with any other parameter
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA16, 6, 6, 0, GL_RGBA, GL_UNSIGNED_SHORT, p);
  bind(GL_TEXTURE_2D, 4);
  Store{.alignment = 2}.apply(false);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB, 8, 8, 0, GL_RGB, GL_UNSIGNED_SHORT_5_6_5, p);
  bind(GL_TEXTURE_2D, 5);
  Store{}.apply(false);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE_ALPHA, 8, 8, 0, GL_LUMINANCE_ALPHA, GL_UNSIGNED_BYTE, p);
  bind(GL_TEXTURE_2D, 6);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_INTENSITY, 8, 8, 0, GL_RED, GL_UNSIGNED_BYTE, p);
  bind(GL_TEXTURE_1D, 7);
  Store{.skipPixels = 3}.apply(false);
  glTexImage1D(GL_TEXTURE_1D, 0, GL_RGBA, 16, 0, GL_RGBA, GL_UNSIGNED_BYTE, p);
  bind(GL_TEXTURE_3D, 8);
  Store{.alignment = 1, .rowLength = 5, .imageHeight = 6, .skipPixels = 1, .skipRows = 1, .skipImages = 1}.apply(false);
  glTexImage3D(GL_TEXTURE_3D, 0, GL_RGB, 4, 4, 4, 0, GL_RGB, GL_UNSIGNED_BYTE, p);
  bind(GL_TEXTURE_2D, 9);
  Store{}.apply(false);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 16, 16, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 16, 16, GL_RGBA, GL_UNSIGNED_BYTE, p);
  Store{.alignment = 1, .skipRows = 2}.apply(false);
  glTexSubImage2D(GL_TEXTURE_2D, 0, 4, 4, 7, 5, GL_RGB, GL_UNSIGNED_BYTE, p);
  bind(GL_TEXTURE_2D, 10);  // indices through the pixel maps
  const GLfloat ramp[4] = {0.0f, 0.25f, 0.5f, 1.0f}, down[4] = {1.0f, 0.5f, 0.25f, 0.0f};
  glPixelMapfv(GL_PIXEL_MAP_I_TO_R, 4, ramp);
  glPixelMapfv(GL_PIXEL_MAP_I_TO_G, 4, down);
  glPixelMapfv(GL_PIXEL_MAP_I_TO_B, 4, ramp);
  const uint8_t indices[] = {0, 1, 2, 0, 3, 2, 1, 0};  // without padding, which some OpenGLs take for indices
  Store{}.apply(false);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 4, 2, 0, GL_COLOR_INDEX, GL_UNSIGNED_BYTE, indices);
  bind(GL_TEXTURE_2D, 11);
  Store{.lsb = 1}.apply(false);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 32, 5, 0, GL_COLOR_INDEX, GL_BITMAP, p);
  bind(GL_TEXTURE_2D, 12);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_NEAREST);
  Store{}.apply(false);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 64, 64, 0, GL_RGBA, GL_UNSIGNED_BYTE, p);
  glGenerateMipmap(GL_TEXTURE_2D);
  bind(GL_TEXTURE_2D, 13);
  glCompressedTexImage2D(GL_TEXTURE_2D, 0, GL_COMPRESSED_RGB_S3TC_DXT1_EXT, 8, 8, 0, 32, p);
  glCompressedTexSubImage2D(GL_TEXTURE_2D, 0, 4, 4, 4, 4, GL_COMPRESSED_RGB_S3TC_DXT1_EXT, 8, bytes.data() + 100);
  bind(GL_TEXTURE_2D, 14);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 32, 32, 0, GL_RGBA, GL_FLOAT, nullptr);
  bind(GL_TEXTURE_2D, 15);

  list = glGenLists(1);
  glNewList(list, GL_COMPILE);
  glBindTexture(GL_TEXTURE_2D, textures[15]);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB, 4, 4, 0, GL_RGB, GL_UNSIGNED_BYTE, bytes.data() + 500);
  glBitmap(16, 16, 0.0f, 0.0f, 18.0f, 0.0f, bytes.data() + 600);
  glDrawPixels(6, 6, GL_RGB, GL_UNSIGNED_BYTE, bytes.data() + 700);
  glEndList();
  std::printf("uploads: error %x\n", glGetError());
}

void draw(int) {
  glClearColor(0.2f, 0.2f, 0.3f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  const std::vector<uint8_t> bytes = pattern(1 << 16, 99);
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
  for (int i = 0; i < 14; ++i) {
    if (i != 7 && i != 8) textured(GL_TEXTURE_2D, i, i);
  }
  textured(GL_TEXTURE_1D, 7, 7);
  textured(GL_TEXTURE_3D, 8, 8, 0.3f);

  // Pixel rectangles.
  glViewport(0, 0, kWidth, kHeight);
  Store{.alignment = 1, .rowLength = 20, .skipPixels = 5}.apply(false);
  glRasterPos2f(-0.98f, -0.3f);
  glDrawPixels(12, 20, GL_RGB, GL_UNSIGNED_BYTE, bytes.data());
  glRasterPos2f(-0.8f, -0.3f);
  glPixelZoom(3.0f, 2.0f);
  glPixelTransferf(GL_RED_SCALE, 0.5f);
  Store{.swap = 1}.apply(false);
  glDrawPixels(8, 10, GL_RGBA, GL_UNSIGNED_INT_8_8_8_8, bytes.data());
  glPixelTransferf(GL_RED_SCALE, 1.0f);
  glPixelZoom(1.0f, 1.0f);
  // Bitmaps, the raster position moving along.
  glColor3f(1.0f, 0.9f, 0.2f);
  glRasterPos2f(-0.5f, -0.3f);
  Store{.alignment = 1}.apply(false);
  glBitmap(9, 12, 0.0f, 0.0f, 12.0f, 0.0f, bytes.data());
  Store{.alignment = 2, .rowLength = 30, .skipPixels = 11, .skipRows = 2, .lsb = 1}.apply(false);
  glBitmap(10, 12, 1.0f, 2.0f, 12.0f, 0.0f, bytes.data());
  glBitmap(0, 0, 0.0f, 0.0f, 8.0f, 5.0f, nullptr);
  glBitmap(10, 12, 0.0f, 0.0f, 0.0f, 0.0f, bytes.data());
  Store{.alignment = 1}.apply(false);
  glRasterPos2f(-0.2f, -0.3f);
  glCallList(list);
  textured(GL_TEXTURE_2D, 15, 15);
  // A stippled polygon.
  cell(22);
  Store{}.apply(false);
  glPolygonStipple(bytes.data());
  glEnable(GL_POLYGON_STIPPLE);
  quad();
  glDisable(GL_POLYGON_STIPPLE);

  // Copies.
  glViewport(0, 0, kWidth, kHeight);
  glBindTexture(GL_TEXTURE_2D, textures[14]);
  glCopyTexSubImage2D(GL_TEXTURE_2D, 0, 4, 4, 2, 2, 24, 20);
  glBindTexture(GL_TEXTURE_2D, textures[16]);
  glCopyTexImage2D(GL_TEXTURE_2D, 0, GL_RGB, 40, 0, 32, 32, 0);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  textured(GL_TEXTURE_2D, 14, 30);
  textured(GL_TEXTURE_2D, 16, 31);

  // Reads, into memory whose gaps stay as they were.
  glViewport(0, 0, kWidth, kHeight);
  std::vector<uint8_t> pixels(40000, 0xAA);
  Store{.alignment = 8, .rowLength = 50, .skipPixels = 3, .skipRows = 2}.apply(true);
  glReadPixels(10, 10, 37, 30, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
  tell("colours", pixels);
  Store{.alignment = 8, .rowLength = 50, .skipPixels = 3, .skipRows = 2}.apply(false);
  glRasterPos2f(0.1f, 0.3f);
  glDrawPixels(37, 30, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
  for (const GLenum type : {GL_UNSIGNED_SHORT, GL_FLOAT, GL_UNSIGNED_SHORT_4_4_4_4, GL_UNSIGNED_INT_8_8_8_8_REV}) {
    pixels.assign(40000, 0xAA);
    Store{.alignment = 1, .swap = 1}.apply(true);
    glReadPixels(0, 0, 33, 9, GL_RGBA, type, pixels.data());
    tell("type", pixels);
  }
  pixels.assign(40000, 0xAA);
  Store{}.apply(true);
  glReadPixels(0, 0, 30, 30, GL_DEPTH_COMPONENT, GL_UNSIGNED_SHORT, pixels.data());
  tell("depth", pixels);
  pixels.assign(40000, 0xAA);
  glReadPixels(0, 0, 5, 5, GL_RGBA_INTEGER, GL_UNSIGNED_BYTE, pixels.data());
  tell("refused", pixels);
  for (const int number : {0, 2, 3, 9, 12}) {
    glBindTexture(GL_TEXTURE_2D, textures[number]);
    pixels.assign(40000, 0xAA);
    Store{.alignment = 2, .rowLength = 70, .skipRows = 1}.apply(true);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
    tell("texture", pixels);
  }
  glBindTexture(GL_TEXTURE_3D, textures[8]);
  pixels.assign(40000, 0xAA);
  Store{.alignment = 4, .rowLength = 7, .imageHeight = 6, .skipImages = 1}.apply(true);
  glGetTexImage(GL_TEXTURE_3D, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  tell("volume", pixels);
  glBindTexture(GL_TEXTURE_2D, textures[12]);
  pixels.assign(40000, 0xAA);
  Store{}.apply(true);
  glGetTexImage(GL_TEXTURE_2D, 4, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  tell("level", pixels);
  glGetTexImage(GL_TEXTURE_2D, 17, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  tell("no level", pixels);
  glBindTexture(GL_TEXTURE_2D, textures[13]);
  pixels.assign(40000, 0xAA);
  glGetCompressedTexImage(GL_TEXTURE_2D, 0, pixels.data());
  tell("compressed", pixels);
  pixels.assign(300, 0xAA);
  Store{.alignment = 1}.apply(true);
  glGetPolygonStipple(pixels.data());
  tell("stipple", pixels);
  GLfloat map[4] = {};
  glGetPixelMapfv(GL_PIXEL_MAP_I_TO_G, map);
  std::printf("map %g %g %g %g\n", static_cast<double>(map[0]), static_cast<double>(map[1]), static_cast<double>(map[2]), static_cast<double>(map[3]));
  std::printf("end: error %x\n", glGetError());
}

}  // namespace

extern const Picture kPicture{.width = kWidth, .height = kHeight, .frames = 2, .init = init, .draw = draw};
