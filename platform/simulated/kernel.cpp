// Adapters, devices, contexts and the Escape; what they own goes with them.
#include "platform/simulated/kernel.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "platform/simulated/calls.h"
#include "platform/simulated/window_system.h"
#include "wire/packets.h"

namespace qv::sim {

namespace {

std::atomic<GpuLink*> theLink{nullptr};
std::atomic<PresentSink*> theSink{nullptr};
constexpr LUID kLuid{0x00515647, 0};

}  // namespace

void setGpuLink(GpuLink* link) { theLink.store(link); }
GpuLink* gpuLink() { return theLink.load(std::memory_order_acquire); }
void setPresentSink(PresentSink* sink) { theSink.store(sink); }
PresentSink* presentSink() { return theSink.load(std::memory_order_acquire); }
LUID adapterLuid() { return kLuid; }

Kernel& kernel() {
  static Kernel& instance = *new Kernel;
  return instance;
}

KernelObject* Kernel::find(D3DKMT_HANDLE handle, Kind kind) {
  KernelObject* object = objects.find(handle);
  return object != nullptr && object->kind == kind ? object : nullptr;
}

D3DKMT_HANDLE Kernel::deviceOf(D3DKMT_HANDLE handle) {
  for (KernelObject* object = objects.find(handle); object != nullptr; object = objects.find(handle)) {
    if (object->kind == Kind::Device) {
      return handle;
    }
    handle = object->parent;
  }
  return 0;
}

uint32_t Kernel::count(Kind kind) {
  uint32_t n = 0;
  objects.forEach([&](uint32_t, KernelObject& object) { n += object.kind == kind ? 1 : 0; });
  return n;
}

void setAdapterCaps(uint32_t caps) {
  std::lock_guard guard(kernel().lock);
  kernel().caps = caps;
}

void setResidency(bool on) {
  std::lock_guard guard(kernel().lock);
  kernel().caps = (kernel().caps & ~0xFu) | (on ? 4 : 0);
}

namespace {

// Removes a device or adapter with everything below it. The lock is held.
void removeTreeLocked(D3DKMT_HANDLE root, std::vector<std::shared_ptr<Surface>>* retired) {
  Kernel& k = kernel();
  std::vector<D3DKMT_HANDLE> children;
  k.objects.forEach([&](uint32_t handle, KernelObject& object) {
    if (object.parent == root) {
      children.push_back(handle);
    }
  });
  for (D3DKMT_HANDLE child : children) {
    removeTreeLocked(child, retired);
  }
  KernelObject* object = k.objects.find(root);
  if (object == nullptr) {
    return;
  }
  if (object->kind == Kind::Allocation && object->surface->gpu.handle == root) {
    retired->push_back(object->surface);
  }
  if (object->kind == Kind::Device) {
    for (auto& [source, display] : k.displays) {
      if (display.owner == root) {
        display = {.occupied = display.occupied};
      }
    }
  }
  k.objects.erase(root);
}

}  // namespace

void removeResourceLocked(D3DKMT_HANDLE resource, std::vector<std::shared_ptr<Surface>>* retired) {
  removeTreeLocked(resource, retired);
}

void resetKernel() {
  Kernel& k = kernel();
  std::vector<std::shared_ptr<Surface>> retired;
  {
    std::lock_guard guard(k.lock);
    std::vector<D3DKMT_HANDLE> all;
    k.objects.forEach([&](uint32_t handle, KernelObject& object) {
      all.push_back(handle);
      if (object.surface != nullptr && object.surface->gpu.handle == handle) {
        retired.push_back(object.surface);
      }
    });
    for (D3DKMT_HANDLE handle : all) {
      k.objects.erase(handle);
    }
    k.caps = 0;
    k.displays.clear();
    k.trims.clear();
    k.pagingHeld = false;
    k.composed = false;
    k.redirection.clear();
    k.sharedRuntimeBytes = 0;
    k.presentCount = 0;
    k.logSubmissions = false;
    k.submissions.clear();
  }
  for (const auto& surface : retired) {
    retire(surface);
  }
  setGpuLink(nullptr);
  setPresentSink(nullptr);
  resetDisplayClock();
}

}  // namespace qv::sim

