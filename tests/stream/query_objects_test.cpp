// Query objects, sync objects, transform feedback and framebuffers in the guest.
#include <cstring>

#include "driver/objects/display_list_stream.h"
#include "driver/state/buffer_bindings.h"
#include "tests/stream/program_fixture.h"

namespace qv::test {
namespace {

using Bytes = std::vector<uint8_t>;

class QueryObjects : public ProgramTest {
 protected:
  explicit QueryObjects(uint16_t version = 430) : ProgramTest(version) {}

  QueryRecord* query(GLuint id) { return context().queryTable.findAs<QueryRecord>(id); }
  // The rows of a batch.
  void answerRows(std::initializer_list<uint32_t> rows) {
    host.answerCommand(kQueryResults, words(rows), words({static_cast<uint32_t>(rows.size() * 4)}));
  }
  GLint ask(GLuint id, GLenum pname = GL_QUERY_RESULT) {
    GLint value = -77;
    QV_CALL(glGetQueryObjectiv)(id, pname, &value);
    return value;
  }
  void run(GLuint id) {
    QV_CALL(glBeginQuery)(GL_SAMPLES_PASSED, id);
    QV_CALL(glEndQuery)(GL_SAMPLES_PASSED);
    drop();
  }
};
class OldQueryObjects : public QueryObjects {
 protected:
  OldQueryObjects() : QueryObjects(210) {}
};

// A begin runs the query of its name, an end ends the one that ran on the target.
TEST_F(QueryObjects, BeginAndEndAreTracked) {
  QV_CALL(glBeginQuery)(GL_SAMPLES_PASSED, 1);
  expectStream(words({0xC1D4, 0x8914, 1}));
  EXPECT_EQ(context().activeQueries.samplesPassed, 1u);
  EXPECT_EQ(query(1)->result, -2);
  QV_CALL(glEndQuery)(GL_SAMPLES_PASSED);
  expectStream(words({0x81D5, 0x8914}));
  EXPECT_EQ(query(1)->result, -1);
  EXPECT_EQ(context().activeQueries.samplesPassed, 0u);
  // Nothing runs: the end is sent and changes nothing.
  QV_CALL(glEndQuery)(GL_SAMPLES_PASSED);
  expectStream(words({0x81D5, 0x8914}));
  EXPECT_EQ(query(1)->result, -1);
}

// A second begin on a target is tracked, whatever the host says of it: nothing ends the first query.
TEST_F(QueryObjects, SecondBeginsAreTracked) {
  QV_CALL(glBeginQuery)(GL_SAMPLES_PASSED, 1);
  QV_CALL(glBeginQuery)(GL_SAMPLES_PASSED, 2);
  QV_CALL(glEndQuery)(GL_SAMPLES_PASSED);
  EXPECT_EQ(query(1)->result, -2);
  EXPECT_EQ(query(2)->result, -1);
}

// Every target has a place of its own, the indexed ones four.
TEST_F(QueryObjects, TargetsAreKeptApart) {
  GLuint id = 1;
  for (const GLenum target : {GL_SAMPLES_PASSED, GL_ANY_SAMPLES_PASSED, GL_ANY_SAMPLES_PASSED_CONSERVATIVE, GL_TIME_ELAPSED,
                              GL_PRIMITIVES_GENERATED, GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN}) {
    QV_CALL(glBeginQuery)(target, id++);
  }
  for (GLuint index = 1; index < 4; ++index) {
    QV_CALL(glBeginQueryIndexed)(GL_PRIMITIVES_GENERATED, index, 10 + index);
    QV_CALL(glBeginQueryIndexed)(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN, index, 20 + index);
  }
  const ActiveQueries& active = context().activeQueries;
  EXPECT_EQ(active.samplesPassed, 1u);
  EXPECT_EQ(active.anySamplesPassed, 2u);
  EXPECT_EQ(active.anySamplesPassedConservative, 3u);
  EXPECT_EQ(active.timeElapsed, 4u);
  EXPECT_EQ(active.primitivesGenerated[0], 5u);
  EXPECT_EQ(active.feedbackPrimitivesWritten[0], 6u);
  for (GLuint index = 1; index < 4; ++index) {
    EXPECT_EQ(active.primitivesGenerated[index], 10 + index);
    EXPECT_EQ(active.feedbackPrimitivesWritten[index], 20 + index);
  }
  QV_CALL(glEndQueryIndexed)(GL_PRIMITIVES_GENERATED, 2);
  EXPECT_EQ(query(12)->result, -1);
  EXPECT_EQ(query(11)->result, -2);
  EXPECT_EQ(active.primitivesGenerated[2], 0u);
}

// Index 4 is sent and tracks nothing; a target that is not tracked makes the record run all the same.
TEST_F(QueryObjects, UntrackedQueriesAreSent) {
  QV_CALL(glBeginQueryIndexed)(GL_PRIMITIVES_GENERATED, 4, 9);
  expectStream(words({0x108D4, GL_PRIMITIVES_GENERATED, 4, 9}));
  EXPECT_EQ(query(9), nullptr);
  QV_CALL(glEndQueryIndexed)(GL_PRIMITIVES_GENERATED, 4);
  expectStream(words({0xC8D5, GL_PRIMITIVES_GENERATED, 4}));
  QV_CALL(glBeginQuery)(0x1234, 8);
  EXPECT_EQ(query(8)->result, -2);
  QV_CALL(glEndQuery)(0x1234);
  EXPECT_EQ(query(8)->result, -2);
}

// The result of a running query is 0 and an error, and nothing is sent.
TEST_F(QueryObjects, RunningQueriesHaveNoResult) {
  QV_CALL(glBeginQuery)(GL_SAMPLES_PASSED, 1);
  drop();
  EXPECT_EQ(ask(1), 0);
  expectRefused(GL_INVALID_OPERATION, kGetQueryObjectiv);
  EXPECT_EQ(ask(1, GL_QUERY_RESULT_AVAILABLE), 0);
  expectRefused(GL_INVALID_OPERATION, kGetQueryObjectiv);
}

// A result is fetched once and known from then on, and available.
TEST_F(QueryObjects, ResultsAreFetchedOnce) {
  run(1);
  answerRows({1, 0x8866, 5, 0xDEADBEEF});
  EXPECT_EQ(ask(1), 5);
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, words({0x107DA, 1, 0x8866, 0x2000}));
  EXPECT_EQ(host.submissions[0].replySize, 8192u);
  EXPECT_EQ(host.submissions[0].reply2Size, 4u);
  host.submissions.clear();
  EXPECT_EQ(ask(1), 5);
  EXPECT_EQ(ask(1, GL_QUERY_RESULT_AVAILABLE), 1);
  GLint64 wide = 0;
  QV_CALL(glGetQueryObjecti64v)(1, GL_QUERY_RESULT, &wide);
  EXPECT_EQ(wide, 5);
  GLuint64 unsignedWide = 0;
  QV_CALL(glGetQueryObjectui64v)(1, GL_QUERY_RESULT, &unsignedWide);
  EXPECT_EQ(unsignedWide, 5u);
  expectNothing();
  // Another name goes to the host, and a new begin makes the result unknown.
  ask(1, 0x9193);
  EXPECT_EQ(host.last().opcode, kGetQueryObjectiv);
  QV_CALL(glBeginQuery)(GL_SAMPLES_PASSED, 1);
  EXPECT_EQ(query(1)->result, -2);
}

// The result 0 is a result.
TEST_F(QueryObjects, NothingIsAResult) {
  run(1);
  answerRows({1, 0x8866, 0, 0});
  EXPECT_EQ(ask(1), 0);
  EXPECT_EQ(ask(1), 0);
  EXPECT_EQ(ask(1, GL_QUERY_RESULT_AVAILABLE), 1);
  EXPECT_EQ(host.submissions.size(), 1u);
}

// A burst of queries costs one round trip.
TEST_F(QueryObjects, BurstsComeInOneReply) {
  for (GLuint id = 1; id <= 10; ++id) run(id);
  answerRows({3, 0x8866, 30, 0, 1, 0x8866, 10, 0, 2, 0x8866, 20, 0, 4, 0x8866, 40, 0, 5,  0x8866, 50,  0,
              6, 0x8866, 60, 0, 7, 0x8866, 70, 0, 8, 0x8866, 80, 0, 9, 0x8866, 90, 0, 10, 0x8866, 100, 0});
  EXPECT_EQ(ask(3), 30);
  for (GLuint id = 1; id <= 10; ++id) EXPECT_EQ(ask(id), static_cast<GLint>(10 * id));
  EXPECT_EQ(host.submissions.size(), 1u);
}

// Rows of unknown queries, other names and negative values change no record.
TEST_F(QueryObjects, OddRowsAreIgnored) {
  run(1);
  run(2);
  answerRows({77, 0x8866, 7, 0, 2, 0x8867, 9, 0, 1, 0x8866, 0xFFFFFFFD, 0});
  EXPECT_EQ(ask(1), -3);  // the row of the query itself is the answer, whatever it says
  EXPECT_EQ(query(1)->result, -1);
  EXPECT_EQ(query(2)->result, -1);
  EXPECT_EQ(query(77), nullptr);
}

// A total of 0, a negative one and one beyond the buffer are none, and so is a batch without the query: the host is asked for it.
TEST_F(QueryObjects, WithoutARowTheHostIsAsked) {
  for (const uint32_t total : {0u, 0x80000000u, 8208u, 16u}) {
    run(1);
    run(2);
    host.answerCommand(kQueryResults, words({2, 0x8866, 6, 0}), words({total}));
    host.answerCommand(kGetQueryObjectui64v, words({1, 2}));
    host.submissions.clear();
    GLuint64 value = 0;
    QV_CALL(glGetQueryObjectui64v)(1, GL_QUERY_RESULT, &value);
    ASSERT_EQ(host.submissions.size(), 2u) << total;
    EXPECT_EQ(host.submissions[1].stream, words({0xC863, 1, 0x8866})) << total;
    EXPECT_EQ(host.submissions[1].replySize, 8u);
    EXPECT_EQ(value, 0x200000001u);
    EXPECT_EQ(query(1)->result, -1);
    EXPECT_EQ(query(2)->result, total == 16 ? 6 : -1);
    drop();
  }
}

// Whether the result of an ended query is there is the host's to say, each time.
TEST_F(QueryObjects, AvailabilityIsTheHosts) {
  run(1);
  host.answerCommand(kGetQueryObjectiv, words({0}));
  EXPECT_EQ(ask(1, GL_QUERY_RESULT_AVAILABLE), 0);
  EXPECT_EQ(host.submissions.back().stream, words({0xC1D7, 1, 0x8867}));
  host.answerCommand(kGetQueryObjectiv, words({1}));
  EXPECT_EQ(ask(1, GL_QUERY_RESULT_AVAILABLE), 1);
  EXPECT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(query(1)->result, -1);
}

// No memory, no name, and a name that was only generated.
TEST_F(QueryObjects, OddQuestions) {
  run(1);
  QV_CALL(glGetQueryObjectiv)(1, GL_QUERY_RESULT, nullptr);
  expectNothing();
  EXPECT_EQ(ask(0), 0);
  expectNothing();
  GLuint id = 0;
  QV_CALL(glGenQueries)(1, &id);
  host.answerCommand(kGetQueryObjectiv, words({9}));
  EXPECT_EQ(ask(id), 9);
  EXPECT_EQ(host.last().opcode, kGetQueryObjectiv);
}

// Deleted queries are unknown again; a counter has no result here.
TEST_F(QueryObjects, DeletedQueriesAreUnknown) {
  run(1);
  const GLuint id = 1;
  QV_CALL(glDeleteQueries)(1, &id);
  EXPECT_FALSE(QV_CALL(glIsQuery)(1));
  drop();
  QV_CALL(glQueryCounter)(3, GL_TIMESTAMP);
  expectStream(words({0xC861, 3, GL_TIMESTAMP}));
  EXPECT_EQ(query(3), nullptr);
}

// Below version 3.0 every answer is 4, but for no query at all, and nobody is asked.
TEST_F(OldQueryObjects, OldContextsReadFour) {
  run(1);
  EXPECT_EQ(ask(1), 4);
  EXPECT_EQ(ask(1, GL_QUERY_RESULT_AVAILABLE), 4);
  EXPECT_EQ(ask(99), 4);
  EXPECT_EQ(ask(0), 0);
  GLuint64 wide = 0;
  QV_CALL(glGetQueryObjectui64v)(1, GL_QUERY_RESULT, &wide);
  EXPECT_EQ(wide, 4u);
  expectNothing();
}

// --- sync objects ---

class Syncs : public ProgramTest {
 protected:
  int32_t rows() { return context().shareGroup->table(ShareSlot::kSyncs).count; }
};

GLsync handle(uint64_t value) { return reinterpret_cast<GLsync>(static_cast<uintptr_t>(value)); }

// A fence costs a round trip and gets a row; its delete removes it.
TEST_F(Syncs, FencesHaveARow) {
  host.answerCommand(kFenceSync, words({1}));
  EXPECT_EQ(QV_CALL(glFenceSync)(GL_SYNC_GPU_COMMANDS_COMPLETE, 0), handle(1));
  EXPECT_EQ(host.submissions.back().stream, words({0xC61D, 0x9117, 0}));
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  EXPECT_EQ(rows(), 1);
  drop();
  QV_CALL(glDeleteSync)(handle(1));
  expectStream(words({0x861F, 1}));
  EXPECT_EQ(rows(), 0);
  QV_CALL(glDeleteSync)(nullptr);
  expectStream(words({0x861F, 0}));
  // A fence that the host could not make.
  host.answerCommand(kFenceSync, words({0}));
  EXPECT_EQ(QV_CALL(glFenceSync)(GL_SYNC_GPU_COMMANDS_COMPLETE, 0), nullptr);
  EXPECT_EQ(rows(), 0);
}

// A wait of the client waits in the flush, one of the server does not flush. The upper half of a handle never goes out.
TEST_F(Syncs, WaitsHaveTheirBytes) {
  host.answerCommand(kClientWaitSync, words({GL_CONDITION_SATISFIED}));
  EXPECT_EQ(QV_CALL(glClientWaitSync)(handle(1), 1, 5), static_cast<GLenum>(GL_CONDITION_SATISFIED));
  EXPECT_EQ(host.submissions.back().stream, words({0x14620, 1, 1, 5, 0}));
  QV_CALL(glClientWaitSync)(handle(0xFFFFFFFF00000002), 0, 0x123456789AB);
  EXPECT_EQ(host.submissions.back().stream, words({0x14620, 2, 0, 0x456789AB, 0x123}));
  host.submissions.clear();
  QV_CALL(glWaitSync)(handle(1), 0, GL_TIMEOUT_IGNORED);
  expectStream(words({0x14621, 1, 0, 0xFFFFFFFF, 0xFFFFFFFF}));
  EXPECT_TRUE(host.submissions.empty());
  host.answerCommand(kIsSync, {1});
  EXPECT_TRUE(QV_CALL(glIsSync)(handle(7)));
  EXPECT_EQ(host.submissions.back().replySize, 1u);
}

// One value at most is asked for; a bad name is refused, and a buffer without room is nothing.
TEST_F(Syncs, ValuesAreOneWord) {
  GLint values[4] = {9, 9, 9, 9};
  GLsizei length = 9;
  host.answerCommand(kGetSynciv, words({1}), words({0x9119}));
  QV_CALL(glGetSynciv)(handle(1), GL_SYNC_STATUS, 4, &length, values);
  EXPECT_EQ(host.submissions.back().stream, words({0x10623, 1, 0x9114, 1}));
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  EXPECT_EQ(host.submissions.back().reply2Size, 4u);
  EXPECT_EQ(length, 1);
  EXPECT_EQ(values[0], 0x9119);
  EXPECT_EQ(values[1], 9);
  QV_CALL(glGetSynciv)(handle(1), GL_SYNC_STATUS, 4, nullptr, values);
  host.submissions.clear();
  QV_CALL(glGetSynciv)(handle(1), 0x1234, 4, &length, values);
  expectRefused(GL_INVALID_ENUM, kGetSynciv);
  for (const GLsizei room : {0, -1}) {
    QV_CALL(glGetSynciv)(handle(1), GL_SYNC_STATUS, room, &length, values);
    expectNothing();
  }
  QV_CALL(glGetSynciv)(handle(1), 0x1234, 0, &length, values);
  expectRefused(GL_INVALID_ENUM, kGetSynciv);
}

// --- transform feedback ---

class Feedback : public ProgramTest {};

// A generated name is an object from its first bind on.
TEST_F(Feedback, ObjectsComeWithTheirFirstBind) {
  GLuint id = 0;
  QV_CALL(glGenTransformFeedbacks)(1, &id);
  EXPECT_FALSE(QV_CALL(glIsTransformFeedback)(id));
  QV_CALL(glBindTransformFeedback)(GL_TRANSFORM_FEEDBACK, id);
  expectStream(words({0xC8CC, GL_TRANSFORM_FEEDBACK, id}));
  EXPECT_TRUE(QV_CALL(glIsTransformFeedback)(id));
  const void* const object = context().shareGroup->table(ShareSlot::kTransformFeedbacks).find(id);
  QV_CALL(glBindTransformFeedback)(GL_TRANSFORM_FEEDBACK, id);
  EXPECT_EQ(context().shareGroup->table(ShareSlot::kTransformFeedbacks).find(id), object);
  QV_CALL(glBindTransformFeedback)(GL_TRANSFORM_FEEDBACK, 0);
  EXPECT_EQ(context().shareGroup->table(ShareSlot::kTransformFeedbacks).count, 1);
}

// The end goes into the list that is recorded and to the host, whatever the mode.
TEST_F(Feedback, EndsAreRecordedAndSent) {
  for (const GLenum mode : {GL_COMPILE, GL_COMPILE_AND_EXECUTE}) {
    QV_CALL(glNewList)(1, mode);
    drop();
    QV_CALL(glEndTransformFeedback)();
    expectStream(words({0x4807}));
    QV_CALL(glEndTransformFeedbackEXT)();
    expectStream(words({0x4615}));
    const DisplayListStream& list = *context().recordingList;
    EXPECT_EQ(Bytes(list.base, list.cursor), words({0x4807, 0x4615}));
    QV_CALL(glEndList)();
  }
}

// The end makes the guest's copies of the captured buffers old: those of the places below the limit, and not while a list is only
// compiled.
TEST_F(Feedback, EndsMakeCopiesOld) {
  context().limits.maxTransformFeedbackSeparateAttribs = 2;
  for (GLuint name = 1; name <= 4; ++name) makeBuffer(&context(), GL_ARRAY_BUFFER, name);
  uint32_t* const places = context().buffers.indexedTransformFeedback;
  places[0] = 1;
  places[1] = 3;
  places[2] = 4;
  context().buffers.transformFeedback = 2;
  const auto old = [&] {
    std::string out;
    for (GLuint name = 1; name <= 4; ++name) {
      BufferObject& buffer = *findBuffer(&context(), name);
      out += buffer.hostContentsNewer != 0 ? '1' : '0';
      buffer.hostContentsNewer = 0;
    }
    return out;
  };
  QV_CALL(glNewList)(1, GL_COMPILE);
  QV_CALL(glEndTransformFeedback)();
  EXPECT_EQ(old(), "0000");
  QV_CALL(glEndList)();
  QV_CALL(glEndTransformFeedback)();
  EXPECT_EQ(old(), "1010");
  QV_CALL(glEndTransformFeedbackEXT)();
  EXPECT_EQ(old(), "1010");
  places[0] = 99;  // a name without a buffer
  context().limits.maxTransformFeedbackSeparateAttribs = -1;
  QV_CALL(glEndTransformFeedback)();
  EXPECT_EQ(old(), "0000");
}

// Varyings need a program with a name; they go as texts with the mode behind their bytes.
TEST_F(Feedback, VaryingsAreTexts) {
  const char* names[] = {"a", "bc"};
  QV_CALL(glTransformFeedbackVaryings)(2, 2, names, GL_SEPARATE_ATTRIBS);
  expectRefused(GL_INVALID_VALUE, kTransformFeedbackVaryings);
  QV_CALL(glTransformFeedbackVaryingsEXT)(2, 2, names, GL_SEPARATE_ATTRIBS);
  expectRefused(GL_INVALID_VALUE, kTransformFeedbackVaryingsEXT);
  QV_CALL(glCreateProgram)();
  blank();
  QV_CALL(glTransformFeedbackVaryings)(2, 2, names, GL_SEPARATE_ATTRIBS);
  Bytes expected =
      words({41u << 12 | 2058, 2, 2, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(names)), 5, GL_SEPARATE_ATTRIBS, 2});
  expected += {'a', 0, 'b', 'c', 0};
  expected += words({1, 2});
  expected.resize(44);
  expectStream(expected);
}

