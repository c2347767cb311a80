// Buffer objects: bindings, contents, maps and the guest's copy, over a host that only records.
#include <sys/resource.h>

#include <memory>
#include <vector>

#include "driver/state/buffer_bindings.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"

namespace qv::test {
namespace {

class Buffers : public ContextTest {
 protected:
  explicit Buffers(uint16_t version = 430) : ContextTest(4, version, 1) {}

  // A buffer bound to the target.
  GLuint bound(GLenum target) {
    GLuint name = 0;
    QV_CALL(glGenBuffers)(1, &name);
    QV_CALL(glBindBuffer)(target, name);
    return name;
  }
  BufferObject& object(GLuint name) { return *findBuffer(&context(), name); }
  std::vector<Command> take() {
    const std::vector<Command> commands = parse(pending());
    drop();
    return commands;
  }
  void expectError(GLenum error) {
    EXPECT_EQ(takeError(), error);
    EXPECT_TRUE(pending().empty());
  }
  GLint parameter(GLenum target, GLenum pname) {
    GLint value = -77;
    QV_CALL(glGetBufferParameteriv)(target, pname, &value);
    return value;
  }
};

// The record of a buffer appears at its first bind, even of a name that was never generated, and keeps the first target.
TEST_F(Buffers, FirstBindMakesTheRecord) {
  QV_CALL(glBindBuffer)(GL_ARRAY_BUFFER, 55);
  expectStream(Stream().add(kBindBuffer, GL_ARRAY_BUFFER, 55));
  EXPECT_EQ(object(55).target, static_cast<GLenum>(GL_ARRAY_BUFFER));
  EXPECT_EQ(object(55).size, 0);
  EXPECT_EQ(object(55).usage, static_cast<GLenum>(GL_STATIC_DRAW));
  EXPECT_EQ(object(55).access, static_cast<GLenum>(GL_READ_WRITE));
  EXPECT_EQ(object(55).accessFlags, 0u);
  for (const GLenum pname : {GL_BUFFER_MAPPED, GL_BUFFER_MAP_OFFSET, GL_BUFFER_MAP_LENGTH})
    EXPECT_EQ(parameter(GL_ARRAY_BUFFER, pname), 0) << pname;
  QV_CALL(glBindBuffer)(GL_SHADER_STORAGE_BUFFER, 55);
  EXPECT_EQ(object(55).target, static_cast<GLenum>(GL_ARRAY_BUFFER));
  EXPECT_FALSE(object(55).shadowIsStale());
  EXPECT_EQ(findBuffer(&context(), 56), nullptr);
  EXPECT_EQ(findBuffer(&context(), 0), nullptr);
}

// Every target has a binding of its own, and the element array binding belongs to the vertex array object.
TEST_F(Buffers, TargetsHaveBindingsOfTheirOwn) {
  GLuint name = 100;
  for (const GLenum target : kBufferTargets) QV_CALL(glBindBuffer)(target, name++);
  name = 100;
  for (const GLenum target : kBufferTargets) EXPECT_EQ(*bufferBinding(&context(), target), name++) << target;
  QV_CALL(glBindVertexArray)(3);
  EXPECT_EQ(*bufferBinding(&context(), GL_ELEMENT_ARRAY_BUFFER), 0u);
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 7);
  QV_CALL(glBindVertexArray)(0);
  EXPECT_EQ(*bufferBinding(&context(), GL_ELEMENT_ARRAY_BUFFER), 101u);
}

// A bad target leaves the second of two errors and no command.
TEST_F(Buffers, BadTargetIsRefusedTwice) {
  QV_CALL(glBindBuffer)(0x1234, 5);
  EXPECT_EQ(context().errorsRaised, 2u);
  EXPECT_EQ(context().lastOpcode, static_cast<int32_t>(kBindBuffer));
  expectError(GL_INVALID_OPERATION);
  EXPECT_EQ(findBuffer(&context(), 5), nullptr);
}

// An indexed bind stores slot and general binding; an index beyond the limit, even one of 2^31, and a target without slots are
// refused.
TEST_F(Buffers, IndexedBindsKeepToTheirSlots) {
  context().limits.maxUniformBufferBindings = 36;
  QV_CALL(glBindBufferBase)(GL_UNIFORM_BUFFER, 35, 9);
  expectStream(Stream().add(kBindBufferBase, GL_UNIFORM_BUFFER, 35, 9));
  EXPECT_EQ(context().buffers.indexedUniform[35], 9u);
  EXPECT_EQ(context().buffers.uniform, 9u);
  EXPECT_EQ(object(9).target, static_cast<GLenum>(GL_UNIFORM_BUFFER));
  for (const GLuint index : {36u, 0x80000000u, 0xFFFFFFFFu}) {
    QV_CALL(glBindBufferBase)(GL_UNIFORM_BUFFER, index, 8);
    expectError(GL_INVALID_VALUE);
  }
  QV_CALL(glBindBufferRange)(GL_ARRAY_BUFFER, 0, 8, 0, 4);
  expectError(GL_INVALID_ENUM);
  QV_CALL(glBindBufferRange)(GL_UNIFORM_BUFFER, 2, 9, 256, 512);
  expectStream(Stream().add(kBindBufferRange, GL_UNIFORM_BUFFER, 2, 9, 256, 512));
  QV_CALL(glBindBufferOffsetEXT)(GL_UNIFORM_BUFFER, 3, 9, 64);
  expectStream(Stream().add(kBindBufferOffsetEXT, GL_UNIFORM_BUFFER, 3, 9, 64));
}

// Before the limits are known no index passes.
TEST_F(Buffers, UnknownLimitsLetNoIndexPass) {
  for (const GLenum target : kIndexedTargets) {
    QV_CALL(glBindBufferBase)(target, 0, 5);
    expectError(GL_INVALID_VALUE);
  }
}

// glBufferData carries its data and keeps size and usage; without data it carries none, and the copy is not stale then.
TEST_F(Buffers, BufferDataCarriesItsBytes) {
  const GLuint name = bound(GL_ARRAY_BUFFER);
  drop();
  const uint8_t data[] = {1, 2, 3, 4, 5, 6};
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 6, data, GL_DYNAMIC_DRAW);
  const std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 1u);
  EXPECT_EQ(commands[0].opcode, kBufferData);
  const auto pointer = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(data));
  EXPECT_EQ(commands[0].words, (std::vector<uint32_t>{GL_ARRAY_BUFFER, 6, pointer, GL_DYNAMIC_DRAW, 6, 0x04030201, 0x0605}));
  EXPECT_EQ(object(name).size, 6);
  EXPECT_EQ(object(name).usage, static_cast<GLenum>(GL_DYNAMIC_DRAW));
  EXPECT_EQ(object(name).hostContentsNewer, 1);
  EXPECT_EQ(object(name).store.data(), nullptr);

  const GLuint other = bound(GL_ARRAY_BUFFER);
  drop();
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 8, nullptr, GL_STATIC_DRAW);
  expectStream(Stream().add(kBufferData, GL_ARRAY_BUFFER, 8, 0, GL_STATIC_DRAW, 0));
  EXPECT_EQ(object(other).hostContentsNewer, 0);
}

