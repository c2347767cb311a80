// Names of textures on the host: the guest's own in every command and every answer, in contexts of both profiles, alone and
// sharing.
#include <gtest/gtest.h>

#include "peer/host/in_process_gpu.h"
#include "peer/replay/texture_memory.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

using V = std::vector<uint8_t>;
constexpr uint32_t kGenerateMipmap = 1551;
constexpr uint32_t kName = 70000;  // no name that an OpenGL would generate

class Textures : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(guest.start(8, 8));
    if (isCore()) use(guest, true);
  }
  void TearDown() override { EXPECT_EQ(guest.glError(), uint32_t{GL_NO_ERROR}); }
  static bool isCore() { return GetParam(); }
  static void use(TestGuest& one, bool core) {
    one.context =
        one.createContext({GL_DOUBLEBUFFER, GL_VERSION, 430, GL_CONTEXT_PROFILE_MASK, static_cast<uint16_t>(core ? 1 : 2), 0})
            .contextId;
    one.window = one.createWindow().windowId;
    one.width = one.height = 8;
  }
  static Stream image(uint32_t name, uint8_t value) {
    V payload = words({GL_TEXTURE_2D, 0, GL_R8, 1, 1, 0, GL_RED, GL_UNSIGNED_BYTE, 1, 1});
    return Stream().add(kBindTexture, GL_TEXTURE_2D, name).bytes(kTexImage2D, payload += {value});
  }
  static int valueOf(TestGuest& one, uint32_t name) {
    const V reply = one.ask(
        Stream().add(kBindTexture, GL_TEXTURE_2D, name).add(kGetTexImage, GL_TEXTURE_2D, 0, GL_RED, GL_UNSIGNED_BYTE, 1u, 1u), 1);
    return reply.empty() ? -1 : reply[0];
  }
  uint32_t integer(uint32_t name) { return guest.askFor<uint32_t>(Stream().add(kGetIntegerv, name, 1u)); }

  LogCapture log;
  InProcessGpu gpu;
  TestGuest guest{gpu};
};

// A name makes a texture at its first bind and means that texture until it is deleted; then it makes another one.
TEST_P(Textures, NamesAreTheGuests) {
  for (const uint32_t name : {kName, 1u, 2u}) {
    ASSERT_EQ(guest.flush(image(name, static_cast<uint8_t>(name))), 0);
    EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), name);
  }
  EXPECT_EQ(guest.glError(), uint32_t{GL_NO_ERROR});
  for (const uint32_t name : {kName, 1u, 2u}) EXPECT_EQ(valueOf(guest, name), static_cast<uint8_t>(name));
  ASSERT_EQ(guest.flush(Stream().add(kDeleteTextures, 2, kName, 1u)), 0);
  EXPECT_EQ(valueOf(guest, 2), 2);
  EXPECT_EQ(valueOf(guest, 1), -1);
  ASSERT_EQ(guest.flush(image(1, 9)), 0);
  EXPECT_EQ(valueOf(guest, 1), 9);
  EXPECT_EQ(valueOf(guest, 2), 2);
  ASSERT_EQ(guest.flush(Stream().add(kBindTexture, GL_TEXTURE_2D, 0u)), 0);
  EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), 0u);
  ASSERT_EQ(guest.flush(Stream().add(kDeleteTextures, 1, 12345u).add(kDeleteTextures, 0)), 0);
  EXPECT_EQ(guest.glError(), uint32_t{GL_NO_ERROR});
}

