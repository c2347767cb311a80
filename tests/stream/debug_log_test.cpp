// Debug output: log, callback, filters and groups, all in the guest.
#include "driver/diagnostics/debug_log.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string>

#include "driver/base/current_context.h"
#include "driver/diagnostics/record_error.h"
#include "tests/support/context_fixture.h"

namespace {

// The allocation without exceptions that fails, counted from 1; 0: none.
int failingAllocation = 0;

}  // namespace

void* operator new(size_t bytes, const std::nothrow_t&) noexcept {
  if (failingAllocation != 0 && --failingAllocation == 0) return nullptr;
  return std::malloc(bytes);
}
void* operator new[](size_t bytes, const std::nothrow_t&) noexcept { return ::operator new(bytes, std::nothrow); }
void* operator new(size_t bytes) {
  if (void* const memory = std::malloc(bytes == 0 ? 1 : bytes); memory != nullptr) return memory;
  throw std::bad_alloc();
}
void* operator new[](size_t bytes) { return ::operator new(bytes); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t) noexcept { std::free(memory); }

namespace qv::test {
namespace {

constexpr GLenum kApp = GL_DEBUG_SOURCE_APPLICATION, kThird = GL_DEBUG_SOURCE_THIRD_PARTY, kMarker = GL_DEBUG_TYPE_MARKER,
                 kOther = GL_DEBUG_TYPE_OTHER, kHigh = GL_DEBUG_SEVERITY_HIGH, kLow = GL_DEBUG_SEVERITY_LOW, kAny = GL_DONT_CARE;

struct Told {
  GLenum source, type;
  GLuint id;
  GLenum severity;
  GLsizei length;
  std::string text;
  const void* param;
  bool operator==(const Told&) const = default;
};
std::vector<Told> told;
std::function<void()> onTold;

void APIENTRY tell(GLenum source, GLenum type, GLuint id, GLenum severity, GLsizei length, const GLchar* text,
                   const void* param) {
  told.push_back({source, type, id, severity, length, text, param});
  if (onTold) onTold();
}

class DebugLog : public ContextTest {
 protected:
  DebugLog() : ContextTest(4, 430) {
    told.clear();
    onTold = nullptr;
  }
  ~DebugLog() override {
    failingAllocation = 0;
    EXPECT_TRUE(pending().empty()) << "the host is never told";
    EXPECT_TRUE(host.submissions.empty());
  }
  void on() { QV_CALL(glEnable)(GL_DEBUG_OUTPUT); }
  void insert(GLuint id, const char* text = "x", GLenum severity = kHigh, GLenum type = kMarker, GLenum source = kApp) {
    QV_CALL(glDebugMessageInsert)(source, type, id, severity, -1, text);
  }
  GLint value(GLenum pname) {
    GLint out = -1;
    QV_CALL(glGetIntegerv)(pname, &out);
    return out;
  }
  GLint logged() { return value(GL_DEBUG_LOGGED_MESSAGES); }
  // The ids in the log, which is then empty.
  std::vector<GLuint> drain() {
    GLuint ids[16] = {};
    const GLuint n = QV_CALL(glGetDebugMessageLog)(16, 0, nullptr, nullptr, ids, nullptr, nullptr, nullptr);
    return {ids, ids + n};
  }
  // Whether a message gets through.
  bool passes(GLuint id, GLenum severity = kHigh, GLenum type = kMarker, GLenum source = kApp) {
    drain();
    insert(id, "x", severity, type, source);
    return drain().size() == 1;
  }
  void control(GLenum source, GLenum type, GLenum severity, std::vector<GLuint> ids, bool enabled) {
    QV_CALL(glDebugMessageControl)
    (source, type, severity, static_cast<GLsizei>(ids.size()), ids.data(), enabled ? GL_TRUE : GL_FALSE);
  }
  void push(GLuint id = 1, const char* text = "group") { QV_CALL(glPushDebugGroup)(kApp, id, -1, text); }
  void pop() { QV_CALL(glPopDebugGroup)(); }
};

// Enabling output and asking for it make the state; nothing else does, and nothing is sent. glEnable itself goes to the host.
TEST_F(DebugLog, StateComesWithItsFirstUse) {
  EXPECT_EQ(context().debugLog, nullptr);
  recordError(&context(), GL_INVALID_VALUE, 0, kErrorText);
  EXPECT_EQ(context().debugLog, nullptr);
  EXPECT_EQ(value(GL_DEBUG_GROUP_STACK_DEPTH), 1);
  EXPECT_NE(context().debugLog, nullptr);
  EXPECT_EQ(logged(), 0);
  EXPECT_EQ(value(GL_DEBUG_NEXT_LOGGED_MESSAGE_LENGTH), 0);
  on();
  drop();
  EXPECT_EQ(QV_CALL(glIsEnabled)(GL_DEBUG_OUTPUT), GL_TRUE);
  EXPECT_EQ(QV_CALL(glIsEnabled)(GL_DEBUG_OUTPUT_SYNCHRONOUS), GL_FALSE);
}

// While output is off no message is logged; groups and filters work.
TEST_F(DebugLog, NothingIsLoggedWhileOutputIsOff) {
  insert(1);
  push();
  EXPECT_EQ(logged(), 0);
  EXPECT_EQ(value(GL_DEBUG_GROUP_STACK_DEPTH), 2);
  pop();
  EXPECT_EQ(value(GL_DEBUG_GROUP_STACK_DEPTH), 1);
  EXPECT_EQ(takeError(), 0u);
}

// Ten messages fit the log, and the first ones stay; reading makes room, in the order of arrival, around the ring.
TEST_F(DebugLog, OldestMessagesStay) {
  on();
  drop();
  for (GLuint id = 1; id <= 12; ++id) insert(id);
  EXPECT_EQ(logged(), 10);
  GLuint ids[3] = {};
  EXPECT_EQ(QV_CALL(glGetDebugMessageLog)(3, 0, nullptr, nullptr, ids, nullptr, nullptr, nullptr), 3u);
  EXPECT_EQ(std::vector<GLuint>(ids, ids + 3), (std::vector<GLuint>{1, 2, 3}));
  insert(13);
  insert(14);
  EXPECT_EQ(drain(), (std::vector<GLuint>{4, 5, 6, 7, 8, 9, 10, 13, 14}));
  EXPECT_EQ(logged(), 0);
}

// A message comes out with all that it went in with; the length counts its zero.
TEST_F(DebugLog, MessagesComeOutWhole) {
  on();
  drop();
  QV_CALL(glDebugMessageInsert)(kThird, GL_DEBUG_TYPE_PORTABILITY, 77, GL_DEBUG_SEVERITY_MEDIUM, 5, "hello world");
  QV_CALL(glDebugMessageInsertARB)(kApp, GL_DEBUG_TYPE_PERFORMANCE, 78, GL_DEBUG_SEVERITY_NOTIFICATION, -1, "two");
  EXPECT_EQ(value(GL_DEBUG_NEXT_LOGGED_MESSAGE_LENGTH), 6);
  GLenum sources[2], types[2], severities[2];
  GLuint ids[2];
  GLsizei lengths[2];
  char text[16] = {};
  EXPECT_EQ(QV_CALL(glGetDebugMessageLogARB)(2, 16, sources, types, ids, severities, lengths, text), 2u);
  EXPECT_EQ(std::string(text, 10), std::string("hello\0two\0", 10));
  EXPECT_EQ(sources[0], kThird);
  EXPECT_EQ(sources[1], kApp);
  EXPECT_EQ(types[0], static_cast<GLenum>(GL_DEBUG_TYPE_PORTABILITY));
  EXPECT_EQ(types[1], static_cast<GLenum>(GL_DEBUG_TYPE_PERFORMANCE));
  EXPECT_EQ(ids[0], 77u);
  EXPECT_EQ(ids[1], 78u);
  EXPECT_EQ(severities[0], static_cast<GLenum>(GL_DEBUG_SEVERITY_MEDIUM));
  EXPECT_EQ(severities[1], static_cast<GLenum>(GL_DEBUG_SEVERITY_NOTIFICATION));
  EXPECT_EQ(lengths[0], 6);
  EXPECT_EQ(lengths[1], 4);
}

// A buffer that is too small stops the reading before the first message that does not fit, which stays.
TEST_F(DebugLog, SmallBufferStopsTheReading) {
  on();
  drop();
  insert(1, "abc");
  insert(2, "defg");
  char text[16] = {};
  GLuint ids[2] = {};
  EXPECT_EQ(QV_CALL(glGetDebugMessageLog)(2, 3, nullptr, nullptr, ids, nullptr, nullptr, text), 0u);
  EXPECT_EQ(QV_CALL(glGetDebugMessageLog)(2, 8, nullptr, nullptr, ids, nullptr, nullptr, text), 1u);
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(logged(), 1);
  EXPECT_EQ(QV_CALL(glGetDebugMessageLog)(0, 16, nullptr, nullptr, ids, nullptr, nullptr, text), 0u);
  EXPECT_EQ(QV_CALL(glGetDebugMessageLog)(2, 5, nullptr, nullptr, ids, nullptr, nullptr, text), 1u);
  EXPECT_STREQ(text, "defg");
  EXPECT_EQ(QV_CALL(glGetDebugMessageLog)(1, -1, nullptr, nullptr, nullptr, nullptr, nullptr, text), 0u);
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(QV_CALL(glGetDebugMessageLog)(1, -1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 1u);  // the error
}

// With a callback the log stays empty; the callback gets the enums, the text and the parameter. The ARB name sets it, too.
TEST_F(DebugLog, CallbackTakesTheMessages) {
  on();
  drop();
  int parameter = 0;
  QV_CALL(glDebugMessageCallback)(tell, &parameter);
  insert(5, "text");
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told[0], (Told{kApp, kMarker, 5, kHigh, 4, "text", &parameter}));
  EXPECT_EQ(logged(), 0);
  void* pointer = nullptr;
  QV_CALL(glGetPointerv)(GL_DEBUG_CALLBACK_FUNCTION, &pointer);
  EXPECT_EQ(pointer, reinterpret_cast<void*>(tell));
  QV_CALL(glGetPointerv)(GL_DEBUG_CALLBACK_USER_PARAM, &pointer);
  EXPECT_EQ(pointer, &parameter);
  QV_CALL(glDebugMessageCallbackARB)(nullptr, nullptr);
  insert(6);
  EXPECT_EQ(told.size(), 1u);
  EXPECT_EQ(logged(), 1);
  QV_CALL(glDebugMessageCallbackARB)(tell, nullptr);
  insert(7);
  EXPECT_EQ(told.back().param, nullptr);
}

// Errors of the guest are messages, under the one id of all such errors.
TEST_F(DebugLog, ErrorsAreMessages) {
  on();
  drop();
  QV_CALL(glDebugMessageCallback)(tell, nullptr);
  QV_CALL(glPopDebugGroup)();
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told[0], (Told{GL_DEBUG_SOURCE_API, GL_DEBUG_TYPE_ERROR, apiErrorId.load(), kHigh, 33,
                           "GL_STACK_UNDERFLOW in Orbeck todo", nullptr}))
      << told[0].length;
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_STACK_UNDERFLOW));
}

