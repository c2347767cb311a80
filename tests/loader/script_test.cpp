// Wrong uses of ./qv: one line on standard error, nothing on standard output, exit status 2.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/loader/run_environment.h"

namespace qv::test {
namespace {

const std::string kScript = std::string(QV_ROOT) + "/qv";

void expectWrongUse(std::vector<std::string> arguments, const std::string& mention, const Variables& changes = {}) {
  arguments.insert(arguments.begin(), kScript);
  ChildProcess script(arguments, changes);
  EXPECT_EQ(script.wait(std::chrono::seconds(120)), 2);
  const std::string errors = script.errors();
  EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
  EXPECT_NE(errors.find(mention), std::string::npos) << errors;
  EXPECT_EQ(script.output(), "");
}

// A call without a verb is told.
TEST(Script, MissingVerbIsToldInOneLine) { expectWrongUse({}, "no verb"); }

// A verb that does not exist is told by its name.
TEST(Script, WrongVerbIsToldInOneLine) { expectWrongUse({"bogus"}, "bogus"); }

// A run without a program is told.
TEST(Script, MissingProgramNameIsToldInOneLine) {
  expectWrongUse({"run"}, "program");
  expectWrongUse({"run", "--"}, "program");
}

// A program that does not exist is told by its name.
TEST(Script, UnknownProgramIsToldInOneLine) { expectWrongUse({"run", "--", "no-such-program-here"}, "no-such-program-here"); }

// A number of frames that is none is told.
TEST(Script, WrongFramesAreToldInOneLine) {
  for (const char* frames : {"0", "-1", "many", ""}) expectWrongUse({"run", "--frames", frames, "--", "glxgears"}, "--frames");
}

// A picture file in a folder that does not exist, and a missing file name, are told.
TEST(Script, WrongPictureFileIsToldInOneLine) {
  expectWrongUse({"run", "--png", "/no/such/folder/x.png", "--", "glxgears"}, "/no/such/folder");
  expectWrongUse({"run", "--png"}, "--png");
}

// An option that does not exist is told by its name.
TEST(Script, WrongOptionIsToldInOneLine) { expectWrongUse({"run", "--loud", "--", "glxgears"}, "--loud"); }
// Only in the build that the script itself makes: from another one, the script would begin to build.
bool isTheScriptsBuild() { return std::string(QV_BUILD) == std::string(QV_ROOT) + "/build/release"; }

// A program that ends without OpenGL, and one whose host does not start, are told.
TEST(Script, ProgramWithoutTheDriverIsToldInOneLine) {
  if (!isTheScriptsBuild()) GTEST_SKIP() << "not the script's own build";
  expectWrongUse({"run", "--", "true"}, "true could not load the driver", {{"DISPLAY", xDisplay()}});
  ChildProcess script({kScript, "run", "--", "glxgears"}, {{"DISPLAY", xDisplay()}, {"QV_HOST_BINARY", "/bin/false"}});
  EXPECT_EQ(script.wait(std::chrono::seconds(120)), 2);
  EXPECT_NE(script.errors().find("qv: glxgears could not load the driver: no host"), std::string::npos) << script.errors();
}

// A run without a display of the caller's gives figures on standard output, the picture in its file and the program's own status.
TEST(Script, RunGivesFiguresPictureAndStatus) {
  if (!isTheScriptsBuild()) GTEST_SKIP() << "not the script's own build";
  ScratchFolder folder;
  ChildProcess script({kScript, "run", "--frames", "30", "--png", folder / "x.png", "--stats", "--", "glxgears"},
                      {{"DISPLAY", ""}});
  EXPECT_EQ(script.wait(std::chrono::seconds(120)), 0) << script.errors();
  EXPECT_EQ(script.output().rfind("30 frames, ", 0), 0u) << script.output();
  EXPECT_EQ(readFile(folder / "x.png").substr(1, 3), "PNG");
}

// A fuzz target that does not exist, and seconds that are none, are told.
TEST(Script, WrongFuzzTargetsAndSecondsAreToldInOneLine) {
  expectWrongUse({"fuzz"}, "stream, render");
  expectWrongUse({"fuzz", "bogus"}, "stream, render");
  expectWrongUse({"fuzz", "stream", "soon"}, "seconds");
  expectWrongUse({"fuzz", "stream", "1", "2"}, "seconds");
}

// Arguments of a verb that takes none are told by the verb.
TEST(Script, ArgumentsOfVerbsThatTakeNoneAreTold) {
  expectWrongUse({"demo", "now"}, "demo");
  expectWrongUse({"test", "now"}, "test");
}

}  // namespace
}  // namespace qv::test
