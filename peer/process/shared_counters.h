// The live numbers of one guest's process in a page that its supervisor can read.
#pragma once

#include "peer/host/live_counters.h"

namespace qv::peer {

// Makes the memory file of a page; -1 on failure.
int createCounterPage();
// Maps the page of a file that createCounterPage() has made; null on failure. It is never unmapped by the guest's process.
LiveCounters* mapCounterPage(int file);
void unmapCounterPage(LiveCounters* page);

}  // namespace qv::peer