// Negative sizes, bad targets and targets without a buffer are refused, each with its own error.
TEST_F(Buffers, RefusedUploadsWriteNothing) {
  bound(GL_ARRAY_BUFFER);
  drop();
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, -1, nullptr, GL_STATIC_DRAW);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glBufferData)(0x1234, 4, nullptr, GL_STATIC_DRAW);
  expectError(GL_INVALID_ENUM);
  QV_CALL(glBufferData)(GL_COPY_READ_BUFFER, 4, nullptr, GL_STATIC_DRAW);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glBufferSubData)(0x1234, 0, 4, nullptr);
  expectError(GL_INVALID_ENUM);
  QV_CALL(glBufferSubData)(GL_COPY_READ_BUFFER, 0, 4, nullptr);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glCopyBufferSubData)(GL_ARRAY_BUFFER, GL_COPY_WRITE_BUFFER, 0, 0, 4);
  expectError(GL_INVALID_OPERATION);
  EXPECT_EQ(QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_MAP_READ_BIT), nullptr);
  expectError(GL_INVALID_ENUM);
  EXPECT_EQ(QV_CALL(glMapBuffer)(GL_COPY_READ_BUFFER, GL_READ_ONLY), nullptr);
  expectError(GL_INVALID_OPERATION);
  EXPECT_EQ(QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER), GL_FALSE);
  expectError(GL_INVALID_OPERATION);
  EXPECT_EQ(QV_CALL(glUnmapBuffer)(0x1234), GL_FALSE);
  expectError(GL_INVALID_ENUM);
  QV_CALL(glFlushMappedBufferRange)(GL_COPY_READ_BUFFER, 0, 4);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glTexBuffer)(GL_TEXTURE_BUFFER, GL_R8, 999);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glTexBufferRange)(GL_TEXTURE_BUFFER, GL_R8, 999, 0, 4);
  expectError(GL_INVALID_OPERATION);
}

// The first map after an upload with data reads the buffer from the host, unmapping writes it, and the second map reads nothing.
TEST_F(Buffers, SecondMapReadsNothing) {
  const GLuint name = bound(GL_ARRAY_BUFFER);
  const std::vector<uint8_t> data = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 16, data.data(), GL_STATIC_DRAW);
  drop();
  host.answerAll(data);
  auto* mapping = static_cast<uint8_t*>(QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_WRITE));
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].replySize, 16u);
  EXPECT_EQ(host.submissions[0].presentMode, 0u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kMapBuffer, GL_ARRAY_BUFFER, GL_READ_WRITE, 16).data);
  ASSERT_NE(mapping, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(mapping) % 64, 0u);
  EXPECT_EQ(std::vector<uint8_t>(mapping, mapping + 16), data);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_MAPPED), 1);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_ACCESS_FLAGS), 3);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_MAP_LENGTH), 16);
  void* pointer = nullptr;
  QV_CALL(glGetBufferPointerv)(GL_ARRAY_BUFFER, GL_BUFFER_MAP_POINTER, &pointer);
  EXPECT_EQ(pointer, mapping);
  mapping[3] = 77;
  EXPECT_EQ(QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER), GL_TRUE);
  expectStream(Stream().add(kUnmapBuffer, GL_ARRAY_BUFFER, 16, 0x4D030201, 0x08070605, 0x0C0B0A09, 0x100F0E0D));
  EXPECT_EQ(object(name).access, static_cast<GLenum>(GL_READ_WRITE));
  QV_CALL(glGetBufferPointerv)(GL_ARRAY_BUFFER, GL_BUFFER_MAP_POINTER, &pointer);
  EXPECT_EQ(pointer, nullptr);
  EXPECT_EQ(QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_WRITE), mapping);
  expectStream(Stream().add(kMapBuffer, GL_ARRAY_BUFFER, GL_READ_WRITE, 0));
  EXPECT_EQ(host.submissions.size(), 1u);
}

// A map for writing reads back too; an access of one kind sets its flag alone.
TEST_F(Buffers, WriteOnlyMapReadsBack) {
  bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 4, "abc", GL_STATIC_DRAW);
  QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_WRITE_ONLY);
  EXPECT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_ACCESS_FLAGS), 2);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_ACCESS), GL_WRITE_ONLY);
  EXPECT_EQ(QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_ONLY), nullptr);
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_ACCESS_FLAGS), 2);
  QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_ONLY);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_ACCESS_FLAGS), 1);
}

// A buffer without data is mapped without a question; an empty one has no address.
TEST_F(Buffers, MapWithoutDataAsksNothing) {
  bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 32, nullptr, GL_STATIC_DRAW);
  drop();
  EXPECT_NE(QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_WRITE_ONLY), nullptr);
  expectStream(Stream().add(kMapBuffer, GL_ARRAY_BUFFER, GL_WRITE_ONLY, 0));
  EXPECT_TRUE(host.submissions.empty());
  bound(GL_COPY_READ_BUFFER);
  EXPECT_EQ(QV_CALL(glMapBuffer)(GL_COPY_READ_BUFFER, GL_WRITE_ONLY), nullptr);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(QV_CALL(glUnmapBuffer)(GL_COPY_READ_BUFFER), GL_TRUE);
}

// Buffers that the host writes are read back at every map; what counts is the first target.
TEST_F(Buffers, HostWrittenBuffersAreAlwaysRead) {
  for (const GLenum target :
       {GL_SHADER_STORAGE_BUFFER, GL_ATOMIC_COUNTER_BUFFER, GL_TRANSFORM_FEEDBACK_BUFFER, GL_TEXTURE_BUFFER}) {
    host.submissions.clear();
    const GLuint name = bound(target);
    QV_CALL(glBufferData)(target, 4, nullptr, GL_STATIC_DRAW);
    for (int round = 0; round < 2; ++round) {
      QV_CALL(glMapBuffer)(target, GL_READ_ONLY);
      QV_CALL(glUnmapBuffer)(target);
    }
    EXPECT_EQ(host.submissions.size(), 2u) << target;
    QV_CALL(glBindBuffer)(GL_ARRAY_BUFFER, name);
    QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_ONLY);
    EXPECT_EQ(host.submissions.size(), 3u) << target;
  }
}

