// Where the names of bound buffers are kept, and the records of buffers.
#pragma once

#include <cstdint>

#include "driver/objects/buffer_object.h"
#include "driver/state/gl_context.h"

namespace qv {

// The binding of a target, that of GL_ELEMENT_ARRAY_BUFFER in the current vertex array; null for an enum that is no target.
uint32_t* bufferBinding(GlContext* context, GLenum target);

// The indexed bindings of a target.
struct IndexedBindings {
  uint32_t* names = nullptr;  // null for a target without any
  int32_t limit = 0;          // usable ones; below 1 before the limits have been fetched
};
IndexedBindings indexedBindings(GlContext* context, GLenum target);

// The four targets with indexed bindings.
inline constexpr GLenum kIndexedTargets[] = {GL_TRANSFORM_FEEDBACK_BUFFER, GL_UNIFORM_BUFFER, GL_ATOMIC_COUNTER_BUFFER,
                                             GL_SHADER_STORAGE_BUFFER};
// All targets, in the order in which a deleted buffer is looked for.
inline constexpr GLenum kBufferTargets[] = {GL_ARRAY_BUFFER,          GL_ELEMENT_ARRAY_BUFFER,    GL_PIXEL_PACK_BUFFER,
                                            GL_PIXEL_UNPACK_BUFFER,   GL_UNIFORM_BUFFER_EXT,      GL_TRANSFORM_FEEDBACK_BUFFER,
                                            GL_UNIFORM_BUFFER,        GL_TEXTURE_BUFFER,          GL_COPY_READ_BUFFER,
                                            GL_COPY_WRITE_BUFFER,     GL_DRAW_INDIRECT_BUFFER,    GL_ATOMIC_COUNTER_BUFFER,
                                            GL_SHADER_STORAGE_BUFFER, GL_DISPATCH_INDIRECT_BUFFER};

// The record of a buffer; null for 0 and for a name that was never bound.
BufferObject* findBuffer(GlContext* context, uint32_t name);
// Makes the record of a name that has none, with `target` as its first target.
void makeBuffer(GlContext* context, GLenum target, uint32_t name);

// The guest's side of binding a vertex array: a name without a record gets one.
void bindVertexArrayName(GlContext* context, uint32_t name);

}  // namespace qv
