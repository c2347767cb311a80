// The recording host behind the stream tests.
#include "tests/stream/recording_host.h"

#include <algorithm>
#include <bit>

#include "driver/base/current_context.h"
#include "driver/host/flush_packet.h"

namespace qv {

uint64_t SubmitFlush(GlContext*, uint32_t presentMode, const void* data, uint64_t length, void* reply, uint32_t replySize,
                     void*, uint32_t reply2Size) {
  test::RecordingHost& host = test::RecordingHost::get();
  test::Submission submission;
  submission.presentMode = presentMode;
  submission.dataWasNull = data == nullptr;
  if (data) submission.stream.assign(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + length);
  submission.replySize = replySize;
  submission.reply2Size = reply2Size;
  host.submissions.push_back(submission);
  if (reply) {
    std::memset(reply, 0, replySize);
    if (!host.answer.empty()) std::memcpy(reply, host.answer.data(), std::min<size_t>(replySize, host.answer.size()));
  }
  return reply2Size != 0 ? reply2Size : replySize;
}

namespace test {

RecordingHost& RecordingHost::get() {
  static RecordingHost host;
  return host;
}

PROC findProc(const char* name) {
  for (const ProcNameRow& row : ProcNameTable)
    if (std::string_view(row.name) == name) return row.proc;
  return nullptr;
}

ContextTest::ContextTest(int32_t pixelFormat, uint16_t version, uint8_t compatibility) {
  ContextTlsSlot = TlsAlloc();
  RecordingHost::get() = RecordingHost{};
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

std::vector<uint8_t> words(std::initializer_list<uint32_t> values) {
  std::vector<uint8_t> out;
  for (const uint32_t value : values)
    for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<uint8_t>(value >> shift));
  return out;
}

uint32_t bitsOf(float value) { return std::bit_cast<uint32_t>(value); }

std::vector<uint8_t>& operator+=(std::vector<uint8_t>& left, const std::vector<uint8_t>& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

}  // namespace test
}  // namespace qv
