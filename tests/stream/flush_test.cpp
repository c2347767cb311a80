// The flush, the growth of the stream, glFlush, glFinish and glGetError.
#include "driver/stream/flush.h"

#include "driver/base/current_context.h"
#include "driver/objects/display_list_stream.h"
#include "driver/stream/vertex_run.h"
#include "driver/stream/write_command.h"
#include "platform/simulated/control.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"

namespace qv::test {
namespace {

class Flush : public ContextTest {};

// The very first command allocates 256 KiB.
TEST_F(Flush, FirstCommandAllocates) {
  EXPECT_EQ(context().base, nullptr);
  EXPECT_EQ(context().capacity, 0u);
  QV_CALL(glLoadIdentity)();
  EXPECT_EQ(context().capacity, 0x40000u);
  EXPECT_EQ(context().remaining, 0x40000u - 4);
}

// A command of 300 KiB in an empty first buffer grows it to 0x60000 and no further.
TEST_F(Flush, BufferGrowsByHalf) {
  QV_CALL(glLoadIdentity)();
  drop();
  beginCommand(context(), kCallLists, 300 * 1024 - 4);
  EXPECT_EQ(context().capacity, 0x60000u);
  EXPECT_EQ(context().remaining, 0x60000u - 300 * 1024);
}

// Growing keeps what was written.
TEST_F(Flush, GrowthKeepsTheBytes) {
  QV_CALL(glPointSize)(2.0f);
  beginCommand(context(), kCallLists, 300 * 1024 - 4);
  EXPECT_EQ(get<uint32_t>(context().base), 8u << 12 | kPointSize);
  EXPECT_EQ(context().cursor - context().base, 8 + 300 * 1024);
}

// At 96 MiB the stream is flushed instead of grown, unless a run is open.
TEST_F(Flush, StreamIsFlushedAtTheLimit) {
  while (context().capacity < 0x6000000) {
    drop();
    context().reserve(context().capacity + 1);
  }
  const uint64_t capacity = context().capacity;
  drop();
  QV_CALL(glLoadIdentity)();
  context().cursor = context().base + capacity;
  context().remaining = 0;
  QV_CALL(glLoadIdentity)();
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream.size(), capacity);
  EXPECT_EQ(host.submissions[0].presentMode, 0u);
  EXPECT_EQ(pending().size(), 4u);
  EXPECT_EQ(context().capacity, capacity);

  QV_CALL(glBegin)(GL_POINTS);
  context().cursor = context().base + capacity;
  context().remaining = 0;
  QV_CALL(glVertex2i)(1, 2);
  EXPECT_EQ(host.submissions.size(), 1u);
  EXPECT_GT(context().capacity, capacity);
  QV_CALL(glEnd)();
}

// A run that begins at or behind 96 MiB flushes what is there first, though there be room: within runs the buffer only grows.
TEST_F(Flush, RunBeginsAfreshBehindTheLimit) {
  context().reserve(0x6000000 + 4096);
  for (const uint64_t written : {uint64_t{0x6000000 - 4}, uint64_t{0x6000000}}) {
    context().cursor = context().base + written;
    context().remaining = context().capacity - written;
    host.submissions.clear();
    QV_CALL(glBegin)(GL_POINTS);
    const bool flushed = written >= 0x6000000;
    ASSERT_EQ(host.submissions.size(), flushed ? 1u : 0u);
    if (flushed) {
      EXPECT_EQ(host.submissions[0].stream.size(), written);
    }
    EXPECT_EQ(context().runStart, flushed ? 0u : written);
    QV_CALL(glEnd)();
  }
}

// A list's recording grows in steps of 512 bytes.
TEST_F(Flush, RecordingGrowsLinearly) {
  DisplayListStream list(1);
  beginCommand(list, kCallLists, 8);
  EXPECT_EQ(list.capacity, 512u);
  beginCommand(list, kCallLists, 1000);
  EXPECT_EQ(list.capacity, 1024u);
}

// A flush submits the buffer itself and resets the stream, with or without data.
TEST_F(Flush, StreamIsSubmittedAndReset) {
  QV_CALL(glPointSize)(2.0f);
  const uint32_t result = flushStream(&context(), GL_BACK, nullptr, 0, nullptr, 0);
  EXPECT_EQ(result, 0u);
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kPointSize, 2.0f).data);
  EXPECT_EQ(host.submissions[0].presentMode, static_cast<uint32_t>(GL_BACK));
  EXPECT_EQ(context().cursor, context().base);
  EXPECT_EQ(context().remaining, context().capacity);
  flushStream(&context(), 0, nullptr, 0, nullptr, 0);
  EXPECT_TRUE(host.submissions[1].dataWasNull);
  EXPECT_EQ(context().flushCount, 2u);
}

