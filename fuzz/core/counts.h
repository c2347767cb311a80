// Counts: what a run of a fuzzer has done so far.
#pragma once

#include <atomic>
#include <cstdint>

namespace qv::fuzz {

struct Counts {
  std::atomic<uint64_t> inputs{0};
  std::atomic<uint64_t> units{0};     // commands, messages, calls or programs, as the target says
  std::atomic<uint64_t> accepted{0};  // of these, carried out in whole
};

// They stand in the file that QV_FUZZ_COUNTS names, so that they outlive a process that a finding ends; without one, in memory.
Counts& counts();

}  // namespace qv::fuzz
