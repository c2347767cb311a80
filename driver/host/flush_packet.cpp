// SubmitFlush: one FlushPacket, its replies, and the present that may follow.
#include "driver/host/flush_packet.h"

#include <cstring>

#include "driver/host/host_channel.h"
#include "driver/host/present.h"
#include "driver/host/window_tracking.h"
#include "driver/state/gl_context.h"
#include "wire/packets.h"

namespace qv {

namespace {

void describe(EscapeBufferRow& row, const void* memory, uint32_t size) {
  if (memory == nullptr) return;
  row.address = reinterpret_cast<uintptr_t>(memory);
  row.size = size;
}

void zeroReplies(void* reply, uint32_t replySize, void* reply2, uint32_t reply2Size) {
  if (reply != nullptr) std::memset(reply, 0, replySize);
  if (reply2 != nullptr) std::memset(reply2, 0, reply2Size);
}

}  // namespace

uint64_t SubmitFlush(GlContext* context, uint32_t presentMode, const void* data, uint64_t length, void* reply, uint32_t replySize,
                     void* reply2, uint32_t reply2Size) {
  FlushPacket packet;
  packet.processId = GetCurrentProcessId();
  packet.contextId = context->hostContextId;
  packet.presentMode = presentMode;
  describe(packet.stream, length != 0 ? data : nullptr, static_cast<uint32_t>(length));
  describe(packet.reply, reply, replySize);
  describe(packet.reply2, reply2, reply2Size);

  WindowRecord* const record = holdWindowRecord(context->window);
  if (record == nullptr) {
    zeroReplies(reply, replySize, reply2, reply2Size);
    return 0;
  }
  MeasureWindow(record);

  packet.windowId = record->hostWindowId;
  packet.clientRect[0] = record->clientRect.left;
  packet.clientRect[1] = record->clientRect.top;
  packet.clientRect[2] = record->clientRect.right;
  packet.clientRect[3] = record->clientRect.bottom;
  packet.backBuffer = record->backBuffer.allocation;
  if (!sendPacket(packet)) {
    if (packet.header.status == kStatusProcessEnds) ExitProcess(1);  // required oddity 45
    // The replies read as zeros and the flush goes on: required oddity 43.
    zeroReplies(reply, replySize, reply2, reply2Size);
  }
  if (presentMode != 0) presentFrame(record, context);
  releaseWindowRecord(record);
  if (reply2 != nullptr) return packet.reply2.size;
  return reply != nullptr ? packet.reply.size : 0;
}

}  // namespace qv
