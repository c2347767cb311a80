// Shaders and programs in the guest: their commands, the names that are known, and the deletes that wait for the last use.
#include <cstring>
#include <string>
#include <thread>
#include <utility>

#include "driver/base/current_context.h"
#include "driver/diagnostics/debug_log.h"
#include "driver/objects/display_list_stream.h"
#include "driver/state/shared_objects.h"
#include "tests/stream/program_fixture.h"

namespace qv::test {
namespace {

using Bytes = std::vector<uint8_t>;

uint32_t low(const void* pointer) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer)); }

class Programs : public ProgramTest {
 protected:
  // Makes another context current while it lives; it shares with the first.
  struct Sharer {
    explicit Sharer(GlContext& with) : before(&with), other(new GlContext(4, 430, 1)) {
      joinGroup(other, before);
      TlsSetValue(ContextTlsSlot, other);
    }
    ~Sharer() {
      TlsSetValue(ContextTlsSlot, before);
      delete other;
    }
    GlContext* before;
    GlContext* other;
  };
};

// --- names ---

// A name comes from the host and is known from then on; name 0, the host's failure, is not.
TEST_F(Programs, NamesComeFromTheHost) {
  EXPECT_EQ(QV_CALL(glCreateProgram)(), 2u);
  EXPECT_EQ(host.submissions.back().stream, words({0x41EC}));
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  EXPECT_TRUE(QV_CALL(glIsProgram)(2));
  EXPECT_FALSE(QV_CALL(glIsProgram)(3));
  EXPECT_FALSE(QV_CALL(glIsShader)(2));
  EXPECT_EQ(record(), nullptr);

  EXPECT_EQ(QV_CALL(glCreateShader)(GL_VERTEX_SHADER), 5u);
  EXPECT_EQ(host.submissions.back().stream, words({0x81ED, 0x8B31}));
  EXPECT_TRUE(QV_CALL(glIsShader)(5));
  host.answerCommand(kCreateShader, words({0}));
  host.answerCommand(kCreateProgram, words({0}));
  EXPECT_EQ(QV_CALL(glCreateShader)(GL_VERTEX_SHADER), 0u);
  EXPECT_EQ(QV_CALL(glCreateProgram)(), 0u);
  EXPECT_EQ(context().shareGroup->table(ShareSlot::kShaders).count, 1);
  EXPECT_EQ(context().shareGroup->table(ShareSlot::kPrograms).count, 1);
}

// A shader that is deleted is unknown at once, its command sent.
TEST_F(Programs, DeletedShadersAreUnknown) {
  QV_CALL(glCreateShader)(GL_VERTEX_SHADER);
  QV_CALL(glDeleteShader)(5);
  EXPECT_FALSE(QV_CALL(glIsShader)(5));
  expectStream(words({0x81EF, 5}));
}

// glIsProgram and glIsShader write nothing.
TEST_F(Programs, TestsOfNamesStayInTheGuest) {
  QV_CALL(glIsProgram)(1);
  EXPECT_EQ(context().lastOpcode, 515);
  QV_CALL(glIsShader)(1);
  EXPECT_EQ(context().lastOpcode, 516);
  EXPECT_TRUE(pending().empty());
  EXPECT_TRUE(host.submissions.empty());
}

// --- sources ---

// Texts stand one behind the other with their zeros, then their lengths. A length of -1 counts that text alone.
TEST_F(Programs, SourcesHaveTheirBytes) {
  const char* texts[] = {"ab", "cdefg"};
  const GLint lengths[] = {-1, 1};
  QV_CALL(glShaderSource)(3, 2, texts, lengths);
  Bytes expected = words({0x29206, 3, 2, low(texts), low(lengths), 5, 2});
  expected += {'a', 'b', 0, 'c', 0};
  expected += words({2, 1});
  expected.resize(44);
  expectStream(expected);
}

// Without an array of lengths every text ends with its zero.
TEST_F(Programs, SourcesWithoutLengthsEndWithTheirZeros) {
  const char* texts[] = {"ab", ""};
  QV_CALL(glShaderSource)(3, 2, texts, nullptr);
  Bytes expected = words({0x28206, 3, 2, low(texts), 0, 4, 2});
  expected += {'a', 'b', 0, 0};
  expected += words({2, 0});
  expectStream(expected);
}

// From a total of 0x100000 on a source goes in the large form.
TEST_F(Programs, LongSourcesTakeTheLargeForm) {
  const std::string text(0xFFFDF, 'x');
  const char* texts[] = {text.c_str()};
  QV_CALL(glShaderSource)(3, 1, texts, nullptr);
  const Bytes stream = pending();
  ASSERT_EQ(stream.size(), 0x100004u);
  EXPECT_EQ(Bytes(stream.begin(), stream.begin() + 16), words({0x206, 0x100004, 3, 1}));
  drop();
  const std::string shorter(0xFFFDE, 'x');
  texts[0] = shorter.c_str();
  QV_CALL(glShaderSource)(3, 1, texts, nullptr);
  const Bytes small = pending();
  EXPECT_EQ(small.size(), 0x100000u);
  EXPECT_EQ(Bytes(small.begin(), small.begin() + 4), words({0xFFFFF206}));
}

