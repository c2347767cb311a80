// The seam between the driver and the log of debug messages. The log itself is not built yet: nothing in the driver gives a
// context a DebugState, so no message is formatted and the debug queries read as zero.
#pragma once

#include <atomic>
#include <cstdint>

namespace qv {

class GlContext;

// Indices of the kinds of message that the driver itself raises.
inline constexpr int32_t kDebugSourceApi = 0, kDebugSourceShaderCompiler = 2, kDebugTypeError = 0, kDebugSeverityHigh = 2;
// Longest message text, its zero included.
inline constexpr uint32_t kDebugTextSize = 4096;

struct DebugState {
  // Whether a message of these source, type and severity indices is wanted at all.
  bool (*passes)(const DebugState& state, int32_t source, int32_t type, uint32_t id, int32_t severity) = nullptr;
  // Takes a message: filter, then callback or log. A length of -1 means that the text is to be measured.
  void (*dispatch)(GlContext* context, int32_t source, int32_t type, uint32_t id, int32_t severity, int32_t length,
                   const char* text) = nullptr;
  uint8_t synchronous = 0;  // GL_DEBUG_OUTPUT_SYNCHRONOUS
  uint8_t enabled = 0;      // GL_DEBUG_OUTPUT
};

// Id of all messages about API errors; 0 until assigned.
extern std::atomic<uint32_t> apiErrorId;

// Gives the word at `slot` the next message id of the process if the word is 0. Ids count from 0, so the first slot keeps 0 and
// gets another id at its next use (required oddity 8). Takes the lock of the context's share group.
void assignMessageId(GlContext* context, std::atomic<uint32_t>& slot);

// GL_DEBUG_OUTPUT or GL_DEBUG_OUTPUT_SYNCHRONOUS; anything else is ignored, and so is everything while there is no log.
void setDebugCapability(GlContext* context, uint32_t capability, uint8_t enable);
// The value of a debug pname; 0 while there is no log.
int32_t debugInteger(GlContext* context, uint32_t pname);

}  // namespace qv
