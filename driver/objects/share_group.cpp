// The making and the end of share groups.
#include "driver/objects/share_group.h"

#include "driver/objects/display_list_stream.h"
#include "driver/objects/tracked_object.h"

namespace qv {

namespace {

void releaseList(void* list) { static_cast<DisplayListStream*>(static_cast<CommandStream*>(list))->release(); }

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
    destroyLabelled<PipelineRecord>,  // program pipelines
    destroyLabelled<LabelRecord>,     // shaders
    releaseList,                      // display lists
};

// A number that no group has had.
uint64_t nextGeneration() {
  static std::atomic<uint64_t> last = 0;
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

ShareGroup::ShareGroup() {
  programsChanged();
  listsChanged();
  for (uint32_t slot = 0; slot < kShareSlots; ++slot) tables[slot] = new NameTable(kDestroy[slot]);
  InitializeCriticalSection(&lock);
}

void ShareGroup::programsChanged() { programsGeneration.store(nextGeneration(), std::memory_order_release); }
void ShareGroup::listsChanged() { listsGeneration.store(nextGeneration(), std::memory_order_release); }

ShareGroup::~ShareGroup() {
  for (NameTable* const table : tables) {
    table->clear();
    delete table;
  }
  DeleteCriticalSection(&lock);
}

void releaseShareGroup(ShareGroup* group) {
  if (group->refCount.fetch_sub(1, std::memory_order_acq_rel) == 0) delete group;
}

}  // namespace qv
