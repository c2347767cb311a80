// StreamInput: a fuzzer's input that holds flushes with their streams.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace qv::fuzz {

// In an input each flush has a head of two words, the bytes of its stream and its options; the stream follows. Any bytes are an
// input: a length that reaches beyond the end is cut.
struct FlushInput {
  uint32_t options = 0;
  std::span<const uint8_t> stream;

  // What the options ask for.
  uint32_t cutSeed() const { return options & 0xFFFF; }       // where stretches end; 0: nowhere before the stream does
  uint32_t presentMode() const { return options >> 16 & 3; }  // 0 none, 1 GL_FRONT, 2 GL_BACK, 3 one that there is not
  uint32_t replies() const { return options >> 18 & 3; }      // reply buffers of the flush
  uint32_t window() const { return options >> 20 & 3; }
  uint32_t size() const { return options >> 22 & 7; }  // which size the window has
  uint32_t context() const { return options >> 25 & 1; }
  bool mayBeMalformed() const { return (options >> 26 & 7) == 0; }
  uint32_t contextKind() const { return options >> 29; }  // of the first flush counts
};

constexpr uint32_t kFlushHeadBytes = 8;

// The spans point into `input`.
std::vector<FlushInput> readFlushes(std::span<const uint8_t> input);

void appendFlush(std::vector<uint8_t>& to, uint32_t options, std::span<const uint8_t> stream);

}  // namespace qv::fuzz
