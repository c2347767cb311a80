// Answers the packets of one guest.
#include "peer/host/guest.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "peer/link/log.h"

namespace qv::peer {
namespace {

uint32_t layoutOf(EscapeCode code) {
  switch (code) {
    case EscapeCode::VersionQuery:
      return VersionQueryPacket{}.header.layout;
    case EscapeCode::CreateContext:
      return CreateContextPacket{}.header.layout;
    case EscapeCode::DeleteContext:
      return DeleteContextPacket{}.header.layout;
    case EscapeCode::CopyContext:
      return CopyContextPacket{}.header.layout;
    case EscapeCode::ShareContexts:
      return ShareContextsPacket{}.header.layout;
    case EscapeCode::CreateWindow:
      return CreateWindowPacket{}.header.layout;
    case EscapeCode::DestroyWindow:
      return DestroyWindowPacket{}.header.layout;
    case EscapeCode::Flush:
      return FlushPacket{}.header.layout;
  }
  return 0;
}

}  // namespace

Guest::Guest(LiveCounters& counters, const EglDisplay& display, uint32_t number, const Quotas& quotas)
    : counters_(counters),
      display_(display),
      number_(number),
      counter_(counters.guests),
      shares_(counters, display, quotas.bufferBytes),
      windows_(counters, display, number, quotas),
      allocations_(counters, quotas),
      channelBytes_(quotas.channelBytes),
      mostContexts_(quotas.contexts) {}

Guest::~Guest() {
  std::map<uint32_t, std::shared_ptr<Context>> gone;
  {
    const std::lock_guard lock(mutex_);
    gone.swap(contexts_);
  }
  // All at once: one may be waiting for a window that another one holds.
  for (const auto& [id, context] : gone) context->stop();
  gone.clear();
}

void Guest::end() {
  if (ended_.exchange(true)) return;
  if (onEnd_) onEnd_();
  const std::lock_guard lock(mutex_);
  for (const auto& [id, context] : contexts_) context->stop();
}

bool Guest::knowsProcess(uint32_t processId) {
  uint32_t known = 0;
  return processId_.compare_exchange_strong(known, processId) || known == processId;
}

std::shared_ptr<Context> Guest::find(uint32_t id) {
  const std::lock_guard lock(mutex_);
  const auto at = contexts_.find(id);
  return at == contexts_.end() ? nullptr : at->second;
}

std::shared_ptr<Context> Guest::openChannel(uint32_t contextId) {
  const std::shared_ptr<Context> context = find(contextId);
  if (context == nullptr) {
    malformed("open channel: unknown context %u", contextId);
    return nullptr;
  }
  const std::lock_guard lock(channelMutex_);
  return !ended_.load() && context->openChannel() ? context : nullptr;
}

void Guest::answer(std::span<uint8_t> packet, const RowMemory& row) {
  EscapeHeader header;
  if (packet.size() < sizeof header) {
    malformed("packet of %zu bytes", packet.size());
    return;
  }
  std::memcpy(&header, packet.data(), sizeof header);
  const auto code = static_cast<uint32_t>(header.code);
  const auto answerAs = [&]<typename Packet>(Packet body, auto&& answerBody) {
    if (packet.size() != sizeof body) {
      header.status = malformed("packet %u of %zu bytes", code, packet.size());
    } else {
      std::memcpy(&body, packet.data(), sizeof body);
      if constexpr (requires { body.processId; }) {
        header.status =
            knowsProcess(body.processId) ? answerBody(body) : malformed("packet %u: unknown process %u", code, body.processId);
      } else {
        header.status = answerBody(body);
      }
      std::memcpy(packet.data(), &body, sizeof body);
    }
  };
  if (ended_.load()) {
    header.status = kStatusUnavailable;
  } else if (header.packetClass != kPacketClass || layoutOf(header.code) == 0 || header.layout != layoutOf(header.code)) {
    header.status = malformed("packet %u of class %u with layout word %u", code, header.packetClass, header.layout);
  } else {
    switch (header.code) {
      case EscapeCode::VersionQuery:
        answerAs(VersionQueryPacket{}, [&](auto& body) { return answerVersion(body); });
        break;
      case EscapeCode::CreateContext:
        answerAs(CreateContextPacket{}, [&](auto& body) { return answerCreate(body, row); });
        break;
      case EscapeCode::DeleteContext:
        answerAs(DeleteContextPacket{}, [&](auto& body) { return answerDelete(body); });
        break;
      case EscapeCode::CopyContext:
        answerAs(CopyContextPacket{}, [&](auto& body) { return answerCopy(body); });
        break;
      case EscapeCode::ShareContexts:
        answerAs(ShareContextsPacket{}, [&](auto& body) { return answerShare(body); });
        break;
      case EscapeCode::CreateWindow:
        answerAs(CreateWindowPacket{}, [&](auto& body) { return answerCreateWindow(body); });
        break;
      case EscapeCode::DestroyWindow:
        answerAs(DestroyWindowPacket{}, [&](auto& body) { return answerDestroyWindow(body); });
        break;
      case EscapeCode::Flush:
        header.status = malformed("flush outside a channel");
        break;
    }
  }
  std::memcpy(packet.data(), &header, sizeof header);
}

int32_t Guest::answerVersion(VersionQueryPacket& packet) {
  const uint16_t version = display_.compatibilityVersion();
  packet.major = version / 100;
  packet.minor = version % 100 / 10;
  return 0;
}

int32_t Guest::answerCreate(CreateContextPacket& packet, const RowMemory& row) {
  const auto attributes = readAttributeList(packet.attributes);
  if (!attributes) return malformed("create context: bad attribute list");
  if (packet.imagePath.direction != 0 || (packet.imagePath.address == 0) != (packet.imagePath.size == 0) ||
      packet.imagePath.size % 2 != 0) {
    return malformed("create context: image path row of %u bytes, direction %u", packet.imagePath.size, packet.imagePath.direction);
  }
  if (!row.readable) {
    return malformed("create context: image path of %u bytes not readable", packet.imagePath.size);
  }
  const DrawableAttributes granted = grantedContext(*attributes, display_.compatibilityVersion());
  if (!display_.offers(granted) || !writeGranted(packet.attributes, granted)) {
    return malformed("create context: version %u is not offered", attributes->version);
  }
  const std::lock_guard lock(mutex_);
  if (contexts_.size() >= mostContexts_) {
    logLine("guest %u: create context: quota of %zu reached", number_, contexts_.size());
    return kStatusUnavailable;
  }
  packet.contextId = ++lastContextId_;
  contexts_.emplace(packet.contextId, std::make_shared<Context>(*this, packet.contextId, granted));
  return 0;
}

int32_t Guest::answerDelete(const DeleteContextPacket& packet) {
  std::shared_ptr<Context> gone;  // its end waits for its thread, and so not under the lock
  {
    const std::lock_guard lock(mutex_);
    const auto at = contexts_.find(packet.contextId);
    if (at == contexts_.end()) return malformed("delete context: unknown context %u", packet.contextId);
    gone = std::move(at->second);
    contexts_.erase(at);
  }
  return 0;
}

int32_t Guest::answerCopy(const CopyContextPacket& packet) {
  if (find(packet.sourceId) == nullptr || find(packet.destinationId) == nullptr) {
    return malformed("copy context: unknown context %u or %u", packet.sourceId, packet.destinationId);
  }
  if (packet.mask == 0) return 0;
  // EGL has no call that copies state from one context to another.
  logLine("guest %u: copy context: state 0x%x of context %u is not copied to %u", number_, packet.mask, packet.sourceId,
          packet.destinationId);
  return kStatusUnavailable;
}

int32_t Guest::answerShare(const ShareContextsPacket& packet) {
  const std::shared_ptr<Context> first = find(packet.firstId), second = find(packet.secondId);
  if (first == nullptr || second == nullptr) {
    return malformed("share contexts: unknown context %u or %u", packet.firstId, packet.secondId);
  }
  if (!shares_.join(*first, *second)) {
    logLine("guest %u: share contexts: %u and %u have objects already", number_, packet.firstId, packet.secondId);
    return kStatusUnavailable;
  }
  return 0;
}

int32_t Guest::answerCreateWindow(CreateWindowPacket& packet) {
  packet.windowId = 0;
  const auto attributes = readAttributeList(packet.attributes);
  if (!attributes) return malformed("create window: bad attribute list");
  packet.windowId = windows_.create(*attributes);
  return packet.windowId == 0 ? kStatusUnavailable : 0;
}

int32_t Guest::answerDestroyWindow(const DestroyWindowPacket& packet) {
  if (!windows_.destroy(packet.windowId)) return malformed("destroy window: unknown window %u", packet.windowId);
  return 0;
}

int32_t Guest::malformed(const char* format, ...) const {
  char text[256];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  logLine("guest %u: %s", number_, text);
  return kStatusMalformed;
}

}  // namespace qv::peer
