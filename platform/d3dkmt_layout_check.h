// Compile-time proof that the records of d3dkmt.h lie as the Windows kernel reads them. Included by platform/d3dkmt.h only.
#pragma once

#include <cstddef>

// The number for a 64-bit process and the one for a 32-bit process.
#define QV_LAYOUT(in64, in32) (sizeof(void*) == 8 ? (in64) : (in32))

static_assert(sizeof(D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME) == QV_LAYOUT(80, 80));
static_assert(offsetof(D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME, DeviceName) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME, hAdapter) == QV_LAYOUT(64, 64));
static_assert(offsetof(D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME, AdapterLuid) == QV_LAYOUT(68, 68));
static_assert(offsetof(D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME, VidPnSourceId) == QV_LAYOUT(76, 76));

static_assert(sizeof(D3DKMT_CLOSEADAPTER) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_CLOSEADAPTER, hAdapter) == QV_LAYOUT(0, 0));

static_assert(sizeof(D3DKMT_CREATEDEVICE) == QV_LAYOUT(64, 36));
static_assert(offsetof(D3DKMT_CREATEDEVICE, hAdapter) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_CREATEDEVICE, pAdapter) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_CREATEDEVICE, Flags) == QV_LAYOUT(8, 4));
static_assert(offsetof(D3DKMT_CREATEDEVICE, hDevice) == QV_LAYOUT(12, 8));
static_assert(offsetof(D3DKMT_CREATEDEVICE, pCommandBuffer) == QV_LAYOUT(16, 12));
static_assert(offsetof(D3DKMT_CREATEDEVICE, CommandBufferSize) == QV_LAYOUT(24, 16));
static_assert(offsetof(D3DKMT_CREATEDEVICE, pAllocationList) == QV_LAYOUT(32, 20));
static_assert(offsetof(D3DKMT_CREATEDEVICE, AllocationListSize) == QV_LAYOUT(40, 24));
static_assert(offsetof(D3DKMT_CREATEDEVICE, pPatchLocationList) == QV_LAYOUT(48, 28));
static_assert(offsetof(D3DKMT_CREATEDEVICE, PatchLocationListSize) == QV_LAYOUT(56, 32));

static_assert(sizeof(D3DKMT_DESTROYDEVICE) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_DESTROYDEVICE, hDevice) == QV_LAYOUT(0, 0));

static_assert(sizeof(D3DKMT_CREATECONTEXT) == QV_LAYOUT(96, 64));
static_assert(offsetof(D3DKMT_CREATECONTEXT, hDevice) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_CREATECONTEXT, NodeOrdinal) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_CREATECONTEXT, EngineAffinity) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_CREATECONTEXT, Flags) == QV_LAYOUT(12, 12));
static_assert(offsetof(D3DKMT_CREATECONTEXT, pPrivateDriverData) == QV_LAYOUT(16, 16));
static_assert(offsetof(D3DKMT_CREATECONTEXT, PrivateDriverDataSize) == QV_LAYOUT(24, 20));
static_assert(offsetof(D3DKMT_CREATECONTEXT, ClientHint) == QV_LAYOUT(28, 24));
static_assert(offsetof(D3DKMT_CREATECONTEXT, hContext) == QV_LAYOUT(32, 28));
static_assert(offsetof(D3DKMT_CREATECONTEXT, pCommandBuffer) == QV_LAYOUT(40, 32));
static_assert(offsetof(D3DKMT_CREATECONTEXT, CommandBufferSize) == QV_LAYOUT(48, 36));
static_assert(offsetof(D3DKMT_CREATECONTEXT, pAllocationList) == QV_LAYOUT(56, 40));
static_assert(offsetof(D3DKMT_CREATECONTEXT, AllocationListSize) == QV_LAYOUT(64, 44));
static_assert(offsetof(D3DKMT_CREATECONTEXT, pPatchLocationList) == QV_LAYOUT(72, 48));
static_assert(offsetof(D3DKMT_CREATECONTEXT, PatchLocationListSize) == QV_LAYOUT(80, 52));
static_assert(offsetof(D3DKMT_CREATECONTEXT, CommandBuffer) == QV_LAYOUT(88, 56));

