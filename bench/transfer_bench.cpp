// What draws from the program's memory, uploads and reads cost, beside OpenGL called directly for the same in the same run.
//
// InOneThread: the driver with the host's replay behind it on the same thread, which tells the work that both do. Driven: the
// driver in front of a qv-host process. Each batch ends with a question to the host, so that nothing of it is left over.
// MapAndUnmap: a buffer of 1 MiB whose copy in the guest is current, beside a memcpy of as much.
#include <EGL/egl.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "bench/drawing.h"
#include "loader/opengl32/opengl32.h"
#include "peer/host/egl_display.h"
#include "peer/link/host_client.h"
#include "peer/link/null_gpu.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replayer.h"
#include "platform/simulated/control.h"
#include "wire/packets.h"

namespace {

using namespace qv;
using bench::Drawing;

const sim::WindowOptions kWindow = {.client = {0, 0, 300, 300}};

constexpr int kSide = 256;
constexpr uint32_t kImageBytes = kSide * kSide * 4, kUploadBytes = 65536, kMapBytes = 1 << 20;

// A fresh context of the host's OpenGL with a drawable, current on this thread.
class HostContext {
 public:
  HostContext() {
    if (display_ == nullptr) return;
    const peer::DrawableAttributes attributes{.doubleBuffered = true, .version = 210, .profileMask = 2};
    context_ = display_->createContext(attributes, EGL_NO_CONTEXT);
    surface_ = display_->createSurface(attributes, 300, 300);
    current = display_->makeCurrent(surface_, context_);
  }
  ~HostContext() {
    if (display_ == nullptr) return;
    display_->release();
    display_->destroySurface(surface_);
    display_->destroyContext(context_);
  }
  HostContext(const HostContext&) = delete;
  HostContext& operator=(const HostContext&) = delete;

  bool current = false;

 private:
  const peer::EglDisplay* const display_ = peer::EglDisplay::get();
  EGLContext context_ = EGL_NO_CONTEXT;
  EGLSurface surface_ = EGL_NO_SURFACE;
};

// A host that is the calling thread.
class ReplayingGpu final : public peer::NullGpu {
 public:
  NTSTATUS escape(void* packet, uint32_t size) override {
    const NTSTATUS status = NullGpu::escape(packet, size);
    if (static_cast<EscapeHeader*>(packet)->code != EscapeCode::Flush) return status;
    auto& flush = *static_cast<FlushPacket*>(packet);
    const auto* const stream = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(flush.stream.address));
    replayer_.begin(flush.reply.size, flush.reply2.size);
    if (flush.stream.address != 0 &&
        replayer_.replay(stream, flush.stream.size, flush.stream.size).outcome != peer::Replayer::Outcome::Done)
      std::abort();
    answer(flush.reply, replayer_.reply());
    answer(flush.reply2, replayer_.reply2());
    return status;
  }

 private:
  static void answer(EscapeBufferRow& row, const std::vector<uint8_t>& reply) {
    if (row.address == 0) return;
    row.size = static_cast<uint32_t>(std::min<size_t>(row.size, reply.size()));
    if (row.size != 0) std::memcpy(reinterpret_cast<void*>(static_cast<uintptr_t>(row.address)), reply.data(), row.size);
  }
  peer::Replayer replayer_;
};

#define QV_FUNCTIONS(X)                                                                                                     \
  X(glBindBuffer)                                                                                                           \
  X(glBindTexture)                                                                                                          \
  X(glBufferData) X(glBufferSubData) X(glDrawArrays) X(glEnableClientState) X(glGenBuffers) X(glGenTextures) X(glGetFloatv) \
      X(glGetError) X(glMapBuffer) X(glReadPixels) X(glTexImage2D) X(glTexParameteri) X(glTexSubImage2D) X(glUnmapBuffer)   \
          X(glVertexPointer)

// The functions that are used, of either OpenGL.
struct Functions {
#define X(name) decltype(&::name) name = nullptr;
  QV_FUNCTIONS(X)
#undef X

  static Functions ofHost() {
    Functions out;
#define X(name) out.name = peer::gl.name;
    QV_FUNCTIONS(X)
#undef X
    return out;
  }
  static Functions ofDriver() {
    Functions out;
#define X(name) out.name = reinterpret_cast<decltype(&::name)>(reinterpret_cast<void*>(loader::driverProcAddress(#name)));
    QV_FUNCTIONS(X)
#undef X
    return out;
  }
};

struct Memory {
  // Clipped away, so that what is measured is the work per draw and not the pixels.
  std::vector<float> positions = std::vector<float>(3000, 3.0f);
  std::vector<uint8_t> pixels = std::vector<uint8_t>(kImageBytes, 77);
  std::vector<uint8_t> read = std::vector<uint8_t>(kImageBytes);
};

struct Kind {
  int batch;  // calls of it
  bool inBuffer;
  void (*call)(const Functions& f, Memory& memory);
};
const Kind kDraw3{5000, false, [](const Functions& f, Memory&) { f.glDrawArrays(GL_TRIANGLES, 0, 3); }};
const Kind kDraw999{100, false, [](const Functions& f, Memory&) { f.glDrawArrays(GL_TRIANGLES, 0, 999); }};
const Kind kSubData{50, true, [](const Functions& f, Memory& memory) {
                      f.glBufferSubData(GL_ARRAY_BUFFER, 0, kUploadBytes, memory.pixels.data());
                    }};
