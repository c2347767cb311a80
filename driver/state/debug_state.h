// DebugState: the debug messages of a context, their filters and their groups. driver/diagnostics has what is done with it.
#pragma once

#include <cstdint>
#include <iterator>

#include "wire/gl_api.h"

namespace qv {

// The enums of sources, types and severities by their indices. An enum that is not among them, GL_DONT_CARE, has the table's size
// as its index.
inline constexpr GLenum kDebugSources[] = {
    GL_DEBUG_SOURCE_API,         GL_DEBUG_SOURCE_WINDOW_SYSTEM, GL_DEBUG_SOURCE_SHADER_COMPILER,
    GL_DEBUG_SOURCE_THIRD_PARTY, GL_DEBUG_SOURCE_APPLICATION,   GL_DEBUG_SOURCE_OTHER};
inline constexpr GLenum kDebugTypes[] = {
    GL_DEBUG_TYPE_ERROR,       GL_DEBUG_TYPE_DEPRECATED_BEHAVIOR, GL_DEBUG_TYPE_UNDEFINED_BEHAVIOR,
    GL_DEBUG_TYPE_PORTABILITY, GL_DEBUG_TYPE_PERFORMANCE,         GL_DEBUG_TYPE_OTHER,
    GL_DEBUG_TYPE_MARKER,      GL_DEBUG_TYPE_PUSH_GROUP,          GL_DEBUG_TYPE_POP_GROUP};
inline constexpr GLenum kDebugSeverities[] = {GL_DEBUG_SEVERITY_LOW, GL_DEBUG_SEVERITY_MEDIUM, GL_DEBUG_SEVERITY_HIGH,
                                              GL_DEBUG_SEVERITY_NOTIFICATION};
inline constexpr int32_t kAllSources = std::size(kDebugSources), kAllTypes = std::size(kDebugTypes),
                         kAllSeverities = std::size(kDebugSeverities);

// Indices of the kinds of message that the driver itself raises.
inline constexpr int32_t kDebugSourceApi = 0, kDebugSourceShaderCompiler = 2, kDebugSourceOther = 5;
inline constexpr int32_t kDebugTypeError = 0, kDebugTypePushGroup = 7, kDebugTypePopGroup = 8;
inline constexpr int32_t kDebugSeverityHigh = 2, kDebugSeverityNotification = 3;
// Longest message text, its zero included.
inline constexpr int32_t kDebugTextSize = 4096;

struct DebugMessage {
  int32_t source = 0, type = 0;
  uint32_t id = 0;
  int32_t severity = 0;
  int32_t length = 0;    // -1: the text is to be measured
  char* text = nullptr;  // owned, or the one text of all messages that had no memory
};

// An exception of its row: the severities of one id, a bit each.
struct DebugIdEntry {
  DebugIdEntry* next;
  uint32_t id;
  uint32_t mask;
};

// The filter of a source and a type.
struct DebugFilterRow {
  DebugIdEntry* entries = nullptr;
  uint32_t defaultMask = 14;  // all severities but the low one
};

struct DebugFilterBlock {
  DebugFilterBlock() = default;
  DebugFilterBlock(const DebugFilterBlock&) = delete;
  DebugFilterBlock& operator=(const DebugFilterBlock&) = delete;
  ~DebugFilterBlock();
  DebugFilterRow& row(int32_t source, int32_t type) { return rows[source * kAllTypes + type]; }

  DebugFilterRow rows[kAllSources * kAllTypes];
};

struct DebugState {
  static constexpr int32_t kDepths = 64, kLogged = 10;

  DebugState() = default;
  DebugState(const DebugState&) = delete;
  DebugState& operator=(const DebugState&) = delete;
  ~DebugState();

  // Whether a message of these source, type and severity indices is wanted.
  bool passes(int32_t source, int32_t type, uint32_t id, int32_t severity) const;

  GLDEBUGPROC callback = nullptr;
  const void* userParam = nullptr;
  uint8_t synchronous = 0;  // GL_DEBUG_OUTPUT_SYNCHRONOUS: kept, and without effect
  uint8_t enabled = 0;      // GL_DEBUG_OUTPUT
  // One for each depth of groups. A group shares the block of the one around it until it changes it.
  DebugFilterBlock* filters[kDepths] = {};
  DebugMessage groups[kDepths];
  int32_t depth = 0;
  DebugMessage log[kLogged];  // a ring
  int32_t logHead = 0, logCount = 0;
};

// The text of messages that had no memory for their own.
extern char debugOutOfMemoryText[];

// Frees the text, if it is owned.
void clearMessage(DebugMessage& message);

}  // namespace qv
