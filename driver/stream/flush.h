// flushStream: the one door from a context to the host, and the frame marks that glFlush, a swap and a release share.
#pragma once

#include <cstdint>

namespace qv {

class GlContext;

// 96 MiB: a buffer of this size does not grow when it is full, but is flushed.
inline constexpr uint64_t kFlushAtCapacity = 0x6000000;

// Submits everything written so far and empties the stream, whatever the submit reports. `presentMode` is 0, GL_FRONT (1028)
// or GL_BACK (1029); `reply` and `reply2` are caller memory or null with their sizes in bytes. Returns the low 32 bits of the
// length the host reports (SubmitFlush).
uint32_t flushStream(GlContext* context, uint32_t presentMode, void* reply, uint32_t replySize, void* reply2,
                     uint32_t reply2Size);

// Writes a command without payload, into an open run too (required oddity 12), and sets lastOpcode.
void writeMark(GlContext* context, uint32_t opcode);

// Marks the end of a frame, or of the commands before a release: writes the 217 mark and sets frontDirty from drawBufferMode,
// unless the last command was a glFlush or a glFinish.
void markFrameEnd(GlContext* context);

}  // namespace qv
