// The peer as a process: pictures, several guests, guests that are killed, a host that is killed, and no work when idle.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "tests/host/host_process.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

class Host : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(client, nullptr) << host.log(); }
  void TearDown() override {
    client.reset();
    if (host.process() > 0) {
      EXPECT_EQ(host.end(SIGTERM), 0);
    }
  }
  // Waits until the host holds what it held before; tells what it holds in the end.
  PeerCounters settled(const PeerCounters& before) {
    PeerCounters now;
    comesTrue([&] {
      now = host.counters();
      return now.guests == before.guests && now.contexts == before.contexts && now.mappedBytes == before.mappedBytes &&
             now.surfaces == before.surfaces;
    });
    return now;
  }
  static void expectSame(const PeerCounters& a, const PeerCounters& b) {
    EXPECT_EQ(a.guests, b.guests);
    EXPECT_EQ(a.contexts, b.contexts);
    EXPECT_EQ(a.glContexts, b.glContexts);
    EXPECT_EQ(a.windows, b.windows);
    EXPECT_EQ(a.surfaces, b.surfaces);
    EXPECT_EQ(a.channels, b.channels);
    EXPECT_EQ(a.allocations, b.allocations);
    EXPECT_EQ(a.mappedBytes, b.mappedBytes);
  }

  HostProcess host;
  std::unique_ptr<HostClientGpu> client = host.connect();
};

Stream clear(float red, float green, float blue) {
  return Stream().add(kClearColor, red, green, blue, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT);
}

// Frames, queries and statistics go through the process as they do inside one.
TEST_F(Host, HostDrawsAndAnswers) {
  TestGuest guest(*client);
  ASSERT_EQ(guest.version().header.status, 0);
  ASSERT_TRUE(guest.start(40, 30));
  ASSERT_EQ(guest.flush(clear(0.0f, 1.0f, 1.0f), GL_BACK), 0);
  for (const uint32_t pixel : guest.surface->pixels()) ASSERT_EQ(pixel & 0xFFFFFF, 0x00FFFFu);
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kViewport, 1, 2, 3, 4).add(kGetIntegerv, GL_VIEWPORT, 1u)), 1);
  Stream longStream;
  for (int i = 0; i < 200000; ++i) longStream.add(kClearColor, 0.0f, 0.0f, 0.0f, 1.0f);
  longStream.add(kClear, GL_COLOR_BUFFER_BIT);
  ASSERT_EQ(guest.flush(longStream, GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(39, 29) & 0xFFFFFF, 0u);
  EXPECT_EQ(guest.ask(Stream().add(kGenRenderbuffers, 100000), 400000).size(), 400000u);
  const GuestStatistics statistics = client->statistics();
  EXPECT_EQ(statistics.flushes, 4u);
  EXPECT_EQ(statistics.frames, 2u);
  EXPECT_EQ(statistics.roundTrips, 2u);
  EXPECT_EQ(statistics.commands, 2u + 2 + 200001 + 1);
  EXPECT_EQ(statistics.packets, 7u);
}

// Two guests have ids of their own that say nothing to each other, also when the numbers are the same.
TEST_F(Host, GuestsAreApart) {
  const auto other = host.connect();
  ASSERT_NE(other, nullptr);
  TestGuest a(*client, 1), b(*other, 2);
  ASSERT_TRUE(a.start(8, 8));
  ASSERT_TRUE(b.start(8, 8));
  EXPECT_EQ(a.context, b.context);
  ASSERT_EQ(a.flush(clear(1, 0, 0), GL_BACK), 0);
  ASSERT_EQ(b.flush(clear(0, 0, 1), GL_BACK), 0);
  ASSERT_EQ(a.flush(Stream(), GL_BACK), 0);
  EXPECT_EQ(a.surface->pixel(0, 0) & 0xFFFFFF, 0xFF0000u);
  EXPECT_EQ(b.surface->pixel(0, 0) & 0xFFFFFF, 0x0000FFu);
  EXPECT_EQ(host.counters().guests, 2u);
  // An allocation of the one is none of the other.
  FlushPacket packet = b.flushPacket({});
  packet.backBuffer = a.surface->allocation.handle;
  packet.presentMode = GL_BACK;
  EXPECT_NE(b.send(packet), 0);
}

// A guest that goes takes everything with it.
TEST_F(Host, GuestsLeaveNothing) {
  ASSERT_TRUE(TestGuest(*client).start(4, 4));
  const PeerCounters before = host.counters();
  {
    const auto other = host.connect();
    TestGuest guest(*other, 2);
    ASSERT_TRUE(guest.start(100, 100));
    ASSERT_EQ(guest.flush(clear(1, 0, 0), GL_BACK), 0);
    EXPECT_EQ(host.counters().guests, before.guests + 1);
  }
  expectSame(settled(before), before);
}

