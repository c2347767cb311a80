// The supervisor: takes connections and gives each guest a process. It knows no OpenGL and reads nothing of a guest.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "peer/link/statistics.h"
#include "peer/process/guest_process.h"

namespace qv::peer {

struct Supervision {
  std::string socket;                // path to listen at
  uint32_t mostGuests = 64;          // at a time; a guest too many finds its connection closed
  GuestProcess process;      // what the guests' processes have in common
};

// Serves until SIGTERM or SIGINT, then ends all guests. Returns the process's exit status; failures to start are told in one line.
int supervise(const Supervision& supervision);

// What a guest's process holds.
struct GuestReport {
  uint32_t number = 0;
  int32_t process = 0;
  PeerCounters counters;
};

// Asks the supervisor that listens at `socket` for its guests. False when there is none.
bool readReports(const std::string& socket, std::vector<GuestReport>& reports);

}  // namespace qv::peer
