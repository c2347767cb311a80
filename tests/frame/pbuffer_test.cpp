// Pbuffers and render-to-texture.
#include "driver/base/current_context.h"
#include "driver/base/process_state.h"
#include "driver/icd/pbuffer.h"

#include "driver/host/flush_packet.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

constexpr int kTextureFormat = 0x2072, kTextureTarget = 0x2073, kMipmapTexture = 0x2074, kLargest = 0x2033;
constexpr int kRgb = 0x2075, kRgba = 0x2076, kNoTexture = 0x2077, kCubeMap = 0x2078, k1d = 0x2079, k2d = 0x207A;
constexpr int kMipmapLevel = 0x207B, kCubeFace = 0x207C, kPositiveX = 0x207D;

class PbufferTest : public FrameTest {
 protected:
  ~PbufferTest() override {
    leave();
    for (const HPBUFFERARB pbuffer : pbuffers) {
      if (sim::isAlive(windowOf(pbuffer))) {
        EXPECT_EQ(gl::wglDestroyPbufferARB(pbuffer), 1);
      }
    }
  }
  static HWND windowOf(HPBUFFERARB pbuffer) { return reinterpret_cast<HWND>(pbuffer); }
  HPBUFFERARB create(int format, int width, int height, std::vector<int> attributes = {}) {
    attributes.push_back(0);
    SetLastError(0);
    const HPBUFFERARB pbuffer = gl::wglCreatePbufferARB(nullptr, format, width, height, attributes.data());
    if (pbuffer != nullptr) pbuffers.push_back(pbuffer);
    return pbuffer;
  }
  int query(HPBUFFERARB pbuffer, int attribute) {
    int value = -77;
    EXPECT_EQ(gl::wglQueryPbufferARB(pbuffer, attribute, &value), 1);
    return value;
  }
  // A context current on the pbuffer.
  DHGLRC drawTo(HPBUFFERARB pbuffer) {
    const DHGLRC context = makeCurrent(windowOf(pbuffer));
    currentContext()->lastOpcode = -1;
    return context;
  }
  std::vector<uint8_t> pending() { return {currentContext()->base, currentContext()->cursor}; }
  void expectError(BOOL result, DWORD code) {
    EXPECT_EQ(result, 0);
    EXPECT_EQ(GetLastError(), code);
    SetLastError(0);
  }
  std::vector<uint16_t> sentList() {
    const SentPacket packet = gpu.last(EscapeCode::CreateWindow);
    std::vector<uint16_t> words;
    for (size_t i = 0; i < 60 && packet.half(32 + 2 * i) != 0; ++i) words.push_back(packet.half(32 + 2 * i));
    return words;
  }
  std::vector<HPBUFFERARB> pbuffers;
};

// A creation makes its calls in order and a hidden window.
TEST_F(PbufferTest, CreationMakesAHiddenWindow) {
  startTrace();
  const HPBUFFERARB pbuffer = create(4, 128, 64);
  ASSERT_NE(pbuffer, nullptr);
  expectCalls({"SetLastError", "CreateWindowExW", "DefWindowProcW", "GetDC", "SetPixelFormat", "ReleaseDC",
               "GetWindowThreadProcessId", "GetCurrentProcessId", "D3DKMTEscape", "SetWindowsHookExW", "SetWindowLongW",
               "SetWindowLongW", "SetWindowLongW", "SetWindowLongW", "SetWindowLongW"});
  sim::setTrace(false);
  const HWND window = windowOf(pbuffer);
  EXPECT_FALSE(IsWindowVisible(window));
  EXPECT_EQ(GetClassLongW(window, GCW_ATOM), PbufferClassAtom);
  EXPECT_EQ(query(pbuffer, 0x2034), 128);
  EXPECT_EQ(query(pbuffer, 0x2035), 64);
  EXPECT_EQ(query(pbuffer, 0x2036), 0);
  EXPECT_EQ(query(pbuffer, kTextureFormat), kNoTexture);
  EXPECT_EQ(query(pbuffer, kTextureTarget), kNoTexture);
  EXPECT_EQ(query(pbuffer, kMipmapLevel), 0);
  EXPECT_EQ(query(pbuffer, kCubeFace), 0);
  EXPECT_EQ(GetWindowLongW(window, 0), 900);
  const HDC hdc = gl::wglGetPbufferDCARB(pbuffer);
  ASSERT_NE(hdc, nullptr);
  EXPECT_EQ(GetPixelFormat(hdc), 4);
  EXPECT_EQ(WindowFromDC(hdc), window);
  EXPECT_EQ(gl::wglReleasePbufferDCARB(pbuffer, hdc), 1);
}

