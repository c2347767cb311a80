// Selection, feedback and evaluators on the host: what comes back of the program's buffers, and hostile commands.
#include <gtest/gtest.h>

#include <chrono>

#include "peer/host/in_process_gpu.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

using Words = std::vector<uint32_t>;

Words wordsOf(const std::vector<uint8_t>& bytes) {
  Words out(bytes.size() / 4);
  if (!out.empty()) std::memcpy(out.data(), bytes.data(), 4 * out.size());
  return out;
}
std::vector<float> floatsOf(const std::vector<uint8_t>& bytes) {
  std::vector<float> out(bytes.size() / 4);
  if (!out.empty()) std::memcpy(out.data(), bytes.data(), 4 * out.size());
  return out;
}

class Selection : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(guest.start(32, 32)); }

  struct Answer {
    int32_t value = 0;
    std::vector<uint8_t> buffer;
  };
  Answer mode(Stream stream, uint32_t value, uint32_t room = 4096) {
    const TestGuest::Replies replies = guest.askBoth(stream.add(kRenderMode, value), 4, room);
    Answer answer;
    EXPECT_EQ(replies.first.size(), 4u);
    if (replies.first.size() == 4) std::memcpy(&answer.value, replies.first.data(), 4);
    answer.buffer = replies.second;
    return answer;
  }
  static Stream select(int32_t size) { return Stream().add(kSelectBuffer, size, 1u); }
  static Stream feedback(int32_t size, uint32_t type) { return Stream().add(kFeedbackBuffer, size, type, 1u); }
  // Two rectangles under the names 7, and 8 and 9.
  static Stream named() {
    return Stream()
        .add(kInitNames)
        .add(kPushName, 7u)
        .add(kRectf, -0.5f, -0.5f, 0.5f, 0.5f)
        .add(kLoadName, 8u)
        .add(kPushName, 9u)
        .add(kRectf, -0.5f, -0.5f, 0.5f, 0.5f);
  }

  InProcessGpu gpu;
  TestGuest guest{gpu};
};

// The hit records come back behind the number of hits, and nothing else of the buffer.
TEST_F(Selection, HitsComeBack) {
  EXPECT_EQ(mode(select(64), GL_SELECT).buffer.size(), 0u);
  const Answer answer = mode(named(), GL_RENDER);
  EXPECT_EQ(answer.value, 2);
  EXPECT_EQ(wordsOf(answer.buffer), (Words{1, 0x80000000, 0x80000000, 7, 2, 0x80000000, 0x80000000, 8, 9}));
  EXPECT_EQ(guest.glError(), 0u);
}

// A buffer that is too small comes back whole, and the answer is -1.
TEST_F(Selection, OverflowGivesTheWholeBuffer) {
  mode(select(6), GL_SELECT);
  const Answer answer = mode(named(), GL_RENDER);
  EXPECT_EQ(answer.value, -1);
  EXPECT_EQ(wordsOf(answer.buffer), (Words{1, 0x80000000, 0x80000000, 7, 2, 0x80000000}));
}

// A second selection that follows the first at once ends that: its hits come back.
TEST_F(Selection, SelectionEndsWithTheNextOne) {
  mode(select(64), GL_SELECT);
  EXPECT_EQ(mode(named(), GL_SELECT).value, 2);
  const Answer answer = mode(Stream(), GL_RENDER);
  EXPECT_EQ(answer.value, 0);
  EXPECT_TRUE(answer.buffer.empty());
}

// Feedback values come back, as many as there are.
TEST_F(Selection, FeedbackValuesComeBack) {
  mode(feedback(64, GL_2D), GL_FEEDBACK);
  const Answer answer =
      mode(Stream().add(kPassThrough, 10.0f).add(kBegin, GL_POINTS).add(kVertex3f, 0.0f, 0.5f, 0.0f).add(kEnd), GL_RENDER);
  EXPECT_EQ(answer.value, 5);
  EXPECT_EQ(floatsOf(answer.buffer), (std::vector<float>{GL_PASS_THROUGH_TOKEN, 10.0f, GL_POINT_TOKEN, 16.0f, 24.0f}));
  mode(feedback(3, GL_2D), GL_FEEDBACK);
  const Answer little = mode(Stream().add(kPassThrough, 10.0f).add(kPassThrough, 11.0f), GL_RENDER);
  EXPECT_EQ(little.value, -1);
  EXPECT_EQ(floatsOf(little.buffer), (std::vector<float>{GL_PASS_THROUGH_TOKEN, 10.0f, GL_PASS_THROUGH_TOKEN}));
}