// Every binding tells the guest's name.
TEST_P(Textures, BindingsTellTheGuestsNames) {
  const std::pair<uint32_t, uint32_t> targets[] = {{GL_TEXTURE_1D, GL_TEXTURE_BINDING_1D},
                                                   {GL_TEXTURE_2D, GL_TEXTURE_BINDING_2D},
                                                   {GL_TEXTURE_3D, GL_TEXTURE_BINDING_3D},
                                                   {GL_TEXTURE_1D_ARRAY, GL_TEXTURE_BINDING_1D_ARRAY},
                                                   {GL_TEXTURE_2D_ARRAY, GL_TEXTURE_BINDING_2D_ARRAY},
                                                   {GL_TEXTURE_RECTANGLE, GL_TEXTURE_BINDING_RECTANGLE},
                                                   {GL_TEXTURE_CUBE_MAP, GL_TEXTURE_BINDING_CUBE_MAP},
                                                   {GL_TEXTURE_CUBE_MAP_ARRAY, GL_TEXTURE_BINDING_CUBE_MAP_ARRAY},
                                                   {GL_TEXTURE_BUFFER, GL_TEXTURE_BINDING_BUFFER},
                                                   {GL_TEXTURE_2D_MULTISAMPLE, GL_TEXTURE_BINDING_2D_MULTISAMPLE},
                                                   {GL_TEXTURE_2D_MULTISAMPLE_ARRAY, GL_TEXTURE_BINDING_2D_MULTISAMPLE_ARRAY}};
  uint32_t name = kName;
  for (const auto& [target, binding] : targets) {
    ASSERT_EQ(guest.flush(Stream().add(kBindTexture, target, ++name)), 0);
    EXPECT_EQ(integer(binding), name) << std::hex << target;
    EXPECT_EQ(guest.askFor<float>(Stream().add(kGetFloatv, binding, 1u)), static_cast<float>(name));
    EXPECT_EQ(guest.askFor<uint8_t>(Stream().add(kGetBooleanv, binding, 1u)), 1);
  }
}

// Attachments and images take the guest's names and tell them.
TEST_P(Textures, AttachmentsAndImagesHaveTheGuestsNames) {
  const uint32_t framebuffer = guest.askFor<uint32_t>(Stream().add(kGenFramebuffers, 1));
  Stream stream = Stream().add(kBindTexture, GL_TEXTURE_2D, kName).add(kTexStorage2D, GL_TEXTURE_2D, 1, GL_RGBA8, 8, 8);
  stream.add(kBindTexture, GL_TEXTURE_2D_ARRAY, kName + 1).add(kTexStorage3D, GL_TEXTURE_2D_ARRAY, 1, GL_RGBA8, 8, 8, 2);
  stream.add(kBindFramebuffer, GL_FRAMEBUFFER, framebuffer);
  stream.add(kFramebufferTexture2D, GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, kName, 0);
  stream.add(kFramebufferTextureLayer, GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT1, kName + 1, 0, 1);
  stream.add(kFramebufferTexture, GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT2, kName, 0);
  ASSERT_EQ(guest.flush(stream), 0);
  const auto attached = [&](uint32_t at) {
    return guest.ask(Stream().add(kGetFramebufferAttachmentParameteriv, GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0 + at,
                                  GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME),
                     4);
  };
  EXPECT_EQ(attached(0), words({kName}));
  EXPECT_EQ(attached(1), words({kName + 1}));
  EXPECT_EQ(attached(2), words({kName}));
  EXPECT_EQ(guest.glError(), uint32_t{GL_NO_ERROR});
  ASSERT_EQ(guest.flush(Stream().add(kBindImageTexture, 1u, kName, 0, 0u, 0, GL_READ_ONLY, GL_RGBA8)), 0);
  EXPECT_EQ(guest.askFor<uint32_t>(Stream().add(kGetIntegeri_v, GL_IMAGE_BINDING_NAME, 1u, 1u)), kName);
  ASSERT_EQ(guest.flush(Stream().add(kBindFramebuffer, GL_FRAMEBUFFER, 0u)), 0);
}