// A negative count goes to the host as it is, without data.
TEST_F(Programs, NegativeCountsOfSourcesGoToTheHost) {
  const char* texts[] = {"a"};
  QV_CALL(glShaderSource)(3, -1, texts, nullptr);
  expectStream(words({0x1C206, 3, 0xFFFFFFFF, low(texts), 0, 0, 0xFFFFFFFF}));
  EXPECT_EQ(takeError(), 0u);
}

// Lengths that no memory holds are refused, and so are texts that are not there.
TEST_F(Programs, ImpossibleSourcesAreRefused) {
  const char* texts[] = {"a"};
  const GLint lengths[] = {-2};
  QV_CALL(glShaderSource)(3, 1, texts, lengths);
  expectRefused(GL_OUT_OF_MEMORY, kShaderSource);
  QV_CALL(glShaderSource)(3, 1, nullptr, nullptr);
  expectRefused(GL_INVALID_VALUE, kShaderSource);
  EXPECT_EQ(QV_CALL(glCreateShaderProgramv)(GL_VERTEX_SHADER, 1, nullptr), 0u);
  expectRefused(GL_INVALID_VALUE, kCreateShaderProgramv);
}

// A program out of one source is registered and linked at once.
TEST_F(Programs, ShaderProgramsAreLinkedAtOnce) {
  const char* texts[] = {"void main(){}"};
  host.answerCommand(kCreateShaderProgramv, words({9}));
  EXPECT_EQ(QV_CALL(glCreateShaderProgramv)(GL_FRAGMENT_SHADER, 1, texts), 9u);
  ASSERT_EQ(host.submissions.size(), 3u);
  Bytes expected = words({0x2A8D9, 0x8B30, 1, low(texts), 14, 1});
  expected.insert(expected.end(), texts[0], texts[0] + 14);
  expected += words({13});
  expected.resize(44);
  Bytes sent = host.submissions[0].stream;
  sent[42] = sent[43] = 0;  // pad bytes
  EXPECT_EQ(sent, expected);
  EXPECT_EQ(host.submissions[0].replySize, 4u);
  EXPECT_EQ(host.submissions[1].stream, words({0xC7D5, 9, 4096}));
  EXPECT_TRUE(QV_CALL(glIsProgram)(9));
  EXPECT_NE(record(9), nullptr);
}

// Of a name that is known already the records stay as they are.
TEST_F(Programs, KnownNamesKeepTheirRecords) {
  link({{GL_FLOAT, 1, 3, 0, "u"}});
  ProgramRecord* const program = record();
  EXPECT_EQ(QV_CALL(glCreateProgram)(), 2u);
  EXPECT_EQ(record(), program);
  QV_CALL(glCreateShader)(GL_VERTEX_SHADER);
  NameTable& shaders = context().shareGroup->table(ShareSlot::kShaders);
  const void* const shader = shaders.find(5);
  QV_CALL(glCreateShader)(GL_VERTEX_SHADER);
  EXPECT_EQ(shaders.find(5), shader);
}

// A text that is not there is an empty one, and a list of texts that no command can hold is refused by every call.
TEST_F(Programs, ListsOfTextsAreMeasured) {
  const char* some[] = {"a", nullptr};
  QV_CALL(glShaderSource)(3, 2, some, nullptr);
  Bytes expected = words({0x27206, 3, 2, low(some), 0, 3, 2});
  expected += {'a', 0, 0};
  expected += words({1, 0});
  expected.resize(40);
  expectStream(expected);

  link({});
  const std::string text(1 << 20, 'x');
  const std::vector<const char*> many(2048, text.c_str());
  const auto count = static_cast<GLsizei>(many.size());
  EXPECT_EQ(QV_CALL(glCreateShaderProgramv)(GL_VERTEX_SHADER, count, many.data()), 0u);
  expectRefused(GL_OUT_OF_MEMORY, kCreateShaderProgramv);
  GLuint index = 7;
  QV_CALL(glGetUniformIndices)(2, count, many.data(), &index);
  expectRefused(GL_OUT_OF_MEMORY, kGetUniformIndices);
  EXPECT_EQ(index, 7u);
  QV_CALL(glTransformFeedbackVaryings)(2, count, many.data(), GL_INTERLEAVED_ATTRIBS);
  expectRefused(GL_OUT_OF_MEMORY, kTransformFeedbackVaryings);
}

// A program that the host could not make is neither registered nor linked.
TEST_F(Programs, FailedShaderProgramsAreUnknown) {
  const char* texts[] = {""};
  EXPECT_EQ(QV_CALL(glCreateShaderProgramv)(77, 1, texts), 0u);
  EXPECT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(context().shareGroup->table(ShareSlot::kPrograms).count, 0);
}

// --- attribute locations and the flush for sharers ---

// A name goes with its zero; an index of 16 is refused without a command.
TEST_F(Programs, AttributeLocationsAreChecked) {
  QV_CALL(glBindAttribLocation)(2, 1, "pos");
  Bytes expected = words({0x141EA, 2, 1, 4});
  expected += {'p', 'o', 's', 0};
  expectStream(expected);
  QV_CALL(glBindAttribLocation)(2, 15, "a");
  EXPECT_EQ(takeError(), 0u);
  drop();
  QV_CALL(glBindAttribLocation)(2, 16, "pos");
  expectRefused(GL_INVALID_VALUE, kBindAttribLocation);
}

