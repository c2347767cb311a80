// A guest that falsifies the words it shares with the host: it hurts itself alone, and the end of its context is never held up.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "peer/host/guest.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class HostileWords : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(EglDisplay::get(), nullptr);
    guest = std::make_unique<Guest>(counters, *EglDisplay::get(), 1);
    open();
  }
  // A context with its channel and a window.
  void open() {
    context = send(CreateContextPacket{}, [](auto& packet) {
      const uint16_t attributes[] = {GL_DOUBLEBUFFER, GL_VERSION, 210, GL_CONTEXT_PROFILE_MASK, 2, 0};
      std::memcpy(packet.attributes, attributes, sizeof attributes);
    }).contextId;
    window = send(CreateWindowPacket{}, [](auto& packet) { packet.attributes[0] = GL_DOUBLEBUFFER; }).windowId;
    channel = guest->openChannel(context)->channel();
    requests = 0;
  }
  template <typename Packet, typename Fill>
  Packet send(Packet packet, Fill&& fill) {
    packet.processId = 7;
    fill(packet);
    guest->answer({reinterpret_cast<uint8_t*>(&packet), sizeof packet}, {});
    EXPECT_EQ(packet.header.status, 0);
    return packet;
  }
  // Asks for a flush of so many bytes, of which so many are said to be there.
  void request(uint32_t streamBytes, uint32_t written, uint32_t replyBytes = 0, uint32_t presentMode = 0, uint32_t backBuffer = 0) {
    channel->flush = {7, window, presentMode, {0, 0, 8, 8}, backBuffer, streamBytes, replyBytes, 0};
    channel->streamWritten.store(written);
    channel->streamFault.store(0);
    channel->replyRead.store(0);
    channel->writable.store(presentMode == 0 ? requests + 1 : requests);
    channel->requests.store(++requests);
    ringAlways(channel->peerBell);
  }
  bool answered(milliseconds within = std::chrono::seconds(10)) const {
    const auto last = steady_clock::now() + within;
    while (channel->answers.load() != requests) {
      if (steady_clock::now() > last) return false;
      std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
  }
  // The context ends soon, and another one works.
  void expectDeletable() {
    const auto from = steady_clock::now();
    send(DeleteContextPacket{}, [&](auto& packet) { packet.contextId = context; });
    EXPECT_LT(steady_clock::now() - from, std::chrono::seconds(3));
    open();
    request(0, 0);
    EXPECT_TRUE(answered());
    EXPECT_EQ(channel->answer.status, 0);
  }

  LogCapture log;
  LiveCounters counters;
  std::unique_ptr<Guest> guest;
  std::shared_ptr<ChannelMemory> channel;
  uint32_t context = 0, window = 0, requests = 0;
};

// Bytes that are said to be there beyond the stream or the ring are refused.
TEST_F(HostileWords, MoreBytesThanThereCanBe) {
  request(100, 200);
  EXPECT_TRUE(answered());
  EXPECT_NE(channel->answer.status, 0);
  request(0xFFFFFFF0, kStreamRing + 4);
  EXPECT_TRUE(answered());
  EXPECT_NE(channel->answer.status, 0);
  request(8, 0xFFFFFFFF);
  EXPECT_TRUE(answered());
  EXPECT_NE(channel->answer.status, 0);
  EXPECT_EQ(log.take().size(), 3u);
  expectDeletable();
}

// A stream that is announced and never comes waits, and does not hold up the end of the context.
TEST_F(HostileWords, StreamsThatNeverCome) {
  request(100, 0);
  EXPECT_FALSE(answered(milliseconds(300)));
  expectDeletable();
}

// A buffer that may never be written, the same.
TEST_F(HostileWords, BuffersThatMayNeverBeWritten) {
  const Surface surface(5, 8, 8);
  ASSERT_TRUE(guest->allocations().open({5, surface.allocation.size, 8, 8, surface.allocation.pitch}, surface.allocation.fd));
  request(0, 0, 0, GL_BACK, 5);
  EXPECT_FALSE(answered(milliseconds(300)));
  expectDeletable();
}

// Replies that nobody takes, or that are said to be taken before they are there, end as well.
TEST_F(HostileWords, RepliesThatNobodyTakes) {
  Stream stream;
  stream.add(kGenRenderbuffers, 200000);
  std::memcpy(channel->streamRing, stream.data.data(), stream.data.size());
  request(static_cast<uint32_t>(stream.data.size()), static_cast<uint32_t>(stream.data.size()), 800000);
  EXPECT_FALSE(answered(milliseconds(300)));
  channel->replyRead.store(0x80000000);
  ringAlways(channel->peerBell);
  EXPECT_FALSE(answered(milliseconds(300)));
  expectDeletable();
}

// The bell's words written over all the time, asleep and awake, hold up neither flushes for ever nor the end.
TEST_F(HostileWords, BellsWrittenOver) {
  std::atomic<bool> stop{false};
  std::thread writer([&, held = channel] {
    while (!stop.load()) {
      held->peerBell.rings.store(0);
      held->peerBell.sleeping.store(0);
      std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
  });
  for (int i = 0; i < 3; ++i) {
    request(0, 0);
    EXPECT_TRUE(answered());
    std::this_thread::sleep_for(milliseconds(20));
  }
  expectDeletable();
  stop.store(true);
  writer.join();
}

// The host's own words written over change nothing that the host does.
TEST_F(HostileWords, TheHostsWordsWrittenOver) {
  channel->answers.store(99);
  channel->streamRead.store(0xFFFF0000);
  channel->replyWritten.store(5);
  channel->closed.store(1);
  channel->guestBell.rings.store(77);
  channel->answer = {-1, ~0u, ~0u, ~0u};
  request(0, 0);
  EXPECT_TRUE(answered());
  EXPECT_EQ(channel->answer.status, 0);
  expectDeletable();
}

// Requests that no flush stands behind are answered as what stands there, once for however many.
TEST_F(HostileWords, RequestsByTheThousand) {
  requests = 1000;
  request(0, 0);
  EXPECT_TRUE(answered());
  channel->flush = {~0u, ~0u, ~0u, {-1, -1, -1, -1}, ~0u, ~0u, ~0u, ~0u};
  channel->requests.store(++requests);
  ringAlways(channel->peerBell);
  EXPECT_TRUE(answered());
  EXPECT_NE(channel->answer.status, 0);
  expectDeletable();
}

}  // namespace
}  // namespace qv::peer::test
