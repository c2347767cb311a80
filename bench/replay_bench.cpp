// What the host's replay of vertex runs costs, beside OpenGL called directly for the same vertices in the same run.
#include <EGL/egl.h>
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "peer/host/egl_display.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replayer.h"
#include "wire/entry_table.h"

namespace {

using namespace qv;
using namespace qv::peer;

constexpr uint32_t kRuns = 1000;

// A context with a drawable, current on this thread for the whole program.
bool makeCurrent() {
  static const bool made = [] {
    const EglDisplay* const display = EglDisplay::get();
    if (display == nullptr) return false;
    const DrawableAttributes attributes{.doubleBuffered = true, .version = 210, .profileMask = 2};
    const EGLContext context = display->createContext(attributes, EGL_NO_CONTEXT);
    return display->makeCurrent(display->createSurface(attributes, 64, 64), context);
  }();
  return made;
}

struct Vertex {
  float color[3], position[3];
};

// Small enough that what is measured is the work per vertex and not the pixels.
Vertex vertexOf(uint32_t i) {
  const float x = static_cast<float>(i % 2) * 0.001f, y = static_cast<float>(i / 2 % 2) * 0.001f;
  return {{x, y, 0.5f}, {2.0f + x, y, 0.0f}};
}

// Runs of `vertices` vertices each; with `apart` a mark behind each, so that none can be joined with the next.
std::vector<uint8_t> streamOf(uint32_t mode, uint32_t vertices, bool apart) {
  std::vector<uint8_t> stream;
  const auto word = [&](uint32_t value) {
    stream.resize(stream.size() + 4);
    std::memcpy(stream.data() + stream.size() - 4, &value, 4);
  };
  for (uint32_t run = 0; run < kRuns; ++run) {
    word(opcodeOf<op::qvRunEnded>);
    word(kRunHeadBytes + runTagBytes(2) + vertices * static_cast<uint32_t>(sizeof(Vertex)));
    word(VertexRunRecord::of(mode, 2, sizeof(Vertex)).packed);
    word(uint32_t{RunTag::of(3, runTypeCode<GLfloat>(), kPosition).bits} << 16 |
         RunTag::of(3, runTypeCode<GLfloat>(), kColor).bits);
    for (uint32_t i = 0; i < vertices; ++i) {
      const Vertex vertex = vertexOf(i);
      const size_t at = stream.size();
      stream.resize(at + sizeof vertex);
      std::memcpy(stream.data() + at, &vertex, sizeof vertex);
    }
    if (apart) word(smallHeader(opcodeOf<op::glFlush>, kSmallHeaderBytes));
  }
  return stream;
}

void perVertex(benchmark::State& state, uint32_t vertices) {
  state.counters["ns_per_vertex"] = benchmark::Counter(static_cast<double>(state.iterations()) * kRuns * vertices * 1e-9,
                                                       benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void replayRuns(benchmark::State& state, uint32_t mode, uint32_t vertices, bool apart) {
  if (!makeCurrent()) return state.SkipWithError("no OpenGL");
  const std::vector<uint8_t> stream = streamOf(mode, vertices, apart);
  const auto bytes = static_cast<uint32_t>(stream.size());
  Replayer replayer;
  for (auto _ : state) {
    replayer.begin();
    if (replayer.replay(stream.data(), bytes, bytes).outcome != Replayer::Outcome::Done)
      return state.SkipWithError(replayer.complaint());
    gl.glFinish();
  }
  perVertex(state, vertices);
}

void drawDirectly(benchmark::State& state, uint32_t mode, uint32_t vertices) {
  if (!makeCurrent()) return state.SkipWithError("no OpenGL");
  for (auto _ : state) {
    for (uint32_t run = 0; run < kRuns; ++run) {
      gl.glBegin(mode);
      for (uint32_t i = 0; i < vertices; ++i) {
        const Vertex vertex = vertexOf(i);
        gl.glColor3fv(vertex.color);
        gl.glVertex3fv(vertex.position);
      }
      gl.glEnd();
    }
    gl.glFinish();
  }
  perVertex(state, vertices);
}

#define QV_RUNS(name, mode, vertices)                                        \
  BENCHMARK_CAPTURE(drawDirectly, name, mode, vertices);                     \
  BENCHMARK_CAPTURE(replayRuns, name##_apart, mode, vertices, true);         \
  BENCHMARK_CAPTURE(replayRuns, name, mode, vertices, false)
QV_RUNS(strip_of_4, GL_TRIANGLE_STRIP, 4);
QV_RUNS(fan_of_6, GL_TRIANGLE_FAN, 6);
QV_RUNS(line_loop_of_5, GL_LINE_LOOP, 5);
QV_RUNS(triangles_of_3, GL_TRIANGLES, 3);
QV_RUNS(strip_of_100, GL_TRIANGLE_STRIP, 100);

}  // namespace

BENCHMARK_MAIN();