// Once there is a copy, uploads keep it current, in their places; a smaller glBufferData keeps the room and later sends its own
// size.
TEST_F(Buffers, UploadsWriteThrough) {
  const GLuint name = bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 8, nullptr, GL_STATIC_DRAW);
  QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_WRITE_ONLY);
  QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 4, "abc", GL_STATIC_DRAW);
  EXPECT_EQ(object(name).hostContentsNewer, 0);
  EXPECT_EQ(object(name).store.capacity, 8u);
  QV_CALL(glBufferSubData)(GL_ARRAY_BUFFER, 2, 1, "X");
  EXPECT_STREQ(reinterpret_cast<char*>(object(name).store.data()), "abX");
  // What does not fit goes to the host and not into the copy.
  drop();
  QV_CALL(glBufferSubData)(GL_ARRAY_BUFFER, 3, 2, "YY");
  QV_CALL(glBufferSubData)(GL_ARRAY_BUFFER, -1, 1, "Z");
  QV_CALL(glBufferSubData)(GL_ARRAY_BUFFER, 4, 1, "Z");
  EXPECT_EQ(take().size(), 3u);
  EXPECT_STREQ(reinterpret_cast<char*>(object(name).store.data()), "abX");
  QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_ONLY);
  EXPECT_TRUE(host.submissions.empty());
  drop();
  QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER);
  EXPECT_EQ(take()[0].words, (std::vector<uint32_t>{GL_ARRAY_BUFFER, 4, 0x00586261}));
}

// Data that lie in the buffer's own copy survive its growing.
TEST_F(Buffers, DataMayLieInTheCopy) {
  const GLuint name = bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 4, nullptr, GL_STATIC_DRAW);
  auto* const mapping = static_cast<char*>(QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_WRITE_ONLY));
  std::memcpy(mapping, "abc", 4);
  QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER);
  std::vector<char> large(5000, 'z');
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 4, mapping, GL_STATIC_DRAW);
  EXPECT_EQ(object(name).hostContentsNewer, 0);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 5000, large.data(), GL_STATIC_DRAW);
  EXPECT_EQ(object(name).store.data()[4999], 'z');
}

// glBufferSubData on a buffer that glMapBuffer has mapped copies nothing and ends the map, as far as the guest counts.
TEST_F(Buffers, UploadEndsTheMap) {
  const GLuint name = bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 4, nullptr, GL_STATIC_DRAW);
  auto* const mapping = static_cast<char*>(QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_WRITE));
  std::memcpy(mapping, "abc", 4);
  QV_CALL(glBufferSubData)(GL_ARRAY_BUFFER, 0, 1, "X");
  EXPECT_STREQ(mapping, "abc");
  EXPECT_EQ(object(name).mapped, 0);
  EXPECT_EQ(object(name).hostContentsNewer, 0);
  drop();
  EXPECT_EQ(QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER), GL_FALSE);
  expectError(GL_INVALID_OPERATION);
}

// A range map of a fresh buffer reads and writes the whole buffer first, then writes no command; unmapping sends the range once,
// whether or not it was flushed, and for reading as well.
TEST_F(Buffers, RangeMapSendsItsRange) {
  for (const GLbitfield access : {GL_MAP_WRITE_BIT, GL_MAP_WRITE_BIT | GL_MAP_FLUSH_EXPLICIT_BIT, GL_MAP_READ_BIT}) {
    host.submissions.clear();
    host.answerAll(std::vector<uint8_t>(64, 0x11));
    const GLuint name = bound(GL_SHADER_STORAGE_BUFFER);
    QV_CALL(glBufferData)(GL_SHADER_STORAGE_BUFFER, 64, nullptr, GL_STATIC_DRAW);
    drop();
    auto* const mapping = static_cast<uint8_t*>(QV_CALL(glMapBufferRange)(GL_SHADER_STORAGE_BUFFER, 16, 32, access));
    ASSERT_NE(mapping, nullptr);
    ASSERT_EQ(host.submissions.size(), 1u);
    EXPECT_EQ(host.submissions[0].stream, Stream().add(kMapBuffer, GL_SHADER_STORAGE_BUFFER, GL_READ_ONLY, 64).data);
    std::vector<Command> commands = take();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_EQ(commands[0].opcode, kUnmapBuffer);
    EXPECT_EQ(commands[0].words.size(), 2u + 16);
    EXPECT_EQ(context().lastOpcode, 1529);
    EXPECT_EQ(parameter(GL_SHADER_STORAGE_BUFFER, GL_BUFFER_MAP_OFFSET), 16);
    EXPECT_EQ(parameter(GL_SHADER_STORAGE_BUFFER, GL_BUFFER_MAP_LENGTH), 32);
    EXPECT_EQ(parameter(GL_SHADER_STORAGE_BUFFER, GL_BUFFER_ACCESS_FLAGS), static_cast<GLint>(access));
    EXPECT_EQ(parameter(GL_SHADER_STORAGE_BUFFER, GL_BUFFER_ACCESS), access == GL_MAP_READ_BIT ? GL_READ_ONLY : GL_WRITE_ONLY);
    void* pointer = nullptr;
    QV_CALL(glGetBufferPointerv)(GL_SHADER_STORAGE_BUFFER, GL_BUFFER_MAP_POINTER, &pointer);
    EXPECT_EQ(pointer, mapping);
    mapping[0] = 0x22;
    EXPECT_EQ(QV_CALL(glUnmapBuffer)(GL_SHADER_STORAGE_BUFFER), GL_TRUE);
    commands = take();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_EQ(commands[0].opcode, kBufferSubData);
    const std::vector<uint32_t>& words = commands[0].words;
    ASSERT_EQ(words.size(), 5u + 8);
    EXPECT_EQ(words[0], static_cast<uint32_t>(GL_SHADER_STORAGE_BUFFER));
    EXPECT_EQ(words[1], 16u);
    EXPECT_EQ(words[2], 32u);
    EXPECT_EQ(words[3], static_cast<uint32_t>(reinterpret_cast<uintptr_t>(mapping)));
    EXPECT_EQ(words[4], 32u);
    EXPECT_EQ(words[5], 0x11111122u);
    EXPECT_EQ(parameter(GL_SHADER_STORAGE_BUFFER, GL_BUFFER_MAP_OFFSET), 0);
    EXPECT_EQ(parameter(GL_SHADER_STORAGE_BUFFER, GL_BUFFER_MAPPED), 0);
    EXPECT_EQ(object(name).mappedRange, 0);
  }
}

