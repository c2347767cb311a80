// The display: presents by blit and flip, ownership of video present sources, modes, and the clock of vertical blanks.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "platform/simulated/calls.h"
#include "platform/simulated/kernel.h"
#include "platform/simulated/window_system.h"

namespace qv::sim {

namespace {

using Clock = std::chrono::steady_clock;

struct DisplayClock {
  std::mutex lock;
  std::condition_variable advanced;
  VBlankClock kind = VBlankClock::Real;
  Clock::time_point start = Clock::now();
  uint32_t manual = 0;
};

DisplayClock& displayClock() {
  static DisplayClock& instance = *new DisplayClock;
  return instance;
}

std::chrono::nanoseconds refreshPeriod(uint32_t source) {
  DisplayMode mode;
  if (!modeOfSource(source, &mode) || mode.refreshNumerator == 0 || mode.refreshDenominator == 0) {
    return std::chrono::nanoseconds(1'000'000'000 / 60);
  }
  return std::chrono::nanoseconds(1'000'000'000ull * mode.refreshDenominator / mode.refreshNumerator);
}

uint32_t refreshCount(uint32_t source) {
  DisplayClock& clock = displayClock();
  auto period = refreshPeriod(source);
  std::lock_guard guard(clock.lock);
  return clock.kind == VBlankClock::Real ? static_cast<uint32_t>((Clock::now() - clock.start) / period) : clock.manual;
}

void waitForVBlank(uint32_t source) {
  DisplayClock& clock = displayClock();
  auto period = refreshPeriod(source);
  std::unique_lock guard(clock.lock);
  if (clock.kind == VBlankClock::Real) {
    auto next = clock.start + ((Clock::now() - clock.start) / period + 1) * period;
    guard.unlock();
    std::this_thread::sleep_until(next);
  } else if (clock.kind == VBlankClock::StepOnWait) {
    ++clock.manual;
    clock.advanced.notify_all();
  } else {
    uint32_t before = clock.manual;
    clock.advanced.wait(guard, [&] { return clock.manual != before || clock.kind != VBlankClock::BlockOnWait; });
  }
}

}  // namespace

void setVBlankClock(VBlankClock kind) {
  DisplayClock& clock = displayClock();
  std::lock_guard guard(clock.lock);
  clock.kind = kind;
  clock.advanced.notify_all();
}

void advanceVBlanks(uint32_t count) {
  DisplayClock& clock = displayClock();
  std::lock_guard guard(clock.lock);
  clock.manual += count;
  clock.advanced.notify_all();
}

uint32_t vblankCount() { return refreshCount(0); }

void resetDisplayClock() {
  DisplayClock& clock = displayClock();
  std::lock_guard guard(clock.lock);
  clock.kind = VBlankClock::Real;
  clock.manual = 0;
  clock.advanced.notify_all();
}

bool modeOfSource(uint32_t source, DisplayMode* mode) {
  WindowSystem& w = windowSystem();
  std::lock_guard guard(w.lock);
  auto row = std::find_if(w.monitors.begin(), w.monitors.end(), [&](const MonitorOptions& m) { return m.source == source; });
  if (row == w.monitors.end()) {
    return false;
  }
  *mode = {row->modeWidth != 0 ? row->modeWidth : static_cast<uint32_t>(row->rect.right - row->rect.left),
           row->modeHeight != 0 ? row->modeHeight : static_cast<uint32_t>(row->rect.bottom - row->rect.top),
           row->refreshNumerator,
           row->refreshDenominator,
           row->scanLineOrdering,
           row->orientation};
  return true;
}

void notePresent(const PresentRecord& record) {
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  k.presents[k.presentCount++ % Kernel::kKept] = record;
}

std::vector<PresentRecord> presents() {
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  std::vector<PresentRecord> kept;
  for (uint64_t i = k.presentCount > Kernel::kKept ? k.presentCount - Kernel::kKept : 0; i < k.presentCount; ++i) {
    kept.push_back(k.presents[i % Kernel::kKept]);
  }
  return kept;
}

uint64_t presentCount() {
  std::lock_guard guard(kernel().lock);
  return kernel().presentCount;
}

void occupySource(uint32_t source, bool occupied) {
  std::lock_guard guard(kernel().lock);
  kernel().displays[source].occupied = occupied;
}

void revokeSource(uint32_t source) {
  std::lock_guard guard(kernel().lock);
  Display& display = kernel().displays[source];
  display = {.occupied = display.occupied};
}

uint32_t sourceOwner(uint32_t source) {
  std::lock_guard guard(kernel().lock);
  auto display = kernel().displays.find(source);
  return display == kernel().displays.end() ? 0 : display->second.owner;
}

uint32_t displayedSurface(uint32_t source) {
  std::lock_guard guard(kernel().lock);
  auto display = kernel().displays.find(source);
  return display == kernel().displays.end() ? 0 : display->second.primary;
}

}  // namespace qv::sim

using namespace qv::sim;

NTSTATUS APIENTRY D3DKMTPresent(D3DKMT_PRESENT* present) {
  Call call(Fn::D3DKMTPresent);
  call.arguments("context 0x%x, window %p, source 0x%x, flags 0x%x", present->hContext, static_cast<void*>(present->hWindow),
                 present->hSource, present->Flags);
  if (call.fails()) {
    return call.result(kPresentModeChanged);
  }
  bool blt = (present->Flags & D3DKMT_PRESENT_BLT) != 0, flip = (present->Flags & D3DKMT_PRESENT_FLIP) != 0;
  if (blt == flip || (present->SubRectCnt != 0 && present->pSrcSubRects == nullptr)) {
    return call.result(kInvalidParameter);
  }
  DisplayMode mode{};
  if (flip ? !modeOfSource(present->VidPnSourceId, &mode) : !isAlive(present->hWindow)) {
    return call.result(kInvalidParameter);
  }
  PresentRecord record{.window = present->hWindow, .allocation = present->hSource};
  std::shared_ptr<Surface> surface;
  {
    Kernel& k = kernel();
    std::lock_guard guard(k.lock);
    KernelObject* context = k.find(present->hContext, Kind::Context);
    KernelObject* source = k.find(present->hSource, Kind::Allocation);
    if (context == nullptr || source == nullptr || k.deviceOf(present->hSource) != context->parent) {
      return call.result(kInvalidHandle);
    }
    if (context->context->residency && !source->resident) {
      complain("present: source 0x%x is not resident", present->hSource);
    }
    surface = source->surface;
    auto width = static_cast<LONG>(surface->gpu.width), height = static_cast<LONG>(surface->gpu.height);
    if (flip) {
      Display& display = k.displays[present->VidPnSourceId];
      if (display.owner == 0 || display.owner != context->parent || !display.modeSet || surface->gpu.width != mode.width ||
          surface->gpu.height != mode.height) {
        return call.result(kPresentModeChanged);
      }
      display.primary = present->hSource;
      record.route = PresentRecord::Route::Flip;
      record.source = present->VidPnSourceId;
      record.flipInterval = present->FlipInterval;
      record.rect = {0, 0, width, height};
    } else {
      RECT r = (present->Flags & D3DKMT_PRESENT_SRCRECTVALID) != 0 ? present->SrcRect : RECT{0, 0, width, height};
      record.rect = {std::max<LONG>(r.left, 0), std::max<LONG>(r.top, 0), std::min(r.right, width), std::min(r.bottom, height)};
    }
  }
  notePresent(record);
  PresentSink* sink = presentSink();
  if (sink != nullptr && record.rect.right > record.rect.left && record.rect.bottom > record.rect.top &&
      isAlive(present->hWindow)) {
    sink->present(present->hWindow, surface->gpu, record.rect);
  }
  return call.result(kSuccess);
}

NTSTATUS APIENTRY D3DKMTSetVidPnSourceOwner(const D3DKMT_SETVIDPNSOURCEOWNER* set) {
  Call call(Fn::D3DKMTSetVidPnSourceOwner);
  bool lists = set->VidPnSourceCount != 0 && set->pType != nullptr && set->pVidPnSourceId != nullptr;
  call.arguments("device 0x%x, count %u, source %u, type %u", set->hDevice, set->VidPnSourceCount,
                 lists ? set->pVidPnSourceId[0] : 0, lists ? set->pType[0] : 0);
  if (call.fails()) {
    return call.result(kInvalidParameter);
  }
  std::vector<MonitorOptions> monitors;
  {
    std::lock_guard guard(windowSystem().lock);
    monitors = windowSystem().monitors;
  }
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  if (k.find(set->hDevice, Kind::Device) == nullptr) {
    return call.result(kInvalidHandle);
  }
  if (set->VidPnSourceCount == 0) {  // gives up everything that the device owns
    for (auto& [source, display] : k.displays) {
      if (display.owner == set->hDevice) {
        display = {.occupied = display.occupied};
      }
    }
    return call.result(kSuccess);
  }
  if (!lists || set->VidPnSourceCount > 16) {
    return call.result(kInvalidParameter);
  }
  for (UINT i = 0; i < set->VidPnSourceCount; ++i) {
    UINT source = set->pVidPnSourceId[i], type = set->pType[i];
    bool shown = std::any_of(monitors.begin(), monitors.end(), [&](const MonitorOptions& m) { return m.source == source; });
    Display& display = k.displays[source];
    if (type == D3DKMT_VIDPNSOURCEOWNER_UNOWNED) {
      if (display.owner != set->hDevice) {
        return call.result(kInvalidParameter);
      }
      display = {.occupied = display.occupied};
    } else if (!shown || type > D3DKMT_VIDPNSOURCEOWNER_EXCLUSIVE) {
      return call.result(kInvalidParameter);
    } else if (display.occupied || (display.owner != 0 && display.owner != set->hDevice)) {
      return call.result(kSourceInUse);
    } else {
      display.owner = set->hDevice;
    }
  }
  return call.result(kSuccess);
}

NTSTATUS APIENTRY D3DKMTSetDisplayMode(D3DKMT_SETDISPLAYMODE* set) {
  Call call(Fn::D3DKMTSetDisplayMode);
  call.arguments("device 0x%x, primary 0x%x, ordering %u, orientation %u", set->hDevice, set->hPrimaryAllocation,
                 set->ScanLineOrdering, set->DisplayOrientation);
  if (call.fails()) {
    return call.result(kInvalidParameter);
  }
  uint32_t source = 0;
  {
    Kernel& k = kernel();
    std::lock_guard guard(k.lock);
    KernelObject* primary = k.find(set->hPrimaryAllocation, Kind::Allocation);
    if (primary == nullptr || k.deviceOf(set->hPrimaryAllocation) != set->hDevice) {
      return call.result(kInvalidHandle);
    }
    source = primary->source;
  }
  DisplayMode mode{};
  if (!modeOfSource(source, &mode)) {
    return call.result(kInvalidParameter);
  }
  Kernel& k = kernel();
  std::lock_guard guard(k.lock);
  KernelObject* primary = k.find(set->hPrimaryAllocation, Kind::Allocation);
  Display& display = k.displays[source];
  if (primary == nullptr || !primary->primary || display.owner != set->hDevice || primary->surface->gpu.width != mode.width ||
      primary->surface->gpu.height != mode.height || set->ScanLineOrdering != mode.scanLineOrdering ||
      set->DisplayOrientation != mode.orientation) {
    return call.result(kInvalidParameter);
  }
  display.modeSet = true;
  display.primary = set->hPrimaryAllocation;
  return call.result(kSuccess);
}

NTSTATUS APIENTRY D3DKMTQueryAdapterInfo(const D3DKMT_QUERYADAPTERINFO* query) {
  Call call(Fn::D3DKMTQueryAdapterInfo);
  call.arguments("adapter 0x%x, type %u, %u bytes", query->hAdapter, query->Type, query->PrivateDriverDataSize);
  if (call.fails()) {
    return call.result(kInvalidParameter);
  }
  uint32_t caps;
  {
    Kernel& k = kernel();
    std::lock_guard guard(k.lock);
    if (k.find(query->hAdapter, Kind::Adapter) == nullptr) {
      return call.result(kInvalidHandle);
    }
    caps = k.caps;
  }
  if (query->pPrivateDriverData == nullptr) {
    return call.result(kInvalidParameter);
  }
  if (query->Type == KMTQAITYPE_UMDRIVERPRIVATE && query->PrivateDriverDataSize == 36) {
    uint32_t record[9] = {};
    record[3] = caps;
    std::memcpy(query->pPrivateDriverData, record, sizeof record);
    return call.result(kSuccess);
  }
  if (query->Type == KMTQAITYPE_CURRENTDISPLAYMODE && query->PrivateDriverDataSize == sizeof(D3DKMT_CURRENTDISPLAYMODE)) {
    D3DKMT_CURRENTDISPLAYMODE record;
    std::memcpy(&record, query->pPrivateDriverData, sizeof record);
    DisplayMode mode{};
    if (!modeOfSource(record.VidPnSourceId, &mode)) {
      return call.result(kInvalidParameter);
    }
    UINT rate = mode.refreshDenominator != 0 ? mode.refreshNumerator / mode.refreshDenominator : 0;
    record.DisplayMode = {.Width = mode.width,
                          .Height = mode.height,
                          .Format = 22,
                          .IntegerRefreshRate = rate,
                          .RefreshRate = {mode.refreshNumerator, mode.refreshDenominator},
                          .ScanLineOrdering = mode.scanLineOrdering,
                          .DisplayOrientation = mode.orientation,
                          .DisplayFixedOutput = 0,
                          .Flags = {}};
    std::memcpy(query->pPrivateDriverData, &record, sizeof record);
    return call.result(kSuccess);
  }
  return call.result(kInvalidParameter);
}

NTSTATUS APIENTRY D3DKMTGetDeviceState(D3DKMT_GETDEVICESTATE* state) {
  Call call(Fn::D3DKMTGetDeviceState);
  call.arguments("device 0x%x, type %u", state->hDevice, state->StateType);
  if (call.fails()) {
    return call.result(kInvalidParameter);
  }
  uint32_t presented;
  {
    Kernel& k = kernel();
    std::lock_guard guard(k.lock);
    if (k.find(state->hDevice, Kind::Device) == nullptr) {
      return call.result(kInvalidHandle);
    }
    presented = static_cast<uint32_t>(k.presentCount);
  }
  // A present is shown in the refresh period in which it is asked for, so both counts of a record are the current count.
  if (state->StateType == D3DKMT_DEVICESTATE_EXECUTION) {
    state->ExecutionState = 1;
  } else if (state->StateType == D3DKMT_DEVICESTATE_PRESENT) {
    uint32_t count = refreshCount(state->PresentState.VidPnSourceId);
    state->PresentState.PresentStats = {presented, count, count, {}, {}};
  } else if (state->StateType == D3DKMT_DEVICESTATE_PRESENT_DWM) {
    uint32_t count = refreshCount(state->PresentStateDWM.VidPnSourceId);
    state->PresentStateDWM.PresentStatsDWM = {presented, count, {}, count, {}, 0};
  } else {
    return call.result(kInvalidParameter);
  }
  return call.result(kSuccess);
}

NTSTATUS APIENTRY D3DKMTWaitForVerticalBlankEvent(const D3DKMT_WAITFORVERTICALBLANKEVENT* wait) {
  Call call(Fn::D3DKMTWaitForVerticalBlankEvent);
  call.arguments("device 0x%x, source %u", wait->hDevice, wait->VidPnSourceId);
  if (call.fails()) {
    return call.result(kInvalidParameter);
  }
  {
    Kernel& k = kernel();
    std::lock_guard guard(k.lock);
    if (k.find(wait->hAdapter, Kind::Adapter) == nullptr || k.find(wait->hDevice, Kind::Device) == nullptr) {
      return call.result(kInvalidHandle);
    }
  }
  waitForVBlank(wait->VidPnSourceId);
  return call.result(kSuccess);
}
