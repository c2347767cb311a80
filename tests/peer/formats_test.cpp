// Windows of the formats that promise more than 8 bits and one sample: what is drawn to them comes out accordingly.
#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "peer/host/in_process_gpu.h"
#include "tests/peer/test_guest.h"
#include "wire/gl_api.h"

namespace qv::peer::test {
namespace {

class Formats : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(guest.start(64, 48)); }
  void TearDown() override { EXPECT_EQ(log.take(), std::vector<std::string>{}); }

  void use(std::vector<uint16_t> attributes) { guest.window = guest.createWindow(std::move(attributes)).windowId; }
  void expectOneLine(const std::string& text) {
    const std::vector<std::string> lines = log.take();
    ASSERT_EQ(lines.size(), 1u) << text << testing::PrintToString(lines);
    EXPECT_NE(lines[0].find(text), std::string::npos) << lines[0];
  }
  int32_t integer(uint32_t name) { return guest.askFor<int32_t>(Stream().add(kGetIntegerv, name, 1u)); }
  Stream white() {
    Stream stream =
        Stream().add(kClearColor, 0.0f, 0.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT).add(kColor3f, 1.0f, 1.0f, 1.0f);
    stream.add(kBegin, GL_TRIANGLES).add(kVertex2f, -0.9f, -0.8f).add(kVertex2f, 0.9f, -0.3f).add(kVertex2f, -0.2f, 0.9f);
    return stream.add(kEnd);
  }
  // The distinct colours of the window's picture.
  std::set<uint32_t> colorsOf(const Stream& stream) {
    EXPECT_EQ(guest.flush(stream, GL_BACK), 0);
    std::set<uint32_t> colors;
    for (const uint32_t pixel : guest.surface->pixels()) colors.insert(pixel & 0xFFFFFF);
    return colors;
  }
  uint32_t onlyColorOf(const Stream& stream) {
    const std::set<uint32_t> colors = colorsOf(stream);
    EXPECT_EQ(colors.size(), 1u) << testing::PrintToString(colors);
    return *colors.begin();
  }
  Stream clear(float red, float green, float blue) {
    return Stream().add(kClearColor, red, green, blue, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT);
  }

  LogCapture log;
  InProcessGpu gpu;
  TestGuest guest{gpu};
};

Stream& fill(Stream& stream, float red, float green, float blue) {
  stream.add(kColor3f, red, green, blue).add(kBegin, GL_QUADS);
  for (const auto& [x, y] : {std::pair{-1.0f, -1.0f}, {1.0f, -1.0f}, {1.0f, 1.0f}, {-1.0f, 1.0f}}) stream.add(kVertex2f, x, y);
  return stream.add(kEnd);
}

// Edges have what is covered of their pixels, unless the guest switches that off; a window of one sample has none of it.
TEST_F(Formats, MultisampledEdgesAreCovered) {
  EXPECT_EQ(colorsOf(white()), (std::set<uint32_t>{0, 0xFFFFFF}));
  EXPECT_EQ(integer(GL_SAMPLE_BUFFERS), 0);
  use({GL_DOUBLEBUFFER, GL_SAMPLES, 4, 0});
  EXPECT_EQ(integer(GL_SAMPLE_BUFFERS), 1);
  EXPECT_EQ(integer(GL_SAMPLES), 4);
  EXPECT_EQ(colorsOf(white()), (std::set<uint32_t>{0, 0x404040, 0x808080, 0xBFBFBF, 0xFFFFFF}));
  Stream off = Stream().add(kDisable, GL_MULTISAMPLE);
  EXPECT_EQ(colorsOf(off.raw(white().data)), (std::set<uint32_t>{0, 0xFFFFFF}));
}

