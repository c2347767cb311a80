// Draws from arrays: the bytes of their commands, the splitting of restarts, and the draws that the guest reads itself.
#include <numeric>
#include <tuple>

#include "driver/base/current_context.h"
#include "driver/objects/display_list_stream.h"
#include "driver/state/buffer_bindings.h"
#include "driver/state/shared_objects.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"

namespace qv::test {
namespace {

uint32_t low(const void* pointer) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer)); }
const void* at(uintptr_t address) { return reinterpret_cast<const void*>(address); }

class Draws : public ContextTest {
 protected:
  Draws() : ContextTest(4, 430, 1) {
    std::iota(std::begin(bytes), std::end(bytes), uint8_t{0});
    // Pad bytes have no defined value: zeroed memory makes them compare.
    context().reserve(8192);
    std::memset(context().base, 0, 8192);
  }

  // An enabled array of floats in the program's memory.
  void vertexArray(GLint size = 3, GLsizei stride = 0) {
    QV_CALL(glVertexPointer)(size, GL_FLOAT, stride, bytes);
    QV_CALL(glEnableClientState)(GL_VERTEX_ARRAY);
    drop();
  }
  void colorArray() {
    QV_CALL(glColorPointer)(4, GL_UNSIGNED_BYTE, 0, bytes + 128);
    QV_CALL(glEnableClientState)(GL_COLOR_ARRAY);
    drop();
  }
  // The bytes of the one pending command.
  std::vector<uint8_t> one() {
    std::vector<uint8_t> out = pending();
    drop();
    return out;
  }
  std::vector<Command> take() {
    const std::vector<Command> commands = parse(pending());
    drop();
    return commands;
  }
  // The elements `first` to `last` of an array of `size` bytes each.
  static std::vector<uint8_t> elements(const uint8_t* from, uint32_t size, uint32_t first, uint32_t last) {
    return {from + size * first, from + size * (last + 1)};
  }
  void expectError(GLenum error) {
    EXPECT_EQ(takeError(), error);
    EXPECT_TRUE(pending().empty());
  }

  uint8_t bytes[256];
};

// A draw of nothing is sent by glDrawArrays, with the size of its vertices, and not by glDrawElements.
TEST_F(Draws, EmptyDraws) {
  vertexArray();
  QV_CALL(glDrawArrays)(GL_TRIANGLES, 0, 0);
  EXPECT_EQ(one(), (std::vector<uint8_t>{0x35, 0x41, 1, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 12, 0, 0, 0}));
  const GLushort indices[] = {0};
  QV_CALL(glDrawElements)(GL_TRIANGLES, 0, GL_UNSIGNED_SHORT, indices);
  QV_CALL(glDrawElements)(GL_TRIANGLES, 3, GL_UNSIGNED_SHORT, nullptr);
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(takeError(), 0u);
}

// Arrays follow one another in the block, from the first element on; strided ones lose their gaps.
TEST_F(Draws, ArraysAreCopiedOneAfterTheOther) {
  vertexArray(3, 16);
  colorArray();
  QV_CALL(glDrawArrays)(GL_TRIANGLES, 2, 3);
  std::vector<uint8_t> expected = words({((20u + 48u) << 12) | kDrawArrays, GL_TRIANGLES, 2, 3, 16});
  for (uint32_t i = 2; i < 5; ++i) expected += elements(bytes + 16 * i, 12, 0, 0);
  expected += elements(bytes + 128, 4, 2, 4);
  EXPECT_EQ(one(), expected);
}

// Indices 5, 9, 7 of bytes: the block holds elements 5 to 9 of both arrays, behind three unpadded bytes of indices.
TEST_F(Draws, IndicesGiveTheRange) {
  vertexArray();
  colorArray();
  const GLubyte indices[] = {5, 9, 7};
  QV_CALL(glDrawElements)(GL_TRIANGLES, 3, GL_UNSIGNED_BYTE, indices);
  std::vector<uint8_t> expected =
      words({((40u + 3 + 80) << 12) | kDrawElements, GL_TRIANGLES, 3, GL_UNSIGNED_BYTE, low(indices), 0, 16, 3, 5, 9});
  expected.insert(expected.end(), {5, 9, 7});
  expected += elements(bytes, 12, 5, 9);
  expected += elements(bytes + 128, 4, 5, 9);
  std::vector<uint8_t> written = one();
  ASSERT_EQ(written.size(), 124u);
  written.pop_back();  // a pad byte has no defined value
  EXPECT_EQ(written, expected);
}

// A base vertex stands unaligned behind the indices; it moves the elements and not the range that is told.
TEST_F(Draws, BaseVertexMovesTheElements) {
  vertexArray();
  const GLubyte indices[] = {0, 1, 2};
  QV_CALL(glDrawElementsBaseVertex)(GL_TRIANGLES, 3, GL_UNSIGNED_BYTE, const_cast<GLubyte*>(indices), 10);
  std::vector<uint8_t> expected = words(
      {((40u + 3 + 4 + 36) << 12) | kDrawElementsBaseVertex, GL_TRIANGLES, 3, GL_UNSIGNED_BYTE, low(indices), 0, 12, 3, 0, 2});
  expected.insert(expected.end(), {0, 1, 2, 10, 0, 0, 0});
  expected += elements(bytes, 12, 10, 12);
  expected.push_back(0);
  EXPECT_EQ(one(), expected);
  QV_CALL(glDrawElementsBaseVertex)(GL_TRIANGLES, 3, GL_UNSIGNED_BYTE, const_cast<GLubyte*>(indices), 0);
  EXPECT_EQ(take()[0].opcode, kDrawElements);
}

// An array with a divisor goes behind the block, without stride and from its beginning, whatever the base instance is.
TEST_F(Draws, InstanceDataFollowInASection) {
  QV_CALL(glEnableVertexAttribArray)(0);
  QV_CALL(glEnableVertexAttribArray)(1);
  QV_CALL(glVertexAttribPointer)(0, 2, GL_FLOAT, GL_FALSE, 0, bytes);
  QV_CALL(glVertexAttribDivisor)(1, 2);
  for (const GLsizei stride : {0, 100}) {
    QV_CALL(glVertexAttribPointer)(1, 4, GL_FLOAT, GL_FALSE, stride, bytes + 64);
    drop();
    QV_CALL(glDrawArraysInstanced)(GL_POINTS, 0, 4, 5);
    std::vector<uint8_t> expected = words({(120u << 12) | kDrawArraysInstanced, GL_POINTS, 0, 4, 0x10008, 5});
    expected += elements(bytes, 8, 0, 3);
    expected += words({56, 1, 48, 0});
    expected += elements(bytes + 64, 16, 0, 2);
    EXPECT_EQ(one(), expected);
    QV_CALL(glDrawArraysInstancedBaseInstance)(GL_POINTS, 0, 4, 5, 3);
    std::vector<uint8_t> based = words({(124u << 12) | kDrawArraysInstancedBaseInstance, GL_POINTS, 0, 4, 5, 3, 0x10008});
    based.insert(based.end(), expected.begin() + 24, expected.end());
    EXPECT_EQ(one(), based);
    // Any other draw takes the data of one instance.
    QV_CALL(glDrawArrays)(GL_POINTS, 0, 1);
    std::vector<uint8_t> single = words({(60u << 12) | kDrawArrays, GL_POINTS, 0, 1, 0x10008});
    single += elements(bytes, 8, 0, 0);
    single += words({24, 1, 16, 0});
    single += elements(bytes + 64, 16, 0, 0);
    EXPECT_EQ(one(), single);
  }
}

