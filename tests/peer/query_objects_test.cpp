// Query objects, sync objects and transform feedback objects on the host: names, results in batches, and waits that can be ended.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "peer/host/egl_display.h"
#include "peer/host/in_process_gpu.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

using Bytes = std::vector<uint8_t>;

class HostQueries : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(guest.start(64, 64));
    guest.glError();
  }
  Stream query(uint32_t id, float left) {
    return Stream()
        .add(kBeginQuery, GL_SAMPLES_PASSED, id)
        .add(kRectf, left, -1.0f, 1.0f, 1.0f)
        .add(kEndQuery, GL_SAMPLES_PASSED);
  }
  TestGuest::Replies batch(uint32_t id, uint32_t capacity = 8192) {
    return guest.askBoth(Stream().add(kQueryResults, id, GL_QUERY_RESULT, capacity), 8192, 4);
  }

  LogCapture log;
  InProcessGpu gpu;
  TestGuest guest{gpu};
};

// The query that is asked for comes first, all others that have ended behind it, each once.
TEST_F(HostQueries, BatchesTellAllThatHaveEnded) {
  for (uint32_t id = 1; id <= 3; ++id) ASSERT_EQ(guest.flush(query(id, id == 2 ? 0.0f : -1.0f)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kFinish)), 0);
  const TestGuest::Replies first = batch(2);
  ASSERT_GE(first.first.size(), 16u);
  EXPECT_EQ(Bytes(first.first.begin(), first.first.begin() + 16), words({2, GL_QUERY_RESULT, 2048, 0}));
  EXPECT_EQ(first.second, words({static_cast<uint32_t>(first.first.size())}));
  EXPECT_EQ(first.first, words({2, GL_QUERY_RESULT, 2048, 0, 1, GL_QUERY_RESULT, 4096, 0, 3, GL_QUERY_RESULT, 4096, 0}));
  EXPECT_EQ(batch(1).first, words({1, GL_QUERY_RESULT, 4096, 0}));
  EXPECT_EQ(guest.glError(), 0u);
}

// No more rows come than there is room for; the others come with the next question.
TEST_F(HostQueries, BatchesAreBounded) {
  for (uint32_t id = 1; id <= 4; ++id) ASSERT_EQ(guest.flush(query(id, -1.0f)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kFinish)), 0);
  EXPECT_EQ(batch(1, 47).first.size(), 32u);
  EXPECT_EQ(batch(4, 0xFFFFFFFF).first.size(), 32u);  // 4 and the one of 3 that has not been told
  EXPECT_EQ(batch(4, 15).second, words({0}));
}

// A running query, one that nobody has begun, and an open primitive: no row and no error.
TEST_F(HostQueries, BatchesOfNothingAreEmpty) {
  ASSERT_EQ(guest.flush(Stream().add(kBeginQuery, GL_SAMPLES_PASSED, 1)), 0);
  EXPECT_EQ(batch(1).second, words({0}));
  EXPECT_EQ(batch(7).second, words({0}));
  EXPECT_EQ(batch(0).second, words({0}));
  ASSERT_EQ(guest.flush(Stream().add(kEndQuery, GL_SAMPLES_PASSED)), 0);
  EXPECT_EQ(guest.askBoth(Stream().add(kBegin, GL_POINTS).add(kQueryResults, 1, GL_QUERY_RESULT, 8192), 8192, 4).second,
            words({0}));
  ASSERT_EQ(guest.flush(Stream().add(kEnd)), 0);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(batch(1).first, words({1, GL_QUERY_RESULT, 0, 0}));
}

