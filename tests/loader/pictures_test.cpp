// The picture programs on Mesa directly and through the driver: the same pixels, and the same GL errors.
#include <gtest/gtest.h>

#include <cstdio>

#include "tests/loader/run_environment.h"

namespace qv::test {
namespace {

std::vector<std::string> pictures() {
  std::vector<std::string> names;
  const std::string list = QV_PICTURES;
  for (size_t from = 0; from < list.size();) {
    const size_t to = std::min(list.find(',', from), list.size());
    names.push_back(list.substr(from, to - from));
    from = to + 1;
  }
  return names;
}

struct Ppm {
  int width = 0, height = 0;
  std::string pixels;
};

Ppm parse(const std::string& file) {
  Ppm picture;
  int head = 0;
  if (std::sscanf(file.c_str(), "P6\n%d %d\n255\n%n", &picture.width, &picture.height, &head) != 2 || !head) return {};
  picture.pixels = file.substr(static_cast<size_t>(head));
  return picture;
}

class Pictures : public testing::TestWithParam<std::string> {};

// Pixel by pixel, with the variables given on top of the usual ones.
void compare(const std::string& name, const Variables& extra) {
  ScratchFolder folder;
  const std::string program = std::string(QV_PICTURE_FOLDER) + "/picture_" + name;
  ChildProcess direct({program, folder / "direct.ppm"}, onMesa());
  ASSERT_EQ(direct.wait(), 0) << direct.errors();
  Host host;
  Variables variables = throughDriver(folder / "report");
  variables["QV_HOST_SOCKET"] = host.socket();
  for (const auto& [key, value] : extra) variables[key] = value;
  ChildProcess driven({program, folder / "driven.ppm"}, variables);
  ASSERT_EQ(driven.wait(), 0) << driven.errors();
  EXPECT_EQ(driven.errors(), "");
  EXPECT_EQ(host.process().errors(), "");
  EXPECT_EQ(readFile(folder / "report").rfind("loaded", 0), 0u);
  EXPECT_EQ(driven.output(), direct.output());

  const Ppm expected = parse(readFile(folder / "direct.ppm")), actual = parse(readFile(folder / "driven.ppm"));
  ASSERT_GT(expected.width, 0);
  ASSERT_EQ(actual.width, expected.width);
  ASSERT_EQ(actual.height, expected.height);
  ASSERT_EQ(actual.pixels.size(), expected.pixels.size());
  // A picture of one colour would prove nothing.
  EXPECT_NE(expected.pixels.find_first_not_of(expected.pixels[0]), std::string::npos);
  size_t different = 0, first = 0;
  for (size_t i = 0; i < expected.pixels.size(); i += 3) {
    if (expected.pixels.compare(i, 3, actual.pixels, i, 3) == 0) continue;
    if (!different++) first = i / 3;
  }
  EXPECT_EQ(different, 0u) << "of " << expected.pixels.size() / 3 << " pixels, the first at ("
                           << first % static_cast<size_t>(expected.width) << ", " << first / static_cast<size_t>(expected.width)
                           << ")";
}

// Each scene looks the same through the driver as on Mesa directly.
TEST_P(Pictures, PictureEqualsMesas) { compare(GetParam(), {}); }

INSTANTIATE_TEST_SUITE_P(, Pictures, testing::ValuesIn(pictures()), [](const auto& scene) { return scene.param; });

// Pictures are the same with libGL's entry points left as they are.
TEST(PictureRoads, DispatchTableGivesTheSamePicture) {
  compare("run_breaks", {{"QV_PATCH", "0"}});
  compare("drawables", {{"QV_PATCH", "0"}});
}

// A picture is the same without shared memory between the library and the X server.
TEST(PictureRoads, NoSharedMemoryGivesTheSamePicture) { compare("lit_list", {{"QV_X_SHM", "0"}}); }

// A picture is the same on a composed desktop.
TEST(PictureRoads, ComposedDesktopGivesTheSamePicture) { compare("lit_list", {{"QV_COMPOSED", "1"}}); }

}  // namespace
}  // namespace qv::test
