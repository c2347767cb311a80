// The records and types of the contract between the system's OpenGL library and a driver, which no published header has.
#pragma once

using DHGLRC = ULONG_PTR;

struct GLCLTPROCTABLE {
  int count;  // of the functions that follow
  PROC procs[1];
};
using PFN_SETPROCTABLE = void(APIENTRY*)(GLCLTPROCTABLE*);

// What the library hands to DrvPresentBuffers.
struct PRESENTBUFFERS {
  HANDLE hSurface;
  LUID AdapterLuid;
  ULONGLONG PresentToken;
  PVOID pPrivData;
};

// What the driver hands to the composition present callback.
struct PRESENTBUFFERSCB {
  UINT nVersion;
  UINT syncType;
  LUID luidAdapter;
  LPVOID pPrivData;
  RECT updateRect;
};
using PFN_PRESENTBUFFERS = BOOL(APIENTRY*)(HDC, PRESENTBUFFERSCB*);
