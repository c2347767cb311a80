// SyncNames: the numbers by which guests know the sync objects of a share set. A real handle is a pointer of the host's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <unordered_map>

#include "wire/gl_api.h"

namespace qv::peer {

// A number is never used again.
class SyncNames {
 public:
  static constexpr std::size_t kMost = std::size_t{1} << 20;

  // 0 when there are too many.
  uint32_t add(GLsync sync) {
    const std::lock_guard lock(mutex_);
    if (syncs_.size() >= kMost || last_ == UINT32_MAX) return 0;
    syncs_.emplace(++last_, sync);
    return last_;
  }
  // Null for a number without one.
  GLsync find(uint32_t name) const {
    const std::lock_guard lock(mutex_);
    const auto at = syncs_.find(name);
    return at == syncs_.end() ? nullptr : at->second;
  }
  // Forgets the number; what it stood for.
  GLsync remove(uint32_t name) {
    const std::lock_guard lock(mutex_);
    const auto at = syncs_.find(name);
    if (at == syncs_.end()) return nullptr;
    const GLsync sync = at->second;
    syncs_.erase(at);
    return sync;
  }

 private:
  mutable std::mutex mutex_;
  std::unordered_map<uint32_t, GLsync> syncs_;
  uint32_t last_ = 0;
};

}  // namespace qv::peer
