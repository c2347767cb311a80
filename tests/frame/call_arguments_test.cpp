// What the driver hands to further platform calls, field by field: bring-up, submission, display ownership, pacing, and the
// window class. The linker puts the functions below in front of the simulated ones.
#include <atomic>
#include <cstring>
#include <string>

#include "driver/base/current_context.h"
#include "driver/base/process_state.h"
#include "driver/host/flush_packet.h"
#include "driver/host/source_owner.h"
#include "tests/frame/frame_test.h"

namespace {

struct LastCalls {
  std::vector<std::u16string> openedAdapters;
  D3DKMT_CREATEDEVICE createDevice;
  D3DKMT_HANDLE createDeviceAdapter;
  struct Query {
    D3DKMT_QUERYADAPTERINFO info;
    std::vector<uint8_t> before;
  };
  std::vector<Query> queries;
  std::vector<D3DKMT_RENDER> renders;
  const void* renderedBuffer;
  std::vector<D3DKMT_HANDLE> idleDevices;
  struct Owner {
    D3DKMT_SETVIDPNSOURCEOWNER set;
    uint32_t type, source;
  };
  std::vector<Owner> owners;
  D3DKMT_GETDEVICESTATE getDeviceState;
  D3DKMT_WAITFORVERTICALBLANKEVENT waitForBlank;
  D3DKMT_QUERYRESOURCEINFO queryResource;
  WNDCLASSW windowClass;
  std::u16string className;
  struct Window {
    DWORD exStyle, style;
    LPCWSTR className;
    std::u16string title;
    int x, y, width, height;
    HWND parent;
    HMENU menu;
    HINSTANCE instance;
    LPVOID parameter;
  } window;
  struct Hook {
    int kind;
    HINSTANCE module;
    DWORD thread;
  } hook;
};
LastCalls last;
// Other tests run many threads through these functions; only one test at a time keeps what it sees.
std::atomic<bool> keeping{false};

}  // namespace

// NOLINTBEGIN: names that the linker gives to the two sides of a wrapped function.
#define QV_WRAPPED(function, mangled, record)             \
  NTSTATUS real##function(record) asm("__real_" mangled); \
  NTSTATUS wrap##function(record) asm("__wrap_" mangled);
QV_WRAPPED(OpenAdapter, "_Z35D3DKMTOpenAdapterFromGdiDisplayNameP36D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME",
           D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME*)
QV_WRAPPED(CreateDevice, "_Z18D3DKMTCreateDeviceP19D3DKMT_CREATEDEVICE", D3DKMT_CREATEDEVICE*)
QV_WRAPPED(QueryAdapterInfo, "_Z22D3DKMTQueryAdapterInfoPK23D3DKMT_QUERYADAPTERINFO", const D3DKMT_QUERYADAPTERINFO*)
QV_WRAPPED(Render, "_Z12D3DKMTRenderP13D3DKMT_RENDER", D3DKMT_RENDER*)
QV_WRAPPED(WaitForIdle, "_Z17D3DKMTWaitForIdlePK18D3DKMT_WAITFORIDLE", const D3DKMT_WAITFORIDLE*)
QV_WRAPPED(SetSourceOwner, "_Z25D3DKMTSetVidPnSourceOwnerPK26D3DKMT_SETVIDPNSOURCEOWNER", const D3DKMT_SETVIDPNSOURCEOWNER*)
QV_WRAPPED(GetDeviceState, "_Z20D3DKMTGetDeviceStateP21D3DKMT_GETDEVICESTATE", D3DKMT_GETDEVICESTATE*)
QV_WRAPPED(WaitForBlank, "_Z31D3DKMTWaitForVerticalBlankEventPK32D3DKMT_WAITFORVERTICALBLANKEVENT",
           const D3DKMT_WAITFORVERTICALBLANKEVENT*)
