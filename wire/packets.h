// The private packets that travel through D3DKMTEscape, byte for byte as the kernel driver and the host read them.
// All numbers are little-endian; sizes and offsets are part of the wire contract and asserted below.
#pragma once

#include <cstddef>
#include <cstdint>

#include "wire/attribute_list.h"

namespace qv {

enum class EscapeCode : uint32_t {
  VersionQuery = 33072,
  CreateContext = 33075,
  DeleteContext = 33076,
  CopyContext = 33077,
  ShareContexts = 33078,
  CreateWindow = 33079,
  DestroyWindow = 33080,
  Flush = 33081,
};

inline constexpr uint32_t kPacketClass = 2;
inline constexpr int32_t kStatusPending = -1;  // as sent; a kernel that never saw the packet leaves it
inline constexpr int32_t kStatusProcessEnds = static_cast<int32_t>(0xF0000027);  // answer to a flush: the process ends at once

struct EscapeHeader {
  uint32_t packetClass = kPacketClass;
  uint32_t reserved0 = 0;
  EscapeCode code{};
  int32_t status = kStatusPending;
  uint32_t layout = 0;  // buffer rows << 16 | payload bytes
  uint32_t reserved1 = 0;
};
static_assert(sizeof(EscapeHeader) == 24);
static_assert(offsetof(EscapeHeader, code) == 8 && offsetof(EscapeHeader, status) == 12 && offsetof(EscapeHeader, layout) == 16);

// One piece of guest memory that the kernel driver reads (direction 0) or writes (direction 1) during the call.
struct EscapeBufferRow {
  uint64_t address = 0;  // guest user-mode address, 0 when unused
  uint32_t size = 0;     // bytes; read back after the call on a row the host answers in
  uint32_t direction = 0;
};
static_assert(sizeof(EscapeBufferRow) == 16);

struct VersionQueryPacket {
  EscapeHeader header{.code = EscapeCode::VersionQuery, .layout = 4};
  uint16_t major = 3;  // sent as 3, which the kernel driver requires; reply: GL major version of the host
  uint16_t minor = 0;  // reply: GL minor version of the host
  uint32_t zero = 0;
};
static_assert(sizeof(VersionQueryPacket) == 32 && offsetof(VersionQueryPacket, major) == 24 &&
              offsetof(VersionQueryPacket, minor) == 26);

struct CreateContextPacket {
  EscapeHeader header{.code = EscapeCode::CreateContext, .layout = 65664};
  uint32_t processId = 0;
  uint32_t contextId = 0;                     // reply
  uint16_t attributes[kAttributeWords] = {};  // AttributeList; the reply may rewrite it
  EscapeBufferRow imagePath;                  // UTF-16 without terminator, all zero when not available
};
static_assert(sizeof(CreateContextPacket) == 168 && offsetof(CreateContextPacket, attributes) == 32 &&
              offsetof(CreateContextPacket, imagePath) == 152);

struct DeleteContextPacket {
  EscapeHeader header{.code = EscapeCode::DeleteContext, .layout = 8};
  uint32_t processId = 0;
  uint32_t contextId = 0;
};
static_assert(sizeof(DeleteContextPacket) == 32);

struct CopyContextPacket {
  EscapeHeader header{.code = EscapeCode::CopyContext, .layout = 16};
  uint32_t processId = 0;
  uint32_t sourceId = 0;
  uint32_t destinationId = 0;
  uint32_t mask = 0;  // the GL attribute mask of DrvCopyContext
};
static_assert(sizeof(CopyContextPacket) == 40 && offsetof(CopyContextPacket, mask) == 36);

struct ShareContextsPacket {
  EscapeHeader header{.code = EscapeCode::ShareContexts, .layout = 16};
  uint32_t processId = 0;
  uint32_t firstId = 0;
  uint32_t secondId = 0;
  uint32_t zero = 0;
};
static_assert(sizeof(ShareContextsPacket) == 40 && offsetof(ShareContextsPacket, secondId) == 32);

struct CreateWindowPacket {
  EscapeHeader header{.code = EscapeCode::CreateWindow, .layout = 128};
  uint32_t processId = 0;
  uint32_t windowId = 0;  // reply; 0 means failure
  uint16_t attributes[kAttributeWords] = {};
};
static_assert(sizeof(CreateWindowPacket) == 152 && offsetof(CreateWindowPacket, attributes) == 32);

struct DestroyWindowPacket {
  EscapeHeader header{.code = EscapeCode::DestroyWindow, .layout = 8};
  uint32_t processId = 0;
  uint32_t windowId = 0;
};
static_assert(sizeof(DestroyWindowPacket) == 32);

struct FlushPacket {
  EscapeHeader header{.code = EscapeCode::Flush, .layout = 196672};
  uint32_t processId = 0;
  uint32_t contextId = 0;
  uint32_t windowId = 0;
  uint32_t presentMode = 0;    // 0, GL_FRONT or GL_BACK
  int32_t clientRect[4] = {};  // left, top, right, bottom in screen coordinates
  uint32_t backBuffer = 0;     // allocation handle, 0 when the window has none
  uint32_t reserved = 0;
  uint64_t reserved64[3] = {};
  EscapeBufferRow stream;  // address 0 when the stream is empty
  EscapeBufferRow reply{.direction = 1};
  EscapeBufferRow reply2{.direction = 1};
};
static_assert(sizeof(FlushPacket) == 136 && offsetof(FlushPacket, presentMode) == 36 && offsetof(FlushPacket, clientRect) == 40 &&
              offsetof(FlushPacket, backBuffer) == 56 && offsetof(FlushPacket, stream) == 88 &&
              offsetof(FlushPacket, reply) == 104 && offsetof(FlushPacket, reply2) == 120);

}  // namespace qv
