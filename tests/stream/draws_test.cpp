// Draws from arrays: the bytes of their commands, the splitting of restarts, and the draws that the guest reads itself.
#include <numeric>

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

}  // namespace
}  // namespace qv::test
