// Ownership of video present sources.
#include "driver/host/source_owner.h"

#include "driver/host/host_channel.h"

namespace qv {

namespace {

inline constexpr NTSTATUS kStatusInvalidParameter = static_cast<NTSTATUS>(0xC000000D);

NTSTATUS setSourceOwner(const D3DKMT_VIDPNSOURCEOWNER_TYPE* type, const D3DDDI_VIDEO_PRESENT_SOURCE_ID* source, UINT count) {
  D3DKMT_SETVIDPNSOURCEOWNER owner{};
  owner.hDevice = Host.device;
  owner.pType = type;
  owner.pVidPnSourceId = source;
  owner.VidPnSourceCount = count;
  return D3DKMTSetVidPnSourceOwner(&owner);
}

}  // namespace

NTSTATUS TakeSourceOwner(uint32_t source) {
  const D3DKMT_VIDPNSOURCEOWNER_TYPE type = D3DKMT_VIDPNSOURCEOWNER_EXCLUSIVE;
  return setSourceOwner(&type, &source, 1);
}

NTSTATUS ReleaseSourceOwner(uint32_t source) {
  const D3DKMT_VIDPNSOURCEOWNER_TYPE type = D3DKMT_VIDPNSOURCEOWNER_UNOWNED;
  const NTSTATUS status = setSourceOwner(&type, &source, 1);
  // Without a list the device gives up all its sources: required oddity 74.
  return status == kStatusInvalidParameter ? setSourceOwner(nullptr, nullptr, 0) : status;
}

void giveUpSource(std::atomic<uint32_t>& owned) {
  const uint32_t source = owned.exchange(kNoSource, std::memory_order_relaxed);
  if (source != kNoSource) ReleaseSourceOwner(source);
}

}  // namespace qv
