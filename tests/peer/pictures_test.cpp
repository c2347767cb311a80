// Pictures out of hand-written streams: what the peer draws, and that it draws runs as it draws plain commands.
#include <gtest/gtest.h>

#include <functional>

#include "peer/host/in_process_gpu.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

class Pictures : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(guest.start(64, 48)); }
  void TearDown() override { EXPECT_EQ(log.take(), std::vector<std::string>{}); }

  LogCapture log;
  InProcessGpu gpu;
  TestGuest guest{gpu};
};

Stream clear(float red, float green, float blue) {
  return Stream().add(kClearColor, red, green, blue, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT);
}

// The host's own version is told, not what was sent.
TEST_F(Pictures, VersionIsTheHosts) {
  const VersionQueryPacket packet = guest.version();
  EXPECT_EQ(packet.header.status, 0);
  EXPECT_GE(packet.major * 10 + packet.minor, 31);
}

// A clear colour arrives as B, G, R in every pixel of the surface.
TEST_F(Pictures, ClearFillsTheSurface) {
  ASSERT_EQ(guest.flush(clear(1.0f, 0.5f, 0.25f), GL_BACK), 0);
  for (const uint32_t pixel : guest.surface->pixels()) ASSERT_EQ(pixel & 0xFFFFFF, 0xFF8040u);
}

// Row 0 of the surface is the top of the picture.
TEST_F(Pictures, RowsAreTopDown) {
  Stream stream = clear(0, 0, 0);
  stream.add(kEnable, GL_SCISSOR_TEST)
      .add(kScissor, 0, 40, 64, 8)
      .add(kClearColor, 1.0f, 0.0f, 0.0f, 1.0f)
      .add(kClear, GL_COLOR_BUFFER_BIT)
      .add(kDisable, GL_SCISSOR_TEST);
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(0, 0) & 0xFFFFFF, 0xFF0000u);
  EXPECT_EQ(guest.surface->pixel(63, 7) & 0xFFFFFF, 0xFF0000u);
  EXPECT_EQ(guest.surface->pixel(0, 8) & 0xFFFFFF, 0u);
  EXPECT_EQ(guest.surface->pixel(63, 47) & 0xFFFFFF, 0u);
}

// A flush with no stream and a present mode shows what has been drawn before.
TEST_F(Pictures, EmptyFlushPresents) {
  ASSERT_EQ(guest.flush(clear(0, 1, 0)), 0);
  EXPECT_EQ(guest.surface->pixel(5, 5), 0u);
  ASSERT_EQ(guest.flush(Stream(), GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(5, 5) & 0xFFFFFF, 0x00FF00u);
}

// Read state of the guest that would bend the frame's way back neither does so nor is changed by it.
TEST_F(Pictures, GuestReadStateIsLeftAlone) {
  Stream stream = clear(0.25f, 0.5f, 0.75f);
  stream.add(kPixelStorei, GL_PACK_ROW_LENGTH, 3)
      .add(kPixelStorei, GL_PACK_SKIP_PIXELS, 2)
      .add(kPixelStorei, GL_PACK_SWAP_BYTES, 1);
  stream.add(kPixelTransferf, GL_RED_SCALE, 0.0f).add(kReadBuffer, GL_FRONT);  // red scale 0, read buffer front
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(0, 0) & 0xFFFFFF, 0x4080BFu);
  EXPECT_EQ(guest.surface->pixel(63, 47) & 0xFFFFFF, 0x4080BFu);
  EXPECT_EQ(guest.askFor<float>(Stream().add(kGetFloatv, GL_RED_SCALE, 1u)), 0.0f);
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetIntegerv, GL_READ_BUFFER, 1u)), GL_FRONT);
  EXPECT_EQ(guest.glError(), 0u);
}

// A double-buffered guest starts on the back buffer, a single-buffered one on the front buffer.
TEST_F(Pictures, DefaultBuffersFollowTheFormat) {
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetIntegerv, GL_DRAW_BUFFER, 1u)), GL_BACK);
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetIntegerv, GL_READ_BUFFER, 1u)), GL_BACK);
  guest.context = guest.createContext({GL_VERSION, 210, GL_CONTEXT_PROFILE_MASK, 2, 0}).contextId;
  guest.window = guest.createWindow({0}).windowId;
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetIntegerv, GL_DRAW_BUFFER, 1u)), GL_FRONT);
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetIntegerv, GL_READ_BUFFER, 1u)), GL_FRONT);
}

