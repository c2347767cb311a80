// Whether a window fills a monitor whose mode it matches, in the foreground, and the taking of that display.
#include "driver/host/owned_display.h"

#include <algorithm>
#include <iterator>

#include "driver/host/display_formats.h"
#include "driver/host/host_channel.h"
#include "driver/host/source_owner.h"
#include "driver/host/window_record.h"

namespace qv {

namespace {

inline constexpr NTSTATUS kStatusStaysShared = static_cast<NTSTATUS>(0xC01E0000);

// The source and the mode of a monitor.
NTSTATUS readDisplayMode(const MONITORINFOEXW& monitor, uint32_t& source, D3DKMT_DISPLAYMODE& mode) {
  D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME open{};
  std::copy(std::begin(monitor.szDevice), std::end(monitor.szDevice), std::begin(open.DeviceName));
  NTSTATUS status = D3DKMTOpenAdapterFromGdiDisplayName(&open);
  if (status < 0) return status;
  D3DKMT_CURRENTDISPLAYMODE current{};
  current.VidPnSourceId = open.VidPnSourceId;
  D3DKMT_QUERYADAPTERINFO query{};
  query.hAdapter = open.hAdapter;
  query.Type = KMTQAITYPE_CURRENTDISPLAYMODE;
  query.pPrivateDriverData = &current;
  query.PrivateDriverDataSize = sizeof(current);
  status = D3DKMTQueryAdapterInfo(&query);
  D3DKMT_CLOSEADAPTER close{};
  close.hAdapter = open.hAdapter;
  D3DKMTCloseAdapter(&close);
  source = open.VidPnSourceId;
  mode = current.DisplayMode;
  return status;
}

}  // namespace

NTSTATUS checkSourceOwner(WindowRecord* record, const RECT& client) {
  giveUpSource(record->ownedSource);
  if (record->flip.resource != 0) DestroySurfaceAllocation(record->flip);

  const HWND window = record->window;
  if (GetAncestor(window, GA_ROOT) != GetForegroundWindow() || !IsWindowVisible(window)) return kStatusStaysShared;

  MONITORINFOEXW monitor{};
  monitor.cbSize = sizeof(monitor);
  const HMONITOR handle = MonitorFromWindow(window, MONITOR_DEFAULTTONULL);
  if (handle == nullptr || !GetMonitorInfoW(handle, &monitor)) return kStatusStaysShared;
  const RECT& screen = monitor.rcMonitor;
  if (screen.left != client.left || screen.top != client.top || screen.right != client.right || screen.bottom != client.bottom) {
    return kStatusStaysShared;
  }

  uint32_t source = 0;
  D3DKMT_DISPLAYMODE mode{};
  NTSTATUS status = readDisplayMode(monitor, source, mode);
  if (status < 0) return status;
  if (mode.Width != static_cast<uint32_t>(client.right) - static_cast<uint32_t>(client.left) ||
      mode.Height != static_cast<uint32_t>(client.bottom) - static_cast<uint32_t>(client.top)) {
    return kStatusStaysShared;
  }

  status = TakeSourceOwner(source);
  if (status < 0) return status;
  record->ownedSource.store(source, std::memory_order_relaxed);

  SurfaceDescriptor descriptor = windowSurfaceDescriptor();
  descriptor.sourceId = source;
  descriptor.refreshNumerator = mode.RefreshRate.Numerator;
  descriptor.refreshDenominator = mode.RefreshRate.Denominator;
  status = CreateSurfaceAllocation(descriptor, mode.Width, mode.Height, record->flip);
  if (status < 0) {
    giveUpSource(record->ownedSource);
    return status;
  }

  D3DKMT_SETDISPLAYMODE set{};
  set.hDevice = Host.device;
  set.hPrimaryAllocation = record->flip.allocation;
  set.ScanLineOrdering = mode.ScanLineOrdering;
  set.DisplayOrientation = mode.DisplayOrientation;
  status = D3DKMTSetDisplayMode(&set);
  if (status < 0) {
    DestroySurfaceAllocation(record->flip);
    giveUpSource(record->ownedSource);
  }
  return status;
}

}  // namespace qv