// What is told of a varying comes in three words and a name; what the host refuses is not written.
TEST_F(Feedback, VaryingsAreDescribed) {
  GLsizei length = 9, size = 9;
  GLenum type = 9;
  char name[8] = "xxxxxxx";
  host.answerCommand(kGetTransformFeedbackVarying, words({2, 4, GL_FLOAT}), {'v', 'w', 0});
  QV_CALL(glGetTransformFeedbackVarying)(2, 1, 8, &length, &size, &type, name);
  EXPECT_EQ(host.last().words.size(), 6u);
  EXPECT_EQ(host.submissions.back().replySize, 12u);
  EXPECT_EQ(host.submissions.back().reply2Size, 8u);
  EXPECT_EQ(length, 2);
  EXPECT_EQ(size, 4);
  EXPECT_EQ(type, static_cast<GLenum>(GL_FLOAT));
  EXPECT_STREQ(name, "vw");
  QV_CALL(glGetTransformFeedbackVarying)(2, 1, 8, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(host.submissions.back().reply2Size, 0u);
  host.answerCommand(kGetTransformFeedbackVarying, {}, {});
  QV_CALL(glGetTransformFeedbackVarying)(2, 1, -1, &length, &size, &type, name);
  EXPECT_EQ(host.submissions.back().reply2Size, 0u);
  EXPECT_EQ(length, 2);
  EXPECT_EQ(type, static_cast<GLenum>(GL_FLOAT));
}

// --- framebuffers ---

// Each target sets its binding, GL_FRAMEBUFFER both; a bad target is sent and sets none.
TEST_F(Feedback, FramebufferBindingsAreTracked) {
  const auto bound = [&](GLuint draw, GLuint read) {
    EXPECT_EQ(context().drawFramebuffer, draw);
    EXPECT_EQ(context().readFramebuffer, read);
    GLint values[2] = {};
    QV_CALL(glGetIntegerv)(GL_DRAW_FRAMEBUFFER_BINDING, values);
    QV_CALL(glGetIntegerv)(GL_READ_FRAMEBUFFER_BINDING, values + 1);
    EXPECT_EQ(values[0], static_cast<GLint>(draw));
    EXPECT_EQ(values[1], static_cast<GLint>(read));
  };
  QV_CALL(glBindFramebuffer)(GL_FRAMEBUFFER, 7);
  bound(7, 7);
  QV_CALL(glBindFramebuffer)(GL_READ_FRAMEBUFFER, 0);
  bound(7, 0);
  QV_CALL(glBindFramebuffer)(GL_DRAW_FRAMEBUFFER, 3);
  bound(3, 0);
  drop();
  QV_CALL(glBindFramebuffer)(0x1234, 9);
  expectStream(words({0xC606, 0x1234, 9}));
  bound(3, 0);
  EXPECT_TRUE(host.submissions.empty());
  // Bits of the window are known only while no framebuffer object is bound.
  GLint bits = 0;
  QV_CALL(glGetIntegerv)(GL_RED_BITS, &bits);
  EXPECT_EQ(host.submissions.size(), 1u);
  QV_CALL(glBindFramebufferEXT)(GL_FRAMEBUFFER, 0);
  QV_CALL(glGetIntegerv)(GL_RED_BITS, &bits);
  EXPECT_EQ(bits, 8);
  EXPECT_EQ(host.submissions.size(), 1u);
}

// Renderbuffers and samplers are bound without any shadow.
TEST_F(Feedback, OtherBindsAreCommandsAlone) {
  QV_CALL(glBindRenderbuffer)(GL_RENDERBUFFER, 4);
  expectStream(words({0xC600, GL_RENDERBUFFER, 4}));
  QV_CALL(glBindSampler)(2, 5);
  expectStream(words({0xC856, 2, 5}));
}

// --- questions about programs and formats that no form describes ---

class ProgramQuestions : public ProgramTest {};

// The string of an assembly program is asked for after its length.
TEST_F(ProgramQuestions, AssemblyTextsAreAskedByLength) {
  char text[8] = "";
  host.answerCommand(717, words({3}));
  host.answerCommand(kGetProgramStringARB, {'a', 'b', 'c'});
  QV_CALL(glGetProgramStringARB)(GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_STRING_ARB, text);
  ASSERT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(host.submissions[0].commands()[0].words[1], static_cast<uint32_t>(GL_PROGRAM_LENGTH_ARB));
  EXPECT_EQ(host.submissions[1].stream, words({16u << 12 | 718, GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_STRING_ARB, 3}));
  EXPECT_EQ(host.submissions[1].replySize, 3u);
  EXPECT_STREQ(text, "abc");
  host.answerCommand(717, words({0x80000000}));
  QV_CALL(glGetProgramStringARB)(GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_STRING_ARB, text);
  EXPECT_EQ(host.submissions.back().replySize, 0u);
}

// Binaries go without their data, and come back as none.
TEST_F(ProgramQuestions, BinariesAreNone) {
  GLsizei length = 9;
  GLenum format = 9;
  char binary[8];
  QV_CALL(glGetProgramBinary)(2, 8, &length, &format, binary);
  EXPECT_EQ(host.last().words.size(), 5u);
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  EXPECT_EQ(host.submissions.back().reply2Size, 0u);
  EXPECT_EQ(length, 0);
  EXPECT_EQ(format, 9u);
  drop();
  QV_CALL(glProgramBinary)(2, 0x875F, binary, 8);
  EXPECT_EQ(pending().size(), 20u);
  drop();
  const GLuint shaders[] = {5, 6};
  QV_CALL(glShaderBinary)(2, shaders, 0x875F, binary, 8);
  expectStream(words({28u << 12 | 2220, 2, 0x875F, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(binary)), 8, 5, 6}));
}

