// Pbuffers: hidden windows of a class of the driver's own, whose attributes live in the extra bytes of the window.
#include "driver/icd/pbuffer.h"

#include "driver/base/current_context.h"
#include "driver/base/fail.h"
#include "driver/base/pixel_formats.h"
#include "driver/base/process_state.h"
#include "driver/host/window_record.h"
#include "driver/host/window_tracking.h"
#include "driver/icd/drawable_attributes.h"
#include "driver/tables/wgl_routines.h"
#include "driver/state/gl_context.h"
#include "driver/stream/entry.h"

namespace qv {

namespace {

// The values of a pbuffer window, 32 bits each.
enum ExtraIndex : int { kHostWindowId = 0, kTextureFormat = 4, kTextureTarget = 8, kCubeMapFace = 12, kMipmapLevel = 16 };
inline constexpr int kExtraBytes = 20;

LRESULT CALLBACK pbufferProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_CREATE:
    case WM_DESTROY:
    case WM_PAINT:
    case WM_CLOSE:
    case WM_ERASEBKGND:
      return 0;
    default:
      return DefWindowProcW(window, message, wParam, lParam);
  }
}

LPCWSTR className() { return reinterpret_cast<LPCWSTR>(static_cast<uintptr_t>(PbufferClassAtom)); }

// The window of a pbuffer handle, or null for a window of any other class.
HWND pbufferWindow(HPBUFFERARB pbuffer) {
  const HWND window = reinterpret_cast<HWND>(pbuffer);
  const DWORD atom = GetClassLongW(window, GCW_ATOM);
  return atom != 0 && atom == PbufferClassAtom ? window : nullptr;
}

uint32_t extra(HWND window, ExtraIndex index) { return static_cast<uint32_t>(GetWindowLongW(window, index)); }

struct PbufferAttributes {
  int32_t textureFormat = WGL_NO_TEXTURE_ARB;
  int32_t textureTarget = WGL_NO_TEXTURE_ARB;
  uint32_t mipmapLevels = 0;
};

// False for an unknown key and for a texture format that does not go with the target; an empty list asks for no texture. Neither
// WGL_PBUFFER_LARGEST_ARB nor the limits of the size count: required oddity 59.
bool readPbufferAttributes(const int* list, int width, int height, PbufferAttributes& out) {
  if (list == nullptr || list[0] == 0) return true;
  for (; list[0] != 0; list += 2) {
    switch (list[0]) {
      case WGL_PBUFFER_LARGEST_ARB:
        break;
      case WGL_TEXTURE_FORMAT_ARB:
        out.textureFormat = list[1];
        break;
      case WGL_TEXTURE_TARGET_ARB:
        out.textureTarget = list[1];
        break;
      case WGL_MIPMAP_TEXTURE_ARB:
        if (list[1] != 0) out.mipmapLevels = countMipmapLevels(width, height);
        break;
      default:
        return false;
    }
  }
  switch (out.textureFormat) {
    case WGL_TEXTURE_RGB_ARB:
    case WGL_TEXTURE_RGBA_ARB:
      // The 1D target is refused although the attribute exists.
      return out.textureTarget == WGL_TEXTURE_CUBE_MAP_ARB || out.textureTarget == WGL_TEXTURE_2D_ARB;
    case WGL_NO_TEXTURE_ARB:
      return out.textureTarget == WGL_NO_TEXTURE_ARB;
    default:
      return false;
  }
}

template <typename Private>
BOOL bindOrRelease(HPBUFFERARB pbuffer, int buffer) {
  GlContext* const context = currentContext();
  const HWND window = pbufferWindow(pbuffer);
  if (context == nullptr || window == nullptr) return failWith(ERROR_INVALID_HANDLE);
  uint32_t glBuffer;
  switch (buffer) {
    case WGL_FRONT_LEFT_ARB:
    case WGL_FRONT_RIGHT_ARB:
      glBuffer = GL_FRONT;
      break;
    case WGL_BACK_LEFT_ARB:
    case WGL_BACK_RIGHT_ARB:
      glBuffer = GL_BACK;
      break;
    default:
      return failWith(ERROR_INVALID_DATA);
  }
  sendRecord<Private>(context, PbufferImageRecord{extra(window, kHostWindowId), glBuffer});
  return 1;
}

}  // namespace

ATOM registerPbufferClass() {
  WNDCLASSW description{};
  description.lpfnWndProc = pbufferProcedure;
  description.cbWndExtra = kExtraBytes;
  description.hInstance = ModuleInstance;
  description.lpszClassName = QV_WIDE("QuillvaneGLpbuffer");
  return RegisterClassW(&description);
}

void unregisterPbufferClass() { UnregisterClassW(className(), ModuleInstance); }

uint32_t countMipmapLevels(int width, int height) {
  const uint32_t extent = static_cast<uint32_t>(height) | static_cast<uint32_t>(width);
  uint32_t levels = 0, power;
  do {
    power = 1u << levels;
    ++levels;
  } while (power < extent && levels < 32);
  return levels;
}

