// ContextTest: a context that is current on the test's thread, with no window system, over the stand-in for SubmitFlush.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "driver/state/gl_context.h"
#include "driver/tables/proc_tables.h"
#include "tests/support/stream_builder.h"
#include "tests/support/submit_stand_in.h"

namespace qv::test {

// The routine of a GL name, taken from ProcNameTable as the system's library would.
PROC findProc(const char* name);
template <typename Function>
Function* gl(const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(findProc(name)));
}
#define QV_CALL(name) (*::qv::test::gl<decltype(::name)>(#name))

class ContextTest : public ::testing::Test {
 protected:
  explicit ContextTest(int32_t pixelFormat = 4, uint16_t version = 210, uint8_t compatibility = 1);
  ~ContextTest() override;

  GlContext& context() { return *context_; }
  // The recorded error, which is then none.
  uint32_t takeError();
  // Bytes written and not yet submitted.
  std::vector<uint8_t> pending() const { return {context_->base, context_->cursor}; }
  // Drops what has been written so far.
  void drop();
  // Expects the stream to hold exactly these bytes, and drops them.
  void expectStream(const std::vector<uint8_t>& bytes);
  void expectStream(const Stream& stream) { expectStream(stream.data); }

 private:
  GlContext* context_;
};

}  // namespace qv::test