// All members of the indexed family, with the words behind their indices.
TEST_F(Draws, IndexedMembersHaveTheirWords) {
  const GLuint indices[] = {1};
  const auto expectMember = [&](uint32_t opcode, std::vector<uint32_t> extra) {
    std::vector<uint32_t> expected = {GL_POINTS, 1, GL_UNSIGNED_INT, low(indices), 0, 0, 4, 1, 1, 1};
    expected.insert(expected.end(), extra.begin(), extra.end());
    const std::vector<Command> commands = take();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_EQ(commands[0].opcode, opcode);
    EXPECT_EQ(commands[0].words, expected);
  };
  QV_CALL(glDrawElements)(GL_POINTS, 1, GL_UNSIGNED_INT, indices);
  expectMember(kDrawElements, {});
  QV_CALL(glDrawRangeElements)(GL_POINTS, 50, 3, 1, GL_UNSIGNED_INT, indices);
  expectMember(kDrawElements, {});
  QV_CALL(glDrawElementsInstanced)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, 7);
  expectMember(kDrawElementsInstanced, {7});
  QV_CALL(glDrawElementsInstancedARB)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, 7);
  expectMember(kDrawElementsInstancedARB, {7});
  QV_CALL(glDrawElementsInstancedEXT)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, 7);
  expectMember(1493, {7});
  QV_CALL(glDrawElementsInstancedBaseVertex)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, 7, 9);
  expectMember(kDrawElementsInstancedBaseVertex, {7, 9});
  QV_CALL(glDrawElementsInstancedBaseVertex)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, 7, 0);
  expectMember(kDrawElementsInstancedARB, {7});
  QV_CALL(glDrawRangeElementsBaseVertex)(GL_POINTS, 3, 50, 1, GL_UNSIGNED_INT, const_cast<GLuint*>(indices), 9);
  expectMember(kDrawElementsBaseVertex, {9});
  QV_CALL(glDrawElementsInstancedBaseVertexBaseInstance)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, 7, 9, 11);
  std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 1u);
  EXPECT_EQ(commands[0].opcode, kDrawElementsInstancedBaseVertexBaseInstance);
  EXPECT_EQ(commands[0].words, (std::vector<uint32_t>{GL_POINTS, 1, GL_UNSIGNED_INT, low(indices), 7, 9, 11, 0, 0, 4, 1, 1, 1}));
  QV_CALL(glDrawElementsInstancedBaseInstance)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, 0, 11);
  commands = take();
  ASSERT_EQ(commands.size(), 1u);
  EXPECT_EQ(commands[0].words, (std::vector<uint32_t>{GL_POINTS, 1, GL_UNSIGNED_INT, low(indices), 0, 0, 11, 0, 0, 4, 1, 1, 1}));
  EXPECT_EQ(takeError(), 0u);
}

// Multi-draws are their draws, one after the other; a count below 1 draws nothing, or is refused where there are base vertices.
TEST_F(Draws, MultiDrawsAreDraws) {
  const GLint first[] = {1, 5};
  const GLsizei count[] = {2, 3};
  QV_CALL(glMultiDrawArrays)(GL_LINES, first, count, 2);
  expectStream(Stream().add(kDrawArrays, GL_LINES, 1, 2, 0).add(kDrawArrays, GL_LINES, 5, 3, 0));
  QV_CALL(glMultiDrawArrays)(GL_LINES, first, count, -1);
  const GLubyte indices[] = {1, 2, 3, 4};
  const void* const pointers[] = {indices, indices + 1};
  QV_CALL(glMultiDrawElements)(GL_LINES, count, GL_UNSIGNED_BYTE, pointers, 1);
  QV_CALL(glMultiDrawElements)(GL_LINES, count, GL_UNSIGNED_BYTE, pointers, 0);
  EXPECT_EQ(take().size(), 1u);
  const GLint bases[] = {0, 8};
  QV_CALL(glMultiDrawElementsBaseVertex)
  (GL_LINES, const_cast<GLsizei*>(count), GL_UNSIGNED_BYTE, const_cast<void**>(pointers), 1, nullptr);
  QV_CALL(glMultiDrawElementsBaseVertex)
  (GL_LINES, const_cast<GLsizei*>(count), GL_UNSIGNED_BYTE, const_cast<void**>(pointers), 2, const_cast<GLint*>(bases));
  const std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 3u);
  EXPECT_EQ(commands[0].opcode, kDrawElements);
  EXPECT_EQ(commands[2].opcode, kDrawElementsBaseVertex);
  EXPECT_EQ(takeError(), 0u);
  QV_CALL(glMultiDrawElementsBaseVertex)
  (GL_LINES, const_cast<GLsizei*>(count), GL_UNSIGNED_BYTE, const_cast<void**>(pointers), -1, nullptr);
  expectError(GL_INVALID_VALUE);
}

// What is refused: primitives, negative counts, types, lists that are only compiled; and what draws nothing in silence.
TEST_F(Draws, RefusedDraws) {
  const GLuint indices[] = {1};
  QV_CALL(glDrawArrays)(GL_POINTS, 0, -1);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glDrawArraysInstanced)(GL_POINTS, 0, -1, 1);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glDrawArraysInstancedBaseInstance)(GL_POINTS, 0, -1, 1, 1);
  expectError(GL_INVALID_VALUE);
  for (const GLsizei none : {0, -1}) {
    QV_CALL(glDrawArraysInstanced)(GL_POINTS, 0, -1, none);
    QV_CALL(glDrawArraysInstancedBaseInstance)(GL_POINTS, 0, -1, none, 1);
    QV_CALL(glDrawElementsInstanced)(GL_POINTS, -1, GL_UNSIGNED_INT, indices, none);
    expectError(0);
  }
  QV_CALL(glDrawElements)(GL_POINTS, -1, GL_UNSIGNED_INT, indices);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glDrawElements)(GL_POINTS, 1, GL_FLOAT, indices);
  expectError(GL_INVALID_ENUM);
  QV_CALL(glDrawElementsBaseVertex)(GL_POINTS, -1, GL_UNSIGNED_INT, const_cast<GLuint*>(indices), 3);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glDrawElementsInstanced)(GL_POINTS, -1, GL_UNSIGNED_INT, indices, 1);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glDrawElementsInstancedBaseVertex)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, -1, 3);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glDrawElementsInstancedBaseVertex)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, 0, 3);
  expectError(0);
  QV_CALL(glDrawElementsInstancedBaseVertexBaseInstance)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, -1, 3, 1);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glDrawRangeElementsBaseVertex)(GL_POINTS, 3, 2, 1, GL_UNSIGNED_INT, const_cast<GLuint*>(indices), 3);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glArrayElement)(-1);
  expectError(GL_INVALID_VALUE);
  context().insideBegin = 1;
  QV_CALL(glDrawArrays)(GL_POINTS, 0, 1);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glDrawElements)(GL_POINTS, 1, GL_UNSIGNED_INT, indices);
  expectError(GL_INVALID_OPERATION);
  // The other draws do not look for a primitive.
  QV_CALL(glDrawArraysInstanced)(GL_POINTS, 0, 1, 1);
  QV_CALL(glDrawElementsBaseVertex)(GL_POINTS, 1, GL_UNSIGNED_INT, const_cast<GLuint*>(indices), 3);
  EXPECT_EQ(take().size(), 2u);
  context().insideBegin = 0;
  QV_CALL(glNewList)(1, GL_COMPILE);
  drop();
  QV_CALL(glDrawArraysInstanced)(GL_POINTS, 0, 1, 0);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glDrawElementsInstanced)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, 1);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glDrawArraysInstancedBaseInstance)(GL_POINTS, 0, 1, 1, 0);
  EXPECT_EQ(take().size(), 1u);
  QV_CALL(glEndList)();
}