const Kind kSubImage{20, false, [](const Functions& f, Memory& memory) {
                       f.glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kSide, kSide, GL_RGBA, GL_UNSIGNED_BYTE, memory.pixels.data());
                     }};
const Kind kReadBack{20, false, [](const Functions& f, Memory& memory) {
                       f.glReadPixels(0, 0, kSide, kSide, GL_RGBA, GL_UNSIGNED_BYTE, memory.read.data());
                     }};

void measure(benchmark::State& state, const Functions& f, const Kind& kind) {
  Memory memory;
  GLuint texture = 0, buffer = 0;
  f.glGenTextures(1, &texture);
  f.glBindTexture(GL_TEXTURE_2D, texture);
  f.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  f.glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, kSide, kSide, 0, GL_RGBA, GL_UNSIGNED_BYTE, memory.pixels.data());
  f.glBindBuffer(GL_ARRAY_BUFFER, 0);
  f.glVertexPointer(3, GL_FLOAT, 0, memory.positions.data());
  f.glEnableClientState(GL_VERTEX_ARRAY);
  f.glGenBuffers(1, &buffer);
  if (kind.inBuffer) {
    f.glBindBuffer(GL_ARRAY_BUFFER, buffer);
    f.glBufferData(GL_ARRAY_BUFFER, kUploadBytes, memory.pixels.data(), GL_DYNAMIC_DRAW);
  }
  float color[4];
  const auto batch = [&] {
    for (int i = 0; i < kind.batch; ++i) kind.call(f, memory);
    f.glGetFloatv(GL_CURRENT_COLOR, color);
  };
  for (int i = 0; i < 5; ++i) batch();  // memory grows, and OpenGL compiles
  for (auto _ : state) batch();
  f.glBindBuffer(GL_ARRAY_BUFFER, 0);
  if (f.glGetError() != GL_NO_ERROR || color[0] != 1) state.SkipWithError("OpenGL refused something");
  state.counters["ns_per_call"] = benchmark::Counter(static_cast<double>(state.iterations()) * kind.batch * 1e-9,
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void Direct(benchmark::State& state, const Kind& kind) {
  const HostContext context;
  if (!context.current) return state.SkipWithError("no OpenGL");
  measure(state, Functions::ofHost(), kind);
}

void InOneThread(benchmark::State& state, const Kind& kind) {
  const HostContext context;
  if (!context.current) return state.SkipWithError("no OpenGL");
  ReplayingGpu gpu;
  const Drawing drawing(&gpu, kWindow);
  measure(state, Functions::ofDriver(), kind);
}

void Driven(benchmark::State& state, const Kind& kind) {
  std::string error;
  const auto gpu = peer::startHost(&error);
  if (gpu == nullptr) return state.SkipWithError(error.c_str());
  const Drawing drawing(gpu.get(), kWindow);
  measure(state, Functions::ofDriver(), kind);
}

#define QV_KIND(name, kind)                   \
  BENCHMARK_CAPTURE(Direct, name, kind);      \
  BENCHMARK_CAPTURE(InOneThread, name, kind); \
  BENCHMARK_CAPTURE(Driven, name, kind)->UseRealTime()
QV_KIND(draw_3, kDraw3);
QV_KIND(draw_999, kDraw999);
QV_KIND(buffer_sub_data_64k, kSubData);
QV_KIND(tex_sub_image_256, kSubImage);
QV_KIND(read_pixels_256, kReadBack);

void CopyOfOneMebibyte(benchmark::State& state) {
  const std::vector<uint8_t> from(kMapBytes, 1);
  std::vector<uint8_t> to(kMapBytes);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), kMapBytes);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(CopyOfOneMebibyte);

void MapAndUnmap(benchmark::State& state, bool wait) {
  std::string error;
  const auto gpu = peer::startHost(&error);
  if (gpu == nullptr) return state.SkipWithError(error.c_str());
  const Drawing drawing(gpu.get(), kWindow);
  const Functions f = Functions::ofDriver();
  GLuint buffer = 0;
  f.glGenBuffers(1, &buffer);
  f.glBindBuffer(GL_ARRAY_BUFFER, buffer);
  f.glBufferData(GL_ARRAY_BUFFER, kMapBytes, nullptr, GL_DYNAMIC_DRAW);
  float color[4];
  const auto mapAndUnmap = [&] {
    auto* const memory = static_cast<uint8_t*>(f.glMapBuffer(GL_ARRAY_BUFFER, GL_WRITE_ONLY));
    if (memory == nullptr) return state.SkipWithError("not mapped");
    memory[0] = 1;
    f.glUnmapBuffer(GL_ARRAY_BUFFER);
    if (wait) f.glGetFloatv(GL_CURRENT_COLOR, color);
  };
  for (int i = 0; i < 200; ++i) mapAndUnmap();  // the stream grows to what it may hold
  for (auto _ : state) mapAndUnmap();
}
BENCHMARK_CAPTURE(MapAndUnmap, guest_alone, false)->UseRealTime();
BENCHMARK_CAPTURE(MapAndUnmap, host_too, true)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  setenv("QV_HOST_BINARY", QV_HOST_PROGRAM, 0);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