// The result is the host's length for the second buffer when one was given, else for the first.
TEST_F(Flush, ResultIsTheLengthOfTheLastBuffer) {
  uint8_t a[8], b[4];
  EXPECT_EQ(flushStream(&context(), 0, a, 8, nullptr, 0), 8u);
  EXPECT_EQ(flushStream(&context(), 0, a, 8, b, 4), 4u);
}

// A submission that fails empties the stream like any other: its bytes are gone, deferred deletes are released, and its replies
// read as zeros.
TEST_F(Flush, FailedSubmissionEmptiesTheStream) {
  GLuint texture = 0;
  QV_CALL(glGenTextures)(1, &texture);
  QV_CALL(glBindTexture)(GL_TEXTURE_2D, texture);
  QV_CALL(glDeleteTextures)(1, &texture);
  host.failing = true;
  uint32_t reply[2] = {7, 7}, reply2[1] = {7};
  EXPECT_EQ(flushStream(&context(), GL_BACK, reply, 8, reply2, 4), 0u);
  EXPECT_EQ(reply[0] | reply[1] | reply2[0], 0u);
  EXPECT_EQ(context().cursor, context().base);
  EXPECT_EQ(context().remaining, context().capacity);
  EXPECT_EQ(context().deferredDeletes.count, 0u);
  EXPECT_EQ(QV_CALL(glIsTexture)(texture), GL_FALSE);
  EXPECT_EQ(context().flushCount, 1u);
  EXPECT_EQ(context().flushesDone, 1u);
  EXPECT_EQ(QV_CALL(glGetError)(), 0u);
}

// A command that does not fit even into the emptied stream grows it: 96 MiB is where a flush comes first and no bound.
TEST_F(Flush, CommandBeyondTheLimitGrowsTheEmptiedStream) {
  context().reserve(0x6000000);
  const uint64_t capacity = context().capacity;
  ASSERT_GE(capacity, 0x6000000u);
  QV_CALL(glLoadIdentity)();
  context().reserve(capacity + 1);
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kLoadIdentity).data);
  EXPECT_EQ(context().cursor, context().base);
  EXPECT_EQ(context().capacity, capacity + (capacity >> 1));
  EXPECT_EQ(context().remaining, context().capacity);
  // What fits into the emptied stream does not grow it.
  QV_CALL(glLoadIdentity)();
  const uint64_t grown = context().capacity;
  context().reserve(grown);
  EXPECT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(context().capacity, grown);
}

// A run that is streaming is closed whole by a flush.
TEST_F(Flush, StreamingRunIsClosed) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glVertex2i)(1, 2);
  flushStream(&context(), 0, nullptr, 0, nullptr, 0);
  std::vector<uint8_t> stream = host.submissions[0].stream;
  ASSERT_EQ(stream.size(), 24u);
  stream[14] = stream[15] = 0;  // the place behind a lone tag has no defined value
  EXPECT_EQ(stream, words({kRunBroken, 24, 1u << 16 | 8, 0x2200, 1, 2}));
  EXPECT_EQ(context().runOpen, 0);
  EXPECT_EQ(context().insideBegin, 1);
  QV_CALL(glEnd)();
  expectStream(Stream().add(kEnd));
}

// A run that is still collecting loses what closing adds: its head counts bytes that do not reach the host.
TEST_F(Flush, CollectingRunIsCut) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glColor3f)(1, 2, 3);
  flushStream(&context(), 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(host.submissions[0].stream, words({kRunBroken, 28, 1u << 16 | 12}));
  EXPECT_EQ(context().cursor, context().base);
}

// glFlush on an unshared double-buffered context that draws to the back marks the stream once and sends nothing.
TEST_F(Flush, FlushOnlyMarks) {
  QV_CALL(glFlush)();
  QV_CALL(glFlush)();
  EXPECT_TRUE(host.submissions.empty());
  EXPECT_EQ(context().lastOpcode, kFlush);
  expectStream(Stream().add(kFlush));
}

// glFinish writes its mark after a glFlush, but neither call writes one after a glFinish.
TEST_F(Flush, FinishMarksOnce) {
  QV_CALL(glFlush)();
  QV_CALL(glFinish)();
  QV_CALL(glFinish)();
  QV_CALL(glFlush)();
  EXPECT_TRUE(host.submissions.empty());
  expectStream(Stream().add(kFlush).add(kFinish));
}

// A context that shares objects is flushed with mode 0.
TEST_F(Flush, SharedContextIsFlushed) {
  GlContext other(4, 210, 1);
  context().nextSharer = &other;
  other.nextSharer = &context();
  QV_CALL(glFinish)();
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].presentMode, 0u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kFinish).data);
  context().nextSharer = &context();
}