// A recorded draw stands in the guest's list with its fixed part alone, before any check, and once for each part of a split.
TEST_F(Draws, ListsRecordTheFixedPart) {
  vertexArray();
  const GLubyte indices[] = {0, 1};
  QV_CALL(glNewList)(1, GL_COMPILE);
  DisplayListStream& list = *context().recordingList;
  const auto recorded = [&] {
    std::vector<uint8_t> out(list.base, list.cursor);
    list.remaining += static_cast<uint64_t>(list.cursor - list.base);
    list.cursor = list.base;
    return out;
  };
  QV_CALL(glDrawArrays)(GL_LINES, 1, 2);
  EXPECT_EQ(recorded(), Stream().add(kDrawArrays, GL_LINES, 1, 2, 0).data);
  QV_CALL(glDrawElements)(GL_LINES, 2, GL_UNSIGNED_BYTE, indices);
  EXPECT_EQ(recorded(), Stream().add(kDrawElements, GL_LINES, 2, GL_UNSIGNED_BYTE, low(indices), 0, 0, 0, 0, 0).data);
  QV_CALL(glDrawArrays)(GL_LINES, 1, -2);
  EXPECT_EQ(recorded(), Stream().add(kDrawArrays, GL_LINES, 1, -2, 0).data);
  QV_CALL(glEnableClientState)(GL_PRIMITIVE_RESTART_NV);
  QV_CALL(glPrimitiveRestartIndexNV)(2);
  QV_CALL(glDrawArrays)(GL_LINES, 0, 6);
  EXPECT_EQ(
      recorded(),
      Stream().add(kDrawArrays, GL_LINES, 0, 6, 0).add(kDrawArrays, GL_LINES, 0, 2, 0).add(kDrawArrays, GL_LINES, 3, 3, 0).data);
  QV_CALL(glArrayElement)(1);
  EXPECT_TRUE(recorded().empty());
  QV_CALL(glEndList)();
}

// The restart index of the NV calls cuts a draw in two; the second part is short by the first element, which is required.
TEST_F(Draws, NvRestartSplitsArrays) {
  QV_CALL(glEnableClientState)(GL_PRIMITIVE_RESTART_NV);
  const auto expectParts = [&](GLint first, GLsizei count, GLuint restart, std::vector<std::pair<uint32_t, uint32_t>> parts) {
    QV_CALL(glPrimitiveRestartIndexNV)(restart);
    QV_CALL(glDrawArrays)(GL_LINES, first, count);
    const std::vector<Command> commands = take();
    ASSERT_EQ(commands.size(), parts.size()) << first << " " << count;
    for (size_t i = 0; i < parts.size(); ++i) {
      EXPECT_EQ(commands[i].words[1], parts[i].first);
      EXPECT_EQ(commands[i].words[2], parts[i].second);
    }
    EXPECT_EQ(context().nvRestartEnabled, 1);
  };
  expectParts(0, 6, 2, {{0, 2}, {3, 3}});
  expectParts(1, 6, 2, {{1, 1}, {3, 3}});
  expectParts(3, 6, 2, {{3, 6}});
  expectParts(0, 2, 2, {{0, 2}});
  expectParts(0, 3, 2, {{0, 2}, {3, 0}});
  EXPECT_EQ(takeError(), 0u);
  expectParts(4, 4, 5, {{4, 1}});
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  QV_CALL(glPrimitiveRestartIndexNV)(2);
  QV_CALL(glDrawArraysInstancedBaseInstance)(GL_LINES, 0, 6, 2, 9);
  const std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[0].opcode, kDrawArraysInstancedARB);
  EXPECT_EQ(commands[1].words, (std::vector<uint32_t>{GL_LINES, 3, 3, 0, 2}));
}

// Runs between restart indices are draws of their own, empty ones none; with an element buffer they lose the draw's offset.
TEST_F(Draws, NvRestartSplitsElements) {
  vertexArray();
  QV_CALL(glEnableClientState)(GL_PRIMITIVE_RESTART_NV);
  QV_CALL(glPrimitiveRestartIndexNV)(77);
  const GLushort indices[] = {0, 1, 77, 77, 2};
  QV_CALL(glDrawElements)(GL_LINES, 5, GL_UNSIGNED_SHORT, indices);
  std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[0].words[1], 2u);
  EXPECT_EQ(commands[0].words[3], low(indices));
  EXPECT_EQ(commands[1].words[1], 1u);
  EXPECT_EQ(commands[1].words[3], low(indices + 4));
  EXPECT_EQ(context().nvRestartEnabled, 1);
  QV_CALL(glDrawElementsInstanced)(GL_LINES, 5, GL_UNSIGNED_SHORT, indices, 3);
  commands = take();
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[0].opcode, kDrawElementsInstancedARB);

  std::vector<GLushort> stored(210, 5);
  std::copy(std::begin(indices), std::end(indices), stored.begin() + 200);
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 3);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, 420, stored.data(), GL_STATIC_DRAW);
  host.answerAll(stored);
  QV_CALL(glDrawElements)(GL_LINES, 5, GL_UNSIGNED_SHORT, at(400));
  commands = take();
  ASSERT_EQ(commands.size(), 3u);  // the unmap, and two draws
  EXPECT_EQ(commands[0].opcode, kUnmapBuffer);
  EXPECT_EQ(commands[1].words[1], 2u);
  EXPECT_EQ(commands[1].words[3], 0u);
  EXPECT_EQ(commands[2].words[1], 1u);
  EXPECT_EQ(commands[2].words[3], 8u);
}