// A program that gives no name has given an empty one: nothing is read through the pointer.
TEST_F(Programs, NoNameIsAnEmptyName) {
  QV_CALL(glBindAttribLocation)(2, 1, nullptr);
  QV_CALL(glBindFragDataLocation)(2, 3, nullptr);
  expectStream(words({0x111EA, 2, 1, 1, 0, 0x11827, 2, 3, 1, 0}));
  EXPECT_EQ(QV_CALL(glGetProgramResourceIndex)(2, GL_UNIFORM, nullptr), 0u);
  EXPECT_EQ(host.submissions.back().stream, words({0x11933, 2, GL_UNIFORM, 1, 0}));
}

// With the quirk, calls on programs flush at once in a context that shares, and in no other.
TEST_F(Programs, TheQuirkFlushesForSharers) {
  const auto all = [] {
    QV_CALL(glAttachShader)(2, 5);
    QV_CALL(glDetachShader)(2, 5);
    QV_CALL(glBindAttribLocation)(2, 1, "a");
    QV_CALL(glBindFragDataLocation)(2, 1, "a");
    QV_CALL(glBindFragDataLocationEXT)(2, 1, "a");
    QV_CALL(glBindFragDataLocationIndexed)(2, 1, 0, "a");
    const char* varyings[] = {"a"};
    QV_CALL(glTransformFeedbackVaryings)(2, 1, varyings, GL_INTERLEAVED_ATTRIBS);
  };
  QV_CALL(glCreateProgram)();
  host.submissions.clear();
  GlContext other(4, 430, 1);
  context().quirkFlags |= kQuirkFlushShared;
  all();
  EXPECT_TRUE(host.submissions.empty());
  context().nextSharer = &other;
  all();
  EXPECT_EQ(host.submissions.size(), 7u);
  for (const Submission& one : host.submissions) EXPECT_EQ(one.replySize + one.reply2Size, 0u);
  context().quirkFlags &= ~kQuirkFlushShared;
  all();
  EXPECT_EQ(host.submissions.size(), 7u);
  context().nextSharer = &context();
}

// --- links ---

// The command of a link rides in the flush of the first list; the second list is a flush of its own.
TEST_F(Programs, LinksFetchBothLists) {
  QV_CALL(glCreateProgram)();
  host.submissions.clear();
  QV_CALL(glLinkProgram)(2);
  ASSERT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(host.submissions[0].stream, words({0x8205, 2, 0xC7D5, 2, 0x1000}));
  EXPECT_EQ(host.submissions[0].replySize, 4096u);
  EXPECT_EQ(host.submissions[0].reply2Size, 8u);
  EXPECT_EQ(host.submissions[1].stream, words({0xC7D6, 2, 0x1000}));
  EXPECT_NE(record(), nullptr);
}

// Program 0 is linked without any list.
TEST_F(Programs, ProgramZeroFetchesNothing) {
  QV_CALL(glLinkProgram)(0);
  EXPECT_TRUE(host.submissions.empty());
  expectStream(words({0x8205, 0}));
}

// A list of 4096 bytes comes at once, one of 5000 on the second question, which names its length.
TEST_F(Programs, LongListsAreAskedForTwice) {
  QV_CALL(glCreateProgram)();
  // 24 + 8 entries: a name of 111 characters makes an entry of 128 bytes.
  std::vector<Resource> exactly(32), longer(39);
  for (size_t i = 0; i < exactly.size(); ++i) {
    exactly[i] = {GL_FLOAT, 1, static_cast<int32_t>(i), 0, std::string(108, 'a') + std::to_string(100 + i)};
  }
  for (size_t i = 0; i < longer.size(); ++i) {
    longer[i] = {GL_FLOAT, 1, static_cast<int32_t>(i), 0, std::string(108, 'a') + std::to_string(100 + i)};
  }
  longer.push_back({GL_FLOAT, 1, 90, 0, "z23"});  // 39 * 128 + 20 = 5012
  ASSERT_EQ(resourceList(exactly).size(), 4096u);
  answerLists(exactly, {});
  host.submissions.clear();
  QV_CALL(glLinkProgram)(2);
  EXPECT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(record()->uniforms.count, 32);

  answerLists(longer, {});
  host.submissions.clear();
  QV_CALL(glLinkProgram)(2);
  ASSERT_EQ(host.submissions.size(), 3u);
  EXPECT_EQ(host.submissions[1].stream, words({0xC7D5, 2, 5012}));
  EXPECT_EQ(host.submissions[1].replySize, 5012u);
  EXPECT_EQ(record()->uniforms.count, 40);
  EXPECT_EQ(QV_CALL(glGetUniformLocation)(2, "z23"), 90);
}

// A host that changes its mind between the two questions is not believed: neither list counts.
TEST_F(Programs, ListsThatChangeTheirLengthCountAsNone) {
  QV_CALL(glCreateProgram)();
  int asked = 0;
  host.onSubmit = [&](const Submission& made) {
    if (made.commands().back().opcode == kActiveUniforms) {
      host.answerCommand(kActiveUniforms, {}, listTotals(asked++ == 0 ? 5000 : 5004, 1));
    }
  };
  QV_CALL(glLinkProgram)(2);
  host.onSubmit = nullptr;
  EXPECT_EQ(asked, 2);
  EXPECT_EQ(record()->uniforms.count, 0);
  EXPECT_EQ(host.submissions.back().commands().back().opcode, kActiveUniforms);  // the attributes were not asked for
}