// Drawing to the front buffer makes glFlush present it; with a window that is not visible the mode is 0.
TEST_F(Flush, FrontDrawingIsFlushed) {
  QV_CALL(glDrawBuffer)(GL_FRONT);
  EXPECT_EQ(context().frontDirty, 1);
  QV_CALL(glFlush)();
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].presentMode, 0u);
  EXPECT_EQ(context().frontDirty, 1);
  QV_CALL(glDrawBuffer)(GL_BACK);
  EXPECT_EQ(context().frontDirty, 1);
  QV_CALL(glFlush)();
  EXPECT_EQ(context().frontDirty, 0);
  EXPECT_EQ(host.submissions.size(), 2u);
}

// A frame end writes the mark of glFlush unless a flush or finish was the last command.
TEST_F(Flush, FrameEndMarksOnce) {
  QV_CALL(glFinish)();
  markFrameEnd(&context());
  expectStream(Stream().add(kFinish));
  QV_CALL(glLoadIdentity)();
  markFrameEnd(&context());
  expectStream(Stream().add(kLoadIdentity).add(kFlush));
}

// Between glBegin and glEnd glFlush, glFinish and glGetError are refused.
TEST_F(Flush, FlushFinishAndGetErrorAreRefusedInsideBegin) {
  QV_CALL(glBegin)(GL_POINTS);
  drop();
  static_cast<VertexRun&>(context()) = {};
  QV_CALL(glFlush)();
  EXPECT_EQ(context().lastOpcode, kFlush);
  QV_CALL(glFinish)();
  EXPECT_EQ(context().lastOpcode, kFinish);
  EXPECT_EQ(QV_CALL(glGetError)(), 0u);
  EXPECT_EQ(context().lastOpcode, kGetError);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_TRUE(pending().empty());
  EXPECT_TRUE(host.submissions.empty());
}

// glGetError without an error makes one round trip; the second and third call are free, until another call has run.
TEST_F(Flush, GetErrorAsksOnce) {
  EXPECT_EQ(QV_CALL(glGetError)(), 0u);
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kGetError).data);
  EXPECT_EQ(host.submissions[0].replySize, 4u);
  EXPECT_EQ(QV_CALL(glGetError)(), 0u);
  EXPECT_EQ(QV_CALL(glGetError)(), 0u);
  EXPECT_EQ(host.submissions.size(), 1u);
  QV_CALL(glLoadIdentity)();
  host.answerAll<uint32_t>({GL_INVALID_ENUM});
  EXPECT_EQ(QV_CALL(glGetError)(), static_cast<GLenum>(GL_INVALID_ENUM));
  EXPECT_EQ(QV_CALL(glGetError)(), static_cast<GLenum>(GL_INVALID_ENUM));
  EXPECT_EQ(host.submissions.size(), 3u);
}

// An error of the guest's own is returned without a flush, its command clears the host's flag, and the next call is free.
TEST_F(Flush, GetErrorGivesTheGuestsOwnFirst) {
  QV_CALL(glEnd)();
  EXPECT_EQ(QV_CALL(glGetError)(), static_cast<GLenum>(GL_INVALID_OPERATION));
  EXPECT_TRUE(host.submissions.empty());
  expectStream(Stream().add(kGetError));
  host.answerAll<uint32_t>({GL_INVALID_VALUE});
  EXPECT_EQ(QV_CALL(glGetError)(), 0u);
  EXPECT_TRUE(host.submissions.empty());
}

// The quirk for it keeps glGetError from ever asking, but not from giving the guest's own error.
TEST_F(Flush, GetErrorNeverAsksUnderItsQuirk) {
  context().quirkFlags |= kQuirkNoHostErrors;
  EXPECT_EQ(QV_CALL(glGetError)(), 0u);
  EXPECT_TRUE(host.submissions.empty());
  QV_CALL(glEnd)();
  EXPECT_EQ(QV_CALL(glGetError)(), static_cast<GLenum>(GL_INVALID_OPERATION));
}

// Without a current context every routine returns at once.
TEST_F(Flush, RoutinesReturnAtOnceWithoutAContext) {
  TlsSetValue(ContextTlsSlot, nullptr);
  QV_CALL(glFlush)();
  QV_CALL(glFinish)();
  QV_CALL(glEnable)(GL_BLEND);
  EXPECT_EQ(QV_CALL(glGetError)(), 0u);
  EXPECT_EQ(QV_CALL(glIsFramebuffer)(1), GL_FALSE);
  TlsSetValue(ContextTlsSlot, &context());
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(context().lastOpcode, -1);
}

class SingleBuffered : public ContextTest {
 protected:
  SingleBuffered() : ContextTest(3) {}
};

// A single-buffered format starts on the front buffer and flushes at every glFlush.
TEST_F(SingleBuffered, EveryFlushIsSent) {
  EXPECT_EQ(context().drawBufferMode, static_cast<uint32_t>(GL_FRONT));
  QV_CALL(glFlush)();
  EXPECT_EQ(host.submissions.size(), 1u);
}

}  // namespace
}  // namespace qv::test
