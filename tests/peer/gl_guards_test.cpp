// What an OpenGL is known to follow blindly, and the peer must not hand it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "peer/host/in_process_gpu.h"
#include "tests/peer/test_guest.h"
#include "tests/support/opcodes.h"

namespace qv::peer::test {
namespace {


class GlGuards : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(guest.start(64, 64)); }
  // The guest still gets its pictures.
  void TearDown() override {
    ASSERT_EQ(guest.flush(Stream().add(kClearColor, 1.0f, 0.0f, 1.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT), GL_BACK), 0);
    EXPECT_EQ(guest.surface->pixel(8, 8) & 0xFFFFFF, 0xFF00FFu);
  }
  LogCapture log;
  InProcessGpu gpu;
  TestGuest guest{gpu};
};

// The contexts of guests check what they read from buffers (Mesa offers it).
TEST_F(GlGuards, ContextsAreRobust) {
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetIntegerv, GL_CONTEXT_FLAGS, 1u)) & GL_CONTEXT_FLAG_ROBUST_ACCESS_BIT, 4);
}

// A client array switched on by glEnable has no memory of its own: drawing a run must not read what the last run left behind.
TEST_F(GlGuards, ClientArraysAreNotEnabledByGlEnable) {
  for (const uint32_t array :
       {GL_VERTEX_ARRAY, GL_NORMAL_ARRAY, GL_COLOR_ARRAY, GL_INDEX_ARRAY, GL_TEXTURE_COORD_ARRAY, GL_EDGE_FLAG_ARRAY,
        GL_FOG_COORD_ARRAY, GL_SECONDARY_COLOR_ARRAY, GL_WEIGHT_ARRAY_ARB, 0x8B9C /* of point sizes */}) {
    // Positions and colours, the colours all blue; then positions alone, before and after glEnable.
    std::vector<float> colored, values;
    for (int i = 0; i < 100; ++i) {
      const float x = 0.01f * static_cast<float>(i);
      colored.insert(colored.end(), {0.0f, 0.0f, 1.0f, x, 0.0f, 0.0f});
      values.insert(values.end(), {x, 0.0f, 0.0f});
    }
    Stream stream;
    stream.large(kRunEnded, runPayload(0, {0x3103, 0x3100}, 24, floats(colored)));
    stream.large(kRunEnded, runPayload(0, {0x3100}, 12, floats(values)));
    stream.add(kClearColor, 0.0f, 0.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT).add(kColor3f, 1.0f, 1.0f, 0.0f);
    stream.add(kEnable, array).large(kRunEnded, runPayload(0, {0x3100}, 12, floats(values))).add(kDisable, array);
    stream.large(kRunEnded, runPayload(0, {0x3100}, 12, floats(values)));
    ASSERT_EQ(guest.flush(stream, GL_BACK), 0) << array;
    for (const uint32_t pixel : guest.surface->pixels())
      ASSERT_TRUE((pixel & 0xFFFFFF) == 0 || (pixel & 0xFFFFFF) == 0xFFFF00) << array;
  }
}

// The entries of a pixel map in a list are as many as there can be, and come with the command: OpenGL itself looks at neither.
TEST_F(GlGuards, PixelMapsInListsAreBounded) {
  const auto map = [](uint32_t opcode, uint32_t entries, uint32_t given, uint32_t pointer = 0x1000) {
    std::vector<uint8_t> payload = words({GL_PIXEL_MAP_I_TO_R, entries, pointer, given});
    payload.resize(payload.size() + given * (opcode == kPixelMapusv ? 2 : 4));
    return Stream().large(opcode, payload);
  };
  const auto inList = [&](const Stream& command, const Stream& before = {}) {
    Stream stream = before;
    stream.add(kNewList, 1u, GL_COMPILE_AND_EXECUTE).data += command.data;
    EXPECT_EQ(guest.flush(stream.add(kEnd).add(kEndList)), 0);
    return guest.glError();
  };
  for (const uint32_t opcode : {kPixelMapfv, kPixelMapuiv, kPixelMapusv}) {
    for (const uint32_t entries : {257u, 300u, 100000u})
      EXPECT_EQ(inList(map(opcode, entries, entries)), uint32_t{GL_INVALID_VALUE}) << opcode << " " << entries;
    inList(map(opcode, 16, 0));
    inList(map(opcode, 16, 0), Stream().add(kBindBuffer, GL_PIXEL_UNPACK_BUFFER, 1));
    guest.flush(Stream().add(kBindBuffer, GL_PIXEL_UNPACK_BUFFER, 0));
    Stream inside = Stream().add(kBegin, GL_POINTS);
    inside.data += map(opcode, 16, 16).data;
    inList(inside);
    // One that is as it should be is carried out.
    inList(map(opcode, 16, 16));
    EXPECT_EQ(guest.askFor<uint32_t>(Stream().add(kGetIntegerv, GL_PIXEL_MAP_I_TO_R_SIZE, 1u)), 16u) << opcode;
    guest.flush(map(opcode, 1, 1));
    guest.glError();
  }
  EXPECT_GT(log.take().size(), 0u);
}

