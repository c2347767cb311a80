// Error recording: which code stays, when nothing is recorded, and the text that the debug log is given.
#include "driver/calls/all.h"
#include "driver/stream/entry_template.h"
#include "driver/diagnostics/record_error.h"

#include <functional>
#include <string>

#include "driver/diagnostics/debug_log.h"
#include "driver/objects/display_list_stream.h"
#include "harness.h"

namespace qv::test {
namespace {

struct Message {
  GLenum source, type;
  uint32_t id;
  GLenum severity;
  int32_t length;
  std::string text;
};
std::vector<Message> messages;

void APIENTRY keep(GLenum source, GLenum type, GLuint id, GLenum severity, GLsizei length, const GLchar* text, const void*) {
  messages.push_back({source, type, id, severity, length, text});
}

class RecordErrorTest : public StateTest {
 protected:
  RecordErrorTest() { messages.clear(); }
  void attachLog() {
    DebugState* const log = debugStateOf(c.get());
    log->enabled = 1;
    log->callback = keep;
  }
};

// Without a log the code is stored and nothing else happens.
TEST_F(RecordErrorTest, CodeIsStored) {
  recordError(c.get(), GL_INVALID_VALUE, 0, "%s", "text");
  EXPECT_EQ(c->recordedError, GL_INVALID_VALUE);
  EXPECT_EQ(c->cursor, c->base);
}

// A later error takes the place of an earlier one.
TEST_F(RecordErrorTest, LastErrorStays) {
  recordError(c.get(), GL_INVALID_VALUE, 0, kErrorText);
  recordError(c.get(), GL_INVALID_OPERATION, 0, kErrorText);
  EXPECT_EQ(c->recordedError, GL_INVALID_OPERATION);
}

// While a list is compiled nothing is recorded unless it is forced; while it is executed as well, everything is.
TEST_F(RecordErrorTest, CompilingRecordsNothing) {
  attachLog();
  Entry<op::glNewList>::call(1, GL_COMPILE);
  recordError(c.get(), GL_INVALID_ENUM, 0, kErrorText);
  EXPECT_EQ(c->recordedError, 0u);
  EXPECT_TRUE(messages.empty());
  recordError(c.get(), GL_INVALID_ENUM, 1, kErrorText);
  EXPECT_EQ(takeError(), GL_INVALID_ENUM);
  Entry<op::glEndList>::call();
  Entry<op::glNewList>::call(1, GL_COMPILE_AND_EXECUTE);
  recordError(c.get(), GL_INVALID_VALUE, 0, kErrorText);
  EXPECT_EQ(takeError(), GL_INVALID_VALUE);
  Entry<op::glEndList>::call();
}

// The log gets the standard text with the indices of an API error.
TEST_F(RecordErrorTest, StandardTextReachesTheLog) {
  attachLog();
  recordError(c.get(), GL_INVALID_ENUM, 0, kErrorText);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].text, "UNKNOWN_ERROR in Orbeck todo");
  EXPECT_EQ(messages[0].length, 28);
  EXPECT_EQ(messages[0].source, static_cast<GLenum>(GL_DEBUG_SOURCE_API));
  EXPECT_EQ(messages[0].type, static_cast<GLenum>(GL_DEBUG_TYPE_ERROR));
  EXPECT_EQ(messages[0].severity, static_cast<GLenum>(GL_DEBUG_SEVERITY_HIGH));
  EXPECT_EQ(messages[0].id, apiErrorId.load());
  EXPECT_EQ(c->recordedError, GL_INVALID_ENUM);
}

// Each code goes to the log under its name.
TEST_F(RecordErrorTest, CodesHaveTheirNames) {
  attachLog();
  const std::pair<uint32_t, const char*> names[] = {{1280, "UNKNOWN_ERROR"},
                                                    {1281, "GL_INVALID_VALUE"},
                                                    {1282, "GL_INVALID_OPERATION"},
                                                    {1283, "GL_STACK_OVERFLOW"},
                                                    {1284, "GL_STACK_UNDERFLOW"},
                                                    {1285, "GL_OUT_OF_MEMORY"},
                                                    {1286, "GL_INVALID_FRAMEBUFFER_OPERATION"},
                                                    {0x8031, "GL_TABLE_TOO_LARGE"},
                                                    {4711, "UNKNOWN_ERROR"},
                                                    {0, "UNKNOWN_ERROR"}};
  for (const auto& [code, name] : names) {
    messages.clear();
    recordError(c.get(), code, 0, "x");
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].text, std::string(name) + " in x");
    EXPECT_EQ(c->recordedError, code);
  }
}

// The arguments go through the format.
TEST_F(RecordErrorTest, ArgumentsGoThroughTheFormat) {
  attachLog();
  recordError(c.get(), GL_INVALID_ENUM, 0, "BindBuffer(): bad target 0x%x", 0x8892u);
  EXPECT_EQ(messages.at(0).text, "UNKNOWN_ERROR in BindBuffer(): bad target 0x8892");
}

