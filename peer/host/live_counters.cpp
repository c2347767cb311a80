// A snapshot of the live numbers.
#include "peer/host/live_counters.h"

namespace qv::peer {

PeerCounters LiveCounters::read() const {
  PeerCounters out;
  out.guests = guests.load();
  out.contexts = contexts.load();
  out.glContexts = glContexts.load();
  out.windows = windows.load();
  out.surfaces = surfaces.load();
  out.channels = channels.load();
  out.allocations = allocations.load();
  out.mappedBytes = mappedBytes.load();
  out.logLines = logLines.load();
  return out;
}

}  // namespace qv::peer