// What names no texture is refused, though OpenGL may have one by that name.
TEST_P(Textures, NamesWithoutATextureAreRefused) {
  ASSERT_EQ(guest.flush(image(kName, 1)), 0);
  const uint32_t framebuffer = guest.askFor<uint32_t>(Stream().add(kGenFramebuffers, 1));
  ASSERT_EQ(guest.flush(Stream().add(kBindFramebuffer, GL_FRAMEBUFFER, framebuffer)), 0);
  for (const uint32_t other : {1u, 2u, kName + 1}) {
    ASSERT_EQ(guest.flush(Stream().add(kFramebufferTexture2D, GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, other, 0)), 0);
    EXPECT_NE(guest.glError(), uint32_t{GL_NO_ERROR}) << other;
    ASSERT_EQ(guest.flush(Stream().add(kInvalidateTexImage, other, 0)), 0);
    EXPECT_EQ(guest.glError(), uint32_t{GL_INVALID_VALUE}) << other;
  }
  ASSERT_EQ(guest.flush(Stream().add(kInvalidateTexImage, kName, 0)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kBindFramebuffer, GL_FRAMEBUFFER, 0u)), 0);
}

// A view gets a name that the guest has generated and never bound.
TEST_P(Textures, ViewsHaveTheGuestsNames) {
  Stream stream = Stream().add(kBindTexture, GL_TEXTURE_2D, kName).add(kTexStorage2D, GL_TEXTURE_2D, 1, GL_R8, 1, 1);
  V payload = words({GL_TEXTURE_2D, 0, 0, 0, 1, 1, GL_RED, GL_UNSIGNED_BYTE, 1, 1});
  stream.bytes(kTexSubImage2D, payload += {77});
  stream.add(kTextureView, 3u, GL_TEXTURE_2D, kName, GL_R8, 0u, 1u, 0u, 1u);
  ASSERT_EQ(guest.flush(stream), 0);
  EXPECT_EQ(guest.glError(), uint32_t{GL_NO_ERROR});
  EXPECT_EQ(valueOf(guest, 3), 77);
  EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), 3u);
  ASSERT_EQ(guest.flush(Stream().add(kTextureView, 4u, GL_TEXTURE_2D, 99u, GL_R8, 0u, 1u, 0u, 1u)), 0);
  EXPECT_NE(guest.glError(), uint32_t{GL_NO_ERROR});
}

// Copies name their textures as the guest does.
TEST_P(Textures, CopiesHaveTheGuestsNames) {
  ASSERT_EQ(guest.flush(image(kName, 5)), 0);
  ASSERT_EQ(guest.flush(image(2, 6)), 0);
  ASSERT_EQ(
      guest.flush(Stream().add(kCopyImageSubData, kName, GL_TEXTURE_2D, 0, 0, 0, 0, 2u, GL_TEXTURE_2D, 0, 0, 0, 0, 1, 1, 1)), 0);
  EXPECT_EQ(valueOf(guest, 2), 5);
}

INSTANTIATE_TEST_SUITE_P(, Textures, testing::Bool(), [](const auto& core) { return core.param ? "Core" : "Compatible"; });

class TextureLists : public Textures {};
INSTANTIATE_TEST_SUITE_P(, TextureLists, testing::Values(false));

// A list that binds a texture binds what its name means when it is called, as OpenGL has it; it may be the list that makes the
// texture.
TEST_P(TextureLists, ListsBindByName) {
  ASSERT_EQ(guest.flush(image(5, 1)), 0);
  ASSERT_EQ(guest.flush(image(6, 2)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kNewList, 1u, GL_COMPILE).add(kBindTexture, GL_TEXTURE_2D, 5u).add(kEndList)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kDeleteTextures, 2, 5u, 6u)), 0);
  ASSERT_EQ(guest.flush(image(6, 3)), 0);
  ASSERT_EQ(guest.flush(image(5, 4)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kBindTexture, GL_TEXTURE_2D, 6u).add(kCallList, 1u)), 0);
  EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), 5u);
  EXPECT_EQ(guest.ask(Stream().add(kGetTexImage, GL_TEXTURE_2D, 0, GL_RED, GL_UNSIGNED_BYTE, 1u, 1u), 1), V{4});
  ASSERT_EQ(guest.flush(Stream().add(kDeleteTextures, 1, 5u).add(kCallList, 1u)), 0);
  EXPECT_EQ(integer(GL_TEXTURE_BINDING_2D), 5u);
  ASSERT_EQ(guest.flush(image(5, 8)), 0);
  EXPECT_EQ(valueOf(guest, 5), 8);
}

