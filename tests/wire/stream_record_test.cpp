// Recordings of streams: what the link writes of each flush comes back, and files that are none or that are cut short are told.
#include "peer/link/stream_record.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "peer/link/null_gpu.h"
#include "tests/support/opcodes.h"
#include "tests/support/stream_builder.h"
#include "wire/gl_api.h"
#include "wire/packets.h"

namespace qv::test {
namespace {

using Bytes = std::vector<uint8_t>;

struct Flush {
  peer::RecordedFlush head;
  Bytes stream;
};

class StreamRecord : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/qv-stream-record-XXXXXX";
    const int file = mkstemp(name);
    ASSERT_GE(file, 0);
    close(file);
    path = name;
  }
  void TearDown() override { std::filesystem::remove(path); }

  // Sends a flush through a link. Zero reply bytes stand for no reply buffer.
  static NTSTATUS flush(sim::GpuLink& link, const Bytes& stream, uint32_t presentMode = 0, uint32_t replyBytes = 0,
                        uint32_t reply2Bytes = 0) {
    Bytes reply(replyBytes), reply2(reply2Bytes);
    FlushPacket packet;
    packet.contextId = 7;
    packet.presentMode = presentMode;
    packet.stream.address = reinterpret_cast<uintptr_t>(stream.data());
    packet.stream.size = static_cast<uint32_t>(stream.size());
    if (replyBytes != 0) packet.reply = {reinterpret_cast<uintptr_t>(reply.data()), replyBytes, 1};
    if (reply2Bytes != 0) packet.reply2 = {reinterpret_cast<uintptr_t>(reply2.data()), reply2Bytes, 1};
    return link.escape(&packet, sizeof packet);
  }
  // All flushes of the file up to its end or its error.
  std::vector<Flush> read(std::string& error) const {
    std::vector<Flush> out;
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    Flush next;
    error = "not read";
    while (peer::readRecordedFlush(file, next.head, next.stream, error)) {
      EXPECT_EQ(error, "");
      out.push_back(next);
    }
    std::fclose(file);
    return out;
  }
  void write(const Bytes& bytes) const {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(bytes.size()));
  }
  Bytes fileBytes() const {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
  }

  std::string path;
};

// Every flush comes back with its stream, mode and lengths of reply, an empty one too, and reaches the link behind.
TEST_F(StreamRecord, FlushesComeBack) {
  peer::NullGpu gpu;
  const Bytes clear = Stream().add(kClear, GL_COLOR_BUFFER_BIT).data;
  const Bytes empty;  // at no address
  Bytes odd = Stream().add(kDepthMask, uint8_t{1}).data;
  odd.resize(5);  // the last pad bytes may be missing
  {
    std::string error = "?";
    peer::RecordingLink link(gpu, path, error);
    ASSERT_EQ(error, "");
    EXPECT_EQ(flush(link, clear, GL_BACK), 0);
    EXPECT_EQ(flush(link, empty), 0);
    EXPECT_EQ(flush(link, odd, 0, 16, 4), 0);
  }
  EXPECT_EQ(gpu.flushes.load(), 3u);
  EXPECT_EQ(gpu.streamBytes.load(), 8u + 5);
  std::string error;
  const std::vector<Flush> flushes = read(error);
  EXPECT_EQ(error, "");
  ASSERT_EQ(flushes.size(), 3u);
  EXPECT_EQ(flushes[0].stream, clear);
  EXPECT_EQ(flushes[0].head.contextId, 7u);
  EXPECT_EQ(flushes[0].head.presentMode, static_cast<uint32_t>(GL_BACK));
  EXPECT_EQ(flushes[0].head.replyBytes, 0u);
  EXPECT_EQ(flushes[0].head.streamBytes, 8u);
  EXPECT_TRUE(flushes[1].stream.empty());
  EXPECT_EQ(flushes[1].head.streamBytes, 0u);
  EXPECT_EQ(flushes[2].stream, odd);
  EXPECT_EQ(flushes[2].head.replyBytes, 20u);
}

// A flush is five words, then the stream, padded with zeros.
TEST_F(StreamRecord, FlushHasItsBytes) {
  peer::NullGpu gpu;
  {
    std::string error;
    peer::RecordingLink link(gpu, path, error);
    flush(link, {1, 2, 3, 4, 5}, GL_FRONT, 16);
  }
  EXPECT_EQ(fileBytes(), (Bytes{'Q', 'V', 'S', '1', 7, 0, 0, 0, 4, 4, 0, 0, 16, 0, 0, 0, 5, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 0}));
}