// A display list may leave a primitive open, or close one: frames and runs behind it see that.
TEST_F(GlGuards, ListsThatOpenAPrimitiveAreSeen) {
  ASSERT_EQ(guest.flush(Stream()
                            .add(kNewList, 1u, GL_COMPILE)
                            .add(kBegin, GL_TRIANGLES)
                            .add(kEndList)
                            .add(kNewList, 2u, GL_COMPILE)
                            .add(kEnd)
                            .add(kEndList)),
            0);
  std::vector<float> values(300, 0.0f);
  for (int round = 0; round < 3; ++round) {
    ASSERT_EQ(guest.flush(Stream().add(kCallList, 1u), GL_BACK), 0);
    ASSERT_EQ(guest.flush(Stream().large(kRunEnded, runPayload(0, {0x3100}, 12, floats(values))), GL_BACK), 0);
    ASSERT_EQ(guest.flush(Stream().add(kCallList, 2u), GL_BACK), 0);
    ASSERT_EQ(guest.flush(Stream().add(kCallLists, 1, GL_UNSIGNED_INT, 4u, 1u), GL_BACK), 0);
    ASSERT_EQ(guest.flush(Stream().add(kEnd), GL_BACK), 0);
  }
  // Asking whether a primitive is open leaves no error of the peer's own.
  guest.glError();
  ASSERT_EQ(guest.flush(Stream().add(kCallList, 1u)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kCallList, 2u)), 0);
  EXPECT_EQ(guest.glError(), 0u);
}

// Whatever a list calls that leaves a primitive open, or calls inside a primitive, it can be ended: lists that are not there,
// itself, lists that call each other, lists that are deleted meanwhile.
TEST_F(GlGuards, ListsThatCallListsCanBeEnded) {
  const std::vector<uint8_t> broken = runPayload(4, {0x3100}, 12, floats({0, 0, 0}));
  const auto list = [&](uint32_t name, uint32_t mode, const Stream& content) {
    Stream stream;
    stream.add(kNewList, name, mode);
    stream.data += content.data;
    ASSERT_EQ(guest.flush(stream), 0);
    ASSERT_EQ(guest.flush(Stream().add(kEndList)), 0);
  };
  for (const uint32_t mode : {GL_COMPILE, GL_COMPILE_AND_EXECUTE}) {
    for (const uint32_t callee : {1u, 5u, 6u, 20u}) {
      const Stream call = Stream().add(kCallList, callee), calls = Stream().add(kCallLists, 1, GL_UNSIGNED_INT, 4u, callee);
      for (const Stream& one : {call, calls}) {
        Stream behind = one, inside = Stream().add(kBegin, GL_TRIANGLES), alone = one;
        behind.add(kBegin, GL_QUADS);
        inside.data += one.data;
        inside.add(kEnd);
        list(5, mode, behind);
        list(5, mode, inside);
        inside.add(kDeleteLists, 1u, 3);
        list(2, GL_COMPILE, Stream().add(kVertex2f, 0.0f, 0.0f));
        list(5, mode, inside);
        alone.large(kRunBroken, broken);
        list(6, mode, alone);
        list(5, mode, one);
        list(6, mode, call);
      }
    }
  }
  // A list that is there is still called inside a primitive of another one.
  list(1, GL_COMPILE, Stream().add(kColor3f, 0.0f, 1.0f, 0.0f));
  list(9, GL_COMPILE, Stream().add(kBegin, GL_TRIANGLES).add(kCallList, 1u).add(kEnd));
  ASSERT_EQ(guest.flush(Stream().add(kColor3f, 1.0f, 0.0f, 0.0f).add(kCallList, 9u)), 0);
  EXPECT_EQ(guest.ask(Stream().add(kGetFloatv, GL_CURRENT_COLOR, 4u), 16), floats({0, 1, 0, 1}));
  guest.glError();
  log.take();
}

