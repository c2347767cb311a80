// What the guest reads back: pixels and buffers, short and longer than any piece in which replies travel.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "peer/host/in_process_gpu.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

class Reads : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(guest.start(64, 64)); }

  // The pixels of an area in memory without gaps.
  std::vector<uint8_t> pixels(int32_t x, int32_t y, int32_t width, int32_t height, uint32_t format, uint32_t components,
                              const Stream& before = {}) {
    const auto bytes = static_cast<uint32_t>(width * height) * components;
    Stream stream = before;
    stream.add(kPixelStorei, GL_PACK_ALIGNMENT, 1)
        .add(kReadPixels, x, y, width, height, format, uint32_t{GL_UNSIGNED_BYTE}, bytes, 0x1000u);
    return guest.ask(stream, bytes);
  }
  static std::vector<uint8_t> repeated(const std::vector<uint8_t>& pixel, int times) {
    std::vector<uint8_t> out;
    for (int i = 0; i < times; ++i) out.insert(out.end(), pixel.begin(), pixel.end());
    return out;
  }

  LogCapture log;
  InProcessGpu gpu;
  TestGuest guest{gpu};
};

// Colours come in the order that was asked for, whatever order the host reads them in: from the window, from a framebuffer object
// and into a pack buffer.
TEST_F(Reads, ColoursComeInTheirOrder) {
  const std::vector<uint8_t> rgba = {255, 128, 64, 191}, bgra = {64, 128, 255, 191}, rgb = {255, 128, 64};
  const Stream clear = Stream().add(kClearColor, 1.0f, 0.502f, 0.251f, 0.749f).add(kClear, GL_COLOR_BUFFER_BIT);
  EXPECT_EQ(pixels(0, 0, 3, 2, GL_RGBA, 4, clear), repeated(rgba, 6));
  EXPECT_EQ(pixels(0, 0, 3, 2, GL_BGRA, 4), repeated(bgra, 6));
  EXPECT_EQ(pixels(0, 0, 3, 2, GL_RGB, 3), repeated(rgb, 6));
  EXPECT_EQ(pixels(0, 0, 1, 1, GL_RED, 1), repeated({255}, 1));
  // Into a buffer of the host's, which holds what a program's memory would.
  Stream packed = Stream()
                      .add(kBindBuffer, GL_PIXEL_PACK_BUFFER, 3)
                      .bytes(kBufferData, words({GL_PIXEL_PACK_BUFFER, 8, 0, GL_STREAM_READ, 0}));
  packed.add(kReadPixels, 0, 0, 2, 1, GL_RGBA, GL_UNSIGNED_BYTE, 0, 0).add(kGetBufferSubData, GL_PIXEL_PACK_BUFFER, 0, 8);
  EXPECT_EQ(guest.ask(packed, 8), repeated(rgba, 2));
  EXPECT_EQ(guest.flush(Stream().add(kBindBuffer, GL_PIXEL_PACK_BUFFER, 0)), 0);
  // Pixels beside the window have no value; the reply holds nothing of the host's.
  EXPECT_EQ(pixels(64, 64, 2, 2, GL_RGBA, 4), repeated({0, 0, 0, 0}, 4));
  EXPECT_EQ(guest.glError(), 0u);

  const auto framebuffer = guest.askFor<uint32_t>(Stream().add(kGenFramebuffers, 1));
  const auto renderbuffer = guest.askFor<uint32_t>(Stream().add(kGenRenderbuffers, 1));
  Stream object =
      Stream().add(kBindFramebuffer, GL_FRAMEBUFFER, framebuffer).add(kBindRenderbuffer, GL_RENDERBUFFER, renderbuffer);
  object.add(kRenderbufferStorage, GL_RENDERBUFFER, GL_RGBA8, 8, 8)
      .add(kFramebufferRenderbuffer, GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderbuffer);
  object.data.insert(object.data.end(), clear.data.begin(), clear.data.end());
  EXPECT_EQ(pixels(0, 0, 3, 2, GL_RGBA, 4, object), repeated(rgba, 6));
  EXPECT_EQ(pixels(0, 0, 3, 2, GL_BGRA, 4), repeated(bgra, 6));
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

// A read that OpenGL refuses answers nothing, after one that had an answer.
TEST_F(Reads, RefusedReadsAnswerNothing) {
  EXPECT_EQ(pixels(0, 0, 3, 2, GL_RGBA, 4).size(), 24u);
  EXPECT_EQ(pixels(0, 0, 3, 2, GL_RGBA_INTEGER, 4).size(), 0u);
  EXPECT_EQ(guest.glError(), uint32_t{GL_INVALID_OPERATION});
  EXPECT_EQ(pixels(0, 0, 3, 2, GL_RGBA, 4).size(), 24u);
}

// An image for which the guest has no room is not read: it takes no memory of the host.
TEST_F(Reads, ImagesWithoutRoomAreNotRead) {
  const auto peak = [] {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
      if (line.starts_with("VmHWM:")) return std::stoul(line.substr(6)) / 1024;
    return 0ul;
  };
  ASSERT_EQ(pixels(0, 0, 1, 1, GL_RGBA, 4).size(), 4u);
  std::ofstream("/proc/self/clear_refs") << 5;  // the peak is what is held now
  const unsigned long before = peak();
  ASSERT_GT(before, 0u);
  const Stream large = Stream().add(kReadPixels, 0, 0, 16384, 16384, GL_RGBA, GL_UNSIGNED_BYTE, 1u << 30, 0x1000u);
  EXPECT_EQ(guest.ask(large, 16).size(), 0u);
  EXPECT_EQ(guest.ask(Stream().add(kReadPixels, 0, 0, 16384, 16384, GL_RGBA, GL_UNSIGNED_BYTE, 16u, 0x1000u), 16).size(), 0u);
  EXPECT_LT(peak() - before, 100u);
  EXPECT_EQ(log.take().size(), 1u);
}

// Replies of all lengths come whole: shorter and longer than a piece and than the ring.
TEST_F(Reads, RepliesOfAllLengthsComeWhole) {
  std::vector<uint8_t> contents(1 << 20);
  for (size_t i = 0; i < contents.size(); ++i) contents[i] = static_cast<uint8_t>(i * 2654435761u >> 24);
  const auto size = static_cast<uint32_t>(contents.size());
  std::vector<uint8_t> payload = words({GL_ARRAY_BUFFER, size, 1, GL_STATIC_DRAW, size});
  payload += contents;
  ASSERT_EQ(guest.flush(Stream().add(kBindBuffer, GL_ARRAY_BUFFER, 5).large(kBufferData, payload)), 0);
  for (const uint32_t bytes : {1u, 32767u, 32768u, 32769u, 65536u, 262143u, 262144u, 262145u, 1048575u, 1048576u}) {
    const std::vector<uint8_t> expected(contents.end() - bytes, contents.end());
    EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_ARRAY_BUFFER, size - bytes, bytes), bytes), expected) << bytes;
  }
  for (const uint32_t bytes : {100000u, 1048576u}) {
    const std::vector<uint8_t> expected(contents.begin(), contents.begin() + bytes);
    EXPECT_EQ(guest.ask(Stream().add(kMapBuffer, GL_ARRAY_BUFFER, GL_READ_ONLY, bytes), bytes), expected) << bytes;
  }
  EXPECT_EQ(guest.glError(), 0u);
}

}  // namespace
}  // namespace qv::peer::test
