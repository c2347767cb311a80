// The WGL extension functions that DrvGetProcAddress hands out. The EXT names of the table stand for the ARB functions below,
// where both exist.
#pragma once

#include "driver/base/wgl_api.h"

namespace qv::gl {

const char* WINAPI wglGetExtensionsStringARB(HDC hdc);
const char* WINAPI wglGetExtensionsStringEXT();
HGLRC WINAPI wglCreateContextAttribsARB(HDC hdc, HGLRC share, const int* attributes);
BOOL WINAPI wglSwapIntervalEXT(int interval);
int WINAPI wglGetSwapIntervalEXT();
BOOL WINAPI wglMakeContextCurrentARB(HDC draw, HDC read, HGLRC context);
HDC WINAPI wglGetCurrentReadDCARB();

BOOL WINAPI wglGetPixelFormatAttribivARB(HDC hdc, int format, int layer, UINT count, const int* attributes, int* values);
BOOL WINAPI wglGetPixelFormatAttribfvARB(HDC hdc, int format, int layer, UINT count, const int* attributes, FLOAT* values);
BOOL WINAPI wglChoosePixelFormatARB(HDC hdc, const int* intAttributes, const FLOAT* floatAttributes, UINT maxFormats,
                                    int* formats, UINT* count);

HPBUFFERARB WINAPI wglCreatePbufferARB(HDC hdc, int format, int width, int height, const int* attributes);
BOOL WINAPI wglDestroyPbufferARB(HPBUFFERARB pbuffer);
HDC WINAPI wglGetPbufferDCARB(HPBUFFERARB pbuffer);
int WINAPI wglReleasePbufferDCARB(HPBUFFERARB pbuffer, HDC hdc);
BOOL WINAPI wglQueryPbufferARB(HPBUFFERARB pbuffer, int attribute, int* value);
BOOL WINAPI wglBindTexImageARB(HPBUFFERARB pbuffer, int buffer);
BOOL WINAPI wglReleaseTexImageARB(HPBUFFERARB pbuffer, int buffer);
BOOL WINAPI wglSetPbufferAttribARB(HPBUFFERARB pbuffer, const int* attributes);

}  // namespace qv::gl
