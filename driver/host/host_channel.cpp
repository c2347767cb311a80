// Bring-up of the adapter, the device and the submission context, and residency.
#include "driver/host/host_channel.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "driver/base/fetch.h"

namespace qv {

HostChannel Host;

namespace {

// Private data of the submission context.
struct ContextPrivateData {
  uint64_t kind = 65536;
  uint64_t zero[2] = {};
};
static_assert(sizeof(ContextPrivateData) == 24);

// What the adapter query that each driver defines for itself gives.
struct AdapterCaps {
  uint32_t unused0[3] = {};
  uint32_t caps = 0;
  uint32_t unused1[5] = {};
};
static_assert(sizeof(AdapterCaps) == 36 && offsetof(AdapterCaps, caps) == 12);

// Registered so that the kernel can call. The driver gives no memory back, since its few surfaces are in use: required oddity 79.
void APIENTRY trimNotification(D3DKMT_TRIMNOTIFICATION*) {}

}  // namespace

NTSTATUS sendEscape(void* packet, uint32_t size) {
  D3DKMT_ESCAPE escape{};
  escape.hAdapter = Host.adapter;
  escape.hDevice = Host.device;
  escape.Type = D3DKMT_ESCAPE_DRIVERPRIVATE;
  escape.pPrivateDriverData = packet;
  escape.PrivateDriverDataSize = size;
  return D3DKMTEscape(&escape);
}

void openPrimaryAdapter() {
  const POINT origin{0, 0};
  MONITORINFOEXW monitor{};
  monitor.cbSize = sizeof(monitor);
  GetMonitorInfoW(MonitorFromPoint(origin, MONITOR_DEFAULTTOPRIMARY), &monitor);

  D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME open{};
  std::copy(std::begin(monitor.szDevice), std::end(monitor.szDevice), std::begin(open.DeviceName));
  D3DKMTOpenAdapterFromGdiDisplayName(&open);
  Host.adapter = open.hAdapter;
  Host.adapterLuid = open.AdapterLuid;

  D3DKMT_CREATEDEVICE device{};
  device.hAdapter = Host.adapter;
  D3DKMTCreateDevice(&device);
  Host.device = device.hDevice;
}

void createSubmissionContext() {
  ContextPrivateData privateData;
  D3DKMT_CREATECONTEXT create{};
  create.hDevice = Host.device;
  create.pPrivateDriverData = &privateData;
  create.PrivateDriverDataSize = sizeof(privateData);
  create.ClientHint = D3DKMT_CLIENTHINT_OPENGL;
  D3DKMTCreateContext(&create);
  Host.context = create.hContext;
  Host.commandBuffer = create.pCommandBuffer;
  Host.commandBufferSize = create.CommandBufferSize;
  Host.allocationList = create.pAllocationList;
  Host.allocationListSize = create.AllocationListSize;
  Host.patchList = create.pPatchLocationList;
  Host.patchListSize = create.PatchLocationListSize;

  AdapterCaps caps;
  D3DKMT_QUERYADAPTERINFO query{};
  query.hAdapter = Host.adapter;
  query.Type = KMTQAITYPE_UMDRIVERPRIVATE;
  query.pPrivateDriverData = &caps;
  query.PrivateDriverDataSize = sizeof(caps);
  D3DKMTQueryAdapterInfo(&query);
  Host.alternativePool = (caps.caps >> 28) & 1;
  Host.residencyMode = (caps.caps & 15) >= 4 ? 1 : 0;
}

void startResidency() {
  Host.lastWaitedFence = 0;
  const HMODULE gdi = GetModuleHandleW(QV_WIDE("Gdi32.dll"));
  ResidencyThunks& thunks = Host.thunks;
  fetch(gdi, "D3DKMTMakeResident", thunks.makeResident);
  fetch(gdi, "D3DKMTEvict", thunks.evict);
  fetch(gdi, "D3DKMTWaitForSynchronizationObjectFromGpu", thunks.waitFromGpu);
  fetch(gdi, "D3DKMTCreatePagingQueue", thunks.createPagingQueue);
  fetch(gdi, "D3DKMTDestroyPagingQueue", thunks.destroyPagingQueue);
  fetch(gdi, "D3DKMTRegisterTrimNotification", thunks.registerTrim);
  fetch(gdi, "D3DKMTUnregisterTrimNotification", thunks.unregisterTrim);

  D3DKMT_REGISTERTRIMNOTIFICATION trim{};
  trim.AdapterLuid = Host.adapterLuid;
  trim.hDevice = Host.device;
  trim.Callback = trimNotification;
  // Only what can be closed again is opened.
  if (thunks.registerTrim != nullptr && thunks.unregisterTrim != nullptr) thunks.registerTrim(&trim);
  Host.trimNotification = trim.Handle;

  D3DKMT_CREATEPAGINGQUEUE queue{};
  queue.hDevice = Host.device;
  if (thunks.createPagingQueue != nullptr && thunks.destroyPagingQueue != nullptr) thunks.createPagingQueue(&queue);
  Host.pagingQueue = queue.hPagingQueue;
  Host.pagingSyncObject = queue.hSyncObject;
  Host.pagingFence = static_cast<const volatile UINT64*>(queue.FenceValueCPUVirtualAddress);
}

void stopResidency() {
  D3DDDI_DESTROYPAGINGQUEUE queue{};
  queue.hPagingQueue = Host.pagingQueue;
  if (Host.thunks.destroyPagingQueue != nullptr) Host.thunks.destroyPagingQueue(&queue);
  Host.pagingFence = nullptr;  // its memory went with the queue

  D3DKMT_UNREGISTERTRIMNOTIFICATION trim{};
  trim.Handle = Host.trimNotification;
  trim.Callback = trimNotification;
  if (Host.thunks.unregisterTrim != nullptr) Host.thunks.unregisterTrim(&trim);
}

void closeDevice() {
  D3DKMT_DESTROYDEVICE device{};
  device.hDevice = Host.device;
  D3DKMTDestroyDevice(&device);
  D3DKMT_CLOSEADAPTER adapter{};
  adapter.hAdapter = Host.adapter;
  D3DKMTCloseAdapter(&adapter);
}

void WaitForPagingFence(uint64_t value) {
  if (Host.residencyMode == 0 || value <= Host.lastWaitedFence.load(std::memory_order_relaxed)) return;
  if (Host.pagingFence != nullptr && value <= *Host.pagingFence) return;
  if (Host.thunks.waitFromGpu == nullptr) return;
  D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU wait{};
  wait.hContext = Host.context;
  wait.ObjectCount = 1;
  wait.ObjectHandleArray = &Host.pagingSyncObject;
  const UINT64 target = value;
  wait.MonitoredFenceValueArray = &target;
  if (Host.thunks.waitFromGpu(&wait) >= 0) Host.lastWaitedFence.store(value, std::memory_order_relaxed);
}

}  // namespace qv