// The restart index of GL stays in the stream and is none of the range; when all restart, the block of two is zero.
TEST_F(Draws, RestartIndexIsNotOfTheRange) {
  vertexArray(1);
  QV_CALL(glEnable)(GL_PRIMITIVE_RESTART);
  QV_CALL(glPrimitiveRestartIndex)(200);
  drop();
  const GLubyte indices[] = {4, 200, 5};
  QV_CALL(glDrawElements)(GL_LINES, 3, GL_UNSIGNED_BYTE, indices);
  std::vector<uint8_t> expected =
      words({(51u << 12) | kDrawElements, GL_LINES, 3, GL_UNSIGNED_BYTE, low(indices), 0, 4, 3, 4, 5});
  expected.insert(expected.end(), {4, 200, 5});
  expected += elements(bytes, 4, 4, 5);
  expected.push_back(0);
  EXPECT_EQ(one(), expected);
  const GLubyte all[] = {200, 200, 200, 200};
  QV_CALL(glDrawElements)(GL_LINES, 4, GL_UNSIGNED_BYTE, all);
  EXPECT_EQ(one(), words({(52u << 12) | kDrawElements, GL_LINES, 4, GL_UNSIGNED_BYTE, low(all), 0, 4, 4, 0xFFFFFFFF, 0,
                          0xC8C8C8C8, 0, 0}));
  QV_CALL(glDisable)(GL_PRIMITIVE_RESTART);
  drop();
  const GLuint wide[] = {0, 0xFFFFFFFF};
  QV_CALL(glDrawElements)(GL_LINES, 2, GL_UNSIGNED_INT, wide);
  EXPECT_EQ(one(),
            words({(48u << 12) | kDrawElements, GL_LINES, 2, GL_UNSIGNED_INT, low(wide), 0, 4, 8, 0, 0xFFFFFFFF, 0, 0xFFFFFFFF}));
}

// A sum of sizes beyond 16 bits is cut; the block holds what fits, and the next command is whole.
TEST_F(Draws, SizesBeyondTheWordAreCut) {
  std::vector<uint8_t> large(3 * 65536, 0xAB);
  QV_CALL(glVertexPointer)(16384, GL_FLOAT, 0, large.data());
  QV_CALL(glEnableClientState)(GL_VERTEX_ARRAY);
  QV_CALL(glColorPointer)(4, GL_FLOAT, 0, bytes);
  QV_CALL(glEnableClientState)(GL_COLOR_ARRAY);
  drop();
  QV_CALL(glDrawArrays)(GL_TRIANGLES, 0, 3);
  QV_CALL(glClear)(GL_COLOR_BUFFER_BIT);
  const std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[0].words.size(), 4u + 12);
  EXPECT_EQ(commands[0].words[3], 16u);
  EXPECT_EQ(commands[0].words[4], 0xABABABABu);
  EXPECT_EQ(commands[1].opcode, kClear);
  QV_CALL(glVertexPointer)(-1, GL_FLOAT, 0, large.data());
  QV_CALL(glDrawArrays)(GL_TRIANGLES, 0, 3);
  EXPECT_EQ(take()[1].words.size(), 4u + 9);
}

// Arrays without memory or with a negative stride are not read: null counts nothing, a negative stride gives zeros.
TEST_F(Draws, UnreadableArraysAreNotRead) {
  QV_CALL(glVertexPointer)(2, GL_FLOAT, 40, nullptr);
  QV_CALL(glEnableClientState)(GL_VERTEX_ARRAY);
  QV_CALL(glEnableVertexAttribArray)(1);
  QV_CALL(glVertexAttribPointer)(1, 4, GL_FLOAT, GL_FALSE, 0, nullptr);
  QV_CALL(glVertexAttribDivisor)(1, 1);
  drop();
  QV_CALL(glDrawArrays)(GL_POINTS, 1, 2);
  expectStream(Stream().add(kDrawArrays, GL_POINTS, 1, 2, 0));
  QV_CALL(glVertexPointer)(1, GL_FLOAT, -16, bytes);
  drop();
  QV_CALL(glDrawArrays)(GL_POINTS, 1, 2);
  expectStream(Stream().add(kDrawArrays, GL_POINTS, 1, 2, 4, 0, 0));
  // There is nothing in front of an array.
  QV_CALL(glVertexPointer)(1, GL_FLOAT, 0, bytes);
  const GLubyte indices[] = {0, 2};
  drop();
  QV_CALL(glDrawElementsBaseVertex)(GL_POINTS, 2, GL_UNSIGNED_BYTE, const_cast<GLubyte*>(indices), -1);
  std::vector<uint8_t> expected =
      words({(58u << 12) | kDrawElementsBaseVertex, GL_POINTS, 2, GL_UNSIGNED_BYTE, low(indices), 0, 4, 2, 0, 2});
  expected.insert(expected.end(), {0, 2, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0});
  expected += elements(bytes, 4, 0, 1);
  expected.insert(expected.end(), {0, 0});
  EXPECT_EQ(one(), expected);
}

// A draw that no command can hold is not written.
TEST_F(Draws, DrawsThatNoCommandHoldsAreNotWritten) {
  vertexArray();
  QV_CALL(glDrawArrays)(GL_POINTS, 0, 400000000);
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(context().lastOpcode, static_cast<int32_t>(kDrawArrays));
}

// With arrays in buffers alone a draw is its fixed part, and the guest reads no indices.
TEST_F(Draws, BufferedDrawsAreShort) {
  QV_CALL(glBindBuffer)(GL_ARRAY_BUFFER, 2);
  vertexArray();
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 3);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, 20, nullptr, GL_STATIC_DRAW);
  drop();
  QV_CALL(glDrawArrays)(GL_POINTS, 5, 9);
  QV_CALL(glDrawElements)(GL_POINTS, 5, GL_UNSIGNED_INT, at(64));
  expectStream(Stream()
                   .add(kDrawArrays, GL_POINTS, 5, 9, 0)
                   .add(kDrawElements, GL_POINTS, 5, GL_UNSIGNED_INT, 64, 3, 0, 0, 0xFFFFFFFF, 0));
  EXPECT_TRUE(host.submissions.empty());
  // An element buffer that is too short, or has no record, draws nothing and is no error.
  QV_CALL(glDrawElements)(GL_POINTS, 6, GL_UNSIGNED_INT, nullptr);
  currentVertexArray(&context())->elementArrayBuffer = 99;
  QV_CALL(glDrawElements)(GL_POINTS, 1, GL_UNSIGNED_INT, nullptr);
  expectError(0);
}

// Arrays in the program's memory with indices in a buffer: the guest reads the indices, once, from the host.
TEST_F(Draws, IndicesInABufferAreFetchedOnce) {
  vertexArray();
  const std::vector<GLushort> indices = {7, 7, 3, 4, 3};
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 3);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, 10, indices.data(), GL_STATIC_DRAW);
  host.answerAll(indices);
  drop();
  QV_CALL(glDrawElements)(GL_POINTS, 3, GL_UNSIGNED_SHORT, at(4));
  ASSERT_EQ(host.submissions.size(), 1u);
  std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[1].words.size(), 9u + 6);
  EXPECT_EQ(commands[1].words[4], 3u);
  EXPECT_EQ(commands[1].words[5], 12u);
  EXPECT_EQ(commands[1].words[6], 0u);
  EXPECT_EQ(commands[1].words[7], 3u);
  EXPECT_EQ(commands[1].words[8], 4u);
  QV_CALL(glBufferSubData)(GL_ELEMENT_ARRAY_BUFFER, 4, 2, &indices[0]);
  drop();
  QV_CALL(glDrawElements)(GL_POINTS, 3, GL_UNSIGNED_SHORT, at(4));
  EXPECT_EQ(host.submissions.size(), 1u);
  commands = take();
  ASSERT_EQ(commands.size(), 1u);
  EXPECT_EQ(commands[0].words[8], 7u);
  // Beyond the buffer there are no indices.
  QV_CALL(glDrawElements)(GL_POINTS, 3, GL_UNSIGNED_SHORT, at(uintptr_t{1} << 40));
  QV_CALL(glDrawElements)(GL_POINTS, 3, GL_UNSIGNED_SHORT, at(9));
  EXPECT_EQ(take().size(), 2u);
}

