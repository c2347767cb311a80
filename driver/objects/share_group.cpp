// Share groups: their tables, how contexts join and leave them, and the deferred removal of deleted textures.
#include "driver/objects/share_group.h"

#include <cstdlib>
#include <cstring>

#include "driver/objects/tracked_object.h"
#include "driver/state/gl_context.h"

namespace qv {

namespace {

// The way in which each table destroys its rows, in the order of the slots.
constexpr NameTable::Destroy kDestroy[kShareSlots] = {
    destroyLabelled<LabelRecord>,     // framebuffers
    destroyLabelled<LabelRecord>,     // renderbuffers
    destroyLabelled<LabelRecord>,     // samplers
    destroyLabelled<LabelRecord>,     // transform feedback objects
    destroyLabelled<LabelRecord>,     // textures
    destroyLabelled<LabelRecord>,     // sync objects
    destroyVirtual<TrackedObject>,    // buffers
    destroyVirtual<TrackedObject>,    // programs, whose records own their resource caches
    destroyLabelled<LabelledRecord>,  // program pipelines
    destroyLabelled<LabelRecord>,     // shaders
    destroyVirtual<CommandStream>,    // display lists
};

}  // namespace

ShareGroup::ShareGroup() {
  for (uint32_t slot = 0; slot < kShareSlots; ++slot) tables[slot] = new NameTable(kDestroy[slot]);
  InitializeCriticalSection(&lock);
}

ShareGroup::~ShareGroup() {
  for (NameTable* const table : tables) {
    table->clear();
    delete table;
  }
  DeleteCriticalSection(&lock);
}

ShareLock::ShareLock(GlContext* context) : ShareLock(context->shareGroup) {}

void releaseShareGroup(ShareGroup* group) {
  if (--group->refCount < 0) delete group;
}

void joinGroup(GlContext* context, GlContext* source) {
  if (context == source) return;
  releaseShareGroup(context->shareGroup);
  context->shareGroup = source->shareGroup;
  ++context->shareGroup->refCount;
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
  const ShareLock held(context);
  context->shareGroup->table(ShareSlot::kTextures).removeNames(static_cast<int32_t>(list.count), list.names);
  list.count = 0;
}

}  // namespace qv
