// Answers the messages of a guest.
#include "peer/host/conversation.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "peer/link/log.h"

namespace qv::peer {
namespace {

constexpr uint32_t kLongestMessage = sizeof(HostRequest) + 64 * 1024;

}  // namespace

bool Conversation::answer(std::span<const uint8_t> message, int file, HostReply& reply, int& replyFile) {
  opened_ = nullptr;
  HostRequest request;
  if (message.size() < sizeof request) return refuse("message of %zu bytes", message.size());
  std::memcpy(&request, message.data(), sizeof request);
  if (request.protocol != kHostProtocol) return refuse("protocol %u", request.protocol);
  if (request.packetBytes > kPacketRoom || request.pathBytes != message.size() - sizeof request) {
    return refuse("packet of %u bytes with a path of %u", request.packetBytes, request.pathBytes);
  }
  reply.done = 1;
  switch (request.message) {
    case HostMessage::Counters:
      break;
    case HostMessage::Packet:
      std::memcpy(reply.packet, request.packet, request.packetBytes);
      guest_.answer({reply.packet, request.packetBytes}, {message.subspan(sizeof request), request.pathReadable != 0});
      break;
    case HostMessage::OpenAllocation:
      reply.done = file >= 0 && guest_.allocations().open(request.allocation, file);
      break;
    case HostMessage::CloseAllocation:
      reply.done = guest_.allocations().close(request.allocation.handle);
      break;
    case HostMessage::OpenChannel:
      opened_ = guest_.openChannel(request.contextId);
      reply.done = opened_ != nullptr;
      if (opened_ != nullptr) replyFile = opened_->channelFile();
      break;
    default:
      return refuse("unknown message %u", static_cast<uint32_t>(request.message));
  }
  reply.counters = guest_.counters().read();
  return true;
}

bool Conversation::refuse(const char* format, ...) const {
  char text[128];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  logLine("guest %u: %s, connection closed", guest_.number(), text);
  return false;
}

void converse(int socket, Guest& guest) {
  Conversation conversation(guest);
  std::vector<uint8_t> memory(kLongestMessage);
  int file = -1;
  while (const uint32_t bytes = receiveMessage(socket, memory.data(), kLongestMessage, file)) {
    HostReply reply;
    int replyFile = -1;
    const bool go = conversation.answer({memory.data(), bytes}, file, reply, replyFile);
    if (file >= 0) close(file);
    if (!go || !sendMessage(socket, &reply, sizeof reply, nullptr, 0, replyFile)) return;
  }
  if (file >= 0) close(file);
}

}  // namespace qv::peer
