// The kernel thunks of the display interface and their records, which the compiler's Windows headers lack; layouts are
// asserted in d3dkmt_layout_check.h for 64-bit and 32-bit processes. Flag words are plain numbers with named bits.
#pragma once

#include "platform/win32.h"

using D3DKMT_HANDLE = UINT;
using D3DDDI_VIDEO_PRESENT_SOURCE_ID = UINT;
using D3DGPU_VIRTUAL_ADDRESS = UINT64;
using D3DKMT_ESCAPETYPE = UINT;
using D3DKMT_CLIENTHINT = UINT;
using KMTQUERYADAPTERINFOTYPE = UINT;
using D3DDDIFORMAT = UINT;
using D3DDDI_VIDEO_SIGNAL_SCANLINE_ORDERING = UINT;
using D3DDDI_ROTATION = UINT;
using D3DDDI_FLIPINTERVAL_TYPE = UINT;
using D3DKMT_VIDPNSOURCEOWNER_TYPE = UINT;
using D3DKMT_DEVICESTATE_TYPE = UINT;
using D3DDDI_PAGINGQUEUE_PRIORITY = UINT;

inline constexpr KMTQUERYADAPTERINFOTYPE KMTQAITYPE_UMDRIVERPRIVATE = 0;
inline constexpr KMTQUERYADAPTERINFOTYPE KMTQAITYPE_CURRENTDISPLAYMODE = 9;
inline constexpr D3DKMT_ESCAPETYPE D3DKMT_ESCAPE_DRIVERPRIVATE = 0;
inline constexpr D3DKMT_CLIENTHINT D3DKMT_CLIENTHINT_OPENGL = 1;
inline constexpr D3DKMT_VIDPNSOURCEOWNER_TYPE D3DKMT_VIDPNSOURCEOWNER_UNOWNED = 0;
inline constexpr D3DKMT_VIDPNSOURCEOWNER_TYPE D3DKMT_VIDPNSOURCEOWNER_SHARED = 1;
inline constexpr D3DKMT_VIDPNSOURCEOWNER_TYPE D3DKMT_VIDPNSOURCEOWNER_EXCLUSIVE = 2;
inline constexpr D3DKMT_DEVICESTATE_TYPE D3DKMT_DEVICESTATE_EXECUTION = 1;
inline constexpr D3DKMT_DEVICESTATE_TYPE D3DKMT_DEVICESTATE_PRESENT = 2;
inline constexpr D3DKMT_DEVICESTATE_TYPE D3DKMT_DEVICESTATE_RESET = 3;
inline constexpr D3DKMT_DEVICESTATE_TYPE D3DKMT_DEVICESTATE_PRESENT_DWM = 4;

// D3DKMT_CREATEALLOCATION::Flags
inline constexpr UINT D3DKMT_CREATEALLOCATION_CREATERESOURCE = 1u << 0;
// D3DDDI_ALLOCATIONINFO::Flags
inline constexpr UINT D3DDDI_ALLOCATIONINFO_PRIMARY = 1u << 0;
// D3DDDI_ALLOCATIONLIST::Flags
inline constexpr UINT D3DDDI_ALLOCATIONLIST_WRITEOPERATION = 1u << 0;
// D3DKMT_RENDER::Flags
inline constexpr UINT D3DKMT_RENDER_PRESENTREDIRECTED = 1u << 4;
// D3DKMT_PRESENT::Flags
inline constexpr UINT D3DKMT_PRESENT_BLT = 1u << 0;
inline constexpr UINT D3DKMT_PRESENT_FLIP = 1u << 2;
inline constexpr UINT D3DKMT_PRESENT_DSTRECTVALID = 1u << 6;
inline constexpr UINT D3DKMT_PRESENT_SRCRECTVALID = 1u << 7;
// D3DDDI_MAKERESIDENT::Flags
inline constexpr UINT D3DDDI_MAKERESIDENT_CANTTRIMFURTHER = 1u << 0;
inline constexpr UINT D3DDDI_MAKERESIDENT_MUSTSUCCEED = 1u << 1;

