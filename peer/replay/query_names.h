// QueryNames: the guest's names of the queries of one context, and which of them run or have ended.
#pragma once

#include <algorithm>
#include <vector>

#include "peer/replay/name_map.h"

namespace qv::peer {

class QueryNames {
 public:
  NameMap names;

  void began(GLuint guest) {
    std::erase(ended_, guest);
    if (!isRunning(guest)) running_.push_back(guest);
  }
  void hasEnded(GLuint guest) {
    std::erase(running_, guest);
    if (std::find(ended_.begin(), ended_.end(), guest) == ended_.end()) ended_.push_back(guest);
  }
  void forget(GLuint guest) {
    std::erase(running_, guest);
    std::erase(ended_, guest);
  }
  bool isRunning(GLuint guest) const { return std::find(running_.begin(), running_.end(), guest) != running_.end(); }
  // Those whose results have not been told, the oldest first.
  const std::vector<GLuint>& ended() const { return ended_; }

 private:
  std::vector<GLuint> running_;  // at most one for each target and index
  std::vector<GLuint> ended_;
};

}  // namespace qv::peer
