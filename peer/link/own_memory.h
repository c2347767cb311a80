// Copies from and to addresses of this process that may not be there, the way a kernel does it for a caller.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv::peer {

// Remembers which ranges it has found readable and writable, so that steady traffic over the same buffers is plain copying. It
// does not notice that remembered memory has been unmapped since: a caller that names such memory crashes. One thread at a time.
class OwnMemory {
 public:
  // False, with the destination undefined, when a byte of the source is not accessible.
  bool read(uint64_t address, void* to, size_t bytes);
  bool write(uint64_t address, const void* from, size_t bytes);

 private:
  struct Range {
    uint64_t begin = 0, end = 0;
  };
  static constexpr size_t kRanges = 8;
  // The last ranges found accessible.
  struct Known {
    Range ranges[kRanges];
    size_t next = 0;
    bool holds(uint64_t address, size_t bytes) const;
    void add(uint64_t address, size_t bytes);
  };
  Known readable_, writable_;
};

}  // namespace qv::peer