// A range map of a buffer with a current copy costs nothing.
TEST_F(Buffers, RangeMapOfACurrentCopyIsFree) {
  bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 64, nullptr, GL_STATIC_DRAW);
  QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_ONLY);
  QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER);
  drop();
  EXPECT_NE(QV_CALL(glMapBufferRange)(GL_ARRAY_BUFFER, 0, 64, GL_MAP_READ_BIT), nullptr);
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(QV_CALL(glMapBufferRange)(GL_ARRAY_BUFFER, 0, 4, GL_MAP_READ_BIT), nullptr);
  expectError(GL_INVALID_OPERATION);
}

// The arguments of glMapBufferRange are checked before the buffer is looked up, and the range after it; sums do not wrap.
TEST_F(Buffers, RangeMapChecksItsArguments) {
  bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 64, nullptr, GL_STATIC_DRAW);
  drop();
  struct {
    GLenum target;
    GLintptr offset;
    GLsizeiptr length;
    GLbitfield access;
    GLenum error;
  } const cases[] = {
      {0x1234, -1, 4, GL_MAP_READ_BIT, GL_INVALID_VALUE},
      {GL_ARRAY_BUFFER, 0, -4, GL_MAP_READ_BIT, GL_INVALID_VALUE},
      {GL_ARRAY_BUFFER, 0, 4, 256 | GL_MAP_READ_BIT, GL_INVALID_VALUE},
      {GL_ARRAY_BUFFER, 0, 4, 0, GL_INVALID_OPERATION},
      {GL_ARRAY_BUFFER, 0, 4, GL_MAP_READ_BIT | GL_MAP_INVALIDATE_RANGE_BIT, GL_INVALID_OPERATION},
      {GL_ARRAY_BUFFER, 0, 4, GL_MAP_READ_BIT | GL_MAP_INVALIDATE_BUFFER_BIT, GL_INVALID_OPERATION},
      {GL_ARRAY_BUFFER, 0, 4, GL_MAP_READ_BIT | GL_MAP_UNSYNCHRONIZED_BIT, GL_INVALID_OPERATION},
      {GL_ARRAY_BUFFER, 0, 4, GL_MAP_READ_BIT | GL_MAP_FLUSH_EXPLICIT_BIT, GL_INVALID_OPERATION},
      {0x1234, 0, 4, GL_MAP_READ_BIT, GL_INVALID_ENUM},
      {GL_COPY_READ_BUFFER, 0, 4, GL_MAP_READ_BIT, GL_INVALID_OPERATION},
      {GL_ARRAY_BUFFER, 61, 4, GL_MAP_READ_BIT, GL_INVALID_VALUE},
      {GL_ARRAY_BUFFER, INT64_MAX, INT64_MAX, GL_MAP_READ_BIT, GL_INVALID_VALUE},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(QV_CALL(glMapBufferRange)(one.target, one.offset, one.length, one.access), nullptr);
    expectError(one.error);
  }
}

// glGetBufferSubData of size 0 asks for the whole size from the offset on, and reads into the program's memory.
TEST_F(Buffers, ReadsGoStraightToTheProgram) {
  bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 16, nullptr, GL_STATIC_DRAW);
  drop();
  uint8_t to[16] = {};
  host.answerAll(std::vector<uint8_t>(16, 7));
  QV_CALL(glGetBufferSubData)(GL_ARRAY_BUFFER, 8, 0, to);
  EXPECT_EQ(host.submissions.back().stream, Stream().add(kGetBufferSubData, GL_ARRAY_BUFFER, 8, 16).data);
  EXPECT_EQ(host.submissions.back().replySize, 16u);
  EXPECT_EQ(to[15], 7);
  QV_CALL(glGetBufferSubData)(GL_ARRAY_BUFFER, 4, 8, to);
  EXPECT_EQ(host.submissions.back().stream, Stream().add(kGetBufferSubData, GL_ARRAY_BUFFER, 4, 8).data);
  EXPECT_EQ(host.submissions.back().replySize, 8u);
  QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_ONLY);
  drop();
  QV_CALL(glGetBufferSubData)(GL_ARRAY_BUFFER, 0, 4, to);
  expectError(GL_INVALID_OPERATION);
}

// Names that the record does not know go to the host with their count; unknown ones are refused.
TEST_F(Buffers, OtherParametersAreTheHosts) {
  bound(GL_ARRAY_BUFFER);
  drop();
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_SIZE), 0);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_USAGE), GL_STATIC_DRAW);
  EXPECT_TRUE(pending().empty());
  host.answerAll(std::vector<GLint>{5});
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_MAX_TEXTURE_SIZE), 5);
  EXPECT_EQ(host.submissions.back().stream, Stream().add(kGetBufferParameteriv, GL_ARRAY_BUFFER, GL_MAX_TEXTURE_SIZE, 1).data);
  GLint64 wide = 0;
  QV_CALL(glGetBufferParameteri64v)(GL_ARRAY_BUFFER, GL_MAX_TEXTURE_SIZE, &wide);
  EXPECT_EQ(host.submissions.back().replySize, 8u);
  parameter(GL_ARRAY_BUFFER, 0x1234);
  expectError(GL_INVALID_ENUM);
  parameter(0x1234, GL_BUFFER_SIZE);
  expectError(GL_INVALID_ENUM);
  parameter(GL_COPY_READ_BUFFER, GL_BUFFER_SIZE);
  expectError(GL_INVALID_OPERATION);
  context().limits.numShaderBinaryFormats = 0;
  parameter(GL_ARRAY_BUFFER, GL_SHADER_BINARY_FORMATS);
  expectError(GL_INVALID_ENUM);
  void* pointer = &wide;
  QV_CALL(glGetBufferPointerv)(GL_ARRAY_BUFFER, GL_BUFFER_SIZE, &pointer);
  expectError(GL_INVALID_ENUM);
  EXPECT_EQ(pointer, &wide);
  QV_CALL(glGetBufferPointerv)(0x1234, GL_BUFFER_MAP_POINTER, &pointer);
  expectError(GL_INVALID_ENUM);
  EXPECT_EQ(pointer, nullptr);
}

// A copy makes the guest's copy of the written buffer stale, if it has a size.
TEST_F(Buffers, CopiesMakeTheCopyStale) {
  bound(GL_COPY_READ_BUFFER);
  const GLuint written = bound(GL_COPY_WRITE_BUFFER);
  drop();
  QV_CALL(glCopyBufferSubData)(GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, 0, 4, 0);
  EXPECT_EQ(object(written).hostContentsNewer, 0);
  QV_CALL(glCopyBufferSubData)(GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, 0, 4, 8);
  EXPECT_EQ(object(written).hostContentsNewer, 1);
  expectStream(Stream()
                   .add(kCopyBufferSubData, GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, 0, 4, 0)
                   .add(kCopyBufferSubData, GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, 0, 4, 8));
}

