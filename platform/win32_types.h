// Types and constants of Windows as the simulated Windows declares them; sizes are those of a 64-bit Windows process.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>

using BOOL = int;
using BOOLEAN = uint8_t;
using BYTE = uint8_t;
using CHAR = char;
using WORD = uint16_t;
using ATOM = uint16_t;
using DWORD = uint32_t;
using INT = int32_t;
using UINT = uint32_t;
using LONG = int32_t;
using ULONG = uint32_t;
using LONGLONG = long long;
using ULONGLONG = unsigned long long;
using INT64 = long long;
using UINT64 = unsigned long long;
using FLOAT = float;
using WCHAR = char16_t;
using NTSTATUS = int32_t;
using COLORREF = uint32_t;
using INT_PTR = intptr_t;
using UINT_PTR = uintptr_t;
using LONG_PTR = intptr_t;
using ULONG_PTR = uintptr_t;
using SIZE_T = size_t;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using LRESULT = LONG_PTR;
using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using LPDWORD = DWORD*;
using PUINT = UINT*;
using HANDLE = void*;

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;

// Handles of different kinds are different types; none may be followed as a pointer.
using HBRUSH = struct HBRUSH__*;
using HDC = struct HDC__*;
using HGLRC = struct HGLRC__*;
using HHOOK = struct HHOOK__*;
using HICON = struct HICON__*;
using HCURSOR = HICON;
using HINSTANCE = struct HINSTANCE__*;
using HMODULE = HINSTANCE;
using HMENU = struct HMENU__*;
using HMONITOR = struct HMONITOR__*;
using HWND = struct HWND__*;

using FARPROC = INT_PTR(WINAPI*)();
using PROC = INT_PTR(WINAPI*)();
using WNDPROC = LRESULT(CALLBACK*)(HWND, UINT, WPARAM, LPARAM);
using HOOKPROC = LRESULT(CALLBACK*)(int, WPARAM, LPARAM);

struct RECT {
  LONG left;
  LONG top;
  LONG right;
  LONG bottom;
};

struct POINT {
  LONG x;
  LONG y;
};

struct SIZE {
  LONG cx;
  LONG cy;
};

struct LUID {
  DWORD LowPart;
  LONG HighPart;
};

union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  LONGLONG QuadPart;
};

struct WINDOWINFO {
  DWORD cbSize;
  RECT rcWindow;
  RECT rcClient;
  DWORD dwStyle;
  DWORD dwExStyle;
  DWORD dwWindowStatus;
  UINT cxWindowBorders;
  UINT cyWindowBorders;
  ATOM atomWindowType;
  WORD wCreatorVersion;
};
static_assert(sizeof(WINDOWINFO) == 60);

struct WINDOWPOS {
  HWND hwnd;
  HWND hwndInsertAfter;
  int x;
  int y;
  int cx;
  int cy;
  UINT flags;
};

struct CWPSTRUCT {
  LPARAM lParam;
  WPARAM wParam;
  UINT message;
  HWND hwnd;
};

struct CREATESTRUCTW {
  LPVOID lpCreateParams;
  HINSTANCE hInstance;
  HMENU hMenu;
  HWND hwndParent;
  int cy;
  int cx;
  int y;
  int x;
  LONG style;
  LPCWSTR lpszName;
  LPCWSTR lpszClass;
  DWORD dwExStyle;
};

struct WNDCLASSW {
  UINT style;
  WNDPROC lpfnWndProc;
  int cbClsExtra;
  int cbWndExtra;
  HINSTANCE hInstance;
  HICON hIcon;
  HCURSOR hCursor;
  HBRUSH hbrBackground;
  LPCWSTR lpszMenuName;
  LPCWSTR lpszClassName;
};

inline constexpr int CCHDEVICENAME = 32;

struct MONITORINFO {
  DWORD cbSize;
  RECT rcMonitor;
  RECT rcWork;
  DWORD dwFlags;
};
using LPMONITORINFO = MONITORINFO*;

struct MONITORINFOEXW : MONITORINFO {
  WCHAR szDevice[CCHDEVICENAME];
};
static_assert(sizeof(MONITORINFOEXW) == 104);

struct PIXELFORMATDESCRIPTOR {
  WORD nSize;
  WORD nVersion;
  DWORD dwFlags;
  BYTE iPixelType;
  BYTE cColorBits;
  BYTE cRedBits;
  BYTE cRedShift;
  BYTE cGreenBits;
  BYTE cGreenShift;
  BYTE cBlueBits;
  BYTE cBlueShift;
  BYTE cAlphaBits;
  BYTE cAlphaShift;
  BYTE cAccumBits;
  BYTE cAccumRedBits;
  BYTE cAccumGreenBits;
  BYTE cAccumBlueBits;
  BYTE cAccumAlphaBits;
  BYTE cDepthBits;
  BYTE cStencilBits;
  BYTE cAuxBuffers;
  BYTE iLayerType;
  BYTE bReserved;
  DWORD dwLayerMask;
  DWORD dwVisibleMask;
  DWORD dwDamageMask;
};
static_assert(sizeof(PIXELFORMATDESCRIPTOR) == 40);

