// Surfaces as kernel allocations, with the private data that the virtual GPU's kernel driver reads byte for byte.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/d3dkmt.h"

namespace qv {

// Bits 0, 7 and 15; bit 15 also makes the allocation a primary.
inline constexpr uint32_t kSurfaceFlags = 33025;

// Private driver data of a resource.
struct SurfaceDescriptor {
  uint32_t formatId = 0;
  uint32_t pool = 3;  // 4 when the adapter asks for the alternative pool
  uint64_t zero0 = 0;
  uint32_t one = 1;
  uint32_t zero1 = 0;
  uint32_t sourceId = 0;  // video present source; 0 for a back buffer, and so are the rates
  uint32_t refreshNumerator = 0;
  uint32_t refreshDenominator = 0;
  uint32_t flags = kSurfaceFlags;
  uint32_t zero2[17] = {};
};
inline constexpr uint32_t kSurfaceDescriptorBytes = 108;
static_assert(offsetof(SurfaceDescriptor, zero0) == 8 && offsetof(SurfaceDescriptor, one) == 16 &&
              offsetof(SurfaceDescriptor, sourceId) == 24 && offsetof(SurfaceDescriptor, refreshNumerator) == 28 &&
              offsetof(SurfaceDescriptor, refreshDenominator) == 32 && offsetof(SurfaceDescriptor, flags) == 36 &&
              offsetof(SurfaceDescriptor, zero2) + sizeof(SurfaceDescriptor::zero2) == kSurfaceDescriptorBytes);

// Private driver data of the one allocation of a resource.
struct AllocationPrivateData {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t one = 1;
  uint32_t pitch = 0;  // bytes per row, a multiple of 64
  uint32_t size = 0;   // bytes
  uint32_t zero = 0;
};
static_assert(sizeof(AllocationPrivateData) == 24 && offsetof(AllocationPrivateData, pitch) == 12);

// A surface of a window; all zero when there is none.
struct Surface {
  D3DKMT_HANDLE resource = 0;
  D3DKMT_HANDLE allocation = 0;
  uint64_t fence = 0;  // paging fence value of its creation, 0 outside residencyMode
};

// A descriptor for an X8R8G8B8 surface with the pool of this adapter.
SurfaceDescriptor windowSurfaceDescriptor();

// Fills `surface` and returns 0, or returns the failed status and leaves `surface` unchanged.
NTSTATUS CreateSurfaceAllocation(const SurfaceDescriptor& descriptor, uint32_t width, uint32_t height, Surface& surface);

// Gives the surface back and clears its two handles; the fence value stays.
void DestroySurfaceAllocation(Surface& surface);

// The same without eviction, as window teardown does it.
void destroyResource(Surface& surface);

// Brings one allocation into residency through the paging queue; on success `fence` is the value at which it is there.
NTSTATUS makeResident(const D3DKMT_HANDLE& allocation, uint64_t& fence);

// The status for a thunk that the system lacks (STATUS_PROCEDURE_NOT_FOUND).
inline constexpr NTSTATUS kStatusNoThunk = static_cast<NTSTATUS>(0xC000007A);

}  // namespace qv
