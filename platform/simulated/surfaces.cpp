// Surfaces: allocations with their memory, and redirection surfaces that are opened by share handle.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "platform/simulated/calls.h"
#include "platform/simulated/kernel.h"
#include "platform/simulated/window_system.h"

namespace qv::sim {

namespace {

constexpr uint32_t kLargestSurface = 1u << 30;
constexpr uint32_t kFormatX8R8G8B8 = 7;
constexpr uint32_t kPrimaryFlag = 1u << 15;

uint32_t wordAt(const BYTE* data, uint32_t offset) {
  uint32_t word;
  std::memcpy(&word, data + offset, sizeof word);
  return word;
}

void putWord(BYTE* data, uint32_t offset, uint32_t word) { std::memcpy(data + offset, &word, sizeof word); }

}  // namespace

Surface::~Surface() {
  if (gpu.memory != nullptr) {
    munmap(gpu.memory, gpu.size);
  }
  if (gpu.fd >= 0) {
    close(gpu.fd);
  }
}

std::shared_ptr<Surface> makeSurface(uint32_t width, uint32_t height, uint32_t pitch, uint32_t size) {
  auto surface = std::make_shared<Surface>();
  int fd = memfd_create("qv-surface", MFD_ALLOW_SEALING | MFD_CLOEXEC);
  surface->gpu.fd = fd;
  if (fd < 0 || ftruncate(fd, static_cast<off_t>(size)) != 0 || fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK) != 0) {
    return nullptr;
  }
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) {
    return nullptr;
  }
  surface->gpu.memory = static_cast<uint8_t*>(memory);
  surface->gpu.size = size;
  surface->gpu.width = width;
  surface->gpu.height = height;
  surface->gpu.pitch = pitch;
  return surface;
}

void retire(const std::shared_ptr<Surface>& surface) {
  if (PresentSink* sink = presentSink()) {
    sink->forget(surface->gpu.handle);
  }
  GpuLink* link = gpuLink();
  if (link != nullptr && link == surface->link) {
    link->closeAllocation(surface->gpu.handle);
  }
}

bool findSurface(uint32_t allocation, GpuAllocation* surface) {
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  KernelObject* object = k.find(allocation, Kind::Allocation);
  if (object == nullptr) {
    object = k.find(allocation, Kind::Share);
  }
  if (object == nullptr) {
    return false;
  }
  *surface = object->surface->gpu;
  return true;
}

void setComposition(bool on) {
  std::vector<HWND> windows;
  {
    Kernel& k = kernel();
    std::lock_guard guard(k.lock);
    k.composed = on;
    if (!on) {
      for (const auto& [window, share] : k.redirection) {
        windows.push_back(window);
      }
    }
  }
  for (HWND window : windows) {
    dropRedirection(window);
  }
}

bool composition() {
  std::lock_guard guard(kernel().lock);
  return kernel().composed;
}

void dropRedirection(HWND window) {
  std::shared_ptr<Surface> surface;
  {
    Kernel& k = kernel();
    std::lock_guard guard(k.lock);
    auto row = k.redirection.find(window);
    if (row == k.redirection.end()) {
      return;
    }
    if (KernelObject* share = k.find(row->second, Kind::Share)) {
      surface = share->surface;
      k.objects.erase(row->second);
    }
    k.redirection.erase(row);
  }
  if (surface != nullptr) {
    retire(surface);
  }
}

void replaceRedirectionSurface(HWND window) { dropRedirection(window); }

uint32_t redirectionSurface(HWND window) {
  RECT outer, client;
  if (!composition() || !measure(window, &outer, &client) || outer.right <= outer.left || outer.bottom <= outer.top) {
    return 0;
  }
  auto width = static_cast<uint32_t>(outer.right - outer.left), height = static_cast<uint32_t>(outer.bottom - outer.top);
  Kernel& k = kernel();
  {
    std::lock_guard guard(k.lock);
    auto row = k.redirection.find(window);
    if (row != k.redirection.end()) {
      KernelObject* share = k.find(row->second, Kind::Share);
      if (share != nullptr && share->surface->gpu.width == width && share->surface->gpu.height == height) {
        return row->second;
      }
    }
  }
  dropRedirection(window);
  uint32_t pitch = (width * 4 + 63) / 64 * 64;
  std::shared_ptr<Surface> surface = makeSurface(width, height, pitch, pitch * height);
  if (surface == nullptr) {
    return 0;
  }
  surface->window = window;
  putWord(surface->descriptor, 0, kFormatX8R8G8B8);
  const uint32_t privateData[6] = {width, height, 1, pitch, pitch * height, 0};
  std::memcpy(surface->privateData, privateData, sizeof privateData);
  std::lock_guard guard(k.lock);
  D3DKMT_HANDLE handle = k.objects.insert({.kind = Kind::Share, .surface = surface});
  surface->gpu.handle = handle;
  k.redirection[window] = handle;
  return handle;
}