// glArrayElement in a primitive breaks the run and carries one element of every array.
TEST_F(Draws, ArrayElementCarriesOneElement) {
  vertexArray();
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glArrayElement)(7);
  QV_CALL(glEnd)();
  Stream expected;
  expected.large(kRunBroken, words({0}));
  expected.data += words({(24u << 12) | kArrayElement, 7, 12});
  expected.data += elements(bytes, 12, 7, 7);
  expected.add(kEnd);
  expectStream(expected);
  QV_CALL(glArrayElement)(0);
  Stream first;
  first.data = words({(24u << 12) | kArrayElement, 0, 12});
  first.data += elements(bytes, 12, 0, 0);
  expectStream(first);
  QV_CALL(glEnableClientState)(GL_PRIMITIVE_RESTART_NV);
  QV_CALL(glPrimitiveRestartIndexNV)(9);
  context().quirkFlags &= ~kQuirkVertexRuns;
  QV_CALL(glBegin)(GL_LINES);
  drop();
  QV_CALL(glArrayElement)(9);
  expectStream(Stream().add(kEnd).add(kBegin, GL_LINES));
  QV_CALL(glEnd)();
}

// Indirect draws whose words the host can read go there; others become plain draws.
TEST_F(Draws, IndirectDraws) {
  const GLuint record[] = {3, 2, 1, 5};
  QV_CALL(glDrawArraysIndirect)(GL_LINES, nullptr);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glDrawElementsIndirect)(GL_LINES, GL_UNSIGNED_INT, nullptr);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glDrawArraysIndirect)(GL_LINES, record);
  expectStream(Stream().add(kDrawArraysInstancedBaseInstance, GL_LINES, 1, 3, 2, 5, 0));
  QV_CALL(glBindBuffer)(GL_DRAW_INDIRECT_BUFFER, 4);
  QV_CALL(glBufferData)(GL_DRAW_INDIRECT_BUFFER, 16, record, GL_STATIC_DRAW);
  drop();
  QV_CALL(glDrawArraysIndirect)(GL_LINES, at(8));
  QV_CALL(glDrawElementsIndirect)(GL_LINES, GL_UNSIGNED_SHORT, at(12));
  QV_CALL(glMultiDrawArraysIndirect)(GL_LINES, at(4), 2, 32);
  QV_CALL(glMultiDrawElementsIndirect)(GL_LINES, GL_UNSIGNED_BYTE, at(4), 3, 40);
  expectStream(Stream()
                   .add(kDrawArraysIndirect, GL_LINES, 8)
                   .add(kDrawElementsIndirect, GL_LINES, GL_UNSIGNED_SHORT, 12)
                   .add(kMultiDrawArraysIndirect, GL_LINES, 4, 2, 32)
                   .add(kMultiDrawElementsIndirect, GL_LINES, GL_UNSIGNED_BYTE, 4, 3, 40));
  vertexArray();
  host.answerAll(std::vector<GLuint>(std::begin(record), std::end(record)));
  QV_CALL(glDrawArraysIndirect)(GL_LINES, at(0));
  ASSERT_EQ(host.submissions.size(), 1u);
  std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[1].opcode, kDrawArraysInstancedBaseInstance);
  EXPECT_EQ(commands[1].words.size(), 6u + 9);
  // Words that do not lie in the buffer, and a buffer that is too short.
  QV_CALL(glDrawArraysIndirect)(GL_LINES, at(4));
  QV_CALL(glDrawElementsIndirect)(GL_LINES, GL_UNSIGNED_INT, at(0));
  expectError(0);
}

// An indexed indirect draw takes its first index as an offset, in the width of its type.
TEST_F(Draws, IndirectElements) {
  const GLuint record[] = {4, 1, 6, 0xFFFFFFFF, 2};
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 3);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, 100, nullptr, GL_STATIC_DRAW);
  drop();
  for (const auto& [type, offset] :
       {std::pair<GLenum, uint32_t>{GL_UNSIGNED_BYTE, 6}, {GL_UNSIGNED_SHORT, 12}, {GL_UNSIGNED_INT, 24}}) {
    QV_CALL(glDrawElementsIndirect)(GL_LINES, type, record);
    expectStream(
        Stream().add(kDrawElementsInstancedBaseVertexBaseInstance, GL_LINES, 4, type, offset, 1, -1, 2, 3, 0, 0, 0xFFFFFFFF, 0));
  }
}

// Indices end with their buffer, though its copy is longer and a draw goes on.
TEST_F(Draws, IndicesEndWithTheirBuffer) {
  vertexArray(1);
  const std::vector<GLushort> longer(10, 50), shorter = {1, 1, 2, 3, 4};
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 3);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, 20, longer.data(), GL_STATIC_DRAW);
  host.answerAll(longer);
  QV_CALL(glMapBuffer)(GL_ELEMENT_ARRAY_BUFFER, GL_READ_ONLY);
  QV_CALL(glUnmapBuffer)(GL_ELEMENT_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, 10, shorter.data(), GL_STATIC_DRAW);
  drop();
  for (const auto& [offset, least, most] : {std::tuple<uintptr_t, uint32_t, uint32_t>{4, 2, 4}, {8, 4, 4}, {10, 0xFFFFFFFF, 0}}) {
    QV_CALL(glDrawElements)(GL_POINTS, 5, GL_UNSIGNED_SHORT, at(offset));
    const std::vector<Command> commands = take();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_EQ(commands[0].words[7], least) << offset;
    EXPECT_EQ(commands[0].words[8], most) << offset;
  }
}

// A draw that draws nothing leaves its number behind all the same.
TEST_F(Draws, SilentDrawsLeaveTheirNumber) {
  const GLuint indices[] = {1}, record[] = {1, 1, 0, 0, 0};
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 3);
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 0);
  const auto expectNumber = [&](uint32_t opcode) {
    EXPECT_EQ(context().lastOpcode, static_cast<int32_t>(opcode));
    context().lastOpcode = kFlush;
  };
  context().lastOpcode = kFlush;
  drop();
  QV_CALL(glDrawElements)(GL_POINTS, 0, GL_UNSIGNED_INT, indices);
  expectNumber(kDrawElements);
  QV_CALL(glDrawElementsBaseVertex)(GL_POINTS, 0, GL_UNSIGNED_INT, const_cast<GLuint*>(indices), 1);
  expectNumber(kDrawElementsBaseVertex);
  QV_CALL(glDrawElementsInstanced)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, 0);
  expectNumber(kDrawElementsInstanced);
  QV_CALL(glDrawElementsInstancedBaseVertex)(GL_POINTS, 1, GL_UNSIGNED_INT, indices, 0, 1);
  expectNumber(kDrawElementsInstancedBaseVertex);
  QV_CALL(glDrawArraysInstanced)(GL_POINTS, 0, 1, 0);
  expectNumber(kDrawArraysInstanced);
  QV_CALL(glDrawArraysInstancedBaseInstance)(GL_POINTS, 0, 1, 0, 1);
  expectNumber(kDrawArraysInstancedBaseInstance);
  vertexArray();
  QV_CALL(glBindBuffer)(GL_DRAW_INDIRECT_BUFFER, 4);
  QV_CALL(glBufferData)(GL_DRAW_INDIRECT_BUFFER, 20, record, GL_STATIC_DRAW);
  drop();
  QV_CALL(glDrawArraysIndirect)(GL_POINTS, at(8));
  expectNumber(kDrawArraysIndirect);
  QV_CALL(glBindBuffer)(GL_DRAW_INDIRECT_BUFFER, 0);
  QV_CALL(glBindBuffer)(GL_DRAW_INDIRECT_BUFFER, 5);
  QV_CALL(glDrawElementsIndirect)(GL_POINTS, GL_UNSIGNED_INT, at(0));
  expectNumber(kDrawElementsIndirect);
  EXPECT_EQ(takeError(), 0u);
}