struct D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME {
  WCHAR DeviceName[32];
  D3DKMT_HANDLE hAdapter;
  LUID AdapterLuid;
  D3DDDI_VIDEO_PRESENT_SOURCE_ID VidPnSourceId;
};

struct D3DKMT_CLOSEADAPTER {
  D3DKMT_HANDLE hAdapter;
};

struct D3DDDI_ALLOCATIONLIST {
  D3DKMT_HANDLE hAllocation;
  UINT Flags;
};

// Bits 0..23 of Slot are the slot's number, the top byte is zero.
struct D3DDDI_PATCHLOCATIONLIST {
  UINT AllocationIndex;
  UINT Slot;
  UINT DriverId;
  UINT AllocationOffset;
  UINT PatchOffset;
  UINT SplitOffset;
};

struct D3DKMT_CREATEDEVICE {
  union {
    D3DKMT_HANDLE hAdapter;
    void* pAdapter;
  };
  UINT Flags;
  D3DKMT_HANDLE hDevice;
  void* pCommandBuffer;
  UINT CommandBufferSize;
  D3DDDI_ALLOCATIONLIST* pAllocationList;
  UINT AllocationListSize;
  D3DDDI_PATCHLOCATIONLIST* pPatchLocationList;
  UINT PatchLocationListSize;
};

struct D3DKMT_DESTROYDEVICE {
  D3DKMT_HANDLE hDevice;
};

struct D3DKMT_CREATECONTEXT {
  D3DKMT_HANDLE hDevice;
  UINT NodeOrdinal;
  UINT EngineAffinity;
  UINT Flags;
  void* pPrivateDriverData;
  UINT PrivateDriverDataSize;
  D3DKMT_CLIENTHINT ClientHint;
  D3DKMT_HANDLE hContext;
  void* pCommandBuffer;
  UINT CommandBufferSize;
  D3DDDI_ALLOCATIONLIST* pAllocationList;
  UINT AllocationListSize;
  D3DDDI_PATCHLOCATIONLIST* pPatchLocationList;
  UINT PatchLocationListSize;
  D3DGPU_VIRTUAL_ADDRESS CommandBuffer;
};

struct D3DKMT_DESTROYCONTEXT {
  D3DKMT_HANDLE hContext;
};

struct D3DKMT_ESCAPE {
  D3DKMT_HANDLE hAdapter;
  D3DKMT_HANDLE hDevice;
  D3DKMT_ESCAPETYPE Type;
  UINT Flags;
  void* pPrivateDriverData;
  UINT PrivateDriverDataSize;
  D3DKMT_HANDLE hContext;
};

struct D3DKMT_QUERYADAPTERINFO {
  D3DKMT_HANDLE hAdapter;
  KMTQUERYADAPTERINFOTYPE Type;
  void* pPrivateDriverData;
  UINT PrivateDriverDataSize;
};

struct D3DDDI_RATIONAL {
  UINT Numerator;
  UINT Denominator;
};

struct D3DKMT_DISPLAYMODE {
  UINT Width;
  UINT Height;
  D3DDDIFORMAT Format;
  UINT IntegerRefreshRate;
  D3DDDI_RATIONAL RefreshRate;
  D3DDDI_VIDEO_SIGNAL_SCANLINE_ORDERING ScanLineOrdering;
  D3DDDI_ROTATION DisplayOrientation;
  UINT DisplayFixedOutput;
  UINT Flags[2];
};

struct D3DKMT_CURRENTDISPLAYMODE {
  D3DDDI_VIDEO_PRESENT_SOURCE_ID VidPnSourceId;
  D3DKMT_DISPLAYMODE DisplayMode;
};

struct D3DDDI_ALLOCATIONINFO {
  D3DKMT_HANDLE hAllocation;
  const void* pSystemMem;
  void* pPrivateDriverData;
  UINT PrivateDriverDataSize;
  D3DDDI_VIDEO_PRESENT_SOURCE_ID VidPnSourceId;
  UINT Flags;
};