uint64_t presentToken(HWND) {
  std::lock_guard guard(kernel().lock);
  return ++kernel().tokens;
}

void setSharedRuntimeDataSize(uint32_t bytes) {
  std::lock_guard guard(kernel().lock);
  kernel().sharedRuntimeBytes = bytes;
}

}  // namespace qv::sim

using namespace qv::sim;

NTSTATUS APIENTRY D3DKMTCreateAllocation(D3DKMT_CREATEALLOCATION* create) {
  Call call(Fn::D3DKMTCreateAllocation);
  if (call.fails()) {
    return call.result(kNoVideoMemory);
  }
  D3DDDI_ALLOCATIONINFO* info = create->pAllocationInfo;
  if (create->hResource != 0 || (create->Flags & D3DKMT_CREATEALLOCATION_CREATERESOURCE) == 0 || create->NumAllocations != 1 ||
      info == nullptr || info->pSystemMem != nullptr || create->pPrivateDriverData == nullptr ||
      create->PrivateDriverDataSize != kDescriptorBytes || info->pPrivateDriverData == nullptr ||
      info->PrivateDriverDataSize != kAllocationBytes) {
    return call.result(kInvalidParameter);
  }
  BYTE descriptor[kDescriptorBytes], data[kAllocationBytes];
  std::memcpy(descriptor, create->pPrivateDriverData, sizeof descriptor);
  std::memcpy(data, info->pPrivateDriverData, sizeof data);
  uint32_t width = wordAt(data, 0), height = wordAt(data, 4), pitch = wordAt(data, 12), size = wordAt(data, 16);
  bool primary = (info->Flags & D3DDDI_ALLOCATIONINFO_PRIMARY) != 0;
  call.arguments("device 0x%x, %u x %u, pitch %u, source %u", create->hDevice, width, height, pitch, info->VidPnSourceId);
  if (width == 0 || height == 0 || size > kLargestSurface || pitch % 64 != 0 || uint64_t{width} * 4 > pitch ||
      uint64_t{pitch} * height != size || wordAt(descriptor, 0) != kFormatX8R8G8B8 ||
      wordAt(descriptor, 24) != info->VidPnSourceId || primary != ((wordAt(descriptor, 36) & kPrimaryFlag) != 0)) {
    return call.result(kInvalidParameter);
  }
  std::shared_ptr<Surface> surface = makeSurface(width, height, pitch, size);
  if (surface == nullptr) {
    return call.result(kNoVideoMemory);
  }
  std::memcpy(surface->descriptor, descriptor, sizeof descriptor);
  std::memcpy(surface->privateData, data, sizeof data);
  Kernel& k = kernel();
  D3DKMT_HANDLE resource, allocation;
  {
    std::lock_guard guard(k.lock);
    if (k.find(create->hDevice, Kind::Device) == nullptr) {
      return call.result(kInvalidHandle);
    }
    uint32_t pool = (k.caps >> 28 & 1) != 0 ? 4 : 3;
    if (wordAt(descriptor, 4) != pool) {
      return call.result(kInvalidParameter);
    }
    resource = k.objects.insert({.kind = Kind::Resource, .parent = create->hDevice});
    allocation = k.objects.insert(
        {.kind = Kind::Allocation, .parent = resource, .primary = primary, .source = info->VidPnSourceId, .surface = surface});
  }
  surface->gpu.handle = allocation;
  if (GpuLink* link = gpuLink()) {
    if (!link->openAllocation(surface->gpu)) {
      std::lock_guard guard(k.lock);
      std::vector<std::shared_ptr<Surface>> unused;
      removeResourceLocked(resource, &unused);
      return call.result(kNoVideoMemory);
    }
    surface->link = link;
  }
  create->hResource = resource;
  info->hAllocation = allocation;
  return call.result(kSuccess);
}