// A draw of no elements out of a buffer renews the guest's copy of it before it ends; one of arrays in buffers does not.
TEST_F(Draws, DrawsOfNothingRenewTheCopy) {
  vertexArray();
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 3);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, 4, "abc", GL_STATIC_DRAW);
  drop();
  host.answerAll(std::vector<char>{'a', 'b', 'c', 0});
  QV_CALL(glDrawElements)(GL_POINTS, 0, GL_UNSIGNED_BYTE, at(0));
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kMapBuffer, GL_ELEMENT_ARRAY_BUFFER, GL_READ_ONLY, 4).data);
  expectStream(Stream().add(kUnmapBuffer, GL_ELEMENT_ARRAY_BUFFER, 4, 0x00636261));
  QV_CALL(glDisableClientState)(GL_VERTEX_ARRAY);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, 4, "abc", GL_STATIC_DRAW);
  drop();
  QV_CALL(glDrawElements)(GL_POINTS, 0, GL_UNSIGNED_BYTE, at(0));
  EXPECT_TRUE(pending().empty());
}

// The guest's own look into a buffer that the program has mapped ends that map, with an error; the draw goes on.
TEST_F(Draws, DrawsEndTheMapsOfTheirBuffers) {
  vertexArray();
  const GLubyte indices[] = {3, 4, 5, 6};
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 3);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, 4, indices, GL_STATIC_DRAW);
  host.answerAll(std::vector<GLubyte>(std::begin(indices), std::end(indices)));
  EXPECT_NE(QV_CALL(glMapBuffer)(GL_ELEMENT_ARRAY_BUFFER, GL_READ_ONLY), nullptr);
  drop();
  QV_CALL(glDrawElements)(GL_POINTS, 4, GL_UNSIGNED_BYTE, at(0));
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  const std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[0].opcode, kUnmapBuffer);
  EXPECT_EQ(commands[0].words, (std::vector<uint32_t>{GL_ELEMENT_ARRAY_BUFFER, 4, 0x06050403}));
  EXPECT_EQ(commands[1].opcode, kDrawElements);
  EXPECT_EQ(commands[1].words[7], 3u);
  EXPECT_EQ(commands[1].words[8], 6u);
  EXPECT_EQ(QV_CALL(glUnmapBuffer)(GL_ELEMENT_ARRAY_BUFFER), GL_FALSE);
}

// Indices of a buffer that the host writes are fetched for each draw, for each part between restarts, too.
TEST_F(Draws, IndicesTheHostWritesAreFetchedEachTime) {
  vertexArray();
  const GLubyte indices[] = {3, 9, 5, 9, 6};
  QV_CALL(glBindBuffer)(GL_SHADER_STORAGE_BUFFER, 3);
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 3);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, 5, indices, GL_STATIC_DRAW);
  host.answerAll(std::vector<GLubyte>(std::begin(indices), std::end(indices)));
  for (size_t draw = 1; draw < 4; ++draw) {
    QV_CALL(glDrawElements)(GL_POINTS, 5, GL_UNSIGNED_BYTE, at(0));
    EXPECT_EQ(host.submissions.size(), draw);
  }
  host.submissions.clear();
  QV_CALL(glEnableClientState)(GL_PRIMITIVE_RESTART_NV);
  QV_CALL(glPrimitiveRestartIndexNV)(9);
  QV_CALL(glDrawElements)(GL_POINTS, 5, GL_UNSIGNED_BYTE, at(0));
  EXPECT_EQ(host.submissions.size(), 4u);
}

// Restarts of the NV extension take base vertex and base instance from the draws that they split; without instances the parts
// are plain draws.
TEST_F(Draws, NvRestartLosesTheBases) {
  QV_CALL(glEnableClientState)(GL_PRIMITIVE_RESTART_NV);
  const auto expectParts = [&](uint32_t opcode, uint32_t size, std::vector<uint32_t> extra) {
    const std::vector<Command> commands = take();
    ASSERT_EQ(commands.size(), 2u);
    for (const Command& one : commands) {
      EXPECT_EQ(one.opcode, opcode);
      ASSERT_EQ(one.words.size(), 9 + (size + 3) / 4 + extra.size());
      EXPECT_EQ(std::vector<uint32_t>(one.words.end() - static_cast<std::ptrdiff_t>(extra.size()), one.words.end()), extra);
    }
    EXPECT_EQ(commands[0].words[1], 1u);
    EXPECT_EQ(commands[1].words[1], 1u);
    EXPECT_EQ(context().nvRestartEnabled, 1);
  };
  QV_CALL(glPrimitiveRestartIndexNV)(0xFFFFFFFF);
  const GLuint wide[] = {1, 0xFFFFFFFF, 2};
  QV_CALL(glDrawElements)(GL_POINTS, 3, GL_UNSIGNED_INT, wide);
  expectParts(kDrawElements, 4, {});
  QV_CALL(glDrawElementsBaseVertex)(GL_POINTS, 3, GL_UNSIGNED_INT, const_cast<GLuint*>(wide), 5);
  expectParts(kDrawElements, 4, {});
  QV_CALL(glDrawElementsInstancedEXT)(GL_POINTS, 3, GL_UNSIGNED_INT, wide, 5);
  expectParts(kDrawElementsInstancedARB, 4, {5});
  QV_CALL(glDrawElementsInstancedBaseVertex)(GL_POINTS, 3, GL_UNSIGNED_INT, wide, 6, 7);
  expectParts(kDrawElementsInstancedARB, 4, {6});
  QV_CALL(glDrawElementsInstancedBaseVertexBaseInstance)(GL_POINTS, 3, GL_UNSIGNED_INT, wide, 6, 7, 8);
  expectParts(kDrawElementsInstancedARB, 4, {6});
  QV_CALL(glDrawElementsInstancedBaseVertexBaseInstance)(GL_POINTS, 3, GL_UNSIGNED_INT, wide, 0, 7, 8);
  expectParts(kDrawElements, 4, {});
  // Narrow indices are compared in full width.
  const GLubyte narrow[] = {1, 44, 2};
  QV_CALL(glPrimitiveRestartIndexNV)(300);
  QV_CALL(glDrawElements)(GL_POINTS, 3, GL_UNSIGNED_BYTE, narrow);
  EXPECT_EQ(take().size(), 1u);
  QV_CALL(glPrimitiveRestartIndexNV)(44);
  QV_CALL(glDrawElements)(GL_POINTS, 3, GL_UNSIGNED_BYTE, narrow);
  EXPECT_EQ(take().size(), 2u);
  // The instanced draws of arrays become those of the ARB extension.
  QV_CALL(glPrimitiveRestartIndexNV)(2);
  QV_CALL(glDrawArraysInstanced)(GL_POINTS, 0, 6, 3);
  expectStream(Stream().add(kDrawArraysInstancedARB, GL_POINTS, 0, 2, 0, 3).add(kDrawArraysInstancedARB, GL_POINTS, 3, 3, 0, 3));
  QV_CALL(glDrawArraysInstancedEXT)(GL_POINTS, 3, 6, 3);
  expectStream(Stream().add(kDrawArraysInstancedARB, GL_POINTS, 3, 6, 0, 3));
  EXPECT_EQ(context().nvRestartEnabled, 1);
}

