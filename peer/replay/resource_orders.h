// ResourceOrders: programs whose active uniforms, or attributes, have other indices in the guest than in GL.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "wire/gl_api.h"

namespace qv::peer {

// A guest sorts what a program exposes by locations, and its indices follow. For the programs of one share set.
class ResourceOrders {
 public:
  // Whose element number i is the index in GL of the resource with the guest's index i. An order that changes nothing is not kept.
  using Order = std::vector<GLuint>;

  void set(GLuint program, Order order) {
    bool same = true;
    for (GLuint i = 0; i < order.size(); ++i) same = same && order[i] == i;
    const std::lock_guard lock(mutex_);
    if (same) {
      orders_.erase(program);
    } else {
      orders_[program] = std::move(order);
    }
  }
  void forget(GLuint program) {
    const std::lock_guard lock(mutex_);
    orders_.erase(program);
  }

  // Replace indices of the guest by those of GL, and the other way round. What is no index stays.
  void toGl(GLuint program, GLuint* indices, size_t count) const {
    const std::lock_guard lock(mutex_);
    const auto at = orders_.find(program);
    if (at == orders_.end()) return;
    for (size_t i = 0; i < count; ++i) {
      if (indices[i] < at->second.size()) indices[i] = at->second[indices[i]];
    }
  }
  void toGuest(GLuint program, GLuint* indices, size_t count) const {
    const std::lock_guard lock(mutex_);
    const auto at = orders_.find(program);
    if (at == orders_.end()) return;
    Order back(at->second.size());
    for (GLuint i = 0; i < back.size(); ++i) back[at->second[i]] = i;
    for (size_t i = 0; i < count; ++i) {
      if (indices[i] < back.size()) indices[i] = back[indices[i]];
    }
  }

 private:
  mutable std::mutex mutex_;
  std::map<GLuint, Order> orders_;
};

}  // namespace qv::peer
