// Selection, feedback and the maps of evaluators: their commands, and the program's buffers.
#include <cstring>

#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"

namespace qv::test {
namespace {

constexpr uint32_t kInvalidOperation = GL_INVALID_OPERATION;

uint32_t half(const void* pointer) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer)); }

class Selection : public ContextTest {
 protected:
  GLint mode(GLenum value) {
    const GLint answer = QV_CALL(glRenderMode)(value);
    expectMode(value);
    return answer;
  }
  void expectMode(GLenum value) {
    ASSERT_FALSE(host.submissions.empty());
    EXPECT_EQ(parse(host.submissions.back().stream).back().opcode, kRenderMode);
    EXPECT_EQ(parse(host.submissions.back().stream).back().words, std::vector<uint32_t>{value});
  }
  const Submission& last() { return host.submissions.back(); }

  GLuint hits[64] = {};
  GLfloat values[64] = {};
};

// The buffers' commands carry size, type and the low half of the pointer; the sizes are answered by the guest.
TEST_F(Selection, BuffersAreToldByTheirSizes) {
  QV_CALL(glSelectBuffer)(64, hits);
  expectStream(words({0xC0C3, 64, half(hits)}));
  EXPECT_EQ(context().lastOpcode, kSelectBuffer);
  QV_CALL(glFeedbackBuffer)(32, GL_3D_COLOR, values);
  expectStream(words({0x100C2, 32, GL_3D_COLOR, half(values)}));
  EXPECT_EQ(context().lastOpcode, kFeedbackBuffer);
  GLint size = 0;
  QV_CALL(glGetIntegerv)(GL_SELECTION_BUFFER_SIZE, &size);
  EXPECT_EQ(size, 64);
  QV_CALL(glGetIntegerv)(GL_FEEDBACK_BUFFER_SIZE, &size);
  EXPECT_EQ(size, 32);
  void* pointer = nullptr;
  QV_CALL(glGetPointerv)(GL_SELECTION_BUFFER_POINTER, &pointer);
  EXPECT_EQ(pointer, hits);
  QV_CALL(glGetPointerv)(GL_FEEDBACK_BUFFER_POINTER, &pointer);
  EXPECT_EQ(pointer, values);
}

// glRenderMode always asks the host, for one word, and answers with it; the program's buffer is offered when a mode ends, also
// when the next one is the same.
TEST_F(Selection, BufferIsOfferedWhenItsModeEnds) {
  QV_CALL(glSelectBuffer)(64, hits);
  QV_CALL(glFeedbackBuffer)(32, GL_2D, values);
  host.answerCommand(kRenderMode, words({0}), {});
  EXPECT_EQ(mode(GL_SELECT), 0);
  EXPECT_EQ(last().stream, words({0xC0C3, 64, half(hits), 0x100C2, 32, GL_2D, half(values), 0x80C4, GL_SELECT}));
  EXPECT_EQ(last().presentMode, 0u);
  EXPECT_EQ(last().replySize, 4u);
  EXPECT_EQ(last().reply2Size, 0u);
  EXPECT_EQ(context().renderMode, static_cast<uint32_t>(GL_SELECT));
  host.answerCommand(kRenderMode, words({2}), words({1, 2, 3, 4}));
  EXPECT_EQ(mode(GL_SELECT), 2);
  EXPECT_EQ(last().reply2Size, 256u);
  EXPECT_EQ(hits[0], 1u);
  EXPECT_EQ(hits[3], 4u);
  EXPECT_EQ(mode(GL_FEEDBACK), 2);
  EXPECT_EQ(last().reply2Size, 256u);
  EXPECT_EQ(mode(GL_RENDER), 2);
  EXPECT_EQ(last().reply2Size, 128u);
  uint32_t word = 0;
  std::memcpy(&word, values, 4);
  EXPECT_EQ(word, 1u);
  EXPECT_EQ(mode(GL_RENDER), 2);
  EXPECT_EQ(last().reply2Size, 0u);
  EXPECT_EQ(context().renderMode, static_cast<uint32_t>(GL_RENDER));
}

