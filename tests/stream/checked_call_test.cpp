// The oracle of debug builds, over routines that keep the rule and routines that break it.
#include "driver/tables/checked_call.h"

#include "driver/diagnostics/record_error.h"
#include "driver/stream/flush.h"
#include "driver/stream/vertex_run.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"

namespace qv::test {
namespace {

constexpr const char* kName = "glExample";

void APIENTRY refusesCleanly() { recordError(currentContext(), GL_INVALID_ENUM, 0, "refused"); }
void APIENTRY writes() { writeMark(currentContext(), kEnd); }
void APIENTRY writesAndRefuses() {
  writes();
  refusesCleanly();
}
void APIENTRY refusesTwice() {
  refusesCleanly();
  refusesCleanly();
}
void APIENTRY asksAndRefuses() {
  flushStream(currentContext(), 0, nullptr, 0, nullptr, 0);
  refusesCleanly();
}
void APIENTRY closesTheRunAndRefuses() {
  closeRun(currentContext(), kRunBroken);
  refusesCleanly();
}

class CheckedCalls : public ContextTest {};

// A refusal with one error and an untouched stream passes, also behind a question to the host, and so does a command.
TEST_F(CheckedCalls, CallsThatKeepTheRulePass) {
  CheckedCall<&refusesCleanly, kName>::call();
  CheckedCall<&writes, kName>::call();
  CheckedCall<&asksAndRefuses, kName>::call();
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_ENUM));
}

// A command and an error of one call, two errors, and a run closed by a refused call end the process with the call's name.
TEST_F(CheckedCalls, CallsThatBreakTheRuleEndTheProcess) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_DEATH((CheckedCall<&writesAndRefuses, kName>::call()), "glExample: 1 errors raised");
  EXPECT_DEATH((CheckedCall<&refusesTwice, kName>::call()), "glExample: 2 errors raised");
  QV_CALL(glBegin)(GL_POINTS);
  EXPECT_DEATH((CheckedCall<&closesTheRunAndRefuses, kName>::call()), "glExample: 1 errors raised");
}

// While a list is compiled errors are dropped; the check counts them all the same.
TEST_F(CheckedCalls, DroppedErrorsCountAsRaised) {
  QV_CALL(glNewList)(1, GL_COMPILE);
  EXPECT_DEATH((CheckedCall<&writesAndRefuses, kName>::call()), "glExample: 1 errors raised");
  EXPECT_EQ(context().recordedError, 0u);
  QV_CALL(glEndList)();
}

}  // namespace
}  // namespace qv::test
