// What a guest may not do: each malformed packet, address or stream gets a failed status and one log line that says where, and
// the guest and its neighbours are served on.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "peer/host/in_process_gpu.h"
#include "tests/peer/test_guest.h"
#include "wire/row_facts.h"

namespace qv::peer::test {
namespace {

constexpr size_t kStreamBytes = 1024 * 1024;  // of a stream that is more than one piece

class Hostile : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(guest.start(16, 16));
    ASSERT_EQ(guest.flush(Stream().add(kFlush)), 0);
    ASSERT_EQ(log.take().size(), 0u);
  }
  // The guest still gets its pictures.
  void TearDown() override {
    log.take();
    ASSERT_EQ(
        guest.flush(Stream().add(kEnd).add(kEndList).add(kClearColor, 1.0f, 0.0f, 1.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT),
                    GL_BACK),
        0);
    EXPECT_EQ(guest.surface->pixel(8, 8) & 0xFFFFFF, 0xFF00FFu);
    EXPECT_EQ(log.take().size(), 0u);
  }
  // The flush fails with one log line that contains every one of the texts.
  void expectRefused(const Stream& stream, const std::vector<std::string>& texts) {
    EXPECT_NE(guest.flush(stream), 0);
    expectOneLine(texts);
  }
  void expectOneLine(const std::vector<std::string>& texts) {
    const std::vector<std::string> lines = log.take();
    ASSERT_EQ(lines.size(), 1u) << testing::PrintToString(lines);
    for (const std::string& text : texts) EXPECT_NE(lines[0].find(text), std::string::npos) << lines[0];
  }

  LogCapture log;
  InProcessGpu gpu;
  TestGuest guest{gpu};
};

// --- streams ---

// A command that ends beyond its stream is told by opcode, name and offset.
TEST_F(Hostile, TruncatedCommandIsNamedWithItsOffset) {
  Stream stream = Stream().add(kDisable, GL_BLEND).add(kClearColor, 0.0f, 0.0f, 0.0f, 1.0f);
  stream.data.resize(stream.data.size() - 4);
  expectRefused(stream, {"opcode 206", "glClearColor", "offset 8"});
}

// A complaint tells the commands before the fault, at most 63 of them: runs of the same command as one, joined vertex runs by their
// number, and a run without vertices too.
TEST_F(Hostile, ComplaintTellsTheCommandsBefore) {
  const auto cut = [](Stream stream) {
    stream.add(kClearColor, 0.0f);
    return stream;
  };
  expectRefused(cut(Stream().add(kDisable, GL_BLEND).add(kColor3f, 1.0f, 1.0f, 1.0f).add(kColor3f, 1.0f, 1.0f, 1.0f)),
                {"before it: glFlush, glDisable, glColor3f x2"});
  Stream runs;
  for (int i = 0; i < 20; ++i) runs.large(kRunEnded, runPayload(GL_TRIANGLES, {0x2100}, 8, floats({0, 0, 0, 0, 0, 0})));
  expectRefused(cut(runs), {"qvRunEnded x20"});
  Stream many;
  for (int i = 0; i < 100; ++i) many.add(kDisable, GL_BLEND);
  expectRefused(cut(many), {"before it: glDisable x63"});
  Stream open;
  open.word(kRunBroken).word(32).word(4u << 24 | 1u << 16 | 12u).word(0x3103);
  ASSERT_EQ(guest.flush(open), 0);
  expectRefused(cut(Stream().add(kEnd)), {"qvRunBroken, glEnd"});
  // Stray bytes are no command.
  Stream stray = Stream().add(kEnd);
  stray.data.resize(stray.data.size() + 2);
  expectRefused(stray, {"stray bytes", "glEnd"});
}

// A stream that ends inside a large header is refused.
TEST_F(Hostile, LargeHeaderWithoutItsSecondWordIsRefused) {
  expectRefused(Stream().word(kClearColor), {"opcode 206", "offset 0"});
}

// A large total that does not even count its header is refused.
TEST_F(Hostile, LargeTotalBelowEightIsRefused) {
  expectRefused(Stream().word(kClearColor).word(7).word(0), {"opcode 206", "total of 7"});
}