// A mode that the host refuses leaves the guest in the old one: an unknown one, and one without a buffer.
TEST_F(Selection, RefusedModesAreNotTaken) {
  mode(GL_SELECT);
  EXPECT_EQ(context().renderMode, static_cast<uint32_t>(GL_RENDER));
  mode(GL_FEEDBACK);
  EXPECT_EQ(context().renderMode, static_cast<uint32_t>(GL_RENDER));
  QV_CALL(glSelectBuffer)(1, hits);
  QV_CALL(glFeedbackBuffer)(1, GL_2D, values);
  mode(GL_FEEDBACK);
  EXPECT_EQ(context().renderMode, static_cast<uint32_t>(GL_FEEDBACK));
  mode(GL_POINTS);
  EXPECT_EQ(context().renderMode, static_cast<uint32_t>(GL_FEEDBACK));
  mode(GL_SELECT);
  EXPECT_EQ(context().renderMode, static_cast<uint32_t>(GL_SELECT));
}

// A buffer that the host refuses does not take the place of the one in use: its results must not go anywhere else.
TEST_F(Selection, RefusedBuffersAreNotTaken) {
  QV_CALL(glSelectBuffer)(64, hits);
  QV_CALL(glFeedbackBuffer)(32, GL_2D, values);
  QV_CALL(glSelectBuffer)(-1, nullptr);
  QV_CALL(glFeedbackBuffer)(-1, GL_2D, nullptr);
  QV_CALL(glFeedbackBuffer)(8, GL_2D - 1, nullptr);
  QV_CALL(glFeedbackBuffer)(8, GL_4D_COLOR_TEXTURE + 1, nullptr);
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glSelectBuffer)(8, nullptr);
  QV_CALL(glFeedbackBuffer)(8, GL_2D, nullptr);
  QV_CALL(glEnd)();
  mode(GL_SELECT);
  QV_CALL(glSelectBuffer)(8, nullptr);
  EXPECT_EQ(context().selectionBufferSize, 64);
  EXPECT_EQ(context().selectionBuffer, hits);
  mode(GL_FEEDBACK);
  QV_CALL(glFeedbackBuffer)(8, GL_2D, nullptr);
  EXPECT_EQ(context().feedbackBufferSize, 32);
  EXPECT_EQ(context().feedbackBuffer, values);
  QV_CALL(glSelectBuffer)(16, hits + 1);
  EXPECT_EQ(context().selectionBuffer, hits + 1);
  mode(GL_RENDER);
  for (const GLenum type : {GL_2D, GL_3D, GL_3D_COLOR, GL_3D_COLOR_TEXTURE, GL_4D_COLOR_TEXTURE}) {
    QV_CALL(glFeedbackBuffer)(static_cast<GLsizei>(type - GL_2D + 1), type, values);
    EXPECT_EQ(context().feedbackBufferSize, static_cast<int32_t>(type - GL_2D + 1));
  }
  EXPECT_EQ(takeError(), 0u);
}

// A buffer is offered as far as the length of a reply goes.
TEST_F(Selection, LengthsOfBuffersAreCut) {
  host.leavesReplies = true;
  const std::pair<GLsizei, uint32_t> sizes[] = {
      {1, 4}, {0x3FFFFFFF, 0xFFFFFFFC}, {0x40000000, 0xFFFFFFFC}, {0x40000001, 0xFFFFFFFC}, {0x7FFFFFFF, 0xFFFFFFFC}};
  for (const auto& [size, bytes] : sizes) {
    QV_CALL(glSelectBuffer)(size, hits);
    mode(GL_SELECT);
    QV_CALL(glFeedbackBuffer)(size, GL_2D, values);
    mode(GL_FEEDBACK);
    EXPECT_EQ(last().reply2Size, bytes) << size;
    mode(GL_RENDER);
    EXPECT_EQ(last().reply2Size, bytes) << size;
  }
}

// A buffer of no words takes the place of another one, and its mode is not entered.
TEST_F(Selection, EmptyBuffersAreTaken) {
  QV_CALL(glSelectBuffer)(64, hits);
  QV_CALL(glFeedbackBuffer)(32, GL_2D, values);
  QV_CALL(glSelectBuffer)(0, hits);
  QV_CALL(glFeedbackBuffer)(0, GL_2D, values);
  for (const GLenum name : {GL_SELECTION_BUFFER_SIZE, GL_FEEDBACK_BUFFER_SIZE}) {
    GLint size = -1;
    QV_CALL(glGetIntegerv)(name, &size);
    EXPECT_EQ(size, 0) << name;
  }
  for (const GLenum value : {GL_SELECT, GL_FEEDBACK}) {
    mode(value);
    EXPECT_EQ(context().renderMode, static_cast<uint32_t>(GL_RENDER));
  }
}

// A buffer without an address is not offered.
TEST_F(Selection, NullBufferIsNotOffered) {
  QV_CALL(glSelectBuffer)(8, nullptr);
  mode(GL_SELECT);
  mode(GL_RENDER);
  EXPECT_EQ(last().reply2Size, 0u);
}

