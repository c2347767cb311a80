// Filters, groups and the log of debug messages.
#include "driver/diagnostics/debug_log.h"

#include <cstring>
#include <new>
#include <utility>

#include "driver/diagnostics/record_error.h"
#include "driver/state/gl_context.h"

namespace qv {

namespace {

void refuse(GlContext* context, GLenum error) { recordError(context, error, 0, kErrorText); }

template <size_t N>
int32_t indexOf(const GLenum (&enums)[N], GLenum value) {
  int32_t i = 0;
  while (i < static_cast<int32_t>(N) && enums[i] != value) ++i;
  return i;
}

bool isProgramsSource(GLenum source) { return source == GL_DEBUG_SOURCE_THIRD_PARTY || source == GL_DEBUG_SOURCE_APPLICATION; }

bool isKnownOrAny(int32_t index, int32_t all, GLenum value) { return index < all || value == GL_DONT_CARE; }

// A negative length becomes that of the text. False when it is 4096 or more.
bool measure(int32_t& length, const char* text) {
  if (length < 0) {
    const size_t measured = std::strlen(text);
    length = measured < kDebugTextSize ? static_cast<int32_t>(measured) : kDebugTextSize;
  }
  return length < kDebugTextSize;
}

DebugFilterBlock* copyOf(const DebugFilterBlock& block) {
  auto* const copy = new (std::nothrow) DebugFilterBlock;
  if (copy == nullptr) return nullptr;
  for (size_t i = 0; i < std::size(block.rows); ++i) {
    copy->rows[i].defaultMask = block.rows[i].defaultMask;
    DebugIdEntry** end = &copy->rows[i].entries;
    for (const DebugIdEntry* entry = block.rows[i].entries; entry != nullptr; entry = entry->next) {
      *end = new (std::nothrow) DebugIdEntry{nullptr, entry->id, entry->mask};
      if (*end == nullptr) {
        delete copy;
        return nullptr;
      }
      end = &(*end)->next;
    }
  }
  return copy;
}

// The block of the present group, its own from here on. Without memory it stays the shared one: a change then shows in the group
// around it, too.
DebugFilterBlock& ownFilters(DebugState& state) {
  DebugFilterBlock*& block = state.filters[state.depth];
  if (state.depth > 0 && block == state.filters[state.depth - 1]) {
    if (DebugFilterBlock* const copy = copyOf(*block); copy != nullptr) block = copy;
  }
  return *block;
}

void removeEntry(DebugIdEntry** at) { delete std::exchange(*at, (*at)->next); }

void setId(DebugFilterRow& row, uint32_t id, bool enabled) {
  const uint32_t wanted = enabled ? 15 : 0;
  DebugIdEntry** at = &row.entries;
  while (*at != nullptr && (*at)->id != id) at = &(*at)->next;
  if (row.defaultMask == wanted) {
    if (*at != nullptr) removeEntry(at);
  } else if (*at != nullptr) {
    (*at)->mask = wanted;
  } else if (auto* const entry = new (std::nothrow) DebugIdEntry{row.entries, id, wanted}; entry != nullptr) {
    row.entries = entry;
  }
}

void setSeverity(DebugFilterRow& row, int32_t severity, bool enabled) {
  if (severity == kAllSeverities) {
    row.defaultMask = enabled ? 15 : 0;
    while (row.entries != nullptr) removeEntry(&row.entries);
    return;
  }
  const uint32_t bit = 1u << severity;
  const auto set = [&](uint32_t& mask) { mask = enabled ? mask | bit : mask & ~bit; };
  set(row.defaultMask);
  for (DebugIdEntry** at = &row.entries; *at != nullptr;) {
    set((*at)->mask);
    if ((*at)->mask == row.defaultMask) {
      removeEntry(at);
    } else {
      at = &(*at)->next;
    }
  }
}

}  // namespace

DebugState* debugStateOf(GlContext* context) {
  if (context->debugLog != nullptr) return context->debugLog;
  auto* const state = new (std::nothrow) DebugState;
  if (state != nullptr) state->filters[0] = new (std::nothrow) DebugFilterBlock;
  if (state == nullptr || state->filters[0] == nullptr) {
    delete state;
    refuse(context, GL_OUT_OF_MEMORY);
    return nullptr;
  }
  return context->debugLog = state;
}

void setDebugCapability(GlContext* context, GLenum capability, uint8_t enable) {
  DebugState* const state = debugStateOf(context);
  if (state == nullptr) return;
  if (capability == GL_DEBUG_OUTPUT) state->enabled = enable;
  if (capability == GL_DEBUG_OUTPUT_SYNCHRONOUS) state->synchronous = enable;
}

int32_t debugInteger(GlContext* context, GLenum pname) {
  const DebugState* const state = debugStateOf(context);
  if (state == nullptr) return 0;
  switch (pname) {
    case GL_DEBUG_OUTPUT:
      return state->enabled;
    case GL_DEBUG_OUTPUT_SYNCHRONOUS:
      return state->synchronous;
    case GL_DEBUG_LOGGED_MESSAGES:
      return state->logCount;
    case GL_DEBUG_GROUP_STACK_DEPTH:
      return state->depth + 1;
    case GL_DEBUG_NEXT_LOGGED_MESSAGE_LENGTH:
      return state->logCount == 0 ? 0 : state->log[state->logHead].length + 1;
    default:
      return 0;
  }
}

void* debugPointer(GlContext* context, GLenum pname) {
  const DebugState* const state = debugStateOf(context);
  if (state == nullptr) return nullptr;
  if (pname == GL_DEBUG_CALLBACK_FUNCTION) return reinterpret_cast<void*>(state->callback);
  return const_cast<void*>(state->userParam);
}

void insertMessage(GlContext* context, GLenum source, GLenum type, uint32_t id, GLenum severity, int32_t length, const char* text,
                   bool skipChecks) {
  const int32_t sourceIndex = indexOf(kDebugSources, source), typeIndex = indexOf(kDebugTypes, type),
                severityIndex = indexOf(kDebugSeverities, severity);
  if (!skipChecks && (!isProgramsSource(source) || typeIndex == kAllTypes || severityIndex == kAllSeverities))
    return refuse(context, GL_INVALID_ENUM);
  if (!measure(length, text)) return refuse(context, GL_INVALID_VALUE);
  if (debugStateOf(context) != nullptr) dispatchMessage(context, sourceIndex, typeIndex, id, severityIndex, length, text);
}

void controlMessages(GlContext* context, GLenum source, GLenum type, GLenum severity, GLsizei count, const GLuint* ids,
                     bool enabled) {
  if (count < 0) return refuse(context, GL_INVALID_VALUE);
  const int32_t sourceIndex = indexOf(kDebugSources, source), typeIndex = indexOf(kDebugTypes, type),
                severityIndex = indexOf(kDebugSeverities, severity);
  if (!isKnownOrAny(sourceIndex, kAllSources, source) || !isKnownOrAny(typeIndex, kAllTypes, type) ||
      !isKnownOrAny(severityIndex, kAllSeverities, severity))
    return refuse(context, GL_INVALID_ENUM);
  if (count != 0 && (severity != GL_DONT_CARE || type == GL_DONT_CARE || source == GL_DONT_CARE))
    return refuse(context, GL_INVALID_OPERATION);
  DebugState* const state = debugStateOf(context);
  if (state == nullptr) return;
  DebugFilterBlock& filters = ownFilters(*state);
  for (GLsizei i = 0; i < count; ++i) setId(filters.row(sourceIndex, typeIndex), ids[i], enabled);
  if (count != 0) return;
  for (int32_t s = 0; s < kAllSources; ++s) {
    for (int32_t t = 0; t < kAllTypes; ++t) {
      if ((sourceIndex == kAllSources || sourceIndex == s) && (typeIndex == kAllTypes || typeIndex == t))
        setSeverity(filters.row(s, t), severityIndex, enabled);
    }
  }
}

uint32_t takeMessages(GlContext* context, GLuint count, GLsizei bufSize, GLenum* sources, GLenum* types, GLuint* ids,
                      GLenum* severities, GLsizei* lengths, GLchar* messageLog) {
  if (messageLog == nullptr) bufSize = 0;
  if (bufSize < 0) {
    refuse(context, GL_INVALID_VALUE);
    return 0;
  }
  DebugState* const state = debugStateOf(context);
  if (state == nullptr) return 0;
  uint32_t taken = 0;
  size_t room = static_cast<size_t>(bufSize);
  for (; taken < count && state->logCount != 0; ++taken) {
    DebugMessage& message = state->log[state->logHead];
    const size_t need = (message.length < 0 ? std::strlen(message.text) : static_cast<size_t>(message.length)) + 1;
    if (messageLog != nullptr) {
      if (need > room) break;
      std::memcpy(messageLog, message.text, need);
      messageLog += need;
      room -= need;
    }
    if (lengths != nullptr) lengths[taken] = static_cast<GLsizei>(need);
    if (severities != nullptr) severities[taken] = kDebugSeverities[message.severity];
    if (sources != nullptr) sources[taken] = kDebugSources[message.source];
    if (types != nullptr) types[taken] = kDebugTypes[message.type];
    if (ids != nullptr) ids[taken] = message.id;
    clearMessage(message);
    state->logHead = (state->logHead + 1) % DebugState::kLogged;
    --state->logCount;
  }
  return taken;
}

void pushDebugGroup(GlContext* context, GLenum source, GLuint id, GLsizei length, const char* message) {
  if (!isProgramsSource(source)) return refuse(context, GL_INVALID_ENUM);
  if (!measure(length, message)) return refuse(context, GL_INVALID_VALUE);
  DebugState* const state = debugStateOf(context);
  if (state == nullptr) return;
  if (state->depth >= DebugState::kDepths - 1) return refuse(context, GL_STACK_OVERFLOW);
  const int32_t sourceIndex = indexOf(kDebugSources, source);
  storeMessage(context, state->groups[state->depth], sourceIndex, kDebugTypePushGroup, id, kDebugSeverityNotification, length,
               message);
  state->filters[state->depth + 1] = state->filters[state->depth];
  ++state->depth;
  dispatchMessage(context, sourceIndex, kDebugTypePushGroup, id, kDebugSeverityNotification, length, message);
}

void popDebugGroup(GlContext* context) {
  DebugState* const state = debugStateOf(context);
  if (state == nullptr) return;
  if (state->depth <= 0) return refuse(context, GL_STACK_UNDERFLOW);
  if (state->filters[state->depth] != state->filters[state->depth - 1]) delete state->filters[state->depth];
  --state->depth;
  // Taken out before the callback, which may push again.
  DebugMessage message = std::exchange(state->groups[state->depth], {});
  dispatchMessage(context, message.source, kDebugTypePopGroup, message.id, kDebugSeverityNotification, message.length,
                  message.text);
  clearMessage(message);
}

}  // namespace qv