// Precisions come in two replies.
TEST_F(ProgramQuestions, PrecisionsHaveTwoReplies) {
  GLint range[2] = {}, precision = 0;
  host.answerCommand(kGetShaderPrecisionFormat, words({127, 126}), words({23}));
  QV_CALL(glGetShaderPrecisionFormat)(GL_VERTEX_SHADER, GL_HIGH_FLOAT, range, &precision);
  EXPECT_EQ(host.submissions.back().stream, words({12u << 12 | 2221, GL_VERTEX_SHADER, GL_HIGH_FLOAT}));
  EXPECT_EQ(host.submissions.back().replySize, 8u);
  EXPECT_EQ(host.submissions.back().reply2Size, 4u);
  EXPECT_EQ(range[1], 126);
  EXPECT_EQ(precision, 23);
}

// Lists of values are asked for after their number, which is the host's word and bounded.
TEST_F(ProgramQuestions, ListsAreAskedByNumber) {
  GLint values[8] = {};
  host.answerCommand(kGetActiveAtomicCounterBufferiv, words({3, 4, 5}));
  QV_CALL(glGetActiveAtomicCounterBufferiv)(2, 1, GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTER_INDICES, values);
  ASSERT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(host.submissions[0].stream, words({20u << 12 | 2338, 2, 1, GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTERS, 1}));
  EXPECT_EQ(host.submissions[1].commands()[0].words[3], 3u);
  EXPECT_EQ(host.submissions[1].replySize, 12u);
  host.submissions.clear();
  host.answerCommand(kGetActiveSubroutineUniformiv, words({2, 1}));
  QV_CALL(glGetActiveSubroutineUniformiv)(2, GL_VERTEX_SHADER, 0, GL_COMPATIBLE_SUBROUTINES, values);
  ASSERT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(host.submissions[1].stream, words({24u << 12 | 2244, 2, GL_VERTEX_SHADER, 0, GL_COMPATIBLE_SUBROUTINES, 2}));
  host.submissions.clear();
  std::vector<GLint> many(4096);
  host.answerCommand(kGetActiveSubroutineUniformiv, words({4096}));
  host.answerCommand(kGetActiveAtomicCounterBufferiv, words({4096}));
  QV_CALL(glGetActiveSubroutineUniformiv)(2, GL_VERTEX_SHADER, 0, GL_COMPATIBLE_SUBROUTINES, many.data());
  EXPECT_EQ(host.submissions.back().replySize, 16384u);
  QV_CALL(glGetActiveAtomicCounterBufferiv)(2, 1, GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTER_INDICES, many.data());
  EXPECT_EQ(host.submissions.back().replySize, 16384u);
  for (const uint32_t number : {0x80000000u, 4097u}) {
    host.answerCommand(kGetActiveSubroutineUniformiv, words({number}));
    host.answerCommand(kGetActiveAtomicCounterBufferiv, words({number}));
    QV_CALL(glGetActiveSubroutineUniformiv)(2, GL_VERTEX_SHADER, 0, GL_COMPATIBLE_SUBROUTINES, values);
    EXPECT_EQ(host.submissions.back().replySize, 0u);
    QV_CALL(glGetActiveAtomicCounterBufferiv)(2, 1, GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTER_INDICES, values);
    EXPECT_EQ(host.submissions.back().replySize, 0u);
  }
}

