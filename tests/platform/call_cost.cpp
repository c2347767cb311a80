// Prints the cost of the platform calls of a steady frame, in nanoseconds per call, best of five rounds.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "platform/d3dkmt.h"
#include "platform/simulated/control.h"
#include "wire/packets.h"

namespace {

class NullLink : public qv::sim::GpuLink {
 public:
  NTSTATUS escape(void*, uint32_t) override { return 0; }
  bool openAllocation(const qv::sim::GpuAllocation&) override { return true; }
  void closeAllocation(uint32_t) override {}
};

template <class Body>
void measure(const char* name, Body body) {
  constexpr int kCalls = 500'000;
  double best = 1e9;
  for (int round = 0; round < 5; ++round) {
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kCalls; ++i) {
      body();
    }
    std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - start;
    best = std::min(best, spent.count() / kCalls);
  }
  printf("%-28s %7.1f ns\n", name, best);
}

}  // namespace

int main() {
  NullLink link;
  qv::sim::setGpuLink(&link);
  D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME open{};
  std::memcpy(open.DeviceName, u"\\\\.\\DISPLAY1", 26);
  D3DKMTOpenAdapterFromGdiDisplayName(&open);
  D3DKMT_CREATEDEVICE device{};
  device.hAdapter = open.hAdapter;
  D3DKMTCreateDevice(&device);
  qv::FlushPacket packet;
  D3DKMT_ESCAPE escape{};
  escape.hAdapter = open.hAdapter;
  escape.hDevice = device.hDevice;
  escape.pPrivateDriverData = &packet;
  escape.PrivateDriverDataSize = sizeof packet;
  HWND window = qv::sim::createWindow();
  HDC dc = GetDC(window);
  CRITICAL_SECTION section{};
  InitializeCriticalSection(&section);
  DWORD slot = TlsAlloc();
  TlsSetValue(slot, &packet);
  WINDOWINFO info{};
  info.cbSize = sizeof info;

  void* volatile taken = nullptr;
  measure("TlsGetValue", [&] { taken = TlsGetValue(slot); });
  measure("GetCurrentThreadId", [] { GetCurrentThreadId(); });
  measure("GetCurrentProcessId", [] { GetCurrentProcessId(); });
  measure("SetLastError", [] { SetLastError(0); });
  measure("Enter and LeaveCriticalSection", [&] {
    EnterCriticalSection(&section);
    LeaveCriticalSection(&section);
  });
  measure("GetWindowInfo", [&] { GetWindowInfo(window, &info); });
  measure("IsWindowVisible", [&] { IsWindowVisible(window); });
  measure("WindowFromDC", [&] { WindowFromDC(dc); });
  measure("GetPixelFormat", [&] { GetPixelFormat(dc); });
  measure("GetDC and ReleaseDC", [&] { ReleaseDC(window, GetDC(window)); });
  measure("D3DKMTEscape", [&] { D3DKMTEscape(&escape); });
  qv::sim::reset();
  return 0;
}
