// Runs that the host joins into one draw: the picture is that of the same runs drawn apart, in every state that could tell.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "peer/host/in_process_gpu.h"
#include "peer/replay/gl_functions.h"
#include "test_guest.h"

namespace qv::peer::test {
namespace {

constexpr uint32_t kBack = 1029;
constexpr uint32_t kPrimitives = 60;

struct Joining {
  const char* name;
  uint32_t mode;
  uint32_t vertices;  // of each primitive
};

class JoinedRuns : public testing::TestWithParam<Joining> {
 protected:
  void SetUp() override { ASSERT_TRUE(guest.start(96, 80)); }
  void TearDown() override { EXPECT_EQ(log.take(), std::vector<std::string>{}); }

  // One run of a primitive of its own colours, somewhere in the window.
  static std::vector<uint8_t> run(uint32_t mode, uint32_t vertices, uint32_t number) {
    std::vector<float> values;
    const float x = -0.95f + 0.19f * static_cast<float>(number % 10), y = -0.9f + 0.3f * static_cast<float>(number / 10);
    for (uint32_t i = 0; i < vertices; ++i) {
      const float part = static_cast<float>(i) / static_cast<float>(vertices);
      values.insert(values.end(), {part, 1 - part, static_cast<float>(number % 7) / 7});
      const float along = mode == 6 || mode == 2 ? 0.16f * (part < 0.5f ? part * 2 : 2 - 2 * part) : 0.08f * static_cast<float>(i / 2);
      const float up = mode == 6 || mode == 2 ? 0.2f * (part < 0.25f || part > 0.75f ? 0.0f : 1.0f) : 0.18f * static_cast<float>(i % 2);
      values.insert(values.end(), {x + along, y + up, 0.0f});
    }
    return runPayload(mode, {0x3103, 0x3100}, 24, floats(values));
  }

  // All primitives behind the state that `prepare` sets; `apart` puts a mark behind each run, so that none has a follower.
  std::vector<uint32_t> picture(const std::function<void(Stream&)>& prepare, const std::function<void(Stream&)>& restore, bool apart) {
    Stream stream;
    stream.add(206, 0.0f, 0.0f, 0.0f, 1.0f).add(203, 0x4000u);
    prepare(stream);
    for (uint32_t i = 0; i < kPrimitives; ++i) {
      stream.large(2008, run(GetParam().mode, GetParam().vertices, i));
      if (apart) stream.add(217);
    }
    restore(stream);
    EXPECT_EQ(guest.flush(stream, kBack), 0);
    EXPECT_EQ(guest.glError(), 0u);
    current = guest.ask(Stream().add(262, 0x0B00u, 4u), 16);
    return guest.surface->pixels();
  }

  void expectSame(const std::function<void(Stream&)>& prepare, const std::function<void(Stream&)>& restore, bool visible = true) {
    const std::vector<uint32_t> apart = picture(prepare, restore, true);
    const std::vector<uint8_t> currentApart = current;
    EXPECT_EQ(picture(prepare, restore, false), apart);
    EXPECT_EQ(current, currentApart);
    const auto drawn = std::count_if(apart.begin(), apart.end(), [](uint32_t pixel) { return (pixel & 0xFFFFFF) != 0; });
    EXPECT_EQ(drawn > 100, visible) << drawn;
  }

  static void nothing(Stream&) {}

  LogCapture log;
  InProcessGpu gpu;
  TestGuest guest{gpu};
  std::vector<uint8_t> current;  // colour behind the picture
};

// Smooth shading.
TEST_P(JoinedRuns, SmoothPrimitivesLookTheSame) { expectSame(nothing, nothing); }

// Flat shading takes the colour of the same vertex of each primitive.
TEST_P(JoinedRuns, FlatPrimitivesKeepTheirProvokingVertex) {
  expectSame([](Stream& s) { s.add(177, 0x1D00u); }, [](Stream& s) { s.add(177, 0x1D01u); });
}

// The same when the first vertex provokes.
TEST_P(JoinedRuns, FirstVertexConventionIsKept) {
  expectSame([](Stream& s) { s.add(177, 0x1D00u).add(2123, 0x8E4Du); }, [](Stream& s) { s.add(177, 0x1D01u).add(2123, 0x8E4Eu); });
}

// A line stipple goes on along a strip and around a loop, and starts anew with the next.
TEST_P(JoinedRuns, StippleRunsAlongAStrip) {
  expectSame([](Stream& s) { s.add(215, 0x0B24u).add(167, 2u, uint16_t{0x0F35}, uint16_t{0}); }, [](Stream& s) { s.add(214, 0x0B24u); });
}

// In line mode every edge of a strip is drawn, with the edge flag on as with the flag off (where this OpenGL draws none).
TEST_P(JoinedRuns, EdgesOfAStripStayEdges) {
  for (const uint8_t flag : {uint8_t{1}, uint8_t{0}}) {
    expectSame([flag](Stream& s) { s.add(174, 0x0408u, 0x1B01u).bytes(41, {flag}); },
               [](Stream& s) { s.add(174, 0x0408u, 0x1B02u).bytes(41, {1}); },
               flag != 0 || GetParam().mode == 2 || GetParam().mode == 3);
  }
}

// Back faces stay back faces.
TEST_P(JoinedRuns, WindingIsKept) {
  expectSame([](Stream& s) { s.add(215, 0x0B44u).add(152, 0x0404u); }, [](Stream& s) { s.add(214, 0x0B44u).add(152, 0x0405u); });
}

INSTANTIATE_TEST_SUITE_P(Modes, JoinedRuns,
                         testing::Values(Joining{"triangles", 4, 3}, Joining{"strip3", 5, 3}, Joining{"strip4", 5, 4},
                                         Joining{"strip5", 5, 5}, Joining{"fan", 6, 6}, Joining{"lineStrip", 3, 5},
                                         Joining{"lineLoop", 2, 5}, Joining{"quads", 7, 4}, Joining{"quadStrip", 8, 6}),
                         [](const auto& one) { return std::string(one.param.name); });

// Short strips in a row are one draw, and a mark between two of them parts them again.
TEST(JoinedRunsReachGl, AsOneDraw) {
  static int arrays = 0, begins = 0;
  static GlFunctions real;
  arrays = begins = 0;
  InProcessGpu gpu;
  TestGuest guest{gpu};
  ASSERT_TRUE(guest.start(16, 16));
  ASSERT_EQ(guest.flush(Stream().add(217)), 0);
  real = gl;
  gl.glDrawArrays = [](GLenum mode, GLint first, GLsizei count) {
    ++arrays;
    EXPECT_EQ(mode, static_cast<GLenum>(GL_TRIANGLES));
    EXPECT_EQ(count, 20 * 6);
    real.glDrawArrays(mode, first, count);
  };
  gl.glBegin = [](GLenum mode) {
    ++begins;
    real.glBegin(mode);
  };
  const std::vector<uint8_t> strip = runPayload(5, {0x2100}, 8, floats({0, 0, 0, 1, 1, 0, 1, 1}));
  Stream joined;
  for (int i = 0; i < 20; ++i) joined.large(2008, strip);
  EXPECT_EQ(guest.flush(joined), 0);
  EXPECT_EQ(arrays, 1);
  EXPECT_EQ(begins, 0);
  Stream parted;
  for (int i = 0; i < 20; ++i) parted.large(2008, strip).add(217);
  EXPECT_EQ(guest.flush(parted), 0);
  EXPECT_EQ(arrays, 1);
  EXPECT_EQ(begins, 20);
  gl = real;
}

}  // namespace
}  // namespace qv::peer::test
