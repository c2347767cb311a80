// A context without a window system: a SubmitFlush that keeps what it was given, and a fixture that makes a context current.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "driver/state/gl_context.h"
#include "driver/tables/proc_tables.h"

namespace qv::test {

struct Submission {
  uint32_t presentMode = 0;
  std::vector<uint8_t> stream;
  bool dataWasNull = false;
  uint32_t replySize = 0, reply2Size = 0;
};

// What the next submissions answer: bytes copied into the first reply buffer as far as it reaches, zeros behind.
struct RecordingHost {
  std::vector<Submission> submissions;
  std::vector<uint8_t> answer;
  static RecordingHost& get();
  template <typename T>
  void answerWith(T value) {
    answer.resize(sizeof value);
    std::memcpy(answer.data(), &value, sizeof value);
  }
};

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
  RecordingHost& host() { return RecordingHost::get(); }
  // Bytes written and not yet submitted.
  std::vector<uint8_t> pending() const { return {context_->base, context_->cursor}; }
  // Drops what has been written so far.
  void drop();
  // Expects the stream to hold exactly these bytes, and drops them.
  void expectStream(const std::vector<uint8_t>& bytes);

 private:
  GlContext* context_;
};

// Little-endian words one after the other.
std::vector<uint8_t> words(std::initializer_list<uint32_t> values);
uint32_t bitsOf(float value);
std::vector<uint8_t>& operator+=(std::vector<uint8_t>& left, const std::vector<uint8_t>& right);

}  // namespace qv::test
