// Pbuffers that become textures: their pictures, levels and faces, who may hold them meanwhile, and commands that name wrong
// ones.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "peer/host/in_process_gpu.h"
#include "tests/peer/test_guest.h"
#include "wire/gl_api.h"

namespace qv::peer::test {
namespace {

constexpr uint32_t kPositiveX = GL_TEXTURE_CUBE_MAP_POSITIVE_X;
constexpr int32_t kWidth = 64, kHeight = 48;  // of the window

using Words = std::vector<uint16_t>;
const Words kPlain2d = {GL_DOUBLEBUFFER, GL_RGBA, GL_TEXTURE_2D, 0};
const Words kMipmapped2d = {GL_DOUBLEBUFFER, GL_RGBA, GL_TEXTURE_2D, GL_GENERATE_MIPMAP, 0};
const Words kCube = {GL_DOUBLEBUFFER, GL_RGBA, GL_TEXTURE_CUBE_MAP, 0};
const Words kMipmappedCube = {GL_DOUBLEBUFFER, GL_RGB, GL_TEXTURE_CUBE_MAP, GL_GENERATE_MIPMAP, 0};

Stream& clear(Stream& stream, float red, float green, float blue) {
  return stream.add(kClearColor, red, green, blue, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT);
}

// Distinct for each of the first 24 numbers, and exact in 8 bits.
uint32_t color(uint32_t number) {
  return (number % 3 * 51 + 51) << 16 | (number / 3 % 3 * 51 + 102) << 8 | (number / 9 * 51 + 51);
}
Stream& clearTo(Stream& stream, uint32_t rgb) {
  const auto part = [&](uint32_t shift) { return static_cast<float>(rgb >> shift & 255) / 255.0f; };
  return clear(stream, part(16), part(8), part(0));
}

// Two triangles of all colours that cut each other.
Stream& drawScene(Stream& stream) {
  clear(stream, 0.2f, 0.4f, 0.6f).add(kClear, GL_DEPTH_BUFFER_BIT).add(kEnable, GL_DEPTH_TEST);
  stream.add(kBegin, GL_TRIANGLES);
  stream.add(kColor3f, 1.0f, 0.0f, 0.0f).add(kVertex3f, -0.9f, -0.8f, 0.5f);
  stream.add(kColor3f, 0.0f, 1.0f, 0.0f).add(kVertex3f, 0.8f, -0.9f, -0.5f);
  stream.add(kColor3f, 0.0f, 0.0f, 1.0f).add(kVertex3f, -0.7f, 0.9f, 0.0f);
  stream.add(kColor3f, 1.0f, 1.0f, 0.0f).add(kVertex3f, -0.8f, 0.0f, 0.2f);
  stream.add(kColor3f, 0.0f, 1.0f, 1.0f).add(kVertex3f, 0.9f, 0.1f, 0.2f);
  stream.add(kColor3f, 1.0f, 0.0f, 1.0f).add(kVertex3f, 0.3f, 0.8f, -0.4f);
  return stream.add(kEnd).add(kDisable, GL_DEPTH_TEST);
}

Stream& filters(Stream& stream, uint32_t target, uint32_t least) {
  stream.add(kTexParameteri, target, GL_TEXTURE_MIN_FILTER, least).add(kTexParameteri, target, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  return stream.add(kTexEnvi, GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE).add(kEnable, target);
}

// The whole texture over the viewport.
Stream& drawTexture(Stream& stream) {
  stream.add(kBegin, GL_QUADS);
  for (const auto& [s, t] : {std::pair{0.0f, 0.0f}, {1.0f, 0.0f}, {1.0f, 1.0f}, {0.0f, 1.0f}}) {
    stream.add(kTexCoord2f, s, t).add(kVertex2f, 2 * s - 1, 2 * t - 1);
  }
  return stream.add(kEnd);
}

// One texel of a cube map over the viewport: the centre of a face.
Stream& drawFace(Stream& stream, uint32_t face) {
  float direction[3] = {};
  direction[face / 2] = face % 2 == 0 ? 1.0f : -1.0f;
  stream.add(kBegin, GL_QUADS).add(kTexCoord3f, direction[0], direction[1], direction[2]);
  for (const auto& [x, y] : {std::pair{-1.0f, -1.0f}, {1.0f, -1.0f}, {1.0f, 1.0f}, {-1.0f, 1.0f}}) stream.add(kVertex2f, x, y);
  return stream.add(kEnd);
}

class Pbuffers : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(guest.start(kWidth, kHeight)); }
  void TearDown() override { EXPECT_EQ(log.take(), std::vector<std::string>{}); }