// A wrong number of entries, a negative or an absurd total make the caches empty, both of them.
TEST_F(Programs, ContradictoryListsCountAsNone) {
  const std::vector<Resource> uniforms = {{GL_FLOAT, 1, 0, 0, "a"}}, attributes = {{GL_FLOAT, 1, 0, 0, "v"}};
  const Bytes list = resourceList(uniforms);
  for (const auto& [bytes, entries] : {std::pair<size_t, size_t>{list.size(), 2}, {0xFFFFFFF0u, 1}, {(64u << 20) + 4, 1}}) {
    link(uniforms, attributes);
    EXPECT_EQ(record()->uniforms.count, 1);
    EXPECT_EQ(record()->attributes.count, 1);
    host.answerCommand(kActiveUniforms, list, listTotals(bytes, entries));
    QV_CALL(glLinkProgram)(2);
    EXPECT_EQ(host.submissions.size(), 1u) << bytes;  // neither more of this list nor the other is asked for
    EXPECT_EQ(record()->uniforms.count, 0) << bytes;
    EXPECT_EQ(record()->attributes.count, 0) << bytes;
  }
  link(uniforms, attributes);
  host.answerCommand(kActiveUniforms, list, listTotals(64u << 20, 1));
  QV_CALL(glLinkProgram)(2);
  EXPECT_EQ(host.submissions.size(), 2u);  // a length that may be: the list is asked for
  EXPECT_EQ(record()->uniforms.count, 0);
  link(uniforms, attributes);
  const Bytes second = resourceList(attributes);
  host.answerCommand(kActiveAttributes, second, listTotals(second.size(), 0));
  QV_CALL(glLinkProgram)(2);
  EXPECT_EQ(record()->uniforms.count, 0);
  EXPECT_EQ(record()->attributes.count, 0);
  EXPECT_EQ(takeError(), 0u);
}

// An entry without its zero ends at the end of the list.
TEST_F(Programs, NamesWithoutTheirZeroAreCut) {
  Bytes list = resourceList({{GL_FLOAT, 1, 4, 0, "ok"}});
  Bytes open = resourceList({{GL_FLOAT, 1, 7, 0, "abc"}});
  open[19] = 'd';  // where the zero was
  list += open;
  QV_CALL(glCreateProgram)();
  host.answerCommand(kActiveUniforms, list, listTotals(list.size(), 2));
  QV_CALL(glLinkProgram)(2);
  EXPECT_EQ(record()->uniforms.count, 2);
  EXPECT_EQ(QV_CALL(glGetUniformLocation)(2, "abc"), 7);
  EXPECT_EQ(QV_CALL(glGetUniformLocation)(2, "ok"), 4);
}

// Up to 16 bytes behind the last entry are no entry, and neither is one that reaches beyond the list.
TEST_F(Programs, CutEntriesEndTheList) {
  const Bytes whole = resourceList({{GL_FLOAT, 1, 4, 0, "a"}});
  ASSERT_EQ(whole.size(), 20u);
  Bytes padded = whole;
  padded.resize(40);
  QV_CALL(glCreateProgram)();
  const auto entriesOf = [&](const Bytes& list, size_t bytes, size_t told) {
    host.answerCommand(kActiveUniforms, list, listTotals(bytes, told));
    QV_CALL(glLinkProgram)(2);
    return record()->uniforms.count;
  };
  EXPECT_EQ(entriesOf(whole, 20, 1), 1);
  EXPECT_EQ(entriesOf(padded, 36, 1), 1);
  EXPECT_EQ(entriesOf(padded, 37, 1), 1);
  EXPECT_EQ(entriesOf(padded, 37, 2), 0);
  EXPECT_EQ(entriesOf(padded, 40, 2), 2);  // the second has an empty name
  EXPECT_EQ(entriesOf(padded, 40, 1), 0);
  EXPECT_EQ(entriesOf(whole, 18, 1), 0);
  EXPECT_EQ(entriesOf(whole, 0, 5), 0);
}

// A further link replaces both lists and leaves the count of uses alone.
TEST_F(Programs, LinkingAgainReplacesTheLists) {
  link({{GL_FLOAT, 1, 3, 0, "old"}}, {{GL_FLOAT, 1, 1, 0, "a"}});
  QV_CALL(glUseProgram)(2);
  EXPECT_EQ(record()->useCount, 1);
  ProgramRecord* const before = record();
  link({{GL_FLOAT, 1, 5, 0, "new"}});
  EXPECT_EQ(record(), before);
  EXPECT_EQ(record()->useCount, 1);
  EXPECT_EQ(QV_CALL(glGetUniformLocation)(2, "old"), -1);
  EXPECT_EQ(QV_CALL(glGetUniformLocation)(2, "new"), 5);
  EXPECT_EQ(record()->attributes.count, 0);
}

// Whether another thread could enter the lock of the names now.
bool lockIsFree(GlContext& context) {
  bool entered = false;
  std::thread([&] {
    entered = TryEnterCriticalSection(&context.shareGroup->lock) != FALSE;
    if (entered) LeaveCriticalSection(&context.shareGroup->lock);
  }).join();
  return entered;
}

