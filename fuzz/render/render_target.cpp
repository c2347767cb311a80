// Target "render": streams through the whole peer to Mesa, which finds what an OpenGL must be guarded from.
//
// libFuzzer runs this target in child processes, so that a crash or a hang of OpenGL is a finding and the fuzzer goes on.
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <utility>

#include "fuzz/core/counts.h"
#include "fuzz/core/journal.h"
#include "fuzz/core/packet_guest.h"
#include "fuzz/core/require.h"
#include "fuzz/core/stream_input.h"
#include "fuzz/core/target.h"
#include "fuzz/render/bounds.h"
#include "peer/host/in_process_gpu.h"
#include "peer/link/log.h"
#include "wire/entry_table.h"
#include "wire/gl_api.h"
#include "wire/sizes.h"

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

// So many inputs are run by one guest: most of an OpenGL's time would go into new contexts.
constexpr uint32_t kInputsOfAGuest = 50;

// The guest of some inputs: contexts and windows are made when a flush first names them.
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
    PacketGuest::Flush& flush = last_[input.context()];
    flush = {};
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
    flush.stream = {};
    flush.reply = flush.reply2 = {};
  }

  // Ends what an input has begun, so that the next one's commands mean something.
  void tidy() {
    static const std::vector<uint32_t> kEnds = {smallHeader(opcodeOf<op::glEnd>, 4),
                                                smallHeader(opcodeOf<op::glEndList>, 4),
                                                smallHeader(opcodeOf<op::glEnd>, 4),
                                                smallHeader(opcodeOf<op::glEndConditionalRender>, 4),
                                                smallHeader(opcodeOf<op::glEndTransformFeedback>, 4),
                                                smallHeader(opcodeOf<op::glUseProgram>, 8),
                                                0,
                                                smallHeader(opcodeOf<op::glDisable>, 8),
                                                GL_RASTERIZER_DISCARD,
                                                smallHeader(opcodeOf<op::glBindFramebuffer>, 12),
                                                GL_FRAMEBUFFER,
                                                0};
    for (uint32_t index = 0; index < kContexts; ++index) {
      PacketGuest::Flush flush = std::exchange(last_[index], {});
      if (flush.context == 0) continue;
      const std::vector<uint8_t> stream =
          bounds_[index].bound({reinterpret_cast<const uint8_t*>(kEnds.data()), kEnds.size() * sizeof kEnds[0]}, false);
      flush.stream = stream;
      flush.presentMode = 0;
      guest_.flush(flush);
      require(guest_.answered(), "the peer is gone");
    }
  }

  bool failed = false;

 private:
  uint32_t context(uint32_t index) {
    uint32_t& id = contexts_[index];
    if (id == 0) {
      id = guest_.createContext(attributes_);
      // Not every OpenGL has all versions.
      if (id == 0) id = guest_.createContext(kContextAttributes[0]);
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
  PacketGuest::Flush last_[kContexts];  // of each context, by the present input; context 0: none
};

// The guest of the present inputs.
class Inputs {
 public:
  void run(std::span<const uint8_t> input) {
    const std::vector<FlushInput> flushes = readFlushes(input);
    if (flushes.empty()) return;
    if (session_ == nullptr || inputs_ == kInputsOfAGuest) begin(flushes.front().contextKind());
    ++inputs_;
    journal_.add(input);
    session_->failed = false;
    for (const FlushInput& flush : flushes) session_->flush(flush);
    if (!session_->failed) counts().accepted.fetch_add(1, std::memory_order_relaxed);
    session_->tidy();
    counts().inputs.fetch_add(1, std::memory_order_relaxed);
    counts().units.fetch_add(flushes.size(), std::memory_order_relaxed);
  }
  // The next input has a guest of its own.
  void end() { session_.reset(); }

 private:
  void begin(uint32_t kind) {
    session_.reset();
    session_ = std::make_unique<Session>(kind);
    inputs_ = 0;
    journal_.restart();
  }

  Journal journal_;
  std::unique_ptr<Session> session_;
  uint32_t inputs_ = 0;
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
  // Three processes of four run a driver that compiles nothing: it shows the same faults but those of the compiler and its code.
  if (std::getenv("QV_FUZZ_SOFTPIPE") != nullptr && getpid() % 4 != 0) setenv("GALLIUM_DRIVER", "softpipe", 0);
  // Most of the time goes into the compiler of its shaders: plain code of it will do.
  setenv("GALLIVM_PERF", "nopt", 0);
  setenv("LP_NATIVE_VECTOR_WIDTH", "128", 0);
  qv::peer::setLogSink([](std::string_view) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace qv::fuzz;
  host();
  static Inputs inputs;
  if (!Journal::isSequence({data, size})) {
    inputs.run({data, size});
    return 0;
  }
  inputs.end();
  for (const std::span<const uint8_t> one : Journal::inputsOf({data, size})) inputs.run(one);
  inputs.end();
  return 0;
}
