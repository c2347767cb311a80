// Opcodes that code names by itself; those of GL routines come from the table.
#pragma once

#include <cstdint>

#include "driver/stream/entry_table.h"

namespace qv {

// Private commands, without a GL entry point.
inline constexpr uint32_t kOpcodePbufferAttrib = 2000;
inline constexpr uint32_t kOpcodeBindTexImage = 2001;
inline constexpr uint32_t kOpcodeReleaseTexImage = 2002;
inline constexpr uint32_t kOpcodeActiveAttributes = 2005;
inline constexpr uint32_t kOpcodeActiveUniforms = 2006;
inline constexpr uint32_t kRunBroken = 2007;  // the primitive goes on with plain commands
inline constexpr uint32_t kRunEnded = 2008;   // glEnd came with the run
inline constexpr uint32_t kOpcodeQueryBatch = 2010;

// Opcode of a routine of the table: opcodeOf<op::glFinish>.
template <typename Row>
inline constexpr uint32_t opcodeOf = static_cast<uint32_t>(Row::kOpcode);

}  // namespace qv