// A list that sets vertex attributes between the vertices of a primitive can be ended, whatever lists it calls: such that are not
// there, itself, such that call those, such that are deleted meanwhile. Lists that are there as a whole are called.
TEST_F(GlGuards, ListsWithAttributesBetweenVerticesCanBeEnded) {
  const Stream primitive = Stream()
                               .add(kBegin, GL_TRIANGLES)
                               .add(kVertex2f, 0.0f, 0.0f)
                               .add(kVertex2f, 1.0f, 0.0f)
                               .add(kTexCoord2f, 1.0f, 2.0f)
                               .add(kEnd);
  const auto list = [&](uint32_t name, const std::vector<Stream>& parts) {
    Stream stream = Stream().add(kNewList, name, uint32_t{GL_COMPILE});
    for (const Stream& part : parts) stream.data += part.data;
    ASSERT_EQ(guest.flush(stream.add(kEndList)), 0);
  };
  const auto call = [](uint32_t name) { return Stream().add(kCallList, name); };
  const Stream calls = Stream().add(kCallLists, 1, GL_UNSIGNED_INT, 4u, 20u);
  list(1, {Stream().add(kColor3f, 0.0f, 1.0f, 0.0f)});
  list(2, {call(20)});
  list(3, {call(4)});
  list(4, {call(3)});
  for (const uint32_t absent : {20u, 2u, 3u, 5u}) {
    list(5, {primitive, call(absent)});
    list(5, {call(absent), primitive});
    list(5, {call(1), primitive, call(1)});
  }
  list(5, {primitive, calls});
  list(5, {calls, primitive});
  list(6, {calls});
  list(7, {primitive, call(6)});
  list(5, {Stream().add(kColor3f, 0.0f, 1.0f, 0.0f)});
  list(5, {primitive, call(5)});
  // One list does not count for the next.
  const Stream green = Stream()
                           .add(kBegin, GL_LINE_STRIP)
                           .add(kVertex2f, 0.0f, 0.0f)
                           .add(kVertex2f, 0.0f, 1.0f)
                           .add(kColor3f, 0.0f, 1.0f, 0.0f)
                           .add(kVertex2f, 1.0f, 0.0f)
                           .add(kEnd);
  list(5, {call(20)});
  list(8, {green});
  list(5, {call(21)});
  list(21, {Stream().add(kColor3f, 1.0f, 1.0f, 0.0f)});
  ASSERT_EQ(guest.flush(call(8)), 0);
  EXPECT_EQ(guest.ask(Stream().add(kGetFloatv, GL_CURRENT_COLOR, 4u), 16), floats({0, 1, 0, 1}));
  ASSERT_EQ(guest.flush(call(5)), 0);
  EXPECT_EQ(guest.ask(Stream().add(kGetFloatv, GL_CURRENT_COLOR, 4u), 16), floats({1, 1, 0, 1}));
  list(6, {call(1)});
  list(7, {primitive, call(6), Stream().add(kDeleteLists, 1u, 6)});
  list(1, {Stream().add(kColor3f, 0.0f, 0.0f, 1.0f)});
  list(6, {call(1)});
  list(7, {primitive, call(6)});
  ASSERT_EQ(guest.flush(Stream().add(kColor3f, 1.0f, 0.0f, 0.0f).add(kCallList, 7u)), 0);
  EXPECT_EQ(guest.ask(Stream().add(kGetFloatv, GL_CURRENT_COLOR, 4u), 16), floats({0, 0, 1, 1}));
  EXPECT_EQ(guest.glError(), uint32_t{GL_NO_ERROR});
  log.take();
}

