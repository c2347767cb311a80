// Attach and detach of the process and of its threads, and the process-wide state that goes with them.
#include "driver/frame/process_state.h"

#include "driver/frame/pbuffer.h"
#include "driver/host/escape_packets.h"
#include "driver/host/host_channel.h"
#include "driver/host/window_record.h"

namespace qv {

DWORD ContextTlsSlot = kNoTlsSlot;
DWORD CreateRequestTlsSlot = kNoTlsSlot;
CRITICAL_SECTION DriverLock;
HINSTANCE ModuleInstance = nullptr;
uint16_t GlVersionCeiling = 410;
OpenGl32Functions OpenGl32;
PFN_PRESENTBUFFERS CompositionPresent = nullptr;
ATOM PbufferClassAtom = 0;

constinit const char WglExtensionText[] =
    "WGL_ARB_multisample WGL_EXT_multisample WGL_ARB_extensions_string WGL_EXT_extensions_string WGL_ARB_pixel_format "
    "WGL_EXT_pixel_format WGL_EXT_swap_control WGL_ARB_pbuffer WGL_EXT_pbuffer WGL_ARB_create_context "
    "WGL_ARB_create_context_profile WGL_ARB_framebuffer_sRGB WGL_EXT_framebuffer_sRGB WGL_ARB_make_current_read "
    "WGL_EXT_make_current_read WGL_ARB_render_texture WGL_EXT_render_texture";
constinit const char* WglExtensions = WglExtensionText + kWglDefaultTextOffset;
constinit const char* GlExtensionAddendum = "GL_ARB_map_buffer_range";

namespace {

// Whether the last process attach went through. The system calls the entry point for a detach after a failed attach too, when
// there is no lock to take and no device to close.
bool attached = false;

void freeTlsSlot(DWORD& slot) {
  if (slot != kNoTlsSlot) TlsFree(slot);
  slot = kNoTlsSlot;
}

template <typename Function>
void fetch(HMODULE library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

// False when no host answers: this machine has no virtual GPU of ours.
bool askHostVersion() {
  VersionQueryPacket packet;
  if (!sendPacket(packet)) return false;
  const uint16_t version = static_cast<uint16_t>((packet.major * 10 + packet.minor) * 10);
  GlVersionCeiling = version < 410 ? 410 : version;
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
    return false;  // the other slot stays until the detach that follows, as is required
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