QV_WRAPPED(QueryResourceInfo, "_Z23D3DKMTQueryResourceInfoP24D3DKMT_QUERYRESOURCEINFO", D3DKMT_QUERYRESOURCEINFO*)
ATOM realRegisterClass(const WNDCLASSW*) asm("__real__Z14RegisterClassWPK9WNDCLASSW");
ATOM wrapRegisterClass(const WNDCLASSW*) asm("__wrap__Z14RegisterClassWPK9WNDCLASSW");
#define QV_CREATE_WINDOW "_Z15CreateWindowExWjPKDsS0_jiiiiP6HWND__P7HMENU__P11HINSTANCE__Pv"
HWND realCreateWindow(DWORD, LPCWSTR, LPCWSTR, DWORD, int, int, int, int, HWND, HMENU, HINSTANCE,
                      LPVOID) asm("__real_" QV_CREATE_WINDOW);
HWND wrapCreateWindow(DWORD, LPCWSTR, LPCWSTR, DWORD, int, int, int, int, HWND, HMENU, HINSTANCE,
                      LPVOID) asm("__wrap_" QV_CREATE_WINDOW);
HHOOK realSetHook(int, HOOKPROC, HINSTANCE, DWORD) asm("__real__Z17SetWindowsHookExWiPFlimlEP11HINSTANCE__j");
HHOOK wrapSetHook(int, HOOKPROC, HINSTANCE, DWORD) asm("__wrap__Z17SetWindowsHookExWiPFlimlEP11HINSTANCE__j");
// NOLINTEND

NTSTATUS wrapOpenAdapter(D3DKMT_OPENADAPTERFROMGDIDISPLAYNAME* open) {
  if (keeping) last.openedAdapters.emplace_back(open->DeviceName, std::size(open->DeviceName));
  return realOpenAdapter(open);
}

NTSTATUS wrapCreateDevice(D3DKMT_CREATEDEVICE* create) {
  if (keeping) {
    last.createDevice = *create;
    last.createDeviceAdapter = create->hAdapter;
  }
  return realCreateDevice(create);
}

NTSTATUS wrapQueryAdapterInfo(const D3DKMT_QUERYADAPTERINFO* query) {
  if (keeping) {
    const uint8_t* const bytes = static_cast<const uint8_t*>(query->pPrivateDriverData);
    last.queries.push_back({*query, {bytes, bytes + query->PrivateDriverDataSize}});
  }
  return realQueryAdapterInfo(query);
}

NTSTATUS wrapRender(D3DKMT_RENDER* render) {
  if (keeping) {
    last.renders.push_back(*render);
    last.renderedBuffer = qv::Host.commandBuffer;
  }
  return realRender(render);
}

NTSTATUS wrapWaitForIdle(const D3DKMT_WAITFORIDLE* wait) {
  if (keeping) last.idleDevices.push_back(wait->hDevice);
  return realWaitForIdle(wait);
}

NTSTATUS wrapSetSourceOwner(const D3DKMT_SETVIDPNSOURCEOWNER* set) {
  if (keeping) {
    const bool listed = set->VidPnSourceCount != 0;
    last.owners.push_back({*set, listed ? static_cast<uint32_t>(*set->pType) : ~0u, listed ? *set->pVidPnSourceId : ~0u});
  }
  return realSetSourceOwner(set);
}

NTSTATUS wrapGetDeviceState(D3DKMT_GETDEVICESTATE* get) {
  if (keeping) last.getDeviceState = *get;
  return realGetDeviceState(get);
}

NTSTATUS wrapWaitForBlank(const D3DKMT_WAITFORVERTICALBLANKEVENT* wait) {
  if (keeping) last.waitForBlank = *wait;
  return realWaitForBlank(wait);
}

NTSTATUS wrapQueryResourceInfo(D3DKMT_QUERYRESOURCEINFO* query) {
  if (keeping) last.queryResource = *query;
  return realQueryResourceInfo(query);
}

ATOM wrapRegisterClass(const WNDCLASSW* description) {
  if (keeping) {
    last.windowClass = *description;
    last.className = description->lpszClassName;
  }
  return realRegisterClass(description);
}