static_assert(sizeof(D3DKMT_DESTROYCONTEXT) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_DESTROYCONTEXT, hContext) == QV_LAYOUT(0, 0));

static_assert(sizeof(D3DKMT_ESCAPE) == QV_LAYOUT(32, 28));
static_assert(offsetof(D3DKMT_ESCAPE, hAdapter) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_ESCAPE, hDevice) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_ESCAPE, Type) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_ESCAPE, Flags) == QV_LAYOUT(12, 12));
static_assert(offsetof(D3DKMT_ESCAPE, pPrivateDriverData) == QV_LAYOUT(16, 16));
static_assert(offsetof(D3DKMT_ESCAPE, PrivateDriverDataSize) == QV_LAYOUT(24, 20));
static_assert(offsetof(D3DKMT_ESCAPE, hContext) == QV_LAYOUT(28, 24));

static_assert(sizeof(D3DKMT_QUERYADAPTERINFO) == QV_LAYOUT(24, 16));
static_assert(offsetof(D3DKMT_QUERYADAPTERINFO, hAdapter) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_QUERYADAPTERINFO, Type) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_QUERYADAPTERINFO, pPrivateDriverData) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_QUERYADAPTERINFO, PrivateDriverDataSize) == QV_LAYOUT(16, 12));

static_assert(sizeof(D3DKMT_CURRENTDISPLAYMODE) == QV_LAYOUT(48, 48));
static_assert(offsetof(D3DKMT_CURRENTDISPLAYMODE, VidPnSourceId) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_CURRENTDISPLAYMODE, DisplayMode) == QV_LAYOUT(4, 4));

static_assert(sizeof(D3DKMT_DISPLAYMODE) == QV_LAYOUT(44, 44));
static_assert(offsetof(D3DKMT_DISPLAYMODE, Width) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_DISPLAYMODE, Height) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_DISPLAYMODE, Format) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_DISPLAYMODE, IntegerRefreshRate) == QV_LAYOUT(12, 12));
static_assert(offsetof(D3DKMT_DISPLAYMODE, RefreshRate) == QV_LAYOUT(16, 16));
static_assert(offsetof(D3DKMT_DISPLAYMODE, ScanLineOrdering) == QV_LAYOUT(24, 24));
static_assert(offsetof(D3DKMT_DISPLAYMODE, DisplayOrientation) == QV_LAYOUT(28, 28));
static_assert(offsetof(D3DKMT_DISPLAYMODE, DisplayFixedOutput) == QV_LAYOUT(32, 32));
static_assert(offsetof(D3DKMT_DISPLAYMODE, Flags) == QV_LAYOUT(36, 36));

static_assert(sizeof(D3DKMT_CREATEALLOCATION) == QV_LAYOUT(72, 44));
static_assert(offsetof(D3DKMT_CREATEALLOCATION, hDevice) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_CREATEALLOCATION, hResource) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_CREATEALLOCATION, hGlobalShare) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_CREATEALLOCATION, pPrivateRuntimeData) == QV_LAYOUT(16, 12));
static_assert(offsetof(D3DKMT_CREATEALLOCATION, PrivateRuntimeDataSize) == QV_LAYOUT(24, 16));
static_assert(offsetof(D3DKMT_CREATEALLOCATION, pPrivateDriverData) == QV_LAYOUT(32, 20));
static_assert(offsetof(D3DKMT_CREATEALLOCATION, PrivateDriverDataSize) == QV_LAYOUT(40, 24));
static_assert(offsetof(D3DKMT_CREATEALLOCATION, NumAllocations) == QV_LAYOUT(44, 28));
static_assert(offsetof(D3DKMT_CREATEALLOCATION, pAllocationInfo) == QV_LAYOUT(48, 32));
static_assert(offsetof(D3DKMT_CREATEALLOCATION, Flags) == QV_LAYOUT(56, 36));
static_assert(offsetof(D3DKMT_CREATEALLOCATION, hPrivateRuntimeResourceHandle) == QV_LAYOUT(64, 40));

