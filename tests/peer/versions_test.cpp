// What version a context gets: in its packet, in its texts and in GL's own behaviour, in every order of creation.
#include <gtest/gtest.h>

#include <algorithm>

#include "peer/host/in_process_gpu.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

class Versions : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(guest.start(8, 8)); }

  std::string text(uint32_t name) {
    const std::vector<uint8_t> reply = guest.ask(Stream().add(kGetString, name), 16384);
    return reply.empty() ? "" : std::string(reinterpret_cast<const char*>(reply.data()));
  }
  // The list of a context that is created with this one, up to its zero.
  std::vector<uint16_t> granted(std::vector<uint16_t> asked) {
    const CreateContextPacket packet = guest.createContext(std::move(asked));
    if (packet.header.status != 0) return {};
    guest.context = packet.contextId;
    return {packet.attributes, std::find(std::begin(packet.attributes), std::end(packet.attributes), 0)};
  }

  InProcessGpu gpu;
  TestGuest guest{gpu};
};

constexpr uint16_t kVersion = GL_VERSION, kProfile = GL_CONTEXT_PROFILE_MASK;

// A request from before deprecation gets the newest compatible context, others get what they ask for; only versions with profiles
// have a core one.
TEST_F(Versions, RequestsAreGranted) {
  using List = std::vector<uint16_t>;
  EXPECT_EQ(granted({0}), (List{kVersion, 430, kProfile, 2}));
  EXPECT_EQ(granted({GL_DOUBLEBUFFER, GL_SAMPLES, kVersion, kVersion, 210, kProfile, 2, 0}),
            (List{GL_DOUBLEBUFFER, GL_SAMPLES, kVersion, kVersion, 430, kProfile, 2}));
  EXPECT_EQ(granted({kVersion, 150, 0}), (List{kVersion, 430, kProfile, 2}));
  EXPECT_EQ(granted({kVersion, 310, kProfile, 1, 0}), (List{kVersion, 310, kProfile, 2}));
  EXPECT_EQ(granted({kVersion, 320, kProfile, 1, 0}), (List{kVersion, 320, kProfile, 1}));
  EXPECT_EQ(granted({kVersion, 430, kProfile, 2, 0}), (List{kVersion, 430, kProfile, 2}));
  LogCapture log;
  EXPECT_EQ(granted({kVersion, 440, kProfile, 2, 0}), List{});
  EXPECT_EQ(granted({kVersion, 450, kProfile, 1, 0}), List{});
  EXPECT_EQ(log.take().size(), 2u);
  const VersionQueryPacket version = guest.version();
  EXPECT_EQ(version.major, 4u);
  EXPECT_EQ(version.minor, 3u);
}

// The texts tell the version that was granted, without a word on the profile, whichever context asks first.
TEST_F(Versions, TextsTellTheGrantedVersion) {
  const struct {
    uint16_t version, profile;
    const char *gl, *shading;
  } cases[] = {{210, 2, "4.3 ", "4.30"}, {430, 1, "4.3 ", "4.30"}, {430, 2, "4.3 ", "4.30"}, {330, 1, "3.3 ", "3.30"},
               {320, 1, "3.2 ", "1.50"}, {310, 2, "3.1 ", "1.40"}, {300, 2, "3.0 ", "1.30"}};
  for (const auto& one : cases) {
    ASSERT_FALSE(granted({kVersion, one.version, kProfile, one.profile, 0}).empty()) << one.version;
    const std::string version = text(GL_VERSION);
    EXPECT_EQ(version.rfind(one.gl, 0), 0u) << version;
    EXPECT_EQ(version.find("Profile"), std::string::npos) << version;
    EXPECT_GT(version.size(), 6u) << version;
    EXPECT_EQ(text(GL_SHADING_LANGUAGE_VERSION), one.shading);
  }
}

// Compatible contexts of every version have the fixed functions, core contexts do not.
TEST_F(Versions, ProfilesBehaveAsTheyAreNamed) {
  const auto errorOfBegin = [&] {
    EXPECT_EQ(guest.flush(Stream().add(kBegin, GL_POINTS).add(kEnd)), 0);
    return guest.glError();
  };
  for (const uint16_t version : {uint16_t{210}, uint16_t{300}, uint16_t{310}, uint16_t{320}, uint16_t{430}}) {
    ASSERT_FALSE(granted({kVersion, version, kProfile, 2, 0}).empty());
    EXPECT_EQ(errorOfBegin(), 0u) << version;
  }
  for (const uint16_t version : {uint16_t{320}, uint16_t{430}}) {
    ASSERT_FALSE(granted({kVersion, version, kProfile, 1, 0}).empty());
    EXPECT_EQ(errorOfBegin(), GL_INVALID_OPERATION) << version;
  }
}

}  // namespace
}  // namespace qv::peer::test
