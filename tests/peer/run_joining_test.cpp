// Runs that the host joins into one draw: the picture is that of the same runs drawn apart, in every state that could tell.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "peer/host/in_process_gpu.h"
#include "peer/replay/gl_functions.h"
#include "tests/peer/test_guest.h"
#include "tests/support/opcodes.h"

namespace qv::peer::test {
namespace {

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
      const float along = mode == GL_TRIANGLE_FAN || mode == GL_LINE_LOOP ? 0.16f * (part < 0.5f ? part * 2 : 2 - 2 * part)
                                                                          : 0.08f * static_cast<float>(i / 2);
      const float up = mode == GL_TRIANGLE_FAN || mode == GL_LINE_LOOP ? 0.2f * (part < 0.25f || part > 0.75f ? 0.0f : 1.0f)
                                                                       : 0.18f * static_cast<float>(i % 2);
      values.insert(values.end(), {x + along, y + up, 0.0f});
    }
    return runPayload(mode, {0x3103, 0x3100}, 24, floats(values));
  }

  // All primitives behind the state that `prepare` sets; `apart` puts a mark behind each run, so that none has a follower.
  std::vector<uint32_t> picture(const std::function<void(Stream&)>& prepare, const std::function<void(Stream&)>& restore,
                                bool apart) {
    Stream stream;
    stream.add(kClearColor, 0.0f, 0.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT);
    prepare(stream);
    for (uint32_t i = 0; i < kPrimitives; ++i) {
      stream.large(kRunEnded, run(GetParam().mode, GetParam().vertices, i));
      if (apart) stream.add(kFlush);
    }
    restore(stream);
    EXPECT_EQ(guest.flush(stream, GL_BACK), 0);
    EXPECT_EQ(guest.glError(), 0u);
    current = guest.ask(Stream().add(kGetFloatv, GL_CURRENT_COLOR, 4u), 16);
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
  expectSame([](Stream& s) { s.add(kShadeModel, GL_FLAT); }, [](Stream& s) { s.add(kShadeModel, GL_SMOOTH); });
}

// The same when the first vertex provokes.
TEST_P(JoinedRuns, FirstVertexConventionIsKept) {
  expectSame([](Stream& s) { s.add(kShadeModel, GL_FLAT).add(kProvokingVertex, GL_FIRST_VERTEX_CONVENTION); },
             [](Stream& s) { s.add(kShadeModel, GL_SMOOTH).add(kProvokingVertex, GL_LAST_VERTEX_CONVENTION); });
}

// A line stipple goes on along a strip and around a loop, and starts anew with the next.
TEST_P(JoinedRuns, StippleRunsAlongAStrip) {
  expectSame([](Stream& s) { s.add(kEnable, GL_LINE_STIPPLE).add(kLineStipple, 2u, uint16_t{0x0F35}, uint16_t{0}); },
             [](Stream& s) { s.add(kDisable, GL_LINE_STIPPLE); });
}

// In line mode every edge of a strip is drawn, with the edge flag on as with the flag off (where this OpenGL draws none).
TEST_P(JoinedRuns, EdgesOfAStripStayEdges) {
  for (const uint8_t flag : {uint8_t{1}, uint8_t{0}}) {
    expectSame([flag](Stream& s) { s.add(kPolygonMode, GL_FRONT_AND_BACK, GL_LINE).bytes(kEdgeFlag, {flag}); },
               [](Stream& s) { s.add(kPolygonMode, GL_FRONT_AND_BACK, GL_FILL).bytes(kEdgeFlag, {1}); },
               flag != 0 || GetParam().mode == GL_LINE_LOOP || GetParam().mode == GL_LINE_STRIP);
  }
}

// Back faces stay back faces.
TEST_P(JoinedRuns, WindingIsKept) {
  expectSame([](Stream& s) { s.add(kEnable, GL_CULL_FACE).add(kCullFace, GL_FRONT); },
             [](Stream& s) { s.add(kDisable, GL_CULL_FACE).add(kCullFace, GL_BACK); });
}

