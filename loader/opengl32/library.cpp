// Loading and unloading of the driver, and the composition callback that the driver is given.
#include "driver/icd/attach.h"
#include "loader/opengl32/contexts.h"
#include "loader/opengl32/opengl32.h"
#include "platform/simulated/control.h"

namespace qv::loader {
namespace {

bool loaded = false;

// An address of this library stands for the driver's instance handle; nothing follows it.
HINSTANCE driverInstance() { return reinterpret_cast<HINSTANCE>(&loaded); }

// The desktop's side of a present on a composed screen: names the window's redirection surface, into which the driver then copies
// its picture. On a screen without composition there is no such surface, and the driver presents by itself.
BOOL APIENTRY presentComposed(HDC hdc, PRESENTBUFFERSCB* data) {
  HWND const window = WindowFromDC(hdc);
  PRESENTBUFFERS buffers{};
  buffers.hSurface = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(sim::redirectionSurface(window)));
  buffers.AdapterLuid = data->luidAdapter;
  buffers.PresentToken = sim::presentToken(window);
  buffers.pPrivData = data->pPrivData;
  return DrvPresentBuffers(hdc, &buffers);
}

}  // namespace

bool isDriverLoaded() { return loaded; }

void detachThread() { driverMain(driverInstance(), DLL_THREAD_DETACH, nullptr); }

bool loadDriver() {
  if (loaded) return true;
  constexpr const char16_t* kModule = u"OpenGL32.dll";
  sim::registerExport(kModule, "wglMakeCurrent", &wglMakeCurrent);
  sim::registerExport(kModule, "wglGetCurrentDC", &wglGetCurrentDC);
  sim::registerExport(kModule, "wglCreateContext", &wglCreateContext);
  sim::registerExport(kModule, "wglShareLists", &wglShareLists);
  sim::registerExport(kModule, "wglGetCurrentContext", &wglGetCurrentContext);
  if (!driverMain(driverInstance(), DLL_PROCESS_ATTACH, nullptr)) {
    // The system's loader, too, calls a library once more for its detach after an attach that failed.
    driverMain(driverInstance(), DLL_PROCESS_DETACH, nullptr);
    return false;
  }
  loaded = true;
  // The driver keeps only the fifth; the first four belong to parts of the system that are not simulated.
  PROC procs[5] = {};
  procs[4] = reinterpret_cast<PROC>(reinterpret_cast<void*>(&presentComposed));
  DrvSetCallbackProcs(5, procs);
  return true;
}

void unloadDriver() {
  if (!loaded) return;
  wglMakeCurrent(nullptr, nullptr);
  driverMain(driverInstance(), DLL_PROCESS_DETACH, nullptr);
  loaded = false;
  forgetContexts();
}

}  // namespace qv::loader
