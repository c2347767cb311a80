// Puts streams together.
#include "tests/support/stream_builder.h"

namespace qv::test {

std::vector<uint8_t> words(std::initializer_list<uint32_t> values) {
  std::vector<uint8_t> out;
  for (const uint32_t value : values) Stream::append(out, value);
  return out;
}

std::vector<uint8_t> floats(const std::vector<float>& values) {
  std::vector<uint8_t> out;
  for (const float value : values) Stream::append(out, value);
  return out;
}

std::vector<uint8_t>& operator+=(std::vector<uint8_t>& left, const std::vector<uint8_t>& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

std::vector<uint8_t> runPayload(uint32_t mode, const std::vector<uint16_t>& tags, uint32_t stride,
                                const std::vector<uint8_t>& vertices) {
  std::vector<uint8_t> out;
  Stream::append(out, mode << 24 | static_cast<uint32_t>(tags.size()) << 16 | stride);
  for (const uint16_t tag : tags) Stream::append(out, tag);
  out.resize((out.size() + 3) & ~size_t{3}, 0xEE);
  out += vertices;
  return out;
}

}  // namespace qv::test