static_assert(sizeof(D3DDDI_ALLOCATIONINFO) == QV_LAYOUT(40, 24));
static_assert(offsetof(D3DDDI_ALLOCATIONINFO, hAllocation) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DDDI_ALLOCATIONINFO, pSystemMem) == QV_LAYOUT(8, 4));
static_assert(offsetof(D3DDDI_ALLOCATIONINFO, pPrivateDriverData) == QV_LAYOUT(16, 8));
static_assert(offsetof(D3DDDI_ALLOCATIONINFO, PrivateDriverDataSize) == QV_LAYOUT(24, 12));
static_assert(offsetof(D3DDDI_ALLOCATIONINFO, VidPnSourceId) == QV_LAYOUT(28, 16));
static_assert(offsetof(D3DDDI_ALLOCATIONINFO, Flags) == QV_LAYOUT(32, 20));

static_assert(sizeof(D3DKMT_DESTROYALLOCATION) == QV_LAYOUT(24, 16));
static_assert(offsetof(D3DKMT_DESTROYALLOCATION, hDevice) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_DESTROYALLOCATION, hResource) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_DESTROYALLOCATION, phAllocationList) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_DESTROYALLOCATION, AllocationCount) == QV_LAYOUT(16, 12));

static_assert(sizeof(D3DKMT_QUERYRESOURCEINFO) == QV_LAYOUT(32, 28));
static_assert(offsetof(D3DKMT_QUERYRESOURCEINFO, hDevice) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_QUERYRESOURCEINFO, hGlobalShare) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_QUERYRESOURCEINFO, pPrivateRuntimeData) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_QUERYRESOURCEINFO, PrivateRuntimeDataSize) == QV_LAYOUT(16, 12));
static_assert(offsetof(D3DKMT_QUERYRESOURCEINFO, TotalPrivateDriverDataSize) == QV_LAYOUT(20, 16));
static_assert(offsetof(D3DKMT_QUERYRESOURCEINFO, ResourcePrivateDriverDataSize) == QV_LAYOUT(24, 20));
static_assert(offsetof(D3DKMT_QUERYRESOURCEINFO, NumAllocations) == QV_LAYOUT(28, 24));

static_assert(sizeof(D3DKMT_OPENRESOURCE) == QV_LAYOUT(72, 44));
static_assert(offsetof(D3DKMT_OPENRESOURCE, hDevice) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_OPENRESOURCE, hGlobalShare) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_OPENRESOURCE, NumAllocations) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_OPENRESOURCE, pOpenAllocationInfo) == QV_LAYOUT(16, 12));
static_assert(offsetof(D3DKMT_OPENRESOURCE, pPrivateRuntimeData) == QV_LAYOUT(24, 16));
static_assert(offsetof(D3DKMT_OPENRESOURCE, PrivateRuntimeDataSize) == QV_LAYOUT(32, 20));
static_assert(offsetof(D3DKMT_OPENRESOURCE, pResourcePrivateDriverData) == QV_LAYOUT(40, 24));
static_assert(offsetof(D3DKMT_OPENRESOURCE, ResourcePrivateDriverDataSize) == QV_LAYOUT(48, 28));
static_assert(offsetof(D3DKMT_OPENRESOURCE, pTotalPrivateDriverDataBuffer) == QV_LAYOUT(56, 32));
static_assert(offsetof(D3DKMT_OPENRESOURCE, TotalPrivateDriverDataBufferSize) == QV_LAYOUT(64, 36));
static_assert(offsetof(D3DKMT_OPENRESOURCE, hResource) == QV_LAYOUT(68, 40));

