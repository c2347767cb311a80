// What a guest may hold: each quota refuses what goes beyond it, with one line, and gives back what is given back.
#include <gtest/gtest.h>

#include "peer/host/in_process_gpu.h"
#include "peer/link/status.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

class QuotasTest : public testing::Test {
 protected:
  void expectOneLine(const std::string& text) {
    const std::vector<std::string> lines = log.take();
    ASSERT_EQ(lines.size(), 1u) << text;
    EXPECT_NE(lines[0].find(text), std::string::npos) << lines[0];
  }
  LogCapture log;
};

// A context too many is refused; one that is deleted makes room.
TEST_F(QuotasTest, Contexts) {
  Quotas quotas;
  quotas.contexts = 2;
  InProcessGpu gpu(quotas);
  TestGuest guest(gpu);
  EXPECT_EQ(guest.createContext().header.status, 0);
  const CreateContextPacket second = guest.createContext();
  EXPECT_EQ(second.header.status, 0);
  EXPECT_EQ(guest.createContext().header.status, kStatusUnavailable);
  expectOneLine("create context: quota of 2");
  DeleteContextPacket remove;
  remove.contextId = second.contextId;
  ASSERT_EQ(guest.send(remove), 0);
  EXPECT_EQ(guest.createContext().header.status, 0);
  EXPECT_EQ(gpu.counters().contexts, 2u);
}

// A window too many is refused; one that is destroyed makes room.
TEST_F(QuotasTest, Windows) {
  Quotas quotas;
  quotas.windows = 2;
  InProcessGpu gpu(quotas);
  TestGuest guest(gpu);
  EXPECT_EQ(guest.createWindow().header.status, 0);
  const CreateWindowPacket second = guest.createWindow();
  EXPECT_EQ(second.header.status, 0);
  const CreateWindowPacket third = guest.createWindow();
  EXPECT_EQ(third.header.status, kStatusUnavailable);
  EXPECT_EQ(third.windowId, 0u);
  expectOneLine("create window: quota of 2");
  DestroyWindowPacket remove;
  remove.windowId = second.windowId;
  ASSERT_EQ(guest.send(remove), 0);
  EXPECT_EQ(guest.createWindow().header.status, 0);
}

// Allocations are bounded by their number and by their bytes.
TEST_F(QuotasTest, Allocations) {
  Quotas quotas;
  quotas.allocations = 2;
  quotas.allocationBytes = 64 * 64 * 4 * 3;
  InProcessGpu gpu(quotas);
  const Surface first(1, 64, 64), second(2, 64, 64), third(3, 64, 64), large(4, 64, 128), larger(5, 64, 256);
  EXPECT_TRUE(gpu.openAllocation(first.allocation));
  EXPECT_TRUE(gpu.openAllocation(second.allocation));
  EXPECT_FALSE(gpu.openAllocation(third.allocation));
  expectOneLine("allocation 3: over the guest's quota");
  gpu.closeAllocation(2);
  EXPECT_TRUE(gpu.openAllocation(large.allocation));
  gpu.closeAllocation(1);
  EXPECT_FALSE(gpu.openAllocation(larger.allocation));
  expectOneLine("allocation 5: over the guest's quota");
  EXPECT_TRUE(gpu.openAllocation(third.allocation));
  EXPECT_EQ(gpu.counters().allocations, 2u);
}

// Drawables are bounded by the memory of their pictures, accumulation buffers included; a smaller window works afterwards.
TEST_F(QuotasTest, Drawables) {
  Quotas quotas;
  quotas.drawableBytes = 100 * 100 * 8 * 2;
  InProcessGpu gpu(quotas);
  TestGuest guest(gpu);
  ASSERT_TRUE(guest.start(100, 100));
  EXPECT_EQ(guest.flush(Stream().add(kClear, GL_COLOR_BUFFER_BIT), GL_BACK), 0);
  log.take();
  // There is no room for 16 more bytes per pixel.
  EXPECT_EQ(guest.flush(Stream().add(kAccum, GL_LOAD, 1.0f)), 0);
  expectOneLine("no memory");
  guest.width = guest.height = 200;
  EXPECT_NE(guest.flush(Stream(), GL_BACK), 0);
  const std::vector<std::string> lines = log.take();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].find("drawable of 200 x 200 is over the guest's quota"), std::string::npos) << lines[0];
  guest.width = guest.height = 90;
  EXPECT_EQ(guest.flush(Stream().add(kClearColor, 1.0f, 0.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT), GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(3, 3) & 0xFFFFFF, 0xFF0000u);
  EXPECT_EQ(guest.flush(Stream().add(kAccum, GL_LOAD, 1.0f)), 0);
}

// Channels are bounded by their memory: a context without one fails its flushes and works once another one is gone.
TEST_F(QuotasTest, Channels) {
  Quotas quotas;
  quotas.channelBytes = 2 * kChannelBytes;
  InProcessGpu gpu(quotas);
  TestGuest first(gpu), second(gpu), third(gpu);
  for (TestGuest* const guest : {&first, &second, &third}) ASSERT_GT(guest->context = guest->createContext().contextId, 0u);
  first.window = second.window = third.window = first.createWindow().windowId;
  first.width = first.height = second.width = second.height = third.width = third.height = 8;
  EXPECT_EQ(first.flush(Stream()), 0);
  EXPECT_EQ(second.flush(Stream()), 0);
  EXPECT_EQ(third.flush(Stream()), kStatusUnavailable);
  EXPECT_EQ(third.result, 0);
  EXPECT_EQ(log.take().size(), 2u);  // the host's line and the guest's
  DeleteContextPacket remove;
  remove.contextId = first.context;
  ASSERT_EQ(first.send(remove), 0);
  EXPECT_EQ(third.flush(Stream()), 0);
}

}  // namespace
}  // namespace qv::peer::test