  // Sends a stream with another window current.
  int32_t flushTo(TestGuest& to, uint32_t window, uint32_t width, uint32_t height, const Stream& stream) {
    TestGuest other(gpu);
    other.context = to.context;
    other.window = window;
    other.width = width;
    other.height = height;
    return other.flush(stream);
  }
  // Another guest context of this guest, which shares with the first one.
  TestGuest sharing() {
    TestGuest other(gpu);
    other.context = other.createContext().contextId;
    other.window = guest.window;
    other.width = kWidth;
    other.height = kHeight;
    ShareContextsPacket packet;
    packet.firstId = guest.context;
    packet.secondId = other.context;
    EXPECT_EQ(other.send(packet), 0);
    return other;
  }
  bool destroy(uint32_t window) {
    DestroyWindowPacket packet;
    packet.windowId = window;
    return guest.send(packet) == 0;
  }
  void expectOneLine(const std::string& text) {
    const std::vector<std::string> lines = log.take();
    ASSERT_EQ(lines.size(), 1u) << text << testing::PrintToString(lines);
    EXPECT_NE(lines[0].find(text), std::string::npos) << lines[0];
  }
  uint32_t pixel(uint32_t x, uint32_t y) const { return guest.surface->pixel(x, y) & 0xFFFFFF; }
  int32_t integer(uint32_t name) { return guest.askFor<int32_t>(Stream().add(kGetIntegerv, name, 1u)); }
  int32_t levelParameter(uint32_t image, uint32_t level, uint32_t name) {
    return guest.askFor<int32_t>(Stream().add(kGetTexLevelParameteriv, image, level, name));
  }
  // What the first context's texture `name` looks like over the whole window.
  std::vector<uint32_t> pictureOf(uint32_t name) {
    Stream stream;
    stream.add(kBindTexture, GL_TEXTURE_2D, name).add(kViewport, 0, 0, kWidth, kHeight);
    drawTexture(filters(clear(stream, 0, 0, 0), GL_TEXTURE_2D, GL_NEAREST)).add(kDisable, GL_TEXTURE_2D);
    EXPECT_EQ(guest.flush(stream, GL_BACK), 0);
    return guest.surface->pixels();
  }

  LogCapture log;
  InProcessGpu gpu;
  TestGuest guest{gpu};
};

// A scene drawn to a pbuffer and shown as its texture is, pixel for pixel, the scene drawn to a texture by a framebuffer object.
TEST_F(Pbuffers, TextureEqualsAFramebufferObjects) {
  Stream framebuffer;
  framebuffer.add(kBindTexture, GL_TEXTURE_2D, 7u).add(kCopyTexImage2D, GL_TEXTURE_2D, 0, GL_RGBA8, 0, 0, 32, 32, 0);
  filters(framebuffer, GL_TEXTURE_2D, GL_NEAREST).add(kDisable, GL_TEXTURE_2D).add(kBindTexture, GL_TEXTURE_2D, 0u);
  ASSERT_EQ(guest.flush(framebuffer), 0);
  const uint32_t name = guest.askFor<uint32_t>(Stream().add(kGenFramebuffers, 1));
  const uint32_t depth = guest.askFor<uint32_t>(Stream().add(kGenRenderbuffers, 1));
  Stream scene;
  scene.add(kBindFramebuffer, GL_FRAMEBUFFER, name)
      .add(kFramebufferTexture2D, GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 7u, 0);
  scene.add(kBindRenderbuffer, GL_RENDERBUFFER, depth).add(kRenderbufferStorage, GL_RENDERBUFFER, GL_DEPTH_COMPONENT24, 32, 32);
  scene.add(kFramebufferRenderbuffer, GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, depth).add(kViewport, 0, 0, 32, 32);
  drawScene(scene).add(kBindFramebuffer, GL_FRAMEBUFFER, 0u);
  ASSERT_EQ(guest.flush(scene), 0);
  const std::vector<uint32_t> expected = pictureOf(7);
  ASSERT_EQ(guest.glError(), 0u);

  const uint32_t pbuffer = guest.createWindow(kPlain2d).windowId;
  Stream again = Stream().add(kViewport, 0, 0, 32, 32);
  ASSERT_EQ(flushTo(guest, pbuffer, 32, 32, drawScene(again)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kBindTexture, GL_TEXTURE_2D, 8u).add(kBindTexImage, pbuffer, GL_BACK)), 0);
  EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), 8);
  EXPECT_EQ(pictureOf(8), expected);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_NE(expected[0], expected[kWidth * kHeight / 2 + kWidth / 3]);
}

// The texture keeps its picture while the pbuffer is drawn to again, and gets the new one at the next binding.
TEST_F(Pbuffers, TextureChangesAtTheNextBindingOnly) {
  const uint32_t pbuffer = guest.createWindow(kPlain2d).windowId;
  for (uint32_t i = 0; i < 4; ++i) {
    Stream draw, bind;
    ASSERT_EQ(flushTo(guest, pbuffer, 8, 8, clearTo(draw, color(i))), 0);
    bind.add(kBindTexture, GL_TEXTURE_2D, 3u).add(kBindTexImage, pbuffer, i % 2 == 0 ? GL_FRONT : GL_BACK);
    ASSERT_EQ(guest.flush(bind), 0);
    EXPECT_EQ(pictureOf(3)[100] & 0xFFFFFF, color(i));
    ASSERT_EQ(guest.flush(Stream().add(kReleaseTexImage, pbuffer, GL_BACK)), 0);
  }
}