static_assert(sizeof(D3DDDI_OPENALLOCATIONINFO) == QV_LAYOUT(24, 12));
static_assert(offsetof(D3DDDI_OPENALLOCATIONINFO, hAllocation) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DDDI_OPENALLOCATIONINFO, pPrivateDriverData) == QV_LAYOUT(8, 4));
static_assert(offsetof(D3DDDI_OPENALLOCATIONINFO, PrivateDriverDataSize) == QV_LAYOUT(16, 8));

static_assert(sizeof(D3DKMT_RENDER) == QV_LAYOUT(368, 336));
static_assert(offsetof(D3DKMT_RENDER, hDevice) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_RENDER, hContext) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_RENDER, CommandOffset) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_RENDER, CommandLength) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_RENDER, AllocationCount) == QV_LAYOUT(12, 12));
static_assert(offsetof(D3DKMT_RENDER, PatchLocationCount) == QV_LAYOUT(16, 16));
static_assert(offsetof(D3DKMT_RENDER, pNewCommandBuffer) == QV_LAYOUT(24, 20));
static_assert(offsetof(D3DKMT_RENDER, NewCommandBufferSize) == QV_LAYOUT(32, 24));
static_assert(offsetof(D3DKMT_RENDER, pNewAllocationList) == QV_LAYOUT(40, 28));
static_assert(offsetof(D3DKMT_RENDER, NewAllocationListSize) == QV_LAYOUT(48, 32));
static_assert(offsetof(D3DKMT_RENDER, pNewPatchLocationList) == QV_LAYOUT(56, 36));
static_assert(offsetof(D3DKMT_RENDER, NewPatchLocationListSize) == QV_LAYOUT(64, 40));
static_assert(offsetof(D3DKMT_RENDER, Flags) == QV_LAYOUT(68, 44));
static_assert(offsetof(D3DKMT_RENDER, PresentHistoryToken) == QV_LAYOUT(72, 48));
static_assert(offsetof(D3DKMT_RENDER, BroadcastContextCount) == QV_LAYOUT(80, 56));
static_assert(offsetof(D3DKMT_RENDER, BroadcastContext) == QV_LAYOUT(84, 60));
static_assert(offsetof(D3DKMT_RENDER, QueuedBufferCount) == QV_LAYOUT(340, 316));
static_assert(offsetof(D3DKMT_RENDER, NewCommandBuffer) == QV_LAYOUT(344, 320));
static_assert(offsetof(D3DKMT_RENDER, pPrivateDriverData) == QV_LAYOUT(352, 328));
static_assert(offsetof(D3DKMT_RENDER, PrivateDriverDataSize) == QV_LAYOUT(360, 332));

static_assert(sizeof(D3DDDI_ALLOCATIONLIST) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DDDI_ALLOCATIONLIST, hAllocation) == QV_LAYOUT(0, 0));

static_assert(sizeof(D3DDDI_PATCHLOCATIONLIST) == QV_LAYOUT(24, 24));
static_assert(offsetof(D3DDDI_PATCHLOCATIONLIST, AllocationIndex) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DDDI_PATCHLOCATIONLIST, DriverId) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DDDI_PATCHLOCATIONLIST, AllocationOffset) == QV_LAYOUT(12, 12));
static_assert(offsetof(D3DDDI_PATCHLOCATIONLIST, PatchOffset) == QV_LAYOUT(16, 16));
static_assert(offsetof(D3DDDI_PATCHLOCATIONLIST, SplitOffset) == QV_LAYOUT(20, 20));

