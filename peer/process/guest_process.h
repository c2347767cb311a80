// The process that serves one guest: walls first, then OpenGL, then the guest's messages.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "peer/process/sandbox.h"

namespace qv::peer {

struct GuestProcess {
  int connection = -1;    // the guest's socket
  int counters = -1;      // file of a counter page; -1: nobody asks
  uint32_t number = 1;    // for the log
  pid_t supervisor = 0;   // ends with it; 0: ends with the guest alone
  bool sandbox = true;    // false for debugging
  ProcessLimits limits;
};

// Serves the guest until it goes away; the process ends then, whatever its threads are at. Returns only when it cannot start, the
// status to end with, after one line in the log.
int serveGuest(const GuestProcess& process);

}  // namespace qv::peer