struct D3DKMT_CREATEALLOCATION {
  D3DKMT_HANDLE hDevice;
  D3DKMT_HANDLE hResource;
  D3DKMT_HANDLE hGlobalShare;
  const void* pPrivateRuntimeData;
  UINT PrivateRuntimeDataSize;
  const void* pPrivateDriverData;
  UINT PrivateDriverDataSize;
  UINT NumAllocations;
  D3DDDI_ALLOCATIONINFO* pAllocationInfo;
  UINT Flags;
  HANDLE hPrivateRuntimeResourceHandle;
};

struct D3DKMT_DESTROYALLOCATION {
  D3DKMT_HANDLE hDevice;
  D3DKMT_HANDLE hResource;
  const D3DKMT_HANDLE* phAllocationList;
  UINT AllocationCount;
};

struct D3DKMT_QUERYRESOURCEINFO {
  D3DKMT_HANDLE hDevice;
  D3DKMT_HANDLE hGlobalShare;
  void* pPrivateRuntimeData;
  UINT PrivateRuntimeDataSize;
  UINT TotalPrivateDriverDataSize;
  UINT ResourcePrivateDriverDataSize;
  UINT NumAllocations;
};

struct D3DDDI_OPENALLOCATIONINFO {
  D3DKMT_HANDLE hAllocation;
  const void* pPrivateDriverData;
  UINT PrivateDriverDataSize;
};

struct D3DKMT_OPENRESOURCE {
  D3DKMT_HANDLE hDevice;
  D3DKMT_HANDLE hGlobalShare;
  UINT NumAllocations;
  D3DDDI_OPENALLOCATIONINFO* pOpenAllocationInfo;
  void* pPrivateRuntimeData;
  UINT PrivateRuntimeDataSize;
  void* pResourcePrivateDriverData;
  UINT ResourcePrivateDriverDataSize;
  void* pTotalPrivateDriverDataBuffer;
  UINT TotalPrivateDriverDataBufferSize;
  D3DKMT_HANDLE hResource;
};

struct D3DKMT_RENDER {
  union {
    D3DKMT_HANDLE hDevice;
    D3DKMT_HANDLE hContext;
  };
  UINT CommandOffset;
  UINT CommandLength;
  UINT AllocationCount;
  UINT PatchLocationCount;
  void* pNewCommandBuffer;
  UINT NewCommandBufferSize;
  D3DDDI_ALLOCATIONLIST* pNewAllocationList;
  UINT NewAllocationListSize;
  D3DDDI_PATCHLOCATIONLIST* pNewPatchLocationList;
  UINT NewPatchLocationListSize;
  UINT Flags;
  ULONGLONG PresentHistoryToken;
  ULONG BroadcastContextCount;
  D3DKMT_HANDLE BroadcastContext[64];
  ULONG QueuedBufferCount;
  D3DGPU_VIRTUAL_ADDRESS NewCommandBuffer;
  void* pPrivateDriverData;
  UINT PrivateDriverDataSize;
};

struct D3DKMT_PRESENT {
  union {
    D3DKMT_HANDLE hDevice;
    D3DKMT_HANDLE hContext;
  };
  HWND hWindow;
  D3DDDI_VIDEO_PRESENT_SOURCE_ID VidPnSourceId;
  D3DKMT_HANDLE hSource;
  D3DKMT_HANDLE hDestination;
  UINT Color;
  RECT DstRect;
  RECT SrcRect;
  UINT SubRectCnt;
  const RECT* pSrcSubRects;
  UINT PresentCount;
  D3DDDI_FLIPINTERVAL_TYPE FlipInterval;
  UINT Flags;
  ULONG BroadcastContextCount;
  D3DKMT_HANDLE BroadcastContext[64];
  HANDLE PresentLimitSemaphore;
  UINT64 PresentHistoryToken[135];  // a record of the compositor's, not used here
  void* pPresentRegions;
  union {
    D3DKMT_HANDLE hAdapter;
    D3DKMT_HANDLE hIndirectContext;
  };
  UINT Duration;
  D3DKMT_HANDLE* BroadcastSrcAllocation;
  D3DKMT_HANDLE* BroadcastDstAllocation;
  UINT PrivateDriverDataSize;
  PVOID pPrivateDriverData;
  BOOLEAN bOptimizeForComposition;
};

