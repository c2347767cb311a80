// Submissions to the virtual GPU: command words, allocation list, patch list, render.
#include "driver/host/render_submission.h"

#include <cstddef>
#include <cstring>

#include "driver/base/driver_lock.h"
#include "driver/host/host_channel.h"
#include "driver/host/pacing.h"

namespace qv {

namespace {

inline constexpr uint32_t kEndWord = 65640;
inline constexpr uint32_t kCopyWord = 65617;
// The numbers by which the kernel driver knows the source and the destination of a command.
inline constexpr uint32_t kSourceSlot = 23;
inline constexpr uint32_t kDestinationSlot = 17;

struct CopyCommand {
  uint32_t copy = kCopyWord;
  uint32_t source = 0;
  RECT sourceRect{};
  uint32_t zero0 = 0;
  uint32_t destination = 0;
  RECT destinationRect{};
  uint32_t zero1[2] = {};
  uint32_t end = kEndWord;
};
static_assert(sizeof(CopyCommand) == 60 && offsetof(CopyCommand, destination) == 28 && offsetof(CopyCommand, end) == 56);

// False after a bring-up that failed: nothing can be submitted then. The kernel's buffers have room for more than the few words,
// entries and rows that are written here.
bool haveBuffers() {
  return Host.commandBuffer != nullptr &&
         (Host.residencyMode != 0 || (Host.allocationList != nullptr && Host.patchList != nullptr));
}

void writeAllocation(uint32_t index, D3DKMT_HANDLE allocation, uint32_t flags) {
  Host.allocationList[index] = {.hAllocation = allocation, .Flags = flags};
}

void writePatch(uint32_t index, uint32_t allocationIndex, uint32_t slot, uint32_t driverId, uint32_t patchOffset) {
  Host.patchList[index] = {.AllocationIndex = allocationIndex,
                           .Slot = slot,
                           .DriverId = driverId,
                           .AllocationOffset = 0,
                           .PatchOffset = patchOffset,
                           .SplitOffset = 0};
}

// Renders what stands in the buffers and takes over the buffers for the next submission. Required oddity 77: the result is
// not read. A render that returns no buffers leaves the present ones in place, so that the next submission still has some.
void render(D3DKMT_RENDER& record, uint32_t bytes, uint32_t allocations, uint32_t patches) {
  record.hContext = Host.context;
  record.CommandLength = bytes;
  record.AllocationCount = Host.residencyMode != 0 ? 0 : allocations;
  record.PatchLocationCount = Host.residencyMode != 0 ? 0 : patches;
  D3DKMTRender(&record);
  if (record.pNewCommandBuffer == nullptr) return;
  Host.commandBuffer = record.pNewCommandBuffer;
  Host.commandBufferSize = record.NewCommandBufferSize;
  Host.allocationList = record.pNewAllocationList;
  Host.allocationListSize = record.NewAllocationListSize;
  Host.patchList = record.pNewPatchLocationList;
  Host.patchListSize = record.NewPatchLocationListSize;
}

}  // namespace

void submitEndWord(D3DKMT_HANDLE allocation) {
  D3DKMT_RENDER record{};
  DriverLockHold hold;
  if (!haveBuffers()) return;
  *static_cast<uint32_t*>(Host.commandBuffer) = kEndWord;
  if (Host.residencyMode == 0) {
    writeAllocation(0, 0, 0);
    writeAllocation(1, allocation, 0);
    writePatch(0, 1, kSourceSlot, allocation, 0);
  }
  render(record, sizeof(uint32_t), 2, 1);
}

void submitRedirectedCopy(const SurfaceCopy& copy, GlContext* context) {
  D3DKMT_RENDER record{};
  DriverLockHold hold;
  if (!haveBuffers()) return;
  CopyCommand command;
  command.source = copy.source;
  command.sourceRect = copy.sourceRect;
  command.destination = copy.destination;
  command.destinationRect = copy.destinationRect;
  std::memcpy(Host.commandBuffer, &command, sizeof(command));
  if (Host.residencyMode == 0) {
    writeAllocation(0, 0, 0);
    writeAllocation(1, copy.source, 0);
    writeAllocation(2, copy.destination, D3DDDI_ALLOCATIONLIST_WRITEOPERATION);
    writePatch(0, 1, kSourceSlot, copy.source, 0);
    writePatch(1, 2, kDestinationSlot, copy.destination, 0);
    writePatch(2, 0, kSourceSlot, 0, offsetof(CopyCommand, end));
    writePatch(3, 0, kDestinationSlot, 0, offsetof(CopyCommand, end));
  }
  record.Flags = D3DKMT_RENDER_PRESENTREDIRECTED;
  record.PresentHistoryToken = copy.presentToken;
  pacePresent(context);
  render(record, sizeof(command), 3, 4);
}

}  // namespace qv