// Medium, high and notification pass at first, low does not.
TEST_F(DebugLog, LowMessagesDoNotPassAtFirst) {
  on();
  drop();
  EXPECT_FALSE(passes(1, kLow));
  EXPECT_TRUE(passes(1, GL_DEBUG_SEVERITY_MEDIUM));
  EXPECT_TRUE(passes(1, kHigh));
  EXPECT_TRUE(passes(1, GL_DEBUG_SEVERITY_NOTIFICATION));
}

// A length of 0 is that of an empty message, whatever follows; below 0 the text is measured.
TEST_F(DebugLog, LengthZeroIsAnEmptyMessage) {
  on();
  drop();
  for (const GLsizei length : {0, -1}) {
    QV_CALL(glDebugMessageInsert)(kApp, kMarker, 1, kHigh, length, "abc");
    GLsizei given = -1;
    GLchar text[8] = {};
    EXPECT_EQ(QV_CALL(glGetDebugMessageLog)(1, sizeof text, nullptr, nullptr, nullptr, nullptr, &given, text), 1u);
    EXPECT_EQ(std::string(text), length == 0 ? "" : "abc");
  }
}

// The filter of everything: all severities in all rows, and no exceptions of ids stay.
TEST_F(DebugLog, ControlOfEverythingDropsTheExceptions) {
  on();
  drop();
  control(kApp, kMarker, kAny, {5}, false);
  EXPECT_FALSE(passes(5));
  EXPECT_TRUE(passes(6));
  control(kAny, kAny, kAny, {}, true);
  EXPECT_TRUE(passes(5));
  EXPECT_TRUE(passes(5, kLow, kOther, kThird));
  for (const DebugFilterRow& row : context().debugLog->filters[0]->rows) {
    EXPECT_EQ(row.defaultMask, 15u);
    EXPECT_EQ(row.entries, nullptr);
  }
  control(kAny, kAny, kAny, {}, false);
  for (const DebugFilterRow& row : context().debugLog->filters[0]->rows) EXPECT_EQ(row.defaultMask, 0u);
  for (const GLenum source : {kApp, kThird}) {
    for (const GLenum severity :
         {kHigh, static_cast<GLenum>(GL_DEBUG_SEVERITY_MEDIUM), kLow, static_cast<GLenum>(GL_DEBUG_SEVERITY_NOTIFICATION)})
      EXPECT_FALSE(passes(6, severity, kOther, source)) << severity;
  }
}

