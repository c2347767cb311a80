// Every stamped row, called with distinct arguments: header, size, bytes, list, refusal, run close and reply, row by row.
// The expected bytes come from an encoder of this file's own, written from the payload rules.
#include <iostream>

#include "driver/objects/display_list_stream.h"
#include "tests/stream/recording_host.h"
#include "tests/stream/row_cases.h"

namespace qv::test {
namespace {

// --- the encoder ---

struct Encoder {
  std::vector<uint8_t> bytes;
  bool anyWide = false;
  bool inGroup = false;
  void raw(const void* data, size_t size) {
    const auto* const from = static_cast<const uint8_t*>(data);
    bytes.insert(bytes.end(), from, from + size);
  }
  void endGroup() {
    if (inGroup && anyWide)
      while (bytes.size() % 4 != 0) bytes.push_back(0);
    inGroup = false;
  }
  void components(const void* data, uint32_t width, uint32_t count) {
    if (width < 4) {
      inGroup = true;
    } else {
      endGroup();
    }
    raw(data, size_t{width} * count);
  }
};

// The whole command as the rules of the wire have it, padded with zeros.
std::vector<uint8_t> encode(const RowCase& row, const std::vector<Arg>& args, const Fix& fix) {
  const FormFacts& form = row.form;
  Encoder out;
  for (const Arg& arg : args) out.anyWide = out.anyWide || ((!arg.pointer || form.kind == Kind::kVec) && arg.width >= 4);
  for (const Arg& arg : args) {
    if (!arg.pointer) {
      out.components(&arg.bits, arg.cut ? 4 : arg.width, 1);
    } else if (form.kind == Kind::kVec) {
      out.components(memory, arg.width, form.n);
    }
  }
  out.endGroup();
  const uint32_t count = countOf(fix.value);
  if (form.kind == Kind::kCounted || form.kind == Kind::kCountedReply) out.raw(&count, 4);
  for (const Arg& arg : args) {
    if (!arg.pointer) continue;
    if (form.kind == Kind::kCounted) out.raw(memory, count * arg.width);
    if (form.kind == Kind::kSized) out.raw(memory, sizedCount(form, fix) * arg.width);
    if (form.kind == Kind::kArray) out.raw(memory, kArrayCount * form.n * arg.width);
  }
  const uint32_t size = static_cast<uint32_t>(out.bytes.size()) + 4;
  if (row.size >= 0) {
    EXPECT_EQ(static_cast<int>(size), row.size);
  }
  std::vector<uint8_t> command = words({size << 12 | static_cast<uint32_t>(row.opcode)});
  command += out.bytes;
  while (command.size() % 4 != 0) command.push_back(0);
  return command;
}

uint32_t replyBytes(const RowCase& row, const Fix& fix) {
  const uint32_t element = row.args.empty() ? 0 : row.args.back().width;
  switch (row.form.kind) {
    case Kind::kAnswer:
      return row.returnBytes;
    case Kind::kComponents:
      return row.form.n * element;
    case Kind::kSizedReply:
      return sizedCount(row.form, fix) * element;
    case Kind::kCountedReply:
      return countOf(fix.value) * element;
    default:
      return kArrayCount * element;
  }
}

// --- the checks ---

class DerivedRows : public ContextTest {
 protected:
  DerivedRows() {
    fillMemory();
    context().reserve(1);
  }

