// Sets of sharing contexts.
#include "peer/host/share_set.h"

#include <algorithm>

namespace qv::peer {

void ShareSets::add(const Context& context) {
  const std::lock_guard lock(mutex_);
  sets_.push_back({{{&context, EGL_NO_CONTEXT}}});
  sets_.back().objects->bufferBytes = bufferBytes_;
  sets_.back().objects->textureBytes = textureBytes_;
  sets_.back().objects->renderbufferBytes = renderbufferBytes_;
  sets_.back().objects->listBytes = listBytes_;
}

void ShareSets::remove(const Context& context) {
  const std::lock_guard lock(mutex_);
  const size_t at = setOf(context);
  std::vector<Member>& set = sets_[at].members;
  const auto member = std::find_if(set.begin(), set.end(), [&](const Member& one) { return one.context == &context; });
  if (member->egl != EGL_NO_CONTEXT) {
    display_.destroyContext(member->egl);
    counters_.glContexts.fetch_sub(1);
  }
  set.erase(member);
  if (set.empty()) sets_.erase(sets_.begin() + static_cast<std::ptrdiff_t>(at));
}

bool ShareSets::join(const Context& first, const Context& second) {
  const std::lock_guard lock(mutex_);
  const size_t a = setOf(first), b = setOf(second);
  if (a == b) return true;
  if (anyMade(sets_[a]) != EGL_NO_CONTEXT && anyMade(sets_[b]) != EGL_NO_CONTEXT) return false;
  if (anyMade(sets_[b]) != EGL_NO_CONTEXT) sets_[a].objects = sets_[b].objects;
  sets_[a].members.insert(sets_[a].members.end(), sets_[b].members.begin(), sets_[b].members.end());
  sets_.erase(sets_.begin() + static_cast<std::ptrdiff_t>(b));
  return true;
}

EGLContext ShareSets::create(const Context& context, const DrawableAttributes& attributes) {
  const std::lock_guard lock(mutex_);
  Set& set = sets_[setOf(context)];
  const EGLContext made = display_.createContext(attributes, anyMade(set));
  if (made == EGL_NO_CONTEXT) return made;
  counters_.glContexts.fetch_add(1);
  std::find_if(set.members.begin(), set.members.end(), [&](const Member& one) { return one.context == &context; })->egl = made;
  return made;
}

std::shared_ptr<SharedObjects> ShareSets::objects(const Context& context) {
  const std::lock_guard lock(mutex_);
  return sets_[setOf(context)].objects;
}

bool ShareSets::shared(const Context& context) {
  const std::lock_guard lock(mutex_);
  return sets_[setOf(context)].members.size() > 1;
}

size_t ShareSets::setOf(const Context& context) const {
  return static_cast<size_t>(std::find_if(sets_.begin(), sets_.end(),
                                          [&](const Set& set) {
                                            return std::any_of(set.members.begin(), set.members.end(),
                                                               [&](const Member& one) { return one.context == &context; });
                                          }) -
                             sets_.begin());
}

EGLContext ShareSets::anyMade(const Set& set) {
  const auto at =
      std::find_if(set.members.begin(), set.members.end(), [](const Member& one) { return one.egl != EGL_NO_CONTEXT; });
  return at == set.members.end() ? EGL_NO_CONTEXT : at->egl;
}

}  // namespace qv::peer