// No buffer takes the results away from whoever asks: there is no target for that.
TEST_F(HostQueries, ResultsGoToWhoeverAsks) {
  Stream stream = query(1, -1.0f);
  stream.add(kFinish).add(kBindBuffer, GL_QUERY_BUFFER, 1).bytes(kBufferData, words({GL_QUERY_BUFFER, 64, 0, GL_STREAM_READ, 0}));
  ASSERT_EQ(guest.flush(stream), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_ENUM));
  EXPECT_EQ(batch(1).first, words({1, GL_QUERY_RESULT, 4096, 0}));
  EXPECT_EQ(guest.ask(Stream().add(kGetQueryObjectuiv, 1, GL_QUERY_RESULT), 4), words({4096}));
  EXPECT_EQ(guest.ask(Stream().add(kGetQueryObjectuiv, 1, GL_QUERY_RESULT_AVAILABLE), 4), words({1}));
}

// A value that a row has no room for is left out, and comes whole when it is asked for alone.
TEST_F(HostQueries, LongValuesAreLeftOut) {
  ASSERT_EQ(guest.flush(Stream().add(kQueryCounter, 5, GL_TIMESTAMP).add(kFinish)), 0);
  EXPECT_EQ(batch(5).second, words({0}));
  EXPECT_GT(guest.askFor<uint64_t>(Stream().add(kGetQueryObjectui64v, 5, GL_QUERY_RESULT)), 0x7FFFFFFFull);
}