// A large total that reaches beyond the stream is refused.
TEST_F(Hostile, LargeTotalBeyondTheStreamIsRefused) {
  expectRefused(Stream().word(kClearColor).word(0xFFFFFFFF), {"opcode 206", "4294967295"});
}

// A large total that is no multiple of 4 and would wrap when padded is refused.
TEST_F(Hostile, LargeTotalThatWouldWrapWhenPaddedIsRefused) {
  expectRefused(Stream().add(kFlush).word(kEnable).word(0xFFFFFFFD).word(0), {"opcode 215", "offset 4"});
}

// Bytes at the end of a stream that are too few for a header are refused, and told by number.
TEST_F(Hostile, StrayBytesAtTheEndAreRefused) {
  Stream stream = Stream().add(kFlush);
  stream.data.push_back(0x33);
  expectRefused(stream, {"1 stray", "offset 4"});
}

// Commands before a malformed one have been carried out, the ones behind it not.
TEST_F(Hostile, CommandsBeforeAMalformedOneAreDone) {
  EXPECT_NE(guest.flush(Stream().add(kViewport, 1, 2, 3, 4).add(kClearColor, 1.0f).add(kViewport, 9, 9, 9, 9)), 0);
  const std::vector<uint8_t> viewport = guest.ask(Stream().add(kGetIntegerv, GL_VIEWPORT, 1u), 4);
  EXPECT_EQ(viewport, (std::vector<uint8_t>{1, 0, 0, 0}));
}

// Every fixed row is refused with a payload that is too short and with one that is too long.
TEST_F(Hostile, FixedRowsOfAnotherSizeAreRefused) {
  int tested = 0;
  for (const RowFacts& row : allRows()) {
    const bool fixed = row.form == FormKind::Fixed || row.form == FormKind::Vec || row.form == FormKind::Query;
    if (!fixed || !row.stamped || row.size <= 0) continue;
    ++tested;
    const int payload = row.size - 4;
    for (const int change : {-1, 4}) {
      if (payload + change < 0) continue;
      const std::vector<uint8_t> bytes(static_cast<size_t>(payload + change), 0);
      EXPECT_NE(guest.flush(Stream().bytes(static_cast<uint32_t>(row.opcode), bytes)), 0) << row.name;
      EXPECT_EQ(log.take().size(), 1u) << row.name;
    }
  }
  EXPECT_GT(tested, 400);
}

// Of a command that has a fixed part, every length below that is refused.
TEST_F(Hostile, CommandsShorterThanTheirWordsAreRefused) {
  int tested = 0;
  for (const RowFacts& row : allRows()) {
    if (row.opcode < 0 || row.form == FormKind::Local || row.fixedBytes == 0) continue;
    ++tested;
    for (uint32_t bytes = 0; bytes < row.fixedBytes; ++bytes) {
      const std::vector<uint8_t> payload(bytes, 0);
      EXPECT_NE(guest.flush(Stream().bytes(static_cast<uint32_t>(row.opcode), payload)), 0) << row.name << " " << bytes;
      EXPECT_EQ(log.take().size(), 1u) << row.name << " " << bytes;
    }
  }
  EXPECT_GT(tested, 900);
}

// Commands on programs, queries, fences, framebuffers and samplers are survived whatever one of their words says: the largest
// count, a negative one, with data behind them and without.
TEST_F(Hostile, AnyWordOfProgramCommandsIsSurvived) {
  const std::pair<int, int> ranges[] = {{466, 539},   {577, 582},   {701, 718},   {743, 744},   {774, 774},   {1481, 1491},
                                        {1536, 1571}, {2005, 2006}, {2010, 2010}, {2054, 2059}, {2086, 2096}, {2109, 2115},
                                        {2128, 2149}, {2201, 2221}, {2242, 2322}, {2338, 2338}, {2354, 2363}, {2383, 2384}};
  int tested = 0;
  for (const RowFacts& row : allRows()) {
    const auto holds = [&](const auto& range) { return row.opcode >= range.first && row.opcode <= range.second; };
    const bool isOne = std::any_of(std::begin(ranges), std::end(ranges), holds);
    if (!isOne || row.form == FormKind::Local || row.fixedBytes == 0) continue;
    ++tested;
    for (uint32_t word = 0; word < row.fixedBytes / 4; ++word) {
      for (const uint32_t value : {0x7FFFFFFFu, 0xFFFFFFFFu, 0x80000000u, 0x40000001u}) {
        for (const uint32_t tail : {0u, 4u}) {
          std::vector<uint8_t> payload(row.fixedBytes + tail, 0);
          std::memcpy(payload.data() + 4 * word, &value, 4);
          guest.flush(Stream().bytes(static_cast<uint32_t>(row.opcode), payload));
          ASSERT_EQ(guest.result, 0) << row.name << " word " << word << " " << value;
        }
      }
    }
    guest.glError();
    log.take();
  }
  EXPECT_GT(tested, 250);
  guest.flush(Stream().add(kBindFramebuffer, GL_FRAMEBUFFER, 0).add(kUseProgram, 0));
  guest.glError();
}

