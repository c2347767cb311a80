// The shadow of sync objects, which is their labels alone.
#pragma once

#include "driver/state/shared_objects.h"
#include "wire/entry_table.h"

namespace qv {

// The name of a sync object, by which the host and the table of the share group know it.
inline uint32_t syncName(GLsync sync) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(sync)); }

inline void shadow(op::glDeleteSync, GlContext* c, GLsync sync) {
  const uint32_t name = syncName(sync);
  const ShareLock held(c->shareGroup);
  c->shareGroup->table(ShareSlot::kSyncs).removeNames(1, &name);
}

}  // namespace qv