using namespace qv;
using namespace qv::sim;

NTSTATUS APIENTRY D3DKMTOpenAdapterFromGdiDisplayName(D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME* open) {
  Call call(Fn::D3DKMTOpenAdapterFromGdiDisplayName);
  if (call.fails()) {
    return call.result(kInvalidParameter);
  }
  std::u16string name(open->DeviceName, std::find(open->DeviceName, open->DeviceName + 32, u'\0'));
  uint32_t source = 0;
  {
    WindowSystem& w = windowSystem();
    std::lock_guard guard(w.lock);
    auto monitor =
        std::find_if(w.monitors.begin(), w.monitors.end(), [&](const MonitorOptions& row) { return row.device == name; });
    if (monitor == w.monitors.end()) {
      return call.result(kInvalidParameter);
    }
    source = monitor->source;
  }
  std::lock_guard guard(kernel().lock);
  open->hAdapter = kernel().objects.insert({.kind = Kind::Adapter});
  open->AdapterLuid = kLuid;
  open->VidPnSourceId = source;
  call.arguments("adapter 0x%x, source %u", open->hAdapter, source);
  return call.result(kSuccess);
}

// A device holds the adapter itself and not its handle: closing the handle does not end the device.
NTSTATUS APIENTRY D3DKMTCloseAdapter(const D3DKMT_CLOSEADAPTER* close) {
  Call call(Fn::D3DKMTCloseAdapter);
  call.arguments("adapter 0x%x", close->hAdapter);
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  if (k.find(close->hAdapter, Kind::Adapter) == nullptr) {
    return call.result(kInvalidHandle);
  }
  k.objects.erase(close->hAdapter);
  return call.result(kSuccess);
}

NTSTATUS APIENTRY D3DKMTCreateDevice(D3DKMT_CREATEDEVICE* create) {
  Call call(Fn::D3DKMTCreateDevice);
  call.arguments("adapter 0x%x, flags 0x%x", create->hAdapter, create->Flags);
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  if (call.fails() || k.find(create->hAdapter, Kind::Adapter) == nullptr) {
    return call.result(kInvalidHandle);
  }
  create->hDevice = k.objects.insert({.kind = Kind::Device});
  create->pCommandBuffer = nullptr;
  create->CommandBufferSize = 0;
  create->pAllocationList = nullptr;
  create->AllocationListSize = 0;
  create->pPatchLocationList = nullptr;
  create->PatchLocationListSize = 0;
  return call.result(kSuccess);
}

NTSTATUS APIENTRY D3DKMTDestroyDevice(const D3DKMT_DESTROYDEVICE* destroy) {
  Call call(Fn::D3DKMTDestroyDevice);
  call.arguments("device 0x%x", destroy->hDevice);
  std::vector<std::shared_ptr<Surface>> retired;
  {
    Kernel& k = kernel();
    std::lock_guard guard(k.lock);
    if (k.find(destroy->hDevice, Kind::Device) == nullptr) {
      return call.result(kInvalidHandle);
    }
    removeTreeLocked(destroy->hDevice, &retired);
  }
  for (const auto& surface : retired) {
    retire(surface);
  }
  return call.result(kSuccess);
}

