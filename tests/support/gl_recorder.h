// GlRecorder: takes the place of the host's GL functions and keeps every call.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "peer/replay/gl_functions.h"

namespace qv::test {

struct GlCall {
  const char* name = nullptr;
  // In order: a scalar's own bytes, the bytes behind a pointer.
  std::vector<std::vector<uint8_t>> arguments;

  // A scalar as a number, zero-extended.
  uint64_t scalar(size_t argument) const {
    uint64_t value = 0;
    std::memcpy(&value, arguments.at(argument).data(), arguments.at(argument).size());
    return value;
  }
};

// While it lives every function of qv::peer::gl only records and returns zero; afterwards they are what they were. There is one
// at a time, on one thread.
class GlRecorder {
 public:
  GlRecorder();
  ~GlRecorder();
  GlRecorder(const GlRecorder&) = delete;
  GlRecorder& operator=(const GlRecorder&) = delete;

  std::vector<GlCall> calls;
  size_t bytesBehind = 0;  // to be kept behind each pointer of the next calls

 private:
  const peer::GlFunctions before_;
};

}  // namespace qv::test
