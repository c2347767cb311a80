// What the tests of the simulated Windows share: a clean machine per test, a recording GPU and sink, and a brought-up device.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <vector>

#include "platform/d3dkmt.h"
#include "platform/simulated/control.h"
#include "platform/simulated/gpu_link.h"

namespace qv::test {

class RecordingLink : public sim::GpuLink {
 public:
  NTSTATUS escape(void* packet, uint32_t size) override {
    std::lock_guard guard(lock);
    auto bytes = static_cast<const uint8_t*>(packet);
    packets.emplace_back(bytes, bytes + size);
    order.push_back("escape");
    return result;
  }
  bool openAllocation(const sim::GpuAllocation& allocation) override {
    std::lock_guard guard(lock);
    opened.push_back(allocation);
    return accepts;
  }
  void closeAllocation(uint32_t handle) override {
    std::lock_guard guard(lock);
    closed.push_back(handle);
  }

  std::mutex lock;
  std::vector<std::vector<uint8_t>> packets;
  std::vector<sim::GpuAllocation> opened;
  std::vector<uint32_t> closed;
  std::vector<std::string> order;  // shared with the sink below
  NTSTATUS result = 0;
  bool accepts = true;
};

class RecordingSink : public sim::PresentSink {
 public:
  explicit RecordingSink(RecordingLink* sharedOrder) : link(sharedOrder) {}
  void present(HWND window, const sim::GpuAllocation& source, const RECT& rect) override {
    std::lock_guard guard(link->lock);
    shown.push_back({window, source, rect, source.memory[0]});
    link->order.push_back("present");
  }
  void finishReads(uint32_t allocation) override {
    std::lock_guard guard(link->lock);
    finished.push_back(allocation);
    link->order.push_back("finishReads");
  }
  void forget(uint32_t allocation) override {
    std::lock_guard guard(link->lock);
    forgotten.push_back(allocation);
  }

  struct Shown {
    HWND window;
    sim::GpuAllocation surface;
    RECT rect;
    uint8_t firstByte;
  };
  RecordingLink* link;
  std::vector<Shown> shown;
  std::vector<uint32_t> finished;
  std::vector<uint32_t> forgotten;
};

inline bool operator==(const RECT& a, const RECT& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}
inline std::string text(const RECT& r) {
  std::string result;
  for (LONG side : {r.left, r.top, r.right, r.bottom}) {
    result.append(std::to_string(side)).append(" ");
  }
  return result;
}
#define EXPECT_RECT(rect, ...) EXPECT_EQ(qv::test::text(rect), qv::test::text(RECT{__VA_ARGS__}))

class SimulatedTest : public testing::Test {
 protected:
  void SetUp() override { sim::reset(); }
  void TearDown() override { sim::reset(); }
};

struct Surface {
  D3DKMT_HANDLE resource = 0;
  D3DKMT_HANDLE allocation = 0;
};

// An adapter, a device and a submission context, in the order and with the values that a driver uses.
class DeviceTest : public SimulatedTest {
 protected:
  void SetUp() override {
    SimulatedTest::SetUp();
    sim::setGpuLink(&link);
    sim::setPresentSink(&sink);
  }

  void bringUp() {
    D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME open{};
    std::memcpy(open.DeviceName, u"\\\\.\\DISPLAY1", 26);
    ASSERT_EQ(D3DKMTOpenAdapterFromGdiDisplayName(&open), 0);
    adapter = open.hAdapter;
    D3DKMT_CREATEDEVICE createDevice{};
    createDevice.hAdapter = adapter;
    ASSERT_EQ(D3DKMTCreateDevice(&createDevice), 0);
    device = createDevice.hDevice;
    uint64_t privateData[3] = {65536, 0, 0};
    D3DKMT_CREATECONTEXT createContext{};
    createContext.hDevice = device;
    createContext.pPrivateDriverData = privateData;
    createContext.PrivateDriverDataSize = 24;
    createContext.ClientHint = D3DKMT_CLIENTHINT_OPENGL;
    ASSERT_EQ(D3DKMTCreateContext(&createContext), 0);
    context = createContext.hContext;
    commands = static_cast<uint32_t*>(createContext.pCommandBuffer);
    allocations = createContext.pAllocationList;
    patches = createContext.pPatchLocationList;
  }

