// The two static tables through which the system's OpenGL library finds the driver's routines.
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace qv {

inline constexpr uint32_t kCoreProcs = 336;
inline constexpr uint32_t kProcNames = 1366;

struct ProcNameRow {
  const char* name;
  PROC proc;  // null: the routine is not built yet
};
// Sorted by the bytes of the name.
extern const ProcNameRow (&ProcNameTable)[kProcNames];

struct GlProcTableRecord {
  uint32_t count;
  PROC procs[kCoreProcs];  // in the order that the system's library fixes; null: not built yet
};
extern const GlProcTableRecord& GlProcTable;

}  // namespace qv