INSTANTIATE_TEST_SUITE_P(Modes, JoinedRuns,
                         testing::Values(Joining{"triangles", GL_TRIANGLES, 3}, Joining{"strip3", GL_TRIANGLE_STRIP, 3},
                                         Joining{"strip4", GL_TRIANGLE_STRIP, 4}, Joining{"strip5", GL_TRIANGLE_STRIP, 5},
                                         Joining{"fan", GL_TRIANGLE_FAN, 6}, Joining{"lineStrip", GL_LINE_STRIP, 5},
                                         Joining{"lineLoop", GL_LINE_LOOP, 5}, Joining{"quads", GL_QUADS, 4},
                                         Joining{"quadStrip", GL_QUAD_STRIP, 6}),
                         [](const auto& one) { return std::string(one.param.name); });

// What GL is asked to draw for a stream.
struct Draws {
  std::vector<std::pair<GLenum, GLsizei>> arrays;  // mode and vertices of each array draw
  int begins = 0;
  bool operator==(const Draws&) const = default;
};
void PrintTo(const Draws& draws, std::ostream* out) {
  *out << testing::PrintToString(draws.arrays) << " and " << draws.begins << " calls of glBegin";
}

class JoinedRunsReachGl : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(guest.start(16, 16));
    ASSERT_EQ(guest.flush(Stream().add(kFlush)), 0);
    real = gl;
    seen = {};
    gl.glDrawArrays = [](GLenum mode, GLint first, GLsizei count) {
      seen.arrays.emplace_back(mode, count);
      real.glDrawArrays(mode, first, count);
    };
    gl.glBegin = [](GLenum mode) {
      ++seen.begins;
      real.glBegin(mode);
    };
  }
  void TearDown() override { gl = real; }

  Draws drawn(const Stream& stream) {
    seen = {};
    EXPECT_EQ(guest.flush(stream), 0);
    return seen;
  }

  static std::vector<uint8_t> strip(uint32_t vertices = 4, uint32_t mode = GL_TRIANGLE_STRIP) {
    return runPayload(mode, {0x2100}, 8, floats(std::vector<float>(vertices * 2)));
  }
  // 20 of the first, one of the second, 20 of the first.
  static Stream between(const std::vector<uint8_t>& many, uint32_t opcode, const std::vector<uint8_t>& one) {
    Stream stream;
    for (int i = 0; i < 20; ++i) stream.large(kRunEnded, many);
    stream.large(opcode, one);
    if (opcode == kRunBroken) stream.add(kEnd);
    for (int i = 0; i < 20; ++i) stream.large(kRunEnded, many);
    return stream;
  }
  static Draws twice(GLenum mode, GLsizei vertices, int begins) { return {{{mode, vertices}, {mode, vertices}}, begins}; }

  static inline Draws seen;
  static inline GlFunctions real;
  InProcessGpu gpu;
  TestGuest guest{gpu};
};

// Short strips in a row are one draw, and a mark between two of them parts them again.
TEST_F(JoinedRunsReachGl, AsOneDraw) {
  Stream joined, parted;
  for (int i = 0; i < 20; ++i) joined.large(kRunEnded, strip());
  EXPECT_EQ(drawn(joined), (Draws{{{GL_TRIANGLES, 20 * 6}}, 0}));
  for (int i = 0; i < 20; ++i) parted.large(kRunEnded, strip()).add(kFlush);
  EXPECT_EQ(drawn(parted), (Draws{{}, 20}));
}

