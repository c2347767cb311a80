// Bindings of buffers and vertex arrays.
#include "driver/state/buffer_bindings.h"

#include "driver/state/shared_objects.h"

namespace qv {

uint32_t* bufferBinding(GlContext* context, GLenum target) {
  BufferBindings& buffers = context->buffers;
  switch (target) {
    case GL_ARRAY_BUFFER:
      return &buffers.array;
    case GL_ELEMENT_ARRAY_BUFFER:
      return &currentVertexArray(context)->elementArrayBuffer;
    case GL_PIXEL_PACK_BUFFER:
      return &buffers.pixelPack;
    case GL_PIXEL_UNPACK_BUFFER:
      return &buffers.pixelUnpack;
    case GL_UNIFORM_BUFFER_EXT:
      return &buffers.uniformExt;
    case GL_TRANSFORM_FEEDBACK_BUFFER:
      return &buffers.transformFeedback;
    case GL_UNIFORM_BUFFER:
      return &buffers.uniform;
    case GL_TEXTURE_BUFFER:
      return &buffers.texture;
    case GL_COPY_READ_BUFFER:
      return &buffers.copyRead;
    case GL_COPY_WRITE_BUFFER:
      return &buffers.copyWrite;
    case GL_DRAW_INDIRECT_BUFFER:
      return &buffers.drawIndirect;
    case GL_ATOMIC_COUNTER_BUFFER:
      return &buffers.atomicCounter;
    case GL_SHADER_STORAGE_BUFFER:
      return &buffers.shaderStorage;
    case GL_DISPATCH_INDIRECT_BUFFER:
      return &buffers.dispatchIndirect;
    default:
      return nullptr;
  }
}

IndexedBindings indexedBindings(GlContext* context, GLenum target) {
  BufferBindings& buffers = context->buffers;
  const LimitCache& limits = context->limits;
  switch (target) {
    case GL_TRANSFORM_FEEDBACK_BUFFER:
      return {buffers.indexedTransformFeedback, limits.maxTransformFeedbackSeparateAttribs};
    case GL_UNIFORM_BUFFER:
      return {buffers.indexedUniform, limits.maxUniformBufferBindings};
    case GL_ATOMIC_COUNTER_BUFFER:
      return {buffers.indexedAtomicCounter, limits.maxAtomicCounterBufferBindings};
    case GL_SHADER_STORAGE_BUFFER:
      return {buffers.indexedShaderStorage, limits.maxShaderStorageBufferBindings};
    default:
      return {};
  }
}

BufferObject* findBuffer(GlContext* context, uint32_t name) {
  if (name == 0) return nullptr;
  const ShareLock lock(context->shareGroup);
  return static_cast<BufferObject*>(context->shareGroup->table(ShareSlot::kBuffers).findAs<TrackedObject>(name));
}

void makeBuffer(GlContext* context, GLenum target, uint32_t name) {
  if (name == 0) return;
  const ShareLock lock(context->shareGroup);
  NameTable& buffers = context->shareGroup->table(ShareSlot::kBuffers);
  if (buffers.find(name) == nullptr) buffers.set(name, static_cast<TrackedObject*>(new BufferObject(target)));
}

void bindVertexArrayName(GlContext* context, uint32_t name) {
  context->boundVertexArray = name;
  NameTable& arrays = context->vertexArrayTable;
  if (name != 0 && arrays.find(name) == nullptr) arrays.set(name, static_cast<TrackedObject*>(new VertexArrayObject));
}

}  // namespace qv