// A read of a multisampled window gives the average of a pixel's samples, into a pack buffer too, and goes through the pixel
// transfer; what is bound and what is read from stays.
TEST_F(Formats, ReadsOfMultisampledWindowsAreAverages) {
  use({GL_DOUBLEBUFFER, GL_SAMPLES, 4, 0});
  ASSERT_GE(integer(GL_SAMPLES), 4);
  Stream half =
      Stream().add(kClearColor, 0.0f, 0.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT).add(kColor3f, 1.0f, 1.0f, 1.0f);
  half.add(kBegin, GL_QUADS).add(kVertex2f, -1.0f, -1.0f).add(kVertex2f, 1.0f / 64, -1.0f).add(kVertex2f, 1.0f / 64, 1.0f);
  half.add(kVertex2f, -1.0f, 1.0f).add(kEnd);  // up to the middle of column 32
  ASSERT_EQ(guest.flush(half), 0);
  const auto read = [&](uint32_t bytes) {
    return Stream().add(kReadPixels, 31, 10, 3, 1, GL_RED, GL_UNSIGNED_BYTE, bytes, bytes == 0 ? 0u : 1u);
  };
  const auto expectHalf = [&](const std::vector<uint8_t>& reply, int whole) {
    ASSERT_EQ(reply.size(), 3u);
    EXPECT_EQ(reply[0], whole);
    EXPECT_NEAR(reply[1], whole / 2, 1);
    EXPECT_EQ(reply[2], 0);
  };
  expectHalf(guest.ask(read(3), 3), 255);
  const std::vector<uint8_t> pack = words({GL_PIXEL_PACK_BUFFER, 4, 0, GL_STREAM_READ, 0});
  ASSERT_EQ(guest.flush(Stream().add(kBindBuffer, GL_PIXEL_PACK_BUFFER, 7u).bytes(kBufferData, pack)), 0);
  ASSERT_EQ(guest.flush(read(0)), 0);
  expectHalf(guest.ask(Stream().add(kGetBufferSubData, GL_PIXEL_PACK_BUFFER, 0u, 3u), 3), 255);
  ASSERT_EQ(guest.flush(Stream().add(kBindBuffer, GL_PIXEL_PACK_BUFFER, 0u).add(kPixelTransferf, GL_RED_SCALE, 0.5f)), 0);
  expectHalf(guest.ask(read(3), 3), 128);
  EXPECT_EQ(guest.ask(Stream().add(kReadPixels, 3, 3, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, 4u, 1u), 4), floats({1}));
  EXPECT_EQ(integer(GL_READ_FRAMEBUFFER_BINDING), 0);
  EXPECT_EQ(integer(GL_READ_BUFFER), GL_BACK);
  EXPECT_EQ(guest.glError(), uint32_t{GL_NO_ERROR});
  // Without a buffer to read from OpenGL refuses.
  EXPECT_EQ(
      guest.ask(Stream().add(kReadBuffer, GL_NONE).add(kReadPixels, 31, 10, 3, 1, GL_RED, GL_UNSIGNED_BYTE, 3u, 1u), 3).size(),
      0u);
  EXPECT_EQ(guest.glError(), uint32_t{GL_INVALID_OPERATION});
}

// The host's own framebuffers and renderbuffers have no names that a guest could meet: whichever it takes, the pictures of
// multisampled windows stay whole.
TEST_F(Formats, NoNameLeadsToObjectsOfTheHost) {
  constexpr uint32_t kBindRenderbufferEXT = 1411, kRenderbufferStorageEXT = 1414, kBindFramebufferEXT = 1417;
  use({GL_DOUBLEBUFFER, GL_SAMPLES, 4, 0});
  EXPECT_EQ(onlyColorOf(clear(1, 0, 0)), 0xFF0000u);
  const Stream read = Stream().add(kReadPixels, 40, 30, 1, 1, GL_RGB, GL_UNSIGNED_BYTE, 3, 1);
  EXPECT_EQ(guest.ask(read, 3), (std::vector<uint8_t>{255, 0, 0}));
  for (uint32_t name = 1; name <= 8; ++name) {
    ASSERT_EQ(guest.flush(Stream()
                              .add(kBindFramebufferEXT, GL_FRAMEBUFFER, name)
                              .add(kBindFramebufferEXT, GL_FRAMEBUFFER, 0)
                              .add(kBindRenderbufferEXT, GL_RENDERBUFFER, name)
                              .add(kRenderbufferStorageEXT, GL_RENDERBUFFER, GL_RGBA8, 16, 16)),
              0);
    EXPECT_EQ(onlyColorOf(clear(0, 1, 0)), 0x00FF00u) << name;
    ASSERT_EQ(guest.flush(Stream().add(kDeleteRenderbuffers, 1, name).add(kDeleteFramebuffers, 1, name)), 0);
    EXPECT_EQ(onlyColorOf(clear(0, 0, 1)), 0x0000FFu) << name;
    EXPECT_EQ(guest.ask(read, 3), (std::vector<uint8_t>{0, 0, 255})) << name;
  }
  EXPECT_EQ(guest.glError(), uint32_t{GL_NO_ERROR});
}