// The pbuffer that is the drawable of the flush can be bound, to the texture that has no name.
TEST_F(Pbuffers, CurrentPbufferCanBeBoundToTextureZero) {
  const uint32_t pbuffer = guest.createWindow(kPlain2d).windowId;
  Stream draw;
  clearTo(draw, color(5)).add(kBindTexImage, pbuffer, GL_BACK);
  ASSERT_EQ(flushTo(guest, pbuffer, 8, 8, clearTo(draw, color(6))), 0);
  EXPECT_EQ(pictureOf(0)[5] & 0xFFFFFF, color(5));
  ASSERT_EQ(guest.flush(Stream().add(kBindTexImage, pbuffer, GL_BACK)), 0);
  EXPECT_EQ(pictureOf(0)[5] & 0xFFFFFF, color(6));
}

// The drawable of the flush is bound again behind the command, with what was drawn before it.
TEST_F(Pbuffers, DrawingGoesOnBehindTheCommand) {
  const uint32_t pbuffer = guest.createWindow(kPlain2d).windowId;
  Stream draw, stream;
  ASSERT_EQ(flushTo(guest, pbuffer, 8, 8, clearTo(draw, color(1))), 0);
  clearTo(stream, color(2)).add(kBindTexture, GL_TEXTURE_2D, 3u);
  filters(stream, GL_TEXTURE_2D, GL_NEAREST).add(kBindTexImage, pbuffer, GL_BACK);
  drawTexture(stream.add(kViewport, 0, 0, kWidth / 2, kHeight));
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  EXPECT_EQ(pixel(2, 2), color(1));
  EXPECT_EQ(pixel(kWidth - 2, 2), color(2));
}

// Nothing of the guest's state reaches the copy or is changed by it: pixel transfer, scissor, framebuffers, an open list.
TEST_F(Pbuffers, StateIsLeftAlone) {
  const uint32_t pbuffer = guest.createWindow(kPlain2d).windowId;
  Stream draw;
  ASSERT_EQ(flushTo(guest, pbuffer, 8, 8, clearTo(draw, color(7))), 0);
  Stream stream =
      Stream().add(kBindTexture, GL_TEXTURE_2D, 4u).add(kBindTexture, GL_TEXTURE_2D, 3u).add(kPixelTransferf, GL_RED_SCALE, 0.0f);
  stream.add(kEnable, GL_SCISSOR_TEST).add(kScissor, 0, 0, 1, 1).add(kViewport, 1, 2, 3, 4).add(kReadBuffer, GL_FRONT);
  stream.add(kNewList, 5u, GL_COMPILE).add(kBindTexImage, pbuffer, GL_BACK).add(kViewport, 5, 6, 7, 8).add(kEndList);
  ASSERT_EQ(guest.flush(stream), 0);
  EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), 3);
  EXPECT_EQ(integer(GL_READ_BUFFER), static_cast<int32_t>(GL_FRONT));
  EXPECT_EQ(integer(GL_VIEWPORT), 1);
  ASSERT_EQ(guest.flush(Stream().add(kBindTexture, GL_TEXTURE_2D, 4u).add(kCallList, 5u)), 0);
  EXPECT_EQ(integer(GL_VIEWPORT), 5);
  EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), 4);
  EXPECT_EQ(guest.glError(), 0u);
  ASSERT_EQ(guest.flush(Stream().add(kPixelTransferf, GL_RED_SCALE, 1.0f).add(kDisable, GL_SCISSOR_TEST)), 0);
  EXPECT_EQ(pictureOf(3)[9] & 0xFFFFFF, color(7));
}

// The texture has the format that the pbuffer was made with.
TEST_F(Pbuffers, TextureHasThePbuffersFormat) {
  for (const uint16_t format : {uint16_t{GL_RGB}, uint16_t{GL_RGBA}}) {
    const uint32_t pbuffer = guest.createWindow({GL_DOUBLEBUFFER, format, GL_TEXTURE_2D, 0}).windowId;
    ASSERT_EQ(flushTo(guest, pbuffer, 8, 4, Stream().add(kClear, GL_COLOR_BUFFER_BIT)), 0);
    ASSERT_EQ(guest.flush(Stream().add(kBindTexture, GL_TEXTURE_2D, 3u).add(kBindTexImage, pbuffer, GL_BACK)), 0);
    EXPECT_EQ(levelParameter(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH), 8);
    EXPECT_EQ(levelParameter(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT), 4);
    EXPECT_EQ(levelParameter(GL_TEXTURE_2D, 1, GL_TEXTURE_WIDTH), 0);
    EXPECT_EQ(levelParameter(GL_TEXTURE_2D, 0, GL_TEXTURE_ALPHA_SIZE), format == GL_RGBA ? 8 : 0);
  }
}