// A link holds the lock of the names while it asks for both lists; nothing else holds it while the host is asked.
TEST_F(Programs, OnlyLinksAskUnderTheLock) {
  std::string free;
  const auto asked = [&] { return std::exchange(free, ""); };
  host.onSubmit = [&](const Submission&) { free += lockIsFree(context()) ? '1' : '0'; };
  QV_CALL(glCreateProgram)();
  QV_CALL(glCreateShader)(GL_VERTEX_SHADER);
  EXPECT_EQ(asked(), "11");
  QV_CALL(glLinkProgram)(2);
  EXPECT_EQ(asked(), "00");
  EXPECT_TRUE(lockIsFree(context()));
  const char* texts[] = {""};
  host.answerCommand(kCreateShaderProgramv, words({9}));
  QV_CALL(glCreateShaderProgramv)(GL_VERTEX_SHADER, 1, texts);
  EXPECT_EQ(asked(), "100");
  GLint value = 0;
  QV_CALL(glGetProgramiv)(2, GL_LINK_STATUS, &value);
  QV_CALL(glGetUniformIndices)(2, 0, nullptr, nullptr);
  QV_CALL(glGetUniformBlockIndex)(2, "b");
  QV_CALL(glFenceSync)(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
  QV_CALL(glClientWaitSync)(nullptr, 0, 0);
  EXPECT_EQ(asked(), "11111");
  host.onSubmit = nullptr;
}

// No command of a delete is written under the lock: a stream without room for it is flushed, which may take long.
TEST_F(Programs, DeletesAreWrittenWithoutTheLock) {
  std::string free;
  host.onSubmit = [&](const Submission&) { free += lockIsFree(context()) ? '1' : '0'; };
  // Lets the stream be full after so many bytes: then it flushes rather than grow.
  const auto fullAfter = [&](uint64_t bytes) {
    context().capacity = 0x6000000;
    context().remaining = bytes;
  };
  link({});
  QV_CALL(glUseProgram)(2);
  QV_CALL(glDeleteProgram)(2);
  free = "";
  fullAfter(8);
  QV_CALL(glUseProgram)(0);  // the delete that was held back does not fit
  EXPECT_EQ(free, "1");
  for (const int call : {0, 1, 2, 3, 4}) {
    fullAfter(0);
    const GLuint name = 7;
    free = "";
    if (call == 0) QV_CALL(glDeleteProgram)(name);
    if (call == 1) QV_CALL(glDeleteObjectARB)(name);
    if (call == 2) QV_CALL(glDeleteShader)(name);
    if (call == 3) QV_CALL(glDeleteProgramPipelines)(1, &name);
    if (call == 4) QV_CALL(glDeleteSync)(nullptr);
    EXPECT_EQ(free, "1") << call;
  }
  host.onSubmit = nullptr;
  context().capacity = 0x40000;
  context().remaining = context().capacity - static_cast<uint64_t>(context().cursor - context().base);
}

// Linking a program that is current here and has no record yet counts that use.
TEST_F(Programs, LinkingACurrentProgramCountsItsUse) {
  QV_CALL(glCreateProgram)();
  QV_CALL(glUseProgram)(2);
  EXPECT_EQ(context().currentProgram, 2u);
  QV_CALL(glLinkProgram)(2);
  EXPECT_EQ(record()->useCount, 1);
  QV_CALL(glLinkProgram)(2);
  EXPECT_EQ(record()->useCount, 1);
}

// --- deletes ---

// A program that is deleted while current keeps working, and the host hears of the delete when the use ends.
TEST_F(Programs, DeletesWaitForTheLastUse) {
  link({{GL_FLOAT, 1, 3, 0, "u"}});
  QV_CALL(glUseProgram)(2);
  expectStream(words({0x8207, 2}));
  QV_CALL(glDeleteProgram)(2);
  QV_CALL(glDeleteProgram)(2);
  EXPECT_TRUE(pending().empty());
  EXPECT_TRUE(QV_CALL(glIsProgram)(2));
  EXPECT_EQ(QV_CALL(glGetUniformLocation)(2, "u"), 3);
  QV_CALL(glUseProgram)(2);  // the same one: no use ends
  drop();
  QV_CALL(glUseProgram)(0);
  expectStream(words({0x8207, 0, 0x81EE, 2}));
  EXPECT_FALSE(QV_CALL(glIsProgram)(2));
}

// Current in two contexts, it is deleted when both have moved on.
TEST_F(Programs, DeletesWaitForEveryContext) {
  link({});
  QV_CALL(glUseProgram)(2);
  drop();
  {
    Sharer second(context());
    QV_CALL(glUseProgram)(2);
    QV_CALL(glDeleteProgram)(2);
    QV_CALL(glUseProgram)(0);
    EXPECT_EQ(parse(second.other->base, static_cast<uint64_t>(second.other->cursor - second.other->base)).size(), 2u);
    EXPECT_TRUE(QV_CALL(glIsProgram)(2));
  }
  QV_CALL(glUseProgram)(0);
  expectStream(words({0x8207, 0, 0x81EE, 2}));
}

// Pipelines do not keep a program from its delete: only contexts that have it current do.
TEST_F(Programs, PipelinesDoNotHoldDeletes) {
  link({{GL_FLOAT, 1, 3, 0, "u"}});
  QV_CALL(glBindProgramPipeline)(4);
  QV_CALL(glUseProgramStages)(4, GL_VERTEX_SHADER_BIT, 2);
  QV_CALL(glActiveShaderProgram)(4, 2);
  drop();
  QV_CALL(glDeleteProgram)(2);
  expectStream(words({0x81EE, 2}));
  QV_CALL(glUniform1f)(3, 1.0f);
  expectRefused(GL_INVALID_OPERATION, 520);
}

// A context that ends with a program current counts as a user for ever.
TEST_F(Programs, EndedContextsStillUseTheirProgram) {
  link({});
  {
    Sharer second(context());
    QV_CALL(glUseProgram)(2);
  }
  QV_CALL(glDeleteProgram)(2);
  QV_CALL(glUseProgram)(2);
  QV_CALL(glUseProgram)(0);
  const std::vector<Command> sent = parse(pending());
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[1].opcode, kUseProgram);
  EXPECT_TRUE(QV_CALL(glIsProgram)(2));
}

