// The records handed to the kernel thunks, field by field. The linker puts the functions below in front of the simulated thunks.
#include <atomic>

#include "driver/base/current_context.h"
#include "driver/host/flush_packet.h"
#include "tests/frame/frame_test.h"

namespace {

// Copies of the last records, with what their pointers named.
struct LastRecords {
  D3DKMT_CREATECONTEXT createContext;
  std::vector<uint8_t> contextData;
  struct Allocation {
    D3DKMT_CREATEALLOCATION create;
    D3DDDI_ALLOCATIONINFO info;
    std::vector<uint8_t> resourceData, allocationData;
  };
  std::vector<Allocation> allocations;
  D3DKMT_ESCAPE escape;
  D3DKMT_PRESENT present;
  std::vector<RECT> subRects;
  D3DKMT_SETDISPLAYMODE setDisplayMode;
  D3DKMT_OPENRESOURCE openResource;
  D3DKMT_DESTROYALLOCATION destroyAllocation;
};
LastRecords last;

std::vector<uint8_t> bytesAt(const void* memory, size_t size) {
  const uint8_t* const bytes = static_cast<const uint8_t*>(memory);
  return {bytes, bytes + size};
}

}  // namespace

// NOLINTBEGIN: names that the linker gives to the two sides of a wrapped function.
#define QV_WRAPPED(function, mangled, record)             \
  NTSTATUS real##function(record) asm("__real_" mangled); \
  NTSTATUS wrap##function(record) asm("__wrap_" mangled);
QV_WRAPPED(CreateContext, "_Z19D3DKMTCreateContextP20D3DKMT_CREATECONTEXT", D3DKMT_CREATECONTEXT*)
QV_WRAPPED(CreateAllocation, "_Z22D3DKMTCreateAllocationP23D3DKMT_CREATEALLOCATION", D3DKMT_CREATEALLOCATION*)
QV_WRAPPED(DestroyAllocation, "_Z23D3DKMTDestroyAllocationPK24D3DKMT_DESTROYALLOCATION", const D3DKMT_DESTROYALLOCATION*)
QV_WRAPPED(Escape, "_Z12D3DKMTEscapePK13D3DKMT_ESCAPE", const D3DKMT_ESCAPE*)
QV_WRAPPED(Present, "_Z13D3DKMTPresentP14D3DKMT_PRESENT", D3DKMT_PRESENT*)
QV_WRAPPED(SetDisplayMode, "_Z20D3DKMTSetDisplayModeP21D3DKMT_SETDISPLAYMODE", D3DKMT_SETDISPLAYMODE*)
QV_WRAPPED(OpenResource, "_Z18D3DKMTOpenResourceP19D3DKMT_OPENRESOURCE", D3DKMT_OPENRESOURCE*)
// NOLINTEND

namespace {
// Other tests run many threads through these functions; only one test at a time keeps records.
std::atomic<bool> keeping{false};
}  // namespace

NTSTATUS wrapCreateContext(D3DKMT_CREATECONTEXT* create) {
  if (keeping) {
    last.createContext = *create;
    last.contextData = bytesAt(create->pPrivateDriverData, create->PrivateDriverDataSize);
  }
  return realCreateContext(create);
}

NTSTATUS wrapCreateAllocation(D3DKMT_CREATEALLOCATION* create) {
  if (keeping) {
    const D3DDDI_ALLOCATIONINFO& info = *create->pAllocationInfo;
    last.allocations.push_back({*create, info, bytesAt(create->pPrivateDriverData, create->PrivateDriverDataSize),
                                bytesAt(info.pPrivateDriverData, info.PrivateDriverDataSize)});
  }
  return realCreateAllocation(create);
}

NTSTATUS wrapDestroyAllocation(const D3DKMT_DESTROYALLOCATION* destroy) {
  if (keeping) last.destroyAllocation = *destroy;
  return realDestroyAllocation(destroy);
}

