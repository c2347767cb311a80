// WGL functions on contexts: creation with attributes, swap interval, current read, extension string.
#include <cstring>

#include "driver/base/current_context.h"
#include "driver/base/process_state.h"
#include "driver/diagnostics/debug_log.h"
#include "driver/icd/context_registry.h"
#include "driver/stream/gl_routines.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

// What the nested create saw, and what it is to answer.
struct SystemSpy {
  uint32_t creates = 0, shares = 0, makes = 0;
  ContextCreateRequest request{};
  bool hadRequest = false;
  bool fails = false;
  HGLRC shared[2] = {};
};
SystemSpy spy;

HGLRC spyCreate(HDC hdc) {
  ++spy.creates;
  const auto* const request = static_cast<const ContextCreateRequest*>(TlsGetValue(CreateRequestTlsSlot));
  spy.hadRequest = request != nullptr;
  if (request != nullptr) spy.request = *request;
  if (spy.fails) return nullptr;
  return reinterpret_cast<HGLRC>(DrvCreateContext(hdc));
}
BOOL spyShare(HGLRC first, HGLRC second) {
  ++spy.shares;
  spy.shared[0] = first;
  spy.shared[1] = second;
  return 0;  // not read
}

class WglContextTest : public FrameTest {
 protected:
  WglContextTest() {
    spy = {};
    OpenGl32.createContext = spyCreate;
    OpenGl32.shareLists = spyShare;
    window = makeWindow();
    hdc = dc(window);
  }
  ~WglContextTest() override {
    for (const HGLRC context : made) DrvDeleteContext(reinterpret_cast<DHGLRC>(context));
  }
  HGLRC create(std::vector<int> attributes, HGLRC share = nullptr) {
    attributes.push_back(0);
    SetLastError(0);
    const HGLRC context = gl::wglCreateContextAttribsARB(hdc, share, attributes.data());
    if (context != nullptr) made.push_back(context);
    return context;
  }
  HWND window;
  HDC hdc;
  std::vector<HGLRC> made;
};

constexpr int kMajor = 0x2091, kMinor = 0x2092, kLayer = 0x2093, kFlags = 0x2094, kProfile = 0x9126;

struct RequestCase {
  std::vector<int> attributes;
  uint16_t version;
  uint8_t compatibility;
};
class RequestTest : public WglContextTest, public ::testing::WithParamInterface<RequestCase> {};

// What a list asks for reaches the nested create in the thread's slot.
TEST_P(RequestTest, ListValuesReachTheNestedCreate) {
  EXPECT_NE(create(GetParam().attributes), nullptr);
  EXPECT_EQ(spy.creates, 1u);
  EXPECT_TRUE(spy.hadRequest);
  EXPECT_EQ(spy.request.version, GetParam().version);
  EXPECT_EQ(spy.request.compatibility, GetParam().compatibility);
  EXPECT_EQ(TlsGetValue(CreateRequestTlsSlot), nullptr);
  const SentPacket packet = gpu.last(EscapeCode::CreateContext);
  EXPECT_EQ(packet.half(36), GetParam().version);
  EXPECT_EQ(packet.half(40), GetParam().compatibility != 0 ? 2 : 1);
}
INSTANTIATE_TEST_SUITE_P(Lists, RequestTest,
                         ::testing::Values(RequestCase{{}, 210, 1}, RequestCase{{kMajor, 3, kMinor, 2}, 320, 0},
                                           RequestCase{{kMajor, 3, kMinor, 1}, 310, 1}, RequestCase{{kMajor, 3}, 310, 1},
                                           RequestCase{{kMajor, 4, kMinor, 6, kProfile, 2}, 460, 1},
                                           RequestCase{{kProfile, 1}, 210, 0},
                                           RequestCase{{kMajor, 4, kMinor, 1, kProfile, 1, kLayer, -3}, 410, 0},
                                           RequestCase{{kProfile, 4 | 2}, 210, 1}, RequestCase{{kMajor, 1, kMinor, 0}, 100, 1},
                                           // In 16-bit arithmetic 6554 * 100 is 40.
                                           RequestCase{{kMajor, 6554, kMinor, 0, kProfile, 2}, 40, 1}));