// Priorities and residence are asked by the guest's names.
TEST_P(TextureLists, PrioritiesHaveTheGuestsNames) {
  ASSERT_EQ(guest.flush(image(kName, 1)), 0);
  ASSERT_EQ(guest.flush(Stream().add(kPrioritizeTextures, 2, kName, 9u, 0.25f, 0.5f)), 0);
  EXPECT_EQ(guest.ask(Stream().add(kGetTexParameterfv, GL_TEXTURE_2D, GL_TEXTURE_PRIORITY), 4), floats({0.25f}));
  EXPECT_EQ(guest.ask(Stream().add(kAreTexturesResident, 1, kName), 1), V{1});
  EXPECT_EQ(guest.ask(Stream().add(kAreTexturesResident, 1, 9u), 1), V{});
  EXPECT_EQ(guest.glError(), uint32_t{GL_INVALID_VALUE});
}

// Contexts of different profiles that share have one set of names, whichever comes first to a name.
TEST_P(TextureLists, ProfilesShareNames) {
  for (const bool coreFirst : {true, false}) {
    TestGuest one{gpu}, other{gpu};
    use(one, true);
    use(other, false);
    ShareContextsPacket packet;
    packet.firstId = one.context;
    packet.secondId = other.context;
    ASSERT_EQ(one.send(packet), 0);
    TestGuest &first = coreFirst ? one : other, &second = coreFirst ? other : one;
    // OpenGL's own names begin at 1: the second context comes with names that the first one's textures may have.
    for (uint32_t name = 20; name < 24; ++name) ASSERT_EQ(first.flush(image(name, static_cast<uint8_t>(name))), 0);
    for (uint32_t name = 1; name < 8; ++name) ASSERT_EQ(second.flush(image(name, static_cast<uint8_t>(name))), 0);
    for (uint32_t name = 30; name < 34; ++name) ASSERT_EQ(first.flush(image(name, static_cast<uint8_t>(name))), 0);
    for (TestGuest* const each : {&first, &second}) {
      for (const uint32_t name : {20u, 21u, 22u, 23u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 30u, 31u, 32u, 33u}) {
        EXPECT_EQ(valueOf(*each, name), static_cast<int>(name));
        EXPECT_EQ(each->askFor<uint32_t>(Stream().add(kGetIntegerv, GL_TEXTURE_BINDING_2D, 1u)), name);
      }
      EXPECT_EQ(each->glError(), uint32_t{GL_NO_ERROR});
    }
  }
}