// A negative count and a bad type are refused before a restart splits the draw.
TEST_F(Draws, NvRestartComesAfterTheChecks) {
  QV_CALL(glEnableClientState)(GL_PRIMITIVE_RESTART_NV);
  const GLubyte indices[] = {1};
  QV_CALL(glDrawArrays)(GL_POINTS, 0, -1);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glDrawElements)(GL_POINTS, 1, GL_FLOAT, indices);
  expectError(GL_INVALID_ENUM);
  QV_CALL(glDrawArraysInstanced)(GL_POINTS, 0, -1, 1);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glArrayElement)(-1);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glPrimitiveRestartIndexNV)(0xFFFFFFFF);
  QV_CALL(glArrayElement)(-1);  // the restart index, outside a primitive
  expectError(GL_INVALID_OPERATION);
  EXPECT_EQ(context().nvRestartEnabled, 1);
}

// GL's restart index is compared with the widened index: it counts for narrow indices only where they can have it.
TEST_F(Draws, RestartIndexIsComparedWide) {
  vertexArray(1);
  QV_CALL(glEnable)(GL_PRIMITIVE_RESTART);
  drop();
  const auto expectRange = [&](GLenum type, const void* indices, GLuint restart, uint32_t least, uint32_t most) {
    QV_CALL(glPrimitiveRestartIndex)(restart);
    drop();
    QV_CALL(glDrawElements)(GL_POINTS, 3, type, indices);
    const std::vector<Command> commands = take();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_EQ(commands[0].words[7], least);
    EXPECT_EQ(commands[0].words[8], most);
  };
  const GLubyte narrow[] = {10, 20, 15};
  const GLushort shorts[] = {10, 20, 15};
  const GLuint ints[] = {10, 20, 15};
  for (const GLuint restart : {20u, 20u + 256, 20u + 65536}) {
    expectRange(GL_UNSIGNED_BYTE, narrow, restart, 10, restart == 20 ? 15 : 20);
    expectRange(GL_UNSIGNED_SHORT, shorts, restart, 10, restart == 20 ? 15 : 20);
    expectRange(GL_UNSIGNED_INT, ints, restart, 10, restart == 20 ? 15 : 20);
  }
  expectRange(GL_UNSIGNED_INT, ints, 10, 15, 20);
}

// Rows follow in their order, conventional ones before generic ones, and the section of the instances behind all; an indexed
// draw counts its instances, and its words stand in front.
TEST_F(Draws, RowsStandInTheirOrder) {
  vertexArray(1);
  QV_CALL(glTexCoordPointer)(1, GL_FLOAT, 0, bytes + 32);
  QV_CALL(glEnableClientState)(GL_TEXTURE_COORD_ARRAY);
  QV_CALL(glVertexAttribPointer)(3, 1, GL_FLOAT, GL_FALSE, 0, bytes + 64);
  QV_CALL(glEnableVertexAttribArray)(3);
  QV_CALL(glVertexAttribPointer)(1, 1, GL_FLOAT, GL_FALSE, 0, bytes + 96);
  QV_CALL(glEnableVertexAttribArray)(1);
  for (const GLuint index : {5u, 4u}) {
    QV_CALL(glVertexAttribPointer)(index, 1, GL_FLOAT, GL_FALSE, 0, bytes + 64 + 16 * index);
    QV_CALL(glEnableVertexAttribArray)(index);
    QV_CALL(glVertexAttribDivisor)(index, index - 3);
  }
  const GLushort indices[] = {1, 2};
  drop();
  QV_CALL(glDrawElementsInstancedBaseVertex)(GL_POINTS, 2, GL_UNSIGNED_SHORT, indices, 3, 1);
  std::vector<uint8_t> expected = words(
      {(120u << 12) | kDrawElementsInstancedBaseVertex, GL_POINTS, 2, GL_UNSIGNED_SHORT, low(indices), 0, 0x10010, 4, 1, 2});
  expected.insert(expected.end(), {1, 0, 2, 0});
  expected += words({3, 1});
  for (const uint32_t from : {0u, 32u, 96u, 64u}) expected += elements(bytes + from, 4, 2, 3);
  expected += words({28, 1, 20, 0});
  expected += elements(bytes + 128, 4, 0, 2);
  expected += elements(bytes + 144, 4, 0, 1);
  EXPECT_EQ(one(), expected);
  // glArrayElement takes one instance.
  QV_CALL(glArrayElement)(2);
  expected = words({(52u << 12) | kArrayElement, 2, 0x10010});
  for (const uint32_t from : {0u, 32u, 96u, 64u}) expected += elements(bytes + from, 4, 2, 2);
  expected += words({16, 1, 8, 0});
  expected += elements(bytes + 128, 4, 0, 0);
  expected += elements(bytes + 144, 4, 0, 0);
  EXPECT_EQ(one(), expected);
  // No instances at all are sent as those of one.
  QV_CALL(glDrawElementsInstancedBaseVertexBaseInstance)(GL_POINTS, 2, GL_UNSIGNED_SHORT, indices, 0, 1, 0);
  EXPECT_EQ(take()[0].words.size(), 12u + 1 + 8 + 4 + 2);
}

// Instances alone: an element buffer is then not read, and there is no block.
TEST_F(Draws, InstancesAloneNeedNoIndices) {
  QV_CALL(glVertexAttribPointer)(1, 1, GL_FLOAT, GL_FALSE, 0, bytes);
  QV_CALL(glEnableVertexAttribArray)(1);
  QV_CALL(glVertexAttribDivisor)(1, 1);
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 3);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, 4, "abc", GL_STATIC_DRAW);
  drop();
  QV_CALL(glDrawElementsInstanced)(GL_POINTS, 4, GL_UNSIGNED_BYTE, at(0), 2);
  Stream expected;
  expected.add(kDrawElementsInstanced, GL_POINTS, 4, GL_UNSIGNED_BYTE, 0, 3, 0x10000, 0, 0xFFFFFFFF, 0, 2, 16, 1, 8, 0,
               0x03020100, 0x07060504);
  expectStream(expected);
  EXPECT_TRUE(host.submissions.empty());
}