// A run of another mode, size of vertex or attribute, and one that its glEnd does not end, part the runs before and behind.
TEST_F(JoinedRunsReachGl, ApartFromOtherRuns) {
  const Draws parted = twice(GL_TRIANGLES, 20 * 6, 1);
  EXPECT_EQ(drawn(between(strip(), kRunEnded, strip(4, GL_TRIANGLE_FAN))), parted);
  EXPECT_EQ(drawn(between(strip(), kRunEnded, runPayload(GL_TRIANGLE_STRIP, {0x3100}, 12, floats(std::vector<float>(12))))),
            parted);
  EXPECT_EQ(drawn(between(strip(), kRunBroken, strip())), parted);
  // The same packed word, other tags.
  const std::vector<float> six(24);
  EXPECT_EQ(drawn(between(runPayload(GL_TRIANGLE_STRIP, {0x3103, 0x3100}, 24, floats(six)), kRunEnded,
                          runPayload(GL_TRIANGLE_STRIP, {0x3102, 0x3100}, 24, floats(six)))),
            parted);
}

// A run that ends inside a vertex, and one whose vertices make no whole primitives, are given as they are.
TEST_F(JoinedRunsReachGl, ApartFromPartsOfPrimitives) {
  const std::vector<uint16_t> tags = {0x3103, 0x3100};
  const std::vector<uint8_t> triangle = runPayload(GL_TRIANGLES, tags, 24, floats(std::vector<float>(18)));
  const Draws parted = twice(GL_TRIANGLES, 20 * 3, 1);
  EXPECT_EQ(drawn(between(triangle, kRunEnded, runPayload(GL_TRIANGLES, tags, 24, floats(std::vector<float>(21))))), parted);
  EXPECT_EQ(drawn(between(triangle, kRunEnded, runPayload(GL_TRIANGLES, tags, 24, floats(std::vector<float>(24))))), parted);
}

// A strip that is large enough for a draw of its own is not copied: it is drawn as the strip that it is.
TEST_F(JoinedRunsReachGl, ApartFromLargeStrips) {
  const Draws draws = drawn(between(strip(), kRunEnded, strip(100)));
  EXPECT_EQ(draws, (Draws{{{GL_TRIANGLES, 20 * 6}, {GL_TRIANGLE_STRIP, 100}, {GL_TRIANGLES, 20 * 6}}, 0}));
  // The least that is large enough, in front of small ones.
  Stream stream;
  stream.large(kRunEnded, strip(48));
  for (int i = 0; i < 20; ++i) stream.large(kRunEnded, strip());
  EXPECT_EQ(drawn(stream), (Draws{{{GL_TRIANGLE_STRIP, 48}, {GL_TRIANGLES, 20 * 6}}, 0}));
}

// While a program or a pipeline is current, whose shaders may count primitives, no run is joined.
TEST_F(JoinedRunsReachGl, ApartUnderPrograms) {
  static GLenum current = 0;
  gl.glGetIntegerv = [](GLenum pname, GLint* value) {
    if (pname == current) {
      *value = 7;
    } else {
      real.glGetIntegerv(pname, value);
    }
  };
  Stream stream;
  for (int i = 0; i < 20; ++i) stream.large(kRunEnded, strip());
  for (const GLenum pname : {GL_CURRENT_PROGRAM, GL_PROGRAM_PIPELINE_BINDING}) {
    current = pname;
    EXPECT_EQ(drawn(stream), (Draws{{}, 20})) << pname;
  }
  current = 0;
  EXPECT_EQ(drawn(stream), (Draws{{{GL_TRIANGLES, 20 * 6}}, 0}));
}

// Strips without a primitive in them draw nothing, however many there are; the current values are those of the last vertex.
TEST_F(JoinedRunsReachGl, NotAtAllWithoutAPrimitive) {
  const std::vector<uint8_t> two = runPayload(GL_TRIANGLE_STRIP, {0x3103, 0x2100}, 20, floats({1, 0, 0, 0, 0, 0, 1, 0, 1, 1}));
  Stream stream;
  for (int i = 0; i < 40; ++i) stream.large(kRunEnded, two);
  EXPECT_EQ(drawn(stream).arrays.size(), 0u);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(guest.ask(Stream().add(kGetFloatv, GL_CURRENT_COLOR, 4u), 16), floats({0, 1, 0, 1}));
}

}  // namespace
}  // namespace qv::peer::test