// A counted array that is shorter than its count is refused; one with fewer values than its name has is met with zeros.
TEST_F(Hostile, CountedArrayOfAnotherLengthIsRefused) {
  expectRefused(Stream().add(kLightfv, GL_LIGHT0, GL_AMBIENT, 4u, 1.0f, 1.0f, 1.0f), {"opcode 160", "24 bytes instead of 28"});
  expectRefused(Stream().add(kLightfv, GL_LIGHT0, GL_AMBIENT, 0x40000001u, 1.0f), {"opcode 160"});
  expectRefused(Stream().add(kLightfv, GL_LIGHT0, GL_AMBIENT), {"opcode 160"});
  // Fewer values than the name has are met with zeros, not with what lies behind them.
  ASSERT_EQ(guest.flush(Stream().add(kLightfv, GL_LIGHT0, GL_AMBIENT, 1u, 0.5f)), 0);
  EXPECT_EQ(guest.ask(Stream().add(kGetLightfv, GL_LIGHT0, GL_AMBIENT, 4u), 16), floats({0.5f, 0, 0, 0}));
}

// A fog parameter of another length than its name has is refused.
TEST_F(Hostile, SizedArrayOfAnotherLengthIsRefused) {
  expectRefused(Stream().add(kFogfv, GL_FOG_COLOR, 1.0f), {"opcode 154"});                      // a fog colour of one float
  expectRefused(Stream().add(kFogfv, GL_FOG_DENSITY, 1.0f, 1.0f, 1.0f, 1.0f), {"opcode 154"});  // a fog density of four
  expectRefused(Stream().add(kFogfv, GL_FOG_COLOR, 1.0f, 1.0f), {"opcode 154"});
}

// A count of names that the command does not hold is refused; a negative one is GL's own error.
TEST_F(Hostile, NamesBeyondTheCommandAreRefused) {
  expectRefused(Stream().add(kDeleteTextures, 3, 1u, 2u), {"opcode 328", "12 bytes instead of 16"});
  expectRefused(Stream().add(kDeleteTextures, 0x40000001, 1u), {"opcode 328"});
  expectRefused(Stream().add(kDeleteTextures, 1), {"opcode 328"});
  ASSERT_EQ(guest.flush(Stream().add(kDeleteTextures, -1)), 0);
  EXPECT_EQ(guest.glError(), GL_INVALID_VALUE);
}

// glCallLists whose names, count and length do not agree is refused.
TEST_F(Hostile, ListNamesBeyondTheCommandAreRefused) {
  expectRefused(Stream().add(kCallLists, 2, GL_UNSIGNED_INT, 4u, 1u), {"opcode 3 ", "glCallLists"});
  expectRefused(Stream().add(kCallLists, 1, GL_UNSIGNED_INT, 8u, 1u), {"opcode 3 "});
  expectRefused(Stream().add(kCallLists, 1, GL_UNSIGNED_INT, 0x7FFFFFFFu, 1u), {"opcode 3 "});
  expectRefused(Stream().add(kCallLists, 0x40000001, GL_UNSIGNED_INT, 4u, 1u), {"opcode 3 "});
}

