// The registry of contexts behind the exports.
#include <cstring>

#include "driver/base/current_context.h"
#include "driver/base/process_state.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

class ContextExportsTest : public FrameTest {};

// A create gives 0 and leaves the last error for a device context without one of the fourteen formats.
TEST_F(ContextExportsTest, CreateNeedsAPixelFormat) {
  const HWND window = makeWindow(0);
  const HDC hdc = dc(window);
  for (const int format : {0, 15, -1}) {
    sim::forcePixelFormat(hdc, format);
    SetLastError(kUntouchedError);
    EXPECT_EQ(DrvCreateContext(hdc), 0u);
    EXPECT_EQ(GetLastError(), kUntouchedError);
  }
  EXPECT_EQ(gpu.count(EscapeCode::CreateContext), 0u);
}

// Handles are the lowest free index from 1 on; a full table of 32 grows to 64 and its first new index is 32.
TEST_F(ContextExportsTest, HandlesAreTheLowestFree) {
  const HWND window = makeWindow();
  for (DHGLRC expected = 1; expected <= 31; ++expected) EXPECT_EQ(makeContext(window), expected);
  EXPECT_EQ(makeContext(window), 32u);
  EXPECT_EQ(makeContext(window), 33u);
  EXPECT_EQ(DrvDeleteContext(3), 1);
  EXPECT_EQ(DrvDeleteContext(20), 1);
  EXPECT_EQ(makeContext(window), 3u);
  EXPECT_EQ(makeContext(window), 20u);
  EXPECT_EQ(makeContext(window), 34u);
}

// Only the low 32 bits of a handle count.
TEST_F(ContextExportsTest, UpperHalfOfAHandleIsIgnored) {
  const DHGLRC handle = makeContext(makeWindow());
  EXPECT_EQ(DrvDeleteContext(handle | DHGLRC{5} << 32), 1);
  EXPECT_EQ(contextOf(handle), nullptr);
}

// They count so in every export that takes a handle.
TEST_F(ContextExportsTest, EveryExportIgnoresTheUpperHalf) {
  const HWND window = makeWindow();
  const HDC hdc = dc(window);
  const DHGLRC upper = DHGLRC{7} << 32;
  const DHGLRC a = makeContext(window), b = makeContext(window);
  EXPECT_NE(DrvSetContext(hdc, a | upper, nullptr), nullptr);
  EXPECT_EQ(currentContext(), contextOf(a));
  EXPECT_EQ(DrvCopyContext(a | upper, b | upper, 1), 1);
  EXPECT_EQ(DrvShareLists(a | upper, b | upper), 1);
  EXPECT_EQ(contextOf(a)->nextSharer, contextOf(b));
  EXPECT_EQ(DrvReleaseContext(a | upper), 1);
  EXPECT_EQ(currentContext(), nullptr);
  SetLastError(0);
  EXPECT_EQ(DrvReleaseContext(upper), 0);
  EXPECT_EQ(GetLastError(), 6u);
}

// A delete of a handle that names nothing is error 6.
TEST_F(ContextExportsTest, DeleteOfNothingIsAnInvalidHandle) {
  const DHGLRC handle = makeContext(makeWindow());
  EXPECT_EQ(DrvDeleteContext(handle), 1);
  for (const DHGLRC none : {DHGLRC{0}, handle, DHGLRC{500}}) {
    SetLastError(0);
    EXPECT_EQ(DrvDeleteContext(none), 0);
    EXPECT_EQ(GetLastError(), 6u);
  }
}

// The host's refusal of a delete is ignored: the guest's context goes anyway.
TEST_F(ContextExportsTest, DeleteIgnoresTheHost) {
  const DHGLRC handle = makeContext(makeWindow());
  gpu.status[EscapeCode::DeleteContext] = 5;
  EXPECT_EQ(DrvDeleteContext(handle), 1);
  EXPECT_EQ(contextOf(handle), nullptr);
}

