// HostileGuest: a guest that says anything to the host's half of the peer.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "fuzz/core/random.h"
#include "peer/host/conversation.h"
#include "peer/host/guest.h"
#include "peer/link/channel.h"

namespace qv::fuzz {

class HostileGuest {
 public:
  // With `throughSocket` its messages go to a converse() on a thread of its own, else straight to a Conversation.
  explicit HostileGuest(bool throughSocket);
  // The host lets go of the guest soon, whatever it is at.
  ~HostileGuest();

  // One message or one flush, as the numbers say.
  void act(Random& random);

 private:
  struct Channel {
    std::shared_ptr<peer::ChannelMemory> memory;
    uint32_t requests = 0;
  };

  void say(Random& random, peer::HostRequest& request, const std::vector<uint8_t>& behind, std::optional<uint32_t> cut, int file);
  void sayPacket(Random& random);
  void sayAnything(Random& random);
  void openAllocation(Random& random);
  void openChannel(uint32_t context);
  void flush(Random& random, Channel& channel);
  static void writeStream(Random& random, peer::ChannelMemory& memory, const std::vector<uint8_t>& stream);
  void falsify(Random& random, peer::ChannelMemory& memory);
  uint32_t anyId(Random& random) const { return random.oneIn(16) ? static_cast<uint32_t>(random.next()) : 1 + random.below(4); }

  peer::LiveCounters counters_;
  std::unique_ptr<peer::Guest> guest_;
  std::unique_ptr<peer::Conversation> conversation_;  // null once the host has ended it, or with a socket
  std::thread host_;
  int socket_ = -1;  // -1 once the host has closed it, or without
  std::map<uint32_t, Channel> channels_;
  bool honest_ = true;  // no word has been falsified so far, so that no context waits for what never comes
};

}  // namespace qv::fuzz