// Errors of GL are the guest's: a second begin, a wrong end, a result while running.
TEST_F(HostQueries, ErrorsAreGls) {
  ASSERT_EQ(guest.flush(Stream().add(kBeginQuery, GL_SAMPLES_PASSED, 1).add(kBeginQuery, GL_SAMPLES_PASSED, 2)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(guest.askFor<uint32_t>(Stream().add(kGetQueryiv, GL_SAMPLES_PASSED, GL_CURRENT_QUERY)), 1u);
  EXPECT_EQ(guest.ask(Stream().add(kGetQueryObjectiv, 1, GL_QUERY_RESULT), 4), Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  ASSERT_EQ(guest.flush(Stream().add(kEndQuery, GL_TIME_ELAPSED)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  ASSERT_EQ(guest.flush(Stream().add(kEndQuery, GL_SAMPLES_PASSED).add(kBeginQuery, GL_SAMPLES_PASSED, 0)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(guest.ask(Stream().add(kGetQueryObjectiv, 99, GL_QUERY_RESULT), 4), Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  ASSERT_EQ(guest.flush(Stream().add(kDeleteQueries, 0)), 0);
  EXPECT_EQ(guest.glError(), 0u);
  ASSERT_EQ(guest.flush(Stream().add(kDeleteQueries, -1)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
}

// What depends on a query is drawn or not by the result of the query with the guest's name; a name without a query is an error.
TEST_F(HostQueries, ConditionsHaveTheGuestsNames) {
  ASSERT_EQ(guest.flush(query(70, 1.0f)), 0);  // nothing of it is seen
  ASSERT_EQ(guest.flush(query(71, -1.0f)), 0);
  constexpr uint32_t kBeginConditionalRenderNV = 1563;
  for (const uint32_t begin : {kBeginConditionalRender, kBeginConditionalRenderNV}) {
    const auto drawn = [&](uint32_t condition) {
      Stream stream = Stream().add(kClearColor, 0.0f, 0.0f, 0.0f, 0.0f).add(kClear, GL_COLOR_BUFFER_BIT);
      stream.add(begin, condition, GL_QUERY_WAIT).add(kRectf, -1.0f, -1.0f, 1.0f, 1.0f).add(kEndConditionalRender);
      EXPECT_EQ(guest.flush(stream, GL_BACK), 0);
      return (guest.surface->pixel(30, 30) & 0xFFFFFF) != 0;
    };
    EXPECT_FALSE(drawn(70)) << begin;
    EXPECT_TRUE(drawn(71)) << begin;
    EXPECT_EQ(guest.glError(), 0u);
    drawn(72);
    EXPECT_NE(guest.glError(), 0u) << begin;
  }
}

// A query of another stream of vertices runs on its own index.
TEST_F(HostQueries, IndexedQueriesHaveTheirIndex) {
  const auto running = [&](uint32_t index) {
    return guest.askFor<uint32_t>(Stream().add(kGetQueryIndexediv, GL_PRIMITIVES_GENERATED, index, GL_CURRENT_QUERY));
  };
  ASSERT_EQ(guest.flush(Stream().add(kBeginQueryIndexed, GL_PRIMITIVES_GENERATED, 3, 50)), 0);
  EXPECT_EQ(running(3), 50u);
  EXPECT_EQ(running(0), 0u);
  EXPECT_EQ(batch(50).second, words({0}));  // it runs
  ASSERT_EQ(guest.flush(Stream().add(kEndQueryIndexed, GL_PRIMITIVES_GENERATED, 3)), 0);
  EXPECT_EQ(running(3), 0u);
  EXPECT_EQ(batch(50).first, words({50, GL_QUERY_RESULT, 0, 0}));
  EXPECT_EQ(guest.askFor<uint32_t>(Stream().add(kGetQueryIndexediv, GL_PRIMITIVES_GENERATED, 3, GL_QUERY_COUNTER_BITS)), 64u);
  EXPECT_EQ(guest.glError(), 0u);
}

// A deleted query is unknown, even while it runs; its name may be used again.
TEST_F(HostQueries, DeletedQueriesAreGone) {
  ASSERT_EQ(guest.flush(Stream().add(kBeginQuery, GL_SAMPLES_PASSED, 1).add(kDeleteQueries, 1, 1)), 0);
  EXPECT_EQ(batch(1).second, words({0}));
  EXPECT_EQ(guest.askFor<uint32_t>(Stream().add(kGetQueryiv, GL_SAMPLES_PASSED, GL_CURRENT_QUERY)), 0u);
  ASSERT_EQ(guest.flush(query(1, -1.0f)), 0);
  EXPECT_EQ(batch(1).first, words({1, GL_QUERY_RESULT, 4096, 0}));
}

// --- sync objects ---

// Numbers count up for all contexts that share, and are never used again.
TEST_F(HostQueries, SyncsHaveNumbers) {
  TestGuest other{gpu};
  other.context = other.createContext().contextId;
  other.window = guest.window;
  other.width = other.height = 64;
  // The first context has drawn; another one can still join it.
  ShareContextsPacket packet;
  packet.firstId = guest.context;
  packet.secondId = other.context;
  ASSERT_EQ(guest.send(packet), 0);
  const auto fence = [](TestGuest& from) {
    return from.askFor<uint32_t>(Stream().add(kFenceSync, GL_SYNC_GPU_COMMANDS_COMPLETE, 0));
  };
  EXPECT_EQ(fence(guest), 1u);
  EXPECT_EQ(fence(other), 2u);
  EXPECT_EQ(guest.askFor<uint8_t>(Stream().add(kIsSync, 2)), 1);
  EXPECT_EQ(other.askFor<uint32_t>(Stream().add(kClientWaitSync, 1, 0, uint64_t{1000000000})) & ~1u, GL_ALREADY_SIGNALED & ~1u);
  ASSERT_EQ(other.flush(Stream().add(kDeleteSync, 1)), 0);
  EXPECT_EQ(guest.askFor<uint8_t>(Stream().add(kIsSync, 1)), 0);
  EXPECT_EQ(fence(guest), 3u);
  const TestGuest::Replies status = guest.askBoth(Stream().add(kGetSynciv, 3, GL_SYNC_CONDITION, 1), 4, 4);
  EXPECT_EQ(status.first, words({1}));
  EXPECT_EQ(status.second, words({GL_SYNC_GPU_COMMANDS_COMPLETE}));
  EXPECT_EQ(guest.glError(), 0u);
}

// A fence before a glFinish is signalled for every question after it: the guest may ask without a timeout.
TEST(HostWaits, FinishFinishes) {
  ASSERT_NE(EglDisplay::get(), nullptr);
  const GlFunctions before = gl;
  static int finished;
  finished = 0;
  gl.glFinish = +[] { ++finished; };
  Replayer replayer;
  const Stream stream = Stream().add(kFinish).add(kFlush).add(kFinish);
  replayer.begin();
  const auto bytes = static_cast<uint32_t>(stream.data.size());
  EXPECT_EQ(replayer.replay(stream.data.data(), bytes, bytes).outcome, Replayer::Outcome::Done);
  EXPECT_EQ(finished, 2);
  gl = before;
}

// Numbers that stand for nothing: no sync, a failed wait, an error; the delete of 0 is silent.
TEST_F(HostQueries, UnknownSyncsAreErrors) {
  EXPECT_EQ(guest.askFor<uint32_t>(Stream().add(kFenceSync, 0x1234, 0)), 0u);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_ENUM));
  EXPECT_EQ(guest.askFor<uint8_t>(Stream().add(kIsSync, 77)), 0);
  EXPECT_EQ(guest.askFor<uint32_t>(Stream().add(kClientWaitSync, 77, 0, uint64_t{5})), static_cast<uint32_t>(GL_WAIT_FAILED));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  for (const uint32_t opcode : {kDeleteSync, kWaitSync}) {
    const Stream stream = opcode == kDeleteSync ? Stream().add(opcode, 77) : Stream().add(opcode, 77, 0, uint64_t{5});
    ASSERT_EQ(guest.flush(stream), 0);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE)) << opcode;
  }
  ASSERT_EQ(guest.flush(Stream().add(kDeleteSync, 0)), 0);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(guest.askBoth(Stream().add(kGetSynciv, 77, GL_SYNC_STATUS, 1), 4, 4).first, Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
}

struct Waited {
  static GLenum APIENTRY wait(GLsync, GLbitfield flags, GLuint64 timeout) {
    slices.push_back({flags, timeout});
    return slices.size() < last ? GL_TIMEOUT_EXPIRED : GL_ALREADY_SIGNALED;
  }
  static inline std::vector<std::pair<GLbitfield, GLuint64>> slices;
  static inline size_t last = 0;
};

// A wait in GL is cut into slices: it lasts as long as the guest says, ends with the context, and only its first slice flushes.
TEST(HostWaits, WaitsAreSliced) {
  ASSERT_NE(EglDisplay::get(), nullptr);
  const GlFunctions before = gl;
  gl.glClientWaitSync = &Waited::wait;
  gl.glGetError = +[]() -> GLenum { return 0; };
  std::atomic<bool> stopped{false};
  Replayer replayer;
  replayer.state().stopped = &stopped;
  const uint32_t name = replayer.state().shared->syncs.add(reinterpret_cast<GLsync>(uintptr_t{16}));
  const auto wait = [&](GLuint64 timeout, size_t last) {
    Waited::slices.clear();
    Waited::last = last;
    const Stream stream = Stream().add(kClientWaitSync, name, 0, timeout);
    replayer.begin();
    const auto bytes = static_cast<uint32_t>(stream.data.size());
    EXPECT_EQ(replayer.replay(stream.data.data(), bytes, bytes).outcome, Replayer::Outcome::Done);
    uint32_t status = 0;
    EXPECT_EQ(replayer.reply().size(), 4u);
    std::memcpy(&status, replayer.reply().data(), 4);
    return status;
  };
  constexpr GLuint64 kSlice = 50000000;
  EXPECT_EQ(wait(0, 1), static_cast<uint32_t>(GL_ALREADY_SIGNALED));
  EXPECT_EQ(Waited::slices, (std::vector<std::pair<GLbitfield, GLuint64>>{{GL_SYNC_FLUSH_COMMANDS_BIT, 0}}));
  EXPECT_EQ(wait(120000000, 99), static_cast<uint32_t>(GL_TIMEOUT_EXPIRED));
  EXPECT_EQ(Waited::slices,
            (std::vector<std::pair<GLbitfield, GLuint64>>{{GL_SYNC_FLUSH_COMMANDS_BIT, kSlice}, {0, kSlice}, {0, 20000000}}));
  // What was signalled in a later slice was not there when the wait began.
  EXPECT_EQ(wait(GL_TIMEOUT_IGNORED, 100), static_cast<uint32_t>(GL_CONDITION_SATISFIED));
  EXPECT_EQ(Waited::slices.size(), 100u);
  stopped = true;
  EXPECT_EQ(wait(GL_TIMEOUT_IGNORED, 100), static_cast<uint32_t>(GL_TIMEOUT_EXPIRED));
  EXPECT_EQ(Waited::slices.size(), 1u);
  gl = before;
}

// A wait without end is given up when its context is deleted.
TEST_F(HostQueries, WaitsEndWithTheirContext) {
  const auto fence = guest.askFor<uint32_t>(Stream().add(kFenceSync, GL_SYNC_GPU_COMMANDS_COMPLETE, 0));
  static std::atomic<int> slices;
  slices = 0;
  const GlFunctions before = gl;
  gl.glClientWaitSync = +[](GLsync, GLbitfield, GLuint64) -> GLenum {
    ++slices;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return GL_TIMEOUT_EXPIRED;
  };
  std::thread waiter([&] { guest.ask(Stream().add(kClientWaitSync, fence, 0, ~uint64_t{0}), 4); });
  while (slices < 3) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  TestGuest other{gpu};
  DeleteContextPacket packet;
  packet.contextId = guest.context;
  const auto from = std::chrono::steady_clock::now();
  EXPECT_EQ(other.send(packet), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - from, std::chrono::seconds(1));
  waiter.join();
  gl = before;
}

// --- transform feedback ---

// A draw of captured vertices by a name that was never bound is an error, and none of object 0.
TEST_F(HostQueries, DrawsNeedAFeedbackObject) {
  constexpr uint32_t kDrawTransformFeedback = 2258, kDrawTransformFeedbackInstanced = 2336;
  const Stream draws[] = {Stream().add(kDrawTransformFeedback, GL_POINTS, 999),
                          Stream().add(kDrawTransformFeedbackInstanced, GL_POINTS, 999, 1)};
  for (const Stream& draw : draws) {
    ASSERT_EQ(guest.flush(draw), 0);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  }
  // Object 0 is there, and has captured nothing.
  ASSERT_EQ(guest.flush(Stream().add(kDrawTransformFeedback, GL_POINTS, 0)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
}

// Names that GL has not generated are made for the guest, and told by the guest's own.
TEST_F(HostQueries, FeedbackObjectsHaveTheGuestsNames) {
  const Stream binding = Stream().add(kGetIntegerv, GL_TRANSFORM_FEEDBACK_BINDING, 1u);
  ASSERT_EQ(
      guest.flush(
          Stream().add(kBindTransformFeedback, GL_TRANSFORM_FEEDBACK, 40).add(kBindTransformFeedback, GL_TRANSFORM_FEEDBACK, 7)),
      0);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(guest.askFor<uint32_t>(binding), 7u);
  EXPECT_EQ(guest.askFor<float>(Stream().add(kGetFloatv, GL_TRANSFORM_FEEDBACK_BINDING, 1u)), 7.0f);
  EXPECT_EQ(guest.askFor<uint8_t>(Stream().add(kGetBooleanv, GL_TRANSFORM_FEEDBACK_BINDING, 1u)), 1);
  ASSERT_EQ(
      guest.flush(Stream().add(kBindTransformFeedback, GL_TRANSFORM_FEEDBACK, 40).add(kDeleteTransformFeedbacks, 2, 7, 999)), 0);
  EXPECT_EQ(guest.askFor<uint32_t>(binding), 40u);
  ASSERT_EQ(guest.flush(Stream().add(kBindTransformFeedback, GL_TRANSFORM_FEEDBACK, 0)), 0);
  EXPECT_EQ(guest.askFor<uint32_t>(binding), 0u);
  EXPECT_EQ(guest.glError(), 0u);
  ASSERT_EQ(guest.flush(Stream().add(kDeleteTransformFeedbacks, 0)), 0);
  EXPECT_EQ(guest.glError(), 0u);
  ASSERT_EQ(guest.flush(Stream().add(kDeleteTransformFeedbacks, -1)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
}

}  // namespace
}  // namespace qv::peer::test
