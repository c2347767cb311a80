// Programs that no one here wrote, as Debian ships them, through the driver.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "tests/loader/run_environment.h"

namespace qv::test {
namespace {

// Lines that begin with `key` and a colon, without them.
std::vector<std::string> linesOf(const std::string& text, const std::string& key) {
  std::vector<std::string> found;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(key + ": ", 0) == 0) found.push_back(line.substr(key.size() + 2));
  }
  return found;
}

// glxinfo prints the driver's strings and every configuration, without an X error and without a line of the peer.
TEST(Programs, GlxinfoPrintsTheDriversStrings) {
  ScratchFolder folder;
  ChildProcess program({"glxinfo"}, throughDriver(folder / "report"));
  ASSERT_EQ(program.wait(), 0) << program.errors();
  const std::string text = program.output();
  EXPECT_NE(text.find("direct rendering: Yes"), std::string::npos);
  EXPECT_NE(text.find("client glx vendor string: Quillvane"), std::string::npos) << text.substr(0, 600);
  EXPECT_NE(text.find("14 GLXFBConfigs:"), std::string::npos);
  EXPECT_EQ(linesOf(text, "OpenGL vendor string").size(), 1u) << text.substr(0, 2000);
  EXPECT_EQ(linesOf(text, "OpenGL version string").size(), 1u);
  EXPECT_EQ(program.errors(), "");
  EXPECT_EQ(linesOf(readFile(folder / "report"), "loaded").size(), 1u);
}

// glxgears draws 300 frames and ends by itself with status 0, shows something, and nobody complains.
TEST(Programs, GlxgearsRuns300Frames) {
  ScratchFolder folder;
  Variables variables = throughDriver(folder / "report");
  variables["QV_FRAMES"] = "300";
  variables["QV_PNG"] = folder / "last.png";
  Host host;
  variables["QV_HOST_SOCKET"] = host.socket();
  ChildProcess program({"glxgears"}, variables);
  ASSERT_EQ(program.wait(), 0) << program.errors();
  EXPECT_EQ(program.errors(), "");
  const std::string report = readFile(folder / "report");
  EXPECT_EQ(linesOf(report, "loaded").size(), 1u) << report;
  EXPECT_EQ(linesOf(report, "error").size(), 0u) << report;
  const std::vector<std::string> figures = linesOf(report, "stat");
  ASSERT_EQ(figures.size(), 4u) << report;
  EXPECT_EQ(figures[3], "no GL error after the last frame");
  EXPECT_EQ(figures[0].rfind("300 frames, ", 0), 0u) << report;
  double commands = 0, bytes = 0;
  ASSERT_EQ(std::sscanf(figures[1].c_str(), "%lf commands and %lf bytes", &commands, &bytes), 2) << report;
  EXPECT_GT(commands, 10);
  EXPECT_GT(bytes, 4 * commands);
  const std::string png = readFile(folder / "last.png");
  EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_GT(png.size(), 3000u);  // three shaded wheels do not compress to nothing
  EXPECT_EQ(host.process().errors(), "");
}

// Contexts by attributes, sharing, swap intervals and X errors are as GLX has them, without a word of the peer.
TEST(Programs, GlxFeaturesBehaveAsInGlx) {
  Host host;
  Variables variables = throughDriver();
  variables["QV_HOST_SOCKET"] = host.socket();
  ChildProcess program({QV_FEATURES_PROGRAM}, variables);
  EXPECT_EQ(program.wait(), 0) << program.errors();
  EXPECT_EQ(program.output(), "");
  EXPECT_EQ(program.errors(), "");
  EXPECT_EQ(host.process().errors(), "");
}

// The other GLX programs of mesa-utils run without a GL error, an X error or a line of the peer, but of what its OpenGL cannot
// do.
TEST(Programs, OtherProgramsOfMesaUtilsRun) {
  struct Run {
    std::vector<std::string> command;
    const char* frames;
    const char* told = "";
  };
  // The sRGB formats have eight samples, and Mesa's software renderer has four at most.
  constexpr const char* kFourSamples = "qv peer: guest 1: windows of 8 samples get 4\n";
  for (const Run& run :
       {Run{{"glxheads"}, "60"}, Run{{"glxgears", "-fullscreen"}, "60"}, Run{{"glxgears", "-samples", "4"}, "60"},
        Run{{"glxgears", "-srgb"}, "60", kFourSamples}, Run{{"glxdemo"}, "1"}, Run{{"glxinfo", "-v", "-l"}, ""}}) {
    SCOPED_TRACE(testing::PrintToString(run.command));
    ScratchFolder folder;
    Host host;
    Variables variables = throughDriver(folder / "report");
    variables["QV_HOST_SOCKET"] = host.socket();
    if (*run.frames != 0) variables["QV_FRAMES"] = run.frames;
    ChildProcess program(run.command, variables);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.errors(), "");
    EXPECT_EQ(host.process().errors(), run.told);
    const std::string report = readFile(folder / "report");
    EXPECT_EQ(linesOf(report, "error").size(), 0u) << report;
    if (*run.frames != 0) {
      EXPECT_NE(report.find("no GL error after the last frame"), std::string::npos) << report;
    }
    EXPECT_EQ(program.output().find("Unknown"), std::string::npos);
  }
}

// A process whose host cannot be started tells so once; the program sees a screen without OpenGL.
TEST(Programs, WithoutAHostTheDriverDoesNotLoad) {
  ScratchFolder folder;
  Variables variables = throughDriver(folder / "report");
  variables["QV_HOST_BINARY"] = "/bin/false";
  ChildProcess program({"glxgears"}, variables);
  EXPECT_NE(program.wait(), 0);
  EXPECT_NE(program.wait(), -1);
  const std::string report = readFile(folder / "report");
  EXPECT_EQ(linesOf(report, "loaded").size(), 0u) << report;
  EXPECT_EQ(linesOf(report, "failed").size(), 1u) << report;
}

}  // namespace
}  // namespace qv::test
