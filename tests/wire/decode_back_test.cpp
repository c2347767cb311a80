// Every stamped row through the peer's reader: the function that the host calls gets the arguments that the program gave.
#include <algorithm>
#include <iostream>
#include <set>
#include <string>
#include <string_view>

#include "peer/replay/replayer.h"
#include "tests/support/context_fixture.h"
#include "tests/support/gl_recorder.h"
#include "tests/support/row_cases.h"

namespace qv::test {
namespace {

// The host knows no sync object that it has not made.
const std::set<std::string> kNotReplayed = {"glIsSync"};
// The host looks at what the guest says before GL does, and refuses values like the ones given here.
const std::set<std::string> kLookedAtFirst = {"glViewportArrayv", "glScissorArrayv",         "glDepthRangeArrayv",
                                              "glCopyPixels",     "glInvalidateTexSubImage", "glInvalidateTexImage",
                                              "glPixelStorei",    "glPixelStoref",          "glInvalidateBufferData",
                                              "glInvalidateBufferSubData"};
// The host has names of its own for these objects, and knows none before the guest has used it.
const std::set<std::string> kMapped = {"glBeginQuery", "glEndQuery", "glBeginQueryIndexed", "glEndQueryIndexed", "glQueryCounter",
                                       "glDeleteQueries", "glBeginConditionalRender", "glBeginConditionalRenderNV",
                                       "glBindTransformFeedback", "glDeleteTransformFeedbacks", "glDrawTransformFeedback",
                                       "glDrawTransformFeedbackStream", "glDrawTransformFeedbackInstanced",
                                       "glDrawTransformFeedbackStreamInstanced", "glDeleteSync", "glClientWaitSync", "glWaitSync"};
// Its shadow step asks the host, too.
constexpr std::string_view kAsksMore = "glLinkProgram";

class DecodeBack : public ContextTest {
 protected:
  void check(const RowCase& one) {
    const RowFacts& row = *one.row;
    drop();
    host.submissions.clear();
    one.call(reinterpret_cast<Routine>(findProc(row.name)));
    const std::vector<uint8_t> stream = host.submissions.empty() ? pending() : host.submissions[0].stream;

    recorder.calls.clear();
    recorder.bytesBehind = 0;
    if (row.reply == ReplyKind::None && !row.arguments.empty()) {
      recorder.bytesBehind = size_t{one.elements} * row.arguments.back().width;
    }
    replayer.begin();
    const auto bytes = static_cast<uint32_t>(stream.size());
    const auto result = replayer.replay(stream.data(), bytes, bytes);
    ASSERT_EQ(result.outcome, peer::Replayer::Outcome::Done) << replayer.complaint();
    EXPECT_EQ(result.consumed, stream.size());
    // Around a query the host asks whether GL has refused it.
    if (std::string_view(row.name) != "glGetError") {
      std::erase_if(recorder.calls, [](const auto& call) { return std::string_view(call.name) == "glGetError"; });
    }
    if (kNotReplayed.contains(row.name)) {
      EXPECT_TRUE(recorder.calls.empty());
      return;
    }
    if (kLookedAtFirst.contains(row.name) || kMapped.contains(row.name) || row.name == kAsksMore) return;
    ASSERT_FALSE(recorder.calls.empty()) << "not replayed";
    if (row.reply != ReplyKind::None) {
      // A wider result goes as its low 32 bits.
      const uint32_t most = row.reply == ReplyKind::Answer ? 4 : UINT32_MAX;
      EXPECT_EQ(replayer.reply().size(), std::min(host.submissions[0].replySize, most));
    }
    EXPECT_STREQ(recorder.calls.back().name, row.name);
    EXPECT_EQ(recorder.calls.back().arguments, one.arguments());
  }

  GlRecorder recorder;
  peer::Replayer replayer;
};

// The reader takes every command apart into the call that made it.
TEST_F(DecodeBack, ArgumentsComeBack) {
  int tested = 0;
  for (const RowFacts& row : allRows()) {
    if (!row.stamped && !row.attribute) continue;
    const std::string_view name = row.name;
    // The shadow step of one asks the host, and the host splits the range of the other.
    if (name == "glPushAttrib" || name == "glDeleteLists") continue;
    const std::vector<RowCase> cases = casesOf(row);
    for (size_t i = 0; i < cases.size(); ++i) {
      SCOPED_TRACE(std::string(row.name) + " case " + std::to_string(i));
      check(cases[i]);
    }
    tested += !cases.empty();
  }
  std::cout << "rows decoded back: " << tested << "\n";
  EXPECT_GE(tested, 717);
}

}  // namespace
}  // namespace qv::test
