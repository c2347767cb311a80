// Buffer objects: what the routines that bind, fill, map and read them have in common.
#pragma once

#include "driver/state/buffer_bindings.h"

namespace qv {

// The name bound to `target`. A bad target records GL_INVALID_ENUM, which goes to `error` too, and reads as 0.
uint32_t boundBufferName(GlContext* context, GLenum target, GLenum* error = nullptr);

// The buffer bound to `target` for a call that needs one. Null after a recorded error: GL_INVALID_ENUM for a bad target,
// GL_INVALID_OPERATION when nothing is bound.
BufferObject* needBuffer(GlContext* context, GLenum target);

// Stores the binding and makes the record of a new name. False, with GL_INVALID_ENUM recorded, for a bad target.
bool bindBufferTarget(GlContext* context, GLenum target, uint32_t name);

// Stores an indexed binding and the general one. Returns 0 or a GL error, which the caller records.
GLenum bindBufferIndexed(GlContext* context, GLenum target, uint32_t index, uint32_t name);

// The word that tells the length of a command's data, and the length itself: a length that no command can have is sent as all
// ones, without the data.
struct DataLength {
  explicit DataLength(int64_t bytes);
  uint32_t word;
  uint64_t payload;
};

}  // namespace qv
