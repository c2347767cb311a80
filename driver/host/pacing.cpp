// The wait for a vertical blank.
#include "driver/host/pacing.h"

#include <utility>

#include "driver/host/host_channel.h"
#include "driver/state/gl_context.h"

namespace qv {

void pacePresent(GlContext* context) {
  if (context->swapInterval != 1) return;
  D3DKMT_GETDEVICESTATE state{};
  state.hDevice = Host.device;
  state.StateType = D3DKMT_DEVICESTATE_PRESENT_DWM;
  if (D3DKMTGetDeviceState(&state) < 0) return;
  const uint32_t shown = state.PresentStateDWM.PresentStatsDWM.PresentRefreshCount;
  const uint32_t before = std::exchange(context->lastRefreshCount, shown);
  if (shown != before) return;
  // No vertical blank since the last present.
  D3DKMT_WAITFORVERTICALBLANKEVENT blank{};
  blank.hAdapter = Host.adapter;
  blank.hDevice = Host.device;
  D3DKMTWaitForVerticalBlankEvent(&blank);
  ++context->lastRefreshCount;
}

}  // namespace qv
