// Message ids, and the capabilities of debug output.
#include "driver/diagnostics/debug_log.h"

#include "driver/objects/share_group.h"
#include "driver/state/gl_context.h"

namespace qv {

namespace {

// Atomic, since two share groups have different locks; which of them gets which id does not matter.
std::atomic<uint32_t> nextMessageId{0};

}  // namespace

std::atomic<uint32_t> apiErrorId{0};

void assignMessageId(GlContext* context, std::atomic<uint32_t>& slot) {
  if (slot.load(std::memory_order_relaxed) != 0) return;
  const ShareLock held(context->shareGroup);
  slot.store(nextMessageId.fetch_add(1, std::memory_order_relaxed), std::memory_order_relaxed);
}

void setDebugCapability(GlContext* context, uint32_t capability, uint8_t enable) {
  if (context->debugLog == nullptr) return;
  if (capability == GL_DEBUG_OUTPUT) context->debugLog->enabled = enable;
  if (capability == GL_DEBUG_OUTPUT_SYNCHRONOUS) context->debugLog->synchronous = enable;
}

int32_t debugInteger(GlContext* context, uint32_t pname) {
  if (context->debugLog == nullptr) return 0;
  if (pname == GL_DEBUG_OUTPUT) return context->debugLog->enabled;
  if (pname == GL_DEBUG_OUTPUT_SYNCHRONOUS) return context->debugLog->synchronous;
  return 0;
}

}  // namespace qv
