// Journal: the inputs that have been run since the state that they share was last fresh, in a file that outlives the process.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace qv::fuzz {

// A target whose inputs share state keeps one, so that a finding can be run again: the file itself is an input, a sequence of
// inputs. It stands at the path in QV_FUZZ_JOURNAL with the process's number behind it, and the driver of Mesa's that was asked
// for, if any. It is gone when the process ends by itself. Without that variable nothing is written.
class Journal {
 public:
  Journal();
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // The state is fresh.
  void restart();
  // Before the input is run.
  void add(std::span<const uint8_t> input);

  static bool isSequence(std::span<const uint8_t> input);
  static std::vector<std::span<const uint8_t>> inputsOf(std::span<const uint8_t> sequence);

 private:
  int file_ = -1;
  char path_[512] = {};
};

}  // namespace qv::fuzz
