// The functions of Windows that the driver calls, as the simulated Windows offers them. Contracts are those of Windows; where
// the simulation differs, the comment says so. Included by platform/win32.h only.
#pragma once

#include "platform/win32_types.h"

namespace qv::sim {

// One value per slot of the calling thread. The last place never belongs to a slot and is always null: reads through an index
// that names no slot land there.
extern __attribute__((tls_model("initial-exec"), visibility("hidden"))) constinit thread_local void* tlsSlots[64];

}  // namespace qv::sim

// Process and thread.
DWORD WINAPI TlsAlloc();
BOOL WINAPI TlsFree(DWORD index);
BOOL WINAPI TlsSetValue(DWORD index, LPVOID value);
// Does not touch the last error, is not counted and cannot be made to fail: it is a plain read. A bad index yields null.
inline LPVOID WINAPI TlsGetValue(DWORD index) { return qv::sim::tlsSlots[index < 63 ? index : 63]; }
namespace qv {
inline void* threadValue(DWORD slot) { return TlsGetValue(slot); }
}  // namespace qv
DWORD WINAPI GetCurrentProcessId();
DWORD WINAPI GetCurrentThreadId();
DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD code);
[[noreturn]] void WINAPI ExitProcess(UINT code);
DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR path, DWORD capacity);
HMODULE WINAPI GetModuleHandleW(LPCWSTR name);
FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);
void WINAPI InitializeCriticalSection(CRITICAL_SECTION* section);
void WINAPI EnterCriticalSection(CRITICAL_SECTION* section);
BOOL WINAPI TryEnterCriticalSection(CRITICAL_SECTION* section);
void WINAPI LeaveCriticalSection(CRITICAL_SECTION* section);
void WINAPI DeleteCriticalSection(CRITICAL_SECTION* section);

// Window system.
ATOM WINAPI RegisterClassW(const WNDCLASSW* description);
BOOL WINAPI UnregisterClassW(LPCWSTR name, HINSTANCE instance);
HWND WINAPI CreateWindowExW(DWORD exStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width, int height,
                            HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter);
BOOL WINAPI DestroyWindow(HWND window);
LRESULT WINAPI DefWindowProcW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
HWND WINAPI GetAncestor(HWND window, UINT which);
DWORD WINAPI GetClassLongW(HWND window, int index);
LONG WINAPI GetWindowLongW(HWND window, int index);
LONG WINAPI SetWindowLongW(HWND window, int index, LONG value);
BOOL WINAPI GetClientRect(HWND window, RECT* rect);
BOOL WINAPI GetWindowInfo(HWND window, WINDOWINFO* info);
DWORD WINAPI GetWindowThreadProcessId(HWND window, LPDWORD processId);
HWND WINAPI GetForegroundWindow();
BOOL WINAPI IsWindow(HWND window);
BOOL WINAPI IsWindowVisible(HWND window);
HMONITOR WINAPI MonitorFromPoint(POINT point, DWORD flags);
HMONITOR WINAPI MonitorFromWindow(HWND window, DWORD flags);
BOOL WINAPI GetMonitorInfoW(HMONITOR monitor, LPMONITORINFO info);
HHOOK WINAPI SetWindowsHookExW(int kind, HOOKPROC routine, HINSTANCE module, DWORD threadId);
BOOL WINAPI UnhookWindowsHookEx(HHOOK hook);
LRESULT WINAPI CallNextHookEx(HHOOK hook, int code, WPARAM wParam, LPARAM lParam);

// GDI. A window keeps one pixel format for life: setting another one fails.
HDC WINAPI GetDC(HWND window);
int WINAPI ReleaseDC(HWND window, HDC dc);
HWND WINAPI WindowFromDC(HDC dc);
int WINAPI GetPixelFormat(HDC dc);
BOOL WINAPI SetPixelFormat(HDC dc, int format, const PIXELFORMATDESCRIPTOR* descriptor);

// Version resources.
DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR path, LPDWORD handle);
BOOL WINAPI GetFileVersionInfoW(LPCWSTR path, DWORD handle, DWORD size, LPVOID block);
BOOL WINAPI VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID* value, PUINT length);