struct LAYERPLANEDESCRIPTOR {
  WORD nSize;
  WORD nVersion;
  DWORD dwFlags;
  BYTE iPixelType;
  BYTE cColorBits;
  BYTE cRedBits;
  BYTE cRedShift;
  BYTE cGreenBits;
  BYTE cGreenShift;
  BYTE cBlueBits;
  BYTE cBlueShift;
  BYTE cAlphaBits;
  BYTE cAlphaShift;
  BYTE cAccumBits;
  BYTE cAccumRedBits;
  BYTE cAccumGreenBits;
  BYTE cAccumBlueBits;
  BYTE cAccumAlphaBits;
  BYTE cDepthBits;
  BYTE cStencilBits;
  BYTE cAuxBuffers;
  BYTE iLayerPlane;
  BYTE bReserved;
  COLORREF crTransparent;
};
static_assert(sizeof(LAYERPLANEDESCRIPTOR) == 32);

struct VS_FIXEDFILEINFO {
  DWORD dwSignature;
  DWORD dwStrucVersion;
  DWORD dwFileVersionMS;
  DWORD dwFileVersionLS;
  DWORD dwProductVersionMS;
  DWORD dwProductVersionLS;
  DWORD dwFileFlagsMask;
  DWORD dwFileFlags;
  DWORD dwFileOS;
  DWORD dwFileType;
  DWORD dwFileSubtype;
  DWORD dwFileDateMS;
  DWORD dwFileDateLS;
};
static_assert(sizeof(VS_FIXEDFILEINFO) == 52);

// Recursive lock. All zero before InitializeCriticalSection and after DeleteCriticalSection.
struct CRITICAL_SECTION {
  pthread_mutex_t mutex;
  DWORD state;
  DWORD owner;  // thread id while it is held, read without the mutex
  uint32_t depth;
};

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_INVALID_DATA = 13;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_INTERNAL_ERROR = 1359;
inline constexpr DWORD ERROR_INVALID_WINDOW_HANDLE = 1400;
inline constexpr DWORD ERROR_INVALID_HOOK_HANDLE = 1404;
inline constexpr DWORD ERROR_CANNOT_FIND_WND_CLASS = 1407;
inline constexpr DWORD ERROR_CLASS_ALREADY_EXISTS = 1410;
inline constexpr DWORD ERROR_CLASS_DOES_NOT_EXIST = 1411;
inline constexpr DWORD ERROR_CLASS_HAS_WINDOWS = 1412;
inline constexpr DWORD ERROR_INVALID_INDEX = 1413;
inline constexpr DWORD ERROR_DC_NOT_FOUND = 1425;
inline constexpr DWORD ERROR_INVALID_HOOK_FILTER = 1426;
inline constexpr DWORD ERROR_INVALID_MONITOR_HANDLE = 1461;
inline constexpr DWORD ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
inline constexpr DWORD ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;
inline constexpr DWORD ERROR_INVALID_PIXEL_FORMAT = 2000;

inline constexpr DWORD TLS_OUT_OF_INDEXES = 0xFFFFFFFF;
inline constexpr DWORD TLS_MINIMUM_AVAILABLE = 64;

inline constexpr DWORD DLL_PROCESS_DETACH = 0;
inline constexpr DWORD DLL_PROCESS_ATTACH = 1;
inline constexpr DWORD DLL_THREAD_ATTACH = 2;
inline constexpr DWORD DLL_THREAD_DETACH = 3;

inline constexpr DWORD MAX_PATH = 260;

inline constexpr UINT WM_CREATE = 0x0001;
inline constexpr UINT WM_DESTROY = 0x0002;
inline constexpr UINT WM_MOVE = 0x0003;
inline constexpr UINT WM_SIZE = 0x0005;
inline constexpr UINT WM_ACTIVATE = 0x0006;
inline constexpr UINT WM_PAINT = 0x000F;
inline constexpr UINT WM_CLOSE = 0x0010;
inline constexpr UINT WM_ERASEBKGND = 0x0014;
inline constexpr UINT WM_SHOWWINDOW = 0x0018;
inline constexpr UINT WM_ACTIVATEAPP = 0x001C;
inline constexpr UINT WM_WINDOWPOSCHANGING = 0x0046;
inline constexpr UINT WM_WINDOWPOSCHANGED = 0x0047;
inline constexpr UINT WM_NCCREATE = 0x0081;
inline constexpr UINT WM_NCDESTROY = 0x0082;
inline constexpr UINT WM_USER = 0x0400;