// After a resize the next frame has the new size, and a surface of another size gets the top left part of it.
TEST_F(Pictures, ResizedFrameIsClippedToItsSurface) {
  ASSERT_EQ(guest.flush(clear(1, 0, 0), GL_BACK), 0);
  guest.width = 32;
  guest.height = 96;
  guest.surface->fill(0x11);
  Stream stream = clear(0, 0, 1);
  stream.add(kEnable, GL_SCISSOR_TEST)
      .add(kScissor, 0, 95, 32, 1)
      .add(kClearColor, 1.0f, 1.0f, 1.0f, 1.0f)
      .add(kClear, GL_COLOR_BUFFER_BIT)
      .add(kDisable, GL_SCISSOR_TEST);
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(0, 0) & 0xFFFFFF, 0xFFFFFFu);
  EXPECT_EQ(guest.surface->pixel(31, 47) & 0xFFFFFF, 0x0000FFu);
  EXPECT_EQ(guest.surface->pixel(32, 0), 0x11111111u);
}

// A window without a size keeps its drawable.
TEST_F(Pictures, MinimisedWindowKeepsItsPicture) {
  ASSERT_EQ(guest.flush(clear(1, 0, 0)), 0);
  const uint32_t height = guest.height;
  guest.height = 0;
  ASSERT_EQ(guest.flush(Stream().add(kFlush)), 0);
  guest.height = height;
  ASSERT_EQ(guest.flush(Stream(), GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(1, 1) & 0xFFFFFF, 0xFF0000u);
}

// --- runs ---
//
// A tag reads components, type, attribute number: 0x3103 is three floats of colour, 0x3102 of a normal, 0x1108 one of a texture
// coordinate, 0x3100 three of a position.

struct RunCase {
  const char* name;
  uint32_t mode;
  uint32_t vertices;
};

// Vertices of a fan around the centre with a colour, a normal and a texture coordinate each.
std::vector<float> vertex(uint32_t i, uint32_t n) {
  const float part = static_cast<float>(i) / static_cast<float>(n);
  const float x = (i % 2 == 0 ? 0.9f : 0.4f) * (part < 0.5f ? 1 - 4 * part : 4 * part - 3);
  const float y =
      (i % 3 == 0 ? 0.8f : 0.5f) * (part < 0.25f || part > 0.75f ? 4 * (part < 0.5f ? part : part - 1) : 2 - 4 * part);
  return {part, 1 - part, 0.25f + 0.5f * part, 0, 0, 1, part, x, y, 0.1f * part};
}

class RunModes : public Pictures, public testing::WithParamInterface<RunCase> {
 protected:
  // Draws the same on a fresh background and returns the picture, with the attributes that are current afterwards.
  std::vector<uint32_t> picture(const std::function<void(Stream&)>& draw) {
    Stream stream = clear(0.1f, 0.2f, 0.3f);
    stream.add(kColor3f, 1.0f, 1.0f, 1.0f).add(kNormal3f, 0.0f, 1.0f, 0.0f).add(kTexCoord1f, 0.0f);
    stream.add(kLineWidth, 3.0f).add(kPointSize, 4.0f);
    draw(stream);
    EXPECT_EQ(guest.flush(stream, GL_BACK), 0);
    current.clear();
    for (const auto& [name, count] :
         {std::pair{GL_CURRENT_COLOR, 4u}, {GL_CURRENT_NORMAL, 3u}, {GL_CURRENT_TEXTURE_COORDS, 4u}}) {
      const std::vector<uint8_t> values = guest.ask(Stream().add(kGetFloatv, name, count), count * 4);
      current.insert(current.end(), values.begin(), values.end());
    }
    EXPECT_EQ(guest.glError(), 0u);
    return guest.surface->pixels();
  }
  std::vector<uint8_t> current;
};

// A run gives the picture and the current attributes that its plain commands give.
TEST_P(RunModes, RunsEqualPlainCommands) {
  const auto [name, mode, n] = GetParam();
  const auto plain = picture([&](Stream& stream) {
    stream.add(kBegin, mode);
    for (uint32_t i = 0; i < n; ++i) {
      const std::vector<float> v = vertex(i, n);
      stream.add(kColor3f, v[0], v[1], v[2])
          .add(kNormal3f, v[3], v[4], v[5])
          .add(kTexCoord1f, v[6])
          .add(kVertex3f, v[7], v[8], v[9]);
    }
    stream.add(kEnd);
  });
  const std::vector<uint8_t> plainCurrent = current;
  ASSERT_NE(plain, picture([](Stream&) {})) << "nothing was drawn";
  std::vector<uint8_t> packed;
  for (uint32_t i = 0; i < n; ++i) {
    const std::vector<uint8_t> bytes = floats(vertex(i, n));
    packed.insert(packed.end(), bytes.begin(), bytes.end());
  }
  const std::vector<uint16_t> tags = {0x3103, 0x3102, 0x1108, 0x3100};
  const auto ended = picture([&](Stream& stream) { stream.large(kRunEnded, runPayload(mode, tags, 40, packed)); });
  EXPECT_EQ(ended, plain);
  EXPECT_EQ(current, plainCurrent);
  const auto broken = picture([&](Stream& stream) {
    const size_t half = n / 2 * 40;
    stream.large(kRunBroken, runPayload(mode, tags, 40, {packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(half)}));
    for (uint32_t i = n / 2; i < n; ++i) {
      const std::vector<float> v = vertex(i, n);
      stream.add(kColor3f, v[0], v[1], v[2])
          .add(kNormal3f, v[3], v[4], v[5])
          .add(kTexCoord1f, v[6])
          .add(kVertex3f, v[7], v[8], v[9]);
    }
    stream.add(kEnd);
  });
  EXPECT_EQ(broken, plain);
  EXPECT_EQ(current, plainCurrent);
}

// Runs that follow one another, with whole primitives or not, give what their plain commands give.
TEST_P(RunModes, JoinedRunsEqualPlainCommands) {
  const auto [name, mode, n] = GetParam();
  for (const uint32_t each : {12u, 5u}) {
    const auto plain = picture([&](Stream& stream) {
      for (uint32_t from = 0; from < n; from += each) {
        stream.add(kBegin, mode);
        for (uint32_t i = from; i < std::min(n, from + each); ++i) {
          const std::vector<float> v = vertex(i, n);
          stream.add(kColor3f, v[0], v[1], v[2])
              .add(kNormal3f, v[3], v[4], v[5])
              .add(kTexCoord1f, v[6])
              .add(kVertex3f, v[7], v[8], v[9]);
        }
        stream.add(kEnd);
      }
    });
    const std::vector<uint8_t> plainCurrent = current;
    const auto runs = picture([&](Stream& stream) {
      for (uint32_t from = 0; from < n; from += each) {
        std::vector<uint8_t> packed;
        for (uint32_t i = from; i < std::min(n, from + each); ++i) {
          const std::vector<uint8_t> bytes = floats(vertex(i, n));
          packed.insert(packed.end(), bytes.begin(), bytes.end());
        }
        stream.large(kRunEnded, runPayload(mode, {0x3103, 0x3102, 0x1108, 0x3100}, 40, packed));
      }
    });
    EXPECT_EQ(runs, plain) << each;
    EXPECT_EQ(current, plainCurrent) << each;
  }
}

INSTANTIATE_TEST_SUITE_P(Modes, RunModes,
                         testing::Values(RunCase{"points", GL_POINTS, 7}, RunCase{"pointsArray", GL_POINTS, 100},
                                         RunCase{"lines", GL_LINES, 8}, RunCase{"linesArray", GL_LINES, 60},
                                         RunCase{"lineLoop", GL_LINE_LOOP, 9}, RunCase{"lineLoopArray", GL_LINE_LOOP, 49},
                                         RunCase{"lineStrip", GL_LINE_STRIP, 70}, RunCase{"triangles", GL_TRIANGLES, 3},
                                         RunCase{"trianglesArray", GL_TRIANGLES, 99}, RunCase{"strip", GL_TRIANGLE_STRIP, 64},
                                         RunCase{"fan", GL_TRIANGLE_FAN, 55}, RunCase{"quads", GL_QUADS, 64},
                                         RunCase{"quadStrip", GL_QUAD_STRIP, 50}, RunCase{"polygon", GL_POLYGON, 52},
                                         RunCase{"big", GL_TRIANGLES, 9000}),
                         [](const auto& one) { return std::string(one.param.name); });

// Types other than float normalise and widen as their GL calls do.
TEST_F(Pictures, RunsConvertEveryType) {
  struct Case {
    uint16_t tag;
    std::vector<uint8_t> data;    // one slot, padded
    std::vector<float> expected;  // GL_CURRENT_COLOR
  };
  const std::vector<Case> cases = {
      {0x3703, {255, 128, 0, 0xEE}, {1.0f, 128 / 255.0f, 0.0f, 1.0f}},
      {0x4703, {0, 255, 51, 102}, {0.0f, 1.0f, 0.2f, 0.4f}},
      {0x3503, {0xFF, 0xFF, 0, 0, 0xFF, 0x7F, 0xEE, 0xEE}, {1.0f, 0.0f, 32767 / 65535.0f, 1.0f}},
      {0x3403, {0xFF, 0x7F, 0, 0, 0xFF, 0x7F, 0xEE, 0xEE}, {1.0f, 0.0f, 1.0f, 1.0f}},
      {0x3303, {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}, {1.0f, 0.0f, 1.0f, 1.0f}},
      {0x3603, {127, 0, 127, 0xEE}, {1.0f, 0.0f, 1.0f, 1.0f}},
      {0x3003, {0, 0, 0, 0, 0, 0, 0xE0, 0x3F, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F}, {0.5f, 0.0f, 1.0f, 1.0f}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.tag);
    // An attribute without a position only becomes current.
    const Stream stream =
        Stream().large(kRunEnded, runPayload(GL_POINTS, {one.tag}, static_cast<uint32_t>(one.data.size()), one.data));
    ASSERT_EQ(guest.flush(stream), 0);
    const std::vector<uint8_t> reply = guest.ask(Stream().add(kGetFloatv, GL_CURRENT_COLOR, 4u), 16);
    ASSERT_EQ(reply.size(), 16u);
    float color[4];
    std::memcpy(color, reply.data(), 16);
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(color[i], one.expected[static_cast<size_t>(i)], 0.006f) << i;
  }
}

// A vertex that was cut short gives its attributes and no vertex; the plain commands that follow complete it.
TEST_F(Pictures, PartialVertexSetsAttributes) {
  // Colour and position twice, then a third colour alone.
  std::vector<float> values = {1, 0, 0, -1, -1, 0, 1, 0, 0, 3, -1, 0, 0, 1, 0};
  Stream stream = clear(0, 0, 0);
  stream.large(kRunBroken, runPayload(GL_TRIANGLES, {0x3103, 0x3100}, 24, floats(values)));
  stream.add(kVertex3f, -1.0f, 3.0f, 0.0f).add(kEnd);
  stream.add(kShadeModel, GL_SMOOTH);
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  const std::vector<uint8_t> reply = guest.ask(Stream().add(kGetFloatv, GL_CURRENT_COLOR, 4u), 16);
  EXPECT_EQ(reply, floats({0, 1, 0, 1}));
  EXPECT_NE(guest.surface->pixel(0, 0) & 0xFFFFFF, 0u);
}

// A run without slots is an empty primitive; afterwards glEnd is an error, so it has been ended.
TEST_F(Pictures, EmptyRunIsAnEndedPrimitive) {
  ASSERT_EQ(guest.flush(Stream().large(kRunEnded, {0, 0, 0, 4})), 0);
  EXPECT_EQ(guest.glError(), 0u);
  ASSERT_EQ(guest.flush(Stream().large(kRunBroken, {0, 0, 0, 4}).add(kEnd)), 0);
  EXPECT_EQ(guest.glError(), 0u);
  ASSERT_EQ(guest.flush(Stream().add(kEnd)), 0);
  EXPECT_EQ(guest.glError(), GL_INVALID_OPERATION);
}

// A swap inside glBegin behind an attribute sends a run's head and first tags, with a length that counts bytes which are not in the
// stream: the primitive is open.
TEST_F(Pictures, RunWithoutVerticesOpensThePrimitive) {
  Stream stream = clear(0, 0, 0);
  stream.word(kRunBroken).word(32).word(4u << 24 | 1u << 16 | 12u).word(0x3103);
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  Stream rest;
  rest.add(kColor3f, 0.0f, 1.0f, 0.0f)
      .add(kVertex3f, -1.0f, -1.0f, 0.0f)
      .add(kVertex3f, 3.0f, -1.0f, 0.0f)
      .add(kVertex3f, -1.0f, 3.0f, 0.0f)
      .add(kEnd);
  ASSERT_EQ(guest.flush(rest, GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(10, 10) & 0xFFFFFF, 0x00FF00u);
  EXPECT_EQ(guest.glError(), 0u);
}

// A broken run that is cut behind its first word opens a primitive only with the total of a run without vertices.
TEST_F(Pictures, RunCutToItsHeadFailsWithAnotherTotal) {
  for (const uint32_t total : {17u, 28u, 36u, 4096u}) {
    Stream stream;
    stream.word(kRunBroken).word(total).word(4u << 24 | 1u << 16 | 12u).word(0x3103);
    EXPECT_NE(guest.flush(stream, GL_BACK), 0) << total;
    EXPECT_EQ(log.take().size(), 1u) << total;
    ASSERT_EQ(guest.flush(Stream().add(kEnd)), 0);
    EXPECT_EQ(guest.glError(), GL_INVALID_OPERATION) << total;  // no primitive has been opened
  }
}

// The mark behind whole vertices belongs to none of them; the same word is a coordinate where it completes a vertex, and also where
// the stream goes on.
TEST_F(Pictures, MarkBehindVerticesIsTakenOff) {
  const std::vector<uint16_t> tags = {0x3103, 0x3200};  // three floats, three ints
  std::vector<uint8_t> vertices = floats({0, 1, 0});
  vertices += words({0xFFFFFFFF, 0xFFFFFFFF, 0});
  const auto colourAfter = [&](const std::vector<uint8_t>& data, bool more) {
    Stream stream;
    stream.add(kColor3f, 1.0f, 1.0f, 1.0f).large(kRunBroken, runPayload(GL_POINTS, tags, 24, data));
    if (more) stream.add(kEnd);
    const int failed = guest.flush(stream, GL_BACK);
    if (!more) {
      EXPECT_EQ(guest.flush(Stream().add(kEnd)), 0);
    }
    EXPECT_EQ(guest.glError(), 0u);
    return failed == 0 ? guest.ask(Stream().add(kGetFloatv, GL_CURRENT_COLOR, 4u), 16) : std::vector<uint8_t>{};
  };
  // The colour of a second vertex, then the mark.
  std::vector<uint8_t> marked = vertices;
  marked += floats({0, 0, 1});
  marked += words({0x40D9});
  EXPECT_EQ(colourAfter(marked, false), floats({0, 0, 1, 1}));
  // A word of the same value as the last coordinate of a vertex: the vertex is whole.
  std::vector<uint8_t> data = floats({0, 0, 1});
  data += words({0, 0, 0x40D9});
  EXPECT_EQ(colourAfter(data, false), floats({0, 0, 1, 1}));
  EXPECT_EQ(log.take(), std::vector<std::string>{});
  // A mark that does not end the stream is a part of an attribute.
  EXPECT_EQ(colourAfter(marked, true), std::vector<uint8_t>{});
  EXPECT_EQ(log.take().size(), 1u);
}

// Runs of other modes, attributes and kinds over each other are drawn in order.
TEST_F(Pictures, DifferentRunsAreDrawnInOrder) {
  const auto triangle = [](float x, float r, float g) {
    return floats({r, g, 0, x, -1, 0, r, g, 0, x + 1, -1, 0, r, g, 0, x, 1, 0});
  };
  const std::vector<uint16_t> tags = {0x3103, 0x3100};
  Stream stream = clear(0, 0, 0);
  stream.large(kRunEnded, runPayload(GL_TRIANGLES, tags, 24, triangle(-1, 1, 0)));
  stream.large(kRunEnded, runPayload(GL_TRIANGLE_STRIP, tags, 24, triangle(-1, 0, 1)));  // a strip over it
  stream.large(kRunEnded,
               runPayload(GL_TRIANGLES, {0x3102, 0x3100}, 24, floats({0, 0, 1, 0, -1, 0, 0, 0, 1, 1, -1, 0, 0, 0, 1, 0, 1, 0})));
  std::vector<uint8_t> longer = triangle(0, 1, 1);
  const std::vector<uint8_t> part = floats({0, 0, 1});
  longer.insert(longer.end(), part.begin(), part.end());
  stream.large(kRunEnded, runPayload(GL_TRIANGLES, tags, 24, longer));
  stream.large(kRunBroken, runPayload(GL_TRIANGLES, tags, 24, triangle(0, 1, 0))).add(kEnd);
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  EXPECT_EQ(guest.glError(), 0u);
  const uint32_t bottom = guest.height - 2;
  EXPECT_EQ(guest.surface->pixel(1, bottom) & 0xFFFFFF, 0x00FF00u);
  EXPECT_EQ(guest.surface->pixel(guest.width / 2 + 1, bottom) & 0xFFFFFF, 0xFF0000u);
  EXPECT_EQ(guest.ask(Stream().add(kGetFloatv, GL_CURRENT_COLOR, 4u), 16), floats({1, 0, 0, 1}));
}

// Runs are drawn although an array buffer is bound, and do not disturb it or what the guest finds in its own array state.
TEST_F(Pictures, RunsLeaveTheArrayBufferBound) {
  std::vector<float> values;
  for (int i = 0; i < 20; ++i) values.insert(values.end(), {-1.0f, -1.0f, 0.0f, 3.0f, -1.0f, 0.0f, -1.0f, 3.0f, 0.0f});
  Stream stream = clear(0, 0, 0);
  stream.add(kBindBuffer, GL_ARRAY_BUFFER, 9u);
  ASSERT_EQ(guest.flush(stream), 0);
  const auto bound = guest.askFor<int32_t>(Stream().add(kGetIntegerv, GL_ARRAY_BUFFER_BINDING, 1u));
  EXPECT_NE(bound, 0);
  Stream run = Stream().add(kColor3f, 0.0f, 1.0f, 0.0f);
  ASSERT_EQ(guest.flush(run.large(kRunEnded, runPayload(GL_TRIANGLES, {0x3100}, 12, floats(values))), GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(5, 5) & 0xFFFFFF, 0x00FF00u);
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetIntegerv, GL_ARRAY_BUFFER_BINDING, 1u)), bound);
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetIntegerv, GL_VERTEX_ARRAY_BINDING, 1u)), 0);
  EXPECT_EQ(guest.glError(), 0u);
}

