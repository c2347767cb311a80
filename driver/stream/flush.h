// flushStream: the one door from a context to the host, and the frame marks that glFlush, a swap and a release share.
#pragma once

#include <cstdint>

namespace qv {

class GlContext;

// A stream whose buffer has this many bytes is flushed when it has no more room, instead of growing: 96 MiB.
inline constexpr uint64_t kFlushAtCapacity = 0x6000000;

// Submits everything written so far and empties the stream, whatever the submit reports. `presentMode` is 0, GL_FRONT (1028)
// or GL_BACK (1029); `reply` and `reply2` are caller memory or null with their sizes in bytes. Returns the low 32 bits of the
// length the host reports (SubmitFlush).
uint32_t flushStream(GlContext* context, uint32_t presentMode, void* reply, uint32_t replySize, void* reply2,
                     uint32_t reply2Size);

// Writes a command without payload, inside a run too, and sets lastOpcode.
void writeMark(GlContext* context, uint32_t opcode);

// Closes what has been written as a frame or a release does: unless the last command was a glFlush or a glFinish, writes the
// 217 word and sets frontDirty from drawBufferMode.
void markFrameEnd(GlContext* context);

}  // namespace qv