// The class and the hidden window have their name, extra bytes with five places, style, and answers of the window procedure.
TEST_F(PbufferTest, ClassAndWindowHaveTheirFields) {
  WNDCLASSW sameName{};
  sameName.lpfnWndProc = DefWindowProcW;
  sameName.lpszClassName = u"QuillvaneGLpbuffer";
  EXPECT_EQ(RegisterClassW(&sameName), 0);
  EXPECT_EQ(GetLastError(), 1410u);
  const HPBUFFERARB pbuffer = create(4, 8, 8, {kTextureFormat, kRgba, kTextureTarget, kCubeMap});
  const HWND window = windowOf(pbuffer);
  EXPECT_EQ(GetClassLongW(window, -26), 0u);   // style of the class
  EXPECT_EQ(GetClassLongW(window, -18), 20u);  // extra bytes of its windows
  EXPECT_EQ(static_cast<DWORD>(GetWindowLongW(window, -16)), 0x86000000u);
  EXPECT_EQ(GetWindowLongW(window, 0), 900);
  EXPECT_EQ(GetWindowLongW(window, 4), kRgba);
  EXPECT_EQ(GetWindowLongW(window, 8), kCubeMap);
  EXPECT_EQ(GetWindowLongW(window, 12), kPositiveX);
  EXPECT_EQ(GetWindowLongW(window, 16), 0);
  const uint64_t before = sim::callCount("DefWindowProcW");
  for (const UINT message : {0x0001u, 0x000Fu, 0x0010u, 0x0014u}) {  // create, paint, close, erase background
    sim::sendMessage(window, message, 0, 0);
  }
  EXPECT_EQ(sim::callCount("DefWindowProcW"), before);
  EXPECT_TRUE(sim::isAlive(window));
  sim::sendMessage(window, 0x0005, 0, 0);  // size
  EXPECT_EQ(sim::callCount("DefWindowProcW"), before + 1);
}

// The levels of a full mipmap chain count on height OR width, up to 32.
TEST_F(PbufferTest, MipmapLevelsFollowHeightOrWidth) {
  EXPECT_EQ(countMipmapLevels(256, 256), 9u);
  EXPECT_EQ(countMipmapLevels(3, 4), 4u);
  EXPECT_EQ(countMipmapLevels(1, 1), 1u);
  EXPECT_EQ(countMipmapLevels(0, 0), 1u);
  EXPECT_EQ(countMipmapLevels(256, 1), 10u);  // 257
  EXPECT_EQ(countMipmapLevels(-1, 1), 32u);
}

// A format that is none of the fourteen is error 2000; a device context is not needed.
TEST_F(PbufferTest, OnlyKnownFormatsMakeAPbuffer) {
  for (const int format : {0, 15, -1}) {
    EXPECT_EQ(create(format, 8, 8), nullptr);
    EXPECT_EQ(GetLastError(), 2000u);
  }
  EXPECT_NE(create(5, 8, 8), nullptr);
  EXPECT_NE(gl::wglCreatePbufferARB(nullptr, 4, 8, 8, nullptr), nullptr);
  pbuffers.push_back(reinterpret_cast<HPBUFFERARB>(WindowRecordList->window));
}

// The format is looked at before the list: a bad one is error 2000 whatever the list says.
TEST_F(PbufferTest, FormatIsCheckedBeforeTheList) {
  EXPECT_EQ(create(0, 8, 8, {0x7777, 1}), nullptr);
  EXPECT_EQ(GetLastError(), 2000u);
  EXPECT_EQ(create(4, 8, 8, {0x7777, 1}), nullptr);
  EXPECT_EQ(GetLastError(), 13u);
}

