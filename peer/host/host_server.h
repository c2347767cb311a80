// The serving half of a qv-host: a thread for each guest's socket, ended with the guest.
#pragma once

#include <condition_variable>
#include <mutex>
#include <set>

#include "peer/host/egl_display.h"
#include "peer/host/live_counters.h"

namespace qv::peer {

class HostServer {
 public:
  explicit HostServer(const EglDisplay& display) : display_(display) {}
  // Ends all guests.
  ~HostServer();
  HostServer(const HostServer&) = delete;
  HostServer& operator=(const HostServer&) = delete;

  // Serves the guest at the other end of `socket`, which is closed in the end, until it goes away: however it died, its
  // contexts, windows and allocations are gone when this returns.
  void serve(int socket);
  // The same on a thread of its own.
  void serveApart(int socket);

  PeerCounters counters() const { return counters_.read(); }

 private:
  const EglDisplay& display_;
  LiveCounters counters_;
  std::mutex mutex_;
  std::condition_variable served_;
  std::set<int> sockets_;
};

}  // namespace qv::peer
