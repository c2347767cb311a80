// Residency: paging queues with their fences, making surfaces resident and evicting them, trim notifications.
#include "platform/simulated/residency.h"

#include <algorithm>

#include "platform/simulated/calls.h"
#include "platform/simulated/kernel.h"

namespace qv::sim {

namespace {

// On a real machine the GPU writes the fence, and the process may read it by a plain load: a race detector must not see this
// store, either.
__attribute__((no_sanitize("thread"), noinline)) void writeFence(volatile UINT64* fence, UINT64 value) { *fence = value; }

NTSTATUS APIENTRY createPagingQueue(D3DKMT_CREATEPAGINGQUEUE* create) {
  Call call(Fn::D3DKMTCreatePagingQueue);
  call.arguments("device 0x%x, priority %u", create->hDevice, create->Priority);
  if (call.fails()) {
    return call.result(kNoMemory);
  }
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  if (k.find(create->hDevice, Kind::Device) == nullptr) {
    return call.result(kInvalidHandle);
  }
  auto paging = std::make_shared<PagingState>();
  create->hPagingQueue = k.objects.insert({.kind = Kind::PagingQueue, .parent = create->hDevice, .paging = paging});
  create->hSyncObject = k.objects.insert({.kind = Kind::SyncObject, .parent = create->hPagingQueue, .paging = paging});
  create->FenceValueCPUVirtualAddress = &paging->fence;
  return call.result(kSuccess);
}

NTSTATUS APIENTRY destroyPagingQueue(D3DDDI_DESTROYPAGINGQUEUE* destroy) {
  Call call(Fn::D3DKMTDestroyPagingQueue);
  call.arguments("queue 0x%x", destroy->hPagingQueue);
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  if (k.find(destroy->hPagingQueue, Kind::PagingQueue) == nullptr) {
    return call.result(kInvalidHandle);
  }
  std::vector<std::shared_ptr<Surface>> none;
  removeResourceLocked(destroy->hPagingQueue, &none);
  return call.result(kSuccess);
}

NTSTATUS APIENTRY makeResident(D3DDDI_MAKERESIDENT* make) {
  Call call(Fn::D3DKMTMakeResident);
  call.arguments("queue 0x%x, %u allocations, flags 0x%x", make->hPagingQueue, make->NumAllocations, make->Flags);
  if (call.fails()) {
    return call.result(kNoMemory);
  }
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  KernelObject* queue = k.find(make->hPagingQueue, Kind::PagingQueue);
  if (queue == nullptr) {
    return call.result(kInvalidHandle);
  }
  if (make->NumAllocations == 0 || make->AllocationList == nullptr) {
    return call.result(kInvalidParameter);
  }
  for (UINT i = 0; i < make->NumAllocations; ++i) {
    if (k.find(make->AllocationList[i], Kind::Allocation) == nullptr || k.deviceOf(make->AllocationList[i]) != queue->parent) {
      return call.result(kInvalidHandle);
    }
  }
  UINT64 value = ++queue->paging->issued;
  for (UINT i = 0; i < make->NumAllocations; ++i) {
    KernelObject* allocation = k.find(make->AllocationList[i], Kind::Allocation);
    allocation->resident = true;
    allocation->pagingFence = value;
    allocation->paging = queue->paging;
  }
  make->PagingFenceValue = value;
  make->NumBytesToTrim = 0;
  if (k.pagingHeld) {
    return call.result(kPending);
  }
  writeFence(&queue->paging->fence, value);
  return call.result(kSuccess);
}

NTSTATUS APIENTRY evict(D3DKMT_EVICT* evicted) {
  Call call(Fn::D3DKMTEvict);
  call.arguments("device 0x%x, %u allocations", evicted->hDevice, evicted->NumAllocations);
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  if (evicted->NumAllocations == 0 || evicted->AllocationList == nullptr) {
    return call.result(kInvalidParameter);
  }
  for (UINT i = 0; i < evicted->NumAllocations; ++i) {
    KernelObject* allocation = k.find(evicted->AllocationList[i], Kind::Allocation);
    if (allocation == nullptr || k.deviceOf(evicted->AllocationList[i]) != evicted->hDevice) {
      return call.result(kInvalidHandle);
    }
    allocation->resident = false;
  }
  evicted->NumBytesToTrim = 0;
  return call.result(kSuccess);
}

NTSTATUS APIENTRY waitFromGpu(const D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU* wait) {
  Call call(Fn::D3DKMTWaitForSynchronizationObjectFromGpu);
  call.arguments("context 0x%x, %u objects", wait->hContext, wait->ObjectCount);
  if (call.fails()) {
    return call.result(kInvalidParameter);
  }
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  KernelObject* context = k.find(wait->hContext, Kind::Context);
  if (context == nullptr) {
    return call.result(kInvalidHandle);
  }
  if (wait->ObjectCount != 1 || wait->ObjectHandleArray == nullptr ||
      k.find(wait->ObjectHandleArray[0], Kind::SyncObject) == nullptr) {
    return call.result(kInvalidParameter);
  }
  // The sync object of a paging queue is a monitored fence, whose values come as an array and not in the record.
  if (wait->FenceValue < 0x10000) {
    complain("paging fence: the record holds no array of values");
    return call.result(kInvalidParameter);
  }
  context->waited = std::max(context->waited, wait->MonitoredFenceValueArray[0]);
  return call.result(kSuccess);
}

NTSTATUS APIENTRY registerTrim(D3DKMT_REGISTERTRIMNOTIFICATION* registration) {
  Call call(Fn::D3DKMTRegisterTrimNotification);
  call.arguments("device 0x%x", registration->hDevice);
  if (call.fails()) {
    return call.result(kNoMemory);
  }
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  LUID luid = adapterLuid();
  if (k.find(registration->hDevice, Kind::Device) == nullptr) {
    return call.result(kInvalidHandle);
  }
  if (registration->Callback == nullptr || registration->AdapterLuid.LowPart != luid.LowPart ||
      registration->AdapterLuid.HighPart != luid.HighPart) {
    return call.result(kInvalidParameter);
  }
  uint64_t key = k.nextTrim++;
  k.trims[key] = {registration->hDevice, registration->Callback, registration->Context};
  registration->Handle = reinterpret_cast<void*>(static_cast<uintptr_t>(key));
  return call.result(kSuccess);
}

NTSTATUS APIENTRY unregisterTrim(D3DKMT_UNREGISTERTRIMNOTIFICATION* registration) {
  Call call(Fn::D3DKMTUnregisterTrimNotification);
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  auto row = k.trims.find(reinterpret_cast<uintptr_t>(registration->Handle));
  if (row == k.trims.end() || row->second.callback != registration->Callback) {
    return call.result(kInvalidParameter);
  }
  k.trims.erase(row);
  return call.result(kSuccess);
}

template <class Function>
PROC address(Function* function) {
  return reinterpret_cast<PROC>(reinterpret_cast<void*>(function));
}

}  // namespace

std::span<const ResidencyThunk> residencyThunks() {
  static const ResidencyThunk thunks[] = {
      {"D3DKMTMakeResident", address(makeResident)},
      {"D3DKMTEvict", address(evict)},
      {"D3DKMTWaitForSynchronizationObjectFromGpu", address(waitFromGpu)},
      {"D3DKMTCreatePagingQueue", address(createPagingQueue)},
      {"D3DKMTDestroyPagingQueue", address(destroyPagingQueue)},
      {"D3DKMTRegisterTrimNotification", address(registerTrim)},
      {"D3DKMTUnregisterTrimNotification", address(unregisterTrim)},
  };
  return thunks;
}

void setPagingHeld(bool held) {
  {
    std::lock_guard guard(kernel().lock);
    kernel().pagingHeld = held;
  }
  if (!held) {
    completePaging();
  }
}

void completePaging() {
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  k.objects.forEach([](uint32_t, KernelObject& object) {
    if (object.kind == Kind::PagingQueue) {
      writeFence(&object.paging->fence, object.paging->issued);
    }
  });
}

uint32_t requestTrim(uint64_t bytes) {
  std::map<uint64_t, TrimRegistration> registered;
  {
    std::lock_guard guard(kernel().lock);
    registered = kernel().trims;
  }
  for (const auto& [key, row] : registered) {
    D3DKMT_TRIMNOTIFICATION notification{.Context = row.context, .Flags = 4, .NumBytesToTrim = bytes};
    row.callback(&notification);
  }
  return static_cast<uint32_t>(registered.size());
}

}  // namespace qv::sim
