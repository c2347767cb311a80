// The cost of a frame and of a question to the host, as ratios to one getpid system call measured between them.
//
// EmptySwap: a swap with nothing drawn, host and screen left out, so that the driver's own share remains. ForwardedQuery: a
// glGetFloatv that only the host can answer, there and back to a qv-host process, after a few commands of drawing. IdleHost: the
// processor time that this qv-host takes in a second in which nothing is asked.
#include <benchmark/benchmark.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "bench/drawing.h"
#include "loader/opengl32/opengl32.h"
#include "peer/link/host_client.h"
#include "peer/link/null_gpu.h"
#include "platform/simulated/control.h"
#include "wire/gl_api.h"

namespace {

using namespace qv;
using bench::Drawing;

template <typename Function>
Function procedure(const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(loader::driverProcAddress(name)));
}
#define QV_PROC(name) procedure<decltype(&::name)>(#name)

double nanosecondsOfGetpid() {
  constexpr int kCalls = 20000;
  const auto from = std::chrono::steady_clock::now();
  for (int i = 0; i < kCalls; ++i) syscall(SYS_getpid);
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - from).count() / kCalls;
}

// Times `body` and gives its ratio to getpid, which is measured before and behind it.
template <typename Body>
void measure(benchmark::State& state, Body&& body) {
  for (int i = 0; i < 2000; ++i) body();
  const double before = nanosecondsOfGetpid();
  const auto from = std::chrono::steady_clock::now();
  for (auto _ : state) body();
  const double each = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - from).count() /
                      static_cast<double>(state.iterations());
  const double getpid = (before + nanosecondsOfGetpid()) / 2;
  state.counters["getpid_ns"] = getpid;
  state.counters["per_getpid"] = each / getpid;
}

void EmptySwap(benchmark::State& state) {
  peer::NullGpu gpu;
  Drawing drawing(&gpu);
  measure(state, [&] { loader::wglSwapBuffers(drawing.hdc); });
  state.counters["packets_per_swap"] = static_cast<double>(gpu.packets.load()) / static_cast<double>(state.iterations() + 2000);
}
BENCHMARK(EmptySwap);

void ForwardedQuery(benchmark::State& state) {
  std::string error;
  const auto gpu = peer::startHost(&error);
  if (gpu == nullptr) return state.SkipWithError(error.c_str());
  Drawing drawing(gpu.get());
  const auto getFloats = QV_PROC(glGetFloatv);
  const auto color = QV_PROC(glColor3f);
  float values[4] = {};
  measure(state, [&] {
    for (int i = 0; i < 10; ++i) color(0.25f, 0.5f, 0.75f);
    getFloats(GL_CURRENT_COLOR, values);
  });
  if (values[2] != 0.75f) state.SkipWithError("the host answered something else");
  state.counters["round_trips"] = static_cast<double>(gpu->statistics().roundTrips);
}
BENCHMARK(ForwardedQuery);

// Of this process's children, all threads together, so far.
double nanosecondsOfChildren() {
  double total = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream children(task.path() / "children");
    for (int child = 0; children >> child;) {
      std::error_code gone;
      for (const auto& thread : std::filesystem::directory_iterator("/proc/" + std::to_string(child) + "/task", gone)) {
        double ran = 0;
        std::ifstream(thread.path() / "schedstat") >> ran;
        total += ran;
      }
    }
  }
  return total;
}

void IdleHost(benchmark::State& state) {
  std::string error;
  const auto gpu = peer::startHost(&error);
  if (gpu == nullptr) return state.SkipWithError(error.c_str());
  Drawing drawing(gpu.get());
  float values[4];
  QV_PROC(glGetFloatv)(GL_CURRENT_COLOR, values);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  double used = 0;
  for (auto _ : state) {
    const double before = nanosecondsOfChildren();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    used += nanosecondsOfChildren() - before;
  }
  state.counters["host_cpu_ns_per_idle_second"] = used / static_cast<double>(state.iterations());
}
BENCHMARK(IdleHost)->Iterations(2)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  setenv("QV_HOST_BINARY", QV_HOST_PROGRAM, 0);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
