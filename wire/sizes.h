// Headers of commands, their sizes and padding, and the one rule for what is too long for a command.
#pragma once

#include <cstdint>
#include <cstring>

namespace qv {

inline constexpr uint32_t kSmallHeaderBytes = 4, kLargeHeaderBytes = 8;
inline constexpr uint32_t kLargeFormAt = 0x100000;  // a total from here on does not fit into a small header
inline constexpr uint32_t kOpcodes = 4096;          // the opcode is the low 12 bits of a header

// Commands begin at multiples of 4. The bytes that fill up a command are not counted in its total.
constexpr uint64_t padded(uint64_t bytes) { return (bytes + 3) & ~uint64_t{3}; }

// The longest payload of a command: in large form, padded, the total still fits into 32 bits.
inline constexpr uint64_t kLongestPayload = 0xFFFFFFFC - kLargeHeaderBytes;

// The payload of a command with `fixed` bytes and a tail of `tail` bytes. A tail that is too long for any command, because a
// count of the program or of the host is too high, is left out as a whole; the host passes such a command over.
constexpr uint64_t payloadOf(uint64_t fixed, uint64_t tail) { return tail <= kLongestPayload - fixed ? fixed + tail : fixed; }

constexpr bool needsLargeForm(uint64_t payload) { return payload + kSmallHeaderBytes >= kLargeFormAt; }
constexpr uint32_t headerBytes(uint64_t payload) { return needsLargeForm(payload) ? kLargeHeaderBytes : kSmallHeaderBytes; }

constexpr uint32_t smallHeader(uint32_t opcode, uint32_t total) { return total << 12 | opcode; }

template <typename T>
inline void put(uint8_t* at, T value) {
  std::memcpy(at, &value, sizeof value);
}
template <typename T>
inline T get(const uint8_t* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

// What the header of a command tells. `total` counts the header and is not checked against anything.
struct CommandHeader {
  uint32_t opcode = 0, bytes = 0, total = 0;
};
// Reads the header at `at`, of which `there` bytes are there. Returns 0, or how many bytes a header needs that begins so.
inline uint32_t readHeader(const uint8_t* at, uint64_t there, CommandHeader& out) {
  if (there < kSmallHeaderBytes) return kSmallHeaderBytes;
  const uint32_t first = get<uint32_t>(at);
  out = {first & (kOpcodes - 1), kSmallHeaderBytes, first >> 12};
  if (out.total < kSmallHeaderBytes) [[unlikely]] {
    if (there < kLargeHeaderBytes) return kLargeHeaderBytes;
    out.bytes = kLargeHeaderBytes;
    out.total = get<uint32_t>(at + kSmallHeaderBytes);
  }
  return 0;
}

// Writes a header of the large form at `at`; `total` counts the header.
inline void putLargeHeader(uint8_t* at, uint32_t opcode, uint32_t total) {
  put(at, opcode);
  put(at + 4, total);
}

}  // namespace qv
