// What goes over the socket between a guest and its host: one message, one reply, each a packet of the socket. Flushes do not come
// this way: they go through the channel of their context.
#pragma once

#include <cstdint>
#include <type_traits>

#include "peer/link/statistics.h"

namespace qv::peer {

enum class HostMessage : uint32_t {
  Counters = 1,         // asks for PeerCounters; also the first message of a connection
  Packet = 2,           // an Escape packet other than a flush
  OpenAllocation = 3,   // its memory file comes with the message
  CloseAllocation = 4,  // by allocation.handle
  OpenChannel = 5,      // of a context, by contextId, before its first flush; the file of the channel comes with the reply
};

inline constexpr uint32_t kHostProtocol = 3;  // raised when any record here or in channel.h changes
inline constexpr uint32_t kPacketRoom = 256;

// What the kernel driver tells of an allocation.
struct AllocationDescription {
  uint32_t handle = 0;
  uint32_t size = 0;  // bytes
  uint32_t width = 0, height = 0;
  uint32_t pitch = 0;  // bytes per row
};

struct HostRequest {
  uint32_t protocol = kHostProtocol;
  HostMessage message{};
  uint32_t packetBytes = 0;
  uint32_t pathBytes = 0;  // of the image path, behind this record
  uint32_t pathReadable = 1;
  uint32_t contextId = 0;
  AllocationDescription allocation;
  uint8_t packet[kPacketRoom] = {};
};

struct HostReply {
  uint32_t protocol = kHostProtocol;
  uint32_t done = 0;  // 1: carried out; of a packet only that it was answered, its own status says how
  PeerCounters counters;
  uint8_t packet[kPacketRoom] = {};
};

// No gap carries memory of the sender.
static_assert(std::has_unique_object_representations_v<HostRequest> && std::has_unique_object_representations_v<HostReply>);

// Sends one message in up to two parts, with a file if `fd` is not -1. False when the other side is gone.
bool sendMessage(int socket, const void* first, uint32_t firstBytes, const void* second, uint32_t secondBytes, int fd);
// Receives one message; a file that comes with it goes to `fd`, else -1. Returns its length, cut to `room`; 0 when the other
// side is gone.
uint32_t receiveMessage(int socket, void* to, uint32_t room, int& fd);

}  // namespace qv::peer