// A create that fails, by status or by call, sets error 1359.
TEST_F(ContextExportsTest, RefusedCreateIsAnInternalError) {
  const HWND window = makeWindow();
  gpu.status[EscapeCode::CreateContext] = static_cast<int32_t>(0xF0000027);  // only a flush ends the process
  SetLastError(0);
  EXPECT_EQ(makeContext(window), 0u);
  EXPECT_EQ(GetLastError(), 1359u);
  gpu.status.clear();
  gpu.delivered[EscapeCode::CreateContext] = static_cast<NTSTATUS>(0xC0000022);
  SetLastError(0);
  EXPECT_EQ(makeContext(window), 0u);
  EXPECT_EQ(GetLastError(), 1359u);
}

// Contexts of layers other than 0 are refused.
TEST_F(ContextExportsTest, OnlyLayerZeroExists) {
  const HWND window = makeWindow();
  const HDC hdc = dc(window);
  SetLastError(0);
  EXPECT_EQ(DrvCreateLayerContext(hdc, 1), 0u);
  EXPECT_EQ(GetLastError(), 87u);
  const DHGLRC context = DrvCreateLayerContext(hdc, 0);
  EXPECT_EQ(context, 1u);
  EXPECT_EQ(DrvDeleteContext(context), 1);
}

// Without a request, a profile or a word of the host a context is 2.1 compatibility.
TEST_F(ContextExportsTest, DefaultVersionIs21Compatibility) {
  const GlContext* const context = contextOf(makeContext(makeWindow()));
  EXPECT_EQ(context->contextVersion, 210);
  EXPECT_EQ(context->compatibilityProfile, 1);
  EXPECT_EQ(context->swapInterval, -1);
  EXPECT_EQ(context->window, nullptr);
  EXPECT_EQ(context->nextSharer, context);
}

struct ReplyCase {
  std::vector<uint16_t> words;
  uint16_t version;
  uint8_t compatibility;
};
class CreateReplyTest : public ContextExportsTest, public ::testing::WithParamInterface<ReplyCase> {};

// The host's list has the last word; words that are neither of the two tokens are passed over one by one.
TEST_P(CreateReplyTest, HostRewritesTheList) {
  gpu.onCreateContext = [](CreateContextPacket& packet) {
    std::memset(packet.attributes, 0, sizeof(packet.attributes));
    std::copy(GetParam().words.begin(), GetParam().words.end(), packet.attributes);
  };
  const GlContext* const context = contextOf(makeContext(makeWindow()));
  EXPECT_EQ(context->contextVersion, GetParam().version);
  EXPECT_EQ(context->compatibilityProfile, GetParam().compatibility);
}
INSTANTIATE_TEST_SUITE_P(Lists, CreateReplyTest,
                         ::testing::Values(ReplyCase{{}, 210, 1}, ReplyCase{{7938, 200}, 210, 1},
                                           ReplyCase{{7938, 330, 37158, 1}, 330, 0},
                                           ReplyCase{{3122, 37158, 2, 7938, 450}, 450, 1}, ReplyCase{{37158, 3}, 210, 1},
                                           ReplyCase{{37158, 0}, 210, 0},
                                           // The value of a token that is passed over may be taken for a token.
                                           ReplyCase{{32937, 7938, 320, 0, 37158, 1}, 320, 1},
                                           ReplyCase{{3122, 0, 7938, 450}, 210, 1},
                                           // A token in the last word has no value.
                                           ReplyCase{std::vector<uint16_t>(60, 7938), 7938, 1}));

// The mask word of a full list of odd length stands last, without a value.
TEST_F(ContextExportsTest, TokenInTheLastWordHasNoValue) {
  gpu.onCreateContext = [](CreateContextPacket& packet) {
    std::fill(std::begin(packet.attributes), std::end(packet.attributes), uint16_t{3122});
    packet.attributes[59] = 37158;
  };
  EXPECT_EQ(contextOf(makeContext(makeWindow()))->compatibilityProfile, 1);
}

// Make-current refuses unknown handles and device contexts without a window with error 6.
TEST_F(ContextExportsTest, SetContextNeedsContextAndWindow) {
  const HWND window = makeWindow();
  const HDC hdc = dc(window);
  const DHGLRC context = makeContext(window);
  for (const DHGLRC handle : {DHGLRC{0}, DHGLRC{7}, DHGLRC{4000}}) {
    SetLastError(0);
    EXPECT_EQ(DrvSetContext(hdc, handle, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), 6u);
  }
  const HDC memory = sim::createMemoryDC();
  SetLastError(0);
  EXPECT_EQ(DrvSetContext(memory, context, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), 6u);
  sim::deleteMemoryDC(memory);
  EXPECT_EQ(currentContext(), nullptr);
  EXPECT_EQ(WindowRecordList, nullptr);
}

