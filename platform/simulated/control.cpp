// Reset and the counts of live handles, over all parts of the simulated Windows.
#include "platform/simulated/control.h"

#include <cstdio>

#include "platform/simulated/calls.h"
#include "platform/simulated/kernel.h"
#include "platform/simulated/process.h"
#include "platform/simulated/window_system.h"

namespace qv::sim {

LiveCounts liveCounts() {
  LiveCounts counts{};
  {
    Kernel& k = kernel();
    std::lock_guard guard(k.lock);
    counts.adapters = k.count(Kind::Adapter);
    counts.devices = k.count(Kind::Device);
    counts.contexts = k.count(Kind::Context);
    counts.resources = k.count(Kind::Resource);
    counts.pagingQueues = k.count(Kind::PagingQueue);
    counts.trimRegistrations = static_cast<uint32_t>(k.trims.size());
    for (const auto& [source, display] : k.displays) {
      counts.ownedSources += display.owner != 0 ? 1 : 0;
    }
  }
  {
    WindowSystem& w = windowSystem();
    std::lock_guard guard(w.lock);
    counts.windows = w.windows.live();
    counts.classes = static_cast<uint32_t>(w.classes.size());
    counts.hooks = w.hooks.live();
    counts.deviceContexts = w.deviceContexts.live();
  }
  counts.tlsSlots = liveTlsSlots();
  counts.criticalSections = liveCriticalSections();
  counts.heldSections = heldCriticalSections();
  return counts;
}

std::string describe(const LiveCounts& c) {
  char text[320];
  snprintf(text, sizeof text,
           "adapters %u, devices %u, contexts %u, resources %u, paging queues %u, trim registrations %u, owned sources %u, "
           "windows %u, classes %u, hooks %u, device contexts %u, TLS slots %u, critical sections %u, held %u",
           c.adapters, c.devices, c.contexts, c.resources, c.pagingQueues, c.trimRegistrations, c.ownedSources, c.windows,
           c.classes, c.hooks, c.deviceContexts, c.tlsSlots, c.criticalSections, c.heldSections);
  return text;
}

void reset() {
  resetKernel();  // first: link and sink, which are still set, hear of every surface that goes
  resetWindowSystem();
  resetProcess();
  resetVersionInfo();
  resetTls();
  resetCalls();
}

}  // namespace qv::sim