// The same of floating point colours, which keep what exceeds 1.
TEST_F(Formats, ReadsOfMultisampledFloatWindowsKeepTheirRange) {
  use({GL_DOUBLEBUFFER, GL_SAMPLES, 4, GL_RGBA32F, 0});
  ASSERT_EQ(guest.flush(Stream().add(kClampColor, GL_CLAMP_READ_COLOR, uint32_t{GL_FALSE}).raw(clear(3, 0.5f, 0).data)), 0);
  const std::vector<uint8_t> pixel = guest.ask(Stream().add(kReadPixels, 5, 5, 1, 1, GL_RG, GL_FLOAT, 8u, 1u), 8);
  EXPECT_EQ(pixel, floats({3, 0.5f}));
  log.take();
}

// A window has at least as many samples as asked for where they are to be had; the guest gets one line when there are fewer.
TEST_F(Formats, WindowsHaveTheSamplesAskedFor) {
  use({GL_DOUBLEBUFFER, GL_SAMPLES, 2, 0});
  EXPECT_GE(integer(GL_SAMPLES), 2);
  EXPECT_EQ(log.take().size(), 0u);
  use({GL_DOUBLEBUFFER, GL_SAMPLES, 8, 0});
  const int32_t samples = integer(GL_SAMPLES);
  EXPECT_GE(samples, 4);
  if (samples < 8) expectOneLine("windows of 8 samples get " + std::to_string(samples));
  use({GL_SAMPLES, 8, GL_FRAMEBUFFER_SRGB, 0});
  EXPECT_GT(colorsOf(white()).size(), 2u);
}

// The samples outlive the change to another context and a frame.
TEST_F(Formats, SamplesOutliveAContextAndAFrame) {
  use({GL_DOUBLEBUFFER, GL_SAMPLES, 4, 0});
  ASSERT_EQ(guest.flush(white()), 0);
  const uint32_t first = guest.context;
  guest.context = guest.createContext().contextId;
  const std::set<uint32_t> colors = colorsOf(Stream());
  EXPECT_EQ(colors, (std::set<uint32_t>{0, 0x404040, 0x808080, 0xBFBFBF, 0xFFFFFF}));
  guest.context = first;
  EXPECT_EQ(colorsOf(Stream()), colors);
}

// What a linear value is stored as, of 255.
double encoded(double linear) { return 255 * (1.055 * std::pow(linear, 1 / 2.4) - 0.055); }

// With GL_FRAMEBUFFER_SRGB on, values are encoded, and blended in linear light; off, they are stored as they are.
TEST_F(Formats, SrgbIsEncodedAndBlendedInLinearLight) {
  use({GL_DOUBLEBUFFER, GL_FRAMEBUFFER_SRGB, 0});
  const auto with = [](bool on) { return Stream().add(on ? 215 : 214, GL_FRAMEBUFFER_SRGB); };
  const auto expect = [&](const Stream& stream, double red, double green) {
    const uint32_t color = onlyColorOf(stream);
    EXPECT_NEAR(color >> 16, red, 1.01);
    EXPECT_NEAR(color >> 8 & 255, green, 1.01);
  };
  for (const bool on : {false, true}) {
    Stream drawn = with(on),
           blended = with(on).raw(clear(0.5f, 0.1f, 0.0f).data).add(kEnable, GL_BLEND).add(kBlendFunc, GL_ONE, GL_ONE);
    const auto stored = [&](double linear) { return on ? encoded(linear) : 255 * linear; };
    expect(with(on).raw(clear(0.5f, 0.2f, 0.0f).data), stored(0.5), stored(0.2));
    expect(fill(drawn, 0.4f, 0.1f, 0.0f), stored(0.4), stored(0.1));
    expect(fill(blended, 0.25f, 0.1f, 0.0f).add(kDisable, GL_BLEND), stored(0.75), stored(0.2));
  }
  // The picture comes back as it is stored, also with samples.
  use({GL_DOUBLEBUFFER, GL_SAMPLES, 4, GL_FRAMEBUFFER_SRGB, 0});
  expect(with(true).raw(clear(0.5f, 0.2f, 0.0f).data), encoded(0.5), encoded(0.2));
  EXPECT_EQ(guest.glError(), 0u);
}

