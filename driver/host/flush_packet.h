// SubmitFlush: the sender of the FlushPacket, the one routine through which a stream and its answers cross to the host.
#pragma once

#include <cstdint>

namespace qv {

class GlContext;

// Sends `context`'s stream [data, data + length) with the present mode (0, GL_FRONT or GL_BACK); `data` may be null with length
// 0. The host writes its answer into `reply` and `reply2`, either may be null with size 0; both are zeroed when the flush fails.
// Returns the length the host reports: that of the second buffer if one was given, else of the first, else 0. Returns 0 and sends
// nothing when the context's window is gone; the replies then stay as they were (required oddity 44). A status of 0xF0000027 ends
// the process.
uint64_t SubmitFlush(GlContext* context, uint32_t presentMode, const void* data, uint64_t length, void* reply, uint32_t replySize,
                     void* reply2, uint32_t reply2Size);

}  // namespace qv
