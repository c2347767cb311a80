// HostClientGpu: the guest's end of a connection to a qv-host, and the start of a qv-host.
#pragma once

#include <memory>
#include <string>

#include "peer/link/guest_link.h"

namespace qv::peer {

// Packets travel to a qv-host. After the host has gone away every escape fails with a negative result; nothing blocks.
class HostClientGpu final : public GuestLink {
 public:
  using GuestLink::GuestLink;
};

// Connects to the host that listens at `socketPath`. Null when there is none.
std::unique_ptr<HostClientGpu> connectToHost(const std::string& socketPath);

// Talks to the host at the other end of `socket`, which it takes. Null when nobody there speaks the protocol.
std::unique_ptr<HostClientGpu> connectThrough(int socket);

// Connects to the host named by QV_HOST_SOCKET; without that, starts a qv-host of this process's own, which ends when the
// process ends, and connects to it. The program is QV_HOST_BINARY, else `qv-host` beside the file that holds this code, else
// the one on the path. Null on failure, with the reason in `error`.
std::unique_ptr<HostClientGpu> startHost(std::string* error = nullptr);

}  // namespace qv::peer