// Twenty guests are killed while they draw; a guest beside them never misses a frame, and the host is as before.
TEST_F(Host, KilledGuestsLeaveTheOthersAlone) {
  TestGuest guest(*client);
  ASSERT_TRUE(guest.start(64, 64));
  ASSERT_EQ(guest.flush(clear(0, 0, 0), GL_BACK), 0);
  const PeerCounters before = host.counters();
  std::atomic<bool> stop{false};
  std::atomic<uint32_t> frames{0}, wrong{0};
  std::thread drawing([&] {
    while (!stop.load()) {
      const bool red = frames.load() % 2 == 0;
      wrong += guest.flush(clear(red ? 1.0f : 0.0f, 0, 0), GL_BACK) != 0;
      wrong += (guest.surface->pixel(9, 9) & 0xFFFFFF) != (red ? 0xFF0000u : 0u);
      ++frames;
    }
  });
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t victim = startProgram({QV_DRAW_FOREVER, host.socket()}, ends[1]);
    close(ends[1]);
    ASSERT_GT(victim, 0);
    // It says so when it is about to draw without end.
    char byte = 0;
    ASSERT_EQ(read(ends[0], &byte, 1), 1);
    std::this_thread::sleep_for(std::chrono::microseconds(1000 + 731 * round));
    const uint32_t framesBefore = frames.load();
    kill(victim, SIGKILL);
    int status = 0;
    waitpid(victim, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    close(ends[0]);
    expectSame(settled(before), before);
    for (int i = 0; i < 2000 && frames.load() < framesBefore + 3; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_GE(frames.load(), framesBefore + 3);
  }
  stop.store(true);
  drawing.join();
  EXPECT_EQ(wrong.load(), 0u);
}

// Contexts, windows and a connection that nobody uses cost next to no processor time: a look at the world each second.
TEST_F(Host, IdleCostsNothing) {
  TestGuest guest(*client);
  ASSERT_TRUE(guest.start(64, 64));
  ASSERT_EQ(guest.flush(clear(0, 0, 0), GL_BACK), 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const uint64_t before = host.ticks();
  std::this_thread::sleep_for(std::chrono::seconds(2));
  // A tick is charged as a whole to whoever runs when it comes.
  EXPECT_LE(host.ticks(), before + 2);
}

// A host that dies makes escapes fail, also the one that is waiting, and blocks nobody.
TEST_F(Host, KilledHostFailsEscapesAndBlocksNobody) {
  TestGuest guest(*client);
  ASSERT_TRUE(guest.start(64, 64));
  ASSERT_EQ(guest.flush(clear(0, 0, 0), GL_BACK), 0);
  std::atomic<bool> ended{false};
  std::thread drawing([&] {
    while (guest.result >= 0) guest.flush(clear(1, 0, 0), GL_BACK);
    ended.store(true);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  host.end(SIGKILL);
  drawing.join();
  EXPECT_LT(guest.result, 0);
  EXPECT_LT((guest.createContext(), guest.result), 0);
  EXPECT_EQ(client->counters().guests, 0u);
}

// `--stats` prints the counters of a running host.
TEST_F(Host, StatsPrintTheCounters) {
  TestGuest guest(*client);
  ASSERT_TRUE(guest.start(64, 64));
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const pid_t child = startProgram({QV_HOST_PROGRAM, "--stats", host.socket()}, ends[1]);
  close(ends[1]);
  std::string text(1000, 0);
  size_t length = 0;
  for (ssize_t got = 0; (got = read(ends[0], text.data() + length, text.size() - length)) > 0;)
    length += static_cast<size_t>(got);
  close(ends[0]);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_NE(text.find("guests 1\ncontexts 1\nglContexts 0\nwindows 1\n"), std::string::npos) << text;
}

// A second host at the same socket and a wrong option end with status 2 and one line.
TEST_F(Host, HostRefusesToStartTwice) {
  const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
  for (const std::vector<std::string>& command : {std::vector<std::string>{QV_HOST_PROGRAM, "--socket", host.socket()},
                                                  {QV_HOST_PROGRAM, "--nonsense", "x"},
                                                  {QV_HOST_PROGRAM}}) {
    const int errors = dup(2);
    dup2(nothing, 2);
    const pid_t child = startProgram(command);
    dup2(errors, 2);
    close(errors);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 2);
  }
  close(nothing);
}

// Without a named socket the guest starts a host of its own, which is no child of it and ends when the connection does.
TEST(OwnHost, LivesAsLongAsItsGuest) {
  unsetenv("QV_HOST_SOCKET");
  setenv("QV_HOST_BINARY", QV_HOST_PROGRAM, 1);
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  // The host keeps only the error stream: the pipe ends with it.
  const int errors = dup(2);
  dup2(ends[1], 2);
  std::string reason;
  std::unique_ptr<HostClientGpu> client = startHost(&reason);
  dup2(errors, 2);
  close(errors);
  close(ends[1]);
  ASSERT_NE(client, nullptr) << reason;
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  TestGuest guest(*client);
  ASSERT_TRUE(guest.start(8, 8));
  ASSERT_EQ(guest.flush(clear(1, 1, 0), GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(0, 0) & 0xFFFFFF, 0xFFFF00u);
  pollfd look{ends[0], POLLIN, 0};
  EXPECT_EQ(poll(&look, 1, 50), 0);
  client.reset();
  EXPECT_EQ(poll(&look, 1, 10000), 1);
  char byte = 0;
  EXPECT_EQ(read(ends[0], &byte, 1), 0);
  close(ends[0]);
}

// A host that is not there, that does not start or whose socket is missing is told by its path.
TEST(OwnHost, FailuresToStartHaveAReason) {
  std::string reason;
  setenv("QV_HOST_BINARY", "/nowhere/qv-host", 1);
  EXPECT_EQ(startHost(&reason), nullptr);
  EXPECT_NE(reason.find("/nowhere/qv-host"), std::string::npos);
  setenv("QV_HOST_BINARY", "/bin/true", 1);
  EXPECT_EQ(startHost(&reason), nullptr);
  EXPECT_NE(reason.find("did not start"), std::string::npos);
  unsetenv("QV_HOST_BINARY");
  setenv("QV_HOST_SOCKET", "/nowhere/socket", 1);
  EXPECT_EQ(startHost(&reason), nullptr);
  EXPECT_NE(reason.find("/nowhere/socket"), std::string::npos);
  unsetenv("QV_HOST_SOCKET");
}

}  // namespace
}  // namespace qv::peer::test