  void check(const RowCase& row, const Fix& fix) {
    SCOPED_TRACE(std::string(row.name) + " fix " + std::to_string(fix.value));
    const PROC proc = findProc(row.name);
    ASSERT_NE(proc, nullptr);
    const std::vector<Arg> args = argumentsOf(row, fix);
    const std::vector<uint8_t> expected = encode(row, args, fix);
    const bool answers = row.form.kind >= Kind::kAnswer;

    // Plain: exactly these bytes, and nothing behind them touched.
    blank();
    context().lastOpcode = -1;
    row.call(proc, args);
    EXPECT_EQ(written(answers), expected);
    EXPECT_EQ(context().recordedError, 0u);
    EXPECT_EQ(context().lastOpcode, row.opcode);
    EXPECT_EQ(context().base[kCanaryAt], 0xCA);
    EXPECT_EQ(host().submissions.size(), answers ? 1u : 0u);
    EXPECT_EQ(static_cast<uint64_t>(context().cursor - context().base) + context().remaining, context().capacity);
    if (answers) {
      EXPECT_EQ(host().submissions.back().replySize, replyBytes(row, fix));
      EXPECT_EQ(host().submissions.back().reply2Size, 0u);
    }

    // While a list is compiled the same bytes go to the host, and into the recording where the row says so.
    blank();
    DisplayListStream list(1);
    list.reserve(2048);
    std::memset(list.base, 0, list.capacity);
    context().recordingList = &list;
    context().listMode = GL_COMPILE;
    row.call(proc, args);
    context().recordingList = nullptr;
    context().listMode = 0;
    EXPECT_EQ(written(answers), expected);
    const std::vector<uint8_t> recorded(list.base, list.cursor);
    EXPECT_EQ(recorded, (row.properties & kRecords) != 0 ? expected : std::vector<uint8_t>{});
    if (row.attribute) return;

    // Inside glBegin it is refused with exactly one error and the stream untouched, or it breaks the run and is sent.
    blank();
    QV_CALL(glBegin)(GL_POINTS);
    const std::vector<uint8_t> before = pending();
    row.call(proc, args);
    if ((row.properties & kBeginCheck) != 0) {
      EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
      EXPECT_EQ(pending(), before);
      EXPECT_TRUE(host().submissions.empty());
      EXPECT_EQ(context().run.open, 1);
    } else {
      EXPECT_EQ(context().recordedError, 0u);
      std::vector<uint8_t> broken = words({2007, 12, 0});
      broken += expected;
      EXPECT_EQ(written(answers), broken);
      EXPECT_EQ(context().run.open, 0);
    }
    EXPECT_EQ(context().lastOpcode, row.opcode);
    context().insideBegin = 0;
    context().run = VertexRun{};
    context().recordedError = 0;
  }

 private:
  static constexpr size_t kCanaryAt = 1024;

  // Zeros where commands will stand, so that pad bytes compare, and a canary behind them.
  void blank() {
    drop();
    std::memset(context().base, 0, kCanaryAt);
    std::memset(context().base + kCanaryAt, 0xCA, kCanaryAt);
    host().submissions.clear();
    context().recordedError = 0;
  }
  std::vector<uint8_t> written(bool answers) {
    if (!answers) return pending();
    return host().submissions.empty() ? std::vector<uint8_t>{} : host().submissions.back().stream;
  }
};

// Every row whose entry point is stamped from its form writes what the rules of the wire say, in every mode.
TEST_F(DerivedRows, StampedRowsWriteTheirCommand) {
  int tested = 0;
  for (const RowCase& row : stampedRows()) {
    for (const Fix& fix : fixesOf(row)) check(row, fix);
    ++tested;
  }
  std::cout << "rows tested: " << tested << "\n";
  EXPECT_GE(tested, 625);
}

// The evaluator queries ask the count table with their query name: two values of order for a two-dimensional map.
TEST_F(DerivedRows, EvaluatorQueriesCountByQuery) {
  GLint order[2] = {};
  drop();
  QV_CALL(glGetMapiv)(GL_MAP2_VERTEX_3, GL_ORDER, order);
  ASSERT_EQ(host().submissions.size(), 1u);
  EXPECT_EQ(host().submissions[0].stream, words({16u << 12 | 268, GL_MAP2_VERTEX_3, GL_ORDER, 2}));
  EXPECT_EQ(host().submissions[0].replySize, 8u);
  QV_CALL(glGetMapiv)(GL_MAP2_VERTEX_3, 77, order);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_ENUM));
  EXPECT_EQ(host().submissions.size(), 1u);
}

}  // namespace
}  // namespace qv::test
