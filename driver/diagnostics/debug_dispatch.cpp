// The way of a debug message: filter, callback, log.
#include "driver/diagnostics/debug_dispatch.h"

#include <cstring>
#include <new>

#include "driver/objects/share_group.h"
#include "driver/state/gl_context.h"

namespace qv {

namespace {

// Atomic, since two share groups have different locks; which of them gets which id does not matter.
std::atomic<uint32_t> nextMessageId{0};
std::atomic<uint32_t> outOfMemoryId{0};

}  // namespace

std::atomic<uint32_t> apiErrorId{0};

void assignMessageId(GlContext* context, std::atomic<uint32_t>& slot) {
  if (slot.load(std::memory_order_relaxed) != 0) return;
  const ShareLock held(context->shareGroup);
  slot.store(nextMessageId.fetch_add(1, std::memory_order_relaxed), std::memory_order_relaxed);
}

void storeMessage(GlContext* context, DebugMessage& slot, int32_t source, int32_t type, uint32_t id, int32_t severity,
                  int32_t length, const char* text) {
  const size_t bytes = length < 0 ? std::strlen(text) : static_cast<size_t>(length);
  char* const copy = new (std::nothrow) char[bytes + 1];
  if (copy == nullptr) {
    assignMessageId(context, outOfMemoryId);
    slot = {kDebugSourceOther,   kDebugTypeError, outOfMemoryId.load(std::memory_order_relaxed), kDebugSeverityHigh, -1,
            debugOutOfMemoryText};
    return;
  }
  std::memcpy(copy, text, bytes);
  copy[bytes] = 0;
  slot = {source, type, id, severity, length, copy};
}

void dispatchMessage(GlContext* context, int32_t source, int32_t type, uint32_t id, int32_t severity, int32_t length,
                     const char* text) {
  DebugState* const state = context->debugLog;
  if (!state->passes(source, type, id, severity)) return;
  if (state->callback != nullptr)
    return state->callback(kDebugSources[source], kDebugTypes[type], id, kDebugSeverities[severity], length, text,
                           state->userParam);
  if (state->logCount == DebugState::kLogged) return;
  DebugMessage& slot = state->log[(state->logHead + state->logCount) % DebugState::kLogged];
  storeMessage(context, slot, source, type, id, severity, length, text);
  ++state->logCount;
}

}  // namespace qv