// A program that was never linked, and one that nobody knows, is deleted at once.
TEST_F(Programs, DeletesOfUnlinkedProgramsAreSentAtOnce) {
  QV_CALL(glCreateProgram)();
  QV_CALL(glDeleteProgram)(2);
  EXPECT_FALSE(QV_CALL(glIsProgram)(2));
  expectStream(words({0x81EE, 2}));
  QV_CALL(glDeleteProgram)(77);
  expectStream(words({0x81EE, 77}));
  link({});
  QV_CALL(glDeleteProgram)(2);
  expectStream(words({0x81EE, 2}));
  EXPECT_EQ(record(), nullptr);
}

// glDeleteObjectARB deletes shaders at once and holds back programs as glDeleteProgram does.
TEST_F(Programs, DeleteObjectKnowsBothKinds) {
  QV_CALL(glCreateShader)(GL_VERTEX_SHADER);
  link({});
  QV_CALL(glDeleteObjectARB)(5);
  EXPECT_FALSE(QV_CALL(glIsShader)(5));
  expectStream(Stream().add(kDeleteObjectARB, 5));
  QV_CALL(glUseProgram)(2);
  drop();
  QV_CALL(glDeleteObjectARB)(2);
  EXPECT_TRUE(pending().empty());
  QV_CALL(glUseProgram)(0);
  expectStream(words({0x8207, 0, 0x81EE, 2}));
  QV_CALL(glDeleteObjectARB)(99);
  expectStream(Stream().add(kDeleteObjectARB, 99));
}

// Inside glBegin glUseProgram is refused: nothing is sent, and the current program stays.
TEST_F(Programs, UseInsideBeginIsRefused) {
  QV_CALL(glBegin)(GL_POINTS);
  const Bytes before = pending();
  QV_CALL(glUseProgram)(2);
  EXPECT_EQ(takeError(), static_cast<GLenum>(GL_INVALID_OPERATION));
  EXPECT_EQ(context().lastOpcode, kUseProgram);
  EXPECT_EQ(context().currentProgram, 0u);
  EXPECT_EQ(pending(), before);
  QV_CALL(glEnd)();
}

// While a list is compiled glUseProgram counts all the same.
TEST_F(Programs, UseCountsWhileAListIsCompiled) {
  link({});
  QV_CALL(glNewList)(1, GL_COMPILE);
  QV_CALL(glUseProgram)(2);
  QV_CALL(glEndList)();
  EXPECT_EQ(context().currentProgram, 2u);
  EXPECT_EQ(record()->useCount, 1);
  GLint value = 0;
  host.submissions.clear();
  QV_CALL(glGetIntegerv)(GL_CURRENT_PROGRAM, &value);
  EXPECT_EQ(value, 2);
  EXPECT_TRUE(host.submissions.empty());
}

// What was found without the lock is searched again after another context has deleted it, and after a change of the share group.
TEST_F(Programs, KnownProgramsAreSearchedAgain) {
  link({{GL_FLOAT, 1, 3, 0, "u"}});
  const auto works = [&] {
    QV_CALL(glProgramUniform1f)(2, 3, 1.0f);
    drop();
    return takeError() == 0;
  };
  EXPECT_TRUE(works());
  EXPECT_TRUE(works());
  {
    Sharer second(context());
    QV_CALL(glDeleteProgram)(2);
  }
  EXPECT_FALSE(works());
  link({{GL_FLOAT, 1, 3, 0, "u"}});
  EXPECT_TRUE(works());
  EXPECT_FALSE([&] {
    QV_CALL(glProgramUniform1f)(4, 3, 1.0f);
    return takeError() == 0;
  }());
  EXPECT_TRUE(works());
  GlContext other(4, 430, 1);
  joinGroup(&context(), &other);
  EXPECT_FALSE(works());
}

// --- questions ---