// A text without its terminating zero, or of another length than its word says, is refused.
TEST_F(Hostile, TextWithoutItsEndIsRefused) {
  const std::vector<uint8_t> withZero = {1, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 'a', 'b', 0};
  ASSERT_EQ(guest.flush(Stream().bytes(kBindAttribLocation, withZero)), 0);
  std::vector<uint8_t> open = withZero;
  open.back() = 'c';
  expectRefused(Stream().bytes(kBindAttribLocation, open), {"opcode 490", "text without its terminating zero"});
  std::vector<uint8_t> longer = withZero;
  longer[8] = 200;
  expectRefused(Stream().bytes(kBindAttribLocation, longer), {"opcode 490", "15 bytes instead of 212"});
  expectRefused(Stream().bytes(kBindAttribLocation, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), {"opcode 490"});
}

// A query for more values than any answer has is refused.
TEST_F(Hostile, QueriesForMoreThanThereIsAreRefused) {
  expectRefused(Stream().add(kGetIntegerv, GL_VIEWPORT, 0xFFFFFFFFu), {"opcode 263", "values"});
  expectRefused(Stream().add(kGenFramebuffers, 0x7FFFFFFF), {"opcode 1544", "values"});
}

// --- runs ---

// A run whose slots, tags, stride and length do not agree is refused with its reason; a mode that GL does not know is GL's own
// error.
TEST_F(Hostile, RunsThatContradictThemselvesAreRefused) {
  const auto refused = [&](const std::vector<uint8_t>& payload, const std::string& text) {
    SCOPED_TRACE(text);
    expectRefused(Stream().large(kRunEnded, payload), {"opcode 2008", text});
  };
  const std::vector<uint8_t> one = floats({0, 0, 0});
  refused({}, "payload of 0");
  refused(runPayload(GL_TRIANGLES, std::vector<uint16_t>(17, 0x3103), 204, {}), "17 slots");
  refused({0, 0, 16, 4, 0, 0}, "16 slots");
  refused(runPayload(GL_TRIANGLES, {0x3100}, 16, one), "16 bytes per vertex");
  refused(runPayload(GL_TRIANGLES, {0x0100}, 0, {}), "tag 0x0100");       // no component
  refused(runPayload(GL_TRIANGLES, {0x5100}, 20, {}), "tag 0x5100");      // five components
  refused(runPayload(GL_TRIANGLES, {0x3800}, 12, {}), "tag 0x3800");      // no such type
  refused(runPayload(GL_TRIANGLES, {0x1100}, 4, {}), "tag 0x1100");       // a position of one component
  refused(runPayload(GL_TRIANGLES, {0x3100, 0x3103}, 24, {}), "slot 1");  // behind the position
  refused(runPayload(GL_TRIANGLES, {0x3100}, 12, {1, 2, 3, 4}), "4 bytes of vertices of 12");
  refused(runPayload(GL_TRIANGLES, {}, 0, {1, 2, 3, 4}), "4 bytes of vertices of 0");
  // A primitive that GL does not know is GL's own error.
  ASSERT_EQ(guest.flush(Stream().large(kRunEnded, runPayload(200, {0x3100}, 12, one))), 0);
  EXPECT_EQ(guest.glError(), GL_INVALID_ENUM);
}

// A run with a texture unit that GL does not have is GL's own error; what else it holds is drawn.
TEST_F(Hostile, UnknownUnitsInRunsAreGlsErrors) {
  for (const uint16_t tag : std::initializer_list<uint16_t>{0x3101, 0x3107, 0x3128, 0x31FF}) {
    const std::vector<float> vertex = {1, 2, 3, 0, 0.5f, 0, 0, 0, 0};
    std::vector<uint8_t> data;
    for (int i = 0; i < 3; ++i) data += floats(vertex);
    ASSERT_EQ(guest.flush(Stream().large(kRunEnded, runPayload(GL_TRIANGLES, {tag, 0x3103, 0x3100}, 36, data))), 0);
    EXPECT_EQ(guest.glError(), GL_INVALID_ENUM);
    EXPECT_EQ(guest.ask(Stream().add(kGetFloatv, GL_CURRENT_COLOR, 4u), 16), floats({0, 0.5f, 0, 1}));
  }
}

