// Writing one command into a stream: room, header in either form, payload.
#pragma once

#include <cstdint>
#include <cstring>

#include "driver/stream/command_stream.h"
#include "driver/stream/forms.h"

namespace qv {

// Room for `bytes`, a multiple of 4, with the cursor moved behind it. Returns its start.
template <typename Stream>
inline uint8_t* takeRoom(Stream& stream, uint32_t bytes) {
  if (stream.remaining < bytes) [[unlikely]]
    stream.reserve(bytes);
  uint8_t* const at = stream.cursor;
  stream.cursor = at + bytes;
  stream.remaining -= bytes;
  return at;
}

// Writes the header of a command whose small-form total is `smallTotal`, in large form when it does not fit, and returns the
// place of its payload of smallTotal - 4 bytes. A total that wrapped below 4 yields an empty payload.
template <typename Stream>
inline uint8_t* beginCommand(Stream& stream, uint32_t opcode, uint32_t smallTotal) {
  if (needsLargeForm(smallTotal)) [[unlikely]] {
    const uint32_t total = smallTotal + 4;
    // Totals within 3 bytes of 4 GiB cannot be padded in 32 bits; they are room that no process has, and are cut.
    uint8_t* const at = takeRoom(stream, total > 0xFFFFFFFCu ? 0xFFFFFFFCu : padded(total));
    put(at, opcode);
    put(at + 4, total);
    return at + 8;
  }
  if (smallTotal < 4) smallTotal = 4;
  uint8_t* const at = takeRoom(stream, padded(smallTotal));
  put(at, smallHeader(opcode, smallTotal));
  return at + 4;
}

}  // namespace qv