inline constexpr UINT SWP_NOSIZE = 0x0001;
inline constexpr UINT SWP_NOMOVE = 0x0002;
inline constexpr UINT SWP_NOZORDER = 0x0004;
inline constexpr UINT SWP_NOREDRAW = 0x0008;
inline constexpr UINT SWP_NOACTIVATE = 0x0010;
inline constexpr UINT SWP_FRAMECHANGED = 0x0020;
inline constexpr UINT SWP_SHOWWINDOW = 0x0040;
inline constexpr UINT SWP_HIDEWINDOW = 0x0080;

inline constexpr int WH_CALLWNDPROC = 4;
inline constexpr int HC_ACTION = 0;

inline constexpr UINT GA_PARENT = 1;
inline constexpr UINT GA_ROOT = 2;
inline constexpr UINT GA_ROOTOWNER = 3;

inline constexpr int GCW_ATOM = -32;
inline constexpr int GCL_STYLE = -26;
inline constexpr int GCL_CBCLSEXTRA = -20;
inline constexpr int GCL_CBWNDEXTRA = -18;
inline constexpr int GWL_STYLE = -16;
inline constexpr int GWL_EXSTYLE = -20;
inline constexpr int GWL_ID = -12;
inline constexpr int GWL_USERDATA = -21;

inline constexpr DWORD WS_OVERLAPPED = 0x00000000;
inline constexpr DWORD WS_POPUP = 0x80000000;
inline constexpr DWORD WS_CHILD = 0x40000000;
inline constexpr DWORD WS_MINIMIZE = 0x20000000;
inline constexpr DWORD WS_VISIBLE = 0x10000000;
inline constexpr DWORD WS_CLIPSIBLINGS = 0x04000000;
inline constexpr DWORD WS_CLIPCHILDREN = 0x02000000;
inline constexpr DWORD WS_CAPTION = 0x00C00000;
inline constexpr DWORD WS_SYSMENU = 0x00080000;
inline constexpr DWORD WS_THICKFRAME = 0x00040000;
inline constexpr DWORD WS_MINIMIZEBOX = 0x00020000;
inline constexpr DWORD WS_MAXIMIZEBOX = 0x00010000;
inline constexpr DWORD WS_OVERLAPPEDWINDOW =
    WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_THICKFRAME | WS_MINIMIZEBOX | WS_MAXIMIZEBOX;
inline constexpr int CW_USEDEFAULT = static_cast<int>(0x80000000);

inline constexpr UINT CS_OWNDC = 0x0020;

inline constexpr DWORD MONITOR_DEFAULTTONULL = 0;
inline constexpr DWORD MONITOR_DEFAULTTOPRIMARY = 1;
inline constexpr DWORD MONITOR_DEFAULTTONEAREST = 2;
inline constexpr DWORD MONITORINFOF_PRIMARY = 1;

inline constexpr BYTE PFD_TYPE_RGBA = 0;
inline constexpr BYTE PFD_TYPE_COLORINDEX = 1;
inline constexpr BYTE PFD_MAIN_PLANE = 0;
inline constexpr DWORD PFD_DOUBLEBUFFER = 0x00000001;
inline constexpr DWORD PFD_STEREO = 0x00000002;
inline constexpr DWORD PFD_DRAW_TO_WINDOW = 0x00000004;
inline constexpr DWORD PFD_DRAW_TO_BITMAP = 0x00000008;
inline constexpr DWORD PFD_SUPPORT_GDI = 0x00000010;
inline constexpr DWORD PFD_SUPPORT_OPENGL = 0x00000020;
inline constexpr DWORD PFD_GENERIC_FORMAT = 0x00000040;
inline constexpr DWORD PFD_NEED_PALETTE = 0x00000080;
inline constexpr DWORD PFD_NEED_SYSTEM_PALETTE = 0x00000100;
inline constexpr DWORD PFD_SWAP_EXCHANGE = 0x00000200;
inline constexpr DWORD PFD_SWAP_COPY = 0x00000400;
inline constexpr DWORD PFD_SWAP_LAYER_BUFFERS = 0x00000800;
inline constexpr DWORD PFD_GENERIC_ACCELERATED = 0x00001000;
inline constexpr DWORD PFD_SUPPORT_DIRECTDRAW = 0x00002000;
inline constexpr DWORD PFD_DIRECT3D_ACCELERATED = 0x00004000;
inline constexpr DWORD PFD_SUPPORT_COMPOSITION = 0x00008000;
inline constexpr DWORD PFD_DEPTH_DONTCARE = 0x20000000;
inline constexpr DWORD PFD_DOUBLEBUFFER_DONTCARE = 0x40000000;
inline constexpr DWORD PFD_STEREO_DONTCARE = 0x80000000;