// A run inside an open primitive, and one inside a list, are taken, and the guest is served on.
TEST_F(Hostile, RunsInsidePrimitivesAndListsAreSurvived) {
  std::vector<float> values(3 * 60, 0.0f);
  const std::vector<uint8_t> run = runPayload(GL_TRIANGLES, {0x3100}, 12, floats(values));
  ASSERT_EQ(guest.flush(Stream().add(kBegin, GL_TRIANGLES).large(kRunEnded, run).large(kRunBroken, run).large(kRunEnded, run)),
            0);
  guest.flush(Stream().add(kEnd));
  ASSERT_EQ(guest.flush(Stream().add(kNewList, 1u, GL_COMPILE).large(kRunEnded, run).add(kEndList).add(kCallList, 1u)), 0);
  guest.glError();
}

// --- packets ---

// A packet of another class, layout, code or size is refused with its number.
TEST_F(Hostile, PacketHeadsOfAnotherKindAreRefused) {
  DeleteContextPacket packet;
  EXPECT_NE(gpu.escape(&packet, 20), 0);  // not even a header: there is no status to write
  expectOneLine({"20 bytes"});
  packet.contextId = guest.context;
  packet.header.packetClass = 3;
  EXPECT_NE(guest.send(packet), 0);
  expectOneLine({"class 3"});
  packet = {};
  packet.header.layout = 16;
  EXPECT_NE(guest.send(packet), 0);
  expectOneLine({"layout word 16"});
  packet = {};
  packet.header.code = static_cast<EscapeCode>(33073);
  EXPECT_NE(guest.send(packet), 0);
  expectOneLine({"packet 33073"});
  packet = {};
  packet.processId = 77;
  gpu.escape(&packet, 28);
  EXPECT_NE(packet.header.status, 0);
  expectOneLine({"28 bytes"});
}

// Ids of another process, and ids that were never given, are refused with their numbers.
TEST_F(Hostile, ForeignIdsAreRefused) {
  TestGuest stranger(gpu, 78);
  stranger.context = guest.context;
  stranger.window = guest.window;
  stranger.width = stranger.height = 8;
  EXPECT_NE(stranger.flush(Stream().add(kFlush)), 0);
  expectOneLine({"process 78"});
  DeleteContextPacket remove;
  remove.contextId = 99;
  EXPECT_NE(guest.send(remove), 0);
  expectOneLine({"context 99"});
  DestroyWindowPacket destroy;
  destroy.windowId = 99;
  EXPECT_NE(guest.send(destroy), 0);
  expectOneLine({"window 99"});
  ShareContextsPacket share;
  share.firstId = guest.context;
  share.secondId = 99;
  EXPECT_NE(guest.send(share), 0);
  expectOneLine({"99"});
  CopyContextPacket copy;
  copy.sourceId = 99;
  EXPECT_NE(guest.send(copy), 0);
  expectOneLine({"99"});
}

// An attribute list without its end, with an unknown token, with a missing value or with an unknown version is refused.
TEST_F(Hostile, AttributeListsWithoutSenseAreRefused) {
  const std::vector<uint16_t> noEnd(60, GL_DOUBLEBUFFER);
  EXPECT_NE(guest.createContext(noEnd).header.status, 0);
  expectOneLine({"attribute list"});
  EXPECT_NE(guest.createContext({1, 0}).header.status, 0);
  expectOneLine({"attribute list"});
  std::vector<uint16_t> cutShort(60, GL_DOUBLEBUFFER);
  cutShort.back() = GL_VERSION;
  EXPECT_NE(guest.createContext(cutShort).header.status, 0);
  expectOneLine({"attribute list"});
  EXPECT_NE(guest.createContext({GL_VERSION, 990, GL_CONTEXT_PROFILE_MASK, 2, 0}).header.status, 0);
  expectOneLine({"version 990"});
  const CreateWindowPacket window = guest.createWindow({9, 0});
  EXPECT_NE(window.header.status, 0);
  EXPECT_EQ(window.windowId, 0u);
  expectOneLine({"attribute list"});
}