// The images of textures count against a quota: one line, GL_OUT_OF_MEMORY, and the old images stay; what is freed or made
// smaller can be had again.
TEST(TextureQuota, TextureMemoryIsBounded) {
  LogCapture log;
  Quotas quotas;
  quotas.textureBytes = 100 * 1024;
  InProcessGpu gpu(quotas);
  TestGuest guest(gpu);
  ASSERT_TRUE(guest.start(8, 8));
  const auto define = [&](uint32_t name, uint32_t target, uint32_t image, uint32_t level, uint32_t size) {
    const V payload = words({image, level, GL_RGBA8, size, size, 0, GL_RGBA, GL_UNSIGNED_BYTE, 0, 0});
    EXPECT_EQ(guest.flush(Stream().add(kBindTexture, target, name).bytes(kTexImage2D, payload)), 0);
    return guest.glError();
  };
  const auto flat = [&](uint32_t name, uint32_t level, uint32_t size) {
    return define(name, GL_TEXTURE_2D, GL_TEXTURE_2D, level, size);
  };
  const auto width = [&] {
    return guest.askFor<uint32_t>(Stream().add(kGetTexLevelParameteriv, GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH));
  };
  EXPECT_EQ(flat(1, 0, 128), 0u);  // 64 KiB
  EXPECT_EQ(flat(2, 0, 64), 0u);   // 16
  EXPECT_EQ(flat(2, 1, 64), 0u);   // 16, for another level
  EXPECT_EQ(flat(2, 1, 64), 0u);   // in its place
  EXPECT_EQ(flat(0, 0, 32), 0u);   // 4, of the texture that has no name: the quota is full
  EXPECT_EQ(flat(3, 0, 1), uint32_t{GL_OUT_OF_MEMORY});
  EXPECT_EQ(flat(2, 0, 65), uint32_t{GL_OUT_OF_MEMORY});
  EXPECT_EQ(width(), 64u);
  EXPECT_EQ(define(4, GL_TEXTURE_2D, GL_PROXY_TEXTURE_2D, 0, 256), 0u);
  const std::vector<std::string> lines = log.take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("over the guest's quota of texture memory"), std::string::npos) << lines[0];
  EXPECT_EQ(flat(1, 0, 64), 0u);  // 16 in place of 64
  EXPECT_EQ(flat(3, 0, 64), 0u);
  EXPECT_EQ(guest.flush(Stream().add(kDeleteTextures, 2, 1u, 2u)), 0);  // 20 remain
  // Six faces of 16, each its own.
  for (uint32_t face = 0; face < 5; ++face)
    EXPECT_EQ(define(5, GL_TEXTURE_CUBE_MAP, GL_TEXTURE_CUBE_MAP_POSITIVE_X + face, 0, 64), 0u) << face;
  EXPECT_EQ(define(5, GL_TEXTURE_CUBE_MAP, GL_TEXTURE_CUBE_MAP_NEGATIVE_Z, 0, 64), uint32_t{GL_OUT_OF_MEMORY});
  EXPECT_EQ(guest.flush(Stream().add(kDeleteTextures, 2, 5u, 3u)), 0);
  // A storage of 8 levels, the whole of the texture, and its samples; copies as well.
  const auto storage = [&](uint32_t name, int32_t levels, int32_t size) {
    EXPECT_EQ(
        guest.flush(
            Stream().add(kBindTexture, GL_TEXTURE_2D, name).add(kTexStorage2D, GL_TEXTURE_2D, levels, GL_RGBA8, size, size)),
        0);
    return guest.glError();
  };
  EXPECT_EQ(storage(6, 8, 128), 0u);  // 64 and a third
  EXPECT_EQ(storage(7, 1, 64), uint32_t{GL_OUT_OF_MEMORY});
  EXPECT_EQ(guest.flush(Stream().add(kCopyTexImage2D, GL_TEXTURE_2D, 0, GL_RGBA8, 0, 0, 64, 64, 0)), 0);
  EXPECT_EQ(guest.glError(), uint32_t{GL_OUT_OF_MEMORY});
  EXPECT_EQ(guest.flush(Stream().add(kDeleteTextures, 1, 6u)), 0);
  const auto samples = [&](uint32_t name, uint32_t count) {
    EXPECT_EQ(guest.flush(Stream()
                              .add(kBindTexture, GL_TEXTURE_2D_MULTISAMPLE, name)
                              .add(kTexImage2DMultisample, GL_TEXTURE_2D_MULTISAMPLE, count, GL_RGBA8, 80, 80, 1u)),
              0);
    return guest.glError();
  };
  EXPECT_EQ(samples(8, 4), uint32_t{GL_OUT_OF_MEMORY});
  EXPECT_EQ(samples(8, 1), 0u);
  log.take();
}

Stream operator+(Stream left, const Stream& right) {
  left.data += right.data;
  return left;
}

