// ShareGroup: the name tables that contexts have in common after DrvShareLists; a context alone has a group of its own.
#pragma once

#include <atomic>
#include <cstdint>

#include "driver/objects/name_table.h"
#include "platform/win32.h"

namespace qv {

enum class ShareSlot : uint32_t {
  kFramebuffers,
  kRenderbuffers,
  kSamplers,
  kTransformFeedbacks,
  kTextures,
  kSyncs,
  kBuffers,
  kPrograms,
  kPipelines,
  kShaders,
  kLists,
};
inline constexpr uint32_t kShareSlots = 11;

struct ShareGroup {
  ShareGroup();
  ShareGroup(const ShareGroup&) = delete;
  ShareGroup& operator=(const ShareGroup&) = delete;
  // Clears the tables in the order of their slots.
  ~ShareGroup();

  NameTable& table(ShareSlot slot) { return *tables[static_cast<uint32_t>(slot)]; }

  // To be called under the lock whenever a row of the programs, or of the lists, comes, goes or gets another object.
  void programsChanged();
  void listsChanged();

  NameTable* tables[kShareSlots];
  // Another number after each change of the programs, or of the lists, and in each group: who has found a program or a list under
  // a number finds it again without the lock while that number stands here. Never 0.
  std::atomic<uint64_t> programsGeneration;
  std::atomic<uint64_t> listsGeneration;
  std::atomic<int32_t> refCount = 0;  // contexts beyond the first; the group dies below 0
  // Guards all tables. Recursive, since an operation that holds it may call one that takes it. It protects the tables and not
  // the objects: an object found in a table is used after the lock is released.
  CRITICAL_SECTION lock;
};

// Holds the lock of a ShareGroup for a scope. Never while DriverLock is held. Across a flush only while a program is being linked.
class ShareLock {
 public:
  explicit ShareLock(ShareGroup* group) : held(&group->lock) { EnterCriticalSection(held); }
  ShareLock(const ShareLock&) = delete;
  ShareLock& operator=(const ShareLock&) = delete;
  ~ShareLock() { LeaveCriticalSection(held); }

 private:
  CRITICAL_SECTION* held;
};

// Takes one user off the group and destroys it with its last one.
void releaseShareGroup(ShareGroup* group);

}  // namespace qv
