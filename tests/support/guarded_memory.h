// GuardedMemory: memory whose next byte, on either side, cannot be touched.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace qv::test {

// The bytes lie against the page behind them, or against the page before them: one of the two guards is exact, the other one is
// up to a page away.
class GuardedMemory {
 public:
  enum class Against { Next, Previous };

  explicit GuardedMemory(size_t bytes, Against against = Against::Next, uint8_t fill = 0xAA) : size_(bytes) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t inner = (bytes + page - 1) / page * page;
    mapped_ = inner + 2 * page;
    memory_ = static_cast<uint8_t*>(mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (memory_ == MAP_FAILED || (inner != 0 && mprotect(memory_ + page, inner, PROT_READ | PROT_WRITE) != 0)) std::abort();
    begin_ = memory_ + page + (against == Against::Next ? inner - bytes : 0);
    if (bytes != 0) std::memset(begin_, fill, bytes);
  }
  ~GuardedMemory() { munmap(memory_, mapped_); }
  GuardedMemory(const GuardedMemory&) = delete;
  GuardedMemory& operator=(const GuardedMemory&) = delete;

  uint8_t* data() { return begin_; }
  size_t size() const { return size_; }

 private:
  uint8_t* memory_;
  uint8_t* begin_;
  size_t mapped_, size_;
};

}  // namespace qv::test