// Images that are read into a buffer make the guest's copy of it stale.
TEST_F(Buffers, ReadImagesMakeTheCopyStale) {
  const GLuint name = bound(GL_PIXEL_PACK_BUFFER);
  QV_CALL(glReadPixels)(0, 0, 2, 2, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  EXPECT_EQ(object(name).hostContentsNewer, 1);
  object(name).hostContentsNewer = 0;
  QV_CALL(glGetTexImage)(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  EXPECT_EQ(object(name).hostContentsNewer, 1);
  object(name).hostContentsNewer = 0;
  QV_CALL(glGetCompressedTexImage)(GL_TEXTURE_2D, 0, nullptr);
  EXPECT_EQ(object(name).hostContentsNewer, 1);
}

// A clear carries as many bytes as the buffer or the range has, although the program gives one value only: it stands first.
// Nothing behind the value is read.
TEST_F(Buffers, ClearsAreAsLongAsTheirRange) {
  const GLuint name = bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 12, nullptr, GL_STATIC_DRAW);
  drop();
  const std::vector<uint8_t> value = {1, 2};
  QV_CALL(glClearBufferData)(GL_ARRAY_BUFFER, GL_RG8UI, GL_RG_INTEGER, GL_UNSIGNED_BYTE, value.data());
  QV_CALL(glClearBufferSubData)(GL_ARRAY_BUFFER, GL_RG8UI, 4, 8, GL_RG_INTEGER, GL_UNSIGNED_BYTE, value.data());
  EXPECT_EQ(object(name).hostContentsNewer, 1);
  const std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[0].opcode, kClearBufferData);
  EXPECT_EQ(commands[0].words,
            (std::vector<uint32_t>{GL_ARRAY_BUFFER, GL_RG8UI, GL_RG_INTEGER, GL_UNSIGNED_BYTE, 12, 0x0201, 0, 0}));
  EXPECT_EQ(commands[1].opcode, kClearBufferSubData);
  EXPECT_EQ(commands[1].words,
            (std::vector<uint32_t>{GL_ARRAY_BUFFER, GL_RG8UI, 4, 8, GL_RG_INTEGER, GL_UNSIGNED_BYTE, 0x0201, 0}));
  object(name).hostContentsNewer = 0;
  QV_CALL(glClearBufferData)(GL_ARRAY_BUFFER, GL_R8, GL_RED, GL_FLOAT, nullptr);
  EXPECT_EQ(object(name).hostContentsNewer, 0);
  expectStream(Stream().add(kClearBufferData, GL_ARRAY_BUFFER, GL_R8, GL_RED, GL_FLOAT, 0));
  QV_CALL(glClearBufferData)(GL_COPY_READ_BUFFER, GL_R8, GL_RED, GL_FLOAT, nullptr);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glClearBufferSubData)(GL_COPY_READ_BUFFER, GL_R8, 0, 1, GL_RED, GL_FLOAT, nullptr);
  expectError(GL_INVALID_OPERATION);
}

// Deleting resets every indexed binding and the first general one; a name that is bound to two targets stays in the second.
TEST_F(Buffers, DeletionResetsOneGeneralBinding) {
  context().limits.maxUniformBufferBindings = 4;
  const GLuint name = bound(GL_ARRAY_BUFFER);
  QV_CALL(glBindBuffer)(GL_COPY_READ_BUFFER, name);
  QV_CALL(glBindBufferBase)(GL_UNIFORM_BUFFER, 1, name);
  QV_CALL(glBindBufferBase)(GL_UNIFORM_BUFFER, 3, name);
  drop();
  QV_CALL(glDeleteBuffers)(1, &name);
  expectStream(Stream().add(kDeleteBuffers, 1, name));
  EXPECT_EQ(context().buffers.array, 0u);
  EXPECT_EQ(context().buffers.copyRead, name);
  EXPECT_EQ(context().buffers.uniform, name);
  EXPECT_EQ(context().buffers.indexedUniform[1], 0u);
  EXPECT_EQ(context().buffers.indexedUniform[3], 0u);
  EXPECT_EQ(findBuffer(&context(), name), nullptr);
  EXPECT_EQ(QV_CALL(glIsBuffer)(name), GL_FALSE);
  QV_CALL(glDeleteBuffers)(0, &name);
  EXPECT_EQ(take().size(), 1u);
  EXPECT_EQ(takeError(), 0u);
}

// Sizes beyond 32 bits are cut on the wire; their data are left out, as of any command that would be too long.
TEST_F(Buffers, DataThatNoCommandHoldsAreLeftOut) {
  bound(GL_ARRAY_BUFFER);
  drop();
  uint8_t one = 0;
  QV_CALL(glBufferSubData)(GL_ARRAY_BUFFER, 0, (GLsizeiptr{1} << 32) + 16, &one);
  const std::vector<Command> commands = take();
  ASSERT_EQ(commands.size(), 1u);
  EXPECT_EQ(commands[0].words.size(), 5u);
  EXPECT_EQ(commands[0].words[2], 16u);
  EXPECT_EQ(commands[0].words[4], 0xFFFFFFFFu);
}