// The end of a window is the procedure's own too: it goes no further than the hook.
TEST_F(PbufferTest, DestroyIsAnsweredByTheProcedure) {
  const HPBUFFERARB pbuffer = create(4, 8, 8);
  const uint64_t before = sim::callCount("DefWindowProcW");
  sim::sendMessage(windowOf(pbuffer), WM_DESTROY, 0, 0);
  EXPECT_EQ(sim::callCount("DefWindowProcW"), before);
  EXPECT_EQ(record(windowOf(pbuffer)), nullptr);
}

struct ListCase {
  int format;
  std::vector<int> attributes;
  std::vector<uint16_t> words;
};
class PbufferListTest : public PbufferTest, public ::testing::WithParamInterface<ListCase> {};

// The list that the host is told holds no samples and no sRGB, but the texture.
TEST_P(PbufferListTest, ListReachesTheHost) {
  ASSERT_NE(create(GetParam().format, 64, 64, GetParam().attributes), nullptr);
  EXPECT_EQ(sentList(), GetParam().words);
}
INSTANTIATE_TEST_SUITE_P(Lists, PbufferListTest,
                         ::testing::Values(ListCase{3, {}, {}}, ListCase{4, {}, {3122}}, ListCase{14, {}, {3122}},
                                           ListCase{5, {}, {34836}}, ListCase{6, {}, {3122, 34836}},
                                           ListCase{4, {kLargest, 1}, {3122}},
                                           ListCase{4, {kTextureFormat, kRgb, kTextureTarget, k2d}, {3122, 6407, 3553}},
                                           ListCase{3, {kTextureFormat, kRgba, kTextureTarget, kCubeMap}, {6408, 34067}},
                                           ListCase{6,
                                                    {kTextureTarget, k2d, kMipmapTexture, 1, kTextureFormat, kRgba},
                                                    {3122, 34836, 6408, 3553, 33169}},
                                           ListCase{3, {kMipmapTexture, 1}, {33169}}, ListCase{3, {kMipmapTexture, 0}, {}},
                                           ListCase{3, {kTextureFormat, kNoTexture, kTextureTarget, kNoTexture}, {}}));

// Lists that make no pbuffer are refused with 13.
TEST_F(PbufferTest, BadListsAreRefused) {
  const std::vector<int> lists[] = {{kTextureFormat, kRgb},
                                    {kTextureTarget, k2d},
                                    {kTextureFormat, kRgba, kTextureTarget, k1d},
                                    {kTextureFormat, kNoTexture, kTextureTarget, kCubeMap},
                                    {0x2034, 16},
                                    {kTextureFormat, 1, kTextureTarget, k2d},
                                    {kLargest, 0, 0x7777, 1}};
  for (const std::vector<int>& list : lists) {
    EXPECT_EQ(create(4, 8, 8, list), nullptr);
    EXPECT_EQ(GetLastError(), 13u);
  }
  EXPECT_EQ(gpu.count(EscapeCode::CreateWindow), 0u);
}

// A host that gives no id makes the window go again with error 1359; a window that cannot be made sets no code of the driver's.
TEST_F(PbufferTest, RefusedCreationLeavesNoWindow) {
  sim::failCall("CreateWindowExW", 1, 1158);
  EXPECT_EQ(create(4, 8, 8), nullptr);
  EXPECT_EQ(GetLastError(), 1158u);
  gpu.nextWindowId = 0;
  EXPECT_EQ(create(4, 8, 8), nullptr);
  EXPECT_EQ(GetLastError(), 1359u);
  EXPECT_EQ(sim::liveCounts().windows, 0u);
}

// Every function refuses windows of any other class with error 6.
TEST_F(PbufferTest, PlainWindowsAreNoPbuffers) {
  makeCurrent(makeWindow());
  const int level[] = {kMipmapLevel, 1, 0};
  for (const HWND window : {currentContext()->window.load(), HWND{}}) {
    const HPBUFFERARB plain = reinterpret_cast<HPBUFFERARB>(window);
    int value = 0;
    expectError(gl::wglDestroyPbufferARB(plain), 6);
    EXPECT_EQ(gl::wglGetPbufferDCARB(plain), nullptr);
    expectError(0, 6);
    expectError(gl::wglReleasePbufferDCARB(plain, nullptr), 6);
    expectError(gl::wglQueryPbufferARB(plain, kCubeFace, &value), 6);
    expectError(gl::wglBindTexImageARB(plain, 0x2083), 6);
    expectError(gl::wglReleaseTexImageARB(plain, 0x2083), 6);
    expectError(gl::wglSetPbufferAttribARB(plain, level), 6);
  }
}