// A stream that is longer than the channel's ring arrives whole and in order.
TEST_F(Pictures, LongStreamArrivesInOrder) {
  Stream stream;
  for (uint32_t i = 0; i < 300000; ++i) stream.add(kClearColor, 0.0f, 0.0f, 0.0f, 1.0f);
  ASSERT_GT(stream.data.size(), 5u << 20);
  stream.add(kClearColor, 0.0f, 1.0f, 1.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT);
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(3, 3) & 0xFFFFFF, 0x00FFFFu);
}

// A run that is longer than the channel's ring is drawn whole.
TEST_F(Pictures, RunLongerThanTheRingIsDrawn) {
  std::vector<float> values;
  for (int i = 0; i < 200000; ++i)
    values.insert(values.end(), {0.0f, 0.0f, 1.0f, -1.0f + 0.00001f * static_cast<float>(i), 0.0f, 0.0f});
  Stream stream = clear(0, 0, 0);
  stream.large(kRunEnded, runPayload(GL_POINTS, {0x3103, 0x3100}, 24, floats(values))).add(kClear, 0u);
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(20, 23) & 0xFFFFFF, 0x0000FFu);
}

// --- lists and replies ---

// A list compiled on the host draws when it is called, also by glCallLists with every width of name.
TEST_F(Pictures, ListsDrawWhenTheyAreCalled) {
  Stream stream = clear(0, 0, 0);
  stream.add(kNewList, 300u, GL_COMPILE).add(kClearColor, 1.0f, 0.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT).add(kEndList);
  stream.add(kNewList, 5u, GL_COMPILE).add(kClearColor, 0.0f, 1.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT).add(kEndList);
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(0, 0) & 0xFFFFFF, 0u);
  ASSERT_EQ(guest.flush(Stream().add(kCallList, 300u), GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(0, 0) & 0xFFFFFF, 0xFF0000u);
  ASSERT_EQ(guest.flush(Stream().add(kCallLists, 1, GL_UNSIGNED_BYTE, 1u, uint8_t{5}), GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(0, 0) & 0xFFFFFF, 0x00FF00u);
  ASSERT_EQ(guest.flush(Stream().add(kCallLists, 2, GL_UNSIGNED_SHORT, 4u, uint16_t{5}, uint16_t{300}), GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(0, 0) & 0xFFFFFF, 0xFF0000u);
  ASSERT_EQ(guest.flush(Stream().add(kDeleteLists, 300u, 1).add(kCallList, 5u).add(kCallList, 300u), GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(0, 0) & 0xFFFFFF, 0x00FF00u);
}

// Replies carry as many bytes as the command's form says, and only the last command's.
TEST_F(Pictures, RepliesHaveTheirLength) {
  EXPECT_EQ(guest.ask(Stream().add(kEnable, GL_BLEND).add(kIsEnabled, GL_BLEND), 1), std::vector<uint8_t>{1});
  EXPECT_EQ(guest.ask(Stream().add(kIsEnabled, GL_BLEND).add(kDisable, GL_BLEND), 1), std::vector<uint8_t>{});
  const std::vector<uint8_t> viewport = guest.ask(Stream().add(kViewport, 1, 2, 30, 40).add(kGetIntegerv, GL_VIEWPORT, 4u), 16);
  ASSERT_EQ(viewport.size(), 16u);
  int32_t values[4];
  std::memcpy(values, viewport.data(), 16);
  EXPECT_EQ(values[0], 1);
  EXPECT_EQ(values[3], 40);
  // A shorter buffer gets the first part.
  EXPECT_EQ(guest.ask(Stream().add(kGetIntegerv, GL_VIEWPORT, 4u), 8).size(), 8u);
  // Booleans are bytes, doubles 8 bytes each.
  EXPECT_EQ(guest.ask(Stream().add(kGetBooleanv, GL_VIEWPORT, 4u), 16), (std::vector<uint8_t>{1, 1, 1, 1}));
  EXPECT_EQ(guest.ask(Stream().add(kGetDoublev, GL_VIEWPORT, 4u), 64).size(), 32u);
  // Four floats of a light, set by a counted command.
  ASSERT_EQ(guest.flush(Stream().add(kLightfv, GL_LIGHT1, GL_AMBIENT, 4u, 0.25f, 0.5f, 0.75f, 1.0f)), 0);
  EXPECT_EQ(guest.ask(Stream().add(kGetLightfv, GL_LIGHT1, GL_AMBIENT, 4u), 16), floats({0.25f, 0.5f, 0.75f, 1.0f}));
  // Names.
  const std::vector<uint8_t> names = guest.ask(Stream().add(kGenRenderbuffers, 3), 12);
  EXPECT_EQ(names.size(), 12u);
  EXPECT_EQ(guest.glError(), 0u);
}

// A string comes with its terminating zero, cut to the buffer.
TEST_F(Pictures, StringsComeWithTheirZero) {
  const std::vector<uint8_t> version = guest.ask(Stream().add(kGetString, GL_VERSION), 256);
  ASSERT_GT(version.size(), 3u);
  EXPECT_EQ(version.back(), 0);
  EXPECT_EQ(version[1], '.');
  EXPECT_GT(guest.ask(Stream().add(kGetString, GL_EXTENSIONS), 16384).size(), 1000u);
  EXPECT_EQ(guest.ask(Stream().add(kGetString, GL_VERSION), 2).size(), 2u);
}

// A reply larger than the reply ring arrives whole.
TEST_F(Pictures, LongReplyArrivesWhole) {
  const std::vector<uint8_t> names = guest.ask(Stream().add(kGenRenderbuffers, 200000), 800000);
  ASSERT_EQ(names.size(), 800000u);
  uint32_t first = 0, last = 0;
  std::memcpy(&first, names.data(), 4);
  std::memcpy(&last, names.data() + 799996, 4);
  EXPECT_EQ(last - first, 199999u);
}

// The host's error flag is read and cleared by the command.
TEST_F(Pictures, ErrorFlagIsReadAndCleared) {
  ASSERT_EQ(guest.flush(Stream().add(kEnable, 0x12345u)), 0);
  EXPECT_EQ(guest.glError(), GL_INVALID_ENUM);
  EXPECT_EQ(guest.glError(), 0u);
}

// State that is set twice in a row ends as it was set last, errors and side effects included.
TEST_F(Pictures, StateSetTwiceInARowEndsAsSetLast) {
  const auto enabled = [&](uint32_t capability) { return guest.ask(Stream().add(kIsEnabled, capability), 1).at(0); };
  ASSERT_EQ(guest.flush(Stream().add(kEnable, GL_BLEND).add(kDisable, GL_BLEND).add(kEnable, GL_BLEND)), 0);
  EXPECT_EQ(enabled(GL_BLEND), 1);
  ASSERT_EQ(guest.flush(Stream().add(kEnable, GL_BLEND).add(kDisable, GL_BLEND)), 0);
  EXPECT_EQ(enabled(GL_BLEND), 0);
  ASSERT_EQ(guest.flush(
                Stream().add(kEnable, GL_BLEND).add(kDisable, GL_DEPTH_TEST).add(kEnable, GL_DEPTH_TEST).add(kDisable, GL_BLEND)),
            0);
  EXPECT_EQ(enabled(GL_DEPTH_TEST), 1);
  EXPECT_EQ(guest.glError(), 0u);
  // A capability that is none is an error however often it is set.
  ASSERT_EQ(guest.flush(Stream().add(kEnable, 0x12345u).add(kDisable, 0x12345u).add(kClear, 0u)), 0);
  EXPECT_EQ(guest.glError(), GL_INVALID_ENUM);
  // Colour material takes the current colour at once and keeps it.
  Stream material;
  material.add(kColorMaterial, GL_FRONT, GL_AMBIENT_AND_DIFFUSE)
      .add(kColor3f, 0.25f, 0.5f, 0.75f)
      .add(kEnable, GL_COLOR_MATERIAL)
      .add(kDisable, GL_COLOR_MATERIAL);
  ASSERT_EQ(guest.flush(material), 0);
  EXPECT_EQ(guest.ask(Stream().add(kGetMaterialfv, GL_FRONT, GL_AMBIENT, 4u), 16), floats({0.25f, 0.5f, 0.75f, 1.0f}));
  // Matrices: the last one of a row, and only of a row.
  std::vector<float> first(16, 0.0f), second(16, 0.0f);
  for (size_t i = 0; i < 16; i += 5) first[i] = 2, second[i] = 3;
  const auto load = [](Stream& to, const std::vector<float>& m) { to.bytes(kLoadMatrixf, floats(m)); };
  Stream matrices;
  load(matrices, first);
  load(matrices, second);
  matrices.add(kPushMatrix);
  load(matrices, first);
  ASSERT_EQ(guest.flush(matrices), 0);
  EXPECT_EQ(guest.ask(Stream().add(kGetFloatv, GL_MODELVIEW_MATRIX, 16u), 64), floats(first));
  ASSERT_EQ(guest.flush(Stream().add(kPopMatrix)), 0);
  EXPECT_EQ(guest.ask(Stream().add(kGetFloatv, GL_MODELVIEW_MATRIX, 16u), 64), floats(second));
  // Blend factors.
  ASSERT_EQ(guest.flush(Stream().add(kBlendFunc, 1u, 0u).add(kBlendFunc, GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA)), 0);
  EXPECT_EQ(guest.askFor<uint32_t>(Stream().add(kGetIntegerv, GL_BLEND_SRC_RGB, 1u)), GL_SRC_ALPHA);
  EXPECT_EQ(guest.glError(), 0u);
  ASSERT_EQ(guest.flush(Stream().add(kBlendFunc, 0x999u, 0u).add(kBlendFunc, 1u, 0u)), 0);
  EXPECT_EQ(guest.askFor<uint32_t>(Stream().add(kGetIntegerv, GL_BLEND_SRC_RGB, 1u)), 1u);
  EXPECT_EQ(guest.glError(), GL_INVALID_ENUM);
}

// An opcode that nobody knows is skipped by its size, in both header forms.
TEST_F(Pictures, UnknownOpcodesAreSkipped) {
  Stream stream;
  stream.add(kNobodysOpcode, 1u, 2u, 3u).large(kHighestOpcode, {1, 2, 3, 4, 5}).add(kNobodysPrivateOpcode);
  stream.add(kClearColor, 0.0f, 0.0f, 1.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT);
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(0, 0) & 0xFFFFFF, 0x0000FFu);
}

// The large form of a command that would fit in the small one means the same.
TEST_F(Pictures, LargeFormMeansTheSame) {
  Stream stream = clear(0, 0, 0);
  stream.large(kClearColor, floats({1, 1, 0, 1})).large(kClear, {0x00, 0x40, 0, 0});
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(0, 0) & 0xFFFFFF, 0xFFFF00u);
}

// The pad bytes of the last command may be missing.
TEST_F(Pictures, LastPadMayBeMissing) {
  Stream stream = Stream().add(kDepthMask, uint8_t{0});
  stream.data.resize(5);
  ASSERT_EQ(guest.flush(stream), 0);
  EXPECT_EQ(guest.ask(Stream().add(kGetBooleanv, GL_DEPTH_WRITEMASK, 1u), 1), std::vector<uint8_t>{0});
}

}  // namespace
}  // namespace qv::peer::test