// A guest with room for 100 KiB of images.
class SmallTextureQuota : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(guest.start(8, 8)); }
  void TearDown() override { log.take(); }
  static Stream bind(uint32_t name) { return Stream().add(kBindTexture, GL_TEXTURE_2D, name); }
  static Stream image(uint32_t level, uint32_t size, uint32_t format = GL_RGBA) {
    return Stream().bytes(kTexImage2D, words({GL_TEXTURE_2D, level, GL_RGBA8, size, size, 0, format, GL_UNSIGNED_BYTE, 0, 0}));
  }
  static Stream list(uint32_t name, uint32_t mode, const Stream& commands) {
    return Stream().add(kNewList, name, mode) + commands + Stream().add(kEndList);
  }
  uint32_t run(const Stream& stream) {
    EXPECT_EQ(guest.flush(stream), 0);
    return guest.glError();
  }
  uint32_t width(uint32_t level) {
    return guest.askFor<uint32_t>(Stream().add(kGetTexLevelParameteriv, GL_TEXTURE_2D, level, GL_TEXTURE_WIDTH));
  }
  // Whether an image of size * size texels of four bytes has room; it is taken back.
  bool hasRoom(uint32_t size) {
    const bool room = run(bind(100) + image(0, size)) == 0;
    EXPECT_EQ(run(Stream().add(kDeleteTextures, 1, 100u)), 0u);
    return room;
  }

  LogCapture log;
  InProcessGpu gpu{[] {
    Quotas quotas;
    quotas.textureBytes = 100 * 1024;
    return quotas;
  }()};
  TestGuest guest{gpu};
};

// A command that OpenGL refuses leaves the old image, and its bytes stay counted.
TEST_F(SmallTextureQuota, RefusedCommandsFreeNothing) {
  EXPECT_EQ(run(bind(1) + image(0, 128)), 0u);  // 64 KiB
  EXPECT_NE(run(image(0, 1, 0x1234)), 0u);
  EXPECT_NE(run(image(0, ~0u)), 0u);
  EXPECT_NE(run(Stream().add(kTexStorage2D, GL_TEXTURE_2D, 99, GL_RGBA8, 1, 1)), 0u);
  EXPECT_EQ(width(0), 128u);
  EXPECT_TRUE(hasRoom(96));  // 36
  EXPECT_FALSE(hasRoom(97));
  EXPECT_EQ(run(bind(1) + image(0, 1)), 0u);
  EXPECT_TRUE(hasRoom(159));
}

// An image that only goes into a list is none of the bound texture's. The list's calls define it, in every texture.
TEST_F(SmallTextureQuota, ImagesOfListsCountWhereTheyAreDefined) {
  EXPECT_EQ(run(bind(1) + image(0, 128)), 0u);
  EXPECT_EQ(run(list(1, GL_COMPILE, image(0, 1))), 0u);
  EXPECT_EQ(width(0), 128u);
  EXPECT_FALSE(hasRoom(97));
  EXPECT_EQ(run(bind(1) + Stream().add(kCallList, 1u)), 0u);
  EXPECT_EQ(width(0), 1u);
  EXPECT_TRUE(hasRoom(159));
  EXPECT_EQ(run(list(2, GL_COMPILE, image(0, 96))), 0u);
  for (const uint32_t name : {1u, 2u}) EXPECT_EQ(run(bind(name) + Stream().add(kCallList, 2u)), 0u);  // 72
  EXPECT_EQ(run(bind(3) + Stream().add(kCallList, 2u)), uint32_t{GL_OUT_OF_MEMORY});
  EXPECT_EQ(width(0), 0u);
  EXPECT_FALSE(hasRoom(86));
  EXPECT_TRUE(hasRoom(84));
  EXPECT_EQ(run(Stream().add(kDeleteTextures, 1, 2u) + bind(3) + Stream().add(kCallList, 2u)), 0u);
  EXPECT_FALSE(hasRoom(86));
  // A list that is carried out while it is compiled defines its images twice.
  EXPECT_EQ(run(Stream().add(kDeleteTextures, 2, 1u, 3u) + bind(4)), 0u);
  EXPECT_EQ(run(list(3, GL_COMPILE_AND_EXECUTE, image(0, 96))), 0u);
  EXPECT_FALSE(hasRoom(129));
  EXPECT_EQ(run(bind(5) + Stream().add(kCallList, 3u)), 0u);
  EXPECT_FALSE(hasRoom(86));
}

