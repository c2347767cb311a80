// Stream: bytes of a stream put together by hand, command by command.
#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <vector>

namespace qv::test {

// Opcodes and arguments are the test's own; only the form of the header is computed here.
class Stream {
 public:
  // A command in small form. Each argument takes as many bytes as its C type.
  template <typename... T>
  Stream& add(uint32_t opcode, T... arguments) {
    std::vector<uint8_t> payload;
    (append(payload, arguments), ...);
    return bytes(opcode, payload);
  }
  Stream& bytes(uint32_t opcode, const std::vector<uint8_t>& payload) {
    word(static_cast<uint32_t>(payload.size() + 4) << 12 | opcode);
    return raw(payload);
  }
  // The same in large form.
  Stream& large(uint32_t opcode, const std::vector<uint8_t>& payload) {
    word(opcode);
    word(static_cast<uint32_t>(payload.size() + 8));
    return raw(payload);
  }
  Stream& word(uint32_t value) {
    append(data, value);
    return *this;
  }
  // Pad bytes have no defined value, so they get one that shows.
  Stream& raw(const std::vector<uint8_t>& more) {
    data.insert(data.end(), more.begin(), more.end());
    data.resize((data.size() + 3) & ~size_t{3}, 0xEE);
    return *this;
  }
  template <typename T>
  static void append(std::vector<uint8_t>& to, T value) {
    const size_t at = to.size();
    to.resize(at + sizeof value);
    std::memcpy(to.data() + at, &value, sizeof value);
  }

  std::vector<uint8_t> data;
};

// Bare words and floats, little-endian, one after the other.
std::vector<uint8_t> words(std::initializer_list<uint32_t> values);
std::vector<uint8_t> floats(const std::vector<float>& values);
std::vector<uint8_t>& operator+=(std::vector<uint8_t>& left, const std::vector<uint8_t>& right);

// The payload of a vertex run: packed word, tags, vertices.
std::vector<uint8_t> runPayload(uint32_t mode, const std::vector<uint16_t>& tags, uint32_t stride,
                                const std::vector<uint8_t>& vertices);

}  // namespace qv::test