NTSTATUS wrapEscape(const D3DKMT_ESCAPE* escape) {
  if (keeping) last.escape = *escape;
  return realEscape(escape);
}

NTSTATUS wrapPresent(D3DKMT_PRESENT* present) {
  if (keeping) {
    last.present = *present;
    last.subRects.assign(present->pSrcSubRects, present->pSrcSubRects + present->SubRectCnt);
  }
  return realPresent(present);
}

NTSTATUS wrapSetDisplayMode(D3DKMT_SETDISPLAYMODE* set) {
  if (keeping) last.setDisplayMode = *set;
  return realSetDisplayMode(set);
}

NTSTATUS wrapOpenResource(D3DKMT_OPENRESOURCE* open) {
  if (keeping) last.openResource = *open;
  return realOpenResource(open);
}

namespace qv::test {
namespace {

class ThunkRecordsTest : public FrameTest {
 protected:
  ThunkRecordsTest() {
    leave();
    detach();
    last = {};
    keeping = true;
  }
  ~ThunkRecordsTest() override { keeping = false; }
  void start(RECT client = {100, 50, 164, 98}) {
    ASSERT_EQ(attach(), 1);
    window = makeWindow(4, client);
    makeCurrent(window);
  }
  void present() { SubmitFlush(currentContext(), 1029, nullptr, 0, nullptr, 0, nullptr, 0); }
  HWND window = nullptr;
};

void expectRect(const RECT& rect, LONG left, LONG top, LONG right, LONG bottom) {
  EXPECT_EQ((std::vector<LONG>{rect.left, rect.top, rect.right, rect.bottom}), (std::vector<LONG>{left, top, right, bottom}));
}

// The record of the kernel context names the device, node 0 and six words of private data.
TEST_F(ThunkRecordsTest, CreateContextHasItsRecord) {
  ASSERT_EQ(attach(), 1);
  EXPECT_EQ(last.createContext.hDevice, Host.device);
  EXPECT_EQ(last.createContext.NodeOrdinal, 0u);
  EXPECT_EQ(last.createContext.EngineAffinity, 0u);
  EXPECT_EQ(last.createContext.Flags, 0u);
  EXPECT_EQ(last.createContext.ClientHint, 1u);
  EXPECT_EQ(last.contextData, bytesOfWords({65536, 0, 0, 0, 0, 0}));
}

// The record of an escape names adapter and device, type 0 and the size of the packet.
TEST_F(ThunkRecordsTest, EscapeHasItsRecord) {
  ASSERT_EQ(attach(), 1);
  EXPECT_EQ(last.escape.hAdapter, Host.adapter);
  EXPECT_EQ(last.escape.hDevice, Host.device);
  EXPECT_EQ(last.escape.Type, 0u);
  EXPECT_EQ(last.escape.Flags, 0u);
  EXPECT_EQ(last.escape.PrivateDriverDataSize, 32u);
  EXPECT_EQ(last.escape.hContext, 0u);
}

// A back buffer of 64 by 48 has this record, descriptor and private data.
TEST_F(ThunkRecordsTest, BackBufferHasItsRecord) {
  start();
  ASSERT_EQ(last.allocations.size(), 1u);
  const LastRecords::Allocation& made = last.allocations[0];
  EXPECT_EQ(made.create.hDevice, Host.device);
  EXPECT_EQ(made.create.hResource, 0u);
  EXPECT_EQ(made.create.hGlobalShare, 0u);
  EXPECT_EQ(made.create.pPrivateRuntimeData, nullptr);
  EXPECT_EQ(made.create.PrivateRuntimeDataSize, 0u);
  EXPECT_EQ(made.create.NumAllocations, 1u);
  EXPECT_EQ(made.create.Flags, 1u);
  EXPECT_EQ(made.info.pSystemMem, nullptr);
  EXPECT_EQ(made.info.VidPnSourceId, 0u);
  EXPECT_EQ(made.info.Flags, 1u);
  std::vector<uint8_t> descriptor = bytesOfWords({7, 3, 0, 0, 1, 0, 0, 0, 0, 33025});
  descriptor.resize(108);
  EXPECT_EQ(made.resourceData, descriptor);
  EXPECT_EQ(made.allocationData, bytesOfWords({64, 48, 1, 256, 12288, 0}));

  const D3DKMT_HANDLE resource = record(window)->backBuffer.resource;
  sim::minimiseWindow(window);
  present();
  EXPECT_EQ(last.destroyAllocation.hDevice, Host.device);
  EXPECT_EQ(last.destroyAllocation.hResource, resource);
  EXPECT_EQ(last.destroyAllocation.phAllocationList, nullptr);
  EXPECT_EQ(last.destroyAllocation.AllocationCount, 0u);
}

// The flip surface carries its source and the refresh rate; the mode is set as it was.
TEST_F(ThunkRecordsTest, FlipSurfaceHasItsRecord) {
  sim::setMonitors({{},
                    {.device = u"\\\\.\\DISPLAY2",
                     .rect = {1920, 0, 2720, 600},
                     .source = 3,
                     .refreshNumerator = 60000,
                     .refreshDenominator = 1001,
                     .scanLineOrdering = 2,
                     .orientation = 3}});
  ASSERT_EQ(attach(), 1);
  window = makeWindow(4, {1920, 0, 2720, 600});
  sim::setForeground(window);
  makeCurrent(window);
  ASSERT_EQ(last.allocations.size(), 2u);
  const LastRecords::Allocation& flip = last.allocations[0];
  std::vector<uint8_t> descriptor = bytesOfWords({7, 3, 0, 0, 1, 0, 3, 60000, 1001, 33025});
  descriptor.resize(108);
  EXPECT_EQ(flip.resourceData, descriptor);
  EXPECT_EQ(flip.allocationData, bytesOfWords({800, 600, 1, 3200, 1920000, 0}));
  EXPECT_EQ(flip.info.VidPnSourceId, 3u);
  EXPECT_EQ(flip.info.Flags, 1u);
  EXPECT_EQ(last.setDisplayMode.hDevice, Host.device);
  EXPECT_EQ(last.setDisplayMode.hPrimaryAllocation, record(window)->flip.allocation);
  EXPECT_EQ(last.setDisplayMode.ScanLineOrdering, 2u);
  EXPECT_EQ(last.setDisplayMode.DisplayOrientation, 3u);
  EXPECT_EQ(last.setDisplayMode.PrivateDriverFormatAttribute, 0u);

  const D3DKMT_HANDLE back = record(window)->backBuffer.allocation;
  present();
  EXPECT_EQ(last.present.hContext, Host.context);
  EXPECT_EQ(last.present.hWindow, window);
  EXPECT_EQ(last.present.VidPnSourceId, 3u);
  EXPECT_EQ(last.present.hSource, back);
  EXPECT_EQ(last.present.hDestination, 0u);
  EXPECT_EQ(last.present.Flags, 4u);
  EXPECT_EQ(last.present.FlipInterval, 1u);
  EXPECT_EQ(last.present.SubRectCnt, 0u);
}

// The record of a blit names context, window, source and back buffer, and the client area thrice.
TEST_F(ThunkRecordsTest, BlitHasItsRecord) {
  start();
  present();
  EXPECT_EQ(last.present.hContext, Host.context);
  EXPECT_EQ(last.present.hWindow, window);
  EXPECT_EQ(last.present.VidPnSourceId, 0u);
  EXPECT_EQ(last.present.hSource, record(window)->backBuffer.allocation);
  EXPECT_EQ(last.present.hDestination, 0u);
  EXPECT_EQ(last.present.Flags, 193u);
  EXPECT_EQ(last.present.FlipInterval, 0u);
  expectRect(last.present.SrcRect, 0, 0, 64, 48);
  expectRect(last.present.DstRect, 0, 0, 64, 48);
  ASSERT_EQ(last.subRects.size(), 1u);
  expectRect(last.subRects[0], 0, 0, 64, 48);
}

// A blit waits for the later of the fences of back buffer and flip surface.
TEST_F(ThunkRecordsTest, BlitWaitsForTheLaterFence) {
  sim::setResidency(true);
  start();
  present();
  EXPECT_EQ(Host.lastWaitedFence, 0u);
  sim::setPagingHeld(true);
  sim::resizeWindow(window, 80, 80);
  present();
  EXPECT_EQ(Host.lastWaitedFence, record(window)->backBuffer.fence);
  record(window)->flip.fence = record(window)->backBuffer.fence + 1;
  present();
  EXPECT_EQ(Host.lastWaitedFence, record(window)->backBuffer.fence + 1);
  sim::completePaging();
  sim::setPagingHeld(false);
}

// The record that opens the redirection surface names its share handle and gives room for all private data.
TEST_F(ThunkRecordsTest, OpenResourceHasItsRecord) {
  sim::setComposition(true);
  sim::setSharedRuntimeDataSize(20);
  start();
  present();
  EXPECT_EQ(last.openResource.hDevice, Host.device);
  EXPECT_EQ(last.openResource.hGlobalShare, sim::redirectionSurface(window));
  EXPECT_EQ(last.openResource.NumAllocations, 1u);
  EXPECT_EQ(last.openResource.PrivateRuntimeDataSize, 20u);
  EXPECT_NE(last.openResource.pPrivateRuntimeData, nullptr);
  EXPECT_EQ(last.openResource.ResourcePrivateDriverDataSize, 108u);
  EXPECT_EQ(last.openResource.TotalPrivateDriverDataBufferSize, 24u);
}

D3DDDI_MAKERESIDENT lastMakeResident;
D3DKMT_EVICT lastEvict;
D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU lastWait;
D3DKMT_HANDLE lastHandle, lastSyncObject;
UINT64 lastFence;
ResidencyThunks realThunks;

// The records of residency name one allocation each, no priorities and both flags, and one monitored fence.
TEST_F(ThunkRecordsTest, ResidencyHasItsRecords) {
  sim::setResidency(true);
  ASSERT_EQ(attach(), 1);
  realThunks = Host.thunks;
  Host.thunks.makeResident = [](D3DDDI_MAKERESIDENT* make) {
    lastMakeResident = *make;
    lastHandle = make->AllocationList[0];
    return realThunks.makeResident(make);
  };
  Host.thunks.evict = [](D3DKMT_EVICT* evict) {
    lastEvict = *evict;
    lastHandle = evict->AllocationList[0];
    return realThunks.evict(evict);
  };
  Host.thunks.waitFromGpu = [](const D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU* wait) {
    lastWait = *wait;
    lastSyncObject = wait->ObjectHandleArray[0];
    lastFence = wait->MonitoredFenceValueArray[0];
    return realThunks.waitFromGpu(wait);
  };
  Surface surface;
  sim::setPagingHeld(true);
  ASSERT_GE(CreateSurfaceAllocation(windowSurfaceDescriptor(), 8, 8, surface), 0);
  EXPECT_EQ(lastMakeResident.hPagingQueue, Host.pagingQueue);
  EXPECT_EQ(lastMakeResident.NumAllocations, 1u);
  EXPECT_EQ(lastHandle, surface.allocation);
  EXPECT_EQ(lastMakeResident.PriorityList, nullptr);
  EXPECT_EQ(lastMakeResident.Flags, 3u);
  WaitForPagingFence(surface.fence);
  EXPECT_EQ(lastWait.hContext, Host.context);
  EXPECT_EQ(lastWait.ObjectCount, 1u);
  EXPECT_EQ(lastSyncObject, Host.pagingSyncObject);
  EXPECT_EQ(lastFence, surface.fence);
  sim::completePaging();
  sim::setPagingHeld(false);
  const D3DKMT_HANDLE allocation = surface.allocation;
  DestroySurfaceAllocation(surface);
  EXPECT_EQ(lastEvict.hDevice, Host.device);
  EXPECT_EQ(lastEvict.NumAllocations, 1u);
  EXPECT_EQ(lastHandle, allocation);
  EXPECT_EQ(lastEvict.Flags, 0u);
}

D3DKMT_CREATEPAGINGQUEUE lastQueue;
D3DDDI_DESTROYPAGINGQUEUE lastDestroyedQueue;
D3DKMT_REGISTERTRIMNOTIFICATION lastRegistered;
D3DKMT_UNREGISTERTRIMNOTIFICATION lastUnregistered;
PFND3DKMT_CREATEPAGINGQUEUE realCreateQueue;
PFND3DKMT_DESTROYPAGINGQUEUE realDestroyQueue;
PFND3DKMT_REGISTERTRIMNOTIFICATION realRegister;
PFND3DKMT_UNREGISTERTRIMNOTIFICATION realUnregister;

template <typename Thunk>
void standInFront(const char* name, Thunk& real, Thunk front) {
  real = reinterpret_cast<Thunk>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(u"Gdi32.dll"), name)));
  sim::registerExportAddress(u"Gdi32.dll", name, reinterpret_cast<PROC>(reinterpret_cast<void*>(front)));
}