NTSTATUS APIENTRY D3DKMTCreateContext(D3DKMT_CREATECONTEXT* create) {
  Call call(Fn::D3DKMTCreateContext);
  call.arguments("device 0x%x, %u bytes of private data, hint %u", create->hDevice, create->PrivateDriverDataSize,
                 create->ClientHint);
  if (call.fails()) {
    return call.result(kNoMemory);
  }
  UINT64 flavour = 0;
  if (create->pPrivateDriverData == nullptr || create->PrivateDriverDataSize != 24 || create->NodeOrdinal != 0) {
    return call.result(kInvalidParameter);
  }
  std::memcpy(&flavour, create->pPrivateDriverData, sizeof flavour);
  if (flavour != 65536) {
    return call.result(kInvalidParameter);
  }
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  if (k.find(create->hDevice, Kind::Device) == nullptr) {
    return call.result(kInvalidHandle);
  }
  auto state = std::make_shared<ContextState>();
  state->residency = (k.caps & 0xF) >= 4;
  SubmissionBuffers& set = state->sets[0];
  create->pCommandBuffer = set.words;
  create->CommandBufferSize = SubmissionBuffers::kCommandBytes;
  create->pAllocationList = state->residency ? nullptr : set.allocations;
  create->AllocationListSize = state->residency ? 0 : SubmissionBuffers::kEntries;
  create->pPatchLocationList = state->residency ? nullptr : set.patches;
  create->PatchLocationListSize = state->residency ? 0 : SubmissionBuffers::kEntries;
  create->CommandBuffer = 0;
  create->hContext = k.objects.insert({.kind = Kind::Context, .parent = create->hDevice, .context = std::move(state)});
  return call.result(kSuccess);
}

NTSTATUS APIENTRY D3DKMTDestroyContext(const D3DKMT_DESTROYCONTEXT* destroy) {
  Call call(Fn::D3DKMTDestroyContext);
  call.arguments("context 0x%x", destroy->hContext);
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  if (k.find(destroy->hContext, Kind::Context) == nullptr) {
    return call.result(kInvalidHandle);
  }
  k.objects.erase(destroy->hContext);
  return call.result(kSuccess);
}

NTSTATUS APIENTRY D3DKMTEscape(const D3DKMT_ESCAPE* escape) {
  Call call(Fn::D3DKMTEscape);
  call.arguments("device 0x%x, packet %p, %u bytes", escape->hDevice, escape->pPrivateDriverData, escape->PrivateDriverDataSize);
  if (call.fails()) {
    return call.result(kNotSupported);
  }
  {
    Kernel& k = kernel();
    std::lock_guard guard(k.lock);
    if (k.find(escape->hAdapter, Kind::Adapter) == nullptr || k.find(escape->hDevice, Kind::Device) == nullptr) {
      return call.result(kInvalidHandle);
    }
  }
  if (escape->Type != D3DKMT_ESCAPE_DRIVERPRIVATE || escape->pPrivateDriverData == nullptr ||
      escape->PrivateDriverDataSize < sizeof(EscapeHeader)) {
    return call.result(kInvalidParameter);
  }
  GpuLink* link = gpuLink();
  if (link == nullptr) {
    return call.result(kNotSupported);
  }
  if (escape->PrivateDriverDataSize == sizeof(FlushPacket)) {
    FlushPacket packet;
    std::memcpy(&packet, escape->pPrivateDriverData, sizeof packet);
    // The host is about to write a frame: the sink must have finished with the buffer's last one.
    PresentSink* sink = presentSink();
    if (packet.header.code == EscapeCode::Flush && packet.presentMode != 0 && packet.backBuffer != 0 && sink != nullptr) {
      struct Reads {
        PresentSink* sink;
        uint32_t allocation;
      } reads{sink, packet.backBuffer};
      const auto finish = [](void* context) {
        const Reads* const r = static_cast<Reads*>(context);
        r->sink->finishReads(r->allocation);
      };
      return call.result(link->escapeFrame(escape->pPrivateDriverData, escape->PrivateDriverDataSize, finish, &reads));
    }
  }
  return call.result(link->escape(escape->pPrivateDriverData, escape->PrivateDriverDataSize));
}

NTSTATUS APIENTRY D3DKMTWaitForIdle(const D3DKMT_WAITFORIDLE* wait) {
  Call call(Fn::D3DKMTWaitForIdle);
  call.arguments("device 0x%x", wait->hDevice);
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  // Submissions are executed before D3DKMTRender returns, so a device is always idle.
  return call.result(k.find(wait->hDevice, Kind::Device) != nullptr ? kSuccess : kInvalidHandle);
}
