// Thread-local slots, last errors, ids, modules, critical sections, the end of the process.
#include <unistd.h>

#include <atomic>
#include <set>
#include <thread>

#include "tests/platform/simulated_test.h"

namespace qv::test {

class ProcessTest : public SimulatedTest {};

// A slot starts null, belongs to the thread, and reading it leaves the last error alone.
TEST_F(ProcessTest, TlsValuesArePerThread) {
  DWORD slot = TlsAlloc();
  ASSERT_NE(slot, TLS_OUT_OF_INDEXES);
  EXPECT_EQ(TlsGetValue(slot), nullptr);
  int here = 0, there = 0;
  EXPECT_TRUE(TlsSetValue(slot, &here));
  std::thread([&] {
    EXPECT_EQ(TlsGetValue(slot), nullptr);
    TlsSetValue(slot, &there);
    EXPECT_EQ(TlsGetValue(slot), &there);
  }).join();
  SetLastError(77);
  EXPECT_EQ(TlsGetValue(slot), &here);
  EXPECT_EQ(GetLastError(), 77u);
}

// Indexes that name no slot read as null and cannot be set or freed.
TEST_F(ProcessTest, BadTlsIndexIsAnError) {
  EXPECT_EQ(TlsGetValue(0xFFFFFFFF), nullptr);
  EXPECT_EQ(TlsGetValue(64), nullptr);
  EXPECT_FALSE(TlsSetValue(0xFFFFFFFF, this));
  EXPECT_EQ(GetLastError(), 87u);
  EXPECT_FALSE(TlsFree(5));
  EXPECT_EQ(TlsGetValue(63), nullptr);
}

// The limit makes allocation fail; a freed slot comes back null on every thread.
TEST_F(ProcessTest, TlsSlotsRunOutAndComeBackNull) {
  sim::setTlsSlotLimit(2);
  DWORD first = TlsAlloc();
  DWORD second = TlsAlloc();
  EXPECT_NE(first, second);
  EXPECT_EQ(TlsAlloc(), TLS_OUT_OF_INDEXES);
  TlsSetValue(first, this);
  std::atomic<int> step{0};
  void* seen = this;
  std::thread other([&] {
    TlsSetValue(first, this);
    step = 1;
    while (step != 2) {
      std::this_thread::yield();
    }
    seen = TlsGetValue(first);
  });
  while (step != 1) {
    std::this_thread::yield();
  }
  EXPECT_TRUE(TlsFree(first));
  EXPECT_EQ(TlsAlloc(), first);
  step = 2;
  other.join();
  EXPECT_EQ(seen, nullptr);
  EXPECT_EQ(TlsGetValue(first), nullptr);
  EXPECT_EQ(sim::liveCounts().tlsSlots, 2u);
}

// There are 63 slots, numbered from 0, and no more.
TEST_F(ProcessTest, AllSixtyThreeSlotsCanBeUsed) {
  std::set<DWORD> slots;
  for (int i = 0; i < 63; ++i) {
    slots.insert(TlsAlloc());
  }
  EXPECT_EQ(slots.size(), 63u);
  EXPECT_EQ(*slots.rbegin(), 62u);
  EXPECT_EQ(TlsAlloc(), TLS_OUT_OF_INDEXES);
}

// Each thread has a last error of its own, which is 0 at first.
TEST_F(ProcessTest, LastErrorIsPerThread) {
  SetLastError(6);
  std::thread([] {
    EXPECT_EQ(GetLastError(), 0u);
    SetLastError(13);
  }).join();
  EXPECT_EQ(GetLastError(), 6u);
}

// Thread ids are never used twice, unlike those of the system below.
TEST_F(ProcessTest, ThreadIdsAreNeverReused) {
  std::set<DWORD> ids{GetCurrentThreadId()};
  EXPECT_EQ(GetCurrentThreadId(), *ids.begin());
  for (int i = 0; i < 50; ++i) {
    std::thread([&] { ids.insert(GetCurrentThreadId()); }).join();
  }
  EXPECT_EQ(ids.size(), 51u);
  EXPECT_EQ(GetCurrentProcessId(), static_cast<DWORD>(getpid()));
}

// The path is copied whole with its terminator, and cut with the capacity as result when it does not fit.
TEST_F(ProcessTest, ImagePathIsCopiedOrCut) {
  char16_t path[260];
  EXPECT_GT(GetModuleFileNameW(nullptr, path, 260), 0u);
  sim::setImagePath(u"C:\\Games\\play.exe");
  EXPECT_EQ(GetModuleFileNameW(nullptr, path, 260), 17u);
  EXPECT_EQ(std::u16string(path), u"C:\\Games\\play.exe");
  EXPECT_EQ(GetModuleFileNameW(nullptr, path, 18), 17u);
  EXPECT_EQ(GetModuleFileNameW(nullptr, path, 17), 17u);
  EXPECT_EQ(GetLastError(), 122u);
  EXPECT_EQ(std::u16string(path), u"C:\\Games\\play.ex");
  sim::setImagePath(std::u16string(300, u'x'));
  EXPECT_EQ(GetModuleFileNameW(nullptr, path, 260), 260u);
  sim::setImagePath(u"");
  EXPECT_EQ(GetModuleFileNameW(nullptr, path, 260), 0u);
}

int answer() { return 42; }

// A module is found without case and ending, its exports by their exact names, until they are removed.
TEST_F(ProcessTest, ExportsAreFoundByModuleAndName) {
  EXPECT_EQ(GetModuleHandleW(u"OpenGL32.dll"), nullptr);
  sim::registerExport(u"OpenGL32.dll", "wglAnswer", answer);
  HMODULE module = GetModuleHandleW(u"opengl32.DLL");
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(GetModuleHandleW(u"OPENGL32"), module);
  auto found = reinterpret_cast<int (*)()>(reinterpret_cast<void*>(GetProcAddress(module, "wglAnswer")));
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found(), 42);
  EXPECT_EQ(GetProcAddress(module, "wglanswer"), nullptr);
  EXPECT_EQ(GetLastError(), 127u);
  EXPECT_EQ(GetProcAddress(reinterpret_cast<HMODULE>(&found), "wglAnswer"), nullptr);
  sim::removeExport(u"OpenGL32.dll", "wglAnswer");
  EXPECT_EQ(GetProcAddress(module, "wglAnswer"), nullptr);
}