// Four facts of a linked program are answered here, everything else by the host.
TEST_F(Programs, FourFactsAreAnsweredHere) {
  link({{GL_FLOAT, 1, 3, 0, "abc"}, {GL_FLOAT, 4, 4, 1, "de"}}, {{GL_FLOAT_VEC4, 1, 0, 0, "pos"}});
  const auto ask = [](GLenum pname) {
    GLint value = -1;
    QV_CALL(glGetProgramiv)(2, pname, &value);
    GLint same = -1;
    QV_CALL(glGetObjectParameterivARB)(2, pname, &same);
    EXPECT_EQ(value, same);
    return value;
  };
  EXPECT_EQ(ask(GL_ACTIVE_UNIFORMS), 2);
  EXPECT_EQ(ask(GL_ACTIVE_UNIFORM_MAX_LENGTH), 6);
  EXPECT_EQ(ask(GL_ACTIVE_ATTRIBUTES), 1);
  EXPECT_EQ(ask(GL_ACTIVE_ATTRIBUTE_MAX_LENGTH), 4);
  EXPECT_TRUE(host.submissions.empty());
  host.answerCommand(kGetProgramiv, words({1}));
  host.answerCommand(kGetObjectParameterivARB, words({1}));
  EXPECT_EQ(ask(GL_LINK_STATUS), 1);
  ASSERT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kGetProgramiv, 2, GL_LINK_STATUS).data);
  EXPECT_EQ(host.submissions[0].replySize, 4u);
  GLint size[3];
  QV_CALL(glGetProgramiv)(2, GL_COMPUTE_WORK_GROUP_SIZE, size);
  EXPECT_EQ(host.submissions.back().replySize, 12u);
  // Without a place for the answer the host is asked. A program without a record is the host's, too.
  QV_CALL(glGetProgramiv)(2, GL_ACTIVE_UNIFORMS, nullptr);
  EXPECT_EQ(host.submissions.size(), 4u);
  QV_CALL(glGetProgramiv)(3, GL_ACTIVE_UNIFORMS, size);
  EXPECT_EQ(host.submissions.size(), 5u);
}

// The length of a log goes into the caller's word or one of the driver's, its text into the caller's buffer.
TEST_F(Programs, LogsHaveTwoReplies) {
  host.answerCommand(kGetProgramInfoLog, words({3}), {'a', 'b', 'c', 0});
  GLsizei length = 0;
  char text[8] = "xxxxxxx";
  QV_CALL(glGetProgramInfoLog)(2, 8, &length, text);
  EXPECT_EQ(length, 3);
  EXPECT_STREQ(text, "abc");
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kGetProgramInfoLog, 2, 8).data);
  EXPECT_EQ(host.submissions[0].replySize, 4u);
  EXPECT_EQ(host.submissions[0].reply2Size, 8u);
  QV_CALL(glGetProgramInfoLog)(2, 8, nullptr, text);
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  for (const GLsizei room : {0, -1}) {
    QV_CALL(glGetShaderInfoLog)(5, room, &length, text);
    EXPECT_EQ(host.submissions.back().reply2Size, 0u) << room;
    EXPECT_EQ(host.last().words[1], static_cast<uint32_t>(room));
  }
  QV_CALL(glGetShaderSource)(5, 8, &length, nullptr);
  EXPECT_EQ(host.submissions.back().reply2Size, 0u);
}

// A negative number of shaders is refused, none into nothing is nothing.
TEST_F(Programs, AttachedShadersAreChecked) {
  GLsizei count = 0;
  GLuint shaders[4] = {};
  QV_CALL(glGetAttachedShaders)(2, -1, &count, shaders);
  expectRefused(GL_INVALID_VALUE, kGetAttachedShaders);
  QV_CALL(glGetAttachedShaders)(2, 0, &count, nullptr);
  EXPECT_TRUE(host.submissions.empty());
  QV_CALL(glGetAttachedShaders)(2, 0, &count, shaders);
  EXPECT_EQ(host.submissions.back().stream, words({0xC1F5, 2, 0}));
  EXPECT_EQ(host.submissions.back().reply2Size, 0u);
  EXPECT_EQ(takeError(), 0u);
  host.answerCommand(kGetAttachedShaders, words({2}), words({5, 6}));
  QV_CALL(glGetAttachedShaders)(2, 4, &count, shaders);
  EXPECT_EQ(host.submissions.back().stream, words({0xC1F5, 2, 4}));
  EXPECT_EQ(host.submissions.back().reply2Size, 16u);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(shaders[1], 6u);
}

// --- pipelines ---

// A bind makes the record that glUniform reads; a delete takes it and the binding away.
TEST_F(Programs, PipelinesAreTracked) {
  EXPECT_EQ(usesCurrentProgram(&context()), 0u);
  QV_CALL(glBindProgramPipeline)(4);
  expectStream(words({0x88DA, 4}));
  EXPECT_EQ(context().boundPipeline, 4u);
  ASSERT_NE(usesPipeline(&context(), 4, false), nullptr);
  QV_CALL(glActiveShaderProgram)(4, 9);
  expectStream(words({0xC8D8, 4, 9}));
  EXPECT_EQ(usesPipeline(&context(), 4, false)->activeProgram, 9u);
  EXPECT_EQ(usesCurrentProgram(&context()), 9u);
  QV_CALL(glActiveShaderProgram)(6, 8);
  ASSERT_NE(usesPipeline(&context(), 6, false), nullptr);
  EXPECT_EQ(usesCurrentProgram(&context()), 9u);
  GLint bound = 0;
  QV_CALL(glGetIntegerv)(GL_PROGRAM_PIPELINE_BINDING, &bound);
  EXPECT_EQ(bound, 4);
  drop();
  const GLuint names[] = {4, 6};
  QV_CALL(glDeleteProgramPipelines)(2, names);
  expectStream(words({0x108DB, 2, 4, 6}));
  EXPECT_EQ(context().boundPipeline, 0u);
  EXPECT_EQ(usesPipeline(&context(), 4, false), nullptr);
  EXPECT_EQ(usesPipeline(&context(), 6, false), nullptr);
  // Name 0 gets no record.
  QV_CALL(glActiveShaderProgram)(0, 8);
  EXPECT_EQ(context().shareGroup->table(ShareSlot::kPipelines).count, 0);
  QV_CALL(glDeleteProgramPipelines)(-1, names);
  EXPECT_EQ(takeError(), 0u);
}

