// SubmitStandIn: takes the place of SubmitFlush, keeps every submission and answers it as the test says.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "tests/support/commands.h"

namespace qv::test {

struct Submission {
  uint32_t presentMode = 0;
  std::vector<uint8_t> stream;
  bool dataWasNull = false;
  uint32_t replySize = 0, reply2Size = 0;

  std::vector<Command> commands() const { return parse(stream); }
};

// The host of a test. Its answer fills the first reply buffer as far as both reach, and zeros stand behind it: the answer for the
// first word of the submission's last command, or else the one for all, or else zeros alone. The second buffer gets zeros, unless
// there is an answer for the command.
class SubmitStandIn {
 public:
  template <typename T>
  void answer(uint32_t firstWord, const std::vector<T>& values) {
    answers_[firstWord] = bytesOf(values);
  }
  // With its terminating zero.
  void answerText(uint32_t firstWord, const char* text) {
    answer(firstWord, std::vector<char>(text, text + std::strlen(text) + 1));
  }
  template <typename T>
  void answerAll(const std::vector<T>& values) {
    answerToAll_ = bytesOf(values);
  }

  // Both replies to submissions that end with a command of this opcode. They come before the other answers.
  void answerCommand(uint32_t opcode, std::vector<uint8_t> first, std::vector<uint8_t> second = {}) {
    toCommands_[opcode] = {std::move(first), std::move(second)};
  }

  // The command that the last submission ended with.
  Command last() const { return submissions.back().commands().back(); }

  std::vector<Submission> submissions;
  bool failing = false;                             // both buffers get zeros, and the length is 0
  bool leavesReplies = false;                       // nothing is written into the buffers, as without a window
  std::function<void(const Submission&)> onSubmit;  // sees each submission before it is answered

  // What SubmitFlush returns.
  uint64_t submit(Submission submission, void* reply, void* reply2);

 private:
  template <typename T>
  static std::vector<uint8_t> bytesOf(const std::vector<T>& values) {
    std::vector<uint8_t> bytes(values.size() * sizeof(T));
    if (!bytes.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
  }
  const std::vector<uint8_t>* answerTo(const Submission& submission) const;

  std::map<uint32_t, std::vector<uint8_t>> answers_;
  std::map<uint32_t, std::pair<std::vector<uint8_t>, std::vector<uint8_t>>> toCommands_;
  std::vector<uint8_t> answerToAll_;
};

// The one that SubmitFlush reaches. A fixture begins with a new one.
extern SubmitStandIn host;

}  // namespace qv::test