// A floating-point pbuffer gives a floating-point texture, whose values are not clamped.
TEST_F(Pbuffers, FloatTextureIsNotClamped) {
  const uint32_t pbuffer = guest.createWindow({GL_RGBA32F, GL_RGBA, GL_TEXTURE_2D, 0}).windowId;
  expectOneLine("floating-point windows get 16 bits");
  Stream draw, stream;
  ASSERT_EQ(flushTo(guest, pbuffer, 8, 8, clear(draw, 2.0f, 3.0f, -1.0f)), 0);
  stream.add(kBindTexture, GL_TEXTURE_2D, 3u).add(kBindTexImage, pbuffer, GL_BACK);
  filters(clear(stream, 0, 0, 0), GL_TEXTURE_2D, GL_NEAREST);
  // A negative colour would be clamped at the vertex.
  stream.add(kClampColor, GL_CLAMP_VERTEX_COLOR, GL_FALSE).add(kColor3f, 0.25f, 0.25f, -0.5f);
  stream.add(kTexEnvi, GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE).add(kViewport, 0, 0, kWidth, kHeight);
  ASSERT_EQ(guest.flush(drawTexture(stream), GL_BACK), 0);
  EXPECT_EQ(pixel(3, 3), 0x80BF80u);
  EXPECT_EQ(levelParameter(GL_TEXTURE_2D, 0, GL_TEXTURE_RED_TYPE), static_cast<int32_t>(GL_FLOAT));
  EXPECT_EQ(guest.glError(), 0u);
}

// Each level has a picture of its own, of half the size of the one below, and a sampler finds them all.
TEST_F(Pbuffers, LevelsHavePicturesOfTheirOwn) {
  const uint32_t pbuffer = guest.createWindow(kMipmapped2d).windowId;
  Stream draw;
  for (uint32_t level = 0; level < 5; ++level) clearTo(draw.add(kPbufferAttrib, pbuffer, kPositiveX, level), color(level));
  // Back on one of them: what has been drawn is still there, and a part of it changes.
  draw.add(kPbufferAttrib, pbuffer, kPositiveX, 1u).add(kEnable, GL_SCISSOR_TEST).add(kScissor, 0, 0, 4, 8);
  clearTo(draw, color(9)).add(kDisable, GL_SCISSOR_TEST).add(kPbufferAttrib, pbuffer, kPositiveX, 0u);
  ASSERT_EQ(flushTo(guest, pbuffer, 16, 16, draw), 0);
  Stream stream = Stream().add(kBindTexture, GL_TEXTURE_2D, 3u).add(kBindTexImage, pbuffer, GL_BACK);
  filters(clear(stream, 0, 0, 0), GL_TEXTURE_2D, GL_NEAREST_MIPMAP_NEAREST);
  for (int32_t level = 0; level < 5; ++level) drawTexture(stream.add(kViewport, 12 * level, 0, 16 >> level, 16 >> level));
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  EXPECT_EQ(pixel(1, 47), color(0));
  EXPECT_EQ(pixel(12, 47), color(9));
  EXPECT_EQ(pixel(19, 47), color(1));
  EXPECT_EQ(pixel(24, 47), color(2));
  EXPECT_EQ(pixel(36, 46), color(3));
  EXPECT_EQ(pixel(48, 47), color(4));
  for (uint32_t level = 0; level < 5; ++level) EXPECT_EQ(levelParameter(GL_TEXTURE_2D, level, GL_TEXTURE_WIDTH), 16 >> level);
  EXPECT_EQ(levelParameter(GL_TEXTURE_2D, 5, GL_TEXTURE_WIDTH), 0);
  EXPECT_EQ(guest.glError(), 0u);
}

