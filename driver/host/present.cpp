// The end of a frame: flip, composition or blit.
#include "driver/host/present.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "driver/base/process_state.h"
#include "driver/host/host_channel.h"
#include "driver/host/owned_display.h"
#include "driver/host/pacing.h"
#include "driver/host/render_submission.h"
#include "driver/state/gl_context.h"

namespace qv {

namespace {

RECT clientArea(const WindowRecord& record) { return {0, 0, record.width(), record.height()}; }

bool presentByFlip(WindowRecord* record, GlContext* context) {
  if (record->flip.resource == 0) return false;
  if (PresentWindow(record, context) < 0) {
    record->recheckNeeded.store(0, std::memory_order_relaxed);
    if (checkSourceOwner(record, record->clientRect) >= 0) PresentWindow(record, context);
  }
  // When the display was lost meanwhile, composition shows the frame.
  return record->flip.resource != 0;
}

void presentByComposition(WindowRecord* record, GlContext* context) {
  PresentCookie cookie{record, context};
  const POINT origin = record->clientOrigin;
  PRESENTBUFFERSCB data{};
  data.nVersion = 2;
  data.luidAdapter = Host.adapterLuid;
  data.pPrivData = &cookie;
  data.updateRect = {origin.x, origin.y, origin.x + record->width(), origin.y + record->height()};
  const HDC hdc = GetDC(record->window);
  // Not tested for null: required oddity 76.
  CompositionPresent(hdc, &data);
  ReleaseDC(record->window, hdc);
}

void closeCompositionSurface(WindowRecord* record) {
  if (record->compositionShareHandle == 0) return;
  DestroySurfaceAllocation(record->composition);
  record->compositionShareHandle = 0;
}

// False when the surface could not be made resident; the record then has none. A failed open is not noticed: the record takes
// whatever handles it gave (required oddity 77).
bool openCompositionSurface(WindowRecord* record, D3DKMT_HANDLE shareHandle) {
  D3DKMT_QUERYRESOURCEINFO query{};
  query.hDevice = Host.device;
  query.hGlobalShare = shareHandle;
  D3DKMTQueryResourceInfo(&query);

  SurfaceDescriptor descriptor;
  AllocationPrivateData data;
  D3DDDI_OPENALLOCATIONINFO info{};
  D3DKMT_OPENRESOURCE open{};
  open.hDevice = Host.device;
  open.hGlobalShare = shareHandle;
  open.NumAllocations = 1;
  open.pOpenAllocationInfo = &info;
  open.PrivateRuntimeDataSize = query.PrivateRuntimeDataSize;
  open.pPrivateRuntimeData = query.PrivateRuntimeDataSize != 0 ? std::malloc(query.PrivateRuntimeDataSize) : nullptr;
  open.pResourcePrivateDriverData = &descriptor;
  open.ResourcePrivateDriverDataSize = kSurfaceDescriptorBytes;
  open.pTotalPrivateDriverDataBuffer = &data;
  open.TotalPrivateDriverDataBufferSize = sizeof(data);
  D3DKMTOpenResource(&open);
  std::free(open.pPrivateRuntimeData);

  Surface opened{open.hResource, info.hAllocation, 0};
  if (Host.residencyMode != 0 && makeResident(opened.allocation, opened.fence) < 0) {
    destroyResource(opened);
    return false;
  }
  record->compositionShareHandle = shareHandle;
  record->composition = opened;
  return true;
}

}  // namespace

void presentFrame(WindowRecord* record, GlContext* context) {
  if (!presentByFlip(record, context)) presentByComposition(record, context);
}

void presentBuffers(WindowRecord* record, GlContext* context, D3DKMT_HANDLE shareHandle, uint64_t presentToken) {
  if (shareHandle != record->compositionShareHandle) {
    closeCompositionSurface(record);
    if (shareHandle != 0 && !openCompositionSurface(record, shareHandle)) return;
  }
  if (record->backBuffer.resource == 0) return;
  if (record->composition.resource == 0) {
    PresentWindow(record, context);
    return;
  }
  WaitForPagingFence(std::max(record->backBuffer.fence, record->composition.fence));
  const POINT origin = record->clientOrigin;
  SurfaceCopy copy;
  copy.source = record->backBuffer.allocation;
  copy.sourceRect = clientArea(*record);
  copy.destination = record->composition.allocation;
  copy.destinationRect = {origin.x, origin.y, origin.x + record->width(), origin.y + record->height()};
  copy.presentToken = presentToken;
  submitRedirectedCopy(copy, context);
}

NTSTATUS PresentWindow(WindowRecord* record, GlContext* context) {
  D3DKMT_PRESENT present{};
  present.hContext = Host.context;
  present.hWindow = record->window;
  present.hSource = record->backBuffer.allocation;
  const uint32_t source = record->ownedSource.load(std::memory_order_relaxed);
  if (source == kNoSource) {
    WaitForPagingFence(std::max(record->flip.fence, record->backBuffer.fence));
    const RECT area = clientArea(*record);
    present.hDestination = record->flip.allocation;
    present.Flags = D3DKMT_PRESENT_BLT | D3DKMT_PRESENT_DSTRECTVALID | D3DKMT_PRESENT_SRCRECTVALID;
    present.SrcRect = area;
    present.DstRect = area;
    present.SubRectCnt = 1;
    present.pSrcSubRects = &area;
    pacePresent(context);
    return D3DKMTPresent(&present);
  }
  present.VidPnSourceId = source;
  present.Flags = D3DKMT_PRESENT_FLIP;
  // Every interval but 0 is 1, the initial -1 too: required oddity 63.
  present.FlipInterval = context->swapInterval != 0 ? 1 : 0;
  const NTSTATUS status = D3DKMTPresent(&present);
  if (status >= 0) std::swap(record->backBuffer, record->flip);
  return status;
}

}  // namespace qv
