// HostChannel: the process-wide adapter, device and submission context, and the work that travels through them: surfaces and
// the copy commands that move frames to the screen. GL commands do not pass here but through SubmitFlush.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/d3dkmt.h"
#include "platform/win32.h"

namespace qv {

// Thunks that exist only on systems with residency; fetched by name.
struct ResidencyThunks {
  PFND3DKMT_MAKERESIDENT makeResident = nullptr;
  PFND3DKMT_EVICT evict = nullptr;
  PFND3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU waitFromGpu = nullptr;
  PFND3DKMT_CREATEPAGINGQUEUE createPagingQueue = nullptr;
  PFND3DKMT_DESTROYPAGINGQUEUE destroyPagingQueue = nullptr;
  PFND3DKMT_REGISTERTRIMNOTIFICATION registerTrim = nullptr;
  PFND3DKMT_UNREGISTERTRIMNOTIFICATION unregisterTrim = nullptr;
};

struct HostChannel {
  LUID adapterLuid{};
  D3DKMT_HANDLE adapter = 0;
  D3DKMT_HANDLE device = 0;
  D3DKMT_HANDLE context = 0;

  // The submission buffers; each render replaces them. Guarded by DriverLock.
  void* commandBuffer = nullptr;
  uint32_t commandBufferSize = 0;
  D3DDDI_ALLOCATIONLIST* allocationList = nullptr;
  uint32_t allocationListSize = 0;
  D3DDDI_PATCHLOCATIONLIST* patchList = nullptr;
  uint32_t patchListSize = 0;

  uint32_t alternativePool = 0;  // bit 28 of the adapter caps
  uint32_t residencyMode = 0;    // 1 when the low four bits of the adapter caps are at least 4

  // In residencyMode only.
  D3DKMT_HANDLE pagingQueue = 0;
  D3DKMT_HANDLE pagingSyncObject = 0;
  const volatile UINT64* pagingFence = nullptr;
  std::atomic<uint64_t> lastWaitedFence{0};  // a lost update costs a redundant wait and nothing else
  void* trimNotification = nullptr;
  ResidencyThunks thunks;
};
extern HostChannel Host;

// Hands a private packet of `size` bytes to the kernel driver and waits until it is answered. Does not look into the packet.
NTSTATUS sendEscape(void* packet, uint32_t size);

// The same for a packet of the wire; true when the call went through and the host answered with status 0.
template <typename Packet>
bool sendPacket(Packet& packet) {
  return sendEscape(&packet, sizeof(packet)) >= 0 && packet.header.status == 0;
}

// Steps of process attach. The results of the platform calls are not read: required oddity 77.
void openPrimaryAdapter();
void createSubmissionContext();
void startResidency();
// Steps of process detach.
void stopResidency();
void closeDevice();

// Makes the GPU, not the calling thread, wait for the paging operation `value`. Does nothing outside residencyMode, nor for a
// value that has been reached or waited for. After a failed wait the next present tries again.
void WaitForPagingFence(uint64_t value);

}  // namespace qv
