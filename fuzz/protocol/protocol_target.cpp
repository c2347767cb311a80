// Target "protocol": messages, shared words and descriptors between a guest and its host, of which one is hostile.
//
// The first byte of an input says which; the steps behind it say what is done. The OpenGL is a stub.
#include <algorithm>
#include <span>
#include <string>

#include "fuzz/core/call_maker.h"
#include "fuzz/core/counts.h"
#include "fuzz/core/journal.h"
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

namespace qv::fuzz {
namespace {

void run(std::span<const uint8_t> data, Journal& journal, bool alwaysLook) {
  if (data.empty()) return;
  // The descriptors are many questions to the kernel: not behind every input.
  constexpr uint32_t kInputsToALook = 64;
  static uint32_t inputs = 0;
  static const std::string descriptors = openDescriptors();
  journal.add(data);
  const std::vector<Step> steps = readSteps(data.subspan(1));
  if (data[0] % 8 < 6) {
    HostileGuest guest(data[0] % 8 == 5);
    for (const Step& step : steps) {
      Random random(uint64_t{step.which} << 32 | step.seed);
      guest.act(random);
    }
  } else if (!steps.empty()) {
    runGuestOfHostileHost(steps[0].seed, std::min<uint32_t>(static_cast<uint32_t>(steps.size()), 200));
  }
  if (++inputs % kInputsToALook == 1 || alwaysLook) {
    if (const std::string left = openDescriptors(); left != descriptors)
      findFault(("descriptors at the start and now:\n" + descriptors + "\n" + left).c_str());
    journal.restart();
  }
  counts().inputs.fetch_add(1, std::memory_order_relaxed);
  counts().units.fetch_add(steps.size(), std::memory_order_relaxed);
}

}  // namespace
}  // namespace qv::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace qv::fuzz;
  static Journal journal;
  if (!Journal::isSequence({data, size})) return run({data, size}, journal, false), 0;
  for (const std::span<const uint8_t> one : Journal::inputsOf({data, size})) run(one, journal, true);
  return 0;
}