namespace gl {

HPBUFFERARB WINAPI wglCreatePbufferARB(HDC, int format, int width, int height, const int* attributes) {
  if (!isPixelFormat(format)) {
    return failWith(ERROR_INVALID_PIXEL_FORMAT);
  }
  PbufferAttributes wanted;
  if (!readPbufferAttributes(attributes, width, height, wanted)) {
    return failWith(ERROR_INVALID_DATA);
  }
  const HWND window = CreateWindowExW(0, className(), QV_WIDE(""), WS_POPUP | WS_CLIPSIBLINGS | WS_CLIPCHILDREN, CW_USEDEFAULT,
                                      CW_USEDEFAULT, width, height, nullptr, nullptr, ModuleInstance, nullptr);
  if (window == nullptr) return nullptr;
  const HDC hdc = GetDC(window);
  SetPixelFormat(hdc, format, &pixelFormat(format));
  ReleaseDC(window, hdc);
  const AttributeList list = pbufferAttributes(format, wanted.textureFormat, wanted.textureTarget, wanted.mipmapLevels != 0);
  const uint32_t hostWindowId = FindOrCreateWindowRecord(window, list.words());
  if (hostWindowId == 0) {
    DestroyWindow(window);
    return failWith(ERROR_INTERNAL_ERROR);
  }
  SetWindowLongW(window, kHostWindowId, static_cast<LONG>(hostWindowId));
  SetWindowLongW(window, kTextureFormat, wanted.textureFormat);
  SetWindowLongW(window, kTextureTarget, wanted.textureTarget);
  SetWindowLongW(window, kCubeMapFace,
                 wanted.textureTarget == WGL_TEXTURE_CUBE_MAP_ARB ? WGL_TEXTURE_CUBE_MAP_POSITIVE_X_ARB : 0);
  SetWindowLongW(window, kMipmapLevel, 0);
  return reinterpret_cast<HPBUFFERARB>(window);
}

// The hook on the window's thread sees the window's end and does the rest.
BOOL WINAPI wglDestroyPbufferARB(HPBUFFERARB pbuffer) {
  const HWND window = pbufferWindow(pbuffer);
  return window != nullptr ? DestroyWindow(window) : failWith(ERROR_INVALID_HANDLE);
}

HDC WINAPI wglGetPbufferDCARB(HPBUFFERARB pbuffer) {
  const HWND window = pbufferWindow(pbuffer);
  if (window != nullptr) return GetDC(window);
  return failWith(ERROR_INVALID_HANDLE);
}

int WINAPI wglReleasePbufferDCARB(HPBUFFERARB pbuffer, HDC hdc) {
  const HWND window = pbufferWindow(pbuffer);
  return window != nullptr ? ReleaseDC(window, hdc) : failWith(ERROR_INVALID_HANDLE);
}

BOOL WINAPI wglQueryPbufferARB(HPBUFFERARB pbuffer, int attribute, int* value) {
  const HWND window = pbufferWindow(pbuffer);
  if (window == nullptr) return failWith(ERROR_INVALID_HANDLE);
  RECT client{};
  switch (attribute) {
    case WGL_PBUFFER_WIDTH_ARB:
      GetClientRect(window, &client);
      *value = client.right - client.left;
      return 1;
    case WGL_PBUFFER_HEIGHT_ARB:
      GetClientRect(window, &client);
      *value = client.bottom - client.top;
      return 1;
    case WGL_PBUFFER_LOST_ARB:
      *value = 0;
      return 1;
    case WGL_TEXTURE_FORMAT_ARB:
      *value = GetWindowLongW(window, kTextureFormat);
      return 1;
    case WGL_TEXTURE_TARGET_ARB:
      *value = GetWindowLongW(window, kTextureTarget);
      return 1;
    case WGL_MIPMAP_LEVEL_ARB:
      *value = GetWindowLongW(window, kMipmapLevel);
      return 1;
    case WGL_CUBE_MAP_FACE_ARB:
      *value = GetWindowLongW(window, kCubeMapFace);
      return 1;
    default:
      return failWith(ERROR_INVALID_DATA);
  }
}

BOOL WINAPI wglBindTexImageARB(HPBUFFERARB pbuffer, int buffer) { return bindOrRelease<op::qvBindTexImage>(pbuffer, buffer); }

BOOL WINAPI wglReleaseTexImageARB(HPBUFFERARB pbuffer, int buffer) {
  return bindOrRelease<op::qvReleaseTexImage>(pbuffer, buffer);
}

BOOL WINAPI wglSetPbufferAttribARB(HPBUFFERARB pbuffer, const int* attributes) {
  GlContext* const context = currentContext();
  const HWND window = pbufferWindow(pbuffer);
  if (context == nullptr || window == nullptr || context->window != window) return failWith(ERROR_INVALID_HANDLE);
  if (attributes == nullptr) return 1;
  LONG face = GetWindowLongW(window, kCubeMapFace);
  LONG level = GetWindowLongW(window, kMipmapLevel);
  for (; attributes[0] != 0; attributes += 2) {
    if (attributes[0] == WGL_MIPMAP_LEVEL_ARB) {
      level = attributes[1];
    } else if (attributes[0] == WGL_CUBE_MAP_FACE_ARB) {
      face = attributes[1];
    } else {
      return failWith(ERROR_INVALID_DATA);
    }
  }
  // Both values go into the place of the face, before the face is checked: required oddity 60.
  SetWindowLongW(window, kCubeMapFace, face);
  SetWindowLongW(window, kCubeMapFace, level);
  if (face < WGL_TEXTURE_CUBE_MAP_POSITIVE_X_ARB || face > WGL_TEXTURE_CUBE_MAP_NEGATIVE_Z_ARB) {
    return failWith(ERROR_INVALID_DATA);
  }
  const uint32_t glFace = GL_TEXTURE_CUBE_MAP_POSITIVE_X + static_cast<uint32_t>(face - WGL_TEXTURE_CUBE_MAP_POSITIVE_X_ARB);
  sendRecord<op::qvPbufferAttrib>(context, PbufferAttribRecord{extra(window, kHostWindowId), glFace, static_cast<uint32_t>(level)});
  return 1;
}

}  // namespace gl

}  // namespace qv
