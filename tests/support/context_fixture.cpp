// Makes a context current.
#include "tests/support/context_fixture.h"

#include <cstring>
#include <string_view>
#include <utility>

#include "driver/base/current_context.h"

namespace qv::test {

PROC findProc(const char* name) {
  for (const ProcNameRow& row : ProcNameTable)
    if (std::string_view(row.name) == name) return row.proc;
  return nullptr;
}

ContextTest::ContextTest(int32_t pixelFormat, uint16_t version, uint8_t compatibility) {
  ContextTlsSlot = TlsAlloc();
  host = {};
  context_ = new GlContext(pixelFormat, version, compatibility);
  context_->quirkFlags |= kQuirkVertexRuns;
  TlsSetValue(ContextTlsSlot, context_);
}

ContextTest::~ContextTest() {
  TlsSetValue(ContextTlsSlot, nullptr);
  delete context_;
  TlsFree(ContextTlsSlot);
  ContextTlsSlot = kNoTlsSlot;
}

uint32_t ContextTest::takeError() { return std::exchange(context_->recordedError, 0u); }

void ContextTest::drop() {
  // Pad bytes have no defined value: zeroed memory makes them compare.
  if (context_->base) std::memset(context_->base, 0, static_cast<size_t>(context_->cursor - context_->base));
  context_->cursor = context_->base;
  context_->remaining = context_->capacity;
}

void ContextTest::expectStream(const std::vector<uint8_t>& bytes) {
  EXPECT_EQ(pending(), bytes);
  drop();
}

}  // namespace qv::test
