// Several guests on one host: one may be killed at any moment, and neither the others nor the host's books suffer.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <sstream>
#include <thread>

#include "tests/loader/run_environment.h"

namespace qv::test {
namespace {

using std::chrono::milliseconds;

// What the host holds as the system counts it.
struct Holdings {
  size_t descriptors = 0, threads = 0, residentKiB = 0;
};

Holdings holdings(pid_t pid) {
  Holdings found;
  const std::string base = "/proc/" + std::to_string(pid);
  std::error_code ignored;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(base + "/fd", ignored)) ++found.descriptors;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(base + "/task", ignored)) ++found.threads;
  std::istringstream status(readFile(base + "/status"));
  for (std::string word; status >> word;) {
    if (word == "VmRSS:") status >> found.residentKiB;
  }
  return found;
}

// Nanoseconds that the process's threads have run.
uint64_t processorTime(pid_t pid) {
  uint64_t total = 0;
  std::error_code ignored;
  for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task", ignored)) {
    std::istringstream fields(readFile(task.path().string() + "/schedstat"));
    uint64_t time = 0;
    fields >> time;
    total += time;
  }
  return total;
}

// Two glxgears on one host; one is killed in mid-frame and started anew, twenty times over. The other goes on all the time, the
// host writes no line, and in the end holds what it held before.
TEST(Guests, KilledGuestLeavesTheOtherAlone) {
  Host host;
  Variables variables = throughDriver();
  variables["QV_HOST_SOCKET"] = host.socket();
  ChildProcess steady({"glxgears"}, variables);
  std::mt19937 random(20);
  Holdings before;
  for (int round = 0; round <= 20; ++round) {
    ChildProcess victim({"glxgears"}, variables);
    // Long enough for it to be drawing, with the moment of the end spread over a few frames.
    std::this_thread::sleep_for(milliseconds(400 + random() % 20));
    ASSERT_TRUE(victim.running()) << victim.errors();
    victim.kill(SIGKILL);
    EXPECT_EQ(victim.wait(), 128 + SIGKILL);
    const uint64_t time = processorTime(steady.pid());
    std::this_thread::sleep_for(milliseconds(200));
    ASSERT_TRUE(steady.running()) << steady.errors();
    EXPECT_GT(processorTime(steady.pid()), time) << "the other guest stands still after round " << round;
    ASSERT_TRUE(host.process().running());
    // The first round warms up what the host keeps for good.
    if (round == 0) before = holdings(host.process().pid());
  }
  Holdings after = holdings(host.process().pid());
  for (int tries = 0; tries < 50 && (after.descriptors != before.descriptors || after.threads != before.threads); ++tries) {
    std::this_thread::sleep_for(milliseconds(100));
    after = holdings(host.process().pid());
  }
  EXPECT_EQ(after.descriptors, before.descriptors);
  EXPECT_EQ(after.threads, before.threads);
  // Twenty guests that each left a context and a surface behind would be some hundred megabytes.
  EXPECT_LT(after.residentKiB, before.residentKiB + 40 * 1024);
  EXPECT_EQ(host.process().errors(), "");
  steady.kill(SIGTERM);
  steady.wait();
  // A line every five seconds, each with the frames of that time.
  int reports = 0;
  std::istringstream lines(steady.output());
  for (std::string line; std::getline(lines, line);) {
    int frames = 0;
    if (std::sscanf(line.c_str(), "%d frames in", &frames) != 1) continue;
    ++reports;
    EXPECT_GT(frames, 100) << line;
  }
  EXPECT_GE(reports, 2) << steady.output();
}

// A host without guests that draw uses no processor time.
TEST(Guests, IdleHostSleeps) {
  Host host;
  Variables variables = throughDriver();
  variables["QV_HOST_SOCKET"] = host.socket();
  variables["QV_FRAMES"] = "50";
  ChildProcess program({"glxgears"}, variables);
  ASSERT_EQ(program.wait(), 0) << program.errors();
  std::this_thread::sleep_for(milliseconds(300));
  const uint64_t time = processorTime(host.process().pid());
  std::this_thread::sleep_for(milliseconds(1000));
  EXPECT_LE(processorTime(host.process().pid()), time + 1000000) << "more than a thousandth";
}

}  // namespace
}  // namespace qv::test
