// require: what must hold in every run of a fuzzer.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace qv::fuzz {

// Ends the process with a line on standard error, which makes the input at hand a finding.
[[noreturn]] inline void findFault(const char* what) {
  std::fprintf(stderr, "fault: %s\n", what);
  std::abort();
}
inline void require(bool holds, const char* what) {
  if (!holds) [[unlikely]]
    findFault(what);
}

}  // namespace qv::fuzz