// A floating-point window keeps values beyond 0 and 1, which later drawing finds; another window does not.
TEST_F(Formats, FloatWindowsKeepValuesBeyondOne) {
  const auto quartered = [&] {
    Stream stream = clear(2.0f, 3.0f, -2.0f);
    // Colour times destination, and the blue channel from below zero up again.
    stream.add(kEnable, GL_BLEND).add(kBlendFunc, GL_ZERO, GL_SRC_COLOR);
    fill(stream, 0.25f, 0.25f, 0.25f).add(kBlendFunc, GL_ONE, GL_ONE);
    return onlyColorOf(fill(stream, 0.0f, 0.0f, 0.75f).add(kDisable, GL_BLEND));
  };
  EXPECT_EQ(quartered(), 0x4040BFu);
  use({GL_DOUBLEBUFFER, GL_RGBA32F, 0});
  expectOneLine("floating-point windows get 16 bits per component");
  EXPECT_EQ(quartered(), 0x80BF40u);
  // What is presented is clamped.
  EXPECT_EQ(onlyColorOf(clear(2.0f, 0.5f, -1.0f)), 0xFF8000u);
  EXPECT_GE(integer(GL_RED_BITS), 16);
  // The next one of the guest is not worth a line.
  use({GL_RGBA32F, 0});
  EXPECT_EQ(guest.flush(Stream().add(kFlush)), 0);
  EXPECT_EQ(guest.glError(), 0u);
}

// Each operation of the accumulation buffer gives its colour, on windows with one and with several samples.
TEST_F(Formats, AccumulationHasItsOperations) {
  for (const std::vector<uint16_t>& list : {std::vector<uint16_t>{GL_DOUBLEBUFFER, 0}, {GL_DOUBLEBUFFER, GL_SAMPLES, 4, 0}}) {
    use(list);
    Stream sum = clear(0.2f, 0.4f, 0.6f).add(kAccum, GL_LOAD, 0.5f).raw(clear(0.6f, 0.4f, 0.2f).data).add(kAccum, GL_ACCUM, 0.5f);
    sum.raw(clear(0, 0, 0).data).add(kAccum, GL_RETURN, 1.0f);
    EXPECT_EQ(onlyColorOf(sum), 0x666666u);
    // Adding and multiplying work on the buffer alone, and beyond the range of colours.
    EXPECT_EQ(onlyColorOf(Stream().add(kAccum, GL_ADD, 1.2f)), 0x666666u);
    EXPECT_EQ(onlyColorOf(Stream().add(kAccum, GL_MULT, 0.25f).add(kAccum, GL_RETURN, 2.0f)), 0xCCCCCCu);
    EXPECT_EQ(onlyColorOf(Stream().add(kAccum, GL_RETURN, 9.0f)), 0xFFFFFFu);
    EXPECT_EQ(
        onlyColorOf(
            Stream().add(kClearAccum, 0.2f, 0.4f, -0.5f, 0.0f).add(kClear, GL_ACCUM_BUFFER_BIT).add(kAccum, GL_RETURN, 2.0f)),
        0x66CC00u);
  }
  EXPECT_EQ(guest.glError(), 0u);
}

