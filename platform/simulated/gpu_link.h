// GpuLink: what the simulated kernel asks of the virtual GPU behind it. The peer in this process, the client of a qv-host
// process, a recorder and a null GPU all implement it.
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace qv::sim {

// Memory of one surface, made by the simulated kernel so that guest, host and the window system can all map it.
struct GpuAllocation {
  uint32_t handle = 0;  // D3DKMT allocation handle, as it stands in packets; never 0
  int fd = -1;          // memfd of `size` bytes, sealed against shrinking; owned by the simulated kernel
  uint8_t* memory = nullptr;
  uint32_t size = 0;  // bytes
  uint32_t width = 0, height = 0;
  uint32_t pitch = 0;  // bytes per row; rows top-down, pixels B, G, R, X
};

class GpuLink {
 public:
  virtual ~GpuLink() = default;
  // Delivers a private packet synchronously, from the calling thread. `packet` and all addresses in it are memory of this
  // process. On return the status and reply fields of the packet and all direction-1 memory have been written. The result is
  // that of D3DKMTEscape; a negative one means that the packet was not delivered.
  virtual NTSTATUS escape(void* packet, uint32_t size) = 0;
  // The same for a flush that writes a frame into the back buffer. `finishReads(context)` is called at most once, on this
  // thread, before the frame is written, and returns when nobody reads the buffer's last picture any more. A link may let the host
  // draw meanwhile and write afterwards.
  virtual NTSTATUS escapeFrame(void* packet, uint32_t size, void (*finishReads)(void* context), void* context) {
    finishReads(context);
    return escape(packet, size);
  }
  // From now on packets may name this allocation. False when the GPU cannot take it.
  virtual bool openAllocation(const GpuAllocation& allocation) = 0;
  virtual void closeAllocation(uint32_t handle) = 0;
};

// The link behind the D3DKMT thunks, null at start: an escape without one fails. Not owned. Set it before the driver attaches.
void setGpuLink(GpuLink* link);
GpuLink* gpuLink();

// Where pictures of a present go (a loader's X window, a test's recorder). Called on the presenting thread.
class PresentSink {
 public:
  virtual ~PresentSink() = default;
  // `source` is shown in the client area of `window`; `rect` is in client coordinates, the same for source and destination.
  virtual void present(HWND window, const GpuAllocation& source, const RECT& rect) = 0;
  // The host is about to write into this allocation: returns once a present() of it has been consumed.
  virtual void finishReads(uint32_t allocation) = 0;
  // The allocation goes away.
  virtual void forget(uint32_t allocation) = 0;
};

void setPresentSink(PresentSink* sink);
PresentSink* presentSink();

}  // namespace qv::sim
