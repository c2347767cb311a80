// What each opcode's command may look like and what replays it, derived from the table of entry points.
#pragma once

#include <cstdint>

namespace qv::peer {

class Replayer;

// Replays one command whose payload size lies in the entry's range. False when the command is malformed.
using Handler = bool (*)(Replayer& replayer, const uint8_t* payload, uint32_t bytes);

struct OpcodeEntry {
  Handler handler = nullptr;  // null: no such command, skipped by its size
  uint32_t least = 0;         // payload bytes
  uint32_t span = 0;          // how many more it may have
};

inline constexpr uint32_t kOpcodes = 4096;
inline constexpr uint32_t kAnySpan = 0xFFFFFFFF;

// kOpcodes entries. Built at the first call, which must come after the GL functions have been loaded.
const OpcodeEntry* opcodeTable();
// Name of the routine with this opcode, or of the private command; null for a number without one.
const char* opcodeName(uint32_t opcode);

}  // namespace qv::peer
