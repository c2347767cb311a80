// libFuzzer's hooks of the targets whose inputs are streams.
#include <cstring>

#include "fuzz/core/stream_mutator.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t room);

namespace {

size_t give(const std::vector<uint8_t>& made, uint8_t* data) {
  if (!made.empty()) std::memcpy(data, made.data(), made.size());
  return made.size();
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t room, unsigned seed) {
  qv::fuzz::Random random(seed);
  return give(qv::fuzz::StreamMutator(random, &LLVMFuzzerMutate).mutate({data, size}, room), data);
}

extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t* first, size_t firstSize, const uint8_t* second, size_t secondSize,
                                            uint8_t* out, size_t room, unsigned seed) {
  qv::fuzz::Random random(seed);
  return give(qv::fuzz::StreamMutator(random, &LLVMFuzzerMutate).cross({first, firstSize}, {second, secondSize}, room), out);
}
