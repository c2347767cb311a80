// Attach and detach of the process and of its threads.
#include "driver/icd/attach.h"

#include "driver/base/current_context.h"
#include "driver/base/driver_lock.h"
#include "driver/base/fetch.h"
#include "driver/base/process_state.h"
#include "driver/host/host_channel.h"
#include "driver/host/window_hook.h"
#include "driver/icd/pbuffer.h"
#include "wire/packets.h"

namespace qv {

namespace {

// Whether the last process attach succeeded. The system also calls for a detach after an attach that failed; there is no lock and
// no device then.
bool attached = false;

void freeTlsSlot(DWORD& slot) {
  if (slot != kNoTlsSlot) TlsFree(slot);
  slot = kNoTlsSlot;
}

// False when no host answers: this machine has no virtual GPU of ours.
bool askHostVersion() {
  VersionQueryPacket packet;
  if (!sendPacket(packet)) return false;
  const uint16_t version = static_cast<uint16_t>((packet.major * 10 + packet.minor) * 10);
  GlVersionCeiling = version < 410 ? 410 : version;  // required oddity 66
  return true;
}

bool processAttach() {
  ContextTlsSlot = TlsAlloc();
  if (ContextTlsSlot == kNoTlsSlot) return false;
  CreateRequestTlsSlot = TlsAlloc();
  if (CreateRequestTlsSlot == kNoTlsSlot) return false;
  openPrimaryAdapter();
  if (!askHostVersion()) {
    closeDevice();
    freeTlsSlot(ContextTlsSlot);
    return false;  // CreateRequestTlsSlot stays: required oddity 78
  }
  createSubmissionContext();
  InitializeCriticalSection(&DriverLock);
  PbufferClassAtom = registerPbufferClass();
  const HMODULE opengl = GetModuleHandleW(QV_WIDE("OpenGL32.dll"));
  fetch(opengl, "wglMakeCurrent", OpenGl32.makeCurrent);
  fetch(opengl, "wglGetCurrentDC", OpenGl32.getCurrentDC);
  fetch(opengl, "wglCreateContext", OpenGl32.createContext);
  fetch(opengl, "wglShareLists", OpenGl32.shareLists);
  fetch(opengl, "wglGetCurrentContext", OpenGl32.getCurrentContext);
  if (Host.residencyMode != 0) startResidency();
  return true;
}

// Contexts and windows that are still alive are not destroyed: they go with the process.
void processDetach() {
  if (attached) {
    unregisterPbufferClass();
    unhookAllThreads();
    DeleteCriticalSection(&DriverLock);
    if (Host.residencyMode != 0) stopResidency();
    D3DKMT_DESTROYCONTEXT context{};
    context.hContext = Host.context;
    D3DKMTDestroyContext(&context);
    closeDevice();
    attached = false;
  }
  freeTlsSlot(CreateRequestTlsSlot);
  freeTlsSlot(ContextTlsSlot);
}

}  // namespace

BOOL driverMain(HINSTANCE instance, DWORD reason, void*) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      ModuleInstance = instance;
      attached = processAttach();
      return attached ? 1 : 0;
    case DLL_PROCESS_DETACH:
      processDetach();
      break;
    case DLL_THREAD_DETACH:
      if (attached) unhookCurrentThread();
      break;
    default:
      break;
  }
  return 1;
}

}  // namespace qv
