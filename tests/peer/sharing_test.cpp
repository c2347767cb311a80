// Several contexts and windows of one guest: shared objects, windows that pass between threads, and what is left afterwards.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "peer/host/in_process_gpu.h"
#include "peer/replay/gl_functions.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

class Sharing : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(first.start(8, 8));
    second.context = second.createContext().contextId;
    second.window = first.window;
    second.width = second.height = 8;
    ASSERT_NE(second.context, 0u);
    ASSERT_NE(second.context, first.context);
  }
  int32_t share(uint32_t a, uint32_t b) {
    ShareContextsPacket packet;
    packet.firstId = a;
    packet.secondId = b;
    return first.send(packet);
  }
  // Defines list 4 in `from` and tells whether `to` finds it: calling it changes the viewport.
  bool seesList(TestGuest& from, TestGuest& to) {
    EXPECT_EQ(from.flush(Stream().add(kNewList, 4u, GL_COMPILE).add(kViewport, 0, 0, 77, 5).add(kEndList)), 0);
    const std::vector<uint8_t> viewport =
        to.ask(Stream().add(kViewport, 0, 0, 1, 1).add(kCallList, 4u).add(kGetIntegerv, GL_VIEWPORT, 4u), 16);
    return viewport.size() == 16 && viewport[8] == 77;
  }

  LogCapture log;
  InProcessGpu gpu;
  TestGuest first{gpu}, second{gpu};
};

// A flush is over when the host has done it: the end of a long stream, which nobody asks anything of, is there for a sharing
// context at once, and a stream that fails is told to its own flush.
TEST_F(Sharing, LongStreamIsDoneWhenTheFlushReturns) {
  ASSERT_EQ(share(first.context, second.context), 0);
  for (uint32_t round = 0; round < 5; ++round) {
    Stream stream;
    for (uint32_t i = 0; i < 500000; ++i) stream.add(kClearColor, 0.0f, 0.0f, 0.0f, 1.0f);
    stream.add(kNewList, 4u, GL_COMPILE).add(kViewport, 0, 0, 50 + round, 5).add(kEndList);
    ASSERT_EQ(first.flush(stream), 0);
    const Stream question = Stream().add(kViewport, 0, 0, 1, 1).add(kCallList, 4u).add(kGetIntegerv, GL_VIEWPORT, 4u);
    const std::vector<uint8_t> viewport = second.ask(question, 16);
    ASSERT_EQ(viewport.size(), 16u);
    EXPECT_EQ(viewport[8], 50 + round);
    stream.add(kClearColor, 1.0f);
    EXPECT_NE(first.flush(stream), 0);
    EXPECT_EQ(first.flush(Stream().add(kFlush)), 0);
  }
  EXPECT_EQ(log.take().size(), 5u);
}