// A severity is switched in the rows of its source and type alone, and in their exceptions; an exception that says what its row
// says goes.
TEST_F(DebugLog, ControlOfASeverity) {
  on();
  drop();
  control(kApp, kMarker, kAny, {5}, true);  // 15 against the row's 14
  EXPECT_TRUE(passes(5, kLow));
  EXPECT_FALSE(passes(6, kLow));
  control(kApp, kMarker, kHigh, {}, false);
  EXPECT_FALSE(passes(5));
  EXPECT_FALSE(passes(6));
  EXPECT_TRUE(passes(6, kHigh, kOther));
  EXPECT_TRUE(passes(6, kHigh, kMarker, kThird));
  EXPECT_TRUE(passes(5, kLow));
  control(kAny, kMarker, kLow, {}, true);
  EXPECT_TRUE(passes(6, kLow));
  EXPECT_TRUE(passes(6, kLow, kMarker, kThird));
  EXPECT_FALSE(passes(6, kLow, kOther));
  EXPECT_EQ(context().debugLog->filters[0]->row(4, 6).entries, nullptr);
  control(kThird, kAny, kLow, {}, true);
  EXPECT_TRUE(passes(6, kLow, kOther, kThird));
  EXPECT_FALSE(passes(6, kLow, kOther));
}

