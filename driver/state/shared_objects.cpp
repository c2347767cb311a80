// Joining of share groups, the deferred removal of deleted textures, and the choice of the current vertex array.
#include "driver/state/shared_objects.h"

#include <cstdlib>
#include <cstring>

namespace qv {

void joinGroup(GlContext* context, GlContext* source) {
  if (context == source) return;
  releaseShareGroup(context->shareGroup);
  context->shareGroup = source->shareGroup;
  context->shareGroup->refCount.fetch_add(1, std::memory_order_relaxed);
}

void deferTextureDelete(GlContext* context, uint32_t name) {
  NameTable& textures = context->shareGroup->table(ShareSlot::kTextures);
  if (textures.find(name) == nullptr) {
    textures.removeNames(1, &name);
    return;
  }
  DeferredDeleteList& list = context->deferredDeletes;
  if (list.count + 1 > list.capacity) {
    const uint32_t wanted = list.count * 2;
    uint32_t* const fresh = static_cast<uint32_t*>(std::malloc(sizeof(uint32_t) * wanted));
    // In bounds: `count` names move into twice that room; the list starts with room for some, so `count` is not 0 here.
    std::memcpy(fresh, list.names, sizeof(uint32_t) * list.count);
    std::free(list.names);
    list.names = fresh;
    list.capacity = wanted;
  }
  list.names[list.count++] = name;
}

void releaseDeferredDeletes(GlContext* context) {
  DeferredDeleteList& list = context->deferredDeletes;
  if (list.count == 0) return;
  const ShareLock held(context->shareGroup);
  context->shareGroup->table(ShareSlot::kTextures).removeNames(static_cast<int32_t>(list.count), list.names);
  list.count = 0;
}

VertexArrayObject* currentVertexArray(GlContext* context) {
  if (context->boundVertexArray != 0) {
    VertexArrayObject* const bound = context->vertexArrayTable.findAs<VertexArrayObject>(context->boundVertexArray);
    if (bound != nullptr) return bound;
  }
  return &context->defaultVertexArray;
}

}  // namespace qv
