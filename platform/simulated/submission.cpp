// D3DKMTRender: checks a submission against its lists, executes its copies, and hands out the next buffers.
#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <utility>

#include "platform/simulated/calls.h"
#include "platform/simulated/kernel.h"
#include "platform/simulated/window_system.h"

namespace qv::sim {

namespace {

constexpr uint32_t kEndWord = 65640;
constexpr uint32_t kCopyWord = 65617;
constexpr uint32_t kCopyWords = 14;
constexpr uint32_t kSourceSlot = 23;
constexpr uint32_t kDestinationSlot = 17;
constexpr size_t kMostCopies = 4;  // of one submission

// What was written into the buffers of a context, as counts and pointers into them.
struct Written {
  const uint32_t* words;
  size_t wordCount;
  std::span<const D3DDDI_ALLOCATIONLIST> entries;
  std::span<const D3DDDI_PATCHLOCATIONLIST> rows;
};

struct Copy {
  std::shared_ptr<Surface> source, destination;
  RECT from{}, to{};
};

struct Copies {
  std::array<Copy, kMostCopies> list;
  size_t count = 0;
};

// Cuts both rectangles to both surfaces, keeping them the same size; false when nothing is left.
bool clip(Copy* copy) {
  RECT &a = copy->from, &b = copy->to;
  int64_t width = std::min(int64_t{a.right} - a.left, int64_t{b.right} - b.left);
  int64_t height = std::min(int64_t{a.bottom} - a.top, int64_t{b.bottom} - b.top);
  int64_t cutLeft = std::max({int64_t{0}, -int64_t{a.left}, -int64_t{b.left}});
  int64_t cutTop = std::max({int64_t{0}, -int64_t{a.top}, -int64_t{b.top}});
  int64_t ax = a.left + cutLeft, ay = a.top + cutTop, bx = b.left + cutLeft, by = b.top + cutTop;
  width = std::min({width - cutLeft, copy->source->gpu.width - ax, copy->destination->gpu.width - bx});
  height = std::min({height - cutTop, copy->source->gpu.height - ay, copy->destination->gpu.height - by});
  if (width <= 0 || height <= 0) {
    return false;
  }
  a = {static_cast<LONG>(ax), static_cast<LONG>(ay), static_cast<LONG>(ax + width), static_cast<LONG>(ay + height)};
  b = {static_cast<LONG>(bx), static_cast<LONG>(by), static_cast<LONG>(bx + width), static_cast<LONG>(by + height)};
  return true;
}

void copyRows(const Surface& source, const RECT& from, const Surface& destination, const RECT& to) {
  auto bytes = static_cast<size_t>(from.right - from.left) * 4;
  for (LONG row = 0; row < from.bottom - from.top; ++row) {
    // In bounds: both rectangles lie inside their surfaces, and a pitch covers its surface's width.
    std::memcpy(
        destination.gpu.memory + static_cast<size_t>(to.top + row) * destination.gpu.pitch + static_cast<size_t>(to.left) * 4,
        source.gpu.memory + static_cast<size_t>(from.top + row) * source.gpu.pitch + static_cast<size_t>(from.left) * 4, bytes);
  }
}

// The surface that a command names. Complains about what a real GPU would read as garbage.
std::shared_ptr<Surface> surfaceLocked(Kernel& k, const KernelObject& context, D3DKMT_HANDLE handle, const char* role) {
  KernelObject* object = k.find(handle, Kind::Allocation);
  if (object == nullptr || k.deviceOf(handle) != context.parent) {
    complain("submission: %s 0x%x is no allocation of the device", role, handle);
    return nullptr;
  }
  if (context.context->residency && !object->resident) {
    complain("submission: %s 0x%x is not resident", role, handle);
  }
  if (object->pagingFence > context.waited && object->paging != nullptr && object->pagingFence > object->paging->fence) {
    complain("submission: %s 0x%x is used before its paging fence %llu", role, handle, object->pagingFence);
  }
  return object->surface;
}

// With lists, the allocation of a slot is the entry of the slot's first patch row that does not name entry 0.
D3DKMT_HANDLE patchedHandle(const Written& written, uint32_t slot) {
  for (const D3DDDI_PATCHLOCATIONLIST& row : written.rows) {
    if (row.Slot == slot && row.AllocationIndex != 0) {
      return written.entries[row.AllocationIndex].hAllocation;
    }
  }
  return 0;
}

bool listsMakeSense(const Written& written) {
  const auto& entries = written.entries;
  if (entries.empty() || entries[0].hAllocation != 0 || entries[0].Flags != 0) {
    complain("submission: entry 0 of the allocation list is not empty");
    return false;
  }
  for (const D3DDDI_PATCHLOCATIONLIST& row : written.rows) {
    if (row.AllocationIndex >= entries.size() || row.PatchOffset > written.wordCount * 4 ||
        row.DriverId != (row.AllocationIndex == 0 ? 0 : entries[row.AllocationIndex].hAllocation)) {
      complain("submission: patch row for entry %u, driver id 0x%x, offset %u contradicts the lists", row.AllocationIndex,
               row.DriverId, row.PatchOffset);
      return false;
    }
  }
  return true;
}

// Reads the command words into copies. The lock is held.
NTSTATUS parseLocked(Kernel& k, const KernelObject& context, const Written& written, Copies* copies) {
  bool residency = context.context->residency;
  if (residency ? !written.entries.empty() || !written.rows.empty() : !listsMakeSense(written)) {
    if (residency) {
      complain("submission: lists on an adapter with residency");
    }
    return kInvalidParameter;
  }
  const uint32_t* words = written.words;
  bool ended = false;
  for (size_t at = 0; at < written.wordCount && !ended;) {
    if (words[at] == kEndWord) {
      ended = true;
      ++at;
    } else if (words[at] == kCopyWord && written.wordCount - at >= kCopyWords && copies->count < kMostCopies) {
      const uint32_t* w = &words[at];
      auto rect = [](const uint32_t* r) {
        return RECT{static_cast<LONG>(r[0]), static_cast<LONG>(r[1]), static_cast<LONG>(r[2]), static_cast<LONG>(r[3])};
      };
      if (!residency && (patchedHandle(written, kSourceSlot) != w[1] || patchedHandle(written, kDestinationSlot) != w[7])) {
        complain("submission: copy 0x%x to 0x%x contradicts its patch rows", w[1], w[7]);
        return kInvalidParameter;
      }
      Copy copy{surfaceLocked(k, context, w[1], "source"), surfaceLocked(k, context, w[7], "destination"), rect(w + 2),
                rect(w + 8)};
      if (copy.source == nullptr || copy.destination == nullptr) {
        return kInvalidHandle;
      }
      copies->list[copies->count++] = std::move(copy);
      at += kCopyWords;
    } else {
      complain("submission: word %u at %zu is no command", words[at], at);
      return kInvalidParameter;
    }
  }
  if (!ended) {
    complain("submission: no end word");
    return kInvalidParameter;
  }
  return kSuccess;
}

// A picture has arrived in a redirection surface: the desktop shows the window's client area.
void compose(const Copy& copy, uint64_t token) {
  Surface& surface = *copy.destination;
  RECT outer, client;
  if (surface.window == nullptr || !measure(surface.window, &outer, &client)) {
    return;
  }
  LONG dx = client.left - outer.left, dy = client.top - outer.top;
  RECT rect{copy.to.left - dx, copy.to.top - dy, copy.to.right - dx, copy.to.bottom - dy};
  notePresent({.route = PresentRecord::Route::Redirected,
               .window = surface.window,
               .allocation = surface.gpu.handle,
               .rect = rect,
               .token = token});
  PresentSink* sink = presentSink();
  if (sink == nullptr) {
    return;
  }
  if (dx == 0 && dy == 0) {
    sink->present(surface.window, surface.gpu, rect);
    return;
  }
  // A sink takes pictures in client coordinates, and the surface has the window's borders in it.
  auto width = static_cast<uint32_t>(client.right - client.left), height = static_cast<uint32_t>(client.bottom - client.top);
  if (client.right <= client.left || client.bottom <= client.top) {
    return;
  }
  std::shared_ptr<Surface> composed, old;
  {
    std::lock_guard guard(kernel().lock);
    composed = surface.composed;
  }
  if (composed == nullptr || composed->gpu.width != width || composed->gpu.height != height) {
    uint32_t pitch = (width * 4 + 63) / 64 * 64;
    old = std::exchange(composed, makeSurface(width, height, pitch, pitch * height));
    if (composed == nullptr) {
      return;
    }
    composed->gpu.handle = surface.gpu.handle;
    if (old != nullptr) {
      retire(old);  // the sink may know the old one by the handle that the new one takes over
    }
    std::lock_guard guard(kernel().lock);
    surface.composed = composed;
  }
  Copy shown{copy.destination, composed, copy.to, rect};
  if (clip(&shown)) {
    sink->finishReads(surface.gpu.handle);
    copyRows(*shown.source, shown.from, *shown.destination, shown.to);
    sink->present(surface.window, composed->gpu, shown.to);
  }
}

}  // namespace

void setSubmissionLog(bool on) {
  std::lock_guard guard(kernel().lock);
  kernel().logSubmissions = on;
}

std::vector<Submission> submissions() {
  std::lock_guard guard(kernel().lock);
  return {kernel().submissions.begin(), kernel().submissions.end()};
}

}  // namespace qv::sim