// A message that the filter refuses is not formatted; the code is stored.
TEST_F(RecordErrorTest, FilteredMessageIsNotFormatted) {
  attachLog();
  controlMessages(c.get(), GL_DEBUG_SOURCE_API, GL_DEBUG_TYPE_ERROR, GL_DEBUG_SEVERITY_HIGH, 0, nullptr, false);
  recordError(c.get(), GL_INVALID_VALUE, 0, "%s", std::string(5000, 'x').c_str());
  EXPECT_TRUE(messages.empty());
  EXPECT_EQ(c->recordedError, GL_INVALID_VALUE);
}

// A text that the log wants and that does not fit makes the call void; without a log its length does not matter.
TEST_F(RecordErrorTest, TextThatIsTooLongVoidsTheCall) {
  const std::string longest(4095, 'x');
  recordError(c.get(), GL_INVALID_VALUE, 0, "%s", (longest + "x").c_str());
  EXPECT_EQ(takeError(), GL_INVALID_VALUE);
  attachLog();
  recordError(c.get(), GL_INVALID_VALUE, 0, "%s", (longest + "x").c_str());
  EXPECT_EQ(c->recordedError, 0u);
  // The text fits, the whole with its name does not.
  recordError(c.get(), GL_INVALID_VALUE, 0, "%s", longest.c_str());
  EXPECT_EQ(c->recordedError, 0u);
  EXPECT_TRUE(messages.empty());
  // "GL_INVALID_VALUE in " is 20 long: 4075 more make 4095, the most that fits.
  recordError(c.get(), GL_INVALID_VALUE, 0, "%s", std::string(4076, 'x').c_str());
  EXPECT_EQ(c->recordedError, 0u);
  recordError(c.get(), GL_INVALID_VALUE, 0, "%s", std::string(4075, 'x').c_str());
  EXPECT_EQ(c->recordedError, GL_INVALID_VALUE);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].length, 4095);
}

// Twelve calls give the log the texts of their errors word for word.
TEST_F(RecordErrorTest, CallsGiveTheirTexts) {
  attachLog();
  c->limits.maxTextureCoords = 8;
  c->limits.maxTransformFeedbackSeparateAttribs = 8;
  GLuint name = 0;
  GLint value[16] = {};
  const std::function<void()> calls[] = {
      [&] { gl::glGenBuffers(0, &name); },
      [&] { gl::glGenTextures(0, &name); },
      [&] { gl::glGenTransformFeedbacks(0, &name); },
      [&] { gl::glGenLists(-1); },
      [&] { gl::glGenVertexArrays(0, &name); },
      [&] { gl::glGenQueries(0, &name); },
      [&] { gl::glEnableClientState(GLenum{GL_BLEND}); },
      [&] { gl::glDisableClientState(GLenum{GL_BLEND}); },
      [&] { gl::glGetIntegeri_v(GL_TRANSFORM_FEEDBACK_BUFFER_BINDING, 8, value); },
      [&] { gl::glGetIntegeri_v(GL_VERTEX_BINDING_OFFSET, 16, value); },
      [&] {
        c->activeTextureUnit = 9;
        gl::glGetIntegerv(GL_TEXTURE_MATRIX, value);
        c->activeTextureUnit = 0;
      },
      [&] { gl::glGetIntegerv(0, value); },
  };
  const char* const texts[] = {
      "GL_INVALID_OPERATION in glGenBuffers(): failed",
      "GL_INVALID_OPERATION in glGenTextures(): failed",
      "GL_INVALID_OPERATION in GenTransformFeedbacks(): failed",
      "GL_INVALID_OPERATION in glGenLists(): failed",
      "GL_INVALID_OPERATION in glGenVertexArrays(): failed",
      "GL_INVALID_OPERATION in glGenQueries(): failed",
      "UNKNOWN_ERROR in EnableClientState(): bad array",
      "UNKNOWN_ERROR in EnableClientState(): bad array",
      "GL_INVALID_VALUE in glGetIntegeri_v(): bad index",
      "GL_INVALID_VALUE in glGetIntegeri_v(): bad index",
      "GL_INVALID_OPERATION in (activeTex(9) >= maxTexCoords(8)) GLerror 0x0502",
      "UNKNOWN_ERROR in Orbeck todo",
  };
  static_assert(std::size(calls) == std::size(texts));
  for (size_t i = 0; i < std::size(calls); ++i) {
    messages.clear();
    calls[i]();
    ASSERT_EQ(messages.size(), 1u) << texts[i];
    EXPECT_EQ(messages[0].text, texts[i]);
  }
}

// Ids count up from 0, so the word served first keeps 0 and is served again.
TEST_F(RecordErrorTest, MessageIdsCountUpFromZero) {
  recordError(c.get(), GL_INVALID_VALUE, 0, kErrorText);
  recordError(c.get(), GL_INVALID_VALUE, 0, kErrorText);
  const uint32_t id = apiErrorId.load();
  EXPECT_NE(id, 0u);
  recordError(c.get(), GL_INVALID_VALUE, 0, kErrorText);
  EXPECT_EQ(apiErrorId.load(), id);
  std::atomic<uint32_t> other{0};
  assignMessageId(c.get(), other);
  EXPECT_GT(other.load(), id);
  const uint32_t kept = other.load();
  assignMessageId(c.get(), other);
  EXPECT_EQ(other.load(), kept);
}

}  // namespace
}  // namespace qv::test