// A path of an odd length, of the wrong direction or in memory that not readable is refused.
TEST_F(Hostile, ImagePathsThatCannotBeReadAreRefused) {
  const auto create = [&](uint64_t address, uint32_t size, uint32_t direction) {
    CreateContextPacket packet;
    packet.imagePath = {address, size, direction};
    return guest.send(packet);
  };
  const char16_t path[] = u"C:\\a.exe";
  const auto good = reinterpret_cast<uintptr_t>(path);
  EXPECT_EQ(create(good, 16, 0), 0);
  EXPECT_EQ(log.take().size(), 0u);
  EXPECT_NE(create(good, 15, 0), 0);
  expectOneLine({"15 bytes"});
  EXPECT_NE(create(good, 16, 1), 0);
  expectOneLine({"direction 1"});
  EXPECT_NE(create(16, 16, 0), 0);
  expectOneLine({"not readable"});
  EXPECT_NE(create(0, 16, 0), 0);
  expectOneLine({"16 bytes"});
  EXPECT_NE(create(good, 0xFFFFFFFE, 0), 0);
  expectOneLine({"not readable"});
}

// A flush is refused for each field that names nothing, or has a value that no flush has.
TEST_F(Hostile, FlushPacketsWithWrongFieldsAreRefused) {
  const auto refused = [&](auto&& change, const std::string& text) {
    SCOPED_TRACE(text);
    FlushPacket packet = guest.flushPacket({});
    change(packet);
    EXPECT_NE(guest.send(packet), 0);
    expectOneLine({text});
  };
  refused([](FlushPacket& p) { p.contextId = 77; }, "context 77");
  refused([](FlushPacket& p) { p.windowId = 77; }, "window 77");
  refused([](FlushPacket& p) { p.backBuffer = 77, p.presentMode = 1029; }, "allocation 77");
  refused([](FlushPacket& p) { p.presentMode = 1; }, "present mode 1");
  refused([](FlushPacket& p) { p.stream.direction = 1; }, "directions 1");
  refused([](FlushPacket& p) { p.reply.direction = 0; }, "directions 0, 0");
  refused([](FlushPacket& p) { p.header.layout = 64; }, "layout word 64");
  refused([](FlushPacket& p) { p.clientRect[2] = p.clientRect[0] + 20000; }, "20000 x 16");
  refused([](FlushPacket& p) { p.clientRect[0] = INT32_MIN, p.clientRect[2] = INT32_MAX; }, "4294967295 x 16");
  FlushPacket packet = guest.flushPacket({});
  gpu.escape(&packet, 128);
  EXPECT_NE(packet.header.status, 0);
  expectOneLine({"128 bytes"});
}

// A flush that names an unknown allocation loses the picture and nothing else: its stream is carried out and its question answered.
TEST_F(Hostile, UnknownAllocationsLoseThePictureAlone) {
  const Stream stream = Stream().add(kViewport, 1, 2, 3, 4);
  FlushPacket packet = guest.flushPacket(stream.data);
  packet.backBuffer = 77;
  EXPECT_EQ(guest.send(packet), 0);
  expectOneLine({"allocation 77"});
  packet.presentMode = GL_BACK;
  EXPECT_NE(guest.send(packet), 0);
  expectOneLine({"allocation 77"});
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetIntegerv, GL_VIEWPORT, 1u)), 1);
}

// --- addresses ---