// Values with depth and colour come back in full.
TEST_F(Selection, FeedbackTellsDepthAndColour) {
  mode(feedback(64, GL_3D_COLOR), GL_FEEDBACK);
  Stream stream = Stream().add(kPassThrough, 5.0f).add(kColor3f, 1.0f, 0.5f, 0.0f);
  stream.add(kBegin, GL_POINTS).add(kVertex3f, 0.0f, 0.5f, 0.0f).add(kEnd);
  const Answer answer = mode(stream, GL_RENDER);
  EXPECT_EQ(answer.value, 10);
  EXPECT_EQ(floatsOf(answer.buffer),
            (std::vector<float>{GL_PASS_THROUGH_TOKEN, 5.0f, GL_POINT_TOKEN, 16.0f, 24.0f, 0.5f, 1.0f, 0.5f, 0.0f, 1.0f}));
}

// A mode without its buffer, an unknown one and one inside a primitive are errors, and the mode stays.
TEST_F(Selection, WrongModesAreRefused) {
  for (const uint32_t value : {uint32_t{GL_SELECT}, uint32_t{GL_FEEDBACK}}) {
    EXPECT_EQ(mode(Stream(), value).value, 0);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  }
  mode(select(64), GL_SELECT);
  EXPECT_EQ(mode(named(), 77).value, 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_ENUM));
  EXPECT_EQ(mode(Stream().add(kBegin, GL_POINTS), GL_RENDER).value, 0);
  ASSERT_EQ(guest.flush(Stream().add(kEnd)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(mode(Stream(), GL_RENDER).value, 2);
}

// A primitive that a list has opened counts, too.
TEST_F(Selection, ModesAreRefusedInsidePrimitivesOfLists) {
  ASSERT_EQ(guest.flush(Stream().add(kNewList, 1u, GL_COMPILE).add(kBegin, GL_POINTS).add(kEndList)), 0);
  mode(select(64), GL_SELECT);
  ASSERT_EQ(guest.flush(named()), 0);
  EXPECT_EQ(mode(Stream().add(kCallList, 1u).add(kSelectBuffer, 2, 1u), GL_RENDER).value, 0);
  ASSERT_EQ(guest.flush(Stream().add(kEnd)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  const Answer answer = mode(Stream(), GL_RENDER);
  EXPECT_EQ(answer.value, 2);
  EXPECT_EQ(answer.buffer.size(), 36u);
}

// Wrong buffers are refused, and the one in use stays: sizes below 0, unknown types, in their own mode, inside a primitive.
TEST_F(Selection, WrongBuffersAreRefused) {
  const auto refused = [&](Stream stream, uint32_t error) {
    ASSERT_EQ(guest.flush(stream), 0);
    EXPECT_EQ(guest.glError(), error);
  };
  refused(select(-1), GL_INVALID_VALUE);
  refused(feedback(-1, GL_2D), GL_INVALID_VALUE);
  refused(feedback(4, 0x5FF), GL_INVALID_ENUM);
  refused(feedback(4, 0x605), GL_INVALID_ENUM);
  mode(select(64), GL_SELECT);
  refused(select(2), GL_INVALID_OPERATION);
  refused(Stream().add(kBegin, GL_POINTS).add(kSelectBuffer, 2, 1u).add(kFeedbackBuffer, 2, GL_2D, 1u).add(kEnd),
          GL_INVALID_OPERATION);
  const Answer answer = mode(named(), GL_RENDER);
  EXPECT_EQ(answer.value, 2);
  EXPECT_EQ(answer.buffer.size(), 36u);
  mode(feedback(64, GL_2D), GL_FEEDBACK);
  refused(feedback(2, GL_2D), GL_INVALID_OPERATION);
  EXPECT_EQ(mode(Stream().add(kPassThrough, 1.0f), GL_RENDER).value, 2);
}

// A buffer of any size costs no more than the host allows.
TEST_F(Selection, HugeBuffersAreCut) {
  mode(select(0x7FFFFFFF), GL_SELECT);
  EXPECT_EQ(mode(named(), GL_RENDER).value, 2);
  mode(feedback(0x7FFFFFFF, GL_4D_COLOR_TEXTURE), GL_FEEDBACK);
  EXPECT_EQ(mode(Stream().add(kPassThrough, 1.0f), GL_RENDER).value, 2);
  EXPECT_EQ(guest.glError(), 0u);
}

// A guest with less room for the records than there are gets the first of them.
TEST_F(Selection, RoomLimitsTheSecondReply) {
  mode(select(64), GL_SELECT);
  EXPECT_EQ(mode(named(), GL_RENDER, 8).buffer.size(), 8u);
}

// A context may end in any mode.
TEST_F(Selection, ContextMayEndInItsMode) {
  mode(select(64), GL_SELECT);
  ASSERT_EQ(guest.flush(named(), GL_BACK), 0);
  ASSERT_TRUE(guest.start(8, 8));
  EXPECT_EQ(guest.glError(), 0u);
}

// Maps with their points are taken, and drawn from: an evaluated point is where the curve is.
TEST_F(Selection, EvaluatorsEvaluate) {
  Stream stream = Stream().add(kMap1f, GL_MAP1_VERTEX_3, 0.0f, 1.0f, 4, 2, -1.0f, 0.0f, 0.0f, 9.0f, 1.0f, 0.0f, 0.0f);
  stream.add(kEnable, GL_MAP1_VERTEX_3);
  ASSERT_EQ(guest.flush(stream), 0);
  EXPECT_EQ(guest.glError(), 0u);
  mode(feedback(64, GL_2D), GL_FEEDBACK);
  const Answer answer = mode(Stream().add(kBegin, GL_POINTS).add(230, 0.25f).add(kEnd), GL_RENDER);  // glEvalCoord1f
  EXPECT_EQ(floatsOf(answer.buffer), (std::vector<float>{GL_POINT_TOKEN, 8.0f, 16.0f}));
  Stream doubles = Stream().add(kMap1d, GL_MAP1_VERTEX_3, 0.0, 1.0, 3, 2, -1.0, 0.0, 0.0, 0.0, 0.0, 0.0);
  ASSERT_EQ(guest.flush(doubles), 0);
  mode(feedback(64, GL_2D), GL_FEEDBACK);
  EXPECT_EQ(floatsOf(mode(Stream().add(kBegin, GL_POINTS).add(230, 0.5f).add(kEnd), GL_RENDER).buffer),
            (std::vector<float>{GL_POINT_TOKEN, 8.0f, 16.0f}));
}

// Maps that OpenGL refuses are errors, outside lists and when a list of them is called, and need no points.
TEST_F(Selection, WrongMapsAreRefused) {
  const auto map = [](uint32_t target, int32_t stride, int32_t order) {
    return Stream().add(kMap1f, target, 0.0f, 1.0f, stride, order);
  };
  const auto refused = [&](Stream stream, uint32_t error) {
    ASSERT_EQ(guest.flush(stream), 0);
    EXPECT_EQ(guest.glError(), error);
  };
  refused(map(GL_MAP1_VERTEX_3, 3, 4), GL_INVALID_VALUE);  // the points are missing
  refused(map(GL_MAP1_VERTEX_3, 2, 4), GL_INVALID_VALUE);
  refused(map(GL_MAP1_VERTEX_3, 3, 0x7FFFFFFF), GL_INVALID_VALUE);
  refused(map(GL_MAP1_VERTEX_3, -1, 1), GL_INVALID_VALUE);
  refused(map(GL_MAP2_VERTEX_3, 3, 1), GL_INVALID_ENUM);
  refused(map(77, 3, 1), GL_INVALID_ENUM);
  refused(Stream().add(kMap2d, GL_MAP1_VERTEX_3, 0.0, 1.0, 3, 1, 0.0, 1.0, 3, 1), GL_INVALID_ENUM);
  refused(Stream().add(kMap1f, GL_MAP1_INDEX, 1.0f, 1.0f, 1, 1, 5.0f), GL_INVALID_VALUE);
  ASSERT_EQ(
      guest.flush(Stream().add(kNewList, 1u, GL_COMPILE).add(kMap1f, GL_MAP1_VERTEX_3, 0.0f, 1.0f, 3, 0x7FFFFFFF).add(kEndList)),
      0);
  refused(Stream().add(kCallList, 1u), GL_INVALID_VALUE);
}

// Whatever length the commands of selection, feedback and maps have, the host takes them or refuses them, and lives.
TEST_F(Selection, EveryLengthIsSurvived) {
  LogCapture log;
  const std::pair<uint32_t, size_t> commands[] = {{kFeedbackBuffer, 16}, {kSelectBuffer, 12}, {kRenderMode, 8}, {kMap1d, 80},
                                                  {kMap1f, 56},          {kMap2d, 120},       {kMap2f, 80}};
  for (const auto& [opcode, most] : commands) {
    for (const uint8_t value : {uint8_t{0}, uint8_t{1}, uint8_t{0x7F}, uint8_t{0xFF}}) {
      for (size_t bytes = 0; bytes <= most; ++bytes) {
        if (guest.flush(Stream().bytes(opcode, std::vector<uint8_t>(bytes, value))) != 0) continue;
        guest.glError();
      }
    }
  }
  EXPECT_EQ(mode(select(64), GL_SELECT).value, 0);
  EXPECT_EQ(mode(named(), GL_RENDER).value, 2);
}

// Points of another length than the command's own words say make the stream malformed.
TEST_F(Selection, PointsMustFit) {
  for (const size_t bytes : {4u, 44u, 52u, 400u}) {
    std::vector<uint8_t> payload = Stream().add(kMap1f, GL_MAP1_VERTEX_3, 0.0f, 1.0f, 3, 4).data;
    payload.erase(payload.begin(), payload.begin() + 4);
    payload.resize(payload.size() + bytes);
    EXPECT_NE(guest.flush(Stream().bytes(kMap1f, payload)), 0) << bytes;
    ASSERT_TRUE(guest.start(8, 8));
  }
}

// A range of list names is deleted at once whatever its length, and every list of it is gone, behind the wrap of the names, too.
TEST_F(Selection, LongListRangesAreDeletedAtOnce) {
  const auto define = [&](uint32_t name) {
    return guest.flush(Stream().add(kNewList, name, GL_COMPILE).add(kEnable, GL_FOG).add(kEndList));
  };
  const auto isThere = [&](uint32_t name) {
    return guest.askFor<uint8_t>(Stream().add(kDisable, GL_FOG).add(kCallList, name).add(kIsEnabled, GL_FOG)) != 0;
  };
  for (const uint32_t name : {3u, 5u, 0x10005u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu}) ASSERT_EQ(define(name), 0);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(guest.flush(Stream().add(kDeleteLists, 4u, 0x7FFFFFFF - 3)), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_TRUE(isThere(3));
  EXPECT_FALSE(isThere(5));
  EXPECT_FALSE(isThere(0x10005));
  EXPECT_FALSE(isThere(0x7FFFFFFF));
  EXPECT_TRUE(isThere(0x80000000));
  ASSERT_EQ(guest.flush(Stream().add(kDeleteLists, 0x80000001u, 0x7FFFFFFF)), 0);
  EXPECT_FALSE(isThere(0xFFFFFFFE));
  EXPECT_TRUE(isThere(0x80000000));
  EXPECT_TRUE(isThere(3));
  ASSERT_EQ(guest.flush(Stream().add(kDeleteLists, 0x80000008u, 0x7FFFFFFF)), 0);
  EXPECT_FALSE(isThere(3));
  EXPECT_EQ(guest.glError(), 0u);
}

}  // namespace
}  // namespace qv::peer::test
