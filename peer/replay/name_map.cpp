// Insertion and removal of names.
#include "peer/replay/name_map.h"

#include <algorithm>

namespace qv::peer {

void NameMap::insert(GLuint guest, GLuint real) {
  remove(guest);
  if (guest < kLow) {
    if (guest >= low_.size()) low_.resize(std::min<size_t>(kLow, std::max<size_t>(2 * low_.size(), guest + 64)), 0);
    low_[guest] = real;
  } else {
    high_[guest] = real;
  }
  guests_[real] = guest;
}

GLuint NameMap::remove(GLuint guest) {
  const GLuint real = find(guest);
  if (real == 0) return 0;
  guests_.erase(real);
  if (guest < low_.size()) {
    low_[guest] = 0;
  } else {
    high_.erase(guest);
  }
  return real;
}

}  // namespace qv::peer
