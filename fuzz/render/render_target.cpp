// Target "render": streams through the whole peer to Mesa, which finds what an OpenGL must be guarded from.
//
// libFuzzer runs this target in child processes, so that a crash or a hang of OpenGL is a finding and the fuzzer goes on.
#include <array>
#include <cstdlib>
#include <memory>
#include <optional>

#include "fuzz/core/counts.h"
#include "fuzz/core/packet_guest.h"
#include "fuzz/core/require.h"
#include "fuzz/core/stream_input.h"
#include "fuzz/core/target.h"
#include "fuzz/render/bounds.h"
#include "peer/host/in_process_gpu.h"
#include "peer/link/log.h"
#include "wire/gl_api.h"

namespace qv::fuzz {
namespace {

constexpr uint32_t kContexts = 2, kWindows = 4;

constexpr std::array<uint16_t, 6> kContextAttributes[] = {{GL_DOUBLEBUFFER, GL_VERSION, 210, GL_CONTEXT_PROFILE_MASK, 2, 0},
                                                          {GL_DOUBLEBUFFER, GL_VERSION, 320, GL_CONTEXT_PROFILE_MASK, 2, 0},
                                                          {GL_VERSION, 330, GL_CONTEXT_PROFILE_MASK, 1, 0, 0},
                                                          {GL_VERSION, 430, GL_CONTEXT_PROFILE_MASK, 1, 0, 0}};
constexpr std::array<uint16_t, 5> kWindowAttributes[kWindows] = {{GL_DOUBLEBUFFER, 0, 0, 0, 0},
                                                                 {GL_DOUBLEBUFFER, GL_SAMPLES, 4, 0, 0},
                                                                 {GL_RGBA, GL_TEXTURE_2D, GL_GENERATE_MIPMAP, 0, 0},
                                                                 {GL_RGBA, GL_TEXTURE_CUBE_MAP, GL_RGBA32F, 0, 0}};
constexpr std::array<int32_t, 2> kSizes[] = {{64, 64}, {64, 64}, {65, 63}, {1, 1}, {0, 0}, {128, 16}, {16, 96}, {-5, 3}};

// The peer of the process, and a surface that frames go to.
struct Host {
  peer::InProcessGpu gpu;
  SurfaceMemory surface{0x40000001, 64, 64};
  Host() { require(gpu.openAllocation(surface.allocation()), "the peer does not take a surface"); }
};
Host& host() {
  static Host* const instance = new Host;  // alive until the process ends
  return *instance;
}

// The guest of one input: contexts and windows are made when a flush first names them.
class Session {
 public:
  explicit Session(uint32_t kind) : attributes_(kContextAttributes[kind % std::size(kContextAttributes)]) {}
  ~Session() {
    for (const uint32_t id : contexts_)
      if (id != 0) require(guest_.deleteContext(id), "a context cannot be deleted");
    for (const uint32_t id : windows_)
      if (id != 0) require(guest_.destroyWindow(id), "a window cannot be destroyed");
    const peer::PeerCounters left = host().gpu.counters();
    require(left.contexts == 0 && left.glContexts == 0 && left.windows == 0 && left.surfaces == 0 && left.channels == 0,
            "the peer holds what was given back");
  }

  void flush(const FlushInput& input) {
    static constexpr uint32_t kModes[] = {0, GL_FRONT, GL_BACK, 0};
    static constexpr uint32_t kReplies[] = {0, 4, 64, 4096};
    const std::vector<uint8_t> stream = bounds_[input.context()].bound(input.stream, input.mayBeMalformed());
    std::vector<uint8_t> reply(kReplies[input.replies()]), reply2(input.replies() == 3 ? 16 : 0);
    PacketGuest::Flush flush;
    flush.context = context(input.context());
    flush.window = window(input.window());
    flush.presentMode = kModes[input.presentMode()];
    flush.width = kSizes[input.size()][0];
    flush.height = kSizes[input.size()][1];
    flush.backBuffer = flush.presentMode != 0 ? host().surface.allocation().handle : 0;
    flush.stream = stream;
    flush.reply = reply;
    flush.reply2 = reply2;
    if (guest_.flush(flush) != 0) failed = true;
    require(guest_.answered(), "the peer is gone");
  }

  bool failed = false;

 private:
  uint32_t context(uint32_t index) {
    uint32_t& id = contexts_[index];
    if (id == 0) {
      id = guest_.createContext(attributes_);
      require(id != 0, "no context is made");
      if (contexts_[0] != 0 && contexts_[1] != 0) guest_.share(contexts_[0], contexts_[1]);
    }
    return id;
  }
  uint32_t window(uint32_t index) {
    uint32_t& id = windows_[index];
    if (id == 0) id = guest_.createWindow(kWindowAttributes[index]);
    return id;
  }

  PacketGuest guest_{host().gpu};
  const std::span<const uint16_t> attributes_;
  uint32_t contexts_[kContexts] = {}, windows_[kWindows] = {};
  StreamBounds bounds_[kContexts];
};

}  // namespace
}  // namespace qv::fuzz

// OpenGL keeps memory until the process ends, and asks for more than there is.
extern "C" const char* __asan_default_options() {
  return "detect_leaks=0:allocator_may_return_null=1:malloc_context_size=4:quarantine_size_mb=16";
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // A thread for each processor would only wait for the others on pictures this small.
  setenv("LP_NUM_THREADS", "0", 0);
  // Most of the time goes into the compiler of its shaders: plain code of it will do.
  setenv("GALLIVM_PERF", "nopt", 0);
  setenv("LP_NATIVE_VECTOR_WIDTH", "128", 0);
  qv::peer::setLogSink([](std::string_view) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace qv::fuzz;
  const std::vector<FlushInput> flushes = readFlushes({data, size});
  if (flushes.empty()) return 0;
  {
    Session session(flushes.front().contextKind());
    for (const FlushInput& flush : flushes) session.flush(flush);
    if (!session.failed) counts().accepted.fetch_add(1, std::memory_order_relaxed);
  }
  counts().inputs.fetch_add(1, std::memory_order_relaxed);
  counts().units.fetch_add(flushes.size(), std::memory_order_relaxed);
  return 0;
}
