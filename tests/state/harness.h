// What the tests of this folder stand on: a context on the calling thread, and a host that records and answers.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <vector>

#include "driver/base/pixel_formats.h"
#include "driver/calls/all.h"
#include "driver/state/gl_context.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv::test {

struct Command {
  uint32_t opcode;
  std::vector<uint32_t> words;  // behind the header
};

struct Submission {
  uint32_t presentMode;
  std::vector<Command> commands;
  uint32_t replySize;
  uint32_t reply2Size;
};

struct FakeHost {
  std::vector<Submission> submissions;
  // Replies by the opcode and first word of the last command of a submission; what has none is answered by zeros.
  std::map<std::pair<uint32_t, uint32_t>, std::vector<uint8_t>> replies;
  // Replies to any last command whose first word is this.
  std::map<uint32_t, std::vector<uint8_t>> repliesByName;
  bool failing = false;

  template <typename T>
  void answer(uint32_t name, std::vector<T> values) {
    std::vector<uint8_t> bytes(values.size() * sizeof(T));
    std::memcpy(bytes.data(), values.data(), bytes.size());
    repliesByName[name] = bytes;
  }
  void answerText(uint32_t name, const char* text) {
    repliesByName[name] = std::vector<uint8_t>(text, text + std::strlen(text) + 1);
  }
  // The command that the last submission ended with.
  const Command& last() const { return submissions.back().commands.back(); }
};
extern FakeHost host;

// Critical sections entered and not left.
extern int32_t locksHeld;

std::vector<Command> parse(const uint8_t* data, uint64_t size);

// Fresh context of pixel format 1, on this thread, with an empty host.
class StateTest : public ::testing::Test {
 protected:
  explicit StateTest(uint16_t version = 450, uint8_t compatibility = 1);
  ~StateTest() override;

  // Replaces the context.
  void remake(uint16_t version, uint8_t compatibility = 1, int32_t pixelFormat = 1);
  // Commands written and not yet submitted.
  std::vector<Command> pending() const;
  uint32_t takeError() {
    const uint32_t error = c->recordedError;
    c->recordedError = 0;
    return error;
  }

  std::unique_ptr<GlContext> c;
};

void makeCurrent(GlContext* context);

// A stamped entry point by its row.
template <typename Row, typename... A>
auto call(A... args) {
  return Entry<Row>::call(args...);
}

}  // namespace qv::test
