// Attach and detach of the process and of threads.
#include "driver/icd/attach.h"

#include <thread>

#include "driver/base/current_context.h"
#include "driver/base/process_state.h"
#include "driver/host/window_hook.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

class AttachTest : public MachineTest {};

const Calls kAttachUpToVersion = {
    "TlsAlloc",           "TlsAlloc",    "MonitorFromPoint", "GetMonitorInfoW", "D3DKMTOpenAdapterFromGdiDisplayName",
    "D3DKMTCreateDevice", "D3DKMTEscape"};

Calls operator+(Calls left, const Calls& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

const Calls kAttachFromContext = {"D3DKMTCreateContext", "D3DKMTQueryAdapterInfo", "InitializeCriticalSection",
                                  "RegisterClassW",      "GetModuleHandleW",       "GetProcAddress",
                                  "GetProcAddress",      "GetProcAddress",         "GetProcAddress",
                                  "GetProcAddress"};

// Attach makes its platform calls in the required order, and detach undoes them in the reverse one.
TEST_F(AttachTest, AttachAndDetachCallInOrder) {
  startTrace();
  EXPECT_EQ(attach(), 1);
  expectCalls(kAttachUpToVersion + kAttachFromContext);
  EXPECT_NE(ContextTlsSlot, kNoTlsSlot);
  EXPECT_NE(CreateRequestTlsSlot, kNoTlsSlot);
  EXPECT_NE(PbufferClassAtom, 0);
  EXPECT_NE(Host.context, 0u);
  EXPECT_NE(Host.commandBuffer, nullptr);
  EXPECT_EQ(Host.residencyMode, 0u);
  EXPECT_EQ(Host.adapterLuid.LowPart, sim::adapterLuid().LowPart);
  detach();
  expectCalls({"UnregisterClassW", "DeleteCriticalSection", "D3DKMTDestroyContext", "D3DKMTDestroyDevice", "D3DKMTCloseAdapter",
               "TlsFree", "TlsFree"});
  EXPECT_EQ(ContextTlsSlot, kNoTlsSlot);
  EXPECT_EQ(CreateRequestTlsSlot, kNoTlsSlot);
}

// With residency the seven thunks, the trim notification and the paging queue come at the end of attach.
TEST_F(AttachTest, ResidencyComesAtTheEndOfAttach) {
  sim::setResidency(true);
  startTrace();
  EXPECT_EQ(attach(), 1);
  expectCalls(kAttachUpToVersion + kAttachFromContext +
              Calls{"GetModuleHandleW", "GetProcAddress", "GetProcAddress", "GetProcAddress", "GetProcAddress", "GetProcAddress",
                    "GetProcAddress", "GetProcAddress", "D3DKMTRegisterTrimNotification", "D3DKMTCreatePagingQueue"});
  EXPECT_EQ(Host.residencyMode, 1u);
  EXPECT_NE(Host.pagingQueue, 0u);
  EXPECT_NE(Host.pagingSyncObject, 0u);
  EXPECT_NE(Host.pagingFence, nullptr);
  EXPECT_EQ(Host.lastWaitedFence, 0u);
  EXPECT_EQ(sim::requestTrim(4096), 1u);
  detach();
  expectCalls({"UnregisterClassW", "DeleteCriticalSection", "D3DKMTDestroyPagingQueue", "D3DKMTUnregisterTrimNotification",
               "D3DKMTDestroyContext", "D3DKMTDestroyDevice", "D3DKMTCloseAdapter", "TlsFree", "TlsFree"});
}

// The first submission writes into the buffers that came with the context, and knows their sizes.
TEST_F(AttachTest, SubmissionBuffersComeWithTheContext) {
  Host.commandBuffer = nullptr;
  Host.allocationList = nullptr;
  Host.patchList = nullptr;
  Host.commandBufferSize = Host.allocationListSize = Host.patchListSize = 0;
  ASSERT_EQ(attach(), 1);
  EXPECT_NE(Host.commandBuffer, nullptr);
  EXPECT_NE(Host.allocationList, nullptr);
  EXPECT_NE(Host.patchList, nullptr);
  EXPECT_GE(Host.commandBufferSize, 60u);
  EXPECT_GE(Host.allocationListSize, 3u);
  EXPECT_GE(Host.patchListSize, 4u);
}

struct CapsCase {
  uint32_t caps, residency, pool;
};
class AdapterCapsTest : public AttachTest, public ::testing::WithParamInterface<CapsCase> {};

// The low four bits of the caps word select residency from 4 on, bit 28 the alternative pool.
TEST_P(AdapterCapsTest, AreReadAtAttach) {
  sim::setAdapterCaps(GetParam().caps);
  ASSERT_EQ(attach(), 1);
  EXPECT_EQ(Host.residencyMode, GetParam().residency);
  EXPECT_EQ(Host.alternativePool, GetParam().pool);
}
INSTANTIATE_TEST_SUITE_P(Words, AdapterCapsTest,
                         ::testing::Values(CapsCase{0, 0, 0}, CapsCase{3, 0, 0}, CapsCase{4, 1, 0}, CapsCase{15, 1, 0},
                                           CapsCase{0x10, 0, 0}, CapsCase{0x10000000, 0, 1}, CapsCase{0x10000005, 1, 1},
                                           CapsCase{0xEFFFFFF3, 0, 0}));

struct CeilingCase {
  uint16_t major, minor, ceiling;
};
class CeilingTest : public AttachTest, public ::testing::WithParamInterface<CeilingCase> {};

// The ceiling is what the host reports in 16-bit arithmetic, and never below 410.
TEST_P(CeilingTest, FollowsTheHost) {
  gpu.major = GetParam().major;
  gpu.minor = GetParam().minor;
  ASSERT_EQ(attach(), 1);
  EXPECT_EQ(GlVersionCeiling, GetParam().ceiling);
}
INSTANTIATE_TEST_SUITE_P(Versions, CeilingTest,
                         ::testing::Values(CeilingCase{4, 6, 460}, CeilingCase{3, 3, 410}, CeilingCase{4, 1, 410},
                                           CeilingCase{4, 2, 420}, CeilingCase{0, 0, 410}, CeilingCase{660, 0, 464}));

// The library does not load when a kernel does not know the version packet, refuses it or answers with a failure.
TEST_F(AttachTest, RefusedVersionPacketKeepsTheLibraryOut) {
  for (const int32_t status : {-1, 1, static_cast<int32_t>(0xF0000027), static_cast<int32_t>(0xC0000001)}) {
    gpu.status[EscapeCode::VersionQuery] = status;
    startTrace();
    EXPECT_EQ(attach(), 0);
    expectCalls(kAttachUpToVersion + Calls{"D3DKMTDestroyDevice", "D3DKMTCloseAdapter", "TlsFree"});
    EXPECT_EQ(ContextTlsSlot, kNoTlsSlot);
    EXPECT_NE(CreateRequestTlsSlot, kNoTlsSlot);
    // The start-up code of the library asks for a detach after a failed attach.
    detach();
    expectCalls({"TlsFree"});
    EXPECT_EQ(CreateRequestTlsSlot, kNoTlsSlot);
    EXPECT_EQ(sim::describe(sim::liveCounts()), sim::describe(sim::LiveCounts{}));
  }
  gpu.status.clear();
  gpu.delivered[EscapeCode::VersionQuery] = static_cast<NTSTATUS>(0xC0000001);
  EXPECT_EQ(attach(), 0);
  detach();
  gpu.delivered.clear();
  EXPECT_EQ(attach(), 1);
}

// Without a slot attach fails at once and keeps what it has allocated; the detach that follows gives it back.
TEST_F(AttachTest, AttachFailsWithoutAThreadLocalSlot) {
  sim::setTlsSlotLimit(0);
  startTrace();
  EXPECT_EQ(attach(), 0);
  expectCalls({"TlsAlloc"});
  detach();
  expectCalls({});
  sim::setTlsSlotLimit(1);
  EXPECT_EQ(attach(), 0);
  expectCalls({"TlsAlloc", "TlsAlloc"});
  EXPECT_NE(ContextTlsSlot, kNoTlsSlot);
  EXPECT_EQ(CreateRequestTlsSlot, kNoTlsSlot);
  detach();
  expectCalls({"TlsFree"});
  EXPECT_EQ(ContextTlsSlot, kNoTlsSlot);
}

// Functions of the system's library that are missing stay null.
TEST_F(AttachTest, MissingSystemFunctionsStayNull) {
  sim::removeExport(u"OpenGL32.dll", "wglMakeCurrent");
  sim::removeExport(u"OpenGL32.dll", "wglShareLists");
  ASSERT_EQ(attach(), 1);
  EXPECT_EQ(OpenGl32.makeCurrent, nullptr);
  EXPECT_EQ(OpenGl32.shareLists, nullptr);
  EXPECT_NE(OpenGl32.createContext, nullptr);
  EXPECT_NE(OpenGl32.getCurrentDC, nullptr);
  EXPECT_NE(OpenGl32.getCurrentContext, nullptr);
}

// Reason 2, thread attach, does nothing.
TEST_F(AttachTest, ThreadAttachDoesNothing) {
  ASSERT_EQ(attach(), 1);
  startTrace();
  EXPECT_EQ(driverMain(nullptr, 2, nullptr), 1);
  expectCalls({});
}

class ThreadDetachTest : public FrameTest {};

// A thread without a hook leaves the list as it was.
TEST_F(ThreadDetachTest, ThreadWithoutAHookChangesNothing) {
  makeCurrent(makeWindow());
  ThreadHookRecord* const before = ThreadHookList;
  ASSERT_NE(before, nullptr);
  std::thread([] { EXPECT_EQ(driverMain(nullptr, 3, nullptr), 1); }).join();
  EXPECT_EQ(ThreadHookList, before);
  EXPECT_EQ(before->next, nullptr);
  EXPECT_EQ(sim::liveCounts().hooks, 1u);
}

// A thread that owns a tracked window takes its hook along, and keeps its current context.
TEST_F(ThreadDetachTest, ThreadWithAHookTakesItAlong) {
  const DHGLRC context = makeCurrent(makeWindow());
  startTrace();
  EXPECT_EQ(driverMain(nullptr, 3, nullptr), 1);
  expectCalls({"GetCurrentThreadId", "UnhookWindowsHookEx"});
  EXPECT_EQ(ThreadHookList, nullptr);
  EXPECT_EQ(currentContext(), contextOf(context));
  // Without its hook the window's end goes unseen; the record is taken out by hand.
  forgetWindow(currentContext()->window);
}

// Detach unhooks every thread, whichever it is.
TEST_F(ThreadDetachTest, ProcessDetachUnhooksAll) {
  HWND other = nullptr;
  DHGLRC context = 0;
  std::thread([&] {
    other = sim::createWindow({.pixelFormat = 4});
    const HDC hdc = GetDC(other);
    context = DrvCreateContext(hdc);
    EXPECT_NE(DrvSetContext(hdc, context, nullptr), nullptr);
    EXPECT_EQ(DrvReleaseContext(context), 1);
    ReleaseDC(other, hdc);
  }).join();
  const HWND own = makeWindow();
  makeCurrent(own);
  ASSERT_NE(ThreadHookList, nullptr);
  ASSERT_NE(ThreadHookList->next, nullptr);
  EXPECT_EQ(sim::liveCounts().hooks, 2u);
  DrvDeleteContext(context);
  forgetWindow(other);
  forgetWindow(own);
  leave();
  sim::destroyWindow(other);
  detach();
  EXPECT_EQ(ThreadHookList, nullptr);
  EXPECT_EQ(sim::liveCounts().hooks, 0u);
}

}  // namespace
}  // namespace qv::test