// An exception of an id is made where the row says otherwise, changed, and removed where it says the same.
TEST_F(DebugLog, ControlOfIds) {
  on();
  drop();
  control(kApp, kMarker, kAny, {1, 2, 3}, false);
  for (const GLuint id : {1u, 2u, 3u}) EXPECT_FALSE(passes(id));
  EXPECT_TRUE(passes(4));
  control(kApp, kMarker, kAny, {2}, true);
  EXPECT_FALSE(passes(1));
  EXPECT_TRUE(passes(2));
  EXPECT_TRUE(passes(2, kLow));
  EXPECT_FALSE(passes(3));
  control(kApp, kMarker, kAny, {}, true);
  control(kApp, kMarker, kAny, {2}, false);
  for (const GLenum severity : kDebugSeverities) {
    EXPECT_FALSE(passes(2, severity));
    EXPECT_TRUE(passes(3, severity));
  }
  control(kApp, kMarker, kAny, {2}, true);
  EXPECT_TRUE(passes(2));
  EXPECT_EQ(context().debugLog->filters[0]->row(4, 6).entries, nullptr);
}

// What glDebugMessageControl refuses: a negative count, unknown enums, ids without a source and a type or with a severity.
TEST_F(DebugLog, ControlChecks) {
  const auto expect = [&](GLenum source, GLenum type, GLenum severity, GLsizei count, GLenum error) {
    const GLuint id = 1;
    QV_CALL(glDebugMessageControlARB)(source, type, severity, count, &id, GL_TRUE);
    EXPECT_EQ(takeError(), error);
  };
  expect(kApp, kMarker, kAny, -1, GL_INVALID_VALUE);
  expect(0, kMarker, kAny, 0, GL_INVALID_ENUM);
  expect(kApp, 0, kAny, 0, GL_INVALID_ENUM);
  expect(kApp, kMarker, 0, 0, GL_INVALID_ENUM);
  expect(0, kMarker, kAny, -1, GL_INVALID_VALUE);
  expect(0, kMarker, kHigh, 1, GL_INVALID_ENUM);
  expect(kApp, kMarker, kHigh, 1, GL_INVALID_OPERATION);
  expect(kAny, kMarker, kAny, 1, GL_INVALID_OPERATION);
  expect(kApp, kAny, kAny, 1, GL_INVALID_OPERATION);
  expect(kApp, kMarker, kAny, 1, 0);
  for (const GLenum source : kDebugSources) expect(source, kAny, kAny, 0, 0);
  for (const GLenum type : kDebugTypes) expect(kAny, type, kAny, 0, 0);
  for (const GLenum severity : kDebugSeverities) expect(kAny, kAny, severity, 0, 0);
}