// A drawable starts black, whatever stood in its memory before.
TEST_F(GlGuards, FreshDrawablesAreCleared) {
  for (int round = 0; round < 10; ++round) {
    guest.window = guest.createWindow().windowId;
    guest.width = guest.height = 200;
    guest.surface = std::make_unique<Surface>(0x50000000u + static_cast<uint32_t>(round), 200, 200);
    ASSERT_TRUE(gpu.openAllocation(guest.surface->allocation));
    ASSERT_EQ(guest.flush(Stream(), GL_BACK), 0);
    for (const uint32_t pixel : guest.surface->pixels()) ASSERT_EQ(pixel & 0xFFFFFF, 0u);
    // Depth and stencil too: a triangle at depth 1 passes GL_LEQUAL everywhere.
    Stream stream;
    stream.add(kEnable, GL_DEPTH_TEST)
        .add(kDepthFunc, GL_LEQUAL)
        .add(kColor3f, 0.0f, 1.0f, 0.0f)
        .add(kRectf, -1.0f, -1.0f, 1.0f, 1.0f)
        .add(kDisable, GL_DEPTH_TEST);
    ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
    ASSERT_EQ(guest.surface->pixel(100, 100) & 0xFFFFFF, 0x00FF00u);
    ASSERT_EQ(guest.flush(Stream()
                              .add(kClearColor, 1.0f, 0.5f, 0.2f, 1.0f)
                              .add(kClearDepth, 0.25)
                              .add(kClear, GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT),
                          GL_BACK),
              0);
    DestroyWindowPacket destroy;
    destroy.windowId = guest.window;
    ASSERT_EQ(guest.send(destroy), 0);
  }
  guest.window = guest.createWindow().windowId;
}

// A window is larger than any drawable can be: refused, with the guest's other windows as they were.
TEST_F(GlGuards, HugeWindowsAreRefused) {
  const std::array<std::array<int32_t, 4>, 5> rects = {{{0, 0, 100000, 100000},
                                                        {0, 0, 32768, 32768},
                                                        {INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX},
                                                        {INT32_MIN, 0, INT32_MAX, 1},
                                                        {-5, -5, 16400, 10}}};
  const Stream stream = Stream().add(kFlush);
  for (const auto& rect : rects) {
    FlushPacket packet = guest.flushPacket(stream.data);
    std::copy(rect.begin(), rect.end(), packet.clientRect);
    EXPECT_NE(guest.send(packet), 0) << rect[0];
    EXPECT_EQ(log.take().size(), 1u) << rect[0];
  }
}

// Lengths and counts below zero never reach a function that takes them for large ones.
TEST_F(GlGuards, NegativeLengthsAreRefused) {
  guest.glError();
  ASSERT_EQ(guest.flush(Stream().add(kProgramStringARB, GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_FORMAT_ASCII_ARB, -1)), 0);
  EXPECT_EQ(guest.glError(), GL_INVALID_VALUE);
  ASSERT_EQ(guest.flush(Stream().add(kProgramEnvParameters4fvEXT, GL_VERTEX_PROGRAM_ARB, 0u, -1)), 0);
  EXPECT_EQ(guest.glError(), GL_INVALID_VALUE);
  ASSERT_EQ(guest.flush(Stream().add(kDeleteTextures, -5)), 0);
  EXPECT_EQ(guest.glError(), GL_INVALID_VALUE);
  ASSERT_EQ(guest.flush(Stream().add(kUniformSubroutinesuiv, GL_VERTEX_SHADER, -2)), 0);
  EXPECT_EQ(guest.glError(), GL_INVALID_VALUE);
}

// Arrays of viewports whose first index and count wrap around are refused.
TEST_F(GlGuards, ViewportArraysDoNotWrap) {
  guest.glError();
  for (const uint32_t first : {0xFFFFFFFFu, 0xFFFFFFF0u, 0x7FFFFFFFu, 16u, 15u}) {
    for (const uint32_t opcode : {kViewportArrayv, kScissorArrayv, kDepthRangeArrayv}) {
      std::vector<uint8_t> payload;
      Stream::append(payload, first);
      Stream::append(payload, 2);
      payload.resize(8 + 2 * 16, 0);
      ASSERT_EQ(guest.flush(Stream().bytes(opcode, payload)), 0) << opcode << " " << first;
      EXPECT_EQ(guest.glError(), GL_INVALID_VALUE) << opcode << " " << first;
    }
  }
}