// Without a list the defaults hold; a version below 2.1 comes back raised.
TEST_F(WglContextTest, NullListGivesTheDefaults) {
  const HGLRC context = gl::wglCreateContextAttribsARB(hdc, nullptr, nullptr);
  ASSERT_NE(context, nullptr);
  made.push_back(context);
  EXPECT_EQ(spy.request.version, 210);
  const HGLRC old = create({kMajor, 1, kMinor, 1});
  EXPECT_EQ(contextOf(reinterpret_cast<DHGLRC>(old))->contextVersion, 210);
}

struct RefusalCase {
  std::vector<int> attributes;
  DWORD error;
};
class RefusalTest : public WglContextTest, public ::testing::WithParamInterface<RefusalCase> {};

// Each of these lists is refused with its code, and no create is tried.
TEST_P(RefusalTest, ListIsRefusedWithItsCode) {
  EXPECT_EQ(create(GetParam().attributes), nullptr);
  EXPECT_EQ(GetLastError(), GetParam().error);
  EXPECT_EQ(spy.creates, 0u);
}
INSTANTIATE_TEST_SUITE_P(Lists, RefusalTest,
                         ::testing::Values(RefusalCase{{kProfile, 3}, 8342}, RefusalCase{{kProfile, 0}, 8342},
                                           RefusalCase{{kProfile, 4}, 8342}, RefusalCase{{kMajor, 5}, 8341},
                                           RefusalCase{{kMajor, 4, kMinor, 7}, 8341}, RefusalCase{{kMajor, 5, kProfile, 3}, 8341},
                                           RefusalCase{{kMajor, 3, 0x7777, 1, kMajor, 9}, 87}, RefusalCase{{-1, 1}, 87}));

// A null device context is error 87.
TEST_F(WglContextTest, NullDeviceContextIsRefused) {
  SetLastError(0);
  EXPECT_EQ(gl::wglCreateContextAttribsARB(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), 87u);
}

// The ceiling is the host's: a host of 3.3 still allows 4.1 and nothing above.
TEST_F(WglContextTest, CeilingIsTheHosts) {
  GlVersionCeiling = 410;
  EXPECT_NE(create({kMajor, 4, kMinor, 1}), nullptr);
  EXPECT_EQ(create({kMajor, 4, kMinor, 2}), nullptr);
  EXPECT_EQ(GetLastError(), 8341u);
}

// A create that fails leaves no request behind; one without the system's function gives nothing.
TEST_F(WglContextTest, FailedCreateLeavesNoRequest) {
  spy.fails = true;
  EXPECT_EQ(create({kMajor, 3}), nullptr);
  EXPECT_EQ(TlsGetValue(CreateRequestTlsSlot), nullptr);
  EXPECT_EQ(create({}, reinterpret_cast<HGLRC>(uintptr_t{5})), nullptr);
  EXPECT_EQ(spy.shares, 0u);
  OpenGl32.createContext = nullptr;
  EXPECT_EQ(create({}), nullptr);
}

// A share context is joined through the system, whose answer is not read.
TEST_F(WglContextTest, ShareContextIsJoinedThroughTheSystem) {
  const HGLRC first = create({});
  const HGLRC second = create({}, first);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(spy.shares, 1u);
  EXPECT_EQ(spy.shared[0], first);
  EXPECT_EQ(spy.shared[1], second);
  OpenGl32.shareLists = nullptr;
  EXPECT_NE(create({}, first), nullptr);
}