// Functions that write commands need a current context.
TEST_F(PbufferTest, CommandsNeedACurrentContext) {
  const HPBUFFERARB pbuffer = create(4, 8, 8);
  expectError(gl::wglBindTexImageARB(pbuffer, 0x2083), 6);
  expectError(gl::wglReleaseTexImageARB(pbuffer, 0x2083), 6);
  expectError(gl::wglSetPbufferAttribARB(pbuffer, nullptr), 6);
}

// A query of an attribute that no pbuffer has is refused with 13.
TEST_F(PbufferTest, UnknownAttributeIsRefused) {
  const HPBUFFERARB pbuffer = create(4, 8, 8);
  int value = 0;
  expectError(gl::wglQueryPbufferARB(pbuffer, 0x2075, &value), 13);
}

struct BufferCase {
  int buffer;
  uint32_t word;
};
class BindTest : public PbufferTest, public ::testing::WithParamInterface<BufferCase> {};

// Bind and release name the pbuffer and the front or the back buffer.
TEST_P(BindTest, BindNamesPbufferAndBuffer) {
  const HPBUFFERARB pbuffer = create(4, 8, 8, {kTextureFormat, kRgba, kTextureTarget, k2d});
  drawTo(pbuffer);
  EXPECT_EQ(gl::wglBindTexImageARB(pbuffer, GetParam().buffer), 1);
  EXPECT_EQ(currentContext()->lastOpcode, 2001);
  EXPECT_EQ(pending(), bytesOfWords({51153, 900, GetParam().word}));
  EXPECT_EQ(gl::wglReleaseTexImageARB(pbuffer, GetParam().buffer), 1);
  EXPECT_EQ(currentContext()->lastOpcode, 2002);
  EXPECT_EQ(pending(), bytesOfWords({51153, 900, GetParam().word, 51154, 900, GetParam().word}));
}
INSTANTIATE_TEST_SUITE_P(Buffers, BindTest,
                         ::testing::Values(BufferCase{0x2083, 1028}, BufferCase{0x2084, 1028}, BufferCase{0x2085, 1029},
                                           BufferCase{0x2086, 1029}));

// Bind and release of a buffer that is neither the front nor the back are refused with 13, and nothing is written.
TEST_F(PbufferTest, AuxiliaryBuffersAreNotBound) {
  const HPBUFFERARB pbuffer = create(4, 8, 8);
  drawTo(pbuffer);
  expectError(gl::wglBindTexImageARB(pbuffer, 0x2087), 13);
  expectError(gl::wglReleaseTexImageARB(pbuffer, 0), 13);
  EXPECT_TRUE(pending().empty());
}

// A vertex run that is open is closed in front of the command.
TEST_F(PbufferTest, BindClosesAnOpenRun) {
  const HPBUFFERARB pbuffer = create(4, 8, 8);
  drawTo(pbuffer);
  const PROC begin = DrvGetProcAddress("glBegin");
  ASSERT_NE(begin, nullptr);
  reinterpret_cast<void (*)(uint32_t)>(reinterpret_cast<void*>(begin))(4);
  ASSERT_EQ(currentContext()->runOpen, 1);
  EXPECT_EQ(gl::wglBindTexImageARB(pbuffer, 0x2085), 1);
  EXPECT_EQ(currentContext()->runOpen, 0);
  const std::vector<uint8_t> bytes = pending();
  ASSERT_GE(bytes.size(), 12u);
  EXPECT_EQ(std::vector<uint8_t>(bytes.end() - 12, bytes.end()), bytesOfWords({51153, 900, 1029}));
}