struct D3DKMT_PRESENT_STATS {
  UINT PresentCount;
  UINT PresentRefreshCount;
  UINT SyncRefreshCount;
  LARGE_INTEGER SyncQPCTime;
  LARGE_INTEGER SyncGPUTime;
};

struct D3DKMT_DEVICEPRESENT_STATE {
  D3DDDI_VIDEO_PRESENT_SOURCE_ID VidPnSourceId;
  D3DKMT_PRESENT_STATS PresentStats;
};

struct D3DKMT_PRESENT_STATS_DWM {
  UINT PresentCount;
  UINT PresentRefreshCount;
  LARGE_INTEGER PresentQPCTime;
  UINT SyncRefreshCount;
  LARGE_INTEGER SyncQPCTime;
  UINT CustomPresentDuration;
};

struct D3DKMT_DEVICEPRESENT_STATE_DWM {
  D3DDDI_VIDEO_PRESENT_SOURCE_ID VidPnSourceId;
  D3DKMT_PRESENT_STATS_DWM PresentStatsDWM;
};

struct D3DKMT_GETDEVICESTATE {
  D3DKMT_HANDLE hDevice;
  D3DKMT_DEVICESTATE_TYPE StateType;
  union {
    UINT ExecutionState;
    D3DKMT_DEVICEPRESENT_STATE PresentState;
    D3DKMT_DEVICEPRESENT_STATE_DWM PresentStateDWM;
  };
};

struct D3DKMT_SETDISPLAYMODE_FLAGS {
  BOOLEAN PreserveVidPn;
  UINT Reserved;
};

struct D3DKMT_SETDISPLAYMODE {
  D3DKMT_HANDLE hDevice;
  D3DKMT_HANDLE hPrimaryAllocation;
  D3DDDI_VIDEO_SIGNAL_SCANLINE_ORDERING ScanLineOrdering;
  D3DDDI_ROTATION DisplayOrientation;
  UINT PrivateDriverFormatAttribute;
  D3DKMT_SETDISPLAYMODE_FLAGS Flags;
};

struct D3DKMT_SETVIDPNSOURCEOWNER {
  D3DKMT_HANDLE hDevice;
  const D3DKMT_VIDPNSOURCEOWNER_TYPE* pType;
  const D3DDDI_VIDEO_PRESENT_SOURCE_ID* pVidPnSourceId;
  UINT VidPnSourceCount;
};

struct D3DKMT_WAITFORIDLE {
  D3DKMT_HANDLE hDevice;
};

struct D3DKMT_WAITFORVERTICALBLANKEVENT {
  D3DKMT_HANDLE hAdapter;
  D3DKMT_HANDLE hDevice;
  D3DDDI_VIDEO_PRESENT_SOURCE_ID VidPnSourceId;
};

struct D3DDDI_MAKERESIDENT {
  D3DKMT_HANDLE hPagingQueue;
  UINT NumAllocations;
  const D3DKMT_HANDLE* AllocationList;
  const UINT* PriorityList;
  UINT Flags;
  UINT64 PagingFenceValue;
  UINT64 NumBytesToTrim;
};

struct D3DKMT_EVICT {
  D3DKMT_HANDLE hDevice;
  UINT NumAllocations;
  const D3DKMT_HANDLE* AllocationList;
  UINT Flags;
  UINT64 NumBytesToTrim;
};

struct D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU {
  D3DKMT_HANDLE hContext;
  UINT ObjectCount;
  const D3DKMT_HANDLE* ObjectHandleArray;
  union {
    const UINT64* MonitoredFenceValueArray;
    UINT64 FenceValue;
    UINT64 Reserved[8];
  };
};

struct D3DKMT_CREATEPAGINGQUEUE {
  D3DKMT_HANDLE hDevice;
  D3DDDI_PAGINGQUEUE_PRIORITY Priority;
  D3DKMT_HANDLE hPagingQueue;
  D3DKMT_HANDLE hSyncObject;
  void* FenceValueCPUVirtualAddress;
  UINT PhysicalAdapterIndex;
};

struct D3DDDI_DESTROYPAGINGQUEUE {
  D3DKMT_HANDLE hPagingQueue;
};