// Levels that have not been drawn are made from level 0, whatever levels the texture is sampled at; one that has been drawn
// stays. So do the levels of a texture that generates its own.
TEST_F(Pbuffers, LevelsThatWereNeverDrawnAreMade) {
  const uint32_t pbuffer = guest.createWindow(kMipmapped2d).windowId;
  Stream draw, stream;
  clearTo(draw, color(4)).add(kPbufferAttrib, pbuffer, kPositiveX, 2u);
  ASSERT_EQ(flushTo(guest, pbuffer, 32, 8, clearTo(draw, color(9)).add(kPbufferAttrib, pbuffer, kPositiveX, 0u)), 0);
  stream.add(kBindTexture, GL_TEXTURE_2D, 3u)
      .add(kTexParameteri, GL_TEXTURE_2D, GL_TEXTURE_BASE_LEVEL, 3)
      .add(kBindTexImage, pbuffer, GL_BACK);
  ASSERT_EQ(guest.flush(stream), 0);
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetTexParameteriv, GL_TEXTURE_2D, GL_TEXTURE_BASE_LEVEL)), 3);
  for (const uint32_t level : {0u, 1u, 2u, 3u, 5u}) {
    Stream show = Stream().add(kTexParameteri, GL_TEXTURE_2D, GL_TEXTURE_BASE_LEVEL, level);
    filters(clear(show, 0, 0, 0), GL_TEXTURE_2D, GL_NEAREST_MIPMAP_NEAREST).add(kViewport, 0, 0, 32, 8);
    ASSERT_EQ(guest.flush(drawTexture(show), GL_BACK), 0);
    EXPECT_EQ(pixel(1, 47), level == 2 ? color(9) : color(4)) << level;
    EXPECT_EQ(levelParameter(GL_TEXTURE_2D, level, GL_TEXTURE_WIDTH), 32 >> level);
  }
  EXPECT_EQ(levelParameter(GL_TEXTURE_2D, 6, GL_TEXTURE_WIDTH), 0);

  Stream generating =
      Stream().add(kBindTexture, GL_TEXTURE_2D, 4u).add(kTexParameteri, GL_TEXTURE_2D, GL_GENERATE_MIPMAP, GL_TRUE);
  filters(clear(generating.add(kBindTexImage, pbuffer, GL_BACK), 0, 0, 0), GL_TEXTURE_2D, GL_NEAREST_MIPMAP_NEAREST);
  ASSERT_EQ(guest.flush(drawTexture(generating.add(kViewport, 0, 0, 8, 2)), GL_BACK), 0);
  EXPECT_EQ(pixel(1, 47), color(4));
}

// Each of the six faces has its colour, at each level where there are levels.
TEST_F(Pbuffers, FacesHavePicturesOfTheirOwn) {
  for (const Words& format : {kCube, kMipmappedCube}) {
    const uint32_t levels = format == kCube ? 1 : 4;
    const uint32_t pbuffer = guest.createWindow(format).windowId;
    Stream draw, stream;
    for (uint32_t i = 0; i < 6 * levels; ++i) clearTo(draw.add(kPbufferAttrib, pbuffer, kPositiveX + i % 6, i / 6), color(i));
    ASSERT_EQ(flushTo(guest, pbuffer, 8, 8, draw), 0);
    stream.add(kBindTexture, GL_TEXTURE_CUBE_MAP, 2 + levels).add(kBindTexImage, pbuffer, GL_BACK);
    for (uint32_t level = 0; level < levels; ++level) {
      // One level at a time: what is sampled has no size to choose it by.
      filters(stream, GL_TEXTURE_CUBE_MAP, GL_NEAREST_MIPMAP_NEAREST);
      stream.add(kTexParameteri, GL_TEXTURE_CUBE_MAP, GL_TEXTURE_BASE_LEVEL, level)
          .add(kTexParameteri, GL_TEXTURE_CUBE_MAP, GL_TEXTURE_MAX_LEVEL, level);
      for (uint32_t face = 0; face < 6; ++face) drawFace(stream.add(kViewport, 8 * face, 8 * level, 8, 8), face);
    }
    ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
    for (uint32_t i = 0; i < 6 * levels; ++i) EXPECT_EQ(pixel(8 * (i % 6) + 4, 47 - 8 * (i / 6)), color(i)) << i;
    EXPECT_EQ(guest.glError(), 0u);
  }
}

// The selected image stays selected from one flush to the next and is what is presented.
TEST_F(Pbuffers, SelectionLasts) {
  const uint32_t pbuffer = guest.createWindow(kMipmapped2d).windowId;
  Stream both, second;
  clearTo(both, color(1)).add(kPbufferAttrib, pbuffer, kPositiveX, 1u);
  ASSERT_EQ(flushTo(guest, pbuffer, kWidth, kHeight, both), 0);
  ASSERT_EQ(guest.flush(Stream().add(kFlush)), 0);
  ASSERT_EQ(flushTo(guest, pbuffer, kWidth, kHeight, clearTo(second, color(2))), 0);
  guest.window = pbuffer;
  guest.surface->fill(0x11);
  ASSERT_EQ(guest.flush(Stream(), GL_BACK), 0);
  EXPECT_EQ(pixel(kWidth / 2 - 1, kHeight / 2 - 1), color(2));
  EXPECT_EQ(pixel(kWidth / 2, 0), 0x111111u);
  ASSERT_EQ(guest.flush(Stream().add(kPbufferAttrib, pbuffer, kPositiveX, 0u), GL_BACK), 0);
  EXPECT_EQ(pixel(kWidth - 1, kHeight - 1), color(1));
}