// What glDebugMessageInsert refuses: sources that are not a program's, unknown types and severities, long texts.
TEST_F(DebugLog, InsertChecks) {
  on();
  drop();
  control(kAny, kAny, kAny, {}, true);
  QV_CALL(glDebugMessageCallback)(tell, nullptr);
  const auto expect = [&](GLenum source, GLenum type, GLenum severity, GLsizei length, const char* text, GLenum error) {
    told.clear();
    QV_CALL(glDebugMessageInsert)(source, type, 1, severity, length, text);
    EXPECT_EQ(takeError(), error);
    EXPECT_EQ(told.size(), 1u);  // the message, or the error's
    EXPECT_EQ(told.back().source == GL_DEBUG_SOURCE_API, error != 0);
  };
  for (const GLenum source : {GL_DEBUG_SOURCE_API, GL_DEBUG_SOURCE_WINDOW_SYSTEM, GL_DEBUG_SOURCE_SHADER_COMPILER,
                              GL_DEBUG_SOURCE_OTHER, GL_DONT_CARE, 0})
    expect(source, kMarker, kHigh, -1, "x", GL_INVALID_ENUM);
  expect(kApp, kAny, kHigh, -1, "x", GL_INVALID_ENUM);
  expect(kApp, kMarker, kAny, -1, "x", GL_INVALID_ENUM);
  for (const GLenum type : kDebugTypes) expect(kThird, type, kHigh, -1, "x", 0);
  for (const GLenum severity : kDebugSeverities) expect(kThird, kMarker, severity, -1, "x", 0);
  const std::string fits(4095, 'a'), tooLong(4096, 'a');
  expect(kApp, kMarker, kHigh, -1, fits.c_str(), 0);
  EXPECT_EQ(told.back().length, 4095);
  expect(kApp, kMarker, kHigh, 4095, tooLong.c_str(), 0);
  expect(kApp, kMarker, kHigh, -1, tooLong.c_str(), GL_INVALID_VALUE);
  expect(kApp, kMarker, kHigh, 4096, tooLong.c_str(), GL_INVALID_VALUE);
  expect(GL_DEBUG_SOURCE_API, kMarker, kHigh, 4096, tooLong.c_str(), GL_INVALID_ENUM);
}

// A group announces itself under its own filter, and its end under the filter of the group around it, both with its text.
TEST_F(DebugLog, GroupsAnnounceThemselves) {
  on();
  drop();
  QV_CALL(glDebugMessageCallback)(tell, nullptr);
  QV_CALL(glPushDebugGroup)(kThird, 9, 3, "group");
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told[0].source, kThird);
  EXPECT_EQ(told[0].type, static_cast<GLenum>(GL_DEBUG_TYPE_PUSH_GROUP));
  EXPECT_EQ(told[0].id, 9u);
  EXPECT_EQ(told[0].severity, static_cast<GLenum>(GL_DEBUG_SEVERITY_NOTIFICATION));
  EXPECT_EQ(told[0].length, 3);
  control(kAny, kAny, kAny, {}, false);  // of the group alone
  pop();
  ASSERT_EQ(told.size(), 2u);
  EXPECT_EQ(told[1], (Told{kThird, GL_DEBUG_TYPE_POP_GROUP, 9, GL_DEBUG_SEVERITY_NOTIFICATION, 3, "gro", nullptr}));
}