// The paging queue and the trim notification of a process last from attach to detach. The next reset brings the thunks back.
TEST_F(ThunkRecordsTest, PagingQueueAndTrimLastFromAttachToDetach) {
  standInFront<PFND3DKMT_CREATEPAGINGQUEUE>("D3DKMTCreatePagingQueue", realCreateQueue, [](D3DKMT_CREATEPAGINGQUEUE* create) {
    lastQueue = *create;
    return realCreateQueue(create);
  });
  standInFront<PFND3DKMT_DESTROYPAGINGQUEUE>("D3DKMTDestroyPagingQueue", realDestroyQueue,
                                             [](D3DDDI_DESTROYPAGINGQUEUE* destroy) {
                                               lastDestroyedQueue = *destroy;
                                               return realDestroyQueue(destroy);
                                             });
  standInFront<PFND3DKMT_REGISTERTRIMNOTIFICATION>("D3DKMTRegisterTrimNotification", realRegister,
                                                   [](D3DKMT_REGISTERTRIMNOTIFICATION* trim) {
                                                     lastRegistered = *trim;
                                                     return realRegister(trim);
                                                   });
  standInFront<PFND3DKMT_UNREGISTERTRIMNOTIFICATION>("D3DKMTUnregisterTrimNotification", realUnregister,
                                                     [](D3DKMT_UNREGISTERTRIMNOTIFICATION* trim) {
                                                       lastUnregistered = *trim;
                                                       return realUnregister(trim);
                                                     });
  sim::setResidency(true);
  ASSERT_EQ(attach(), 1);
  const D3DKMT_HANDLE queue = Host.pagingQueue;
  void* const notification = Host.trimNotification;
  EXPECT_EQ(lastQueue.hDevice, Host.device);
  EXPECT_EQ(lastQueue.Priority, 0u);
  EXPECT_EQ(lastQueue.PhysicalAdapterIndex, 0u);
  EXPECT_EQ(lastRegistered.AdapterLuid.LowPart, sim::adapterLuid().LowPart);
  EXPECT_EQ(lastRegistered.hDevice, Host.device);
  EXPECT_NE(lastRegistered.Callback, nullptr);
  EXPECT_EQ(lastRegistered.Context, nullptr);
  EXPECT_NE(notification, nullptr);
  detach();
  EXPECT_EQ(lastDestroyedQueue.hPagingQueue, queue);
  EXPECT_EQ(lastUnregistered.Handle, notification);
  EXPECT_EQ(lastUnregistered.Callback, lastRegistered.Callback);
}

}  // namespace
}  // namespace qv::test
