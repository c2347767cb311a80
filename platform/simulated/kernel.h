// The records of the simulated display kernel and the one lock that guards them. Internal to platform/simulated.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/simulated/control.h"
#include "platform/simulated/handle_table.h"

namespace qv::sim {

inline constexpr NTSTATUS kSuccess = 0;
inline constexpr NTSTATUS kPending = 0x103;
inline constexpr NTSTATUS kInvalidHandle = static_cast<NTSTATUS>(0xC0000008);
inline constexpr NTSTATUS kInvalidParameter = static_cast<NTSTATUS>(0xC000000D);
inline constexpr NTSTATUS kNotSupported = static_cast<NTSTATUS>(0xC00000BB);
inline constexpr NTSTATUS kNoMemory = static_cast<NTSTATUS>(0xC0000017);
inline constexpr NTSTATUS kNoVideoMemory = static_cast<NTSTATUS>(0xC01E0100);
inline constexpr NTSTATUS kPresentModeChanged = static_cast<NTSTATUS>(0xC01E0005);
inline constexpr NTSTATUS kSourceInUse = static_cast<NTSTATUS>(0xC01E0342);

inline constexpr uint32_t kDescriptorBytes = 108;  // private data of a resource
inline constexpr uint32_t kAllocationBytes = 24;   // private data of its allocation

// The memory of one surface. Unmapped and closed with the last reference.
struct Surface {
  GpuAllocation gpu;  // `handle` is the allocation that made it, or the share handle of a redirection surface
  BYTE descriptor[kDescriptorBytes] = {};
  BYTE privateData[kAllocationBytes] = {};
  HWND window = nullptr;              // of a redirection surface
  GpuLink* link = nullptr;            // the link that was told of the surface
  std::shared_ptr<Surface> composed;  // client-sized picture of a redirection surface whose window has borders

  Surface() = default;
  Surface(const Surface&) = delete;
  Surface& operator=(const Surface&) = delete;
  ~Surface();
};

// Null when there is no memory. Neither link nor sink learns of it.
std::shared_ptr<Surface> makeSurface(uint32_t width, uint32_t height, uint32_t pitch, uint32_t size);
// Tells sink and link that the surface goes. No lock is held.
void retire(const std::shared_ptr<Surface>& surface);

enum class Kind : uint8_t { None, Adapter, Device, Context, Resource, Allocation, PagingQueue, SyncObject, Share };

// What a submission is written into; the context swaps to the other set after each render.
struct SubmissionBuffers {
  static constexpr UINT kCommandBytes = 4096;
  static constexpr UINT kEntries = 16;
  alignas(16) uint32_t words[kCommandBytes / 4];
  D3DDDI_ALLOCATIONLIST allocations[kEntries];
  D3DDDI_PATCHLOCATIONLIST patches[kEntries];
};

struct ContextState {
  SubmissionBuffers sets[2];
  uint32_t current = 0;
  bool residency = false;  // no lists: the adapter asked for residency when the context was made
};

struct PagingState {
  UINT64 fence = 0;   // at the address that the process was given; written atomically
  UINT64 issued = 0;  // last value handed out
};

struct KernelObject {
  Kind kind = Kind::None;
  D3DKMT_HANDLE parent = 0;  // adapter of a device, device of the rest, resource of an allocation, queue of a sync object
  bool primary = false;      // allocation
  bool resident = false;     // allocation
  bool opened = false;       // resource opened from a share handle
  UINT64 pagingFence = 0;    // allocation: value that tells that it has become resident
  UINT64 waited = 0;         // context: highest paging fence that it waits for
  D3DDDI_VIDEO_PRESENT_SOURCE_ID source = 0;   // allocation
  std::shared_ptr<Surface> surface = nullptr;  // allocation, share
  std::shared_ptr<ContextState> context = nullptr;
  std::shared_ptr<PagingState> paging = nullptr;  // queue, sync object, allocation that it paged in
};

// What one video present source shows and who owns it.
struct Display {
  D3DKMT_HANDLE owner = 0;  // device
  bool occupied = false;    // by another process
  bool modeSet = false;
  D3DKMT_HANDLE primary = 0;
};

struct TrimRegistration {
  D3DKMT_HANDLE device;
  PFND3DKMT_TRIMNOTIFICATIONCALLBACK callback;
  void* context;
};

struct Kernel {
  std::mutex lock;  // guards all of it; not held while link, sink or a callback runs, nor during a copy
  HandleTable<KernelObject, 4> objects;
  uint32_t caps = 0;
  std::map<uint32_t, Display> displays;
  std::map<uint64_t, TrimRegistration> trims;
  uint64_t nextTrim = 1;
  bool pagingHeld = false;

  bool composed = false;
  std::map<HWND, D3DKMT_HANDLE> redirection;  // share handles
  uint64_t tokens = 0;
  uint32_t sharedRuntimeBytes = 0;

  static constexpr size_t kKept = 256;
  std::vector<PresentRecord> presents = std::vector<PresentRecord>(kKept);  // a ring over presentCount
  uint64_t presentCount = 0;
  bool logSubmissions = false;
  std::deque<Submission> submissions;

  KernelObject* find(D3DKMT_HANDLE handle, Kind kind);
  // Device of a context, resource, allocation or queue; 0 when it is gone.
  D3DKMT_HANDLE deviceOf(D3DKMT_HANDLE handle);
  uint32_t count(Kind kind);
};

Kernel& kernel();

// Removes the redirection surface of a window that is gone.
void dropRedirection(HWND window);
void notePresent(const PresentRecord& record);

struct DisplayMode {
  uint32_t width, height;
  uint32_t refreshNumerator, refreshDenominator;
  uint32_t scanLineOrdering, orientation;
};
// The mode of a source, false when no monitor shows it.
bool modeOfSource(uint32_t source, DisplayMode* mode);
void resetKernel();
void resetDisplayClock();
// Removes a resource with its allocations; returns surfaces to retire. The lock is held.
void removeResourceLocked(D3DKMT_HANDLE resource, std::vector<std::shared_ptr<Surface>>* retired);

}  // namespace qv::sim
