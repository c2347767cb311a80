// Labels of objects, kind by kind.
#include <sys/resource.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "driver/base/current_context.h"
#include "driver/objects/display_list_stream.h"
#include "driver/state/shared_objects.h"
#include "tests/stream/program_fixture.h"

namespace qv::test {
namespace {

class Labels : public ProgramTest {
 protected:
  void label(GLenum identifier, GLuint name, const char* text, GLsizei length = -1) {
    QV_CALL(glObjectLabel)(identifier, name, length, text);
  }
  // The label, whose length is told, too.
  std::string read(GLenum identifier, GLuint name) {
    GLchar text[512];
    std::memset(text, 0x7F, sizeof text);
    GLsizei length = -1;
    QV_CALL(glGetObjectLabel)(identifier, name, sizeof text, &length, text);
    if (length < 0) return "nothing";
    EXPECT_EQ(std::strlen(text), static_cast<size_t>(length));
    return text;
  }
  void expectRefused(GLenum identifier, GLuint name, GLenum error) {
    label(identifier, name, "x");
    EXPECT_EQ(takeError(), error) << std::hex << identifier;
    EXPECT_EQ(read(identifier, name), "nothing");
    EXPECT_EQ(takeError(), error);
  }
  void expectLabelled(GLenum identifier, GLuint name) {
    EXPECT_EQ(read(identifier, name), "") << std::hex << identifier;
    label(identifier, name, "a label");
    EXPECT_EQ(read(identifier, name), "a label");
    label(identifier, name, nullptr);
    EXPECT_EQ(read(identifier, name), "");
    label(identifier, name, "it stays");
    EXPECT_EQ(takeError(), 0u) << std::hex << identifier;
  }
};

// Objects that the guest knows take a label; names that are generated and never bound are refused, and so are unknown ones.
TEST_F(Labels, KnownObjectsTakeLabels) {
  GLuint names[2];
  const auto check = [&](GLenum identifier, GLuint known, GLuint generated) {
    expectRefused(identifier, 0, GL_INVALID_VALUE);
    expectRefused(identifier, 99, GL_INVALID_VALUE);
    if (generated != 0) expectRefused(identifier, generated, GL_INVALID_VALUE);
    expectLabelled(identifier, known);
  };
  QV_CALL(glGenTextures)(2, names);
  QV_CALL(glBindTexture)(GL_TEXTURE_2D, names[0]);
  check(GL_TEXTURE, names[0], names[1]);
  QV_CALL(glGenBuffers)(2, names);
  QV_CALL(glBindBuffer)(GL_ARRAY_BUFFER, names[0]);
  check(GL_BUFFER, names[0], names[1]);
  QV_CALL(glGenVertexArrays)(2, names);
  QV_CALL(glBindVertexArray)(names[0]);
  check(GL_VERTEX_ARRAY, names[0], names[1]);
  EXPECT_EQ(read(GL_VERTEX_ARRAY_OBJECT_EXT, names[0]), "it stays");
  QV_CALL(glGenTransformFeedbacks)(2, names);
  QV_CALL(glBindTransformFeedback)(GL_TRANSFORM_FEEDBACK, names[0]);
  check(GL_TRANSFORM_FEEDBACK, names[0], names[1]);
  QV_CALL(glCreateShader)(GL_VERTEX_SHADER);
  check(GL_SHADER, 5, 0);
  QV_CALL(glGenQueries)(2, names);
  QV_CALL(glBeginQuery)(GL_SAMPLES_PASSED, names[0]);
  check(GL_QUERY, names[0], names[1]);
  EXPECT_EQ(read(GL_QUERY_OBJECT_EXT, names[0]), "it stays");
  QV_CALL(glNewList)(3, GL_COMPILE);
  QV_CALL(glEndList)();
  QV_CALL(glGenLists)(1);
  check(GL_DISPLAY_LIST, 3, 1);
  ASSERT_NE(usesPipeline(&context(), 4, true), nullptr);
  check(GL_PROGRAM_PIPELINE, 4, 0);
  EXPECT_EQ(read(GL_PROGRAM_PIPELINE_OBJECT_EXT, 4), "it stays");
}

// Samplers, framebuffers and renderbuffers take labels under any name, of which the host may know nothing.
TEST_F(Labels, AnyNameOfThreeKindsTakesLabels) {
  for (const GLenum identifier : {GL_SAMPLER, GL_FRAMEBUFFER, GL_RENDERBUFFER}) {
    label(identifier, 0, "x");
    EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_VALUE));
    expectLabelled(identifier, 5);
    EXPECT_EQ(read(identifier, 6), "");
  }
  EXPECT_TRUE(pending().empty());
}