// The debug bit counts from 4.3 on, for the version that the creation settled.
TEST_F(WglContextTest, DebugBitCountsFrom43On) {
  makeCurrent(window);
  const HGLRC before = OpenGl32.getCurrentContext();
  const auto debugOutput = [&](std::vector<int> attributes) {
    const HGLRC context = create(std::move(attributes));
    EXPECT_EQ(OpenGl32.getCurrentContext(), before);
    const GlContext* const created = contextOf(reinterpret_cast<DHGLRC>(context));
    return created->debugLog != nullptr && created->debugLog->enabled != 0 ? 1u : 0u;
  };
  EXPECT_EQ(debugOutput({kMajor, 4, kMinor, 3, kFlags, 1}), 1u);
  EXPECT_EQ(debugOutput({kMajor, 4, kMinor, 3, kFlags, 3}), 1u);
  EXPECT_EQ(debugOutput({kMajor, 4, kMinor, 3, kFlags, 2}), 0u);
  EXPECT_EQ(debugOutput({kMajor, 4, kMinor, 2, kFlags, 1}), 0u);
  gpu.onCreateContext = [](CreateContextPacket& packet) { packet.attributes[2] = 430; };
  EXPECT_EQ(debugOutput({kMajor, 4, kMinor, 2, kFlags, 1}), 1u);
}

// The default text leaves out the two multisample names.
TEST_F(WglContextTest, ExtensionStringLeavesMultisampleOut) {
  const char* const text = gl::wglGetExtensionsStringARB(nullptr);
  EXPECT_STREQ(text,
               "WGL_ARB_extensions_string WGL_EXT_extensions_string WGL_ARB_pixel_format WGL_EXT_pixel_format "
               "WGL_EXT_swap_control WGL_ARB_pbuffer WGL_EXT_pbuffer WGL_ARB_create_context WGL_ARB_create_context_profile "
               "WGL_ARB_framebuffer_sRGB WGL_EXT_framebuffer_sRGB WGL_ARB_make_current_read WGL_EXT_make_current_read "
               "WGL_ARB_render_texture WGL_EXT_render_texture");
  EXPECT_EQ(gl::wglGetExtensionsStringEXT(), text);
  WglExtensions = WglExtensionText;
  EXPECT_EQ(std::strncmp(gl::wglGetExtensionsStringEXT(), "WGL_ARB_multisample WGL_EXT_multisample WGL_ARB_ext", 51), 0);
}

// The swap interval needs a current context, is 1 at first, and is kept as 0 or 1.
TEST_F(WglContextTest, SwapIntervalIsAnsweredAsZeroOrOne) {
  EXPECT_EQ(gl::wglGetSwapIntervalEXT(), -1);
  EXPECT_EQ(gl::wglSwapIntervalEXT(1), 0);
  makeCurrent(window);
  EXPECT_EQ(gl::wglGetSwapIntervalEXT(), 1);
  EXPECT_EQ(gl::wglSwapIntervalEXT(0), 1);
  EXPECT_EQ(gl::wglGetSwapIntervalEXT(), 0);
  EXPECT_EQ(gl::wglSwapIntervalEXT(2), 1);
  EXPECT_EQ(gl::wglGetSwapIntervalEXT(), 1);
  EXPECT_EQ(currentContext()->swapInterval, 1);
  EXPECT_EQ(gl::wglSwapIntervalEXT(-1), 1);
  EXPECT_EQ(gl::wglGetSwapIntervalEXT(), 0);
}

// A read drawable other than the drawable is error 6; the drawable is told as both.
TEST_F(WglContextTest, ReadDrawableIsTheDrawable) {
  const HGLRC context = create({});
  const HDC other = dc(makeWindow());
  SetLastError(0);
  EXPECT_EQ(gl::wglMakeContextCurrentARB(hdc, other, context), 0);
  EXPECT_EQ(GetLastError(), 6u);
  EXPECT_EQ(currentContext(), nullptr);
  EXPECT_EQ(gl::wglGetCurrentReadDCARB(), nullptr);
  EXPECT_EQ(gl::wglMakeContextCurrentARB(hdc, hdc, context), 1);
  EXPECT_EQ(currentContext(), contextOf(reinterpret_cast<DHGLRC>(context)));
  EXPECT_EQ(gl::wglGetCurrentReadDCARB(), hdc);
  EXPECT_EQ(gl::wglMakeContextCurrentARB(hdc, hdc, nullptr), 1);
  OpenGl32.makeCurrent = nullptr;
  OpenGl32.getCurrentDC = nullptr;
  EXPECT_EQ(gl::wglMakeContextCurrentARB(hdc, hdc, context), 0);
  EXPECT_EQ(gl::wglGetCurrentReadDCARB(), nullptr);
}

}  // namespace
}  // namespace qv::test
