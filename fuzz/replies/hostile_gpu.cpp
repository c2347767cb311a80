// The answers of a hostile host.
#include "fuzz/replies/hostile_gpu.h"

#include <algorithm>
#include <cstring>

#include "wire/gl_api.h"

namespace qv::fuzz {

// 0xF0000027 is left out: it ends the process, as it must.
int32_t HostileGpu::status() {
  static constexpr uint32_t kStatuses[] = {0, 0, 0xC000000D, 0xC0000001, 0xFFFFFFFF, 1, 0x7FFFFFFF, 0x103, 0xF0000026};
  return hostile() ? static_cast<int32_t>(random_.of(kStatuses)) : 0;
}

uint32_t HostileGpu::word() {
  static constexpr uint32_t kWords[] = {0, 1, 2, 16, 256, 1024, 65535, 65536, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  return random_.oneIn(2) ? random_.of(kWords) : static_cast<uint32_t>(random_.next());
}

void HostileGpu::attributes(std::span<uint16_t> words) {
  if (!hostile()) return;
  const bool ended = random_.oneIn(2);
  for (uint16_t& word : words) word = static_cast<uint16_t>(random_.oneIn(4) ? random_.next() : GL_VERSION);
  if (ended) words[random_.below(words.size())] = 0;
}

void HostileGpu::answer(EscapeBufferRow& row) {
  uint8_t* const memory = reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(row.address));
  const uint32_t room = row.size;
  if (memory == nullptr) {
    if (hostile()) row.size = word();
    return;
  }
  uint32_t length = hostile() ? random_.below(uint64_t{room} + 1) : room;
  if (!hostile()) {
    // Numbers as an OpenGL may have them; a text is as long as its buffer, with its zero.
    static constexpr uint32_t kHonest[] = {0, 1, 4, 8, 16, 32, GL_FRONT, GL_BACK};
    const uint32_t honest = random_.of(kHonest);
    for (uint32_t at = 0; at + 4 <= length; at += 4) std::memcpy(memory + at, &honest, 4);
    if (length % 4 != 0 || length > 1024) std::memset(memory, 'a' + static_cast<int>(random_.below(26)), length);
    if (length > 0) memory[length - 1] = 0;
  } else {
    const uint32_t same = word();
    const uint32_t way = random_.below(4);
    for (uint32_t at = 0; at < length; ++at) {
      memory[at] = static_cast<uint8_t>(way == 0   ? 0xFF
                                        : way == 1 ? random_.next()
                                        : way == 2 ? " GL_1.4"[at % 7]
                                                   : same >> 8 * (at % 4));
    }
  }
  row.size = hostile() ? word() : length;
}

NTSTATUS HostileGpu::escape(void* packet, uint32_t size) {
  EscapeHeader header;
  if (size < sizeof header) return -1;
  std::memcpy(&header, packet, sizeof header);
  if (hostile() && random_.oneIn(4)) return random_.oneIn(2) ? static_cast<NTSTATUS>(0xC00002B6) : -1;
  const auto as = [&]<typename Packet>(Packet body, auto&& fill) {
    if (size != sizeof body) return;
    std::memcpy(&body, packet, sizeof body);
    fill(body);
    body.header.status = status();
    std::memcpy(packet, &body, sizeof body);
  };
  const auto id = [&] { return hostile() ? word() : ++lastId_; };
  switch (header.code) {
    case EscapeCode::VersionQuery:
      as(VersionQueryPacket{}, [&](auto& body) {
        body.major = static_cast<uint16_t>(hostile() ? word() : 4);
        body.minor = static_cast<uint16_t>(hostile() ? word() : 6);
      });
      break;
    case EscapeCode::CreateContext:
      as(CreateContextPacket{}, [&](auto& body) {
        body.contextId = id();
        attributes(body.attributes);
      });
      break;
    case EscapeCode::CreateWindow:
      as(CreateWindowPacket{}, [&](auto& body) {
        body.windowId = id();
        attributes(body.attributes);
      });
      break;
    case EscapeCode::Flush:
      as(FlushPacket{}, [&](auto& body) {
        answer(body.reply);
        answer(body.reply2);
      });
      break;
    default:
      header.status = status();
      std::memcpy(packet, &header, sizeof header);
      break;
  }
  return 0;
}

}  // namespace qv::fuzz