// A stream at an address that not readable, wholly or from some byte on, is refused with the offset.
TEST_F(Hostile, StreamsThatCannotBeReadAreRefused) {
  FlushPacket packet = guest.flushPacket({});
  packet.stream.address = 4096;
  packet.stream.size = 64;
  EXPECT_NE(guest.send(packet), 0);
  expectOneLine({"not readable at offset 0"});
  packet = guest.flushPacket({});
  packet.stream.address = ~uint64_t{0} - 8;
  packet.stream.size = 64;
  EXPECT_NE(guest.send(packet), 0);
  expectOneLine({"not readable at offset 0"});
  // A stream that begins in memory and runs out of it.
  const long page = sysconf(_SC_PAGESIZE);
  const size_t whole = 4 * kStreamBytes;
  uint8_t* const memory = static_cast<uint8_t*>(mmap(nullptr, whole, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(memory, MAP_FAILED);
  munmap(memory + kStreamBytes, static_cast<size_t>(page));
  for (size_t i = 0; i < kStreamBytes; i += 4) {
    const uint32_t nop = 4 << 12 | 217;
    std::memcpy(memory + i, &nop, 4);
  }
  packet = guest.flushPacket({});
  packet.stream.address = reinterpret_cast<uintptr_t>(memory);
  packet.stream.size = static_cast<uint32_t>(2 * kStreamBytes);
  EXPECT_NE(guest.send(packet), 0);
  expectOneLine({"not readable at offset"});
  munmap(memory, whole);
}

// A reply buffer that not writable fails the flush.
TEST_F(Hostile, RepliesThatCannotBeWrittenAreRefused) {
  const Stream stream = Stream().add(kGetIntegerv, GL_VIEWPORT, 4u);
  FlushPacket packet = guest.flushPacket(stream.data);
  packet.reply.address = 64;
  packet.reply.size = 16;
  EXPECT_NE(guest.send(packet), 0);
  expectOneLine({"not writable"});
  // Memory that can be read but not written.
  void* const memory = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  packet = guest.flushPacket(stream.data);
  packet.reply.address = reinterpret_cast<uintptr_t>(memory);
  packet.reply.size = 16;
  EXPECT_NE(guest.send(packet), 0);
  expectOneLine({"not writable"});
  munmap(memory, 4096);
}

// An allocation that is not sealed, does not fit its memory or is opened twice is refused.
TEST_F(Hostile, AllocationsThatDoNotFitAreRefused) {
  const Surface loose(0x500, 8, 8, false);
  EXPECT_FALSE(gpu.openAllocation(loose.allocation));
  expectOneLine({"not sealed"});
  sim::GpuAllocation elsewhere = loose.allocation;
  elsewhere.fd = 0;
  EXPECT_FALSE(gpu.openAllocation(elsewhere));
  expectOneLine({"not sealed"});
  const Surface good(0x501, 8, 8);
  const auto refused = [&](auto&& change) {
    sim::GpuAllocation changed = good.allocation;
    change(changed);
    EXPECT_FALSE(gpu.openAllocation(changed));
    expectOneLine({"do not fit"});
  };
  refused([](sim::GpuAllocation& a) { a.size = 1u << 30; });
  refused([](sim::GpuAllocation& a) { a.height = 9; });
  refused([](sim::GpuAllocation& a) { a.pitch = 28; });
  refused([](sim::GpuAllocation& a) { a.pitch = 33; });
  refused([](sim::GpuAllocation& a) { a.width = 0; });
  refused([](sim::GpuAllocation& a) { a.width = 0x40000001; });
  EXPECT_TRUE(gpu.openAllocation(good.allocation));
  EXPECT_FALSE(gpu.openAllocation(good.allocation));
  expectOneLine({"twice"});
  gpu.closeAllocation(0x501);
  gpu.closeAllocation(0x501);
}

// --- chance ---

// Streams of noise, and good streams with flipped bits, end in an answer every time.
TEST_F(Hostile, NoiseIsSurvived) {
  std::mt19937 random(20240117);
  std::vector<float> values(6 * 60, 0.25f);
  Stream good;
  good.add(kClearColor, 0.0f, 0.0f, 0.0f, 1.0f)
      .add(kClear, GL_COLOR_BUFFER_BIT)
      .add(kLightfv, GL_LIGHT0, GL_AMBIENT, 4u, 1.0f, 1.0f, 1.0f, 1.0f);
  good.large(kRunEnded, runPayload(GL_TRIANGLES, {0x3103, 0x3100}, 24, floats(values)))
      .add(kCallLists, 2, GL_UNSIGNED_INT, 8u, 1u, 2u)
      .add(kGetIntegerv, GL_VIEWPORT, 4u);
  uint32_t refused = 0;
  for (int round = 0; round < 3000; ++round) {
    Stream stream;
    if (round % 3 == 0) {
      stream.data.resize(random() % 200);
      for (uint8_t& byte : stream.data) byte = static_cast<uint8_t>(random());
    } else {
      stream = good;
      for (int flips = 0; flips < 3; ++flips)
        stream.data[random() % stream.data.size()] ^= static_cast<uint8_t>(1u << random() % 8);
    }
    // Drawing the noise is not the point: nothing is kept of lists and open primitives.
    refused += guest.flush(stream) != 0;
    guest.flush(Stream().add(kEnd).add(kEndList));
  }
  EXPECT_GT(refused, 500u);
  log.take();
}

}  // namespace
}  // namespace qv::peer::test