HWND wrapCreateWindow(DWORD exStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width, int height,
                      HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter) {
  if (keeping) last.window = {exStyle, style, className, title, x, y, width, height, parent, menu, instance, parameter};
  return realCreateWindow(exStyle, className, title, style, x, y, width, height, parent, menu, instance, parameter);
}

HHOOK wrapSetHook(int kind, HOOKPROC routine, HINSTANCE module, DWORD thread) {
  if (keeping) last.hook = {kind, module, thread};
  return realSetHook(kind, routine, module, thread);
}

namespace qv::test {
namespace {

class CallArgumentsTest : public FrameTest {
 protected:
  CallArgumentsTest() {
    leave();
    detach();
    last = {};
    keeping = true;
  }
  ~CallArgumentsTest() override { keeping = false; }
  void start(RECT client = {100, 50, 164, 98}) {
    ASSERT_EQ(attach(), 1);
    window = makeWindow(4, client);
    sim::setForeground(window);
    makeCurrent(window);
  }
  void present() { SubmitFlush(currentContext(), 1029, nullptr, 0, nullptr, 0, nullptr, 0); }
  HWND window = nullptr;
};

// All 32 characters of a device name, which need not end in zero.
std::u16string deviceName(std::u16string name) {
  name.resize(32);
  return name;
}

// The adapter is that of the primary monitor, wherever on the desktop it stands, by its whole name; the device is made on it.
TEST_F(CallArgumentsTest, AdapterIsThatOfThePrimaryMonitor) {
  const std::u16string name = u"\\\\.\\DISPLAY-WITH-A-NAME-OF-31-C";
  ASSERT_EQ(name.size(), 31u);
  sim::setMonitors({{.device = name, .rect = {1920, 0, 3840, 1080}}, {.device = u"\\\\.\\DISPLAY2", .rect = {-800, 0, 0, 600}}});
  ASSERT_EQ(attach(), 1);
  EXPECT_EQ(last.openedAdapters, std::vector<std::u16string>{deviceName(name)});
  EXPECT_NE(Host.adapter, 0u);
  EXPECT_EQ(last.createDeviceAdapter, Host.adapter);
  EXPECT_EQ(last.createDevice.Flags, 0u);
}

// The point that finds the primary monitor is (0, 0): a second monitor there does not take its place when it is the primary, and
// does when it holds the point.
TEST_F(CallArgumentsTest, PrimaryMonitorIsFoundAtTheOrigin) {
  sim::setMonitors({{.device = u"first", .rect = {1, 1, 800, 600}}, {.device = u"second", .rect = {-800, -600, 1, 1}}});
  ASSERT_EQ(attach(), 1);
  EXPECT_EQ(last.openedAdapters, std::vector<std::u16string>{deviceName(u"second")});
}

// The caps are asked for with type 0 and a record of 36 bytes on the adapter, the display mode with type 9, 48 bytes and the
// source filled in.
TEST_F(CallArgumentsTest, AdapterIsAskedWithItsRecords) {
  sim::setMonitors({{}, {.device = u"\\\\.\\DISPLAY-WITH-A-NAME-OF-31-C", .rect = {1920, 0, 2720, 600}, .source = 3}});
  start({1920, 0, 2720, 600});
  ASSERT_EQ(last.queries.size(), 2u);
  EXPECT_EQ(last.queries[0].info.hAdapter, Host.adapter);
  EXPECT_EQ(static_cast<uint32_t>(last.queries[0].info.Type), 0u);
  EXPECT_EQ(last.queries[0].before, std::vector<uint8_t>(36, 0));
  EXPECT_NE(last.queries[1].info.hAdapter, 0u);
  EXPECT_NE(last.queries[1].info.hAdapter, Host.adapter);
  EXPECT_EQ(static_cast<uint32_t>(last.queries[1].info.Type), 9u);
  std::vector<uint8_t> mode(48, 0);
  mode[0] = 3;
  EXPECT_EQ(last.queries[1].before, mode);
  EXPECT_EQ(last.openedAdapters.back(), deviceName(u"\\\\.\\DISPLAY-WITH-A-NAME-OF-31-C"));
}

// A source is taken with type 2 and given up with type 0, one source on the device; the repetition has no list at all.
TEST_F(CallArgumentsTest, SourceOwnerHasItsRecord) {
  ASSERT_EQ(attach(), 1);
  EXPECT_EQ(TakeSourceOwner(0), 0);
  sim::failCall("D3DKMTSetVidPnSourceOwner", 1, static_cast<NTSTATUS>(0xC000000D));
  EXPECT_EQ(ReleaseSourceOwner(0), 0);
  ASSERT_EQ(last.owners.size(), 3u);
  const uint32_t types[] = {2, 0, ~0u}, sources[] = {0, 0, ~0u}, counts[] = {1, 1, 0};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(last.owners[i].set.hDevice, Host.device);
    EXPECT_EQ(last.owners[i].set.VidPnSourceCount, counts[i]);
    EXPECT_EQ(last.owners[i].type, types[i]);
    EXPECT_EQ(last.owners[i].source, sources[i]);
  }
  EXPECT_EQ(last.owners[2].set.pType, nullptr);
  EXPECT_EQ(last.owners[2].set.pVidPnSourceId, nullptr);
}

void expectRender(const D3DKMT_RENDER& render, uint32_t length, uint32_t allocations, uint32_t patches, uint32_t flags,
                  uint64_t token) {
  D3DKMT_RENDER expected{};
  expected.hContext = Host.context;
  expected.CommandLength = length;
  expected.AllocationCount = allocations;
  expected.PatchLocationCount = patches;
  expected.Flags = flags;
  expected.PresentHistoryToken = token;
  EXPECT_EQ(std::memcmp(&render, &expected, sizeof render), 0);
}

// A render names the context, the length and the two counts; a redirected copy has its flag and token besides. Everything else is
// zero. The wait after the first render is one on the device.
TEST_F(CallArgumentsTest, RenderHasItsRecord) {
  sim::setComposition(true);
  start();
  ASSERT_EQ(last.renders.size(), 1u);
  expectRender(last.renders[0], 4, 2, 1, 0, 0);
  EXPECT_EQ(last.idleDevices, std::vector<D3DKMT_HANDLE>{Host.device});
  token = 77;
  present();
  ASSERT_EQ(last.renders.size(), 2u);
  expectRender(last.renders[1], 60, 3, 4, 16, 77);
  EXPECT_EQ(last.idleDevices.size(), 1u);
  EXPECT_EQ(last.queryResource.hDevice, Host.device);
  EXPECT_EQ(last.queryResource.hGlobalShare, sim::redirectionSurface(window));
}

// With residency the counts are zero too.
TEST_F(CallArgumentsTest, RenderHasNoCountsWithResidency) {
  sim::setResidency(true);
  sim::setComposition(true);
  start();
  token = 78;
  present();
  ASSERT_EQ(last.renders.size(), 2u);
  expectRender(last.renders[0], 4, 0, 0, 0, 0);
  expectRender(last.renders[1], 60, 0, 0, 16, 78);
}

// A render whose result is a failure leaves buffers for the next one, and what it gave back is taken over in all six fields.
TEST_F(CallArgumentsTest, RenderOutputsAreTakenOver) {
  start();
  const void* const first = last.renderedBuffer;
  EXPECT_NE(Host.commandBuffer, first);
  sim::resizeWindow(window, 30, 30);
  present();
  ASSERT_EQ(last.renders.size(), 2u);
  EXPECT_NE(last.renderedBuffer, first);
  EXPECT_GE(Host.commandBufferSize, 60u);
  EXPECT_GE(Host.allocationListSize, 3u);
  EXPECT_GE(Host.patchListSize, 4u);
}

// The statistics asked for are those of presents on the device, and the blank waited for is that of adapter, device and source 0.
TEST_F(CallArgumentsTest, PacingHasItsRecords) {
  sim::setVBlankClock(sim::VBlankClock::StepOnWait);
  start();
  currentContext()->swapInterval = 1;
  present();
  present();
  EXPECT_EQ(last.getDeviceState.hDevice, Host.device);
  EXPECT_EQ(static_cast<uint32_t>(last.getDeviceState.StateType), 4u);
  EXPECT_EQ(last.waitForBlank.hAdapter, Host.adapter);
  EXPECT_EQ(last.waitForBlank.hDevice, Host.device);
  EXPECT_EQ(last.waitForBlank.VidPnSourceId, 0u);
}

// The class of pbuffers has a name, the library's instance, 20 extra bytes and a procedure, and nothing else.
TEST_F(CallArgumentsTest, PbufferClassHasItsFields) {
  ASSERT_EQ(attach(), 1);
  EXPECT_EQ(last.className, u"QuillvaneGLpbuffer");
  EXPECT_EQ(last.windowClass.style, 0u);
  EXPECT_NE(last.windowClass.lpfnWndProc, nullptr);
  EXPECT_EQ(last.windowClass.cbClsExtra, 0);
  EXPECT_EQ(last.windowClass.cbWndExtra, 20);
  EXPECT_EQ(last.windowClass.hInstance, ModuleInstance);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(last.windowClass.hInstance), 0x10000u);
  EXPECT_EQ(last.windowClass.hIcon, nullptr);
  EXPECT_EQ(last.windowClass.hCursor, nullptr);
  EXPECT_EQ(last.windowClass.hbrBackground, nullptr);
  EXPECT_EQ(last.windowClass.lpszMenuName, nullptr);
}