static_assert(sizeof(D3DKMT_PRESENT) == QV_LAYOUT(1496, 1456));
static_assert(offsetof(D3DKMT_PRESENT, hDevice) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_PRESENT, hContext) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_PRESENT, hWindow) == QV_LAYOUT(8, 4));
static_assert(offsetof(D3DKMT_PRESENT, VidPnSourceId) == QV_LAYOUT(16, 8));
static_assert(offsetof(D3DKMT_PRESENT, hSource) == QV_LAYOUT(20, 12));
static_assert(offsetof(D3DKMT_PRESENT, hDestination) == QV_LAYOUT(24, 16));
static_assert(offsetof(D3DKMT_PRESENT, Color) == QV_LAYOUT(28, 20));
static_assert(offsetof(D3DKMT_PRESENT, DstRect) == QV_LAYOUT(32, 24));
static_assert(offsetof(D3DKMT_PRESENT, SrcRect) == QV_LAYOUT(48, 40));
static_assert(offsetof(D3DKMT_PRESENT, SubRectCnt) == QV_LAYOUT(64, 56));
static_assert(offsetof(D3DKMT_PRESENT, pSrcSubRects) == QV_LAYOUT(72, 60));
static_assert(offsetof(D3DKMT_PRESENT, PresentCount) == QV_LAYOUT(80, 64));
static_assert(offsetof(D3DKMT_PRESENT, FlipInterval) == QV_LAYOUT(84, 68));
static_assert(offsetof(D3DKMT_PRESENT, Flags) == QV_LAYOUT(88, 72));
static_assert(offsetof(D3DKMT_PRESENT, BroadcastContextCount) == QV_LAYOUT(92, 76));
static_assert(offsetof(D3DKMT_PRESENT, BroadcastContext) == QV_LAYOUT(96, 80));
static_assert(offsetof(D3DKMT_PRESENT, PresentLimitSemaphore) == QV_LAYOUT(352, 336));
static_assert(offsetof(D3DKMT_PRESENT, PresentHistoryToken) == QV_LAYOUT(360, 344));
static_assert(offsetof(D3DKMT_PRESENT, pPresentRegions) == QV_LAYOUT(1440, 1424));
static_assert(offsetof(D3DKMT_PRESENT, hAdapter) == QV_LAYOUT(1448, 1428));
static_assert(offsetof(D3DKMT_PRESENT, hIndirectContext) == QV_LAYOUT(1448, 1428));
static_assert(offsetof(D3DKMT_PRESENT, Duration) == QV_LAYOUT(1452, 1432));
static_assert(offsetof(D3DKMT_PRESENT, BroadcastSrcAllocation) == QV_LAYOUT(1456, 1436));
static_assert(offsetof(D3DKMT_PRESENT, BroadcastDstAllocation) == QV_LAYOUT(1464, 1440));
static_assert(offsetof(D3DKMT_PRESENT, PrivateDriverDataSize) == QV_LAYOUT(1472, 1444));
static_assert(offsetof(D3DKMT_PRESENT, pPrivateDriverData) == QV_LAYOUT(1480, 1448));
static_assert(offsetof(D3DKMT_PRESENT, bOptimizeForComposition) == QV_LAYOUT(1488, 1452));

static_assert(sizeof(D3DKMT_GETDEVICESTATE) == QV_LAYOUT(56, 56));
static_assert(offsetof(D3DKMT_GETDEVICESTATE, hDevice) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_GETDEVICESTATE, StateType) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_GETDEVICESTATE, ExecutionState) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_GETDEVICESTATE, PresentState) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_GETDEVICESTATE, PresentStateDWM) == QV_LAYOUT(8, 8));

static_assert(sizeof(D3DKMT_DEVICEPRESENT_STATE) == QV_LAYOUT(40, 40));
static_assert(offsetof(D3DKMT_DEVICEPRESENT_STATE, VidPnSourceId) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_DEVICEPRESENT_STATE, PresentStats) == QV_LAYOUT(8, 8));

static_assert(sizeof(D3DKMT_PRESENT_STATS) == QV_LAYOUT(32, 32));
static_assert(offsetof(D3DKMT_PRESENT_STATS, PresentCount) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_PRESENT_STATS, PresentRefreshCount) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_PRESENT_STATS, SyncRefreshCount) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_PRESENT_STATS, SyncQPCTime) == QV_LAYOUT(16, 16));
static_assert(offsetof(D3DKMT_PRESENT_STATS, SyncGPUTime) == QV_LAYOUT(24, 24));