using namespace qv::sim;

NTSTATUS APIENTRY D3DKMTRender(D3DKMT_RENDER* render) {
  Call call(Fn::D3DKMTRender);
  call.arguments("context 0x%x, %u bytes, %u allocations, %u patches, flags 0x%x", render->hContext, render->CommandLength,
                 render->AllocationCount, render->PatchLocationCount, render->Flags);
  Kernel& k = kernel();
  Copies copies;
  NTSTATUS status = kInvalidParameter;
  {
    std::lock_guard guard(k.lock);
    KernelObject* object = k.find(render->hContext, Kind::Context);
    if (object == nullptr) {
      return call.result(kInvalidHandle);
    }
    ContextState& context = *object->context;
    const SubmissionBuffers& set = context.sets[context.current];
    bool fits = render->CommandOffset == 0 && render->CommandLength % 4 == 0 &&
                render->CommandLength <= SubmissionBuffers::kCommandBytes &&
                render->AllocationCount <= SubmissionBuffers::kEntries &&
                render->PatchLocationCount <= SubmissionBuffers::kEntries;
    if (fits) {
      Written written{set.words,
                      render->CommandLength / 4,
                      {set.allocations, render->AllocationCount},
                      {set.patches, render->PatchLocationCount}};
      status = call.fails() ? kInvalidParameter : parseLocked(k, *object, written, &copies);
      if (k.logSubmissions) {
        if (k.submissions.size() == Kernel::kKept) {
          k.submissions.pop_front();
        }
        k.submissions.push_back({{written.words, written.words + written.wordCount},
                                 {written.entries.begin(), written.entries.end()},
                                 {written.rows.begin(), written.rows.end()},
                                 render->Flags,
                                 render->PresentHistoryToken,
                                 status});
      }
    } else {
      complain("submission: %u bytes at %u with %u and %u entries do not fit", render->CommandLength, render->CommandOffset,
               render->AllocationCount, render->PatchLocationCount);
    }
    // Callers take over the new buffers without looking at the result, so every call gives some.
    context.current ^= 1;
    SubmissionBuffers& next = context.sets[context.current];
    std::memset(&next, 0xCD, sizeof next);
    render->pNewCommandBuffer = next.words;
    render->NewCommandBufferSize = SubmissionBuffers::kCommandBytes;
    render->pNewAllocationList = context.residency ? nullptr : next.allocations;
    render->NewAllocationListSize = context.residency ? 0 : SubmissionBuffers::kEntries;
    render->pNewPatchLocationList = context.residency ? nullptr : next.patches;
    render->NewPatchLocationListSize = context.residency ? 0 : SubmissionBuffers::kEntries;
    render->NewCommandBuffer = 0;
    render->QueuedBufferCount = 1;
  }
  if (status < 0 || call.fails()) {
    return call.result(status);
  }
  for (size_t i = 0; i < copies.count; ++i) {
    Copy& copy = copies.list[i];
    if (!clip(&copy)) {
      continue;
    }
    if (PresentSink* sink = presentSink(); sink != nullptr && copy.destination->window != nullptr) {
      sink->finishReads(copy.destination->gpu.handle);
    }
    copyRows(*copy.source, copy.from, *copy.destination, copy.to);
    if ((render->Flags & D3DKMT_RENDER_PRESENTREDIRECTED) != 0) {
      compose(copy, render->PresentHistoryToken);
    }
  }
  return call.result(kSuccess);
}
