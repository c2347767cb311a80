// The strings of glGetString, kept once per process for each class of GL versions.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>

namespace qv {

// A text that is filled once and then only read, by all threads and without a lock.
template <uint32_t Bytes>
class SharedText {
 public:
  // Null until the text has been filled.
  const char* get() const { return state_.load(std::memory_order_acquire) == State::Filled ? text_ : nullptr; }

  // Fills the text with `from`, of at most Bytes - 1 characters, unless it has been filled before; `alsoFill(text)` then fills what
  // depends on it. The text that stands, which is empty and not filled when `from` is empty.
  template <typename Also>
  const char* fill(const char* from, Also&& alsoFill) {
    if (from[0] == 0) return "";
    State expected = State::Empty;
    if (state_.compare_exchange_strong(expected, State::Filling, std::memory_order_acquire)) {
      // In bounds: the caller's text ends within Bytes.
      std::memcpy(text_, from, std::strlen(from) + 1);
      alsoFill(static_cast<const char*>(text_));
      state_.store(State::Filled, std::memory_order_release);
    } else {
      // Another thread is at its copying, which takes microseconds.
      while (state_.load(std::memory_order_acquire) != State::Filled) {
      }
    }
    return text_;
  }
  const char* fill(const char* from) {
    return fill(from, [](const char*) {});
  }

 private:
  enum class State : uint8_t { Empty, Filling, Filled };
  std::atomic<State> state_{State::Empty};
  char text_[Bytes] = {};
};

// Filled by the first context that asks (required oddity 49) and never freed: an application may keep the pointers.
struct StringBlock {
  static constexpr uint32_t kText = 256, kExtensionText = 16384, kMaxExtensions = 2048;

  SharedText<kText> vendor;
  SharedText<kText> renderer;
  SharedText<kText> version;
  SharedText<kText> shadingLanguageVersion;
  SharedText<kExtensionText> extensions;    // what glGetString gives
  char extensionCopy[kExtensionText] = {};  // the same, cut into tokens for glGetStringi
  const char* extensionList[kMaxExtensions] = {};
  uint32_t extensionCount = 0;  // this and the two above are filled with `extensions`, and read once that is there
};

StringBlock& stringBlockFor(uint16_t contextVersion);

}  // namespace qv