// Make-current answers null and leaves the last error for a window whose format is none of the fourteen.
TEST_F(ContextExportsTest, SetContextNeedsAPixelFormat) {
  const DHGLRC context = makeContext(makeWindow());
  const HWND plain = makeWindow(0);
  const HDC hdc = dc(plain);
  SetLastError(kUntouchedError);
  EXPECT_EQ(DrvSetContext(hdc, context, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), kUntouchedError);
}

// A host that gives no window id makes the window unusable: error 1359, and the record stays with id 0.
TEST_F(ContextExportsTest, SetContextNeedsAHostWindow) {
  const HWND window = makeWindow();
  const DHGLRC context = makeContext(window);
  gpu.nextWindowId = 0;
  const HDC hdc = dc(window);
  for (int attempt = 0; attempt < 2; ++attempt) {
    SetLastError(0);
    EXPECT_EQ(DrvSetContext(hdc, context, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), 1359u);
  }
  EXPECT_EQ(gpu.count(EscapeCode::CreateWindow), 1u);
  EXPECT_EQ(currentContext(), nullptr);
}

// The id in the reply counts whatever the status of the packet.
TEST_F(ContextExportsTest, WindowStatusIsNotRead) {
  gpu.status[EscapeCode::CreateWindow] = 77;
  const HWND window = makeWindow();
  makeCurrent(window);
  EXPECT_EQ(record(window)->hostWindowId, 900u);
}

// Make-current binds the window, fills a viewport that was never set, and answers with the table of 336 functions.
TEST_F(ContextExportsTest, SetContextBindsWindowAndViewport) {
  const HWND window = makeWindow(4, {10, 20, 330, 260});
  const DHGLRC handle = makeContext(window);
  const HDC hdc = dc(window);
  GLCLTPROCTABLE* const table = DrvSetContext(hdc, handle, nullptr);
  ASSERT_NE(table, nullptr);
  int count;
  std::memcpy(&count, table, sizeof(count));
  EXPECT_EQ(count, 336);
  GlContext* const context = contextOf(handle);
  EXPECT_EQ(currentContext(), context);
  EXPECT_EQ(context->window, window);
  EXPECT_EQ(context->hostWindowId, 900u);
  const ViewportState& viewport = context->viewport.current();
  EXPECT_EQ(viewport.x, 0);
  EXPECT_EQ(viewport.y, 0);
  EXPECT_EQ(viewport.width, 320);
  EXPECT_EQ(viewport.height, 240);
  // The limits that a 2.1 context needs: three of texturing, one of transform feedback.
  EXPECT_EQ(gpu.count(EscapeCode::Flush), 4u);

  // On another window: the binding follows, the viewport stays, nothing is asked again.
  const HWND second = makeWindow(4, {0, 0, 50, 60});
  const HDC secondDc = dc(second);
  EXPECT_EQ(DrvSetContext(secondDc, handle, nullptr), table);
  EXPECT_EQ(context->window, second);
  EXPECT_EQ(context->hostWindowId, 901u);
  EXPECT_EQ(context->viewport.current().width, 320);
  EXPECT_EQ(gpu.count(EscapeCode::Flush), 4u);
}

// A viewport that the application has set stays: only one whose width and height are both negative is filled.
TEST_F(ContextExportsTest, SetContextKeepsAViewport) {
  const HWND window = makeWindow(4, {10, 20, 330, 260});
  const HDC hdc = dc(window);
  const ViewportState set[] = {{.x = 5, .y = 6, .width = 7, .height = 8},
                               {.x = 5, .y = 6, .width = 0, .height = 0},
                               {.x = 5, .y = 6, .width = -1, .height = 0},
                               {.x = 5, .y = 6, .width = 0, .height = -1}};
  for (const ViewportState& before : set) {
    const DHGLRC handle = makeContext(window);
    contextOf(handle)->viewport.current() = before;
    ASSERT_NE(DrvSetContext(hdc, handle, nullptr), nullptr);
    const ViewportState& after = contextOf(handle)->viewport.current();
    EXPECT_EQ(after.x, 5);
    EXPECT_EQ(after.y, 6);
    EXPECT_EQ(after.width, before.width);
    EXPECT_EQ(after.height, before.height);
  }
  const DHGLRC handle = makeContext(window);
  contextOf(handle)->viewport.current() = {.x = 5, .y = 6, .width = -3, .height = -4};
  ASSERT_NE(DrvSetContext(hdc, handle, nullptr), nullptr);
  EXPECT_EQ(contextOf(handle)->viewport.current().x, 0);
  EXPECT_EQ(contextOf(handle)->viewport.current().width, 320);
}

