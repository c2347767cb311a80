// process_vm_readv and process_vm_writev on the caller itself: they answer EFAULT where a plain copy would crash.
#include "peer/link/own_memory.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace qv::peer {
namespace {

constexpr uint64_t kPage = 4096;

void* pointerTo(uint64_t address) { return reinterpret_cast<void*>(static_cast<uintptr_t>(address)); }

template <typename Transfer>
bool transferAll(Transfer&& transfer, uint64_t address, uint8_t* local, size_t bytes) {
  while (bytes != 0) {
    const iovec here{local, bytes};
    const iovec there{pointerTo(address), bytes};
    const ssize_t moved = transfer(getpid(), &here, 1, &there, 1, 0);
    if (moved <= 0) {
      if (moved < 0 && errno == EINTR) continue;
      return false;
    }
    local += moved;
    address += static_cast<uint64_t>(moved);
    bytes -= static_cast<size_t>(moved);
  }
  return true;
}

}  // namespace

bool OwnMemory::Known::holds(uint64_t address, size_t bytes) const {
  for (const Range& range : ranges) {
    if (address >= range.begin && address < range.end && bytes <= range.end - address) return true;
  }
  return false;
}

void OwnMemory::Known::add(uint64_t address, size_t bytes) {
  // Access is granted by the page.
  const uint64_t begin = address & ~(kPage - 1);
  const uint64_t end = (address + bytes + kPage - 1) & ~(kPage - 1);
  for (Range& range : ranges) {
    if (range.end == 0 || begin > range.end || end < range.begin) continue;
    if (begin < range.begin) range.begin = begin;
    if (end > range.end) range.end = end;
    return;
  }
  ranges[next] = {begin, end};
  next = (next + 1) % kRanges;
}

bool OwnMemory::read(uint64_t address, void* to, size_t bytes) {
  if (bytes == 0) return true;
  if (address + bytes < address) return false;
  if (readable_.holds(address, bytes)) {
    std::memcpy(to, pointerTo(address), bytes);
    return true;
  }
  if (!transferAll(process_vm_readv, address, static_cast<uint8_t*>(to), bytes)) return false;
  readable_.add(address, bytes);
  return true;
}

bool OwnMemory::write(uint64_t address, const void* from, size_t bytes) {
  if (bytes == 0) return true;
  if (address + bytes < address) return false;
  if (writable_.holds(address, bytes)) {
    std::memcpy(pointerTo(address), from, bytes);
    return true;
  }
  if (!transferAll(process_vm_writev, address, static_cast<uint8_t*>(const_cast<void*>(from)), bytes)) return false;
  writable_.add(address, bytes);
  return true;
}

}  // namespace qv::peer
