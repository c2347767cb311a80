// Target "stream": streams replayed by the Replayer on a stub GL, which finds faults of the peer's own code.
#include <cstring>
#include <memory>

#include "fuzz/core/counts.h"
#include "fuzz/core/require.h"
#include "fuzz/core/stream_input.h"
#include "fuzz/core/target.h"
#include "fuzz/stub_gl/stub_gl.h"
#include "fuzz/stub_gl/stub_state.h"
#include "peer/link/log.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "peer/replay/window_commands.h"
#include "wire/entry_table.h"
#include "wire/sizes.h"

namespace qv::fuzz {
namespace {

using peer::Replayer;
using Outcome = Replayer::Outcome;

// Windows that answer anything a context may answer.
class StubWindows final : public peer::WindowCommands {
 public:
  Result selectImage(uint32_t, GLenum, uint32_t) override { return any(); }
  Result bindTexImage(uint32_t) override { return any(); }
  Result releaseTexImage(uint32_t) override { return any(); }
  Result resolvePicture(GLuint& renderbuffer) override {
    renderbuffer = stub.random.below(2);
    return any();
  }
  bool accumulates() const override { return stub.random.oneIn(2); }
  Result accumulate(GLenum, GLfloat) override { return any(); }
  Result clearAccumulation() override { return any(); }

 private:
  static Result any() {
    switch (stub.random.below(16)) {
      case 0:
        return drawableLost();
      case 1:
      case 2:
        return passOver("a stub passes it over");
      default:
        return {};
    }
  }
};

// The room of a stretch ends with the memory behind it, so that AddressSanitizer sees every byte too many.
class StretchMemory {
 public:
  uint8_t* resize(size_t used, size_t bytes) {
    std::unique_ptr<uint32_t[]> fresh(new uint32_t[(bytes + 3) / 4]);
    if (used != 0) std::memcpy(fresh.get(), words_.get(), used);
    words_ = std::move(fresh);
    return reinterpret_cast<uint8_t*>(words_.get());
  }

 private:
  std::unique_ptr<uint32_t[]> words_;
};

// Quotas as small as what a stream may ask for, so that they are reached and given back.
void limit(peer::SharedObjects& shared) {
  shared.bufferBytes = std::make_shared<peer::Budget>(4096);
  shared.textureBytes = std::make_shared<peer::Budget>(65536);
  shared.renderbufferBytes = std::make_shared<peer::Budget>(65536);
  shared.listBytes = std::make_shared<peer::Budget>(4096);
}

// Hands the stream over as the ring does: in stretches that begin with a whole command and end anywhere. False when it is
// malformed.
bool replayFlush(Replayer& replayer, const FlushInput& flush) {
  replayer.begin();
  Random cuts(flush.cutSeed());
  const auto total = static_cast<uint32_t>(flush.stream.size());
  uint32_t offset = 0, have = 0;
  uint32_t wanted = kSmallHeaderBytes;
  StretchMemory memory;
  while (offset < total) {
    const uint32_t left = total - offset;
    wanted = std::min(wanted, left);
    const uint32_t more = flush.cutSeed() == 0 ? left : cuts.below(cuts.oneIn(4) ? 16 : 4096);
    const uint32_t next = std::min(left, std::max(wanted, have + more));
    uint8_t* const stretch = memory.resize(have, next);
    std::memcpy(stretch + have, flush.stream.data() + offset + have, next - have);
    have = next;
    const uint32_t bytes = have == left ? have : have & ~3u;
    const Replayer::Result result = replayer.replay(stretch, bytes, left);
    require(result.consumed <= bytes, "more is consumed than was given");
    if (result.outcome == Outcome::Failed) {
      require(replayer.complaint()[0] != 0, "a failure without a complaint");
      require(replayer.failedOpcode() <= kOpcodes, "a failure of no opcode");  // kOpcodes: stray bytes
      replayer.lastCommands();
      return false;
    }
    if (result.outcome == Outcome::Done) {
      require(result.consumed == left, "the stream is done before its end");
      return true;
    }
    require(result.consumed % 4 == 0, "a command begins at no multiple of 4");
    require(result.wanted > bytes - result.consumed, "the replayer wants what it has");
    require(result.wanted <= left - result.consumed, "the replayer wants more than the stream has");
    have -= result.consumed;
    offset += result.consumed;
    std::memmove(stretch, stretch + result.consumed, have);
    wanted = static_cast<uint32_t>(padded(result.wanted));
  }
  return true;
}

// Whatever came before, a plain stream is replayed and its query answered.
void requireUsable(Replayer& replayer) {
  uint32_t stream[4] = {smallHeader(opcodeOf<op::glLoadIdentity>, 4), smallHeader(opcodeOf<op::glIsEnabled>, 8), GL_BLEND, 0};
  replayer.begin();
  const Replayer::Result result = replayer.replay(reinterpret_cast<const uint8_t*>(stream), 12, 12);
  require(result.outcome == Outcome::Done && result.consumed == 12, "the replayer is not usable any more");
  require(replayer.reply().size() == 1 && replayer.reply2().empty(), "a query is not answered any more");
}

}  // namespace
}  // namespace qv::fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qv::fuzz::installStubGl();
  // What is passed over is told in a line each.
  qv::peer::setLogSink([](std::string_view) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace qv::fuzz;
  restartStubGl(size);
  StubWindows windows;
  qv::peer::Replayer replayer(size % 8 == 0 ? nullptr : &windows);
  if (size % 2 == 0) limit(*replayer.state().shared);
  bool whole = true;
  for (const FlushInput& flush : readFlushes({data, size})) {
    if (replayFlush(replayer, flush)) continue;
    whole = false;
    requireUsable(replayer);
  }
  counts().inputs.fetch_add(1, std::memory_order_relaxed);
  counts().units.fetch_add(replayer.commands(), std::memory_order_relaxed);
  if (whole) counts().accepted.fetch_add(1, std::memory_order_relaxed);
  requireUsable(replayer);
  return 0;
}
