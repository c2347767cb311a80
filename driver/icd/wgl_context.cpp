// The WGL functions on contexts: creation with attributes, swap interval, current read, extension string.
#include "driver/base/current_context.h"
#include "driver/base/fail.h"
#include "driver/base/process_state.h"
#include "driver/diagnostics/debug_log.h"
#include "driver/icd/context_registry.h"
#include "driver/tables/wgl_routines.h"
#include "driver/state/gl_context.h"

namespace qv::gl {

namespace {

struct ContextAttributes {
  int major = 2;
  int minor = 1;
  int flags = 0;
  int profileMask = 0;
  bool profileGiven = false;
};

// False for a list with an unknown key; it is not read further.
bool readContextAttributes(const int* list, ContextAttributes& out) {
  if (list == nullptr) return true;
  for (; list[0] != 0; list += 2) {
    switch (list[0]) {
      case WGL_CONTEXT_MAJOR_VERSION_ARB:
        out.major = list[1];
        break;
      case WGL_CONTEXT_MINOR_VERSION_ARB:
        out.minor = list[1];
        break;
      case WGL_CONTEXT_LAYER_PLANE_ARB:
        break;
      case WGL_CONTEXT_FLAGS_ARB:
        out.flags = list[1];
        break;
      case WGL_CONTEXT_PROFILE_MASK_ARB:
        out.profileMask = list[1];
        out.profileGiven = true;
        break;
      default:
        return false;
    }
  }
  return true;
}

// The system's library makes the context and calls back into DrvCreateContext on this thread. The request travels in a
// thread-local slot, since the call has no place for it; DrvCreateContext leaves the final version and profile in `request`.
// Whether the contexts came to share is not looked at: required oddity 65.
HGLRC createContext(HDC hdc, HGLRC share, ContextCreateRequest& request) {
  if (OpenGl32.createContext == nullptr) return nullptr;
  if (!TlsSetValue(CreateRequestTlsSlot, &request)) return failWith(ERROR_INTERNAL_ERROR);
  const HGLRC context = OpenGl32.createContext(hdc);
  // The pointer must not outlive the request. Where the slot took it, there is room for null.
  TlsSetValue(CreateRequestTlsSlot, nullptr);
  if (context != nullptr && share != nullptr && OpenGl32.shareLists != nullptr) OpenGl32.shareLists(share, context);
  return context;
}

void switchDebugOutputOn(HDC hdc, HGLRC context) {
  if (OpenGl32.makeCurrent == nullptr) return;
  const HGLRC before = OpenGl32.getCurrentContext != nullptr ? OpenGl32.getCurrentContext() : nullptr;
  OpenGl32.makeCurrent(hdc, context);
  GlContext* const current = currentContext();
  if (current != nullptr) setDebugCapability(current, GL_DEBUG_OUTPUT, 1);
  OpenGl32.makeCurrent(hdc, before);
}

}  // namespace

const char* WINAPI wglGetExtensionsStringARB(HDC) { return WglExtensions; }

const char* WINAPI wglGetExtensionsStringEXT() { return WglExtensions; }

HGLRC WINAPI wglCreateContextAttribsARB(HDC hdc, HGLRC share, const int* attributes) {
  ContextAttributes wanted;
  if (hdc == nullptr || !readContextAttributes(attributes, wanted)) return failWith(ERROR_INVALID_PARAMETER);
  const uint16_t version =
      static_cast<uint16_t>((static_cast<uint32_t>(wanted.major) * 10 + static_cast<uint32_t>(wanted.minor)) * 10);
  bool core = (wanted.profileMask & WGL_CONTEXT_CORE_PROFILE_BIT_ARB) != 0;
  bool compatibility = (wanted.profileMask & WGL_CONTEXT_COMPATIBILITY_PROFILE_BIT_ARB) != 0;
  if (!wanted.profileGiven) {
    core = version >= 320;
    compatibility = !core;
  }
  if (version > GlVersionCeiling) return failWith(ERROR_INVALID_VERSION_ARB);
  if (core == compatibility) return failWith(ERROR_INVALID_PROFILE_ARB);

  ContextCreateRequest request{version, static_cast<uint8_t>(compatibility ? 1 : 0)};
  const HGLRC context = createContext(hdc, share, request);
  if ((wanted.flags & WGL_CONTEXT_DEBUG_BIT_ARB) != 0 && request.version >= 430) switchDebugOutputOn(hdc, context);
  return context;
}

// Only on and off exist: required oddity 62.
BOOL WINAPI wglSwapIntervalEXT(int interval) {
  GlContext* const context = currentContext();
  if (context == nullptr) return 0;
  context->swapInterval = interval > 0 ? 1 : 0;
  return 1;
}

// An interval that was never set reports 1, and presents are not paced.
int WINAPI wglGetSwapIntervalEXT() {
  const GlContext* const context = currentContext();
  if (context == nullptr) return -1;
  return context->swapInterval != 0 ? 1 : 0;
}

// Separate read drawables are not supported, although the extension is announced: required oddity 64.
BOOL WINAPI wglMakeContextCurrentARB(HDC draw, HDC read, HGLRC context) {
  if (draw != read) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  return OpenGl32.makeCurrent != nullptr ? OpenGl32.makeCurrent(draw, context) : 0;
}

HDC WINAPI wglGetCurrentReadDCARB() { return OpenGl32.getCurrentDC != nullptr ? OpenGl32.getCurrentDC() : nullptr; }

}  // namespace qv::gl