// A pbuffer's window is made by the atom, without a title, as a popup at the default place, with the size asked for and no
// parent. Sizes above the limits that the attributes tell are not refused.
TEST_F(CallArgumentsTest, PbufferWindowHasItsArguments) {
  ASSERT_EQ(attach(), 1);
  const HPBUFFERARB pbuffer = gl::wglCreatePbufferARB(nullptr, 4, 4096, 2049, nullptr);
  ASSERT_NE(pbuffer, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(last.window.className), PbufferClassAtom);
  EXPECT_EQ(last.window.exStyle, 0u);
  EXPECT_EQ(last.window.title, u"");
  EXPECT_EQ(last.window.style, 0x86000000u);
  EXPECT_EQ(static_cast<uint32_t>(last.window.x), 0x80000000u);
  EXPECT_EQ(static_cast<uint32_t>(last.window.y), 0x80000000u);
  EXPECT_EQ(last.window.width, 4096);
  EXPECT_EQ(last.window.height, 2049);
  EXPECT_EQ(last.window.parent, nullptr);
  EXPECT_EQ(last.window.menu, nullptr);
  EXPECT_EQ(last.window.instance, ModuleInstance);
  EXPECT_EQ(last.window.parameter, nullptr);
  int width = 0, height = 0;
  EXPECT_EQ(gl::wglQueryPbufferARB(pbuffer, 0x2034, &width), 1);
  EXPECT_EQ(gl::wglQueryPbufferARB(pbuffer, 0x2035, &height), 1);
  EXPECT_EQ(width, 4096);
  EXPECT_EQ(height, 2049);
  EXPECT_EQ(gl::wglDestroyPbufferARB(pbuffer), 1);
}

// The hook is that of sent messages, without a module, on the thread that owns the window.
TEST_F(CallArgumentsTest, HookHasItsArguments) {
  start();
  EXPECT_EQ(last.hook.kind, 4);
  EXPECT_EQ(last.hook.module, nullptr);
  EXPECT_EQ(last.hook.thread, GetCurrentThreadId());
}

}  // namespace
}  // namespace qv::test