struct D3DKMT_TRIMNOTIFICATION {
  void* Context;
  UINT Flags;
  UINT64 NumBytesToTrim;
};
using PFND3DKMT_TRIMNOTIFICATIONCALLBACK = void(APIENTRY*)(D3DKMT_TRIMNOTIFICATION*);

struct D3DKMT_REGISTERTRIMNOTIFICATION {
  LUID AdapterLuid;
  D3DKMT_HANDLE hDevice;
  PFND3DKMT_TRIMNOTIFICATIONCALLBACK Callback;
  void* Context;
  void* Handle;
};

struct D3DKMT_UNREGISTERTRIMNOTIFICATION {
  void* Handle;
  PFND3DKMT_TRIMNOTIFICATIONCALLBACK Callback;
};

// The thunks that every Windows of interest has, linked statically.
#ifdef _WIN32
#define QV_THUNK extern "C" __declspec(dllimport) NTSTATUS APIENTRY
#else
#define QV_THUNK NTSTATUS APIENTRY
#endif
QV_THUNK D3DKMTCloseAdapter(const D3DKMT_CLOSEADAPTER*);
QV_THUNK D3DKMTCreateAllocation(D3DKMT_CREATEALLOCATION*);
QV_THUNK D3DKMTCreateContext(D3DKMT_CREATECONTEXT*);
QV_THUNK D3DKMTCreateDevice(D3DKMT_CREATEDEVICE*);
QV_THUNK D3DKMTDestroyAllocation(const D3DKMT_DESTROYALLOCATION*);
QV_THUNK D3DKMTDestroyContext(const D3DKMT_DESTROYCONTEXT*);
QV_THUNK D3DKMTDestroyDevice(const D3DKMT_DESTROYDEVICE*);
QV_THUNK D3DKMTEscape(const D3DKMT_ESCAPE*);
QV_THUNK D3DKMTGetDeviceState(D3DKMT_GETDEVICESTATE*);
QV_THUNK D3DKMTOpenAdapterFromGdiDisplayName(D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME*);
QV_THUNK D3DKMTOpenResource(D3DKMT_OPENRESOURCE*);
QV_THUNK D3DKMTPresent(D3DKMT_PRESENT*);
QV_THUNK D3DKMTQueryAdapterInfo(const D3DKMT_QUERYADAPTERINFO*);
QV_THUNK D3DKMTQueryResourceInfo(D3DKMT_QUERYRESOURCEINFO*);
QV_THUNK D3DKMTRender(D3DKMT_RENDER*);
QV_THUNK D3DKMTSetDisplayMode(D3DKMT_SETDISPLAYMODE*);
QV_THUNK D3DKMTSetVidPnSourceOwner(const D3DKMT_SETVIDPNSOURCEOWNER*);
QV_THUNK D3DKMTWaitForIdle(const D3DKMT_WAITFORIDLE*);
QV_THUNK D3DKMTWaitForVerticalBlankEvent(const D3DKMT_WAITFORVERTICALBLANKEVENT*);
#undef QV_THUNK

// The thunks that only systems with residency have, fetched from Gdi32.dll by name.
using PFND3DKMT_MAKERESIDENT = NTSTATUS(APIENTRY*)(D3DDDI_MAKERESIDENT*);
using PFND3DKMT_EVICT = NTSTATUS(APIENTRY*)(D3DKMT_EVICT*);
using PFND3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU = NTSTATUS(APIENTRY*)(const D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU*);
using PFND3DKMT_CREATEPAGINGQUEUE = NTSTATUS(APIENTRY*)(D3DKMT_CREATEPAGINGQUEUE*);
using PFND3DKMT_DESTROYPAGINGQUEUE = NTSTATUS(APIENTRY*)(D3DDDI_DESTROYPAGINGQUEUE*);
using PFND3DKMT_REGISTERTRIMNOTIFICATION = NTSTATUS(APIENTRY*)(D3DKMT_REGISTERTRIMNOTIFICATION*);
using PFND3DKMT_UNREGISTERTRIMNOTIFICATION = NTSTATUS(APIENTRY*)(D3DKMT_UNREGISTERTRIMNOTIFICATION*);

#include "platform/d3dkmt_layout_check.h"