  // Result of the create call; `surface` is untouched when it is negative.
  NTSTATUS create(uint32_t width, uint32_t height, Surface* surface, uint32_t source = 0, uint32_t pool = 3) {
    uint32_t descriptor[27] = {7, pool, 0, 0, 1, 0, source, 0, 0, 33025};
    uint32_t pitch = (width * 4 + 63) / 64 * 64;
    uint32_t data[6] = {width, height, 1, pitch, pitch * height, 0};
    return createRaw(descriptor, data, source, surface);
  }
  NTSTATUS createRaw(const uint32_t (&descriptor)[27], const uint32_t (&data)[6], uint32_t source, Surface* surface) {
    D3DDDI_ALLOCATIONINFO info{};
    info.pPrivateDriverData = const_cast<uint32_t*>(data);
    info.PrivateDriverDataSize = 24;
    info.VidPnSourceId = source;
    info.Flags = D3DDDI_ALLOCATIONINFO_PRIMARY;
    D3DKMT_CREATEALLOCATION request{};
    request.hDevice = device;
    request.pPrivateDriverData = descriptor;
    request.PrivateDriverDataSize = 108;
    request.NumAllocations = 1;
    request.pAllocationInfo = &info;
    request.Flags = D3DKMT_CREATEALLOCATION_CREATERESOURCE;
    NTSTATUS status = D3DKMTCreateAllocation(&request);
    if (status >= 0) {
      *surface = {request.hResource, info.hAllocation};
    }
    return status;
  }
  NTSTATUS destroy(const Surface& surface) {
    D3DKMT_DESTROYALLOCATION request{};
    request.hDevice = device;
    request.hResource = surface.resource;
    return D3DKMTDestroyAllocation(&request);
  }

  NTSTATUS render(uint32_t bytes, uint32_t allocationCount, uint32_t patchCount, uint32_t flags = 0, uint64_t token = 0) {
    D3DKMT_RENDER request{};
    request.hContext = context;
    request.CommandLength = bytes;
    request.AllocationCount = allocationCount;
    request.PatchLocationCount = patchCount;
    request.Flags = flags;
    request.PresentHistoryToken = token;
    NTSTATUS status = D3DKMTRender(&request);
    commands = static_cast<uint32_t*>(request.pNewCommandBuffer);
    allocations = request.pNewAllocationList;
    patches = request.pNewPatchLocationList;
    return status;
  }
  void writeCopy(D3DKMT_HANDLE source, const RECT& from, D3DKMT_HANDLE destination, const RECT& to) {
    const uint32_t words[15] = {65617, source, 0, 0, 0, 0, 0, destination, 0, 0, 0, 0, 0, 0, 65640};
    std::memcpy(commands, words, sizeof words);
    std::memcpy(commands + 2, &from, sizeof from);
    std::memcpy(commands + 8, &to, sizeof to);
  }
  void writeCopyLists(D3DKMT_HANDLE source, D3DKMT_HANDLE destination) {
    allocations[0] = {0, 0};
    allocations[1] = {source, 0};
    allocations[2] = {destination, 1};
    patches[0] = {1, 23, source, 0, 0, 0};
    patches[1] = {2, 17, destination, 0, 0, 0};
    patches[2] = {0, 23, 0, 0, 56, 0};
    patches[3] = {0, 17, 0, 0, 56, 0};
  }

  RecordingLink link;
  RecordingSink sink{&link};
  D3DKMT_HANDLE adapter = 0, device = 0, context = 0;
  uint32_t* commands = nullptr;
  D3DDDI_ALLOCATIONLIST* allocations = nullptr;
  D3DDDI_PATCHLOCATIONLIST* patches = nullptr;
};

}  // namespace qv::test