// Scissor and colour mask bound the accumulation, wherever the box lies; other state of the guest does not reach it.
TEST_F(Formats, AccumulationIsScissored) {
  Stream stream = clear(1, 0, 0).add(kAccum, GL_LOAD, 1.0f).raw(clear(0, 0, 1).data).add(kEnable, GL_SCISSOR_TEST);
  stream.add(kScissor, -5, 40, 15, 1000)
      .add(kEnable, GL_DEPTH_TEST)
      .add(kDepthFunc, GL_NEVER)
      .add(kPixelTransferf, GL_RED_SCALE, 0.5f);
  ASSERT_EQ(guest.flush(stream.add(kAccum, GL_RETURN, 1.0f), GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(0, 0) & 0xFFFFFF, 0xFF0000u);
  EXPECT_EQ(guest.surface->pixel(9, 7) & 0xFFFFFF, 0xFF0000u);
  EXPECT_EQ(guest.surface->pixel(10, 7) & 0xFFFFFF, 0x0000FFu);
  EXPECT_EQ(guest.surface->pixel(9, 8) & 0xFFFFFF, 0x0000FFu);
  // Red only, and nowhere at all: a box outside.
  Stream masked = Stream().add(kDisable, GL_SCISSOR_TEST).raw(clear(0, 1, 0).data);
  masked.add(kColorMask, uint8_t{1}, uint8_t{0}, uint8_t{0}, uint8_t{0}).add(kAccum, GL_RETURN, 1.0f);
  EXPECT_EQ(onlyColorOf(masked), 0xFFFF00u);
  Stream outside =
      Stream().add(kEnable, GL_SCISSOR_TEST).add(kScissor, 0x7FFFFFFF, 0, 0x7FFFFFFF, 5).add(kAccum, GL_RETURN, 0.0f);
  EXPECT_EQ(onlyColorOf(outside), 0xFFFF00u);
  EXPECT_EQ(guest.glError(), 0u);
}

// A picture of more than one piece of the peer's work comes back as it was, row by row.
TEST_F(Formats, AccumulationOfALargeWindowComesBackWhole) {
  guest.width = 700;
  guest.height = 500;
  guest.surface = std::make_unique<Surface>(0x7A000001, 700, 500);
  ASSERT_TRUE(gpu.openAllocation(guest.surface->allocation));
  Stream scene = Stream().add(kViewport, 0, 0, 700, 500).raw(white().data);
  ASSERT_EQ(guest.flush(scene, GL_BACK), 0);
  const std::vector<uint32_t> picture = guest.surface->pixels();
  Stream back = Stream().add(kAccum, GL_LOAD, 1.0f).raw(clear(0, 1, 0).data).add(kAccum, GL_RETURN, 1.0f);
  ASSERT_EQ(guest.flush(back, GL_BACK), 0);
  EXPECT_TRUE(guest.surface->pixels() == picture);
  EXPECT_EQ(std::set<uint32_t>(picture.begin(), picture.end()).size(), 2u);
}

// What is no operation, or has no accumulation buffer, is GL's error; in a display list it is passed over with a line.
TEST_F(Formats, AccumulationIsRefusedWhereThereIsNone) {
  ASSERT_EQ(guest.flush(Stream().add(kAccum, 0x0105u, 1.0f)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_ENUM));
  const uint32_t name = guest.askFor<uint32_t>(Stream().add(kGenFramebuffers, 1));
  ASSERT_EQ(guest.flush(Stream().add(kBindFramebuffer, GL_FRAMEBUFFER, name).add(kAccum, GL_LOAD, 1.0f)), 0);
  EXPECT_NE(guest.glError(), 0u);
  ASSERT_EQ(
      guest.flush(Stream().add(kBindFramebuffer, GL_FRAMEBUFFER, 0u).add(kBegin, GL_LINES).add(kAccum, GL_LOAD, 1.0f).add(kEnd)),
      0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  ASSERT_EQ(guest.flush(Stream().add(kNewList, 3u, GL_COMPILE).add(kAccum, GL_LOAD, 1.0f).add(kEndList)), 0);
  expectOneLine("213 (glAccum) passed over: not possible in a display list");
  ASSERT_EQ(guest.flush(Stream().add(kClear, GL_ACCUM_BUFFER_BIT | 1u)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  guest.context = guest.createContext({GL_DOUBLEBUFFER, GL_VERSION, 330, GL_CONTEXT_PROFILE_MASK, 1, 0}).contextId;
  ASSERT_EQ(guest.flush(Stream().add(kAccum, GL_LOAD, 1.0f)), 0);
  EXPECT_NE(guest.glError(), 0u);
}

// One context draws to windows of every format in turn, and each has its depth and stencil.
TEST_F(Formats, OneContextDrawsToAllFormats) {
  const std::vector<std::vector<uint16_t>> lists = {
      {0},
      {GL_DOUBLEBUFFER, 0},
      {GL_DOUBLEBUFFER, GL_RGBA32F, 0},
      {GL_SAMPLES, 2, 0},
      {GL_DOUBLEBUFFER, GL_SAMPLES, 4, 0},
      {GL_DOUBLEBUFFER, GL_SAMPLES, 8, GL_FRAMEBUFFER_SRGB, 0},
      {GL_DOUBLEBUFFER, GL_RGBA32F, GL_RGB, GL_TEXTURE_CUBE_MAP, GL_GENERATE_MIPMAP, 0},
      {GL_RGBA, GL_TEXTURE_2D, 0},
  };
  for (int round = 0; round < 2; ++round) {
    for (const std::vector<uint16_t>& list : lists) {
      use(list);
      EXPECT_GE(integer(GL_DEPTH_BITS), 24);
      EXPECT_EQ(integer(GL_STENCIL_BITS), 8);
      EXPECT_EQ(onlyColorOf(clear(0.0f, 1.0f, 1.0f)), 0x00FFFFu);
    }
  }
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(log.take().size(), 2u);  // the 8 samples and the floats
}

}  // namespace
}  // namespace qv::peer::test
