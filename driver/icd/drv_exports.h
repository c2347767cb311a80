// The nineteen exports through which the system's OpenGL library drives this driver.
#pragma once

#include "platform/win32.h"

extern "C" {

// A context handle is an index in the ContextHandleTable; the upper half of a pointer-sized one is not looked at.
BOOL APIENTRY DrvCopyContext(DHGLRC source, DHGLRC destination, UINT mask);
DHGLRC APIENTRY DrvCreateContext(HDC hdc);
DHGLRC APIENTRY DrvCreateLayerContext(HDC hdc, INT layer);
BOOL APIENTRY DrvDeleteContext(DHGLRC context);
BOOL APIENTRY DrvDescribeLayerPlane(HDC hdc, INT format, INT layer, UINT size, LAYERPLANEDESCRIPTOR* plane);
LONG APIENTRY DrvDescribePixelFormat(HDC hdc, INT format, ULONG size, PIXELFORMATDESCRIPTOR* descriptor);
int APIENTRY DrvGetLayerPaletteEntries(HDC hdc, INT layer, INT start, INT count, COLORREF* entries);
PROC APIENTRY DrvGetProcAddress(LPCSTR name);
BOOL APIENTRY DrvPresentBuffers(HDC hdc, PRESENTBUFFERS* buffers);
BOOL APIENTRY DrvRealizeLayerPalette(HDC hdc, INT layer, BOOL realize);
BOOL APIENTRY DrvReleaseContext(DHGLRC context);
void APIENTRY DrvSetCallbackProcs(INT count, PROC* procs);
GLCLTPROCTABLE* APIENTRY DrvSetContext(HDC hdc, DHGLRC context, PFN_SETPROCTABLE callback);
int APIENTRY DrvSetLayerPaletteEntries(HDC hdc, INT layer, INT start, INT count, const COLORREF* entries);
BOOL APIENTRY DrvSetPixelFormat(HDC hdc, LONG format);
BOOL APIENTRY DrvShareLists(DHGLRC first, DHGLRC second);
BOOL APIENTRY DrvSwapBuffers(HDC hdc);
BOOL APIENTRY DrvSwapLayerBuffers(HDC hdc, UINT planes);
BOOL APIENTRY DrvValidateVersion(ULONG version);

}  // extern "C"
