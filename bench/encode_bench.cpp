// What encoding costs: entry points called as a program calls them, against plain loops that store the same bytes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "driver/base/current_context.h"
#include "driver/host/flush_packet.h"
#include "driver/state/gl_context.h"
#include "driver/state/program_objects.h"
#include "driver/stream/flush.h"
#include "driver/tables/proc_tables.h"

namespace qv {

// No host: a flush costs its own bookkeeping only.
uint64_t SubmitFlush(GlContext*, uint32_t, const void*, uint64_t, void* reply, uint32_t replySize, void*, uint32_t) {
  if (reply) std::memset(reply, 0, replySize);
  return 0;
}

}  // namespace qv

namespace {

constexpr int kCalls = 500;  // a batch: small enough to stay in the first cache, as a flushed stream does

template <typename Function>
Function* find(const char* name) {
  for (const qv::ProcNameRow& row : qv::ProcNameTable)
    if (std::strcmp(row.name, name) == 0) return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(row.proc));
  return nullptr;
}
// A program calls through a pointer that the compiler cannot see through.
#define QV_FIND(name)                             \
  auto* p_##name = find<decltype(::name)>(#name); \
  benchmark::DoNotOptimize(p_##name)

struct Current {
  Current() {
    qv::ContextTlsSlot = TlsAlloc();
    context = new qv::GlContext(4, 210, 1);
    context->quirkFlags |= qv::kQuirkVertexRuns;
    TlsSetValue(qv::ContextTlsSlot, context);
  }
  ~Current() {
    TlsSetValue(qv::ContextTlsSlot, nullptr);
    delete context;
    TlsFree(qv::ContextTlsSlot);
  }
  void flush() { qv::flushStream(context, 0, nullptr, 0, nullptr, 0); }
  qv::GlContext* context;
};

// Memory of the plain loops, known to the outside so that no store to it can be dropped.
alignas(64) uint8_t plainMemory[65536 + 4096];
template <typename T>
T* bufferOf() {
  T* out = reinterpret_cast<T*>(plainMemory);
  benchmark::DoNotOptimize(out);
  return out;
}
template <typename T>
T* shadowOf() {
  T* out = reinterpret_cast<T*>(plainMemory + 65536);
  benchmark::DoNotOptimize(out);
  return out;
}

void perCall(benchmark::State& state, int callsPerBatch) {
  state.counters["ns"] = benchmark::Counter(static_cast<double>(state.iterations()) * callsPerBatch * 1e-9,
                                            benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Colour and position of a vertex in a run: 24 bytes a pair.
void runPair(benchmark::State& state) {
  Current current;
  QV_FIND(glBegin);
  QV_FIND(glEnd);
  QV_FIND(glColor3f);
  QV_FIND(glVertex3f);
  for (auto _ : state) {
    p_glBegin(GL_POINTS);
    for (int i = 0; i < kCalls; ++i) {
      p_glColor3f(0.25f, static_cast<float>(i), 0.5f);
      p_glVertex3f(2.0f, static_cast<float>(i), 0.0f);
    }
    p_glEnd();
    current.flush();
  }
  perCall(state, kCalls);
}
void storePair(benchmark::State& state) {
  for (auto _ : state) {
    float* out = bufferOf<float>();
    for (int i = 0; i < kCalls; ++i) {
      out[0] = 0.25f;
      out[1] = static_cast<float>(i);
      out[2] = 0.5f;
      out[3] = 2.0f;
      out[4] = static_cast<float>(i);
      out[5] = 0.0f;
      out += 6;
      benchmark::ClobberMemory();
    }
  }
  perCall(state, kCalls);
}

// The least that two calls through a pointer can do: each stores 12 bytes behind a cursor in memory and moves it. What this
// costs over storePair no driver of the kind can save: calls do not share registers, so each waits for the cursor that the one
// before it has stored.
struct Cursor {
  uint8_t* at;
};
Cursor theCursor;
[[gnu::noinline]] void appendThree(float a, float b, float c) {
  uint8_t* const at = theCursor.at;
  const float values[3] = {a, b, c};
  std::memcpy(at, values, sizeof values);
  theCursor.at = at + sizeof values;
}
void callPair(benchmark::State& state) {
  auto* first = &appendThree;
  auto* second = &appendThree;
  benchmark::DoNotOptimize(first);
  benchmark::DoNotOptimize(second);
  for (auto _ : state) {
    theCursor.at = bufferOf<uint8_t>();
    for (int i = 0; i < kCalls; ++i) {
      first(0.25f, static_cast<float>(i), 0.5f);
      second(2.0f, static_cast<float>(i), 0.0f);
    }
  }
  perCall(state, kCalls);
}

// glBlendFunc: 12 bytes of command and six words of shadow.
void blendFunc(benchmark::State& state) {
  Current current;
  QV_FIND(glBlendFunc);
  for (auto _ : state) {
    for (int i = 0; i < kCalls; ++i) p_glBlendFunc(GL_ONE, static_cast<GLenum>(i));
    current.flush();
  }
  perCall(state, kCalls);
}
void storeBlend(benchmark::State& state) {
  for (auto _ : state) {
    uint32_t* out = bufferOf<uint32_t>();
    uint32_t* const shadow = shadowOf<uint32_t>();
    for (int i = 0; i < kCalls; ++i) {
      out[0] = 0xC0F1;
      out[1] = GL_ONE;
      out[2] = static_cast<uint32_t>(i);
      out += 3;
      for (int k = 0; k < 3; ++k) shadow[k] = GL_ONE;
      for (int k = 3; k < 6; ++k) shadow[k] = static_cast<uint32_t>(i);
      benchmark::ClobberMemory();
    }
  }
  perCall(state, kCalls);
}

// glEnable: 8 bytes of command and two bytes of shadow.
void enable(benchmark::State& state) {
  Current current;
  QV_FIND(glEnable);
  for (auto _ : state) {
    for (int i = 0; i < kCalls; ++i) p_glEnable(GL_BLEND);
    current.flush();
  }
  perCall(state, kCalls);
}
void storeEnable(benchmark::State& state) {
  for (auto _ : state) {
    uint32_t* out = bufferOf<uint32_t>();
    uint8_t* const shadow = shadowOf<uint8_t>();
    for (int i = 0; i < kCalls; ++i) {
      out[0] = 0x80D7;
      out[1] = GL_BLEND;
      out += 2;
      shadow[0] = 1;
      shadow[100] = 1;
      benchmark::ClobberMemory();
    }
  }
  perCall(state, kCalls);
}

// glLoadMatrixf: 68 bytes of command and sixteen doubles of shadow, transposed.
void loadMatrix(benchmark::State& state) {
  Current current;
  QV_FIND(glLoadMatrixf);
  float m[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  for (auto _ : state) {
    for (int i = 0; i < kCalls; ++i) p_glLoadMatrixf(m);
    current.flush();
  }
  perCall(state, kCalls);
}
void storeMatrix(benchmark::State& state) {
  float m[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  for (auto _ : state) {
    uint8_t* out = bufferOf<uint8_t>();
    double* const shadow = shadowOf<double>();
    for (int i = 0; i < kCalls; ++i) {
      benchmark::DoNotOptimize(m);
      const uint32_t header = 0x44123;
      std::memcpy(out, &header, 4);
      std::memcpy(out + 4, m, sizeof m);
      out += 68;
      for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) shadow[4 * r + c] = static_cast<double>(m[4 * c + r]);
      benchmark::ClobberMemory();
    }
  }
  perCall(state, kCalls);
}

// glUniform4fv of one vector: 28 bytes, checked against the program that is current.
void uniform4fv(benchmark::State& state) {
  Current current;
  auto* const record = new qv::ProgramRecord;
  record->uniforms.addResource({GL_FLOAT_VEC4, 4, 3, 1}, "v", 1);
  current.context->shareGroup->table(qv::ShareSlot::kPrograms).set(7, static_cast<qv::TrackedObject*>(record));
  current.context->currentProgram = 7;
  QV_FIND(glUniform4fv);
  const float values[4] = {1, 2, 3, 4};
  for (auto _ : state) {
    for (int i = 0; i < kCalls; ++i) p_glUniform4fv(4, 1, values);
    current.flush();
  }
  perCall(state, kCalls);
}
void storeUniform(benchmark::State& state) {
  float values[4] = {1, 2, 3, 4};
  for (auto _ : state) {
    uint8_t* out = bufferOf<uint8_t>();
    for (int i = 0; i < kCalls; ++i) {
      benchmark::DoNotOptimize(values);
      const uint32_t words[3] = {0x1C213, 4, 1};
      std::memcpy(out, words, sizeof words);
      std::memcpy(out + sizeof words, values, sizeof values);
      out += 28;
      benchmark::ClobberMemory();
    }
  }
  perCall(state, kCalls);
}

// The call of a list of kCalls commands: the walk over its recording, by command.
template <typename Record>
void scanList(benchmark::State& state, Record&& record) {
  Current current;
  QV_FIND(glNewList);
  QV_FIND(glEndList);
  QV_FIND(glCallList);
  p_glNewList(1, GL_COMPILE);
  for (int i = 0; i < kCalls; ++i) record(i);
  p_glEndList();
  current.flush();
  for (auto _ : state) {
    p_glCallList(1);
    current.flush();
  }
  perCall(state, kCalls);
}
void scanEnable(benchmark::State& state) {
  QV_FIND(glEnable);
  scanList(state, [=](int i) { p_glEnable(i % 2 != 0 ? GL_FOG : GL_LIGHTING); });
}
void scanTranslate(benchmark::State& state) {
  QV_FIND(glTranslatef);
  scanList(state, [=](int i) { p_glTranslatef(static_cast<float>(i), 1, 0); });
}
// The same bytes as scanEnable's, copied.
void copyRecording(benchmark::State& state) {
  for (auto _ : state) {
    uint8_t* out = bufferOf<uint8_t>();
    std::memcpy(out, out + 8 * kCalls, 8 * kCalls);
    benchmark::ClobberMemory();
  }
  perCall(state, kCalls);
}
// The call of a list that changes nothing, against the call of a name without a list.
template <bool Defined>
void callLists(benchmark::State& state) {
  Current current;
  QV_FIND(glNewList);
  QV_FIND(glRectf);
  QV_FIND(glEndList);
  QV_FIND(glCallList);
  if (Defined) {
    p_glNewList(1, GL_COMPILE);
    for (int i = 0; i < 1000; ++i) p_glRectf(0, 0, 1, 1);
    p_glEndList();
    current.flush();
  }
  for (auto _ : state) {
    for (int i = 0; i < kCalls; ++i) p_glCallList(1);
    current.flush();
  }
  perCall(state, kCalls);
}
void callInert(benchmark::State& state) { callLists<true>(state); }
void callAbsent(benchmark::State& state) { callLists<false>(state); }

BENCHMARK(scanEnable);
BENCHMARK(scanTranslate);
BENCHMARK(copyRecording);
BENCHMARK(callInert);
BENCHMARK(callAbsent);
BENCHMARK(uniform4fv);
BENCHMARK(storeUniform);
BENCHMARK(runPair);
BENCHMARK(storePair);
BENCHMARK(callPair);
BENCHMARK(blendFunc);
BENCHMARK(storeBlend);
BENCHMARK(enable);
BENCHMARK(storeEnable);
BENCHMARK(loadMatrix);
BENCHMARK(storeMatrix);

// Keeps the best time of each benchmark, to print ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const double ns = run.counters.at("ns").value;
      const std::string name = run.benchmark_name().substr(0, run.benchmark_name().find('/'));
      if (!best.contains(name) || ns < best[name]) best[name] = ns;
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> best;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const struct {
    const char *what, *calls, *stores;
  } rows[] = {{"glColor3f + glVertex3f in a run, 24 bytes", "runPair", "storePair"},
              {"the same against two calls that only store", "runPair", "callPair"},
              {"glBlendFunc, 12 bytes and 6 words of shadow", "blendFunc", "storeBlend"},
              {"glEnable, 8 bytes and 2 bytes of shadow", "enable", "storeEnable"},
              {"glUniform4fv, 28 bytes and a search", "uniform4fv", "storeUniform"},
              {"a scanned glEnable against a copy of the recording", "scanEnable", "copyRecording"},
              {"a called list that changes nothing, against none", "callInert", "callAbsent"},
              {"glLoadMatrixf, 68 bytes and 16 doubles of shadow", "loadMatrix", "storeMatrix"}};
  std::printf("\n%-52s %10s %10s %8s\n", "encoding against plain stores, best of the run", "calls ns", "stores ns", "ratio");
  for (const auto& row : rows) {
    if (!reporter.best.contains(row.calls) || !reporter.best.contains(row.stores)) continue;
    std::printf("%-52s %10.2f %10.2f %8.2f\n", row.what, reporter.best[row.calls], reporter.best[row.stores],
                reporter.best[row.calls] / reporter.best[row.stores]);
  }
  return 0;
}