// Between the question for the length of a program's text and the one for the text no sharing context replaces the text.
TEST_F(Sharing, TextOfAProgramStaysBetweenTwoQuestions) {
  static GlFunctions real;
  static std::atomic<int> replaced;
  static std::atomic<bool> asked;
  static int replacedAtTheAnswer;
  ASSERT_EQ(share(first.context, second.context), 0);
  ASSERT_EQ(first.flush(Stream().add(kFlush)), 0);
  ASSERT_EQ(second.flush(Stream().add(kFlush)), 0);
  real = gl;
  replaced = 0;
  asked = false;
  gl.glProgramStringARB = [](GLenum target, GLenum format, GLsizei length, const void* text) {
    ++replaced;
    real.glProgramStringARB(target, format, length, text);
  };
  gl.glGetProgramivARB = [](GLenum target, GLenum pname, GLint* value) {
    real.glGetProgramivARB(target, pname, value);
    asked = true;
    // Time for the other thread to do what it must not.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  };
  gl.glGetProgramStringARB = [](GLenum, GLenum, void*) { replacedAtTheAnswer = replaced; };
  std::thread other([&] {
    while (!asked) std::this_thread::yield();
    const std::string text = "!!ARBvp1.0\nEND\n";
    std::vector<uint8_t> payload = words({GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_FORMAT_ASCII_ARB, static_cast<uint32_t>(text.size())});
    payload.insert(payload.end(), text.begin(), text.end());
    EXPECT_EQ(second.flush(Stream().bytes(kProgramStringARB, payload)), 0);
  });
  first.ask(Stream().add(kGetProgramStringARB, GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_STRING_ARB, 4096u), 4096);
  other.join();
  gl = real;
  EXPECT_EQ(replacedAtTheAnswer, 0);
  EXPECT_EQ(replaced, 1);
}

// A list that opens a primitive opens it for whoever calls it: the host knows of the lists of the whole set.
TEST_F(Sharing, ListsThatOpenAPrimitiveAreSeenBySharers) {
  ASSERT_EQ(share(first.context, second.context), 0);
  ASSERT_EQ(first.flush(Stream().add(kNewList, 1u, GL_COMPILE).add(kBegin, GL_TRIANGLES).add(kEndList)), 0);
  std::vector<float> values(300, 0.0f);
  ASSERT_EQ(second.flush(Stream().add(kCallList, 1u)), 0);
  ASSERT_EQ(second.flush(Stream().large(kRunEnded, runPayload(GL_POINTS, {0x3100}, 12, floats(values)))), 0);
  ASSERT_EQ(second.flush(Stream().add(kEnd)), 0);
  second.glError();
  ASSERT_EQ(second.flush(Stream().add(kClearColor, 1.0f, 0.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT)), 0);
  ASSERT_EQ(first.flush(Stream(), GL_BACK), 0);
  EXPECT_EQ(first.surface->pixel(1, 1) & 0xFFFFFF, 0xFF0000u);
}

// A list that sets vertex attributes inside a primitive and calls others can be ended, whatever a sharing context does meanwhile
// to those that it calls: it deletes them, or defines them anew with calls of lists that are not there or that are open. What it
// deletes is gone afterwards.
TEST_F(Sharing, ListsThatAreCalledByOpenOnesStayWhole) {
  ASSERT_EQ(share(first.context, second.context), 0);
  Stream open = Stream().add(kNewList, 1u, GL_COMPILE).add(kBegin, GL_TRIANGLES).add(kVertex2f, 0.0f, 0.0f);
  open.add(kVertex2f, 1.0f, 0.0f).add(kTexCoord2f, 1.0f, 2.0f).add(kEnd).add(kCallList, 2u);
  const Stream green = Stream().add(kNewList, 2u, GL_COMPILE).add(kColor3f, 0.0f, 1.0f, 0.0f).add(kEndList);
  const auto redefined = [](uint32_t callee) {
    return Stream().add(kNewList, 2u, GL_COMPILE).add(kCallList, callee).add(kEndList);
  };
  const Stream calls = Stream().add(kNewList, 2u, GL_COMPILE).add(kCallLists, 1, GL_UNSIGNED_INT, 4u, 9u).add(kEndList);
  for (const Stream& meanwhile : {Stream().add(kDeleteLists, 2u, 1), redefined(9), redefined(1), redefined(2), calls}) {
    ASSERT_EQ(first.flush(green), 0);
    ASSERT_EQ(first.flush(open), 0);
    ASSERT_EQ(second.flush(meanwhile), 0);
    ASSERT_EQ(first.flush(Stream().add(kEndList)), 0);
    ASSERT_EQ(second.flush(Stream().add(kCallList, 1u)), 0);
  }
  // A list that a sharing context has open is not whole.
  ASSERT_EQ(first.flush(green), 0);
  ASSERT_EQ(second.flush(Stream().add(kNewList, 2u, GL_COMPILE).add(kCallList, 1u)), 0);
  ASSERT_EQ(first.flush(open), 0);
  ASSERT_EQ(second.flush(Stream().add(kEndList)), 0);
  ASSERT_EQ(first.flush(Stream().add(kEndList)), 0);
  // What was to be deleted is gone: the viewport stays.
  ASSERT_EQ(first.flush(Stream().add(kNewList, 2u, GL_COMPILE).add(kViewport, 0, 0, 77, 5).add(kEndList)), 0);
  ASSERT_EQ(first.flush(open), 0);
  ASSERT_EQ(second.flush(Stream().add(kDeleteLists, 2u, 1)), 0);
  ASSERT_EQ(first.flush(Stream().add(kEndList)), 0);
  const Stream question = Stream().add(kViewport, 0, 0, 1, 1).add(kCallList, 2u).add(kGetIntegerv, GL_VIEWPORT, 4u);
  const std::vector<uint8_t> viewport = second.ask(question, 16);
  ASSERT_EQ(viewport.size(), 16u);
  EXPECT_EQ(viewport[8], 1);
  log.take();
}

// A context that ends with an open list no longer keeps the lists that it calls.
TEST_F(Sharing, EndedContextsKeepNoLists) {
  ASSERT_EQ(share(first.context, second.context), 0);
  ASSERT_EQ(second.flush(Stream().add(kNewList, 2u, GL_COMPILE).add(kViewport, 0, 0, 77, 5).add(kEndList)), 0);
  ASSERT_EQ(first.flush(Stream().add(kNewList, 1u, GL_COMPILE).add(kCallList, 2u)), 0);
  DeleteContextPacket packet;
  packet.contextId = first.context;
  ASSERT_EQ(first.send(packet), 0);
  ASSERT_EQ(second.flush(Stream().add(kDeleteLists, 2u, 1)), 0);
  const Stream question = Stream().add(kViewport, 0, 0, 1, 1).add(kCallList, 2u).add(kGetIntegerv, GL_VIEWPORT, 4u);
  const std::vector<uint8_t> viewport = second.ask(question, 16);
  ASSERT_EQ(viewport.size(), 16u);
  EXPECT_EQ(viewport[8], 1);
}

// A draw that goes into a list reads the store that a buffer has now, though a sharing context has put another object of OpenGL's
// in its place, and not the old, smaller one as far as the new one goes.
TEST_F(Sharing, ListsReadTheStoresThatBuffersHaveNow) {
  ASSERT_EQ(share(first.context, second.context), 0);
  const auto buffer = [](const std::vector<float>& values) {
    const auto size = static_cast<uint32_t>(4 * values.size());
    std::vector<uint8_t> payload = words({GL_ARRAY_BUFFER, size, 1, GL_STATIC_DRAW, size});
    return Stream().add(kBindBuffer, GL_ARRAY_BUFFER, 5u).large(kBufferData, payload += floats(values));
  };
  const Stream draw = Stream().bytes(kDrawArrays, words({GL_TRIANGLES, 0, 600, 0}));
  Stream few = buffer(std::vector<float>(16, -1.0f));
  few.add(kVertexPointer, 2, GL_FLOAT, 0, 0, 5).add(kEnableClientState, GL_VERTEX_ARRAY).bytes(kDrawArrays, words({GL_TRIANGLES, 0, 6, 0}));
  ASSERT_EQ(first.flush(few), 0);
  // A range that is bound keeps the old store when the buffer shrinks.
  ASSERT_EQ(second.flush(Stream().add(kBindBufferRange, GL_UNIFORM_BUFFER, 0u, 5u, 0u, 16u)), 0);
  ASSERT_EQ(second.flush(buffer({0, 0, 0, 0})), 0);
  std::vector<float> many(1200, -1.0f);
  const std::vector<float> cover = {-1, -1, 3, -1, -1, 3};
  std::copy(cover.begin(), cover.end(), many.end() - 6);
  ASSERT_EQ(second.flush(buffer(many)), 0);
  EXPECT_EQ(second.glError(), uint32_t{GL_NO_ERROR});
  Stream list = Stream().add(kNewList, 1u, GL_COMPILE);
  list.data += draw.data;
  ASSERT_EQ(first.flush(list.add(kEndList)), 0);
  ASSERT_EQ(first.flush(Stream().add(kCallList, 1u), GL_BACK), 0);
  EXPECT_EQ(first.surface->pixel(4, 4) & 0xFFFFFF, 0xFFFFFFu);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

// Without a request a context does not find the lists of another.
TEST_F(Sharing, ContextsAreApartAtFirst) { EXPECT_FALSE(seesList(first, second)); }

// Two contexts can be joined between their creation and their first flush.
TEST_F(Sharing, ContextsJoinBeforeAnyFlush) {
  ASSERT_EQ(share(first.context, second.context), 0);
  EXPECT_TRUE(seesList(first, second));
}

// Two contexts can be joined when the first has objects already, and each then finds the lists of the other.
TEST_F(Sharing, FirstContextMayBeInUse) {
  ASSERT_EQ(first.flush(Stream().add(kFlush)), 0);
  ASSERT_EQ(share(first.context, second.context), 0);
  EXPECT_TRUE(seesList(first, second));
  EXPECT_TRUE(seesList(second, first));
}

// Two contexts can be joined when the second has objects already.
TEST_F(Sharing, SecondContextMayBeInUse) {
  ASSERT_EQ(second.flush(Stream().add(kFlush)), 0);
  ASSERT_EQ(share(first.context, second.context), 0);
  EXPECT_TRUE(seesList(first, second));
}

// Two contexts that both have objects of their own cannot be joined; asking again for what is so already is no error.
TEST_F(Sharing, TwoContextsInUseCannotBeJoined) {
  ASSERT_EQ(first.flush(Stream().add(kFlush)), 0);
  ASSERT_EQ(second.flush(Stream().add(kFlush)), 0);
  EXPECT_NE(share(first.context, second.context), 0);
  EXPECT_EQ(log.take().size(), 1u);
  EXPECT_EQ(share(first.context, first.context), 0);
}

// Three contexts can be joined in any order, and asking again for what is so already is no error.
TEST_F(Sharing, ThreeContextsJoinInAnyOrder) {
  TestGuest third(gpu);
  third.context = third.createContext().contextId;
  third.window = first.window;
  third.width = third.height = 8;
  ASSERT_EQ(share(second.context, third.context), 0);
  ASSERT_EQ(share(first.context, second.context), 0);
  EXPECT_TRUE(seesList(third, first));
  EXPECT_EQ(share(first.context, third.context), 0);
}

// Shared objects outlive the context that made them.
TEST_F(Sharing, ObjectsOutliveTheirMaker) {
  ASSERT_EQ(share(first.context, second.context), 0);
  EXPECT_TRUE(seesList(first, second));
  DeleteContextPacket packet;
  packet.contextId = first.context;
  ASSERT_EQ(first.send(packet), 0);
  const std::vector<uint8_t> viewport =
      second.ask(Stream().add(kViewport, 0, 0, 1, 1).add(kCallList, 4u).add(kGetIntegerv, GL_VIEWPORT, 4u), 16);
  ASSERT_EQ(viewport.size(), 16u);
  EXPECT_EQ(viewport[8], 77);
}

// Two contexts draw to one window in turn: each finds the other's picture.
TEST_F(Sharing, TwoContextsDrawToOneWindow) {
  ASSERT_EQ(first.flush(Stream().add(kClearColor, 1.0f, 0.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT)), 0);
  second.surface = std::move(first.surface);
  ASSERT_EQ(second.flush(Stream().add(kFlush), GL_BACK), 0);
  EXPECT_EQ(second.surface->pixel(3, 3) & 0xFFFFFF, 0xFF0000u);
  first.surface = std::move(second.surface);
}

// Two threads with a context each pass two windows back and forth, and nobody waits for ever.
TEST_F(Sharing, WindowsPassBetweenThreads) {
  const uint32_t windows[2] = {first.window, first.createWindow().windowId};
  std::atomic<int> failures{0};
  const auto draw = [&](TestGuest& guest, uint32_t start) {
    for (uint32_t i = 0; i < 300; ++i) {
      guest.window = windows[(i / (1 + start) + start) % 2];
      failures += guest.flush(Stream().add(kClear, GL_COLOR_BUFFER_BIT).add(kFlush)) != 0;
    }
  };
  std::thread other([&] { draw(second, 1); });
  draw(first, 0);
  other.join();
  EXPECT_EQ(failures.load(), 0);
}

// Contexts, windows and surfaces are made, used and deleted on four threads at once, and every frame has its colour.
TEST_F(Sharing, ContextsComeAndGo) {
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      TestGuest guest(gpu);
      for (int i = 0; i < 8; ++i) {
        failures += !guest.start(16, 16);
        failures += guest.flush(Stream().add(kClearColor, 0.0f, 1.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT), GL_BACK) != 0;
        failures += (guest.surface->pixel(1, 1) & 0xFFFFFF) != 0x00FF00;
        DestroyWindowPacket window;
        window.windowId = guest.window;
        failures += guest.send(window) != 0;
        DeleteContextPacket context;
        context.contextId = guest.context;
        failures += guest.send(context) != 0;
        gpu.closeAllocation(guest.surface->allocation.handle);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
}

// Everything that is counted comes and goes with its packets.
TEST_F(Sharing, CountersFollowTheirPackets) {
  EXPECT_EQ(gpu.counters().guests, 1u);
  EXPECT_EQ(gpu.counters().contexts, 2u);
  EXPECT_EQ(gpu.counters().channels, 0u);
  EXPECT_EQ(gpu.counters().glContexts, 0u);
  EXPECT_EQ(gpu.counters().windows, 1u);
  EXPECT_EQ(gpu.counters().surfaces, 0u);
  EXPECT_EQ(gpu.counters().allocations, 1u);
  ASSERT_EQ(first.flush(Stream().add(kFlush)), 0);
  // A context gets its thread and its OpenGL with its first flush.
  EXPECT_EQ(gpu.counters().channels, 1u);
  EXPECT_EQ(gpu.counters().glContexts, 1u);
  EXPECT_EQ(gpu.counters().surfaces, 1u);
  first.width = 9;
  ASSERT_EQ(first.flush(Stream().add(kFlush)), 0);
  EXPECT_EQ(gpu.counters().surfaces, 1u);
  for (TestGuest* const guest : {&first, &second}) {
    DeleteContextPacket packet;
    packet.contextId = guest->context;
    ASSERT_EQ(guest->send(packet), 0);
  }
  DestroyWindowPacket packet;
  packet.windowId = first.window;
  ASSERT_EQ(first.send(packet), 0);
  gpu.closeAllocation(first.surface->allocation.handle);
  const PeerCounters end = gpu.counters();
  EXPECT_EQ(end.contexts + end.glContexts + end.windows + end.surfaces + end.channels + end.allocations, 0u);
  EXPECT_EQ(end.mappedBytes, 0u);
}

// A window that goes while a context has it bound takes its drawable along, and the next flush to it fails.
TEST_F(Sharing, DestroyedWindowTakesItsDrawableAlong) {
  ASSERT_EQ(first.flush(Stream().add(kFlush)), 0);
  DestroyWindowPacket packet;
  packet.windowId = first.window;
  ASSERT_EQ(first.send(packet), 0);
  EXPECT_NE(first.flush(Stream().add(kFlush)), 0);
  EXPECT_EQ(log.take().size(), 1u);
  first.window = first.createWindow().windowId;
  EXPECT_EQ(first.flush(Stream().add(kFlush)), 0);
  // The context let go of the old drawable on its own thread.
  for (int i = 0; i < 1000 && gpu.counters().surfaces != 1; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_EQ(gpu.counters().surfaces, 1u);
}

// The extension list of a core context is one text on the wire all the same.
TEST_F(Sharing, CoreContextTellsItsExtensionsAsOneText) {
  second.context = second.createContext({GL_DOUBLEBUFFER, GL_VERSION, 330, GL_CONTEXT_PROFILE_MASK, 1, 0}).contextId;
  ASSERT_NE(second.context, 0u);
  const std::vector<uint8_t> extensions = second.ask(Stream().add(kGetString, GL_EXTENSIONS), 16384);
  EXPECT_GT(extensions.size(), 1000u);
  EXPECT_EQ(second.askFor<int32_t>(Stream().add(kGetIntegerv, GL_CONTEXT_PROFILE_MASK, 1u)), 1);
  EXPECT_EQ(second.glError(), 0u);
}

// State is copied between contexts by no EGL call: the packet fails, and an empty mask is no failure.
TEST_F(Sharing, CopyOfAnyStateFails) {
  CopyContextPacket packet;
  packet.sourceId = first.context;
  packet.destinationId = second.context;
  EXPECT_EQ(first.send(packet), 0);
  packet = {};
  packet.sourceId = first.context;
  packet.destinationId = second.context;
  packet.mask = 1;
  EXPECT_NE(first.send(packet), 0);
  EXPECT_EQ(log.take().size(), 1u);
}

}  // namespace
}  // namespace qv::peer::test