// Inside glBegin the mode is refused and nothing is sent; the buffers' commands go out and break the run.
TEST_F(Selection, ModeIsRefusedInsidePrimitives) {
  QV_CALL(glBegin)(GL_POINTS);
  EXPECT_EQ(QV_CALL(glRenderMode)(GL_SELECT), 0);
  EXPECT_EQ(takeError(), kInvalidOperation);
  EXPECT_EQ(context().lastOpcode, kRenderMode);
  EXPECT_TRUE(host.submissions.empty());
  QV_CALL(glEnd)();
}

// A failing flush answers 0, and so does one that has no window and leaves the answer alone.
TEST_F(Selection, FailingHostAnswersNothing) {
  host.failing = true;
  EXPECT_EQ(mode(GL_RENDER), 0);
  host.failing = false;
  host.leavesReplies = true;
  EXPECT_EQ(mode(GL_RENDER), 0);
}

class Evaluators : public ContextTest {
 protected:
  Evaluators() {
    for (int i = 0; i < 256; ++i) floats[i] = static_cast<float>(i), doubles[i] = i;
  }
  // The header and payload of the last command.
  uint32_t header() {
    uint32_t word = 0;
    std::memcpy(&word, pending().data(), 4);
    return word;
  }
  // The elements behind the arguments, which take `fixed` bytes.
  template <typename T>
  std::vector<T> tail(size_t fixed) {
    const std::vector<uint8_t> bytes = pending();
    std::vector<T> out((bytes.size() - 4 - fixed) / sizeof(T));
    if (!out.empty()) std::memcpy(out.data(), bytes.data() + 4 + fixed, out.size() * sizeof(T));
    drop();
    return out;
  }
  float floats[256];
  double doubles[256];
};

// A map of one dimension carries its points from the first to the last, with what lies between them.
TEST_F(Evaluators, CurvesCarryTheirSpan) {
  QV_CALL(glMap1f)(GL_MAP1_VERTEX_3, 0.25f, 1.0f, 3, 4, floats);
  EXPECT_EQ(header(), 0x480DDu);
  Stream expected = Stream().add(kMap1f, GL_MAP1_VERTEX_3, 0.25f, 1.0f, 3, 4);
  std::vector<uint8_t> bytes = pending();
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 4, bytes.begin() + 24),
            std::vector<uint8_t>(expected.data.begin() + 4, expected.data.end()));
  EXPECT_EQ(tail<float>(20), std::vector<float>(floats, floats + 12));
  QV_CALL(glMap1f)(GL_MAP1_VERTEX_3, 0.25f, 1.0f, 5, 4, floats);
  EXPECT_EQ(header(), 0x600DDu);
  EXPECT_EQ(tail<float>(20), std::vector<float>(floats, floats + 18));
  QV_CALL(glMap1d)(GL_MAP1_VERTEX_4, 0.25, 1.0, 5, 2, doubles);
  EXPECT_EQ(header(), (4u + 28 + 72) << 12 | kMap1d);
  expected = Stream().add(kMap1d, GL_MAP1_VERTEX_4, 0.25, 1.0, 5, 2);
  bytes = pending();
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 4, bytes.begin() + 32),
            std::vector<uint8_t>(expected.data.begin() + 4, expected.data.end()));
  EXPECT_EQ(tail<double>(28), std::vector<double>(doubles, doubles + 9));
}

// A map of two dimensions does so in both directions.
TEST_F(Evaluators, PatchesCarryTheirSpan) {
  QV_CALL(glMap2f)(GL_MAP2_VERTEX_3, 0.0f, 1.0f, 3, 4, 2.0f, 3.0f, 12, 4, floats);
  EXPECT_EQ(header(), 0xE80DFu);
  Stream expected = Stream().add(kMap2f, GL_MAP2_VERTEX_3, 0.0f, 1.0f, 3, 4, 2.0f, 3.0f, 12, 4);
  const std::vector<uint8_t> bytes = pending();
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 4, bytes.begin() + 40),
            std::vector<uint8_t>(expected.data.begin() + 4, expected.data.end()));
  EXPECT_EQ(tail<float>(36), std::vector<float>(floats, floats + 48));
  QV_CALL(glMap2d)(GL_MAP2_INDEX, 0, 1, 1, 3, 0, 1, 7, 2, doubles);
  EXPECT_EQ(tail<double>(52), std::vector<double>(doubles, doubles + 10));
}