// Arrays of viewports, scissor boxes and depth ranges arrive whole.
TEST_F(GlGuards, ViewportArraysArrive) {
  ASSERT_EQ(guest.flush(Stream().add(kViewportArrayv, 1u, 2, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kScissorArrayv, 1u, 2, 1, 2, 3, 4, 5, 6, 7, 8)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kDepthRangeArrayv, 1u, 2, 0.125, 0.25, 0.5, 0.75)), 0);
  EXPECT_EQ((guest.askFor<std::array<float, 4>>(Stream().add(kGetFloati_v, GL_VIEWPORT, 2u, 4u))),
            (std::array{5.0f, 6.0f, 7.0f, 8.0f}));
  EXPECT_EQ((guest.askFor<std::array<int32_t, 4>>(Stream().add(kGetIntegeri_v, GL_SCISSOR_BOX, 2u, 4u))), (std::array{5, 6, 7, 8}));
  EXPECT_EQ((guest.askFor<std::array<double, 2>>(Stream().add(kGetDoublei_v, GL_DEPTH_RANGE, 2u, 2u))), (std::array{0.5, 0.75}));
  EXPECT_EQ(guest.glError(), 0u);
}

// Copies far beyond the window touch nothing that is not there.
TEST_F(GlGuards, CopiesBeyondTheWindowAreCut) {
  for (const uint32_t type : {GL_COLOR, GL_DEPTH, GL_STENCIL, GL_DEPTH_STENCIL}) {
    for (const int32_t size : {0x7FFFFFFF, 0x40000000, 100000}) {
      ASSERT_EQ(guest.flush(Stream().add(kCopyPixels, 2, 1, size, 1, type)), 0);
      ASSERT_EQ(guest.flush(Stream().add(kCopyPixels, 2, 1, 1, size, type)), 0);
      ASSERT_EQ(guest.flush(Stream().add(kCopyPixels, -size, -size, size, size, type)), 0);
    }
  }
}

// Invalidating an image that has never been defined is no more than an error.
TEST_F(GlGuards, UndefinedImagesCanBeInvalidated) {
  ASSERT_EQ(guest.flush(Stream().add(kBindTexture, GL_TEXTURE_2D, 5u)), 0);
  for (const int32_t level : {0, 3, 31, 32, -1, 0x7FFFFFFF}) {
    for (const uint32_t texture : {0u, 5u, 77u}) {
      ASSERT_EQ(guest.flush(Stream().add(kInvalidateTexSubImage, texture, level, 0, 0, 0, 1, 1, 1)), 0);
      ASSERT_EQ(guest.flush(Stream().add(kInvalidateTexImage, texture, level)), 0);
    }
  }
  guest.glError();
}

// A query that GL refuses answers nothing, so that the program's memory stays as it was, and its error is told once. The glGet
// family answers zeros.
TEST_F(GlGuards, RefusedQueriesAnswerNothing) {
  EXPECT_TRUE(guest.ask(Stream().add(kGetTexLevelParameteriv, GL_TEXTURE_2D, -1, GL_TEXTURE_WIDTH), 4).empty());
  EXPECT_EQ(guest.glError(), GL_INVALID_VALUE);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(guest.ask(Stream().add(kGetTexLevelParameteriv, GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH), 4), words({0}));
  EXPECT_EQ(guest.ask(Stream().add(kGetIntegerv, 0xDEADu, 2u), 8), words({0, 0}));
  EXPECT_EQ(guest.glError(), GL_INVALID_ENUM);
}

// No name of a query brings the host down.
TEST_F(GlGuards, EveryQueryNameIsSurvived) {
  for (const uint32_t opcode : {kGetBooleanv, kGetDoublev, kGetFloatv, kGetIntegerv, kGetInteger64v}) {
    for (uint32_t base = 0; base < 0x10000; base += 0x400) {
      Stream stream;
      for (uint32_t name = base; name < base + 0x400; ++name) stream.add(opcode, name, 1u);
      ASSERT_EQ(guest.flush(stream), 0) << opcode << " at " << base;
    }
  }
  guest.glError();
  log.take();
}

}  // namespace
}  // namespace qv::peer::test
