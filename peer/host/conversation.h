// The host's end of a guest's socket: its messages, one after the other.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "peer/host/guest.h"
#include "peer/link/host_protocol.h"

namespace qv::peer {

class Conversation {
 public:
  explicit Conversation(Guest& guest) : guest_(guest) {}

  // Answers one message. `file` came with it, or is -1, and stays the caller's; so does `replyFile`, which is to go back with the
  // reply, or is -1, and is open until the next message. False, with a line in the log, ends the conversation.
  bool answer(std::span<const uint8_t> message, int file, HostReply& reply, int& replyFile);

 private:
  // False.
  [[gnu::format(printf, 2, 3)]] bool refuse(const char* format, ...) const;

  Guest& guest_;
  std::shared_ptr<Context> opened_;  // keeps the file of its channel open until it has been sent
};

// Answers the messages that come through `socket`, which stays the caller's, until the guest goes away or says something that
// cannot be understood.
void converse(int socket, Guest& guest);

}  // namespace qv::peer
