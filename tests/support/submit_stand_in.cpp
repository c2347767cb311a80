// The stand-in for SubmitFlush.
#include "tests/support/submit_stand_in.h"

#include <algorithm>

#include "driver/host/flush_packet.h"

namespace qv {

uint64_t SubmitFlush(GlContext*, uint32_t presentMode, const void* data, uint64_t length, void* reply, uint32_t replySize,
                     void* reply2, uint32_t reply2Size) {
  test::Submission submission{presentMode, {}, data == nullptr, replySize, reply2Size};
  if (data != nullptr) submission.stream.assign(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + length);
  return test::host.submit(std::move(submission), reply, reply2);
}

namespace test {

SubmitStandIn host;

uint64_t SubmitStandIn::submit(Submission submission, void* reply, void* reply2) {
  submissions.push_back(std::move(submission));
  const Submission& made = submissions.back();
  if (onSubmit) onSubmit(made);
  if (leavesReplies) return 0;
  if (reply != nullptr) std::memset(reply, 0, made.replySize);
  if (reply2 != nullptr) std::memset(reply2, 0, made.reply2Size);
  if (failing) return 0;
  if (!toCommands_.empty()) {
    const std::vector<Command> commands = made.commands();
    const auto found = commands.empty() ? toCommands_.end() : toCommands_.find(commands.back().opcode);
    if (found != toCommands_.end()) {
      const auto copy = [](void* to, uint32_t room, const std::vector<uint8_t>& from) {
        if (to != nullptr && !from.empty()) std::memcpy(to, from.data(), std::min<size_t>(room, from.size()));
      };
      copy(reply, made.replySize, found->second.first);
      copy(reply2, made.reply2Size, found->second.second);
      return found->second.second.size();
    }
  }
  if (reply2 != nullptr) return made.reply2Size;
  const std::vector<uint8_t>* const answer = answerTo(made);
  if (answer == nullptr || reply == nullptr) return made.replySize;
  const size_t size = std::min<size_t>(answer->size(), made.replySize);
  std::memcpy(reply, answer->data(), size);
  return size;
}

const std::vector<uint8_t>* SubmitStandIn::answerTo(const Submission& submission) const {
  if (!answers_.empty()) {
    const std::vector<Command> commands = submission.commands();
    if (!commands.empty()) {
      const std::vector<uint32_t>& words = commands.back().words;
      const auto found = answers_.find(words.empty() ? 0 : words[0]);
      if (found != answers_.end()) return &found->second;
    }
  }
  return answerToAll_.empty() ? nullptr : &answerToAll_;
}

}  // namespace test
}  // namespace qv
