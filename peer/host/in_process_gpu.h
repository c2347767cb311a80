// InProcessGpu: the whole peer inside the caller's process: one guest, real OpenGL on threads of the peer's own.
#pragma once

#include "peer/host/quotas.h"
#include "peer/link/guest_link.h"

namespace qv::peer {

// Each context renders on a thread of its own, so the caller's EGL and GLX state is never touched. Destroy it only when no
// escape is under way; contexts that the guest left behind die with it.
class InProcessGpu final : public GuestLink {
 public:
  explicit InProcessGpu(const Quotas& quotas = {});
};

}  // namespace qv::peer