// A context that draws to the pbuffer lets it go for one that binds it, and draws on afterwards.
TEST_F(Pbuffers, PbufferOfAnotherContextIsLetGo) {
  TestGuest other = sharing();
  const uint32_t pbuffer = guest.createWindow(kPlain2d).windowId;
  Stream draw, again;
  ASSERT_EQ(flushTo(other, pbuffer, 8, 8, clearTo(draw, color(3))), 0);
  ASSERT_EQ(guest.flush(Stream().add(kBindTexture, GL_TEXTURE_2D, 3u).add(kBindTexImage, pbuffer, GL_BACK)), 0);
  EXPECT_EQ(pictureOf(3)[1] & 0xFFFFFF, color(3));
  ASSERT_EQ(flushTo(other, pbuffer, 8, 8, clearTo(again, color(4))), 0);
  ASSERT_EQ(guest.flush(Stream().add(kBindTexture, GL_TEXTURE_2D, 3u).add(kBindTexImage, pbuffer, GL_BACK)), 0);
  EXPECT_EQ(pictureOf(3)[1] & 0xFFFFFF, color(4));
}

// A texture of one context gets its picture in another one that shares it.
TEST_F(Pbuffers, SharingContextSeesTheTexture) {
  TestGuest other = sharing();
  const uint32_t pbuffer = guest.createWindow(kPlain2d).windowId;
  Stream draw;
  ASSERT_EQ(flushTo(guest, pbuffer, 8, 8, clearTo(draw, color(3))), 0);
  ASSERT_EQ(other.flush(Stream().add(kBindTexture, GL_TEXTURE_2D, 3u).add(kBindTexImage, pbuffer, GL_BACK)), 0);
  EXPECT_EQ(pictureOf(3)[1] & 0xFFFFFF, color(3));
}

// Two threads, each drawing to a pbuffer and binding the one that the other draws to: nobody waits for ever.
TEST_F(Pbuffers, CrosswiseBindingWaitsForNobody) {
  TestGuest other = sharing();
  const uint32_t pbuffers[2] = {guest.createWindow(kPlain2d).windowId, guest.createWindow(kMipmapped2d).windowId};
  std::atomic<int> failures{0};
  const auto work = [&](TestGuest& one, uint32_t mine) {
    for (uint32_t i = 0; i < 100; ++i) {
      Stream stream;
      clearTo(stream, color(i % 24)).add(kBindTexture, GL_TEXTURE_2D, 10 + mine).add(kBindTexImage, pbuffers[1 - mine], GL_BACK);
      if (mine == 1) stream.add(kPbufferAttrib, pbuffers[1], kPositiveX, i % 3);
      failures += flushTo(one, pbuffers[mine], 8, 8, clearTo(stream, color(i % 24))) != 0;
    }
  };
  std::thread thread([&] { work(other, 1); });
  work(guest, 0);
  thread.join();
  EXPECT_EQ(failures.load(), 0);
}

// A core context binds pbuffers like any other.
TEST_F(Pbuffers, CoreContextBindsPbuffers) {
  guest.context = guest.createContext({GL_DOUBLEBUFFER, GL_VERSION, 330, GL_CONTEXT_PROFILE_MASK, 1, 0}).contextId;
  const uint32_t pbuffer = guest.createWindow(kMipmapped2d).windowId;
  Stream draw;
  ASSERT_EQ(flushTo(guest, pbuffer, 8, 8, clearTo(draw, color(3))), 0);
  ASSERT_EQ(guest.flush(Stream().add(kBindTexImage, pbuffer, GL_BACK)), 0);
  EXPECT_EQ(levelParameter(GL_TEXTURE_2D, 3, GL_TEXTURE_WIDTH), 1);
  EXPECT_EQ(guest.glError(), 0u);
}

// A resize takes the images away, and the levels follow the new size.
TEST_F(Pbuffers, ResizeTakesTheImagesAway) {
  const uint32_t pbuffer = guest.createWindow(kMipmapped2d).windowId;
  Stream draw = Stream().add(kPbufferAttrib, pbuffer, kPositiveX, 4u), again;
  ASSERT_EQ(flushTo(guest, pbuffer, 16, 16, clearTo(draw, color(1))), 0);
  EXPECT_EQ(gpu.counters().surfaces, 2u);
  ASSERT_EQ(flushTo(guest, pbuffer, 4, 4, clearTo(again, color(2))), 0);
  EXPECT_EQ(gpu.counters().surfaces, 1u);
  ASSERT_EQ(guest.flush(Stream().add(kBindTexture, GL_TEXTURE_2D, 3u).add(kBindTexImage, pbuffer, GL_BACK)), 0);
  EXPECT_EQ(levelParameter(GL_TEXTURE_2D, 2, GL_TEXTURE_WIDTH), 1);
  EXPECT_EQ(levelParameter(GL_TEXTURE_2D, 3, GL_TEXTURE_WIDTH), 0);
  EXPECT_EQ(pictureOf(3)[1] & 0xFFFFFF, color(2));
}

