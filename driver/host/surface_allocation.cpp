// Surfaces as kernel allocations.
#include "driver/host/surface_allocation.h"

#include "driver/host/display_formats.h"
#include "driver/host/host_channel.h"

namespace qv {

SurfaceDescriptor windowSurfaceDescriptor() {
  SurfaceDescriptor descriptor;
  descriptor.formatId = displayFormatId(kD3dFormatX8R8G8B8);
  descriptor.pool = Host.alternativePool != 0 ? 4 : 3;
  return descriptor;
}

NTSTATUS makeResident(const D3DKMT_HANDLE& allocation, uint64_t& fence) {
  D3DDDI_MAKERESIDENT resident{};
  resident.hPagingQueue = Host.pagingQueue;
  resident.NumAllocations = 1;
  resident.AllocationList = &allocation;
  resident.Flags = D3DDDI_MAKERESIDENT_CANTTRIMFURTHER | D3DDDI_MAKERESIDENT_MUSTSUCCEED;
  const NTSTATUS status = Host.thunks.makeResident != nullptr ? Host.thunks.makeResident(&resident) : kStatusNoThunk;
  if (status >= 0) fence = resident.PagingFenceValue;
  return status;
}

NTSTATUS CreateSurfaceAllocation(const SurfaceDescriptor& descriptor, uint32_t width, uint32_t height, Surface& surface) {
  AllocationPrivateData data;
  data.width = width;
  data.height = height;
  data.pitch = (width * surfaceBytesPerPixel(descriptor.formatId) + 63) & ~63u;
  data.size = data.pitch * height;

  D3DDDI_ALLOCATIONINFO info{};
  info.pPrivateDriverData = &data;
  info.PrivateDriverDataSize = sizeof(data);
  info.VidPnSourceId = descriptor.sourceId;
  info.Flags = (descriptor.flags >> 15) & D3DDDI_ALLOCATIONINFO_PRIMARY;

  D3DKMT_CREATEALLOCATION create{};
  create.hDevice = Host.device;
  create.pPrivateDriverData = &descriptor;
  create.PrivateDriverDataSize = kSurfaceDescriptorBytes;
  create.NumAllocations = 1;
  create.pAllocationInfo = &info;
  create.Flags = D3DKMT_CREATEALLOCATION_CREATERESOURCE;
  const NTSTATUS status = D3DKMTCreateAllocation(&create);
  if (status < 0) return status;

  Surface made{create.hResource, info.hAllocation, 0};
  if (Host.residencyMode != 0) {
    const NTSTATUS resident = makeResident(made.allocation, made.fence);
    if (resident < 0) {
      destroyResource(made);
      return resident;
    }
  }
  surface = made;
  return 0;
}

void DestroySurfaceAllocation(Surface& surface) {
  if (Host.residencyMode != 0 && Host.thunks.evict != nullptr) {
    D3DKMT_EVICT evict{};
    evict.hDevice = Host.device;
    evict.NumAllocations = 1;
    evict.AllocationList = &surface.allocation;
    Host.thunks.evict(&evict);
  }
  destroyResource(surface);
}

void destroyResource(Surface& surface) {
  D3DKMT_DESTROYALLOCATION destroy{};
  destroy.hDevice = Host.device;
  destroy.hResource = surface.resource;
  surface.resource = 0;
  surface.allocation = 0;
  D3DKMTDestroyAllocation(&destroy);
}

}  // namespace qv
