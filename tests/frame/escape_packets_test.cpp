// The eight private packets, byte by byte, and SubmitFlush.
#include <algorithm>
#include <cstring>

#include "driver/base/current_context.h"
#include "driver/host/flush_packet.h"
#include "driver/host/window_tracking.h"
#include "driver/stream/gl_routines.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

// Header of a packet as sent: class 2, code, status -1, layout.
std::vector<uint8_t> header(uint32_t code, uint32_t layout) { return bytesOfWords({2, 0, code, 0xFFFFFFFF, layout, 0}); }

std::vector<uint8_t> joined(std::initializer_list<std::vector<uint8_t>> parts) {
  std::vector<uint8_t> all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

std::vector<uint8_t> halves(std::initializer_list<uint16_t> values, size_t total) {
  std::vector<uint8_t> bytes;
  for (const uint16_t value : values) {
    bytes.push_back(static_cast<uint8_t>(value));
    bytes.push_back(static_cast<uint8_t>(value >> 8));
  }
  bytes.resize(total);
  return bytes;
}

std::vector<uint8_t> from(const SentPacket& packet, size_t offset, size_t size) {
  const auto start = packet.bytes.begin() + static_cast<ptrdiff_t>(offset);
  return {start, start + static_cast<ptrdiff_t>(size)};
}

class EscapePacketsTest : public FrameTest {
 protected:
  const uint32_t pid = GetCurrentProcessId();
};

// The version packet asks as version 3.0.
TEST_F(EscapePacketsTest, VersionQueryHasItsBytes) {
  EXPECT_EQ(gpu.last(EscapeCode::VersionQuery).bytes, joined({header(33072, 4), bytesOfWords({3, 0})}));
}

// The packet of a create holds the list of the default format and version, and the path of the image in UTF-16 without
// terminator.
TEST_F(EscapePacketsTest, CreateContextHasItsBytes) {
  sim::setImagePath(u"C:\\p\\game.exe");
  makeContext(makeWindow(4));
  const SentPacket packet = gpu.last(EscapeCode::CreateContext);
  ASSERT_EQ(packet.bytes.size(), 168u);
  EXPECT_EQ(from(packet, 0, 32), joined({header(33075, 65664), bytesOfWords({pid, 0})}));
  EXPECT_EQ(from(packet, 32, 120), halves({3122, 7938, 210, 37158, 2}, 120));
  EXPECT_NE(packet.word(152) | packet.word(156), 0u);
  EXPECT_EQ(packet.word(160), 26u);
  EXPECT_EQ(packet.word(164), 0u);
  const std::u16string path = u"C:\\p\\game.exe";
  EXPECT_EQ(std::u16string(packet.imagePath.begin(), packet.imagePath.end()), path);
}

// Without a path, or with one that fills the buffer, the row is all zero.
TEST_F(EscapePacketsTest, CreateContextWithoutAPathHasAZeroRow) {
  const HWND window = makeWindow();
  for (const std::u16string& path : {std::u16string(), std::u16string(260, u'x'), std::u16string(300, u'x')}) {
    sim::setImagePath(path);
    ASSERT_NE(makeContext(window), 0u);
    EXPECT_EQ(from(gpu.last(EscapeCode::CreateContext), 152, 16), std::vector<uint8_t>(16));
  }
  sim::setImagePath(std::u16string(259, u'x'));
  makeContext(window);
  EXPECT_EQ(gpu.last(EscapeCode::CreateContext).word(160), 518u);
}

struct ListCase {
  int format;
  std::initializer_list<uint16_t> words;
};

// The lists of all fourteen formats stand in the packet of a context with version and profile, in that of a window without.
TEST_F(EscapePacketsTest, FormatsHaveTheirAttributeLists) {
  const std::vector<std::vector<uint16_t>> lists = {{},
                                                    {3122},
                                                    {},
                                                    {3122},
                                                    {},
                                                    {3122},
                                                    {32937, 2},
                                                    {3122, 32937, 2},
                                                    {32937, 4},
                                                    {3122, 32937, 4},
                                                    {32937, 8},
                                                    {3122, 32937, 8},
                                                    {32937, 8, 36281},
                                                    {3122, 32937, 8, 36281}};
  for (int format = 1; format <= 14; ++format) {
    const HWND window = makeWindow(format);
    const DHGLRC context = makeContext(window);
    const HDC hdc = dc(window);
    EXPECT_NE(DrvSetContext(hdc, context, nullptr), nullptr);
    EXPECT_EQ(DrvReleaseContext(context), 1);
    std::vector<uint16_t> words = lists[static_cast<size_t>(format) - 1];
    const SentPacket windowPacket = gpu.last(EscapeCode::CreateWindow);
    const SentPacket contextPacket = gpu.last(EscapeCode::CreateContext);
    for (size_t i = 0; i < 60; ++i) {
      EXPECT_EQ(windowPacket.half(32 + 2 * i), i < words.size() ? words[i] : 0) << "format " << format << " word " << i;
    }
    words.insert(words.end(), {7938, 210, 37158, 2});
    for (size_t i = 0; i < 60; ++i) {
      EXPECT_EQ(contextPacket.half(32 + 2 * i), i < words.size() ? words[i] : 0) << "format " << format << " word " << i;
    }
  }
}

// The packets of a delete, a copy and a share name their contexts by the host's ids.
TEST_F(EscapePacketsTest, DeleteCopyAndShareHaveTheirBytes) {
  const HWND window = makeWindow();
  const DHGLRC first = makeContext(window), second = makeContext(window);
  DrvCopyContext(first, second, 0x000FFFFF);
  EXPECT_EQ(gpu.last(EscapeCode::CopyContext).bytes, joined({header(33077, 16), bytesOfWords({pid, 700, 701, 0x000FFFFF})}));
  DrvShareLists(second, first);
  EXPECT_EQ(gpu.last(EscapeCode::ShareContexts).bytes, joined({header(33078, 16), bytesOfWords({pid, 701, 700, 0})}));
  DrvDeleteContext(second);
  EXPECT_EQ(gpu.last(EscapeCode::DeleteContext).bytes, joined({header(33076, 8), bytesOfWords({pid, 701})}));
}

// The packet that makes a window holds its attribute list, and the one that destroys it the host's id.
TEST_F(EscapePacketsTest, WindowPacketsHaveTheirBytes) {
  const uint16_t attributes[] = {3122, 32937, 4, 0, 99};
  const HWND window = makeWindow();
  EXPECT_EQ(FindOrCreateWindowRecord(window, attributes), 900u);
  const SentPacket create = gpu.last(EscapeCode::CreateWindow);
  EXPECT_EQ(create.bytes, joined({header(33079, 128), bytesOfWords({pid, 0}), halves({3122, 32937, 4}, 120)}));
  sim::destroyWindow(window);
  EXPECT_EQ(gpu.last(EscapeCode::DestroyWindow).bytes, joined({header(33080, 8), bytesOfWords({pid, 900})}));
}

// A flush holds ids, mode, the client rectangle of this flush, the back buffer and the three rows.
TEST_F(EscapePacketsTest, FlushHasItsBytes) {
  const HWND window = makeWindow(4, {100, 50, 164, 98});
  makeCurrent(window);
  uint32_t stream[3] = {0x402B, 0x40D9, 0x40D8}, reply[2] = {}, side = 0;
  gpu.answer = 0x03020100;
  EXPECT_EQ(SubmitFlush(currentContext(), 0, stream, 12, reply, 8, &side, 4), 4u);
  const SentPacket packet = gpu.last(EscapeCode::Flush);
  ASSERT_EQ(packet.bytes.size(), 136u);
  EXPECT_EQ(from(packet, 0, 56), joined({header(33081, 196672), bytesOfWords({pid, 700, 900, 0, 100, 50, 164, 98})}));
  EXPECT_EQ(packet.word(56), record(window)->backBuffer.allocation);
  EXPECT_NE(packet.word(56), 0u);
  EXPECT_EQ(from(packet, 60, 28), std::vector<uint8_t>(28));
  const auto row = [](const void* memory, uint32_t size, uint32_t direction) {
    const uint64_t address = reinterpret_cast<uintptr_t>(memory);
    return bytesOfWords({static_cast<uint32_t>(address), static_cast<uint32_t>(address >> 32), size, direction});
  };
  EXPECT_EQ(from(packet, 88, 16), row(stream, 12, 0));
  EXPECT_EQ(from(packet, 104, 16), row(reply, 8, 1));
  EXPECT_EQ(from(packet, 120, 16), row(&side, 4, 1));
  EXPECT_EQ(packet.stream, bytesOfWords({0x402B, 0x40D9, 0x40D8}));
  EXPECT_EQ(reply[0], 0x03020100u);
  EXPECT_EQ(side, 0x03020100u);
}

// An empty stream is sent all the same; absent rows are at address 0 with size 0, the direction of the replies stays 1.
TEST_F(EscapePacketsTest, EmptyFlushIsSent) {
  makeCurrent(makeWindow());
  EXPECT_EQ(SubmitFlush(currentContext(), 0, nullptr, 0, nullptr, 0, nullptr, 0), 0u);
  const SentPacket packet = gpu.last(EscapeCode::Flush);
  EXPECT_EQ(from(packet, 88, 48), bytesOfWords({0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1}));
  uint32_t unused[1] = {7};
  SubmitFlush(currentContext(), 0, unused, 0, nullptr, 4, nullptr, 9);
  EXPECT_EQ(from(gpu.last(EscapeCode::Flush), 88, 48), bytesOfWords({0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1}));
}

// Without a window nothing is sent, and the replies read as zeros, for their full sizes.
TEST_F(EscapePacketsTest, FlushWithoutAWindowZeroesItsReplies) {
  const HWND window = makeWindow();
  makeCurrent(window);
  sim::destroyWindow(window);
  gpu.clear();
  uint8_t reply[9], side[5];
  std::memset(reply, 0xAA, sizeof reply);
  std::memset(side, 0xAA, sizeof side);
  EXPECT_EQ(SubmitFlush(currentContext(), 0, nullptr, 0, reply, 8, side, 4), 0u);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(reply[i], i < 8 ? 0 : 0xAA);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(side[i], i < 4 ? 0 : 0xAA);
  EXPECT_EQ(SubmitFlush(currentContext(), 0, nullptr, 0, nullptr, 0, nullptr, 0), 0u);
  EXPECT_TRUE(gpu.packets().empty());
}

// The result is the size that the host leaves in the second row, without one in the first, without both 0.
TEST_F(EscapePacketsTest, FlushResultIsTheLastReplysSize) {
  makeCurrent(makeWindow());
  gpu.onFlush = [](FlushPacket& packet) {
    packet.reply.size = 111;
    packet.reply2.size = 222;
  };
  uint32_t a = 0, b = 0;
  EXPECT_EQ(SubmitFlush(currentContext(), 0, nullptr, 0, &a, 4, &b, 4), 222u);
  EXPECT_EQ(SubmitFlush(currentContext(), 0, nullptr, 0, nullptr, 0, &b, 4), 222u);
  EXPECT_EQ(SubmitFlush(currentContext(), 0, nullptr, 0, &a, 4, nullptr, 0), 111u);
  EXPECT_EQ(SubmitFlush(currentContext(), 0, nullptr, 0, nullptr, 0, nullptr, 0), 0u);
}

// A failed flush zeroes both replies for their full sizes and goes on, present included.
TEST_F(EscapePacketsTest, FailedFlushZeroesItsReplies) {
  makeCurrent(makeWindow());
  uint8_t reply[8], side[4];
  const auto fails = [&](uint32_t mode) {
    std::memset(reply, 0xAA, sizeof(reply));
    std::memset(side, 0xAA, sizeof(side));
    SubmitFlush(currentContext(), mode, nullptr, 0, reply, 7, side, 3);
    EXPECT_TRUE(std::all_of(reply, reply + 7, [](uint8_t byte) { return byte == 0; }));
    EXPECT_EQ(reply[7], 0xAA);
    EXPECT_TRUE(std::all_of(side, side + 3, [](uint8_t byte) { return byte == 0; }));
    EXPECT_EQ(side[3], 0xAA);
  };
  gpu.status[EscapeCode::Flush] = 1;
  gpu.onFlush = [](FlushPacket& packet) { packet.reply.size = 1000000; };  // a lie about the caller's memory
  fails(0);
  EXPECT_EQ(compositionCalls, 0u);
  fails(1029);
  EXPECT_EQ(compositionCalls, 1u);
  gpu.status.clear();
  gpu.delivered[EscapeCode::Flush] = static_cast<NTSTATUS>(0xC0000001);
  fails(0);
}

// One status in answer to a flush ends the process.
TEST_F(EscapePacketsTest, OneStatusEndsTheProcess) {
  ::testing::FLAGS_gtest_death_test_style = "fast";
  makeCurrent(makeWindow());
  gpu.status[EscapeCode::Flush] = static_cast<int32_t>(0xF0000027);
  EXPECT_EXIT(SubmitFlush(currentContext(), 0, nullptr, 0, nullptr, 0, nullptr, 0), ::testing::ExitedWithCode(1), "");
  gpu.status.clear();
}

// A flush to a window that is gone measures nothing and sends nothing.
TEST_F(EscapePacketsTest, FlushWithoutAWindowSendsNothing) {
  const HWND window = makeWindow();
  makeCurrent(window);
  sim::destroyWindow(window);
  gpu.clear();
  startTrace();
  uint32_t reply = 5;
  EXPECT_EQ(SubmitFlush(currentContext(), 1029, nullptr, 0, &reply, 4, nullptr, 0), 0u);
  expectCalls({"GetCurrentProcessId"});
  EXPECT_TRUE(gpu.packets().empty());
}

// A query that goes through flushStream gets its answer from the first row.
TEST_F(EscapePacketsTest, QueryGetsItsAnswer) {
  makeCurrent(makeWindow());
  gpu.answer = 0x00000500;
  EXPECT_EQ(gl::glGetError(), 0x0500u);
  EXPECT_EQ(gpu.last(EscapeCode::Flush).stream, bytesOfWords({0x4105}));
}

}  // namespace
}  // namespace qv::test
