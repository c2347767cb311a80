// Adapters, devices, allocations and their memory, the Escape, submissions and redirection surfaces.
#include <fcntl.h>
#include <unistd.h>

#include "tests/platform/simulated_test.h"
#include "wire/packets.h"

namespace qv::test {

class SurfacesTest : public DeviceTest {};

// A destroyed device takes its context and surfaces along, and nothing lives once the adapter is closed.
TEST_F(SurfacesTest, DestroyedDeviceTakesItsSurfacesAlong) {
  bringUp();
  EXPECT_NE(commands, nullptr);
  EXPECT_NE(allocations, nullptr);
  EXPECT_NE(patches, nullptr);
  sim::LiveCounts live = sim::liveCounts();
  EXPECT_EQ(live.adapters + live.devices + live.contexts, 3u) << sim::describe(live);
  Surface surface;
  EXPECT_EQ(create(4, 4, &surface), 0);
  D3DKMT_DESTROYDEVICE destroyDevice{device};
  EXPECT_EQ(D3DKMTDestroyDevice(&destroyDevice), 0);
  EXPECT_EQ(link.closed, std::vector<uint32_t>{surface.allocation});
  EXPECT_NE(D3DKMTDestroyDevice(&destroyDevice), 0);
  D3DKMT_CLOSEADAPTER close{adapter};
  EXPECT_EQ(D3DKMTCloseAdapter(&close), 0);
  EXPECT_NE(D3DKMTCloseAdapter(&close), 0);
  EXPECT_EQ(sim::liveCounts(), sim::LiveCounts{});
}

// A display name that does not exist opens no adapter.
TEST_F(SurfacesTest, UnknownDisplayNameHasNoAdapter) {
  D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME open{};
  std::memcpy(open.DeviceName, u"\\\\.\\DISPLAY7", 26);
  EXPECT_LT(D3DKMTOpenAdapterFromGdiDisplayName(&open), 0);
  EXPECT_EQ(open.hAdapter, 0u);
}

// A context with private data other than the driver's is refused.
TEST_F(SurfacesTest, ContextPrivateDataIsChecked) {
  bringUp();
  uint64_t wrong[3] = {1, 0, 0};
  D3DKMT_CREATECONTEXT request{};
  request.hDevice = device;
  request.pPrivateDriverData = wrong;
  request.PrivateDriverDataSize = 24;
  EXPECT_LT(D3DKMTCreateContext(&request), 0);
}

// The memory is a sealed memfd of exactly the stated size, zero at first, and the GPU learns of it.
TEST_F(SurfacesTest, AllocationIsASealedMemfd) {
  bringUp();
  Surface surface;
  ASSERT_EQ(create(17, 3, &surface), 0);
  ASSERT_EQ(link.opened.size(), 1u);
  sim::GpuAllocation known = link.opened[0];
  EXPECT_EQ(known.handle, surface.allocation);
  EXPECT_EQ(known.width, 17u);
  EXPECT_EQ(known.height, 3u);
  EXPECT_EQ(known.pitch, 128u);
  EXPECT_EQ(known.size, 384u);
  EXPECT_EQ(lseek(known.fd, 0, SEEK_END), 384);
  EXPECT_NE(fcntl(known.fd, F_GET_SEALS) & F_SEAL_SHRINK, 0);
  EXPECT_NE(ftruncate(known.fd, 1), 0);
  EXPECT_EQ(known.memory[383], 0);
  known.memory[5] = 9;
  sim::GpuAllocation found;
  ASSERT_TRUE(sim::findSurface(surface.allocation, &found));
  EXPECT_EQ(found.memory[5], 9);
  EXPECT_EQ(destroy(surface), 0);
  EXPECT_EQ(link.closed, std::vector<uint32_t>{surface.allocation});
  EXPECT_EQ(sink.forgotten, std::vector<uint32_t>{surface.allocation});
  EXPECT_EQ(fcntl(known.fd, F_GETFD), -1);
  EXPECT_LT(destroy(surface), 0);
  EXPECT_FALSE(sim::findSurface(surface.allocation, &found));
}

// Every field of the private data that contradicts another, or the adapter, is refused.
TEST_F(SurfacesTest, PrivateDataIsChecked) {
  bringUp();
  const uint32_t descriptor[27] = {7, 3, 0, 0, 1, 0, 0, 0, 0, 33025};
  const uint32_t data[6] = {16, 2, 1, 64, 128, 0};
  Surface surface;
  ASSERT_EQ(createRaw(descriptor, data, 0, &surface), 0);
  auto refused = [&](int descriptorWord, int dataWord, uint32_t value) {
    uint32_t badDescriptor[27], badData[6];
    std::memcpy(badDescriptor, descriptor, sizeof descriptor);
    std::memcpy(badData, data, sizeof data);
    (descriptorWord >= 0 ? badDescriptor[descriptorWord] : badData[dataWord]) = value;
    Surface unused;
    return createRaw(badDescriptor, badData, 0, &unused) < 0;
  };
  EXPECT_TRUE(refused(0, -1, 8));    // format
  EXPECT_TRUE(refused(1, -1, 4));    // pool
  EXPECT_TRUE(refused(6, -1, 1));    // source
  EXPECT_TRUE(refused(9, -1, 257));  // primary bit
  EXPECT_TRUE(refused(-1, 0, 0));    // width
  EXPECT_TRUE(refused(-1, 0, 17));   // width beyond the pitch
  EXPECT_TRUE(refused(-1, 1, 3));    // height
  EXPECT_TRUE(refused(-1, 3, 65));   // pitch
  EXPECT_TRUE(refused(-1, 4, 127));  // size
  EXPECT_TRUE(refused(-1, 0, 0x80000000u));
  EXPECT_EQ(sim::liveCounts().resources, 1u);
  sim::setAdapterCaps(1u << 28);
  EXPECT_LT(create(4, 4, &surface, 0, 3), 0);
  EXPECT_EQ(create(4, 4, &surface, 0, 4), 0);
}

// A surface that the GPU refuses is not made, and the GPU hears no more of it.
TEST_F(SurfacesTest, GpuMayRefuseAnAllocation) {
  bringUp();
  link.accepts = false;
  Surface surface;
  EXPECT_LT(create(4, 4, &surface), 0);
  EXPECT_EQ(sim::liveCounts().resources, 0u);
  EXPECT_TRUE(link.closed.empty());
}

// Packets reach the link unchanged from the sender's memory; without a link, or from a dead device, they do not.
TEST_F(SurfacesTest, EscapeReachesTheLinkUnchanged) {
  bringUp();
  VersionQueryPacket packet;
  D3DKMT_ESCAPE escape{};
  escape.hAdapter = adapter;
  escape.hDevice = device;
  escape.pPrivateDriverData = &packet;
  escape.PrivateDriverDataSize = 32;
  EXPECT_EQ(D3DKMTEscape(&escape), 0);
  ASSERT_EQ(link.packets.size(), 1u);
  EXPECT_EQ(std::memcmp(link.packets[0].data(), &packet, 32), 0);
  link.result = -5;
  EXPECT_EQ(D3DKMTEscape(&escape), -5);
  escape.Type = 1;
  EXPECT_LT(D3DKMTEscape(&escape), 0);
  escape.Type = 0;
  escape.PrivateDriverDataSize = 23;
  EXPECT_LT(D3DKMTEscape(&escape), 0);
  escape.PrivateDriverDataSize = 32;
  escape.hDevice = adapter;
  EXPECT_LT(D3DKMTEscape(&escape), 0);
  escape.hDevice = device;
  sim::setGpuLink(nullptr);
  EXPECT_LT(D3DKMTEscape(&escape), 0);
  EXPECT_EQ(packet.header.status, -1);
  EXPECT_EQ(link.packets.size(), 2u);
}

// A frame's flush waits for the readers of its back buffer first; a plain flush does not.
TEST_F(SurfacesTest, FlushWaitsForReaders) {
  bringUp();
  FlushPacket packet;
  packet.backBuffer = 0x1234;
  D3DKMT_ESCAPE escape{};
  escape.hAdapter = adapter;
  escape.hDevice = device;
  escape.pPrivateDriverData = &packet;
  escape.PrivateDriverDataSize = 136;
  EXPECT_EQ(D3DKMTEscape(&escape), 0);
  EXPECT_EQ(link.order, std::vector<std::string>{"escape"});
  packet.presentMode = 1029;
  EXPECT_EQ(D3DKMTEscape(&escape), 0);
  EXPECT_EQ(link.order, (std::vector<std::string>{"escape", "finishReads", "escape"}));
  EXPECT_EQ(sink.finished, std::vector<uint32_t>{0x1234});
}

// Buffers change with each render, whatever becomes of it.
TEST_F(SurfacesTest, BuffersAreReplacedAfterEachRender) {
  bringUp();
  Surface surface;
  create(4, 4, &surface);
  uint32_t* before = commands;
  commands[0] = 65640;
  allocations[0] = {0, 0};
  allocations[1] = {surface.allocation, 0};
  patches[0] = {1, 23, surface.allocation, 0, 0, 0};
  EXPECT_EQ(render(4, 2, 1), 0);
  EXPECT_NE(commands, before);
  EXPECT_NE(commands[0], 65640u);
  EXPECT_TRUE(sim::complaints().empty());
  commands[0] = 1;
  allocations[0] = {0, 0};
  before = commands;
  EXPECT_LT(render(4, 1, 0), 0);
  EXPECT_NE(commands, before);
  EXPECT_EQ(sim::complaints().size(), 1u);
  sim::failCall("D3DKMTRender", 1, -7);
  EXPECT_EQ(render(4, 1, 0), -7);
  EXPECT_NE(commands, nullptr);
}

// A copy moves exactly its rectangle, clipped to both surfaces.
TEST_F(SurfacesTest, CopyMovesItsRectangle) {
  bringUp();
  Surface from, to;
  create(20, 20, &from);
  create(30, 30, &to);
  auto source = reinterpret_cast<uint32_t*>(link.opened[0].memory);
  auto destination = reinterpret_cast<uint32_t*>(link.opened[1].memory);
  uint32_t sourceStride = link.opened[0].pitch / 4, destinationStride = link.opened[1].pitch / 4;
  for (uint32_t y = 0; y < 20; ++y) {
    for (uint32_t x = 0; x < 20; ++x) {
      source[y * sourceStride + x] = y * 100 + x + 1;
    }
  }
  writeCopy(from.allocation, {1, 2, 6, 5}, to.allocation, {10, 20, 15, 23});
  writeCopyLists(from.allocation, to.allocation);
  ASSERT_EQ(render(60, 3, 4), 0);
  for (uint32_t y = 0; y < 30; ++y) {
    for (uint32_t x = 0; x < 30; ++x) {
      bool inside = x >= 10 && x < 15 && y >= 20 && y < 23;
      EXPECT_EQ(destination[y * destinationStride + x], inside ? (y - 18) * 100 + (x - 9) + 1 : 0) << x << "," << y;
    }
  }
  // Partly outside both: the overlap alone is copied, and nothing is written beyond.
  writeCopy(from.allocation, {-2, -2, 100, 100}, to.allocation, {15, 15, 117, 117});
  writeCopyLists(from.allocation, to.allocation);
  ASSERT_EQ(render(60, 3, 4), 0);
  EXPECT_EQ(destination[17 * destinationStride + 17], 1u);
  EXPECT_EQ(destination[29 * destinationStride + 29], 1213u);
  EXPECT_EQ(destination[16 * destinationStride + 16], 0u);
  // Senseless rectangles copy nothing.
  for (RECT bad : {RECT{5, 5, 5, 9}, RECT{9, 9, 3, 3}, RECT{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX},
                   RECT{INT32_MAX, 0, INT32_MIN, 5}, RECT{500, 500, 510, 510}}) {
    writeCopy(from.allocation, bad, to.allocation, {0, 0, 4, 4});
    writeCopyLists(from.allocation, to.allocation);
    EXPECT_EQ(render(60, 3, 4), 0);
  }
  EXPECT_TRUE(sim::complaints().empty());
}

// Lists that contradict the command, commands that name no surface, or none at all: refused, with a complaint each.
TEST_F(SurfacesTest, SubmissionsAreChecked) {
  bringUp();
  Surface from, to;
  create(8, 8, &from);
  create(8, 8, &to);
  size_t expected = 0;
  auto refused = [&](auto spoil, uint32_t bytes = 60, uint32_t entries = 3, uint32_t rows = 4) {
    writeCopy(from.allocation, {0, 0, 4, 4}, to.allocation, {0, 0, 4, 4});
    writeCopyLists(from.allocation, to.allocation);
    spoil();
    EXPECT_LT(render(bytes, entries, rows), 0);
    EXPECT_EQ(sim::complaints().size(), ++expected);
  };
  refused([&] { allocations[0].hAllocation = from.allocation; });
  refused([&] { patches[1].AllocationIndex = 3; });
  refused([&] { patches[0].DriverId = 5; });
  refused([&] { patches[3].PatchOffset = 64; });
  refused([&] { commands[7] = from.allocation; });
  refused([&] { commands[14] = 0; });
  refused([&] { patches[1].Slot = 18; });
  refused([] {}, 56);
  refused([] {}, 58);
  refused([] {}, 8192);
  refused([] {}, 60, 17);
  refused([&] { allocations[1].hAllocation = patches[0].DriverId = commands[1] = 0x4BADu; });
}

// The log keeps words, lists, patches, flags and token of a submission.
TEST_F(SurfacesTest, SubmissionsAreLogged) {
  bringUp();
  Surface surface;
  create(4, 4, &surface);
  sim::setSubmissionLog(true);
  commands[0] = 65640;
  allocations[0] = {0, 0};
  allocations[1] = {surface.allocation, 0};
  patches[0] = {1, 23, surface.allocation, 0, 0, 0};
  render(4, 2, 1, 16, 77);
  ASSERT_EQ(sim::submissions().size(), 1u);
  sim::Submission logged = sim::submissions()[0];
  EXPECT_EQ(logged.words, std::vector<uint32_t>{65640});
  ASSERT_EQ(logged.allocations.size(), 2u);
  EXPECT_EQ(logged.allocations[1].hAllocation, surface.allocation);
  ASSERT_EQ(logged.patches.size(), 1u);
  EXPECT_EQ(logged.patches[0].Slot, 23u);
  EXPECT_EQ(logged.flags, 16u);
  EXPECT_EQ(logged.token, 77u);
}

class CompositionTest : public DeviceTest {
 protected:
  // Opens the window's redirection surface; 0 on failure.
  Surface open(uint32_t share, uint32_t runtimeBytes = 0) {
    D3DKMT_QUERYRESOURCEINFO query{};
    query.hDevice = device;
    query.hGlobalShare = share;
    if (D3DKMTQueryResourceInfo(&query) < 0) {
      return {};
    }
    EXPECT_EQ(query.PrivateRuntimeDataSize, runtimeBytes);
    EXPECT_EQ(query.TotalPrivateDriverDataSize, 24u);
    EXPECT_EQ(query.ResourcePrivateDriverDataSize, 108u);
    EXPECT_EQ(query.NumAllocations, 1u);
    std::vector<uint8_t> runtime(runtimeBytes + 1), total(24), descriptor(108);
    D3DDDI_OPENALLOCATIONINFO info{};
    D3DKMT_OPENRESOURCE request{};
    request.hDevice = device;
    request.hGlobalShare = share;
    request.NumAllocations = 1;
    request.pOpenAllocationInfo = &info;
    request.pPrivateRuntimeData = runtime.data();
    request.PrivateRuntimeDataSize = runtimeBytes;
    request.pResourcePrivateDriverData = descriptor.data();
    request.ResourcePrivateDriverDataSize = 108;
    request.pTotalPrivateDriverDataBuffer = total.data();
    request.TotalPrivateDriverDataBufferSize = 24;
    if (D3DKMTOpenResource(&request) < 0) {
      EXPECT_EQ(request.hResource, 0u);
      return {};
    }
    return {request.hResource, info.hAllocation};
  }
};

// The share handle is stable, changes with the window's size and on demand, and is 0 without composition.
TEST_F(CompositionTest, ShareHandleChangesWithTheSize) {
  bringUp();
  HWND window = sim::createWindow({.client = {0, 0, 40, 30}});
  EXPECT_EQ(sim::redirectionSurface(window), 0u);
  sim::setComposition(true);
  uint32_t first = sim::redirectionSurface(window);
  EXPECT_NE(first, 0u);
  EXPECT_EQ(sim::redirectionSurface(window), first);
  sim::moveWindow(window, 5, 5);
  EXPECT_EQ(sim::redirectionSurface(window), first);
  sim::replaceRedirectionSurface(window);
  uint32_t second = sim::redirectionSurface(window);
  EXPECT_NE(second, first);
  sim::resizeWindow(window, 41, 30);
  uint32_t third = sim::redirectionSurface(window);
  EXPECT_NE(third, second);
  Surface opened = open(third);
  EXPECT_NE(opened.allocation, 0u);
  EXPECT_EQ(open(second).allocation, 0u);
  sim::setComposition(false);
  EXPECT_EQ(sim::redirectionSurface(window), 0u);
  sim::GpuAllocation surface;
  EXPECT_TRUE(sim::findSurface(opened.allocation, &surface));  // what is open stays
  EXPECT_EQ(destroy(opened), 0);
  EXPECT_TRUE(link.opened.empty());  // the GPU is never asked to draw into them
}

// A redirection surface can be opened with room for its runtime data.
TEST_F(CompositionTest, RuntimeDataHasTheStatedSize) {
  bringUp();
  HWND window = sim::createWindow();
  sim::setComposition(true);
  sim::setSharedRuntimeDataSize(16);
  EXPECT_NE(open(sim::redirectionSurface(window), 16).allocation, 0u);
}

// A redirected copy shows the window's client area; earlier readers of the surface are waited for.
TEST_F(CompositionTest, RedirectedPresentReachesTheSink) {
  bringUp();
  HWND window = sim::createWindow({.client = {0, 0, 16, 16}});
  sim::setComposition(true);
  uint32_t share = sim::redirectionSurface(window);
  Surface target = open(share), back;
  create(16, 16, &back);
  link.opened[0].memory[0] = 200;
  uint64_t token = sim::presentToken(window);
  writeCopy(back.allocation, {0, 0, 16, 16}, target.allocation, {0, 0, 16, 16});
  writeCopyLists(back.allocation, target.allocation);
  ASSERT_EQ(render(60, 3, 4, D3DKMT_RENDER_PRESENTREDIRECTED, token), 0);
  EXPECT_EQ(link.order, (std::vector<std::string>{"finishReads", "present"}));
  ASSERT_EQ(sink.shown.size(), 1u);
  EXPECT_EQ(sink.shown[0].window, window);
  EXPECT_EQ(sink.shown[0].surface.handle, share);
  EXPECT_EQ(sink.shown[0].firstByte, 200);
  EXPECT_RECT(sink.shown[0].rect, 0, 0, 16, 16);
  ASSERT_EQ(sim::presents().size(), 1u);
  EXPECT_EQ(sim::presents()[0].route, sim::PresentRecord::Route::Redirected);
  EXPECT_EQ(sim::presents()[0].token, token);
  // Without the flag it is a mere copy.
  writeCopy(back.allocation, {0, 0, 16, 16}, target.allocation, {0, 0, 16, 16});
  writeCopyLists(back.allocation, target.allocation);
  ASSERT_EQ(render(60, 3, 4), 0);
  EXPECT_EQ(sink.shown.size(), 1u);
}

// With borders the sink still gets client coordinates: the picture is the client area alone.
TEST_F(CompositionTest, BordersAreCutOff) {
  bringUp();
  HWND window = sim::createWindow({.client = {108, 131, 124, 147}, .frame = {8, 31, 8, 8}});
  sim::setComposition(true);
  Surface target = open(sim::redirectionSurface(window)), back;
  create(16, 16, &back);
  link.opened[0].memory[0] = 77;
  writeCopy(back.allocation, {0, 0, 16, 16}, target.allocation, {8, 31, 24, 47});
  writeCopyLists(back.allocation, target.allocation);
  ASSERT_EQ(render(60, 3, 4, D3DKMT_RENDER_PRESENTREDIRECTED, 1), 0);
  ASSERT_EQ(sink.shown.size(), 1u);
  EXPECT_EQ(sink.shown[0].surface.width, 16u);
  EXPECT_EQ(sink.shown[0].surface.height, 16u);
  EXPECT_EQ(sink.shown[0].firstByte, 77);
  EXPECT_RECT(sink.shown[0].rect, 0, 0, 16, 16);
}

// The redirection surface goes with its window: the sink forgets it, and it cannot be opened any more.
TEST_F(CompositionTest, SurfacesGoWithTheirWindow) {
  bringUp();
  HWND window = sim::createWindow();
  sim::setComposition(true);
  uint32_t share = sim::redirectionSurface(window);
  sim::destroyWindow(window);
  EXPECT_EQ(sink.forgotten, std::vector<uint32_t>{share});
  EXPECT_EQ(open(share).allocation, 0u);
}

}  // namespace qv::test
