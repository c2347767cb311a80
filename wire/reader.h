// Reader: the cursor through which every reader of the wire reads a payload.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "wire/sizes.h"

namespace qv {

// Values of a payload, which need not be aligned.
template <typename T>
class Elements {
 public:
  Elements() = default;
  Elements(const uint8_t* data, uint64_t count) : data_(data), count_(count) {}

  uint64_t size() const { return count_; }
  uint64_t bytes() const { return count_ * sizeof(T); }
  // `i` is below size().
  T operator[](uint64_t i) const { return get<T>(data_ + i * sizeof(T)); }
  // `to` has room for size() values.
  void copyTo(void* to) const {
    if (count_ != 0) std::memcpy(to, data_, bytes());
  }
  const uint8_t* data() const { return data_; }

 private:
  const uint8_t* data_ = nullptr;
  uint64_t count_ = 0;
};

// Takes values off the front of a payload. A request that reaches beyond the payload reads nothing and makes the reader fail; a
// failed reader has nothing left. All sizes are 64-bit and cannot wrap.
//
// Whoever hands a reader to another routine looks at failed() afterwards: a routine that forgets to look does no harm.
class Reader {
 public:
  // An empty payload may be anywhere; bytes at no address cannot be read.
  Reader(const uint8_t* data, uint64_t bytes)
      : at_(bytes == 0 && data == nullptr ? &kNowhere : data), left_(data == nullptr ? 0 : bytes) {}

  bool failed() const { return at_ == nullptr; }
  uint64_t left() const { return left_; }

  // The next `n` bytes; null when fewer are left.
  [[nodiscard]] const uint8_t* bytes(uint64_t n) {
    if (n > left_) [[unlikely]] {
      fail();
      return nullptr;
    }
    const uint8_t* const taken = at_;
    at_ += n;
    left_ -= n;
    return taken;
  }
  // The next value or record. False, with `out` unchanged, when fewer bytes are left.
  template <typename T>
  [[nodiscard]] bool take(T& out) {
    static_assert(std::is_trivially_copyable_v<T>);
    const uint8_t* const from = bytes(sizeof out);
    if (from == nullptr) return false;
    std::memcpy(&out, from, sizeof out);
    return true;
  }
  // The next `count` values. When fewer are left there are none, and the reader fails.
  template <typename T>
  [[nodiscard]] Elements<T> elements(uint64_t count) {
    if (count > left_ / sizeof(T)) {
      fail();
      return {};
    }
    const uint8_t* const from = bytes(count * sizeof(T));
    return from == nullptr ? Elements<T>{} : Elements<T>{from, count};
  }
  // A text of `length` bytes, which end with a zero. Null, and the reader fails, when fewer are left or the last one is not zero.
  [[nodiscard]] const char* text(uint64_t length) {
    const uint8_t* const from = length == 0 ? nullptr : bytes(length);
    if (from == nullptr || from[length - 1] != 0) {
      fail();
      return nullptr;
    }
    return reinterpret_cast<const char*>(from);
  }
  // All that is left.
  [[nodiscard]] Elements<uint8_t> rest() { return elements<uint8_t>(left_); }

  void fail() {
    at_ = nullptr;
    left_ = 0;
  }

 private:
  static constexpr uint8_t kNowhere = 0;
  const uint8_t* at_;  // null: failed
  uint64_t left_;
};

}  // namespace qv