// Lists that call lists define what these define, as often as they call them, and textures that they bind themselves.
TEST_F(SmallTextureQuota, ListsDefineWhatTheirListsDefine) {
  EXPECT_EQ(run(list(1, GL_COMPILE, image(0, 96))), 0u);  // 36 KiB
  const auto twice = [&](const Stream& call) { return bind(1) + call + bind(2) + call; };
  const auto thrice = [&](const Stream& call) { return twice(call) + bind(3) + call; };
  const Stream one = Stream().add(kCallList, 1u), names = Stream().bytes(kCallLists, words({1, GL_UNSIGNED_INT, 4, 1}));
  EXPECT_EQ(run(list(2, GL_COMPILE, twice(one))), 0u);
  EXPECT_EQ(run(list(3, GL_COMPILE, thrice(one))), 0u);
  EXPECT_EQ(run(list(4, GL_COMPILE, Stream().add(kCallList, 3u))), 0u);
  EXPECT_EQ(run(Stream().add(kCallList, 4u)), uint32_t{GL_OUT_OF_MEMORY});
  EXPECT_EQ(run(Stream().add(kCallList, 3u)), uint32_t{GL_OUT_OF_MEMORY});
  EXPECT_TRUE(hasRoom(160));
  EXPECT_EQ(run(Stream().add(kCallList, 2u)), 0u);
  EXPECT_FALSE(hasRoom(86));
  EXPECT_TRUE(hasRoom(84));
  EXPECT_EQ(run(Stream().add(kDeleteTextures, 2, 1u, 2u)), 0u);
  // Names that only the call tells stand for all lists.
  EXPECT_EQ(run(bind(1) + names), 0u);
  EXPECT_FALSE(hasRoom(129));
  EXPECT_EQ(run(bind(2) + names), 0u);
  EXPECT_EQ(run(bind(3) + names), uint32_t{GL_OUT_OF_MEMORY});
  EXPECT_EQ(run(Stream().add(kDeleteTextures, 2, 1u, 2u)), 0u);
  EXPECT_EQ(run(list(5, GL_COMPILE, names)), 0u);
  EXPECT_EQ(run(bind(1) + Stream().add(kCallList, 5u)), 0u);
  EXPECT_FALSE(hasRoom(129));
}

// The textures without a name and the faces of a cube count as well when a list defines them.
TEST_F(SmallTextureQuota, ListsDefineEveryKindOfTexture) {
  const auto face = [](uint32_t k) {
    return Stream().bytes(kTexImage2D, words({GL_TEXTURE_CUBE_MAP_POSITIVE_X + k, 1, GL_RGBA8, 64, 64, 0, GL_RGBA,
                                              GL_UNSIGNED_BYTE, 0, 0}));  // 16 KiB
  };
  EXPECT_EQ(run(list(1, GL_COMPILE, image(2, 96))), 0u);
  EXPECT_EQ(run(list(2, GL_COMPILE, face(0) + face(5))), 0u);
  EXPECT_EQ(run(bind(0) + Stream().add(kCallList, 1u)), 0u);
  EXPECT_FALSE(hasRoom(129));
  EXPECT_TRUE(hasRoom(127));
  EXPECT_EQ(run(Stream().add(kBindTexture, GL_TEXTURE_CUBE_MAP, 7u).add(kCallList, 2u)), 0u);
  EXPECT_FALSE(hasRoom(91));  // 68 of 100 are taken
  EXPECT_TRUE(hasRoom(89));
  EXPECT_EQ(run(Stream().add(kCallList, 2u)), 0u);
  EXPECT_TRUE(hasRoom(89));
}