// What is disabled in a group is enabled behind it, at every depth; a group that changes nothing shares its filters.
TEST_F(DebugLog, FiltersComeBackWithTheirGroup) {
  on();
  drop();
  push();
  EXPECT_EQ(context().debugLog->filters[1], context().debugLog->filters[0]);
  control(kApp, kMarker, kAny, {5}, false);
  EXPECT_NE(context().debugLog->filters[1], context().debugLog->filters[0]);
  EXPECT_FALSE(passes(5));
  push();
  EXPECT_FALSE(passes(5));
  control(kApp, kMarker, kAny, {6, 5}, false);
  EXPECT_FALSE(passes(6));
  pop();
  EXPECT_TRUE(passes(6));
  EXPECT_FALSE(passes(5));
  pop();
  EXPECT_TRUE(passes(5));
  EXPECT_EQ(takeError(), 0u);
}

// 63 groups fit; the 64th is an overflow, and one pop too many an underflow.
TEST_F(DebugLog, GroupsHaveTheirLimits) {
  for (int i = 0; i < 63; ++i) push();
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(value(GL_DEBUG_GROUP_STACK_DEPTH), 64);
  push();
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_STACK_OVERFLOW));
  for (int i = 0; i < 63; ++i) pop();
  EXPECT_EQ(takeError(), 0u);
  pop();
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_STACK_UNDERFLOW));
}

// Groups of other sources and with long texts are refused.
TEST_F(DebugLog, GroupsAreChecked) {
  const std::string tooLong(4096, 'a');
  QV_CALL(glPushDebugGroup)(GL_DEBUG_SOURCE_API, 1, -1, "x");
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_ENUM));
  QV_CALL(glPushDebugGroup)(kApp, 1, 4096, "x");
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  QV_CALL(glPushDebugGroup)(kApp, 1, -1, tooLong.c_str());
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  QV_CALL(glPushDebugGroup)(GL_DEBUG_SOURCE_API, 1, -1, tooLong.c_str());
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_ENUM));
  QV_CALL(glPushDebugGroup)(kApp, 1, 4095, tooLong.c_str());
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(value(GL_DEBUG_GROUP_STACK_DEPTH), 2);
}

// A callback may push and pop groups itself, while a group ends or begins.
TEST_F(DebugLog, CallbackMayUseGroups) {
  on();
  drop();
  QV_CALL(glDebugMessageCallback)(tell, nullptr);
  push(1, "outer");
  int left = 2;
  onTold = [&] {
    if (left-- > 0) push(2, "inner");
  };
  pop();
  onTold = nullptr;
  EXPECT_EQ(value(GL_DEBUG_GROUP_STACK_DEPTH), 3);
  pop();
  pop();
  EXPECT_EQ(told.back().text, "inner");
  EXPECT_EQ(takeError(), 0u);
}

// Without memory for the state a call is GL_OUT_OF_MEMORY and does nothing; the next one tries again. (glEnable has sent its command
// by then; it is looked at behind that.)
TEST_F(DebugLog, StateNeedsMemory) {
  void* pointer = &pointer;
  const std::function<void()> calls[] = {[&] { setDebugCapability(&context(), GL_DEBUG_OUTPUT, 1); },
                                         [&] { setDebugCapability(&context(), GL_DEBUG_OUTPUT_SYNCHRONOUS, 1); },
                                         [&] { EXPECT_EQ(QV_CALL(glIsEnabled)(GL_DEBUG_OUTPUT), GL_FALSE); },
                                         [&] { EXPECT_EQ(value(GL_DEBUG_GROUP_STACK_DEPTH), 0); },
                                         [&] { QV_CALL(glGetPointerv)(GL_DEBUG_CALLBACK_USER_PARAM, &pointer); },
                                         [&] { QV_CALL(glDebugMessageCallback)(tell, &pointer); },
                                         [&] { control(kAny, kAny, kAny, {}, true); },
                                         [&] { insert(1); },
                                         [&] { pop(); }};
  for (const auto& each : calls) {
    failingAllocation = 1;
    each();
    failingAllocation = 0;
    EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_OUT_OF_MEMORY));
    EXPECT_EQ(context().debugLog, nullptr);
  }
  EXPECT_EQ(pointer, nullptr);
  drop();
  for (const int failing : {1, 2}) {
    failingAllocation = failing;
    push();
    EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_OUT_OF_MEMORY));
    EXPECT_EQ(context().debugLog, nullptr);
    // Of a log that there is not, no message is taken.
    failingAllocation = failing;
    EXPECT_EQ(QV_CALL(glGetDebugMessageLog)(3, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0u);
    failingAllocation = 0;
    takeError();
  }
  push();
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(value(GL_DEBUG_GROUP_STACK_DEPTH), 2);
}

