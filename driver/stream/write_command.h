// Writing one command into a stream: room, header in either form, payload.
#pragma once

#include <cstdint>
#include <cstring>

#include "driver/base/command_stream.h"
#include "wire/sizes.h"

namespace qv {

// Room for `bytes`, a multiple of 4, with the cursor moved behind it. Returns its start.
template <typename Stream>
inline uint8_t* takeRoom(Stream& stream, uint64_t bytes) {
  if (stream.remaining < bytes) [[unlikely]]
    stream.reserve(bytes);
  uint8_t* const at = stream.cursor;
  stream.cursor = at + bytes;
  stream.remaining -= bytes;
  return at;
}

// Writes the header of a command with `payload` bytes (payloadOf) in small or large form. Returns where the payload begins.
template <typename Stream>
inline uint8_t* beginCommand(Stream& stream, uint32_t opcode, uint64_t payload) {
  const uint32_t head = headerBytes(payload);
  uint8_t* const at = takeRoom(stream, padded(head + payload));
  if (head == kLargeHeaderBytes) [[unlikely]] {
    putLargeHeader(at, opcode, static_cast<uint32_t>(head + payload));
  } else {
    put(at, smallHeader(opcode, static_cast<uint32_t>(head + payload)));
  }
  return at + head;
}

}  // namespace qv
