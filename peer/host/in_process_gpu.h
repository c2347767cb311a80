// InProcessGpu: the whole peer inside the caller's process, one guest, real OpenGL on threads of its own.
#pragma once

#include "peer/link/guest_link.h"

namespace qv::peer {

// Rendering happens on one thread per context, so the caller's own EGL and GLX state is never touched. Destroy it only when no
// escape is under way; contexts that the guest left behind die with it.
class InProcessGpu final : public GuestLink {
 public:
  InProcessGpu();
};

}  // namespace qv::peer