// Levels that OpenGL makes of the first one count, for every face and in the room that they need.
TEST_F(SmallTextureQuota, GeneratedLevelsCount) {
  const Stream generate = bind(1) + Stream().add(kGenerateMipmap, GL_TEXTURE_2D);
  EXPECT_EQ(run(bind(1) + image(0, 144)), 0u);  // 81 KiB, and a third for the levels
  EXPECT_EQ(run(generate), uint32_t{GL_OUT_OF_MEMORY});
  EXPECT_EQ(width(1), 0u);
  EXPECT_EQ(run(image(0, 128)), 0u);
  EXPECT_TRUE(hasRoom(96));
  EXPECT_EQ(run(generate), 0u);
  EXPECT_EQ(width(7), 1u);
  EXPECT_FALSE(hasRoom(62));  // 85.3 KiB are taken
  EXPECT_TRUE(hasRoom(60));
  EXPECT_EQ(run(generate), 0u);
  EXPECT_TRUE(hasRoom(60));
  EXPECT_NE(run(Stream().add(kGenerateMipmap, 0x1234u)), 0u);
  EXPECT_EQ(run(Stream().add(kDeleteTextures, 1, 1u)), 0u);
  Stream cube = Stream().add(kBindTexture, GL_TEXTURE_CUBE_MAP, 2u);
  for (uint32_t k = 0; k < 6; ++k)
    cube.bytes(kTexImage2D, words({GL_TEXTURE_CUBE_MAP_POSITIVE_X + k, 0, GL_RGBA8, 48, 48, 0, GL_RGBA, GL_UNSIGNED_BYTE, 0, 0}));
  EXPECT_EQ(run(cube), 0u);  // 54 KiB
  EXPECT_TRUE(hasRoom(108));
  EXPECT_EQ(run(Stream().add(kGenerateMipmap, GL_TEXTURE_CUBE_MAP)), 0u);
  EXPECT_FALSE(hasRoom(86));  // 72 KiB
  EXPECT_TRUE(hasRoom(84));
}

// Estimates follow the internal format, the levels and the layers, and no product of sizes wraps.
TEST(TextureQuota, EstimatesFollowTheSizes) {
  const auto bytes = [](GLenum target, GLenum format, GLsizei width, GLsizei height, GLsizei depth, GLsizei levels = 0) {
    return textureImageBytes(
        {.target = target, .internalFormat = format, .width = width, .height = height, .depth = depth, .levels = levels});
  };
  EXPECT_EQ(bytes(GL_TEXTURE_2D, GL_RGBA8, 10, 20, 1), 800u);
  EXPECT_EQ(bytes(GL_TEXTURE_2D, GL_RGBA32F, 10, 20, 1), 3200u);
  EXPECT_EQ(bytes(GL_TEXTURE_2D, GL_RGBA16F, 10, 20, 1), 1600u);
  EXPECT_EQ(bytes(GL_TEXTURE_2D, GL_R8, 10, 20, 1), 200u);
  EXPECT_EQ(bytes(GL_TEXTURE_2D, GL_COMPRESSED_RGBA_S3TC_DXT5_EXT, 8, 8, 1), 64u);
  EXPECT_EQ(bytes(GL_TEXTURE_3D, GL_RGBA8, 4, 4, 4, 3), 4u * (64 + 8 + 1));
  EXPECT_EQ(bytes(GL_TEXTURE_2D_ARRAY, GL_RGBA8, 4, 4, 4, 3), 4u * (64 + 16 + 4));
  EXPECT_EQ(bytes(GL_TEXTURE_1D_ARRAY, GL_RGBA8, 4, 4, 1, 3), 4u * (16 + 8 + 4));
  EXPECT_EQ(bytes(GL_TEXTURE_CUBE_MAP, GL_RGBA8, 4, 4, 1, 1), 4u * 16 * 6);
  EXPECT_EQ(bytes(GL_TEXTURE_3D, GL_RGBA32F, 32768, 32768, 32768), uint64_t{16} << 45);
  EXPECT_EQ(bytes(GL_TEXTURE_2D, GL_RGBA8, 32769, 1, 1), 0u);
  EXPECT_EQ(bytes(GL_TEXTURE_2D, GL_RGBA8, -1, 4, 1), 0u);
  EXPECT_EQ(bytes(GL_TEXTURE_2D, GL_RGBA8, 0, 4, 1), 0u);
}

}  // namespace
}  // namespace qv::peer::test
