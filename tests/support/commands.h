// The parser of streams: the commands of a stream, opcode and words.
#pragma once

#include <cstdint>
#include <vector>

namespace qv::test {

struct Command {
  uint32_t opcode = 0;
  std::vector<uint32_t> words;  // behind the header; zeros fill up the last one
};

// A stream that does not end with a whole command fails the test.
std::vector<Command> parse(const uint8_t* stream, uint64_t bytes);
inline std::vector<Command> parse(const std::vector<uint8_t>& stream) { return parse(stream.data(), stream.size()); }

}  // namespace qv::test