// All five indexed binds store slot and general binding, make the record, and are refused beyond their limit. Each family has
// slots of its own.
TEST_F(Buffers, IndexedBindsOfAllFamilies) {
  LimitCache& limits = context().limits;
  limits.maxTransformFeedbackSeparateAttribs = 2;
  limits.maxUniformBufferBindings = 3;
  limits.maxAtomicCounterBufferBindings = 4;
  limits.maxShaderStorageBufferBindings = 5;
  const struct {
    GLenum target;
    GLuint limit;
    const uint32_t* slots;
    const uint32_t* general;
  } families[] = {
      {GL_TRANSFORM_FEEDBACK_BUFFER, 2, context().buffers.indexedTransformFeedback, &context().buffers.transformFeedback},
      {GL_UNIFORM_BUFFER, 3, context().buffers.indexedUniform, &context().buffers.uniform},
      {GL_ATOMIC_COUNTER_BUFFER, 4, context().buffers.indexedAtomicCounter, &context().buffers.atomicCounter},
      {GL_SHADER_STORAGE_BUFFER, 5, context().buffers.indexedShaderStorage, &context().buffers.shaderStorage},
  };
  GLuint name = 40;
  for (const auto& [target, limit, slots, general] : families) {
    SCOPED_TRACE(target);
    QV_CALL(glBindBufferBase)(target, limit - 1, ++name);
    EXPECT_EQ(slots[limit - 1], name);
    QV_CALL(glBindBufferBaseEXT)(target, 0, ++name);
    EXPECT_EQ(slots[0], name);
    EXPECT_EQ(*general, name);
    QV_CALL(glBindBufferRange)(target, 0, ++name, 4, 8);
    EXPECT_EQ(slots[0], name);
    QV_CALL(glBindBufferRangeEXT)(target, 1, ++name, 12, 16);
    EXPECT_EQ(slots[1], name);
    QV_CALL(glBindBufferOffsetEXT)(target, 1, ++name, 20);
    EXPECT_EQ(slots[1], name);
    EXPECT_EQ(*general, name);
    EXPECT_EQ(object(name).target, target);
    expectStream(Stream()
                     .add(kBindBufferBase, target, limit - 1, name - 4)
                     .add(1560, target, 0, name - 3)
                     .add(kBindBufferRange, target, 0, name - 2, 4, 8)
                     .add(1558, target, 1, name - 1, 12, 16)
                     .add(kBindBufferOffsetEXT, target, 1, name, 20));
    QV_CALL(glBindBufferBase)(target, limit, 7);
    expectError(GL_INVALID_VALUE);
    QV_CALL(glBindBufferBaseEXT)(target, limit, 7);
    expectError(GL_INVALID_VALUE);
    QV_CALL(glBindBufferRange)(target, limit, 7, 0, 4);
    expectError(GL_INVALID_VALUE);
    QV_CALL(glBindBufferRangeEXT)(target, limit, 7, 0, 4);
    expectError(GL_INVALID_VALUE);
    QV_CALL(glBindBufferOffsetEXT)(target, limit, 7, 0);
    expectError(GL_INVALID_VALUE);
    EXPECT_EQ(*general, name);
    EXPECT_EQ(findBuffer(&context(), 7), nullptr);
  }
  QV_CALL(glBindBufferBase)(GL_ARRAY_BUFFER, 0, 7);
  expectError(GL_INVALID_ENUM);
  QV_CALL(glBindBufferBase)(0x1234, 0, 7);
  expectError(GL_INVALID_ENUM);
  EXPECT_EQ(context().buffers.array, 0u);
}

// A buffer without new data shows in its map what its copy has held before.
TEST_F(Buffers, OldContentsShowWithoutData) {
  bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 4, nullptr, GL_STATIC_DRAW);
  std::memcpy(QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_WRITE_ONLY), "abc", 4);
  QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 4, nullptr, GL_STATIC_DRAW);
  EXPECT_STREQ(static_cast<char*>(QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_ONLY)), "abc");
  EXPECT_TRUE(host.submissions.empty());
}

// A map that the host does not answer shows zeros.
TEST_F(Buffers, MapsWithoutAnAnswerShowZeros) {
  bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 4, "abc", GL_STATIC_DRAW);
  host.failing = true;
  const auto* const mapping = static_cast<const uint8_t*>(QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_ONLY));
  EXPECT_EQ(std::vector<uint8_t>(mapping, mapping + 4), std::vector<uint8_t>(4, 0));
}

// A range map of an array buffer with data, in bytes: the whole buffer is read and written back, then the range goes out, and
// the flags are those of the map that the upload inside makes.
TEST_F(Buffers, RangeMapOfAnArrayBuffer) {
  const GLuint name = bound(GL_ARRAY_BUFFER);
  const std::vector<uint8_t> data(64, 0x11);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 64, data.data(), GL_STATIC_DRAW);
  drop();
  host.answerAll(data);
  constexpr GLbitfield kAccess = GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_RANGE_BIT;
  auto* const mapping = static_cast<uint8_t*>(QV_CALL(glMapBufferRange)(GL_ARRAY_BUFFER, 16, 32, kAccess));
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, words({0x101E0, 0x8892, 0x88B8, 64}));
  EXPECT_EQ(host.submissions[0].replySize, 64u);
  std::vector<uint8_t> back = words({0x4C1E1, 0x8892, 64});
  back += data;
  expectStream(back);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_ACCESS_FLAGS), 6);
  std::memset(mapping, 0x22, 32);
  EXPECT_EQ(QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER), GL_TRUE);
  std::vector<uint8_t> range = words({0x381DE, 0x8892, 16, 32, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(mapping)), 32});
  range += std::vector<uint8_t>(32, 0x22);
  expectStream(range);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_ACCESS_FLAGS), 2);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_ACCESS), GL_READ_WRITE);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_MAP_LENGTH), 0);
  EXPECT_EQ(object(name).hostContentsNewer, 0);
  EXPECT_EQ(object(name).store.data()[16], 0x22);
  EXPECT_EQ(object(name).store.data()[48], 0x11);
  // The copy is current: the next map reads nothing.
  drop();
  QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_WRITE);
  expectStream(words({0x101E0, 0x8892, 0x88BA, 0}));
}

// Reading and writing together is reading and writing; the range may end with the buffer, and may be empty.
TEST_F(Buffers, RangeMapsReachTheEnd) {
  bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 64, nullptr, GL_STATIC_DRAW);
  const auto map = [&](GLintptr offset, GLsizeiptr length, GLbitfield access) {
    const void* const mapping = QV_CALL(glMapBufferRange)(GL_ARRAY_BUFFER, offset, length, access);
    EXPECT_EQ(takeError(), 0u);
    EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_ACCESS), (access & 3) == 3   ? GL_READ_WRITE
                                                            : (access & 1) != 0 ? GL_READ_ONLY
                                                                                : GL_WRITE_ONLY);
    EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_ACCESS_FLAGS), static_cast<GLint>(access));
    EXPECT_EQ(QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER), GL_TRUE);
    return mapping;
  };
  EXPECT_NE(map(60, 4, 3), nullptr);
  EXPECT_NE(map(64, 0, 1), nullptr);
  EXPECT_NE(map(0, 64, GL_MAP_READ_BIT | GL_MAP_WRITE_BIT | GL_MAP_FLUSH_EXPLICIT_BIT), nullptr);
  EXPECT_NE(map(0, 64, GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_BUFFER_BIT | GL_MAP_UNSYNCHRONIZED_BIT), nullptr);
  EXPECT_NE(map(0, 64, GL_MAP_READ_BIT | 128), nullptr);  // a bit that means nothing here
}

// A range map outlives uploads, which pass it by, even one that makes the buffer longer than its copy.
TEST_F(Buffers, UploadsPassARangeMapBy) {
  const GLuint name = bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 8, nullptr, GL_STATIC_DRAW);
  auto* const mapping = static_cast<char*>(QV_CALL(glMapBufferRange)(GL_ARRAY_BUFFER, 0, 8, GL_MAP_WRITE_BIT));
  std::memcpy(mapping, "abcdefg", 8);
  QV_CALL(glBufferSubData)(GL_ARRAY_BUFFER, 0, 1, "X");
  EXPECT_STREQ(mapping, "abcdefg");
  EXPECT_EQ(object(name).mappedRange, 1);
  EXPECT_EQ(object(name).hostContentsNewer, 1);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 4096, nullptr, GL_STATIC_DRAW);
  EXPECT_EQ(parameter(GL_ARRAY_BUFFER, GL_BUFFER_MAPPED), 1);
  EXPECT_STREQ(mapping, "abcdefg");
  drop();
  EXPECT_EQ(QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER), GL_TRUE);
  const auto low = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(mapping));
  expectStream(Stream().add(kBufferSubData, GL_ARRAY_BUFFER, 0, 8, low, 8, 0x64636261, 0x00676665));
}

