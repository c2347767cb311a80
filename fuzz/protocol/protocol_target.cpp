// Target "protocol": messages, shared words and descriptors between a guest and its host, of which one is hostile.
//
// The first byte of an input says which; the steps behind it say what is done. The OpenGL is a stub.
#include <algorithm>
#include <string>

#include "fuzz/core/call_maker.h"
#include "fuzz/core/counts.h"
#include "fuzz/core/require.h"
#include "fuzz/core/target.h"
#include "fuzz/protocol/descriptors.h"
#include "fuzz/protocol/hostile_guest.h"
#include "fuzz/protocol/hostile_host.h"
#include "fuzz/stub_gl/stub_gl.h"
#include "peer/host/egl_display.h"
#include "peer/link/log.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qv::fuzz::installStubGl();
  qv::fuzz::require(qv::peer::EglDisplay::get() != nullptr, "the stub of EGL opens no display");
  qv::peer::setLogSink([](std::string_view) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace qv::fuzz;
  if (size == 0) return 0;
  const std::vector<Step> steps = readSteps({data + 1, size - 1});
  const std::string descriptors = openDescriptors();
  if (data[0] % 8 < 6) {
    HostileGuest guest(data[0] % 8 == 5);
    for (const Step& step : steps) {
      Random random(uint64_t{step.which} << 32 | step.seed);
      guest.act(random);
    }
  } else if (!steps.empty()) {
    runGuestOfHostileHost(steps[0].seed, std::min<uint32_t>(static_cast<uint32_t>(steps.size()), 200));
  }
  if (const std::string left = openDescriptors(); left != descriptors) findFault(("descriptors before and after:\n" + descriptors + "\n" + left).c_str());
  counts().inputs.fetch_add(1, std::memory_order_relaxed);
  counts().units.fetch_add(steps.size(), std::memory_order_relaxed);
  return 0;
}
