// The way of a debug message: filter, callback, log.
#pragma once

#include <atomic>
#include <cstdint>

#include "driver/state/debug_state.h"

namespace qv {

class GlContext;

// Id of all messages about API errors; 0 until assigned.
extern std::atomic<uint32_t> apiErrorId;

// Gives the word at `slot` the next message id of the process if the word is 0. Ids count from 0, so the first slot keeps 0 and
// gets another id at its next use (required oddity 8). Takes the lock of the context's share group.
void assignMessageId(GlContext* context, std::atomic<uint32_t>& slot);

// Puts a copy of the text into a message whose text is not owned. Without memory it becomes the message that tells so.
void storeMessage(GlContext* context, DebugMessage& slot, int32_t source, int32_t type, uint32_t id, int32_t severity,
                  int32_t length, const char* text);

// Gives a message that passes the filter to the callback or, without one, to the log; a full log drops it. The callback may call
// GL: whoever dispatches has finished with the state before.
void dispatchMessage(GlContext* context, int32_t source, int32_t type, uint32_t id, int32_t severity, int32_t length,
                     const char* text);

}  // namespace qv