// What a read of a buffer refuses, and what it does not: a negative size goes out, and nothing comes back.
TEST_F(Buffers, ReadsAreRefusedWithoutABuffer) {
  uint8_t to[16] = {};
  QV_CALL(glGetBufferSubData)(0x1234, 0, 4, to);
  expectError(GL_INVALID_ENUM);
  QV_CALL(glGetBufferSubData)(GL_ARRAY_BUFFER, 0, 4, to);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glCopyBufferSubData)(GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, 0, 0, 4);
  expectError(GL_INVALID_OPERATION);
  EXPECT_EQ(QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER), GL_FALSE);
  expectError(GL_INVALID_OPERATION);
  void* pointer = to;
  QV_CALL(glGetBufferPointerv)(GL_ARRAY_BUFFER, GL_BUFFER_MAP_POINTER, &pointer);
  expectError(GL_INVALID_OPERATION);
  EXPECT_EQ(pointer, nullptr);
  const GLuint name = bound(GL_ARRAY_BUFFER);
  drop();
  QV_CALL(glGetBufferSubData)(GL_ARRAY_BUFFER, 0, -1, to);
  EXPECT_EQ(host.submissions.back().stream, Stream().add(kGetBufferSubData, GL_ARRAY_BUFFER, 0, -1).data);
  EXPECT_EQ(host.submissions.back().replySize, 0u);
  // A range map does not stand in the way.
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 16, nullptr, GL_STATIC_DRAW);
  QV_CALL(glMapBufferRange)(GL_ARRAY_BUFFER, 0, 4, GL_MAP_READ_BIT);
  QV_CALL(glGetBufferSubData)(GL_ARRAY_BUFFER, 0, 16, to);
  EXPECT_EQ(host.submissions.back().replySize, 16u);
  EXPECT_EQ(takeError(), 0u);
  QV_CALL(glCopyBufferSubData)(GL_ARRAY_BUFFER, GL_ARRAY_BUFFER, 0, 8, -4);
  EXPECT_EQ(object(name).hostContentsNewer, 0);
}

// The wide query answers from the record, too; the list of binary formats has as many values as the context has found.
TEST_F(Buffers, WideQueriesReadTheRecord) {
  bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 77, nullptr, GL_STREAM_READ);
  QV_CALL(glMapBufferRange)(GL_ARRAY_BUFFER, 5, 6, GL_MAP_READ_BIT);
  host.submissions.clear();
  drop();
  const std::pair<GLenum, GLint64> values[] = {
      {GL_BUFFER_SIZE, 77},        {GL_BUFFER_USAGE, GL_STREAM_READ}, {GL_BUFFER_ACCESS, GL_READ_ONLY}, {GL_BUFFER_MAPPED, 1},
      {GL_BUFFER_ACCESS_FLAGS, 1}, {GL_BUFFER_MAP_LENGTH, 6},         {GL_BUFFER_MAP_OFFSET, 5}};
  for (const auto& [pname, expected] : values) {
    GLint64 wide = -1;
    QV_CALL(glGetBufferParameteri64v)(GL_ARRAY_BUFFER, pname, &wide);
    EXPECT_EQ(wide, expected) << pname;
  }
  EXPECT_TRUE(pending().empty());
  context().limits.numShaderBinaryFormats = 2;
  GLint formats[2] = {};
  host.answerAll(std::vector<GLint>{7, 8});
  QV_CALL(glGetBufferParameteriv)(GL_ARRAY_BUFFER, GL_SHADER_BINARY_FORMATS, formats);
  EXPECT_EQ(host.submissions.back().stream,
            Stream().add(kGetBufferParameteriv, GL_ARRAY_BUFFER, GL_SHADER_BINARY_FORMATS, 2).data);
  EXPECT_EQ(formats[1], 8);
  GLint64 wide = 0;
  QV_CALL(glGetBufferParameteri64v)(GL_ARRAY_BUFFER, GL_MAX_TEXTURE_SIZE, &wide);
  EXPECT_EQ(takeError(), 0u);
}

// Texture buffers need a record, and none for no buffer.
TEST_F(Buffers, TextureBuffersNeedARecord) {
  const GLuint name = bound(GL_TEXTURE_BUFFER);
  drop();
  QV_CALL(glTexBuffer)(GL_TEXTURE_BUFFER, GL_R8, name);
  QV_CALL(glTexBuffer)(GL_TEXTURE_BUFFER, GL_R8, 0);
  QV_CALL(glTexBufferRange)(GL_TEXTURE_BUFFER, GL_R8, name, 16, 32);
  QV_CALL(glTexBufferRange)(GL_TEXTURE_BUFFER, GL_R8, 0, 0, 0);
  expectStream(Stream()
                   .add(2118, GL_TEXTURE_BUFFER, GL_R8, name)
                   .add(2118, GL_TEXTURE_BUFFER, GL_R8, 0)
                   .add(2381, GL_TEXTURE_BUFFER, GL_R8, name, 16, 32)
                   .add(2381, GL_TEXTURE_BUFFER, GL_R8, 0, 0, 0));
}

// Of two general bindings of a deleted buffer the one that comes first in this order is reset.
TEST_F(Buffers, DeletionLooksInItsOrder) {
  const GLenum order[] = {GL_ARRAY_BUFFER,          GL_ELEMENT_ARRAY_BUFFER,    GL_PIXEL_PACK_BUFFER,
                          GL_PIXEL_UNPACK_BUFFER,   GL_UNIFORM_BUFFER_EXT,      GL_TRANSFORM_FEEDBACK_BUFFER,
                          GL_UNIFORM_BUFFER,        GL_TEXTURE_BUFFER,          GL_COPY_READ_BUFFER,
                          GL_COPY_WRITE_BUFFER,     GL_DRAW_INDIRECT_BUFFER,    GL_ATOMIC_COUNTER_BUFFER,
                          GL_SHADER_STORAGE_BUFFER, GL_DISPATCH_INDIRECT_BUFFER};
  for (size_t i = 0; i + 1 < std::size(order); ++i) {
    const GLuint name = 500 + static_cast<GLuint>(i);
    for (const GLenum target : order) QV_CALL(glBindBuffer)(target, 0);
    QV_CALL(glBindBuffer)(order[i + 1], name);
    QV_CALL(glBindBuffer)(order[i], name);
    QV_CALL(glDeleteBuffers)(1, &name);
    EXPECT_EQ(*bufferBinding(&context(), order[i]), 0u) << order[i];
    EXPECT_EQ(*bufferBinding(&context(), order[i + 1]), name) << order[i];
  }
}