// A pbuffer that goes while its texture is in use takes nothing along, and nothing of it is left.
TEST_F(Pbuffers, DestructionWhileBoundLeavesNothing) {
  ASSERT_EQ(guest.flush(Stream().add(kFlush)), 0);
  const PeerCounters before = gpu.counters();
  const uint32_t pbuffer = guest.createWindow(kMipmappedCube).windowId, plain = guest.createWindow(kPlain2d).windowId;
  Stream draw, all;
  for (uint32_t i = 0; i < 24; ++i) clearTo(all.add(kPbufferAttrib, pbuffer, kPositiveX + i % 6, i / 6), color(i));
  ASSERT_EQ(flushTo(guest, pbuffer, 8, 8, all), 0);
  ASSERT_EQ(flushTo(guest, plain, 8, 8, clearTo(draw, color(8))), 0);
  Stream stream = Stream().add(kBindTexture, GL_TEXTURE_2D, 3u).add(kBindTexture, GL_TEXTURE_CUBE_MAP, 4u);
  ASSERT_EQ(guest.flush(stream.add(kBindTexImage, plain, GL_BACK).add(kBindTexImage, pbuffer, GL_BACK)), 0);
  EXPECT_EQ(gpu.counters().surfaces, before.surfaces + 25);
  EXPECT_EQ(gpu.counters().windows, before.windows + 2);
  EXPECT_EQ(gpu.counters().glContexts, before.glContexts + 1);
  ASSERT_TRUE(destroy(pbuffer) && destroy(plain));
  EXPECT_EQ(gpu.counters().surfaces, before.surfaces);
  EXPECT_EQ(gpu.counters().windows, before.windows);
  EXPECT_EQ(pictureOf(3)[1] & 0xFFFFFF, color(8));
  ASSERT_EQ(guest.flush(Stream().add(kReleaseTexImage, plain, GL_BACK)), 0);
  expectOneLine("2002 (qvReleaseTexImage) passed over: there is no such window");

  DeleteContextPacket packet;
  packet.contextId = guest.context;
  ASSERT_EQ(guest.send(packet), 0);
  ASSERT_TRUE(destroy(guest.window));
  EXPECT_EQ(gpu.counters().glContexts + gpu.counters().surfaces + gpu.counters().windows + gpu.counters().contexts, 0u);
}

// Commands that name what there is not are passed over, with one line for each opcode and reason, and drawing goes on.
TEST_F(Pbuffers, WrongNamesArePassedOver) {
  const uint32_t plain = guest.createWindow(kPlain2d).windowId, levels = guest.createWindow(kMipmapped2d).windowId;
  const uint32_t cube = guest.createWindow(kCube).windowId, untextured = guest.createWindow().windowId;
  for (const uint32_t window : {plain, levels, cube, untextured}) {
    ASSERT_EQ(flushTo(guest, window, 16, 16, Stream().add(kClear, GL_COLOR_BUFFER_BIT)), 0);
  }
  const auto passedOver = [&](const Stream& stream, uint32_t window, const std::string& why) {
    Stream twice = stream;
    twice.raw(stream.data);
    EXPECT_EQ(flushTo(guest, window, 16, 16, clearTo(twice, color(11))), 0);
    expectOneLine(why);
    guest.window = window;
    guest.width = guest.height = 16;
    EXPECT_EQ(guest.flush(Stream(), GL_BACK), 0);
    EXPECT_EQ(pixel(9, 9), color(11));
    EXPECT_EQ(guest.glError(), 0u);
  };
  for (const uint32_t missing : {0u, 999u, 0xFFFFFFFFu}) {
    passedOver(Stream().add(kBindTexImage, missing, GL_BACK), plain,
               "2001 (qvBindTexImage) passed over: there is no such window");
    passedOver(Stream().add(kReleaseTexImage, missing, GL_BACK), plain,
               "2002 (qvReleaseTexImage) passed over: there is no such window");
    passedOver(Stream().add(kPbufferAttrib, missing, kPositiveX, 0u), plain, "there is no such window");
    guest.context = guest.createContext().contextId;
  }
  passedOver(Stream().add(kBindTexImage, untextured, GL_BACK), plain, "no pbuffer for textures");
  passedOver(Stream().add(kReleaseTexImage, untextured, GL_BACK), plain, "no pbuffer for textures");
  passedOver(Stream().add(kPbufferAttrib, untextured, kPositiveX, 0u), untextured, "no pbuffer for textures");
  passedOver(Stream().add(kPbufferAttrib, levels, kPositiveX, 0u), plain, "not the current drawable");
  passedOver(Stream().add(kBindTexImage, plain, 0u), plain, "neither the front nor the back");
  passedOver(Stream().add(kReleaseTexImage, plain, 0x0409u), plain, "neither the front nor the back");
  passedOver(Stream().add(kPbufferAttrib, cube, kPositiveX + 6, 0u), cube, "no such face");
  passedOver(Stream().add(kPbufferAttrib, plain, kPositiveX, 1u), plain, "no such level");
  guest.context = guest.createContext().contextId;
  for (const uint32_t face : {0u, static_cast<uint32_t>(GL_TEXTURE_2D), kPositiveX - 1, 0xFFFFFFFFu}) {
    passedOver(Stream().add(kPbufferAttrib, cube, face, 0u), cube, "no such face");
    guest.context = guest.createContext().contextId;
  }
  for (const uint32_t level : {5u, 32u, 33u, 1000u, 0xFFFFFFFFu}) {
    passedOver(Stream().add(kPbufferAttrib, levels, kPositiveX, level), levels, "no such level");
    guest.context = guest.createContext().contextId;
  }
}

