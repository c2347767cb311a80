// The handler of each opcode, derived from the table of entry points.
#pragma once

#include <cstdint>

#include "wire/reader.h"

namespace qv::peer {

class Replayer;

// Replays one command. False when the command is malformed.
using Handler = bool (*)(Replayer& replayer, Reader payload);

// kOpcodes handlers; null for a number without a command, which is skipped by its size. Built at the first call, after the GL
// functions have been loaded.
const Handler* opcodeTable();
// Name of the routine with this opcode, or of the private command; null for a number without one.
const char* opcodeName(uint32_t opcode);
// Whether this is the opcode of a query by its form.
bool isQuery(uint32_t opcode);

}  // namespace qv::peer
