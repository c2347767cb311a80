// Inputs of flushes, read and written.
#include "fuzz/core/stream_input.h"

#include <algorithm>

#include "wire/sizes.h"

namespace qv::fuzz {

std::vector<FlushInput> readFlushes(std::span<const uint8_t> input) {
  std::vector<FlushInput> out;
  size_t at = 0;
  while (input.size() - at > kFlushHeadBytes) {
    const size_t there = input.size() - at - kFlushHeadBytes;
    const size_t bytes = std::min<size_t>(get<uint32_t>(input.data() + at), there);
    out.push_back({get<uint32_t>(input.data() + at + 4), input.subspan(at + kFlushHeadBytes, bytes)});
    at += kFlushHeadBytes + bytes;
  }
  return out;
}

void appendFlush(std::vector<uint8_t>& to, uint32_t options, std::span<const uint8_t> stream) {
  const size_t at = to.size();
  to.resize(at + kFlushHeadBytes);
  put(to.data() + at, static_cast<uint32_t>(stream.size()));
  put(to.data() + at + 4, options);
  to.insert(to.end(), stream.begin(), stream.end());
}

}  // namespace qv::fuzz