// A sum of sizes of 65536 is none: the indices of a buffer are not read for it.
TEST_F(Draws, SizesThatAreCutToNothing) {
  std::vector<uint8_t> large(65536, 0xAB);
  QV_CALL(glVertexPointer)(16384, GL_FLOAT, 0, large.data());
  QV_CALL(glEnableClientState)(GL_VERTEX_ARRAY);
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 3);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, 4, "abc", GL_STATIC_DRAW);
  drop();
  QV_CALL(glDrawElements)(GL_POINTS, 4, GL_UNSIGNED_BYTE, at(0));
  expectStream(Stream().add(kDrawElements, GL_POINTS, 4, GL_UNSIGNED_BYTE, 0, 3, 0, 0, 0xFFFFFFFF, 0));
  // One byte more is one.
  QV_CALL(glColorPointer)(1, GL_UNSIGNED_BYTE, 0, bytes);
  QV_CALL(glEnableClientState)(GL_COLOR_ARRAY);
  drop();
  QV_CALL(glDrawArrays)(GL_POINTS, 0, 4);
  expectStream(Stream().add(kDrawArrays, GL_POINTS, 0, 4, 1, 0xABABABAB));
}

// The copy of an indirect buffer is read where the record lies, once it is fetched, up to the buffer's last bytes.
TEST_F(Draws, IndirectRecordsAreReadFromTheCopy) {
  vertexArray(1);
  const std::vector<GLuint> words = {7, 3, 1, 2, 4, 2, 5, 1, 2, 3};
  const GLushort indices[] = {0, 0, 0, 0, 0, 1, 2, 3, 4};
  QV_CALL(glBindBuffer)(GL_DRAW_INDIRECT_BUFFER, 4);
  QV_CALL(glBufferData)(GL_DRAW_INDIRECT_BUFFER, 40, words.data(), GL_STATIC_DRAW);
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 3);
  QV_CALL(glBufferData)(GL_ELEMENT_ARRAY_BUFFER, sizeof indices, indices, GL_STATIC_DRAW);
  drop();
  host.answerAll(words);
  QV_CALL(glDrawArraysIndirect)(GL_LINES, at(24));
  ASSERT_EQ(host.submissions.size(), 1u);
  std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[1].opcode, kDrawArraysInstancedBaseInstance);
  EXPECT_EQ(std::vector<uint32_t>(commands[1].words.begin(), commands[1].words.begin() + 6),
            (std::vector<uint32_t>{GL_LINES, 2, 5, 1, 3, 4}));
  QV_CALL(glDrawArraysIndirect)(GL_LINES, at(28));
  EXPECT_TRUE(take().empty());
  host.answerAll(std::vector<GLushort>(std::begin(indices), std::end(indices)));
  QV_CALL(glDrawElementsIndirect)(GL_LINES, GL_UNSIGNED_SHORT, at(16));
  EXPECT_EQ(host.submissions.size(), 2u);  // the indices, no more the record
  commands = take();
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[1].opcode, kDrawElementsInstancedBaseVertexBaseInstance);
  EXPECT_EQ(std::vector<uint32_t>(commands[1].words.begin(), commands[1].words.begin() + 12),
            (std::vector<uint32_t>{GL_LINES, 4, GL_UNSIGNED_SHORT, 10, 2, 1, 2, 3, 4, 0, 1, 4}));
  QV_CALL(glDrawElementsIndirect)(GL_LINES, GL_UNSIGNED_SHORT, at(20));
  QV_CALL(glDrawElementsIndirect)(GL_LINES, GL_UNSIGNED_SHORT, at(24));
  EXPECT_EQ(take().size(), 1u);
  QV_CALL(glDrawElementsIndirect)(GL_LINES, GL_UNSIGNED_SHORT, at(uintptr_t{1} << 40));
  EXPECT_TRUE(pending().empty());
  // A copy that is out of date is fetched again.
  QV_CALL(glBindBuffer)(GL_COPY_WRITE_BUFFER, 4);
  QV_CALL(glCopyBufferSubData)(GL_COPY_WRITE_BUFFER, GL_COPY_WRITE_BUFFER, 0, 16, 16);
  host.submissions.clear();
  host.answerAll(words);
  QV_CALL(glDrawArraysIndirect)(GL_LINES, at(0));
  EXPECT_EQ(host.submissions.size(), 1u);
}

// An indirect draw of elements without an element buffer has no indices: its first index is no address.
TEST_F(Draws, IndirectElementsNeedABuffer) {
  const GLuint record[] = {4, 1, 6, 0, 0}, negative[] = {0xFFFFFFFF, 1, 6, 0, 0};
  QV_CALL(glDrawElementsIndirect)(GL_LINES, GL_UNSIGNED_INT, record);
  expectError(0);
  QV_CALL(glDrawElementsIndirect)(GL_LINES, GL_UNSIGNED_INT, negative);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glDrawElementsIndirect)(GL_LINES, GL_FLOAT, record);
  expectError(GL_INVALID_ENUM);
}

// The pieces of a multi-draw keep their own offsets, counts and base vertices.
TEST_F(Draws, MultiDrawsKeepTheirPieces) {
  const GLubyte indices[] = {1, 2, 3, 4, 5};
  const GLsizei count[] = {1, 2};
  const void* const pointers[] = {indices, indices + 3};
  const GLint bases[] = {7, 8};
  QV_CALL(glMultiDrawElementsBaseVertex)
  (GL_LINES, const_cast<GLsizei*>(count), GL_UNSIGNED_BYTE, const_cast<void**>(pointers), 2, const_cast<GLint*>(bases));
  std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[0].words[1], 1u);
  EXPECT_EQ(commands[0].words[9], 0x00000701u);
  EXPECT_EQ(commands[1].words[1], 2u);
  EXPECT_EQ(commands[1].words[3], low(indices + 3));
  EXPECT_EQ(commands[1].words[9], 0x00080504u);
  QV_CALL(glMultiDrawElements)(GL_LINES, count, GL_UNSIGNED_BYTE, pointers, 2);
  commands = take();
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[1].words[1], 2u);
  EXPECT_EQ(commands[1].words[9], 0x0504u);
}

// Without a context no argument is looked at.
TEST_F(Draws, NoContextChecksNothing) {
  TlsSetValue(ContextTlsSlot, nullptr);
  const GLubyte indices[] = {1};
  QV_CALL(glDrawRangeElementsBaseVertex)(GL_POINTS, 3, 2, 1, GL_UNSIGNED_BYTE, const_cast<GLubyte*>(indices), 3);
  QV_CALL(glMultiDrawElementsBaseVertex)(GL_LINES, nullptr, GL_UNSIGNED_BYTE, nullptr, -1, nullptr);
  QV_CALL(glDrawArrays)(GL_POINTS, 0, -1);
  QV_CALL(glDrawElementsIndirect)(GL_POINTS, GL_UNSIGNED_INT, nullptr);
  TlsSetValue(ContextTlsSlot, &context());
  expectError(0);
}

}  // namespace
}  // namespace qv::test
