// Classes, creation and destruction of windows, their numbers, geometry, monitors, device contexts and pixel formats.
#include <thread>

#include "tests/platform/simulated_test.h"

namespace qv::test {

class WindowsTest : public SimulatedTest {
 protected:
  static WINDOWINFO info(HWND window) {
    WINDOWINFO record{};
    record.cbSize = 60;
    EXPECT_TRUE(GetWindowInfo(window, &record));
    return record;
  }
};

// A class is found by name without case and by atom, is unique, and goes only when no window has it.
TEST_F(WindowsTest, ClassesHaveAtomsAndAreUnique) {
  WNDCLASSW description{};
  description.lpfnWndProc = DefWindowProcW;
  description.cbWndExtra = 20;
  description.lpszClassName = u"Panel";
  ATOM atom = RegisterClassW(&description);
  ASSERT_NE(atom, 0);
  EXPECT_EQ(RegisterClassW(&description), 0);
  EXPECT_EQ(GetLastError(), 1410u);
  HWND byName = CreateWindowExW(0, u"pANEL", u"", WS_POPUP, 0, 0, 4, 4, nullptr, nullptr, nullptr, nullptr);
  auto atomName = reinterpret_cast<LPCWSTR>(static_cast<uintptr_t>(atom));
  HWND byAtom = CreateWindowExW(0, atomName, u"", WS_POPUP, 0, 0, 4, 4, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(byName, nullptr);
  ASSERT_NE(byAtom, nullptr);
  EXPECT_EQ(GetClassLongW(byName, GCW_ATOM), atom);
  EXPECT_EQ(GetClassLongW(byAtom, -32), atom);
  EXPECT_FALSE(UnregisterClassW(atomName, nullptr));
  EXPECT_EQ(GetLastError(), 1412u);
  EXPECT_TRUE(DestroyWindow(byName));
  EXPECT_TRUE(DestroyWindow(byAtom));
  EXPECT_TRUE(UnregisterClassW(atomName, nullptr));
  EXPECT_FALSE(UnregisterClassW(u"Panel", nullptr));
  EXPECT_EQ(CreateWindowExW(0, u"Panel", u"", WS_POPUP, 0, 0, 4, 4, nullptr, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(sim::liveCounts().classes, 0u);
}

// A machine that has been reset has all its atoms again.
TEST_F(WindowsTest, AtomsComeBackWithAReset) {
  WNDCLASSW description{};
  description.lpfnWndProc = DefWindowProcW;
  description.lpszClassName = u"Panel";
  const ATOM first = RegisterClassW(&description);
  sim::reset();
  EXPECT_EQ(RegisterClassW(&description), first);
}

// A window with 20 extra bytes holds five 32-bit values there, and an index outside is refused.
TEST_F(WindowsTest, ExtraBytesHoldFiveValues) {
  WNDCLASSW description{};
  description.lpfnWndProc = DefWindowProcW;
  description.cbWndExtra = 20;
  description.lpszClassName = u"Panel";
  RegisterClassW(&description);
  HWND window =
      CreateWindowExW(0, u"Panel", u"", 0x86000000, CW_USEDEFAULT, CW_USEDEFAULT, 300, 200, nullptr, nullptr, nullptr, nullptr);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(SetWindowLongW(window, i * 4, 100 + i), 0);
  }
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(GetWindowLongW(window, i * 4), 100 + i);
  }
  EXPECT_EQ(SetWindowLongW(window, 17, 1), 0);
  EXPECT_EQ(GetLastError(), 1413u);
  EXPECT_EQ(GetWindowLongW(window, 20), 0);
  EXPECT_EQ(static_cast<DWORD>(GetWindowLongW(window, GWL_STYLE)), 0x86000000u);
  RECT client{};
  EXPECT_TRUE(GetClientRect(window, &client));
  EXPECT_RECT(client, 0, 0, 300, 200);
  EXPECT_FALSE(IsWindowVisible(window));
}

// The client area of a window with borders stands inside it, in screen coordinates.
TEST_F(WindowsTest, ClientAreaStandsInsideTheBorders) {
  HWND window = sim::createWindow({.client = {108, 131, 508, 431}, .frame = {8, 31, 8, 8}});
  WINDOWINFO record = info(window);
  EXPECT_RECT(record.rcWindow, 100, 100, 516, 439);
  EXPECT_RECT(record.rcClient, 108, 131, 508, 431);
  record.cbSize = 59;
  EXPECT_FALSE(GetWindowInfo(window, &record));
  sim::moveWindow(window, 8, 31);
  EXPECT_RECT(info(window).rcWindow, 0, 0, 416, 339);
  sim::resizeWindow(window, 10, 20);
  EXPECT_RECT(info(window).rcClient, 8, 31, 18, 51);
}

// A minimised window is empty and far away but visible; moves meanwhile count for its restoration.
TEST_F(WindowsTest, MinimisedWindowIsEmptyAndFarAway) {
  HWND window = sim::createWindow({.client = {10, 10, 110, 60}});
  EXPECT_TRUE(sim::minimiseWindow(window));
  WINDOWINFO record = info(window);
  EXPECT_EQ(record.rcClient.left, record.rcClient.right);
  EXPECT_EQ(record.rcClient.left, -32000);
  EXPECT_TRUE(IsWindowVisible(window));
  sim::moveWindow(window, 20, 20);
  EXPECT_EQ(info(window).rcClient.left, -32000);
  EXPECT_TRUE(sim::restoreWindow(window));
  EXPECT_RECT(info(window).rcClient, 20, 20, 120, 70);
}

// Children move, hide and end with their parent, and know it and its root.
TEST_F(WindowsTest, ChildrenFollowTheirParent) {
  HWND top = sim::createWindow({.client = {100, 100, 300, 300}});
  HWND child = sim::createWindow({.client = {110, 110, 150, 150}, .parent = top});
  HWND grandchild = sim::createWindow({.client = {120, 120, 130, 130}, .parent = child});
  EXPECT_EQ(GetAncestor(grandchild, GA_ROOT), top);
  EXPECT_EQ(GetAncestor(grandchild, GA_PARENT), child);
  EXPECT_EQ(GetAncestor(top, GA_ROOT), top);
  EXPECT_EQ(GetAncestor(top, GA_PARENT), nullptr);
  sim::moveWindow(top, 0, 50);
  EXPECT_RECT(info(grandchild).rcClient, 20, 70, 30, 80);
  sim::showWindow(top, false);
  EXPECT_FALSE(IsWindowVisible(grandchild));
  sim::showWindow(top, true);
  EXPECT_TRUE(IsWindowVisible(grandchild));
  sim::destroyWindow(top);
  EXPECT_FALSE(sim::isAlive(grandchild));
  EXPECT_EQ(sim::liveCounts().windows, 0u);
}

// Dead, null and made-up handles are errors everywhere.
TEST_F(WindowsTest, DeadHandlesAreErrors) {
  HWND dead = sim::createWindow();
  HDC deadDc = GetDC(dead);
  sim::destroyWindow(dead);
  HWND reused = sim::createWindow();
  EXPECT_NE(dead, reused);
  for (HWND window : {dead, HWND{nullptr}, reinterpret_cast<HWND>(0x7fffdeadbeef), reinterpret_cast<HWND>(deadDc)}) {
    WINDOWINFO record{};
    record.cbSize = 60;
    RECT rect{};
    EXPECT_FALSE(GetWindowInfo(window, &record));
    EXPECT_EQ(GetLastError(), 1400u);
    EXPECT_FALSE(GetClientRect(window, &rect));
    EXPECT_EQ(GetWindowThreadProcessId(window, nullptr), 0u);
    EXPECT_EQ(GetAncestor(window, GA_ROOT), nullptr);
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_EQ(MonitorFromWindow(window, 0), nullptr);
    EXPECT_FALSE(DestroyWindow(window));
    EXPECT_FALSE(sim::destroyWindow(window));
    EXPECT_FALSE(sim::moveWindow(window, 1, 1));
    EXPECT_EQ(GetClassLongW(window, GCW_ATOM), 0u);
    EXPECT_EQ(SetWindowLongW(window, GWL_USERDATA, 1), 0);
  }
  EXPECT_EQ(GetDC(dead), nullptr);
  EXPECT_EQ(WindowFromDC(deadDc), nullptr);
  EXPECT_EQ(GetPixelFormat(deadDc), 0);
  EXPECT_EQ(ReleaseDC(dead, deadDc), 0);
  EXPECT_EQ(WindowFromDC(reinterpret_cast<HDC>(reused)), nullptr);
}

// A window belongs to the thread that made it, which alone may destroy it, and the foreground ends with it.
TEST_F(WindowsTest, WindowBelongsToItsThread) {
  HWND window = sim::createWindow();
  DWORD process = 0;
  EXPECT_EQ(GetWindowThreadProcessId(window, &process), GetCurrentThreadId());
  EXPECT_EQ(process, GetCurrentProcessId());
  EXPECT_EQ(GetForegroundWindow(), nullptr);
  sim::setForeground(window);
  EXPECT_EQ(GetForegroundWindow(), window);
  std::thread([&] {
    EXPECT_NE(GetWindowThreadProcessId(window, nullptr), GetCurrentThreadId());
    EXPECT_FALSE(DestroyWindow(window));
    EXPECT_EQ(GetLastError(), 5u);
  }).join();
  EXPECT_TRUE(DestroyWindow(window));
  EXPECT_EQ(GetForegroundWindow(), nullptr);
}

// A format is the window's, set once, whichever device context is used.
TEST_F(WindowsTest, PixelFormatIsTheWindows) {
  HWND window = sim::createWindow();
  HDC first = GetDC(window);
  HDC second = GetDC(window);
  SetLastError(5);
  EXPECT_EQ(GetPixelFormat(first), 0);
  EXPECT_EQ(GetLastError(), 5u);
  PIXELFORMATDESCRIPTOR descriptor{};
  EXPECT_TRUE(SetPixelFormat(first, 3, &descriptor));
  EXPECT_EQ(GetPixelFormat(second), 3);
  EXPECT_TRUE(SetPixelFormat(second, 3, &descriptor));
  EXPECT_FALSE(SetPixelFormat(second, 4, &descriptor));
  EXPECT_EQ(GetLastError(), 2000u);
  EXPECT_TRUE(sim::forcePixelFormat(first, 15));
  EXPECT_EQ(GetPixelFormat(second), 15);
  EXPECT_EQ(sim::liveCounts().deviceContexts, 2u);
  EXPECT_EQ(ReleaseDC(nullptr, first), 0);
  EXPECT_EQ(ReleaseDC(window, first), 1);
  EXPECT_EQ(ReleaseDC(window, first), 0);
  EXPECT_EQ(WindowFromDC(second), window);
  EXPECT_EQ(sim::liveCounts().deviceContexts, 1u);
}

// A memory device context has a pixel format and no window, and can be deleted once.
TEST_F(WindowsTest, MemoryDeviceContextHasNoWindow) {
  HDC dc = sim::createMemoryDC();
  EXPECT_EQ(WindowFromDC(dc), nullptr);
  EXPECT_TRUE(SetPixelFormat(dc, 1, nullptr));
  EXPECT_EQ(GetPixelFormat(dc), 1);
  EXPECT_TRUE(sim::deleteMemoryDC(dc));
  EXPECT_FALSE(sim::deleteMemoryDC(dc));
}

// A monitor is found by a point or by most of a window, with the given fallback, and tells its rectangle and device.
TEST_F(WindowsTest, MonitorsAreFoundByPointAndWindow) {
  sim::setMonitors({{.rect = {0, 0, 1000, 800}}, {.device = u"\\\\.\\DISPLAY2", .rect = {1000, 0, 1600, 400}, .source = 1}});
  HMONITOR primary = MonitorFromPoint({0, 0}, MONITOR_DEFAULTTOPRIMARY);
  HMONITOR right = MonitorFromPoint({1000, 399}, MONITOR_DEFAULTTONULL);
  ASSERT_NE(primary, nullptr);
  ASSERT_NE(right, nullptr);
  EXPECT_NE(primary, right);
  EXPECT_EQ(MonitorFromPoint({1000, 400}, MONITOR_DEFAULTTONULL), nullptr);
  EXPECT_EQ(MonitorFromPoint({1000, 600}, MONITOR_DEFAULTTOPRIMARY), primary);
  EXPECT_EQ(MonitorFromPoint({1700, 100}, MONITOR_DEFAULTTONEAREST), right);
  MONITORINFOEXW record{};
  record.cbSize = 104;
  ASSERT_TRUE(GetMonitorInfoW(right, &record));
  EXPECT_RECT(record.rcMonitor, 1000, 0, 1600, 400);
  EXPECT_EQ(std::u16string(record.szDevice), u"\\\\.\\DISPLAY2");
  EXPECT_EQ(record.dwFlags, 0u);
  record.cbSize = 40;
  ASSERT_TRUE(GetMonitorInfoW(primary, &record));
  EXPECT_EQ(record.dwFlags, 1u);
  EXPECT_EQ(std::u16string(record.szDevice), u"\\\\.\\DISPLAY2");  // not part of the short record
  record.cbSize = 103;
  EXPECT_FALSE(GetMonitorInfoW(primary, &record));
  record.cbSize = 104;
  EXPECT_FALSE(GetMonitorInfoW(nullptr, &record));
  HWND window = sim::createWindow({.client = {900, 0, 1200, 100}});  // more of it on the right monitor
  EXPECT_EQ(MonitorFromWindow(window, 0), right);
  sim::moveWindow(window, 5000, 5000);
  EXPECT_EQ(MonitorFromWindow(window, 0), nullptr);
  EXPECT_EQ(MonitorFromWindow(window, MONITOR_DEFAULTTOPRIMARY), primary);
}

}  // namespace qv::test