// Only the context that draws to this very pbuffer may set its attributes; a null list is nothing to do.
TEST_F(PbufferTest, SetAttribNeedsItsContext) {
  const HPBUFFERARB first = create(4, 8, 8), second = create(4, 8, 8);
  drawTo(first);
  expectError(gl::wglSetPbufferAttribARB(second, nullptr), 6);
  EXPECT_EQ(gl::wglSetPbufferAttribARB(first, nullptr), 1);
  EXPECT_TRUE(pending().empty());
}

// Face and level go to the host; both are written into the place of the face, so that the level ends up there.
TEST_F(PbufferTest, SetAttribSendsFaceAndLevel) {
  const HPBUFFERARB pbuffer = create(4, 8, 8, {kTextureFormat, kRgba, kTextureTarget, kCubeMap});
  EXPECT_EQ(query(pbuffer, kCubeFace), kPositiveX);
  drawTo(pbuffer);
  const int attributes[] = {kMipmapLevel, 2, kCubeFace, 0x2080, 0};
  EXPECT_EQ(gl::wglSetPbufferAttribARB(pbuffer, attributes), 1);
  EXPECT_EQ(currentContext()->lastOpcode, 2000);
  EXPECT_EQ(pending(), bytesOfWords({67536, 900, 34072, 2}));
  EXPECT_EQ(query(pbuffer, kCubeFace), 2);
  EXPECT_EQ(query(pbuffer, kMipmapLevel), 0);
}

// The six faces have their GL names in order.
TEST_F(PbufferTest, SetAttribKnowsTheSixFaces) {
  const HPBUFFERARB pbuffer = create(4, 8, 8, {kTextureFormat, kRgba, kTextureTarget, kCubeMap});
  drawTo(pbuffer);
  for (int i = 0; i < 6; ++i) {
    const int attributes[] = {kCubeFace, kPositiveX + i, 0};
    EXPECT_EQ(gl::wglSetPbufferAttribARB(pbuffer, attributes), 1);
    const std::vector<uint8_t> bytes = pending();
    EXPECT_EQ(std::vector<uint8_t>(bytes.end() - 16, bytes.end()),
              bytesOfWords({67536, 900, 0x8515u + static_cast<uint32_t>(i), 0}));
  }
}

// A pbuffer that is no cube map cannot take the call; the values have been written back by then.
TEST_F(PbufferTest, SetAttribNeedsACube) {
  const HPBUFFERARB pbuffer = create(4, 8, 8, {kTextureFormat, kRgba, kTextureTarget, k2d});
  drawTo(pbuffer);
  const int level[] = {kMipmapLevel, 3, 0};
  expectError(gl::wglSetPbufferAttribARB(pbuffer, level), 13);
  EXPECT_EQ(query(pbuffer, kCubeFace), 3);
  const int key[] = {kMipmapLevel, 5, 0x2072, 1, 0};
  expectError(gl::wglSetPbufferAttribARB(pbuffer, key), 13);
  EXPECT_EQ(query(pbuffer, kCubeFace), 3);
  const int face[] = {kCubeFace, 0x2083, 0};
  expectError(gl::wglSetPbufferAttribARB(pbuffer, face), 13);
  EXPECT_TRUE(pending().empty());
}

// The end of a pbuffer is seen by the hook as that of any window.
TEST_F(PbufferTest, DestroyedPbufferIsSeenByTheHook) {
  const HPBUFFERARB pbuffer = create(4, 32, 16);
  drawTo(pbuffer);
  SubmitFlush(currentContext(), 0, nullptr, 0, nullptr, 0, nullptr, 0);
  sim::GpuAllocation surface;
  ASSERT_TRUE(sim::findSurface(gpu.last(EscapeCode::Flush).word(56), &surface));
  EXPECT_EQ(surface.width, 32u);
  EXPECT_EQ(surface.height, 16u);
  EXPECT_EQ(gl::wglDestroyPbufferARB(pbuffer), 1);
  EXPECT_EQ(gpu.last(EscapeCode::DestroyWindow).word(28), 900u);
  EXPECT_EQ(sim::liveCounts().resources, 0u);
  expectError(gl::wglDestroyPbufferARB(pbuffer), 6);
}

}  // namespace
}  // namespace qv::test