// Packets that are no flush, and packets of another size, pass on and leave nothing in the file.
TEST_F(StreamRecord, OtherPacketsLeaveNothing) {
  peer::NullGpu gpu;
  {
    std::string error;
    peer::RecordingLink link(gpu, path, error);
    VersionQueryPacket version;
    EXPECT_EQ(link.escape(&version, sizeof version), 0);
    EXPECT_EQ(version.major, 4);
    FlushPacket flush;
    EXPECT_EQ(link.escape(&flush, sizeof flush - 8), 0);
    FlushPacket other;
    other.header.code = EscapeCode::DestroyWindow;
    EXPECT_EQ(link.escape(&other, sizeof other), 0);
  }
  EXPECT_EQ(gpu.packets.load(), 3u);
  EXPECT_TRUE(fileBytes().empty());
}

// A flush of a frame is recorded too, and the readers of its buffer are waited for once.
TEST_F(StreamRecord, FramesAreRecorded) {
  peer::NullGpu gpu;
  int waits = 0;
  {
    std::string error;
    peer::RecordingLink link(gpu, path, error);
    const Bytes clear = Stream().add(kClear, GL_COLOR_BUFFER_BIT).data;
    FlushPacket packet;
    packet.presentMode = GL_BACK;
    packet.stream = {reinterpret_cast<uintptr_t>(clear.data()), static_cast<uint32_t>(clear.size()), 0};
    const auto wait = [](void* context) { ++*static_cast<int*>(context); };
    EXPECT_EQ(link.escapeFrame(&packet, sizeof packet, wait, &waits), 0);
  }
  EXPECT_EQ(waits, 1);
  EXPECT_EQ(gpu.flushes.load(), 1u);
  std::string error;
  EXPECT_EQ(read(error).size(), 1u);
  EXPECT_EQ(error, "");
}

// A link without a file to write to says why, and passes everything on all the same.
TEST_F(StreamRecord, LinkWithoutAFileSaysWhy) {
  peer::NullGpu gpu;
  std::string error;
  peer::RecordingLink link(gpu, "/nowhere/stream.qvs", error);
  EXPECT_EQ(error, "/nowhere/stream.qvs: No such file or directory");
  EXPECT_EQ(flush(link, {1, 2, 3, 4}), 0);
  EXPECT_EQ(gpu.flushes.load(), 1u);
}

// A file that is cut anywhere but between two flushes gives the flushes before the cut and an error.
TEST_F(StreamRecord, CutFilesAreTold) {
  peer::NullGpu gpu;
  {
    std::string error;
    peer::RecordingLink link(gpu, path, error);
    flush(link, {1, 2, 3, 4, 5});
    flush(link, {6, 7, 8, 9});
  }
  const Bytes whole = fileBytes();
  ASSERT_EQ(whole.size(), 28u + 24);
  for (size_t bytes = 0; bytes <= whole.size(); ++bytes) {
    write(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(bytes)));
    std::string error;
    EXPECT_EQ(read(error).size(), bytes < 28 ? 0u : bytes < 52 ? 1u : 2u) << bytes;
    const bool atAnEnd = bytes == 0 || bytes == 28 || bytes == 52;
    EXPECT_EQ(error, atAnEnd ? "" : "cut short") << bytes;
  }
}

// A length that the file does not hold is told without room for it being made.
TEST_F(StreamRecord, LengthsAreNotBelieved) {
  Bytes bytes = {'Q', 'V', 'S', '1'};
  bytes += words({7, 0, 0, 0xFFFFFFFF, 1, 2});
  write(bytes);
  std::string error;
  EXPECT_TRUE(read(error).empty());
  EXPECT_EQ(error, "cut short");
}

// A file that is no recording is told as such.
TEST_F(StreamRecord, OtherFilesAreNoRecordings) {
  for (const std::string& text :
       {std::string("x"), std::string("#!/bin/sh\necho this is no recording\n"), std::string(4096, '\0')}) {
    write(Bytes(text.begin(), text.end()));
    std::string error;
    EXPECT_TRUE(read(error).empty());
    EXPECT_EQ(error, "not a recorded stream");
  }
}

}  // namespace
}  // namespace qv::test