// Whether a context is current is not looked at when it is deleted: the thread's slot keeps its address.
TEST_F(ContextExportsTest, DeleteLeavesTheSlot) {
  const DHGLRC handle = makeCurrent(makeWindow());
  const void* const address = currentContext();
  EXPECT_EQ(DrvDeleteContext(handle), 1);
  EXPECT_EQ(TlsGetValue(ContextTlsSlot), address);
  SetLastError(0);
  EXPECT_EQ(DrvDeleteContext(handle), 0);
  EXPECT_EQ(GetLastError(), 6u);
  TlsSetValue(ContextTlsSlot, nullptr);
}

// Only the current context of the thread can be released.
TEST_F(ContextExportsTest, OnlyTheCurrentContextIsReleased) {
  const HWND window = makeWindow();
  const DHGLRC other = makeContext(window);
  const DHGLRC handle = makeCurrent(window);
  for (const DHGLRC wrong : {DHGLRC{0}, other, DHGLRC{99}}) {
    SetLastError(0);
    EXPECT_EQ(DrvReleaseContext(wrong), 0);
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_EQ(currentContext(), contextOf(handle));
  }
  EXPECT_EQ(DrvReleaseContext(handle), 1);
  EXPECT_EQ(currentContext(), nullptr);
  SetLastError(0);
  EXPECT_EQ(DrvReleaseContext(handle), 0);
  EXPECT_EQ(GetLastError(), 6u);
}

// Release marks the end of the frame and flushes without a present.
TEST_F(ContextExportsTest, ReleaseMarksAndFlushes) {
  const DHGLRC handle = makeCurrent(makeWindow());
  writeSomething();
  contextOf(handle)->frontDirty = 1;
  EXPECT_EQ(DrvReleaseContext(handle), 1);
  ASSERT_EQ(gpu.count(EscapeCode::Flush), 1u);
  const SentPacket flush = gpu.last(EscapeCode::Flush);
  EXPECT_EQ(flush.stream, bytesOfWords({0x402B, 16601}));
  EXPECT_EQ(flush.word(36), 0u);
  EXPECT_EQ(contextOf(handle)->lastOpcode, 217);
  EXPECT_EQ(contextOf(handle)->frontDirty, 0);
  EXPECT_EQ(compositionCalls, 0u);
}

// A release with nothing in the stream and the mark already made sends nothing.
TEST_F(ContextExportsTest, ReleaseOfAnEmptyStreamSendsNothing) {
  const DHGLRC handle = makeCurrent(makeWindow());
  currentContext()->lastOpcode = 217;
  EXPECT_EQ(DrvReleaseContext(handle), 1);
  EXPECT_TRUE(gpu.packets().empty());
}

// Sharing splices the rings and moves the second context into the group of the first.
TEST_F(ContextExportsTest, ShareListsSplicesTheRings) {
  const HWND window = makeWindow();
  const DHGLRC a = makeContext(window), b = makeContext(window), c = makeContext(window);
  EXPECT_EQ(DrvShareLists(a, b), 1);
  EXPECT_EQ(contextOf(a)->nextSharer, contextOf(b));
  EXPECT_EQ(contextOf(b)->nextSharer, contextOf(a));
  EXPECT_EQ(contextOf(a)->shareGroup, contextOf(b)->shareGroup);
  EXPECT_EQ(DrvShareLists(b, c), 1);
  EXPECT_EQ(contextOf(a)->shareGroup, contextOf(c)->shareGroup);
  EXPECT_EQ(contextOf(b)->nextSharer, contextOf(c));
  EXPECT_EQ(contextOf(c)->nextSharer, contextOf(a));
  // The middle one leaves the ring closed.
  EXPECT_EQ(DrvDeleteContext(b), 1);
  EXPECT_EQ(contextOf(a)->nextSharer, contextOf(c));
  EXPECT_EQ(contextOf(c)->nextSharer, contextOf(a));
}