static_assert(sizeof(D3DKMT_SETDISPLAYMODE) == QV_LAYOUT(28, 28));
static_assert(offsetof(D3DKMT_SETDISPLAYMODE, hDevice) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_SETDISPLAYMODE, hPrimaryAllocation) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_SETDISPLAYMODE, ScanLineOrdering) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_SETDISPLAYMODE, DisplayOrientation) == QV_LAYOUT(12, 12));
static_assert(offsetof(D3DKMT_SETDISPLAYMODE, PrivateDriverFormatAttribute) == QV_LAYOUT(16, 16));
static_assert(offsetof(D3DKMT_SETDISPLAYMODE, Flags) == QV_LAYOUT(20, 20));

static_assert(sizeof(D3DKMT_SETVIDPNSOURCEOWNER) == QV_LAYOUT(32, 16));
static_assert(offsetof(D3DKMT_SETVIDPNSOURCEOWNER, hDevice) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_SETVIDPNSOURCEOWNER, pType) == QV_LAYOUT(8, 4));
static_assert(offsetof(D3DKMT_SETVIDPNSOURCEOWNER, pVidPnSourceId) == QV_LAYOUT(16, 8));
static_assert(offsetof(D3DKMT_SETVIDPNSOURCEOWNER, VidPnSourceCount) == QV_LAYOUT(24, 12));

static_assert(sizeof(D3DKMT_WAITFORIDLE) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_WAITFORIDLE, hDevice) == QV_LAYOUT(0, 0));

static_assert(sizeof(D3DKMT_WAITFORVERTICALBLANKEVENT) == QV_LAYOUT(12, 12));
static_assert(offsetof(D3DKMT_WAITFORVERTICALBLANKEVENT, hAdapter) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_WAITFORVERTICALBLANKEVENT, hDevice) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_WAITFORVERTICALBLANKEVENT, VidPnSourceId) == QV_LAYOUT(8, 8));

static_assert(sizeof(D3DDDI_MAKERESIDENT) == QV_LAYOUT(48, 40));
static_assert(offsetof(D3DDDI_MAKERESIDENT, hPagingQueue) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DDDI_MAKERESIDENT, NumAllocations) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DDDI_MAKERESIDENT, AllocationList) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DDDI_MAKERESIDENT, PriorityList) == QV_LAYOUT(16, 12));
static_assert(offsetof(D3DDDI_MAKERESIDENT, Flags) == QV_LAYOUT(24, 16));
static_assert(offsetof(D3DDDI_MAKERESIDENT, PagingFenceValue) == QV_LAYOUT(32, 24));
static_assert(offsetof(D3DDDI_MAKERESIDENT, NumBytesToTrim) == QV_LAYOUT(40, 32));

static_assert(sizeof(D3DKMT_EVICT) == QV_LAYOUT(32, 24));
static_assert(offsetof(D3DKMT_EVICT, hDevice) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_EVICT, NumAllocations) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_EVICT, AllocationList) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_EVICT, Flags) == QV_LAYOUT(16, 12));
static_assert(offsetof(D3DKMT_EVICT, NumBytesToTrim) == QV_LAYOUT(24, 16));

static_assert(sizeof(D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU) == QV_LAYOUT(80, 80));
static_assert(offsetof(D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU, hContext) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU, ObjectCount) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU, ObjectHandleArray) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU, MonitoredFenceValueArray) == QV_LAYOUT(16, 16));
static_assert(offsetof(D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU, FenceValue) == QV_LAYOUT(16, 16));
static_assert(offsetof(D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU, Reserved) == QV_LAYOUT(16, 16));

static_assert(sizeof(D3DKMT_CREATEPAGINGQUEUE) == QV_LAYOUT(32, 24));
static_assert(offsetof(D3DKMT_CREATEPAGINGQUEUE, hDevice) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_CREATEPAGINGQUEUE, Priority) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DKMT_CREATEPAGINGQUEUE, hPagingQueue) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_CREATEPAGINGQUEUE, hSyncObject) == QV_LAYOUT(12, 12));
static_assert(offsetof(D3DKMT_CREATEPAGINGQUEUE, FenceValueCPUVirtualAddress) == QV_LAYOUT(16, 16));
static_assert(offsetof(D3DKMT_CREATEPAGINGQUEUE, PhysicalAdapterIndex) == QV_LAYOUT(24, 20));

