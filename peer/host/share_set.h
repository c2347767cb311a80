// Which host contexts share objects, decided before their OpenGL contexts exist.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "peer/host/egl_display.h"
#include "peer/host/live_counters.h"
#include "peer/host/quotas.h"
#include "peer/replay/shared_objects.h"

namespace qv::peer {

class Context;

// One per guest. OpenGL takes a share partner only when a context is made, and a guest names the partner later. So an OpenGL
// context is made at the context's first flush, and two sets can be joined until both have one.
class ShareSets {
 public:
  ShareSets(LiveCounters& counters, const EglDisplay& display, const Quotas& quotas)
      : counters_(counters),
        display_(display),
        bufferBytes_(std::make_shared<Budget>(quotas.bufferBytes)),
        textureBytes_(std::make_shared<Budget>(quotas.textureBytes)),
        renderbufferBytes_(std::make_shared<Budget>(quotas.renderbufferBytes)),
        listBytes_(std::make_shared<Budget>(quotas.listBytes)) {}

  void add(const Context& context);
  // Destroys its OpenGL context, if it has one, which must not be current.
  void remove(const Context& context);
  // False when the two sets differ and both have OpenGL contexts.
  bool join(const Context& first, const Context& second);
  // Makes `context`'s OpenGL context, sharing with what its set has. EGL_NO_CONTEXT on failure.
  EGLContext create(const Context& context, const DrawableAttributes& attributes);
  // What the host keeps for the set; settled once one of its contexts has an OpenGL context.
  std::shared_ptr<SharedObjects> objects(const Context& context);
  // Whether the set has another member.
  bool shared(const Context& context);

 private:
  struct Member {
    const Context* context = nullptr;
    EGLContext egl = EGL_NO_CONTEXT;
  };
  struct Set {
    std::vector<Member> members;
    std::shared_ptr<SharedObjects> objects = std::make_shared<SharedObjects>();
  };
  // Index of the set that holds the context; it always has one.
  size_t setOf(const Context& context) const;
  static EGLContext anyMade(const Set& set);

  LiveCounters& counters_;
  const EglDisplay& display_;
  const std::shared_ptr<Budget> bufferBytes_, textureBytes_, renderbufferBytes_, listBytes_;  // of all sets together
  // Held while an OpenGL context is made or destroyed: the partner must not go away meanwhile, and two members that are made at
  // the same time must find each other.
  std::mutex mutex_;
  std::vector<Set> sets_;
};

}  // namespace qv::peer
