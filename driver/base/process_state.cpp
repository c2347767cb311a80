// The process-wide state as it stands when the library has been loaded.
#include "driver/base/process_state.h"

#include "driver/base/current_context.h"
#include "driver/base/driver_lock.h"

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
constinit std::atomic<const char*> WglExtensions = WglExtensionText + kWglDefaultTextOffset;
constinit std::atomic<const char*> GlExtensionAddendum = "GL_ARB_map_buffer_range";

}  // namespace qv