// A program that was never linked gets an empty record with its label: the guest then answers for its resources. A link keeps the
// label.
TEST_F(Labels, UnlinkedProgramGetsARecord) {
  expectRefused(GL_PROGRAM, 2, GL_INVALID_VALUE);
  QV_CALL(glCreateProgram)();
  EXPECT_EQ(record(), nullptr);
  expectLabelled(GL_PROGRAM, 2);
  EXPECT_EQ(read(GL_PROGRAM_OBJECT_EXT, 2), "it stays");
  ASSERT_NE(record(), nullptr);
  host.submissions.clear();
  GLint active = -1;
  QV_CALL(glGetProgramiv)(2, GL_ACTIVE_UNIFORMS, &active);
  EXPECT_EQ(active, 0);
  EXPECT_TRUE(host.submissions.empty());
  answerLists({}, {});
  QV_CALL(glLinkProgram)(2);
  EXPECT_EQ(read(GL_PROGRAM, 2), "it stays");
}

// The record that a label makes of a current program knows that it is current: the program's deletion waits.
TEST_F(Labels, LabelledProgramIsStillCurrent) {
  QV_CALL(glCreateProgram)();
  QV_CALL(glUseProgram)(2);
  label(GL_PROGRAM, 2, "x");
  blank();
  QV_CALL(glDeleteProgram)(2);
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(read(GL_PROGRAM, 2), "x");
  QV_CALL(glUseProgram)(0);
  expectStream(Stream().add(kUseProgram, 0).add(kDeleteProgram, 2));
  EXPECT_EQ(read(GL_PROGRAM, 2), "nothing");
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_VALUE));
}

// An unknown kind of object is GL_INVALID_ENUM.
TEST_F(Labels, UnknownKindsAreRefused) {
  for (const GLenum identifier : {0, GL_TEXTURE_2D, 0x82E5, 0x9151}) expectRefused(identifier, 1, GL_INVALID_ENUM);
}

// A label of any length is stored whole; from 256 characters on it is an error all the same, measured or told.
TEST_F(Labels, LongLabelsAreErrorsAndStored) {
  for (const size_t size : {255u, 256u, 300u}) {
    const std::string text(size, 'a');
    const uint32_t error = size < 256 ? 0u : static_cast<uint32_t>(GL_INVALID_VALUE);
    label(GL_FRAMEBUFFER, 5, text.c_str());
    EXPECT_EQ(takeError(), error);
    EXPECT_EQ(read(GL_FRAMEBUFFER, 5), text);
    label(GL_FRAMEBUFFER, 6, (text + "b").c_str(), static_cast<GLsizei>(size));
    EXPECT_EQ(takeError(), error);
    EXPECT_EQ(read(GL_FRAMEBUFFER, 6), text);
  }
  label(GL_FRAMEBUFFER, 5, "abc", 0);
  EXPECT_EQ(read(GL_FRAMEBUFFER, 5), "");
}

// Without memory for a label there is none, and the old one is gone; no error tells of it but that of the length. (The sanitizers'
// own memory leaves no limit to set.)
TEST_F(Labels, LabelsNeedMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer maps more than any limit";
#endif
  label(GL_FRAMEBUFFER, 5, "old");
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
  rlimit little = before;
  little.rlim_cur = 1u << 30;
  ASSERT_EQ(setrlimit(RLIMIT_AS, &little), 0);
  label(GL_FRAMEBUFFER, 5, "x", 0x7FFFFFFF);
  ASSERT_EQ(setrlimit(RLIMIT_AS, &before), 0);
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(read(GL_FRAMEBUFFER, 5), "");
  EXPECT_EQ(takeError(), 0u);
}

// A read gives what fits with its zero, and its length; without room the whole length, and nothing is written.
TEST_F(Labels, ReadsAreCut) {
  label(GL_FRAMEBUFFER, 5, "abcdef");
  GLchar text[8] = "zzzzzzz";
  GLsizei length = -1;
  QV_CALL(glGetObjectLabel)(GL_FRAMEBUFFER, 5, 4, &length, text);
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(length, 3);
  EXPECT_EQ(text[4], 'z');
  QV_CALL(glGetObjectLabel)(GL_FRAMEBUFFER, 5, 6, &length, text);
  EXPECT_STREQ(text, "abcde");
  QV_CALL(glGetObjectLabel)(GL_FRAMEBUFFER, 5, 7, &length, text);
  EXPECT_STREQ(text, "abcdef");
  EXPECT_EQ(length, 6);
  text[0] = 'z';
  QV_CALL(glGetObjectLabelEXT)(GL_FRAMEBUFFER, 5, 0, &length, text);
  EXPECT_EQ(length, 6);
  EXPECT_EQ(text[0], 'z');
  length = -1;
  QV_CALL(glGetObjectLabel)(GL_FRAMEBUFFER, 5, 4, &length, nullptr);
  EXPECT_EQ(length, 6);
  QV_CALL(glGetObjectLabel)(GL_FRAMEBUFFER, 5, 4, nullptr, text);
  EXPECT_STREQ(text, "abc");
  QV_CALL(glGetObjectLabel)(GL_FRAMEBUFFER, 7, 4, &length, text);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(length, 0);
  EXPECT_EQ(takeError(), 0u);
  QV_CALL(glGetObjectLabel)(GL_FRAMEBUFFER, 5, -1, &length, text);
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_VALUE));
}

