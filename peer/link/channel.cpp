// Memory files, futexes and the pause between two looks at a word.
#include "peer/link/channel.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <ctime>
#include <new>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

namespace qv::peer {

int createChannelFile() {
  const int fd = memfd_create("qv-channel", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (fd < 0) return -1;
  if (ftruncate(fd, kChannelBytes) != 0 || fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

ChannelMemory* mapChannel(int fd) {
  // Without the seal the other side could cut the file short and kill this one with the next access.
  struct stat status {};
  const int seals = fcntl(fd, F_GET_SEALS);
  if (seals < 0 || (seals & F_SEAL_SHRINK) == 0) return nullptr;
  if (fstat(fd, &status) != 0 || status.st_size < static_cast<off_t>(kChannelBytes)) return nullptr;
  void* const memory = mmap(nullptr, kChannelBytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) return nullptr;
  // All words start as zero, which is what a fresh memory file holds.
  return static_cast<ChannelMemory*>(memory);
}

void unmapChannel(ChannelMemory* memory) {
  if (memory != nullptr) munmap(memory, kChannelBytes);
}

void ring(Bell& bell) {
  if (bell.sleeping.fetch_add(0, std::memory_order_acq_rel) != 0) ringAlways(bell);
}

void ringAlways(Bell& bell) {
  bell.rings.fetch_add(1, std::memory_order_release);
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&bell.rings), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

namespace detail {

uint64_t monotonicNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000000u + static_cast<uint64_t>(now.tv_nsec);
}

void sleepOn(std::atomic<uint32_t>& word, uint32_t seen, uint32_t timeoutMilliseconds) {
  const timespec timeout{static_cast<time_t>(timeoutMilliseconds / 1000),
                         static_cast<long>(timeoutMilliseconds % 1000) * 1000000};
  // Across processes, so not a private futex. Every way to return is followed by another look at the words.
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAIT, seen, &timeout, nullptr, 0);
}

void yieldOnce() { sched_yield(); }

void pauseOnce() {
#if defined(__x86_64__) || defined(__i386__)
  _mm_pause();
#else
  std::atomic_signal_fence(std::memory_order_seq_cst);
#endif
}

}  // namespace detail
}  // namespace qv::peer
