// EGL for the stub OpenGL: defined here, these functions take the place of the library's.
#include <EGL/egl.h>

#include <atomic>
#include <cstdint>
#include <cstring>

#include "fuzz/stub_gl/stub_gl.h"
#include "fuzz/stub_gl/stub_state.h"

namespace {

// A context keeps its OpenGL while it is not current.
struct StubContext {
  qv::fuzz::StubState state;
};
thread_local StubContext* current = nullptr;
std::atomic<uint64_t> contexts{0};

constexpr uint64_t kProbes = 2;  // the first contexts, of which the peer wants to know the version

EGLDisplay EGLAPIENTRY getPlatformDisplay(EGLenum, void*, const EGLint*) { return reinterpret_cast<EGLDisplay>(1); }

}  // namespace

extern "C" {

EGLBoolean EGLAPIENTRY eglInitialize(EGLDisplay, EGLint* major, EGLint* minor) {
  *major = 1;
  *minor = 5;
  return EGL_TRUE;
}

__eglMustCastToProperFunctionPointerType EGLAPIENTRY eglGetProcAddress(const char* name) {
  if (std::strcmp(name, "eglGetPlatformDisplayEXT") == 0) {
    return reinterpret_cast<__eglMustCastToProperFunctionPointerType>(&getPlatformDisplay);
  }
  return qv::fuzz::stubGlFunction(name);
}

EGLBoolean EGLAPIENTRY eglBindAPI(EGLenum) { return EGL_TRUE; }

EGLBoolean EGLAPIENTRY eglChooseConfig(EGLDisplay, const EGLint* wanted, EGLConfig* configs, EGLint, EGLint* count) {
  // A config is its sample count and whether its colours are floats.
  uintptr_t config = 1;
  for (; wanted[0] != EGL_NONE; wanted += 2) {
    if (wanted[0] == EGL_SAMPLES) config |= static_cast<uintptr_t>(wanted[1]) << 1;
    if (wanted[0] == EGL_RED_SIZE && wanted[1] > 8) config |= 1u << 16;
  }
  configs[0] = reinterpret_cast<EGLConfig>(config);
  *count = config >> 1 != 4 ? 1 : 0;  // no four samples, so that others are looked for
  return EGL_TRUE;
}

EGLBoolean EGLAPIENTRY eglGetConfigAttrib(EGLDisplay, EGLConfig config, EGLint attribute, EGLint* value) {
  const auto bits = reinterpret_cast<uintptr_t>(config);
  *value = attribute == EGL_SAMPLES ? static_cast<EGLint>(bits >> 1 & 0x7FFF) : (bits >> 16 & 1) != 0 ? 16 : 8;
  return EGL_TRUE;
}

EGLContext EGLAPIENTRY eglCreateContext(EGLDisplay, EGLConfig, EGLContext, const EGLint*) {
  auto* const fresh = new StubContext;
  const uint64_t number = contexts.fetch_add(1);
  fresh->state.random = qv::fuzz::Random(number);
  fresh->state.tellsVersion = number < kProbes;
  return fresh;
}

EGLBoolean EGLAPIENTRY eglDestroyContext(EGLDisplay, EGLContext context) {
  delete static_cast<StubContext*>(context);
  return EGL_TRUE;
}

EGLSurface EGLAPIENTRY eglCreatePbufferSurface(EGLDisplay, EGLConfig, const EGLint*) { return new char; }

EGLBoolean EGLAPIENTRY eglDestroySurface(EGLDisplay, EGLSurface surface) {
  delete static_cast<char*>(surface);
  return EGL_TRUE;
}

EGLBoolean EGLAPIENTRY eglMakeCurrent(EGLDisplay, EGLSurface, EGLSurface, EGLContext context) {
  if (current != nullptr) current->state = qv::fuzz::stub;
  current = static_cast<StubContext*>(context);
  qv::fuzz::stub = current != nullptr ? current->state : qv::fuzz::StubState{};
  return EGL_TRUE;
}

EGLBoolean EGLAPIENTRY eglReleaseThread() { return eglMakeCurrent(nullptr, nullptr, nullptr, nullptr); }

}  // extern "C"