// Sync objects are found by the low half of their handle; the EXT names are the same routines otherwise.
TEST_F(Labels, SyncsTakeLabels) {
  const auto sync = reinterpret_cast<const void*>(uintptr_t{6});
  QV_CALL(glObjectPtrLabel)(sync, -1, "none");
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  context().shareGroup->table(ShareSlot::kSyncs).set(6, new LabelRecord);
  QV_CALL(glObjectPtrLabel)(sync, 4, "fence");
  GLchar text[8] = {};
  GLsizei length = 0;
  QV_CALL(glGetObjectPtrLabel)(sync, 8, &length, text);
  EXPECT_STREQ(text, "fenc");
  EXPECT_EQ(length, 4);
  EXPECT_EQ(takeError(), 0u);
  QV_CALL(glGetObjectPtrLabel)(sync, -1, &length, text);
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  QV_CALL(glGetObjectPtrLabel)(reinterpret_cast<const void*>(uintptr_t{7}), 8, &length, text);
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  QV_CALL(glLabelObjectEXT)(GL_SAMPLER, 3, 0, "x");
  QV_CALL(glLabelObjectEXT)(GL_SAMPLER, 3, -1, "sampler");
  EXPECT_EQ(read(GL_SAMPLER, 3), "sampler");
}

// The label of a list stays when the list is defined again, and a list may be labelled while it is first recorded.
TEST_F(Labels, ListsKeepTheirLabels) {
  QV_CALL(glNewList)(3, GL_COMPILE_AND_EXECUTE);
  label(GL_DISPLAY_LIST, 3, "first");
  EXPECT_EQ(read(GL_DISPLAY_LIST, 3), "first");
  QV_CALL(glEndList)();
  EXPECT_EQ(read(GL_DISPLAY_LIST, 3), "first");
  QV_CALL(glNewList)(3, GL_COMPILE);
  QV_CALL(glEndList)();
  EXPECT_EQ(read(GL_DISPLAY_LIST, 3), "first");
  EXPECT_EQ(takeError(), 0u);
}

// The debug callback of a refused label may label objects: no lock is held.
int32_t held = -1;
void APIENTRY lookAtLock(GLenum, GLenum, GLuint, GLenum, GLsizei, const GLchar*, const void* group) {
  // Another thread would wait here if the lock were held.
  CRITICAL_SECTION* const lock = &const_cast<ShareGroup*>(static_cast<const ShareGroup*>(group))->lock;
  std::thread other([lock] {
    EnterCriticalSection(lock);
    held = 0;
    LeaveCriticalSection(lock);
  });
  other.join();
}
TEST_F(Labels, NoLockIsHeldAtAnError) {
  QV_CALL(glDebugMessageCallback)(lookAtLock, context().shareGroup);
  QV_CALL(glEnable)(GL_DEBUG_OUTPUT);
  const std::string tooLong(256, 'a');
  const std::function<void()> calls[] = {[&] { label(GL_TEXTURE, 99, "x"); }, [&] { read(GL_TEXTURE, 99); },
                                         [&] { label(GL_SAMPLER, 1, tooLong.c_str()); },
                                         [&] { QV_CALL(glObjectPtrLabel)
                                               (nullptr, -1, "x"); }};
  for (const auto& each : calls) {
    held = -1;
    each();
    EXPECT_EQ(held, 0);
  }
  takeError();
}

// Without a current context nothing happens.
TEST_F(Labels, NothingHappensWithoutAContext) {
  TlsSetValue(ContextTlsSlot, nullptr);
  label(GL_SAMPLER, 1, "x");
  QV_CALL(glObjectPtrLabel)(nullptr, -1, "x");
  EXPECT_EQ(read(GL_SAMPLER, 1), "nothing");
  GLsizei length = -1;
  QV_CALL(glGetObjectPtrLabel)(nullptr, 4, &length, nullptr);
  EXPECT_EQ(length, -1);
  TlsSetValue(ContextTlsSlot, &context());
  EXPECT_EQ(context().shareGroup->table(ShareSlot::kSamplers).count, 0);
}

}  // namespace
}  // namespace qv::test