// Binding what is bound already is a command and no more: a record that a sharer has deleted is not made anew.
TEST_F(Programs, BoundPipelinesAreNotMadeAnew) {
  QV_CALL(glBindProgramPipeline)(4);
  {
    Sharer second(context());
    const GLuint name = 4;
    QV_CALL(glDeleteProgramPipelines)(1, &name);
  }
  EXPECT_EQ(context().boundPipeline, 4u);
  EXPECT_EQ(usesCurrentProgram(&context()), 0u);
  drop();
  QV_CALL(glBindProgramPipeline)(4);
  expectStream(words({0x88DA, 4}));
  EXPECT_EQ(usesPipeline(&context(), 4, false), nullptr);
  QV_CALL(glBindProgramPipeline)(5);
  QV_CALL(glBindProgramPipeline)(4);
  EXPECT_NE(usesPipeline(&context(), 4, false), nullptr);
}

// Deleting one pipeline leaves the binding of another.
TEST_F(Programs, OtherPipelinesStayBound) {
  QV_CALL(glBindProgramPipeline)(4);
  QV_CALL(glBindProgramPipeline)(5);
  const GLuint name = 4;
  QV_CALL(glDeleteProgramPipelines)(1, &name);
  EXPECT_EQ(context().boundPipeline, 5u);
  QV_CALL(glBindProgramPipeline)(0);
  EXPECT_EQ(context().boundPipeline, 0u);
}

// --- debug output ---

struct Reported {
  GLenum source = 0, type = 0, severity = 0;
  GLsizei length = -1;
  std::string text;
  GLuint id = 0;
};
Reported reported;

void APIENTRY report(GLenum source, GLenum type, GLuint id, GLenum severity, GLsizei length, const GLchar* text, const void*) {
  reported = {source, type, severity, length, text, id};
}

// With debug output a compile asks for its status, and for the log of a failure; without it asks nothing.
TEST_F(Programs, FailedCompilesAreReported) {
  QV_CALL(glCompileShader)(5);
  EXPECT_TRUE(host.submissions.empty());
  expectStream(words({0x81EB, 5}));

  DebugState& log = *debugStateOf(&context());
  log.callback = report;
  QV_CALL(glCompileShader)(5);
  EXPECT_TRUE(host.submissions.empty());
  log.enabled = 1;
  reported = {};
  host.answerCommand(kGetShaderiv, words({1}));
  QV_CALL(glCompileShader)(5);
  EXPECT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(reported.source, 0u);

  host.submissions.clear();
  host.onSubmit = [](const Submission& made) {
    const std::vector<Command> commands = made.commands();
    if (commands.back().opcode == kGetShaderiv) {
      host.answerCommand(kGetShaderiv, words({commands.back().words[1] == GL_INFO_LOG_LENGTH ? 4u : 0u}));
    }
  };
  host.answerCommand(kGetShaderInfoLog, words({3}), {'b', 'a', 'd', 0});
  QV_CALL(glCompileShader)(5);
  const GLuint firstId = reported.id;
  host.submissions.clear();
  QV_CALL(glCompileShader)(5);
  EXPECT_GT(reported.id, firstId);  // every report has an id of its own
  host.onSubmit = nullptr;
  ASSERT_EQ(host.submissions.size(), 3u);
  EXPECT_EQ(host.submissions[2].reply2Size, 4u);
  EXPECT_EQ(reported.source, static_cast<GLenum>(GL_DEBUG_SOURCE_SHADER_COMPILER));
  EXPECT_EQ(reported.type, static_cast<GLenum>(GL_DEBUG_TYPE_ERROR));
  EXPECT_EQ(reported.severity, static_cast<GLenum>(GL_DEBUG_SEVERITY_HIGH));
  EXPECT_EQ(reported.length, 3);
  EXPECT_EQ(reported.text, "bad");
  // An empty log is reported as it is.
  host.onSubmit = [](const Submission& made) {
    const std::vector<Command> commands = made.commands();
    if (commands.back().opcode == kGetShaderiv)
      host.answerCommand(kGetShaderiv, words({commands.back().words[1] == GL_INFO_LOG_LENGTH ? 1u : 0u}));
  };
  host.answerCommand(kGetShaderInfoLog, words({0}), {0});
  host.submissions.clear();
  reported = {};
  QV_CALL(glCompileShader)(5);
  host.onSubmit = nullptr;
  EXPECT_EQ(host.submissions.size(), 3u);
  EXPECT_EQ(reported.source, static_cast<GLenum>(GL_DEBUG_SOURCE_SHADER_COMPILER));
  EXPECT_EQ(reported.length, 0);
  EXPECT_EQ(reported.text, "");
  // A shader that failed without a log: nothing to report.
  host.answerCommand(kGetShaderiv, words({0}));
  host.submissions.clear();
  reported = {};
  QV_CALL(glCompileShader)(5);
  EXPECT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(reported.source, 0u);
}

}  // namespace
}  // namespace qv::test
