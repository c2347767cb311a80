// Maps the memory of surfaces, after a check that it cannot shrink.
#include "peer/host/allocation.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "peer/link/log.h"

namespace qv::peer {

Allocation::~Allocation() {
  if (memory == nullptr) return;
  munmap(memory, description.size);
  counters->mappedBytes.fetch_sub(description.size);
  counters->allocations.fetch_sub(1);
}

bool AllocationSet::open(const AllocationDescription& description, int fd) {
  // Cut short, the file would kill the peer at the next frame. Once it is sealed its size holds.
  const int seals = fcntl(fd, F_GET_SEALS);
  if (seals < 0 || (seals & F_SEAL_SHRINK) == 0) {
    logLine("allocation %u: memory not sealed against shrinking", description.handle);
    return false;
  }
  const uint64_t rowBytes = uint64_t{description.width} * 4;
  struct stat status {};
  if (description.handle == 0 || description.size == 0 || description.width == 0 || description.height == 0 ||
      description.pitch % 4 != 0 || description.pitch < rowBytes ||
      uint64_t{description.pitch} * description.height > description.size || fstat(fd, &status) != 0 ||
      status.st_size < static_cast<off_t>(description.size)) {
    logLine("allocation %u: %u x %u with pitch %u and %u bytes do not fit its memory", description.handle, description.width,
            description.height, description.pitch, description.size);
    return false;
  }
  const auto fresh = std::make_shared<Allocation>();
  if (!fresh->number.take(numbers_, 1) || !fresh->bytes.take(bytes_, description.size)) {
    logLine("allocation %u: over the guest's quota, %u bytes", description.handle, description.size);
    return false;
  }
  void* const memory = mmap(nullptr, description.size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) {
    logLine("allocation %u: memory cannot be mapped", description.handle);
    return false;
  }
  fresh->description = description;
  fresh->memory = static_cast<uint8_t*>(memory);
  fresh->counters = &counters_;
  counters_.mappedBytes.fetch_add(description.size);
  counters_.allocations.fetch_add(1);
  const std::lock_guard lock(mutex_);
  if (!allocations_.emplace(description.handle, fresh).second) {
    logLine("allocation %u: opened twice", description.handle);
    return false;
  }
  return true;
}

bool AllocationSet::close(uint32_t handle) {
  std::shared_ptr<Allocation> gone;  // destroyed after unlocking: ~Allocation unmaps memory
  const std::lock_guard lock(mutex_);
  const auto at = allocations_.find(handle);
  if (at == allocations_.end()) return false;
  gone = at->second;
  allocations_.erase(at);
  return true;
}

std::shared_ptr<Allocation> AllocationSet::find(uint32_t handle) {
  const std::lock_guard lock(mutex_);
  const auto at = allocations_.find(handle);
  return at == allocations_.end() ? nullptr : at->second;
}

}  // namespace qv::peer