static_assert(sizeof(D3DDDI_DESTROYPAGINGQUEUE) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DDDI_DESTROYPAGINGQUEUE, hPagingQueue) == QV_LAYOUT(0, 0));

static_assert(sizeof(D3DKMT_REGISTERTRIMNOTIFICATION) == QV_LAYOUT(40, 24));
static_assert(offsetof(D3DKMT_REGISTERTRIMNOTIFICATION, AdapterLuid) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_REGISTERTRIMNOTIFICATION, hDevice) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_REGISTERTRIMNOTIFICATION, Callback) == QV_LAYOUT(16, 12));
static_assert(offsetof(D3DKMT_REGISTERTRIMNOTIFICATION, Context) == QV_LAYOUT(24, 16));
static_assert(offsetof(D3DKMT_REGISTERTRIMNOTIFICATION, Handle) == QV_LAYOUT(32, 20));

static_assert(sizeof(D3DKMT_UNREGISTERTRIMNOTIFICATION) == QV_LAYOUT(16, 8));
static_assert(offsetof(D3DKMT_UNREGISTERTRIMNOTIFICATION, Handle) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_UNREGISTERTRIMNOTIFICATION, Callback) == QV_LAYOUT(8, 4));

static_assert(sizeof(D3DKMT_TRIMNOTIFICATION) == QV_LAYOUT(24, 16));
static_assert(offsetof(D3DKMT_TRIMNOTIFICATION, Context) == QV_LAYOUT(0, 0));
static_assert(offsetof(D3DKMT_TRIMNOTIFICATION, Flags) == QV_LAYOUT(8, 4));
static_assert(offsetof(D3DKMT_TRIMNOTIFICATION, NumBytesToTrim) == QV_LAYOUT(16, 8));

static_assert(offsetof(D3DDDI_ALLOCATIONLIST, Flags) == QV_LAYOUT(4, 4));
static_assert(offsetof(D3DDDI_PATCHLOCATIONLIST, Slot) == QV_LAYOUT(4, 4));
static_assert(sizeof(D3DDDI_RATIONAL) == 8);

static_assert(offsetof(D3DKMT_GETDEVICESTATE, PresentStateDWM.VidPnSourceId) == QV_LAYOUT(8, 8));
static_assert(offsetof(D3DKMT_GETDEVICESTATE, PresentStateDWM.PresentStatsDWM.PresentCount) == QV_LAYOUT(16, 16));
static_assert(offsetof(D3DKMT_GETDEVICESTATE, PresentStateDWM.PresentStatsDWM.PresentRefreshCount) == QV_LAYOUT(20, 20));
static_assert(offsetof(D3DKMT_GETDEVICESTATE, PresentStateDWM.PresentStatsDWM.PresentQPCTime) == QV_LAYOUT(24, 24));
static_assert(offsetof(D3DKMT_GETDEVICESTATE, PresentStateDWM.PresentStatsDWM.SyncRefreshCount) == QV_LAYOUT(32, 32));
static_assert(offsetof(D3DKMT_GETDEVICESTATE, PresentStateDWM.PresentStatsDWM.SyncQPCTime) == QV_LAYOUT(40, 40));
static_assert(offsetof(D3DKMT_GETDEVICESTATE, PresentStateDWM.PresentStatsDWM.CustomPresentDuration) == QV_LAYOUT(48, 48));
static_assert(offsetof(D3DKMT_SETDISPLAYMODE, Flags.PreserveVidPn) == QV_LAYOUT(20, 20));
static_assert(offsetof(D3DKMT_SETDISPLAYMODE, Flags.Reserved) == QV_LAYOUT(24, 24));

#undef QV_LAYOUT