// The seven optional thunks stand in Gdi32.dll, and only there.
TEST_F(ProcessTest, ResidencyThunksAreInGdi32) {
  HMODULE gdi = GetModuleHandleW(u"Gdi32.dll");
  ASSERT_NE(gdi, nullptr);
  for (const char* name :
       {"D3DKMTMakeResident", "D3DKMTEvict", "D3DKMTWaitForSynchronizationObjectFromGpu", "D3DKMTCreatePagingQueue",
        "D3DKMTDestroyPagingQueue", "D3DKMTRegisterTrimNotification", "D3DKMTUnregisterTrimNotification"}) {
    EXPECT_NE(GetProcAddress(gdi, name), nullptr) << name;
  }
  EXPECT_EQ(GetProcAddress(gdi, "D3DKMTNothing"), nullptr);
}

// A section is recursive, keeps others out, and its misuse is noticed.
TEST_F(ProcessTest, CriticalSectionIsRecursiveAndExclusive) {
  CRITICAL_SECTION section{};
  EnterCriticalSection(&section);
  EXPECT_EQ(sim::complaints().size(), 1u);
  InitializeCriticalSection(&section);
  EXPECT_EQ(sim::liveCounts().criticalSections, 1u);
  EnterCriticalSection(&section);
  EnterCriticalSection(&section);
  std::thread([&] { EXPECT_FALSE(TryEnterCriticalSection(&section)); }).join();
  EXPECT_EQ(sim::liveCounts().heldSections, 1u);
  LeaveCriticalSection(&section);
  std::thread([&] { EXPECT_FALSE(TryEnterCriticalSection(&section)); }).join();
  LeaveCriticalSection(&section);
  std::thread([&] {
    EXPECT_TRUE(TryEnterCriticalSection(&section));
    LeaveCriticalSection(&section);
  }).join();
  EXPECT_EQ(sim::complaints().size(), 1u);
  LeaveCriticalSection(&section);
  EXPECT_EQ(sim::complaints().size(), 2u);
  EXPECT_EQ(sim::liveCounts().heldSections, 0u);
  EnterCriticalSection(&section);
  DeleteCriticalSection(&section);
  EXPECT_EQ(sim::complaints().size(), 3u);
  LeaveCriticalSection(&section);
  DeleteCriticalSection(&section);
  EXPECT_EQ(sim::liveCounts().criticalSections, 0u);
  DeleteCriticalSection(&section);
  EXPECT_EQ(sim::complaints().size(), 4u);
}

