// The journal's file: a mark, then each input behind its length.
#include "fuzz/core/journal.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qv::fuzz {
namespace {

constexpr char kMark[] = "sequence of inputs\n";
constexpr size_t kMarkBytes = sizeof kMark - 1;

}  // namespace

Journal::Journal() {
  const char* const path = std::getenv("QV_FUZZ_JOURNAL");
  if (path == nullptr) return;
  const char* const driver = std::getenv("GALLIUM_DRIVER");
  std::snprintf(path_, sizeof path_, "%s.%d%s%s", path, static_cast<int>(getpid()), driver == nullptr ? "" : ".",
                driver == nullptr ? "" : driver);
  file_ = open(path_, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  restart();
}

Journal::~Journal() {
  if (file_ < 0) return;
  unlink(path_);
  close(file_);
}

void Journal::restart() {
  if (file_ >= 0 && ftruncate(file_, 0) == 0) [[maybe_unused]]
    const ssize_t done = pwrite(file_, kMark, kMarkBytes, 0);
}

void Journal::add(std::span<const uint8_t> input) {
  if (file_ < 0) return;
  const auto bytes = static_cast<uint32_t>(input.size());
  const iovec parts[] = {{const_cast<uint32_t*>(&bytes), sizeof bytes}, {const_cast<uint8_t*>(input.data()), input.size()}};
  lseek(file_, 0, SEEK_END);
  [[maybe_unused]] const ssize_t done = writev(file_, parts, 2);
}

bool Journal::isSequence(std::span<const uint8_t> input) {
  return input.size() >= kMarkBytes && std::memcmp(input.data(), kMark, kMarkBytes) == 0;
}

std::vector<std::span<const uint8_t>> Journal::inputsOf(std::span<const uint8_t> sequence) {
  std::vector<std::span<const uint8_t>> out;
  for (size_t at = kMarkBytes; sequence.size() - at >= 4;) {
    uint32_t bytes = 0;
    std::memcpy(&bytes, sequence.data() + at, sizeof bytes);
    at += sizeof bytes;
    const size_t there = std::min<size_t>(bytes, sequence.size() - at);
    out.push_back(sequence.subspan(at, there));
    at += there;
  }
  return out;
}

}  // namespace qv::fuzz
