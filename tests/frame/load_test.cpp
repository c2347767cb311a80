// What stands in the library's state before the first attach, and in the first context of a process that attached by itself. An
// executable of its own: the fixture of frame_tests writes part of this state.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "driver/base/current_context.h"
#include "driver/base/process_state.h"
#include "driver/diagnostics/debug_log.h"
#include "driver/host/host_channel.h"
#include "driver/host/window_hook.h"
#include "driver/host/window_record.h"
#include "driver/icd/attach.h"
#include "driver/icd/context_registry.h"
#include "driver/icd/drv_exports.h"
#include "driver/state/gl_context.h"
#include "driver/state/string_block.h"
#include "driver/stream/gl_routines.h"
#include "driver/tables/wgl_routines.h"
#include "platform/simulated/control.h"
#include "tests/frame/recording_gpu.h"

namespace qv::test {
namespace {

constexpr uint16_t kClasses[] = {210, 300, 310, 320, 330, 400, 410, 420, 430};

// Copies, made before main() runs.
struct AtLoad {
  DWORD contextSlot = ContextTlsSlot, requestSlot = CreateRequestTlsSlot;
  HINSTANCE instance = ModuleInstance;
  uint16_t ceiling = GlVersionCeiling;
  OpenGl32Functions system = OpenGl32;
  PFN_PRESENTBUFFERS present = CompositionPresent;
  const char* wglText = WglExtensions;
  const char* addendum = GlExtensionAddendum;
  ATOM atom = PbufferClassAtom;
  WindowRecord* windows = WindowRecordList;
  ThreadHookRecord* hooks = ThreadHookList;
  D3DKMT_HANDLE adapter = Host.adapter, device = Host.device, context = Host.context;
  uint32_t errorId = apiErrorId;
  bool anyText = false;

  AtLoad() {
    for (const uint16_t version : kClasses) {
      const StringBlock& block = stringBlockFor(version);
      anyText = anyText || block.vendor.get() != nullptr || block.renderer.get() != nullptr || block.version.get() != nullptr ||
                block.shadingLanguageVersion.get() != nullptr || block.extensions.get() != nullptr || block.extensionCount != 0;
    }
  }
};
const AtLoad atLoad;

// A library that is loaded and not attached has no slots, no functions, no texts of a host, and the ceiling of 4.1.
TEST(LoadTest, NothingIsThereBeforeAttach) {
  EXPECT_EQ(atLoad.contextSlot, 0xFFFFFFFFu);
  EXPECT_EQ(atLoad.requestSlot, 0xFFFFFFFFu);
  EXPECT_EQ(atLoad.instance, nullptr);
  EXPECT_EQ(atLoad.ceiling, 410);
  EXPECT_EQ(atLoad.system.makeCurrent, nullptr);
  EXPECT_EQ(atLoad.system.getCurrentDC, nullptr);
  EXPECT_EQ(atLoad.system.createContext, nullptr);
  EXPECT_EQ(atLoad.system.shareLists, nullptr);
  EXPECT_EQ(atLoad.system.getCurrentContext, nullptr);
  EXPECT_EQ(atLoad.present, nullptr);
  EXPECT_EQ(atLoad.atom, 0);
  EXPECT_EQ(atLoad.windows, nullptr);
  EXPECT_EQ(atLoad.hooks, nullptr);
  EXPECT_EQ(atLoad.adapter | atLoad.device | atLoad.context, 0u);
  EXPECT_EQ(atLoad.errorId, 0u);
  EXPECT_FALSE(atLoad.anyText);
}

// The texts in force at load: the WGL names but for the two of multisampling, and one name for the GL list.
TEST(LoadTest, TextsInForceAreTheDefaults) {
  EXPECT_STREQ(atLoad.wglText,
               "WGL_ARB_extensions_string WGL_EXT_extensions_string WGL_ARB_pixel_format WGL_EXT_pixel_format "
               "WGL_EXT_swap_control WGL_ARB_pbuffer WGL_EXT_pbuffer WGL_ARB_create_context WGL_ARB_create_context_profile "
               "WGL_ARB_framebuffer_sRGB WGL_EXT_framebuffer_sRGB WGL_ARB_make_current_read WGL_EXT_make_current_read "
               "WGL_ARB_render_texture WGL_EXT_render_texture");
  EXPECT_STREQ(atLoad.wglText - 40, (std::string("WGL_ARB_multisample WGL_EXT_multisample ") + atLoad.wglText).c_str());
  EXPECT_STREQ(atLoad.addendum, "GL_ARB_map_buffer_range");
}

// Loading makes no platform call: the first ones are those of attach.
TEST(LoadTest, LoadingMakesNoPlatformCall) { EXPECT_EQ(sim::callCounts(), (std::vector<std::pair<std::string, uint64_t>>())); }

// A process that attaches by itself, draws and detaches: its slots, the handles of its contexts, and the extension list that is
// made from the texts at load.
TEST(LoadTest, FirstAttachBringsAProcessUp) {
  RecordingGpu gpu;
  sim::setGpuLink(&gpu);
  ASSERT_EQ(driverMain(reinterpret_cast<HINSTANCE>(uintptr_t{0x20000}), 1, nullptr), 1);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(ModuleInstance), 0x20000u);
  EXPECT_LT(ContextTlsSlot, 64u);
  EXPECT_LT(CreateRequestTlsSlot, 64u);
  EXPECT_NE(ContextTlsSlot, CreateRequestTlsSlot);
  EXPECT_EQ(currentContext(), nullptr);
  EXPECT_EQ(TlsGetValue(CreateRequestTlsSlot), nullptr);
  EXPECT_EQ(GlVersionCeiling, 460);
  EXPECT_EQ(gl::wglGetExtensionsStringEXT(), atLoad.wglText);

  const HWND window = sim::createWindow({.client = {0, 0, 64, 48}, .pixelFormat = 4});
  const HDC hdc = GetDC(window);
  std::vector<DHGLRC> contexts;
  for (DHGLRC expected = 1; expected <= 33; ++expected) {
    contexts.push_back(DrvCreateContext(hdc));
    EXPECT_EQ(contexts.back(), expected);
  }
  // A host without a text of its own: what is left are the driver's additions.
  gpu.onFlush = [](FlushPacket& packet) {
    if (packet.reply.address == 0) return;
    std::memset(reinterpret_cast<void*>(static_cast<uintptr_t>(packet.reply.address)), 0, packet.reply.size);
  };
  ASSERT_NE(DrvSetContext(hdc, contexts[0], nullptr), nullptr);
  EXPECT_EQ(reinterpret_cast<const char*>(gl::glGetString(GL_EXTENSIONS)),
            std::string(" GL_ARB_map_buffer_range ") + atLoad.wglText);
  EXPECT_EQ(DrvReleaseContext(contexts[0]), 1);
  for (const DHGLRC context : contexts) EXPECT_EQ(DrvDeleteContext(context), 1);
  ReleaseDC(window, hdc);
  sim::destroyWindow(window);
  EXPECT_EQ(driverMain(nullptr, 0, nullptr), 1);
  EXPECT_EQ(ContextTlsSlot, kNoTlsSlot);
  EXPECT_EQ(CreateRequestTlsSlot, kNoTlsSlot);
  EXPECT_EQ(sim::describe(sim::liveCounts()), sim::describe(sim::LiveCounts{}));
  EXPECT_EQ(sim::complaints(), std::vector<std::string>());
}

}  // namespace
}  // namespace qv::test