// Two contexts that share already are split by a second request.
TEST_F(ContextExportsTest, ShareListsTwiceSplits) {
  const HWND window = makeWindow();
  const DHGLRC a = makeContext(window), b = makeContext(window);
  EXPECT_EQ(DrvShareLists(a, b), 1);
  EXPECT_EQ(DrvShareLists(a, b), 1);
  EXPECT_EQ(contextOf(a)->nextSharer, contextOf(a));
  EXPECT_EQ(contextOf(b)->nextSharer, contextOf(b));
}

// A context that is to share with itself is done, and nothing is sent.
TEST_F(ContextExportsTest, ShareListsWithItselfSendsNothing) {
  const DHGLRC a = makeContext(makeWindow());
  EXPECT_EQ(DrvShareLists(a, a), 1);
  EXPECT_EQ(gpu.count(EscapeCode::ShareContexts), 0u);
}

// Share and copy refuse unknown handles with 6 and report the host's refusal with 1359, changing nothing.
TEST_F(ContextExportsTest, FailedShareAndCopyChangeNothing) {
  const HWND window = makeWindow();
  const DHGLRC a = makeContext(window), b = makeContext(window);
  for (const auto& [first, second] : {std::pair<DHGLRC, DHGLRC>{a, 9}, {9, b}, {0, 0}}) {
    SetLastError(0);
    EXPECT_EQ(DrvShareLists(first, second), 0);
    EXPECT_EQ(GetLastError(), 6u);
    SetLastError(0);
    EXPECT_EQ(DrvCopyContext(first, second, 1), 0);
    EXPECT_EQ(GetLastError(), 6u);
  }
  gpu.status[EscapeCode::ShareContexts] = 1;
  gpu.status[EscapeCode::CopyContext] = 1;
  SetLastError(0);
  EXPECT_EQ(DrvShareLists(a, b), 0);
  EXPECT_EQ(GetLastError(), 1359u);
  EXPECT_EQ(contextOf(a)->nextSharer, contextOf(a));
  EXPECT_NE(contextOf(a)->shareGroup, contextOf(b)->shareGroup);
  SetLastError(0);
  EXPECT_EQ(DrvCopyContext(a, b, 1), 0);
  EXPECT_EQ(GetLastError(), 1359u);
  gpu.status.clear();
  EXPECT_EQ(DrvCopyContext(a, b, 1), 1);
}

// Only the fifth of the callbacks is kept, and only when there are five.
TEST_F(ContextExportsTest, OnlyTheFifthCallbackIsKept) {
  CompositionPresent = nullptr;
  PROC procs[5];
  for (uintptr_t i = 0; i < 5; ++i) procs[i] = reinterpret_cast<PROC>(0x1000 + i);
  DrvSetCallbackProcs(4, procs);
  EXPECT_EQ(CompositionPresent, nullptr);
  DrvSetCallbackProcs(0, nullptr);
  EXPECT_EQ(CompositionPresent, nullptr);
  DrvSetCallbackProcs(5, procs);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(CompositionPresent), uintptr_t{0x1004});
  DrvSetCallbackProcs(1, procs);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(CompositionPresent), uintptr_t{0x1004});
  CompositionPresent = nullptr;
}

// Every version that is asked about is fine, and there are no layers.
TEST_F(ContextExportsTest, EveryVersionIsFineAndThereAreNoLayers) {
  EXPECT_EQ(DrvValidateVersion(0), 1);
  EXPECT_EQ(DrvValidateVersion(~0u), 1);
  EXPECT_EQ(DrvDescribeLayerPlane(nullptr, 1, 1, 32, nullptr), 0);
  EXPECT_EQ(DrvGetLayerPaletteEntries(nullptr, 1, 0, 4, nullptr), 0);
  EXPECT_EQ(DrvRealizeLayerPalette(nullptr, 1, 1), 0);
  EXPECT_EQ(DrvSetLayerPaletteEntries(nullptr, 1, 0, 4, nullptr), 0);
}

}  // namespace
}  // namespace qv::test