// ExitProcess ends the process with its code.
TEST_F(ProcessTest, ExitProcessEndsWithTheCode) { EXPECT_EXIT(ExitProcess(1), testing::ExitedWithCode(1), ""); }

// A handler that a test has set gets the code instead.
TEST_F(ProcessTest, ExitHandlerTakesThePlaceOfTheEnd) {
  sim::setExitHandler([](UINT code) { throw code; });
  try {
    ExitProcess(9);
  } catch (UINT code) {
    EXPECT_EQ(code, 9u);
    return;
  }
}

// Without a resource all calls fail; with one, strings, fixed record and translations are found by path without case.
TEST_F(ProcessTest, VersionResourceIsReadByPath) {
  sim::setImagePath(u"C:\\play.exe");
  DWORD handle = 1;
  EXPECT_EQ(GetFileVersionInfoSizeW(u"C:\\play.exe", &handle), 0u);
  sim::VersionInfo info;
  info.productMajor = 2018;
  info.translations = {{0x0409, 0x04B0}, {0x0407, 0x04E4}};
  info.strings[u"\\StringFileInfo\\040904B0\\ProductName"] = u"Play";
  sim::setVersionInfo(info);
  EXPECT_EQ(GetFileVersionInfoSizeW(u"C:\\other.exe", &handle), 0u);
  DWORD size = GetFileVersionInfoSizeW(u"C:\\play.exe", &handle);
  ASSERT_GT(size, 0u);
  std::vector<BYTE> block(size);
  EXPECT_FALSE(GetFileVersionInfoW(u"C:\\play.exe", 0, size - 1, block.data()));
  ASSERT_TRUE(GetFileVersionInfoW(u"C:\\play.exe", 0, size, block.data()));
  void* value = nullptr;
  UINT length = 0;
  ASSERT_TRUE(VerQueryValueW(block.data(), u"\\", &value, &length));
  EXPECT_EQ(length, 52u);
  EXPECT_EQ(static_cast<VS_FIXEDFILEINFO*>(value)->dwProductVersionMS >> 16, 2018u);
  ASSERT_TRUE(VerQueryValueW(block.data(), u"\\VarFileInfo\\Translation", &value, &length));
  EXPECT_EQ(length, 8u);
  EXPECT_EQ(static_cast<uint16_t*>(value)[0], 0x0409);
  EXPECT_EQ(static_cast<uint16_t*>(value)[3], 0x04E4);
  ASSERT_TRUE(VerQueryValueW(block.data(), u"\\StringFileInfo\\040904b0\\ProductName", &value, &length));
  EXPECT_EQ(length, 5u);
  EXPECT_EQ(std::u16string(static_cast<char16_t*>(value)), u"Play");
  EXPECT_FALSE(VerQueryValueW(block.data(), u"\\StringFileInfo\\040704E4\\ProductName", &value, &length));
  info.fixedInfoSize = 40;
  sim::setVersionInfo(info);
  ASSERT_TRUE(GetFileVersionInfoW(u"C:\\play.exe", 0, size, block.data()));
  ASSERT_TRUE(VerQueryValueW(block.data(), u"\\", &value, &length));
  EXPECT_EQ(length, 40u);
}

}  // namespace qv::test