// A texture that does not take the images is left without them: a cube map of faces that are no squares.
TEST_F(Pbuffers, FacesThatAreNoSquaresAreNotTaken) {
  const uint32_t cube = guest.createWindow(kCube).windowId;
  ASSERT_EQ(flushTo(guest, cube, 16, 8, Stream().add(kClear, GL_COLOR_BUFFER_BIT)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kBindTexture, GL_TEXTURE_CUBE_MAP, 3u).add(kBindTexImage, cube, GL_BACK)), 0);
  expectOneLine("does not take the images");
  EXPECT_EQ(levelParameter(kPositiveX, 0, GL_TEXTURE_WIDTH), 0);
  EXPECT_EQ(guest.glError(), 0u);
}

// A texture at another target than the pbuffer's is not touched.
TEST_F(Pbuffers, OtherTargetsAreNotTouched) {
  const uint32_t cube = guest.createWindow(kCube).windowId;
  ASSERT_EQ(flushTo(guest, cube, 8, 8, Stream().add(kClear, GL_COLOR_BUFFER_BIT)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kBindTexture, GL_TEXTURE_2D, 3u).add(kBindTexImage, cube, GL_BACK)), 0);
  EXPECT_EQ(levelParameter(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH), 0);
  EXPECT_EQ(levelParameter(kPositiveX + 5, 0, GL_TEXTURE_WIDTH), 8);
}

// Inside a primitive no drawable changes.
TEST_F(Pbuffers, NoDrawableChangesInsideAPrimitive) {
  const uint32_t plain = guest.createWindow(kPlain2d).windowId;
  Stream stream =
      Stream().add(kBegin, GL_TRIANGLES).add(kBindTexImage, plain, GL_BACK).add(kPbufferAttrib, plain, kPositiveX, 0u).add(kEnd);
  ASSERT_EQ(flushTo(guest, plain, 8, 8, stream), 0);
  const std::vector<std::string> lines = log.take();
  ASSERT_EQ(lines.size(), 2u);
  for (const std::string& line : lines) EXPECT_NE(line.find("a primitive is open"), std::string::npos);
}

// Commands of another size are malformed.
TEST_F(Pbuffers, CommandsOfAnotherSizeAreRefused) {
  const uint32_t plain = guest.createWindow(kPlain2d).windowId;
  for (const Stream& stream :
       {Stream().add(kPbufferAttrib, plain, kPositiveX), Stream().add(kPbufferAttrib, plain, kPositiveX, 0u, 0u),
        Stream().add(kBindTexImage, plain), Stream().add(kBindTexImage, plain, GL_BACK, 0u), Stream().add(kReleaseTexImage)}) {
    EXPECT_NE(flushTo(guest, plain, 8, 8, stream), 0);
    expectOneLine("payload of");
  }
}

// A number that names a pbuffer of one guest names none of another's.
TEST_F(Pbuffers, PbufferOfAnotherGuestIsUnknown) {
  for (int i = 0; i < 5; ++i) guest.createWindow(kPlain2d);
  const uint32_t pbuffer = guest.createWindow(kPlain2d).windowId;
  Stream draw;
  ASSERT_EQ(flushTo(guest, pbuffer, 8, 8, clearTo(draw, color(3))), 0);
  InProcessGpu elsewhere;
  TestGuest stranger(elsewhere, 78);
  ASSERT_TRUE(stranger.start(8, 8));
  ASSERT_EQ(stranger.flush(Stream().add(kBindTexture, GL_TEXTURE_2D, 3u).add(kBindTexImage, pbuffer, GL_BACK)), 0);
  expectOneLine("there is no such window");
  EXPECT_EQ(stranger.askFor<int32_t>(Stream().add(kGetTexLevelParameteriv, GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH)), 0);
}

}  // namespace
}  // namespace qv::peer::test