// A message without memory becomes one that says so.
TEST_F(DebugLog, MessagesNeedMemory) {
  on();
  drop();
  failingAllocation = 1;
  insert(5, "lost");
  EXPECT_EQ(logged(), 1);
  EXPECT_EQ(value(GL_DEBUG_NEXT_LOGGED_MESSAGE_LENGTH), 0);
  GLenum source = 0, type = 0, severity = 0;
  GLsizei length = 0;
  char text[64] = {};
  EXPECT_EQ(QV_CALL(glGetDebugMessageLog)(1, 64, &source, &type, nullptr, &severity, &length, text), 1u);
  EXPECT_STREQ(text, "Debugging error: out of memory");
  EXPECT_EQ(length, 31);
  EXPECT_EQ(source, static_cast<GLenum>(GL_DEBUG_SOURCE_OTHER));
  EXPECT_EQ(type, static_cast<GLenum>(GL_DEBUG_TYPE_ERROR));
  EXPECT_EQ(severity, kHigh);
  // A group without memory for its text ends with the text that tells so.
  failingAllocation = 1;
  push(7);
  QV_CALL(glDebugMessageCallback)(tell, nullptr);
  pop();
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told[0].source, static_cast<GLenum>(GL_DEBUG_SOURCE_OTHER));
  EXPECT_EQ(told[0].type, static_cast<GLenum>(GL_DEBUG_TYPE_POP_GROUP));
  EXPECT_NE(told[0].id, 7u);
  EXPECT_EQ(told[0].severity, static_cast<GLenum>(GL_DEBUG_SEVERITY_NOTIFICATION));
  EXPECT_EQ(told[0].length, -1);
  EXPECT_EQ(told[0].text, "Debugging error: out of memory");
  EXPECT_EQ(takeError(), 0u);
}

// Without memory for an exception there is none, and without memory for filters of its own a group changes those around it.
TEST_F(DebugLog, FiltersNeedMemory) {
  on();
  drop();
  failingAllocation = 1;
  control(kApp, kMarker, kAny, {5}, false);
  EXPECT_TRUE(passes(5));
  control(kApp, kMarker, kAny, {5}, false);
  for (const int failing : {1, 2}) {
    push();
    failingAllocation = failing;
    control(kApp, kMarker, kAny, {6}, false);
    failingAllocation = 0;
    EXPECT_EQ(context().debugLog->filters[1], context().debugLog->filters[0]);
    pop();
    EXPECT_FALSE(passes(6));
    control(kApp, kMarker, kAny, {6}, true);
  }
  EXPECT_EQ(takeError(), 0u);
}

// The synchronous switch is kept and changes nothing.
TEST_F(DebugLog, SynchronousIsKept) {
  QV_CALL(glEnable)(GL_DEBUG_OUTPUT_SYNCHRONOUS);
  drop();
  EXPECT_EQ(QV_CALL(glIsEnabled)(GL_DEBUG_OUTPUT_SYNCHRONOUS), GL_TRUE);
  insert(1);
  EXPECT_EQ(logged(), 0);
}

// Without a current context nothing happens.
TEST_F(DebugLog, NothingHappensWithoutAContext) {
  TlsSetValue(ContextTlsSlot, nullptr);
  QV_CALL(glDebugMessageCallback)(tell, nullptr);
  insert(1);
  control(kAny, kAny, kAny, {}, true);
  push();
  pop();
  EXPECT_TRUE(drain().empty());
  TlsSetValue(ContextTlsSlot, &context());
  EXPECT_EQ(context().debugLog, nullptr);
}

// A context ends with groups, filters of their own and messages.
TEST_F(DebugLog, StateEndsWithItsContext) {
  on();
  drop();
  push();
  control(kApp, kMarker, kAny, {1, 2}, false);
  push();
  push();
  control(kApp, kMarker, kAny, {3}, false);
  insert(9);
}

}  // namespace
}  // namespace qv::test