// The components of each map: a map of one point has as many values.
TEST_F(Evaluators, EveryTargetHasItsComponents) {
  const std::pair<GLenum, size_t> targets[] = {
      {GL_MAP1_COLOR_4, 4},         {GL_MAP1_INDEX, 1},           {GL_MAP1_NORMAL, 3},
      {GL_MAP1_TEXTURE_COORD_1, 1}, {GL_MAP1_TEXTURE_COORD_2, 2}, {GL_MAP1_TEXTURE_COORD_3, 3},
      {GL_MAP1_TEXTURE_COORD_4, 4}, {GL_MAP1_VERTEX_3, 3},        {GL_MAP1_VERTEX_4, 4}};
  for (const auto& [target, components] : targets) {
    QV_CALL(glMap1f)(target, 0, 1, 9, 1, floats);
    EXPECT_EQ(tail<float>(20).size(), components) << std::hex << target;
    const GLenum flat = target - GL_MAP1_COLOR_4 + GL_MAP2_COLOR_4;
    QV_CALL(glMap2f)(flat, 0, 1, 9, 1, 0, 1, 9, 1, floats);
    EXPECT_EQ(tail<float>(36).size(), components) << std::hex << flat;
    QV_CALL(glMap1f)(target, 0, 1, static_cast<GLint>(components), 1, floats);
    EXPECT_EQ(tail<float>(20).size(), components);
    QV_CALL(glMap1f)(target, 0, 1, static_cast<GLint>(components) - 1, 1, floats);
    EXPECT_EQ(tail<float>(20).size(), 0u);
    QV_CALL(glMap2f)(target, 0, 1, 9, 1, 0, 1, 9, 1, floats);
    EXPECT_EQ(tail<float>(36).size(), 0u);
    QV_CALL(glMap1f)(flat, 0, 1, 9, 1, floats);
    EXPECT_EQ(tail<float>(20).size(), 0u);
  }
}

// A map that GL refuses goes to the host without points, which are not read: a bad target, order or stride, or no pointer.
TEST_F(Evaluators, RefusedMapsCarryNoPoints) {
  const auto expectNone = [&](size_t fixed) { EXPECT_EQ(tail<float>(fixed).size(), 0u); };
  QV_CALL(glMap1f)(GL_MAP1_VERTEX_3, 0, 1, 3, 4, nullptr);
  EXPECT_EQ(header(), 24u << 12 | kMap1f);
  expectNone(20);
  for (const GLint order : {0, -1, 65}) {
    QV_CALL(glMap1f)(GL_MAP1_VERTEX_3, 0, 1, 3, order, floats);
    expectNone(20);
    QV_CALL(glMap2f)(GL_MAP2_VERTEX_3, 0, 1, 3, order, 0, 1, 12, 4, floats);
    expectNone(36);
    QV_CALL(glMap2f)(GL_MAP2_VERTEX_3, 0, 1, 3, 4, 0, 1, 12, order, floats);
    expectNone(36);
  }
  for (const GLint stride : {2, 0, -3}) {
    QV_CALL(glMap2f)(GL_MAP2_VERTEX_3, 0, 1, stride, 1, 0, 1, 12, 4, floats);
    expectNone(36);
    QV_CALL(glMap2f)(GL_MAP2_VERTEX_3, 0, 1, 3, 4, 0, 1, stride, 1, floats);
    expectNone(36);
  }
  for (const GLenum target : {GL_MAP1_COLOR_4 - 1, GL_MAP1_VERTEX_4 + 1, GL_TEXTURE_2D}) {
    QV_CALL(glMap1f)(target, 0, 1, 4, 1, floats);
    expectNone(20);
  }
  QV_CALL(glMap1f)(GL_MAP1_INDEX, 0, 1, 1, 64, floats);
  EXPECT_EQ(tail<float>(20).size(), 64u);
  // Points that no command can hold are left out.
  QV_CALL(glMap1f)(GL_MAP1_INDEX, 0, 1, 0x7FFFFFFF, 64, floats);
  expectNone(20);
  EXPECT_EQ(takeError(), 0u);
}

// A map is not recorded in the guest: its host has the list.
TEST_F(Evaluators, MapsAreNotRecorded) {
  QV_CALL(glNewList)(1, GL_COMPILE);
  drop();
  QV_CALL(glMap1f)(GL_MAP1_INDEX, 0, 1, 1, 2, floats);
  EXPECT_EQ(tail<float>(20).size(), 2u);
  QV_CALL(glEndList)();
}

}  // namespace
}  // namespace qv::test
