// Every stamped row, called with arguments of its own: header, size, bytes, list, refusal, run close and reply, row by row.
// The expected bytes come from the encoder of tests/support/row_cases.cpp, which is written from the payload rules.
#include <cstring>
#include <iostream>
#include <string_view>
#include <utility>

#include "driver/objects/display_list_stream.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"
#include "tests/support/row_cases.h"
#include "wire/columns.h"

namespace qv::test {
namespace {

class DerivedRows : public ContextTest {
 protected:
  DerivedRows() { context().reserve(1); }

  void check(const RowCase& one) {
    const RowFacts& row = *one.row;
    const auto routine = reinterpret_cast<Routine>(findProc(row.name));
    ASSERT_NE(routine, nullptr);
    const std::vector<uint8_t> expected = one.command();
    const bool answers = row.reply != ReplyKind::None;

    // Plain: exactly these bytes, and nothing behind them touched.
    blank();
    context().lastOpcode = -1;
    one.call(routine);
    EXPECT_EQ(written(answers), expected);
    EXPECT_EQ(context().recordedError, 0u);
    EXPECT_EQ(context().lastOpcode, row.opcode);
    EXPECT_EQ(context().base[kCanaryAt], 0xCA);
    EXPECT_EQ(host.submissions.size(), answers ? 1u : 0u);
    EXPECT_EQ(static_cast<uint64_t>(context().cursor - context().base) + context().remaining, context().capacity);
    if (answers) {
      EXPECT_EQ(host.submissions.back().replySize, one.replyBytes());
      EXPECT_EQ(host.submissions.back().reply2Size, 0u);
    }

    // While a list is compiled the same bytes go to the host, and into the recording where the row says so.
    blank();
    auto* const list = new DisplayListStream(1);
    list->reserve(2048);
    std::memset(list->base, 0, list->capacity);
    context().recordingList = list;
    context().listMode = GL_COMPILE;
    one.call(routine);
    EXPECT_EQ(written(answers), expected);
    const std::vector<uint8_t> recorded(list->base, list->cursor);
    delete std::exchange(context().recordingList, nullptr);  // null behind glEndList, which has taken it over
    context().listMode = 0;
    EXPECT_EQ(recorded, (row.properties & kRecords) != 0 ? expected : std::vector<uint8_t>{});
    if (row.attribute) return;

    // Inside glBegin it is refused with exactly one error and the stream untouched, or it breaks the run and is sent.
    blank();
    QV_CALL(glBegin)(GL_POINTS);
    const std::vector<uint8_t> before = pending();
    one.call(routine);
    if ((row.properties & kBeginCheck) != 0) {
      EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
      EXPECT_EQ(pending(), before);
      EXPECT_TRUE(host.submissions.empty());
      EXPECT_EQ(context().runOpen, 1);
    } else {
      EXPECT_EQ(context().recordedError, 0u);
      std::vector<uint8_t> broken = words({kRunBroken, 12, 0});
      broken += expected;
      EXPECT_EQ(written(answers), broken);
      EXPECT_EQ(context().runOpen, 0);
    }
    EXPECT_EQ(context().lastOpcode, row.opcode);
    context().insideBegin = 0;
    static_cast<VertexRun&>(context()) = {};
    context().recordedError = 0;
  }

 private:
  static constexpr size_t kCanaryAt = 1024;

  // Zeros where commands will stand, so that pad bytes compare, and a canary behind them.
  void blank() {
    drop();
    std::memset(context().base, 0, kCanaryAt);
    std::memset(context().base + kCanaryAt, 0xCA, kCanaryAt);
    host.submissions.clear();
    context().recordedError = 0;
  }
  std::vector<uint8_t> written(bool answers) {
    if (!answers) return pending();
    return host.submissions.empty() ? std::vector<uint8_t>{} : host.submissions.back().stream;
  }
};

// Every row whose entry point is stamped from its form writes what the rules of the wire say, in every mode.
TEST_F(DerivedRows, StampedRowsWriteTheirCommand) {
  int tested = 0;
  for (const RowFacts& row : allRows()) {
    if (!row.stamped && !row.attribute) continue;
    const std::string_view name = row.name;
    if (name == "glLinkProgram" || name == "glPushAttrib") continue;  // their shadow steps ask the host
    const std::vector<RowCase> cases = casesOf(row);
    for (size_t i = 0; i < cases.size(); ++i) {
      SCOPED_TRACE(std::string(row.name) + " case " + std::to_string(i));
      check(cases[i]);
    }
    tested += !cases.empty();
  }
  std::cout << "rows tested: " << tested << "\n";
  EXPECT_GE(tested, 691);
}

// The evaluator queries ask the count table with their query name: two values of order for a two-dimensional map.
TEST_F(DerivedRows, EvaluatorQueriesCountByQuery) {
  GLint order[2] = {};
  drop();
  QV_CALL(glGetMapiv)(GL_MAP2_VERTEX_3, GL_ORDER, order);
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kGetMapiv, GL_MAP2_VERTEX_3, GL_ORDER, 2).data);
  EXPECT_EQ(host.submissions[0].replySize, 8u);
  QV_CALL(glGetMapiv)(GL_MAP2_VERTEX_3, 77, order);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_ENUM));
  EXPECT_EQ(host.submissions.size(), 1u);
}

}  // namespace
}  // namespace qv::test