NTSTATUS APIENTRY D3DKMTDestroyAllocation(const D3DKMT_DESTROYALLOCATION* destroy) {
  Call call(Fn::D3DKMTDestroyAllocation);
  call.arguments("device 0x%x, resource 0x%x", destroy->hDevice, destroy->hResource);
  if (destroy->hResource == 0 || destroy->AllocationCount != 0) {
    return call.result(kInvalidParameter);
  }
  std::vector<std::shared_ptr<Surface>> retired;
  {
    Kernel& k = kernel();
    std::lock_guard guard(k.lock);
    if (k.find(destroy->hResource, Kind::Resource) == nullptr || k.deviceOf(destroy->hResource) != destroy->hDevice) {
      return call.result(kInvalidHandle);
    }
    removeResourceLocked(destroy->hResource, &retired);
    for (const auto& surface : retired) {
      for (auto& [source, display] : k.displays) {
        if (display.primary == surface->gpu.handle) {
          display.primary = 0;
        }
      }
    }
  }
  for (const auto& surface : retired) {
    retire(surface);
  }
  return call.result(kSuccess);
}

NTSTATUS APIENTRY D3DKMTQueryResourceInfo(D3DKMT_QUERYRESOURCEINFO* query) {
  Call call(Fn::D3DKMTQueryResourceInfo);
  call.arguments("share 0x%x", query->hGlobalShare);
  if (call.fails()) {
    return call.result(kInvalidParameter);
  }
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  if (k.find(query->hDevice, Kind::Device) == nullptr) {
    return call.result(kInvalidHandle);
  }
  if (k.find(query->hGlobalShare, Kind::Share) == nullptr) {
    return call.result(kInvalidParameter);
  }
  query->PrivateRuntimeDataSize = k.sharedRuntimeBytes;
  query->TotalPrivateDriverDataSize = kAllocationBytes;
  query->ResourcePrivateDriverDataSize = kDescriptorBytes;
  query->NumAllocations = 1;
  return call.result(kSuccess);
}

NTSTATUS APIENTRY D3DKMTOpenResource(D3DKMT_OPENRESOURCE* open) {
  Call call(Fn::D3DKMTOpenResource);
  call.arguments("share 0x%x", open->hGlobalShare);
  if (call.fails()) {
    return call.result(kInvalidParameter);
  }
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  if (k.find(open->hDevice, Kind::Device) == nullptr) {
    return call.result(kInvalidHandle);
  }
  KernelObject* share = k.find(open->hGlobalShare, Kind::Share);
  if (share == nullptr || open->NumAllocations != 1 || open->pOpenAllocationInfo == nullptr ||
      open->PrivateRuntimeDataSize != k.sharedRuntimeBytes ||
      (open->PrivateRuntimeDataSize != 0 && open->pPrivateRuntimeData == nullptr) ||
      open->pResourcePrivateDriverData == nullptr || open->ResourcePrivateDriverDataSize != kDescriptorBytes ||
      open->pTotalPrivateDriverDataBuffer == nullptr || open->TotalPrivateDriverDataBufferSize != kAllocationBytes) {
    return call.result(kInvalidParameter);
  }
  std::shared_ptr<Surface> surface = share->surface;
  if (open->PrivateRuntimeDataSize != 0) {
    std::memset(open->pPrivateRuntimeData, 0x52, open->PrivateRuntimeDataSize);
  }
  std::memcpy(open->pResourcePrivateDriverData, surface->descriptor, kDescriptorBytes);
  std::memcpy(open->pTotalPrivateDriverDataBuffer, surface->privateData, kAllocationBytes);
  open->hResource = k.objects.insert({.kind = Kind::Resource, .parent = open->hDevice, .opened = true});
  *open->pOpenAllocationInfo = {
      .hAllocation = k.objects.insert({.kind = Kind::Allocation, .parent = open->hResource, .surface = std::move(surface)}),
      .pPrivateDriverData = open->pTotalPrivateDriverDataBuffer,
      .PrivateDriverDataSize = kAllocationBytes};
  return call.result(kSuccess);
}