// Every indexed binding of a deleted buffer is reset, in all families, as far as their limits go.
TEST_F(Buffers, DeletionResetsIndexedBindings) {
  LimitCache& limits = context().limits;
  limits.maxTransformFeedbackSeparateAttribs = 2;
  limits.maxUniformBufferBindings = 2;
  limits.maxAtomicCounterBufferBindings = 2;
  limits.maxShaderStorageBufferBindings = 2;
  BufferBindings& buffers = context().buffers;
  uint32_t* const slots[] = {buffers.indexedTransformFeedback, buffers.indexedUniform, buffers.indexedAtomicCounter,
                             buffers.indexedShaderStorage};
  for (uint32_t* const each : slots) {
    each[0] = 5;
    each[1] = each[2] = 6;
  }
  const GLuint names[] = {0, 6, 77};
  QV_CALL(glDeleteBuffers)(3, names);
  for (const uint32_t* const each : slots) {
    EXPECT_EQ(each[0], 5u);
    EXPECT_EQ(each[1], 0u);
    EXPECT_EQ(each[2], 6u);
  }
  QV_CALL(glDeleteBuffers)(-1, names);
  EXPECT_EQ(takeError(), 0u);
}

// An upload of nothing and one to a buffer without a copy leave no copy behind.
TEST_F(Buffers, UploadsAloneMakeNoCopy) {
  const GLuint name = bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 16, "0123456789abcde", GL_STATIC_DRAW);
  QV_CALL(glBufferSubData)(GL_ARRAY_BUFFER, 4, 4, "wxyz");
  EXPECT_EQ(object(name).store.capacity, 0u);
  EXPECT_EQ(object(name).hostContentsNewer, 1);
  EXPECT_EQ(object(name).accessFlags, 0u);
  object(name).hostContentsNewer = 0;
  drop();
  QV_CALL(glBufferSubData)(GL_ARRAY_BUFFER, 4, 4, nullptr);
  EXPECT_EQ(object(name).hostContentsNewer, 0);
  expectStream(Stream().add(kBufferSubData, GL_ARRAY_BUFFER, 4, 4, 0, 0));
}

// A clear value that is longer than the range is cut.
TEST_F(Buffers, ShortClearsCutTheValue) {
  bound(GL_ARRAY_BUFFER);
  drop();
  const uint32_t value[] = {1, 2, 3, 4};
  QV_CALL(glClearBufferSubData)(GL_ARRAY_BUFFER, GL_RGBA32UI, 0, 8, GL_RGBA_INTEGER, GL_UNSIGNED_INT, value);
  QV_CALL(glClearBufferSubData)(GL_ARRAY_BUFFER, GL_RGBA32UI, 0, -8, GL_RGBA_INTEGER, GL_UNSIGNED_INT, value);
  QV_CALL(glClearBufferSubData)(GL_ARRAY_BUFFER, GL_RGBA32UI, 0, 8, GL_RGBA_INTEGER, GL_UNSIGNED_INT, nullptr);
  expectStream(Stream()
                   .add(kClearBufferSubData, GL_ARRAY_BUFFER, GL_RGBA32UI, 0, 8, GL_RGBA_INTEGER, GL_UNSIGNED_INT, 1, 2)
                   .add(kClearBufferSubData, GL_ARRAY_BUFFER, GL_RGBA32UI, 0, -8, GL_RGBA_INTEGER, GL_UNSIGNED_INT)
                   .add(kClearBufferSubData, GL_ARRAY_BUFFER, GL_RGBA32UI, 0, 8, GL_RGBA_INTEGER, GL_UNSIGNED_INT));
}

// A copy that grows keeps what it holds, wherever its first aligned byte lies.
TEST(ShadowStores, GrowthKeepsTheContents) {
  std::vector<std::unique_ptr<ShadowStore>> stores;
  for (uint32_t size = 1; size < 400; size += 16) {
    ShadowStore& store = *stores.emplace_back(std::make_unique<ShadowStore>());
    EXPECT_EQ(store.data(), nullptr);
    store.ensure(size);
    std::memset(store.data(), 0x5A, size);
    store.ensure(size + 777);
    ASSERT_EQ(store.capacity, size + 777);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(store.data()) % 64, 0u);
    EXPECT_EQ(std::vector<uint8_t>(store.data(), store.data() + size), std::vector<uint8_t>(size, 0x5A)) << size;
    uint8_t* const before = store.data();
    store.ensure(size);
    store.ensure(size + 777);
    EXPECT_EQ(store.data(), before);
    EXPECT_EQ(store.capacity, size + 777);
  }
}

// A map for which there is no memory has no address, reads nothing and gives nothing back; the copy stays as it was.
TEST_F(Buffers, MapsWithoutMemoryHaveNoAddress) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer has more memory than this test gives";
#else
  const GLuint name = bound(GL_ARRAY_BUFFER);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 4, nullptr, GL_STATIC_DRAW);
  auto* const mapping = static_cast<char*>(QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_WRITE_ONLY));
  std::memcpy(mapping, "abc", 4);
  QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER);
  object(name).hostContentsNewer = 1;
  rlimit before{}, little{};
  ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
  little = before;
  little.rlim_cur = rlim_t{1} << 30;
  ASSERT_EQ(setrlimit(RLIMIT_AS, &little), 0);
  QV_CALL(glBufferData)(GL_ARRAY_BUFFER, 0x7FFFFFFF, nullptr, GL_STATIC_DRAW);
  object(name).hostContentsNewer = 1;
  drop();
  EXPECT_EQ(QV_CALL(glMapBuffer)(GL_ARRAY_BUFFER, GL_READ_WRITE), nullptr);
  EXPECT_EQ(setrlimit(RLIMIT_AS, &before), 0);
  expectStream(Stream().add(kMapBuffer, GL_ARRAY_BUFFER, GL_READ_WRITE, 0));
  EXPECT_EQ(object(name).store.capacity, 4u);
  EXPECT_TRUE(host.submissions.empty());
  EXPECT_EQ(QV_CALL(glUnmapBuffer)(GL_ARRAY_BUFFER), GL_TRUE);
  expectStream(Stream().add(kUnmapBuffer, GL_ARRAY_BUFFER, 4, 0x00636261));
  EXPECT_EQ(takeError(), 0u);
#endif
}

}  // namespace
}  // namespace qv::test
