// NameMap: the guest's names of one kind of objects, each with the name that GL has given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "wire/gl_api.h"

namespace qv::peer {

// Guests choose the names of some objects themselves, lowest free first, while GL takes only names that it has generated and
// hands them out in an order of its own. Objects of the host's own stay out of the guest's reach this way, too.
class NameMap {
 public:
  static constexpr std::size_t kMost = std::size_t{1} << 20;

  // The name of GL's; 0 for 0 and for a name without one.
  GLuint find(GLuint guest) const {
    if (guest < low_.size()) return low_[guest];
    if (high_.empty()) return 0;
    const auto at = high_.find(guest);
    return at == high_.end() ? 0 : at->second;
  }
  // The same, made by `make()` when there is none yet. 0 for 0, and when `make` gives none or there are kMost.
  template <typename Make>
  GLuint findOrMake(GLuint guest, Make&& make) {
    const GLuint known = find(guest);
    if (known != 0 || guest == 0 || guests_.size() >= kMost) return known;
    const GLuint made = make();
    if (made != 0) insert(guest, made);
    return made;
  }
  void insert(GLuint guest, GLuint real);
  // Forgets the name. The name of GL's, which is the caller's to delete; 0 when there is none.
  GLuint remove(GLuint guest);
  // The guest's name of an object; 0 for 0 and for an object of the host's own.
  GLuint guestOf(GLuint real) const {
    const auto at = guests_.find(real);
    return at == guests_.end() ? 0 : at->second;
  }
  // `use(name)` for each name of GL's.
  template <typename Use>
  void forEachReal(Use&& use) const {
    for (const auto& [real, guest] : guests_) use(real);
  }
  std::size_t size() const { return guests_.size(); }

 private:
  static constexpr GLuint kLow = 65536;  // names below are found without a search

  std::vector<GLuint> low_;
  std::unordered_map<GLuint, GLuint> high_;
  std::unordered_map<GLuint, GLuint> guests_;  // by GL's name
};

}  // namespace qv::peer
