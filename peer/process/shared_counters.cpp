// Memory files of counters.
#include "peer/process/shared_counters.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <type_traits>

namespace qv::peer {
namespace {

constexpr size_t kPage = 4096;
static_assert(sizeof(LiveCounters) <= kPage);
static_assert(std::is_trivially_destructible_v<LiveCounters>);
static_assert(std::atomic<uint64_t>::is_always_lock_free);

}  // namespace

int createCounterPage() {
  const int file = memfd_create("qv-counters", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (file < 0) return -1;
  if (ftruncate(file, kPage) != 0 || fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
    close(file);
    return -1;
  }
  return file;
}

LiveCounters* mapCounterPage(int file) {
  void* const memory = mmap(nullptr, kPage, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  // A fresh memory file holds zeros, and so do fresh counters.
  return memory == MAP_FAILED ? nullptr : static_cast<LiveCounters*>(memory);
}

void unmapCounterPage(LiveCounters* page) { munmap(page, kPage); }

}  // namespace qv::peer
