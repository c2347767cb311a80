// The controls of the simulated Windows: what a user, the desktop and the hardware do there. Used by tests and loaders, never by
// the driver. Every function may be called from any thread.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/d3dkmt.h"
#include "platform/simulated/gpu_link.h"
#include "platform/win32.h"

namespace qv::sim {

// ---- The whole -----------------------------------------------------------------------------------------------------------

// Back to a clean process on a clean machine: every handle of every kind is gone (without messages), TLS slots are free and
// null on every thread, every setting below has its default, counts, traces and armed failures are cleared, link and sink are
// null. No other thread may be inside a call.
void reset();

struct LiveCounts {
  uint32_t adapters, devices, contexts, resources, pagingQueues, trimRegistrations;  // kernel objects of the process
  uint32_t ownedSources;                                                             // video present sources with an owner
  uint32_t windows, classes, hooks, deviceContexts;
  uint32_t tlsSlots, criticalSections;
  uint32_t heldSections;  // critical sections that some thread is inside of
  bool operator==(const LiveCounts&) const = default;
};
LiveCounts liveCounts();
std::string describe(const LiveCounts& counts);  // one line, for messages of tests

// ---- Calls: failures, counts, trace --------------------------------------------------------------------------------------

// Makes the n-th call from now (1 is the next one) of the named function fail, once. A function that returns an NTSTATUS
// returns `status`; any other returns its failure value and puts `status` into the last error. Calls that only give something
// back (D3DKMTDestroy..., D3DKMTCloseAdapter, D3DKMTEvict, D3DKMTUnregister..., ReleaseDC, UnhookWindowsHookEx, UnregisterClassW,
// TlsFree) do their work before they report the failure, so that a handle left over is always the caller's fault; a failing
// D3DKMTRender hands out new buffers as a working one does. False when there is no such function or it cannot fail.
bool failCall(std::string_view name, uint64_t n, int32_t status);
// The same for the n-th call of whatever function that can fail: 0xC0000001 where there is a status, else last error 8.
void failAnyCall(uint64_t n);
// Name of the call that was last made to fail, empty when none was since the last reset() or clearFailures().
std::string failedCall();
void clearFailures();

// Calls of a function since the last reset; TlsGetValue alone is not counted. An unknown name counts 0.
uint64_t callCount(std::string_view name);
// Every function that was called, with its count, in order of name; and how many of the calls could have failed.
std::vector<std::pair<std::string, uint64_t>> callCounts();
uint64_t failableCallCount();
void resetCallCounts();

// The last 4096 calls as "thread name(arguments) = result", oldest first. Off at start; off costs one relaxed load per call.
void setTrace(bool on);
std::vector<std::string> trace();
// Whether the calling thread holds the section. Not a platform call: neither counted nor traced.
bool holdsSection(const CRITICAL_SECTION& section);
void clearTrace();

// Calls that a real kernel would punish rather than report: submissions whose lists contradict their commands, copies from
// surfaces that are not resident, locks used before they are initialised. Each is one line, kept up to 256.
std::vector<std::string> complaints();

// ---- Process ---------------------------------------------------------------------------------------------------------------

// What GetModuleFileNameW answers for the process; by default the real image path. Empty makes it fail.
void setImagePath(std::u16string_view path);

struct VersionInfo {
  uint16_t productMajor = 0;
  bool hasFixedInfo = true;
  uint32_t fixedInfoSize = 52;                              // bytes of it that the resource holds
  std::vector<std::pair<uint16_t, uint16_t>> translations;  // language, code page
  std::map<std::u16string, std::u16string> strings;         // by full path, as "\\StringFileInfo\\040904B0\\ProductName"
};
// The version resource of the image; by default it has none.
void setVersionInfo(const std::optional<VersionInfo>& info);

// Makes a function available to GetProcAddress. The module counts as loaded from then on. Gdi32.dll is always loaded and has
// the seven residency thunks; the module name is compared without case.
void registerExportAddress(std::u16string_view module, std::string_view name, PROC function);
template <class Result, class... Arguments>
void registerExport(std::u16string_view module, std::string_view name, Result (*function)(Arguments...)) {
  registerExportAddress(module, name, reinterpret_cast<PROC>(reinterpret_cast<void*>(function)));
}
void removeExport(std::u16string_view module, std::string_view name);

// How many TLS slots the process may have at once, at most and by default 63.
void setTlsSlotLimit(uint32_t slots);

// Called by ExitProcess in place of ending the process; it must not return (throw or jump). Null restores the real end.
void setExitHandler(void (*handler)(UINT code));

// ---- Windows ---------------------------------------------------------------------------------------------------------------

// A window belongs to the thread that creates it, or with `anyThread` to one that never ends. Messages are sent to the hooks of
// that thread and then to the window procedure: at once when the acting thread is the owner, when the owner has ended, or when
// the window has `anyThread`; otherwise they wait in the owner's queue until it calls pumpMessages(). Geometry and visibility
// change at once in every case, but a window whose destruction waits in a queue lives until it is delivered.
struct WindowOptions {
  RECT client{0, 0, 640, 480};  // on the screen
  RECT frame{0, 0, 0, 0};       // widths of the four borders around the client area
  HWND parent = nullptr;        // makes it a child window; null for a top-level window
  bool visible = true;
  bool anyThread = false;  // for loaders whose programs know no owner threads: whoever acts delivers
  int pixelFormat = 0;
  WNDPROC procedure = nullptr;  // null for DefWindowProcW
};
HWND createWindow(const WindowOptions& options = {});
bool destroyWindow(HWND window);
bool isAlive(HWND window);

// Moves the client area there, with WM_WINDOWPOSCHANGED when that changes anything. Children move along without messages.
bool placeWindow(HWND window, const RECT& client);
bool moveWindow(HWND window, int x, int y);             // client area's left and top on the screen
bool resizeWindow(HWND window, int width, int height);  // client size
bool showWindow(HWND window, bool visible);
// A minimised window stands far off the screen with an empty client area and is still "visible".
bool minimiseWindow(HWND window);
bool restoreWindow(HWND window);
// Gives the foreground to a top-level window, or to another process with null. Top-level windows of the threads that lose and
// gain it get WM_ACTIVATEAPP; the window itself gets WM_WINDOWPOSCHANGED for its new place in the z-order.
bool setForeground(HWND window);

// Sends any message in the same way. For WM_WINDOWPOSCHANGED lParam is a WINDOWPOS, which is copied, or 0.
bool sendMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
// WM_WINDOWPOSCHANGED with exactly these flags and the window's present rectangle.
bool sendWindowPosChanged(HWND window, UINT flags);
// Delivers the messages that wait for this thread, and those of threads that have ended. Returns how many.
uint32_t pumpMessages();
uint32_t pendingMessages();

// A device context without a window.
HDC createMemoryDC();
bool deleteMemoryDC(HDC dc);
// Sets the pixel format behind a device context without any check.
bool forcePixelFormat(HDC dc, int format);

// ---- Monitors, adapter, display --------------------------------------------------------------------------------------------

struct MonitorOptions {
  std::u16string device = u"\\\\.\\DISPLAY1";
  RECT rect{0, 0, 1920, 1080};
  uint32_t source = 0;     // video present source id
  uint32_t modeWidth = 0;  // of the display mode; 0 for the rectangle's
  uint32_t modeHeight = 0;
  uint32_t refreshNumerator = 60;
  uint32_t refreshDenominator = 1;
  uint32_t scanLineOrdering = 1;  // progressive
  uint32_t orientation = 1;       // identity
};
// The first one is the primary. All belong to the one adapter. By default there is the one above.
void setMonitors(std::vector<MonitorOptions> monitors);

LUID adapterLuid();
// The adapter caps word: bit 28 is the alternative pool, 4 or more in the low four bits asks for residency. 0 by default.
void setAdapterCaps(uint32_t caps);
void setResidency(bool on);

// Takes a source for another process, so that exclusive ownership is refused; or gives it back.
void occupySource(uint32_t source, bool occupied);
// Takes a source away from its owner, as a mode change by someone else does: the next flip fails.
void revokeSource(uint32_t source);
uint32_t sourceOwner(uint32_t source);       // device handle, 0 for none
uint32_t displayedSurface(uint32_t source);  // allocation that the display scans out, 0 when it shows the desktop

enum class VBlankClock {
  Real,         // the refresh rate of the monitor, in real time
  StepOnWait,   // time stands still, and whoever waits for a vertical blank makes it happen
  BlockOnWait,  // time stands still, and waiting threads sleep until advanceVBlanks()
};
void setVBlankClock(VBlankClock clock);
void advanceVBlanks(uint32_t count);
uint32_t vblankCount();

// Held: paging operations stay pending until completePaging(); their fence values are handed out all the same.
void setPagingHeld(bool held);
void completePaging();
// Calls every registered trim callback; returns how many there were.
uint32_t requestTrim(uint64_t bytes);

// ---- Composition -----------------------------------------------------------------------------------------------------------

// Off at start. When on, every window has a redirection surface of the size of its window rectangle.
void setComposition(bool on);
bool composition();
// Share handle for PRESENTBUFFERS::hSurface; 0 when the desktop is not composed or the window is dead or empty. It changes with
// the size of the window, and on demand.
uint32_t redirectionSurface(HWND window);
void replaceRedirectionSurface(HWND window);
// A fresh value for PRESENTBUFFERS::PresentToken.
uint64_t presentToken(HWND window);
// Size of the runtime's private data that a shared surface reports; 0 by default.
void setSharedRuntimeDataSize(uint32_t bytes);

// ---- What reached the display and the GPU ------------------------------------------------------------------------------------

struct PresentRecord {
  enum class Route { Blt, Flip, Redirected };
  Route route{};
  HWND window = nullptr;
  uint32_t allocation = 0;    // the picture's surface: the source of a blit or flip, the redirection surface's share handle
  RECT rect{};                // in the client area
  uint32_t source = 0;        // of a flip
  uint32_t flipInterval = 0;  // of a flip
  uint64_t token = 0;         // of a redirected present
};
std::vector<PresentRecord> presents();  // the last 256, oldest first
uint64_t presentCount();

struct Submission {
  std::vector<uint32_t> words;
  std::vector<D3DDDI_ALLOCATIONLIST> allocations;
  std::vector<D3DDDI_PATCHLOCATIONLIST> patches;
  uint32_t flags = 0;
  uint64_t token = 0;
  NTSTATUS status = 0;
};
// Keeps a copy of every D3DKMTRender while on; off at start. The last 256, oldest first.
void setSubmissionLog(bool on);
std::vector<Submission> submissions();

// A surface by its allocation handle; the memory stays valid as long as the allocation lives. False for a dead handle.
bool findSurface(uint32_t allocation, GpuAllocation* surface);

}  // namespace qv::sim