// A question inside a primitive breaks the run.
TEST_F(ProgramQuestions, QuestionsBreakARun) {
  const GLenum property = GL_TYPE;
  GLint value = 0;
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glGetProgramResourceiv)(2, GL_UNIFORM, 3, 1, &property, 1, nullptr, &value);
  const std::vector<Command> sent = host.submissions.back().commands();
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0].opcode, kRunBroken);
  EXPECT_EQ(sent[1].opcode, kGetProgramResourceiv);
  QV_CALL(glEnd)();
}

// Names of subroutines, properties of resources, parameters of framebuffers and formats have their words and replies.
TEST_F(ProgramQuestions, TheOthersHaveTheirWords) {
  GLsizei length = 0;
  char name[8];
  GLint values[8] = {};
  GLint64 wide[4] = {};
  const uint32_t half = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&length));
  QV_CALL(glGetActiveSubroutineName)(2, GL_VERTEX_SHADER, 1, 8, &length, name);
  EXPECT_EQ(host.submissions.back().stream, words({24u << 12 | 2246, 2, GL_VERTEX_SHADER, 1, 8, half}));
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  EXPECT_EQ(host.submissions.back().reply2Size, 8u);
  QV_CALL(glGetActiveSubroutineUniformName)(2, GL_VERTEX_SHADER, 1, -8, nullptr, name);
  EXPECT_EQ(host.submissions.back().reply2Size, 0u);
  const GLenum properties[] = {GL_NAME_LENGTH, GL_TYPE};
  QV_CALL(glGetProgramResourceiv)(2, GL_UNIFORM, 3, 2, properties, 8, &length, values);
  EXPECT_EQ(host.submissions.back().stream, words({32u << 12 | 2357, 2, GL_UNIFORM, 3, 2, 8, GL_NAME_LENGTH, GL_TYPE}));
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  EXPECT_EQ(host.submissions.back().reply2Size, 32u);
  QV_CALL(glGetActiveSubroutineName)(2, GL_VERTEX_SHADER, 1, 8, &length, nullptr);
  EXPECT_EQ(host.submissions.back().reply2Size, 0u);
  QV_CALL(glGetProgramResourceiv)(2, GL_UNIFORM, 3, 2, properties, 8, nullptr, nullptr);
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  EXPECT_EQ(host.submissions.back().reply2Size, 0u);
  QV_CALL(glGetProgramResourceiv)(2, GL_UNIFORM, 3, -1, properties, -8, &length, values);
  EXPECT_EQ(host.submissions.back().reply2Size, 0u);
  EXPECT_EQ(host.last().words.size(), 5u);
  QV_CALL(glGetFramebufferParameteriv)(GL_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_WIDTH, values);
  EXPECT_EQ(host.submissions.back().stream, words({16u << 12 | 2363, GL_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_WIDTH, 1}));
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  QV_CALL(glGetInternalformati64v)(GL_TEXTURE_2D, GL_RGBA8, GL_SAMPLES, 4, wide);
  EXPECT_EQ(host.submissions.back().stream, words({24u << 12 | 2383, GL_TEXTURE_2D, GL_RGBA8, GL_SAMPLES, 4, 4}));
  EXPECT_EQ(host.submissions.back().replySize, 32u);
}

}  // namespace
}  // namespace qv::test
