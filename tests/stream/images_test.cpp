// Images on the guest's side: how many bytes are copied, what is checked, what goes out, what is waited for.
#include <cstring>
#include <memory>
#include <numeric>
#include <utility>

#include "driver/calls/image_checks.h"
#include "driver/objects/display_list_stream.h"
#include "driver/state/buffer_bindings.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"
#include "wire/image_size.h"
#include "wire/sizes.h"

namespace qv::test {
namespace {

constexpr PixelStoreHalf kDefaults;

uint32_t rgbBytes(const PixelStoreHalf& store) { return imageBytes(store, GL_TEXTURE_2D, GL_RGB, GL_UNSIGNED_BYTE, {3, 2, 1}); }

// A tight image counts the padding of every row, the last one too.
TEST(ImageBytes, TightImagesPadTheLastRow) { EXPECT_EQ(rgbBytes(kDefaults), 24u); }

// Any parameter that is not zero makes the image end at its last pixel.
TEST(ImageBytes, OtherImagesEndAtTheLastPixel) {
  EXPECT_EQ(rgbBytes({.skipRows = 1}), 33u);
  EXPECT_EQ(rgbBytes({.rowLength = 3}), 12u + 9u);
  EXPECT_EQ(rgbBytes({.skipPixels = 1}), 12u + 12u);
  EXPECT_EQ(rgbBytes({.imageHeight = 5}), 12u + 9u);
  EXPECT_EQ(rgbBytes({.skipImages = 1}), 12u * 3 + 9u);
  EXPECT_EQ(imageBytes({.rowLength = 10}, GL_TEXTURE_2D, GL_RGBA, GL_UNSIGNED_BYTE, {3, 2, 1}), 52u);
}

// Images of three dimensions count whole images before the last one.
TEST(ImageBytes, DeepImagesCountImageHeightAndSkippedImages) {
  const Extent extent{2, 3, 4};
  EXPECT_EQ(imageBytes(kDefaults, GL_TEXTURE_3D, GL_RGBA, GL_UNSIGNED_BYTE, extent), 8u * 3 * 4);
  EXPECT_EQ(imageBytes({.imageHeight = 5}, GL_TEXTURE_3D, GL_RGBA, GL_UNSIGNED_BYTE, extent), 8u + 8 * (2 + 3 * 5));
  EXPECT_EQ(imageBytes({.skipImages = 2}, GL_TEXTURE_3D, GL_RGBA, GL_UNSIGNED_BYTE, extent), 8u + 8 * (2 + 5 * 3));
}

// Bits are counted in rows of whole bytes, without a tight case.
TEST(ImageBytes, BitmapsAreRowsOfBytes) {
  EXPECT_EQ(imageBytes(kDefaults, 0, GL_COLOR_INDEX, GL_BITMAP, {32, 32, 1}), 128u);
  EXPECT_EQ(imageBytes({.alignment = 1}, 0, GL_COLOR_INDEX, GL_BITMAP, {9, 3, 1}), 2u * 2 + 2);
  EXPECT_EQ(imageBytes({.alignment = 1, .rowLength = 20, .skipPixels = 9}, 0, GL_COLOR_INDEX, GL_BITMAP, {3, 2, 1}), 3u + 2);
}

// Rows are rounded up to each of the four alignments.
TEST(ImageBytes, RowsAreAligned) {
  for (const auto& [alignment, row] : {std::pair(1, 9u), {2, 10u}, {4, 12u}, {8, 16u}}) {
    EXPECT_EQ(imageBytes({.alignment = alignment}, 0, GL_RGB, GL_UNSIGNED_BYTE, {3, 1, 1}), row);
  }
}

// Proxies, images without a pixel, and what is no format or type take nothing.
TEST(ImageBytes, SomeImagesHaveNone) {
  for (const GLenum target :
       {0x8063u, 0x8064u, 0x8070u, 0x851Bu, 0x84F7u, 0x8025u, 0x80D3u, 0x80D4u, 0x80D5u, 0x8135u, 0x80BDu, 0x8163u})
    EXPECT_EQ(imageBytes(kDefaults, target, GL_RGBA, GL_UNSIGNED_BYTE, {4, 4, 1}), 0u) << target;
  for (const Extent& extent : {Extent{0, 4, 1}, {4, 0, 1}, {4, 4, 0}, {-1, 4, 1}, {4, -1, 1}, {4, 4, -1}}) {
    EXPECT_EQ(imageBytes(kDefaults, 0, GL_RGBA, GL_UNSIGNED_BYTE, extent), 0u);
    EXPECT_EQ(imageBytes({.rowLength = 5, .skipRows = 1}, 0, GL_RGBA, GL_UNSIGNED_BYTE, extent), 0u);
  }
  EXPECT_EQ(imageBytes(kDefaults, 0, 77, GL_UNSIGNED_BYTE, {4, 4, 1}), 0u);
  EXPECT_EQ(imageBytes(kDefaults, 0, GL_RGBA, 77, {4, 4, 1}), 0u);
}

// The arithmetic is 32-bit: a count that does not fit wraps.
TEST(ImageBytes, LargeCountsWrap) {
  EXPECT_EQ(imageBytes(kDefaults, 0, GL_RGBA, GL_UNSIGNED_BYTE, {65536, 65536, 1}), 0u);
  EXPECT_EQ(imageBytes(kDefaults, 0, GL_RGBA, GL_UNSIGNED_BYTE, {65536, 65537, 1}), 262144u);
}

// Components and sizes of every format and type, typed in.
TEST(PixelSizes, FormatsAndTypesHaveTheirSizes) {
  const auto components = [](uint32_t count, std::initializer_list<GLenum> formats) {
    for (const GLenum format : formats) EXPECT_EQ(pixelComponents(format, GL_FLOAT), count) << std::hex << format;
  };
  components(1, {0x1900, 0x1901, 0x1902, 0x1903, 0x1904, 0x1905, 0x1906, 0x1909, 0x8D94, 0x8D95, 0x8D96, 0x8D97, 0x8D9C});
  components(2, {0x190A, 0x8227, 0x8228, 0x8D9D, 0x86F4, 0x86F5, 0x86F8, 0x86F9, 0x86FA, 0x8709});
  components(3, {0x1907, 0x80E0, 0x8D98, 0x8D9A, 0x86F6, 0x870A});
  components(4, {0x1908, 0x80E1, 0x8000, 0x8D99, 0x8D9B, 0x86DC, 0x86F7, 0x870B});
  components(0, {0, 0x84F9, 0x8757, 0x190B});
  const auto bytes = [](uint32_t size, bool packed, std::initializer_list<GLenum> types) {
    for (const GLenum type : types) {
      EXPECT_EQ(pixelTypeSize(type), size) << std::hex << type;
      EXPECT_EQ(pixelComponents(GL_RGBA, type), packed ? 1u : 4u) << std::hex << type;
    }
  };
  bytes(1, false, {0x1400, 0x1401});
  bytes(2, false, {0x1402, 0x1403, 0x140B});
  bytes(4, false, {0x1404, 0x1405, 0x1406});
  bytes(1, true, {0x8032, 0x8362});
  bytes(2, true, {0x8363, 0x8364, 0x8033, 0x8365, 0x8034, 0x8366});
  bytes(4, true, {0x8035, 0x8367, 0x8036, 0x8368, 0x84FA, 0x8C3B, 0x8C3E, 0x86DA, 0x86DB});
  bytes(8, true, {0x8DAD});
  bytes(0, false, {0x1A00, 0, 0x1407});
}

// Where OpenGL looks: image height and skipped images count in three dimensions only, and no sum wraps.
TEST(ImageShapes, PlacesFollowThePixelStoreState) {
  const PixelStoreHalf store{.alignment = 8, .rowLength = 5, .imageHeight = 7, .skipPixels = 2, .skipRows = 3, .skipImages = 1};
  const ImageShape flat = imageShape(store, 2, GL_RGB, GL_UNSIGNED_SHORT, {4, 2, 1});
  EXPECT_EQ(flat.stride, 32u);
  EXPECT_EQ(flat.run, 24u);
  EXPECT_EQ(flat.first, 2u * 6 + 3 * 32);
  EXPECT_EQ(flat.end(), 12u + 96 + 32 + 24);
  EXPECT_EQ(flat.tightBytes(), 48u);
  const ImageShape deep = imageShape(store, 3, GL_RGB, GL_UNSIGNED_SHORT, {4, 2, 2});
  EXPECT_EQ(deep.imageStride, 7u * 32);
  EXPECT_EQ(deep.first, 12u + 96 + 224);
  EXPECT_EQ(deep.end(), 332u + 224 + 32 + 24);
  const ImageShape bits =
      imageShape({.alignment = 2, .skipPixels = 13, .skipRows = 1}, 2, GL_STENCIL_INDEX, GL_BITMAP, {5, 2, 1});
  EXPECT_EQ(bits.skippedBits, 5u);
  EXPECT_EQ(bits.run, 2u);
  EXPECT_EQ(bits.stride, 2u);
  EXPECT_EQ(bits.first, 1u + 2);
  EXPECT_EQ(bits.end(), 7u);
  const PixelStoreHalf far{.rowLength = INT32_MAX, .imageHeight = INT32_MAX, .skipRows = INT32_MAX, .skipImages = INT32_MAX};
  EXPECT_EQ(imageShape(far, 3, GL_RGBA, GL_FLOAT, {1, 1, 1}).end(), ImageShape::kTooFar);
  EXPECT_TRUE(imageShape({}, 2, GL_RGBA, GL_BITMAP, {1, 1, 1}).empty());
  EXPECT_EQ(imageShape({}, 2, GL_RGBA, GL_FLOAT, {0, 1, 1}).end(), 0u);
}

// The guest always copies as much as OpenGL looks at.
TEST(ImageShapes, GuestCopiesWhatIsLookedAt) {
  uint32_t state = 1;
  const auto random = [&](uint32_t below) {
    state = state * 1664525 + 1013904223;
    return static_cast<int32_t>((state >> 8) % below);
  };
  for (int round = 0; round < 20000; ++round) {
    PixelStoreHalf store{.alignment = 1 << random(4)};
    for (int32_t* const field : {&store.rowLength, &store.imageHeight, &store.skipPixels, &store.skipRows, &store.skipImages})
      if (random(2) != 0) *field = random(20);
    const auto dimensions = static_cast<uint32_t>(1 + random(3));
    const Extent extent{1 + random(16), dimensions >= 2 ? 1 + random(8) : 1, dimensions == 3 ? 1 + random(4) : 1};
    const GLenum format = std::array{GL_RGB, GL_RGBA, GL_RED, GL_COLOR_INDEX, GL_STENCIL_INDEX}[static_cast<size_t>(random(5))];
    const GLenum type = std::array{GL_UNSIGNED_BYTE, GL_UNSIGNED_SHORT, GL_FLOAT, GL_BITMAP}[static_cast<size_t>(random(4))];
    ASSERT_GE(imageBytes(store, 0, format, type, extent), imageShape(store, dimensions, format, type, extent).end());
  }
}

// Which types a format takes, and which error the others give: the whole product against the rules.
TEST(ImageChecks, FormatsAndTypesGoTogether) {
  using Set = std::vector<GLenum>;
  const Set basic = {0x1400, 0x1401, 0x1402, 0x1403, 0x1404, 0x1405}, real = {0x1406, 0x140B}, bitmap = {0x1A00};
  const Set a = {0x8032, 0x8362, 0x8363, 0x8364}, b = {0x8033, 0x8035, 0x8365, 0x8367}, c = {0x8034, 0x8036, 0x8366, 0x8368};
  const Set d = {0x84FA, 0x8DAD}, e = {0x8C3B}, ten = {0x8368}, shared = {0x8C3E}, yuv = {0x85BA, 0x85BB};
  const auto join = [](std::initializer_list<Set> sets) {
    Set all;
    for (const Set& set : sets) all.insert(all.end(), set.begin(), set.end());
    return all;
  };
  std::vector<std::pair<GLenum, Set>> rules;
  for (const GLenum format : {0x1900u, 0x1901u}) rules.push_back({format, join({basic, real, bitmap})});
  for (const GLenum format : {0x1902u, 0x1903u, 0x1904u, 0x1905u, 0x1906u, 0x1909u, 0x190Au, 0x80E0u, 0x8227u})
    rules.push_back({format, join({basic, real})});
  rules.push_back({GL_RGB, join({basic, real, a, e, ten, shared})});
  for (const GLenum format : {0x1908u, 0x80E1u}) rules.push_back({format, join({basic, real, b, c})});
  rules.push_back({GL_ABGR_EXT, join({basic, real, b})});
  rules.push_back({GL_DEPTH_STENCIL, d});
  rules.push_back({0x8757, yuv});
  for (const GLenum format : {0x8D94u, 0x8D95u, 0x8D96u, 0x8D97u, 0x8228u, 0x8D9Au, 0x8D9Cu, 0x8D9Du})
    rules.push_back({format, basic});
  rules.push_back({GL_RGB_INTEGER, join({basic, a})});
  for (const GLenum format : {0x8D99u, 0x8D9Bu}) rules.push_back({format, join({basic, b, c})});
  rules.push_back({0x1234, {}});
  const Set bound = join({a, b, c, d, e});
  const auto in = [](const Set& set, GLenum one) { return std::find(set.begin(), set.end(), one) != set.end(); };
  for (const auto& [format, taken] : rules) {
    for (const GLenum type : join({basic, real, bitmap, a, b, c, d, e, shared, yuv, {0x1407, 0x86DA, 0}})) {
      const GLenum expected = in(taken, type)                         ? GL_NO_ERROR
                              : in(bound, type)                       ? GL_INVALID_OPERATION
                              : format == 0x8757 && type != GL_BITMAP ? GL_INVALID_OPERATION
                                                                      : GL_INVALID_ENUM;
      EXPECT_EQ(checkPixelFormatType(format, type), expected) << std::hex << format << ' ' << type;
    }
  }
}

// 211 internal formats are known, and the first and the last of each stretch are what they are.
TEST(ImageChecks, InternalFormatsAreKnown) {
  size_t known = 0;
  for (GLenum format = 0; format < 0x10000; ++format) known += internalFormatBase(format) >= 0;
  EXPECT_EQ(known, 211u);
  for (const auto& [format, base] : {std::pair(1u, 0x1909),
                                     {2u, 0x190A},
                                     {3u, 0x1907},
                                     {4u, 0x1908},
                                     {0x803Bu, 0x1906},
                                     {0x803Eu, 0x1906},
                                     {0x803Fu, 0x1909},
                                     {0x8048u, 0x190A},
                                     {0x804Du, 0x8049},
                                     {0x2A10u, 0x1907},
                                     {0x8058u, 0x1908},
                                     {0x8229u, 0x1903},
                                     {0x823Cu, 0x8227},
                                     {0x8D48u, 0x1901},
                                     {0x81A6u, 0x1902},
                                     {0x88F0u, 0x84F9},
                                     {0x8757u, 0x8757},
                                     {0x9279u, 0x1908},
                                     {0x901Bu, 0x8049}}) {
    EXPECT_EQ(internalFormatBase(format), base) << std::hex << format;
  }
  for (const GLenum format : {0u, 5u, 0x80E1u, 0x803Au, 0x805Cu, 0x8837u, 0x8FBEu, 0xFFFFFFFFu})
    EXPECT_EQ(internalFormatBase(format), -1) << std::hex << format;
}

// GL_BGRA and six names more become GL_RGBA8; nothing else changes.
TEST(ImageChecks, SomeInternalFormatsAreReplaced) {
  for (const GLenum format : {0x80E1u, 0x80E2u, 0x80E3u, 0x80E4u, 0x80E5u, 0x80E6u, 0x80E7u})
    EXPECT_EQ(normalizeInternalFormat(format), 0x8058u);
  for (const GLenum format : {0x80E0u, 0x80E8u, 0x1908u, 0u}) EXPECT_EQ(normalizeInternalFormat(format), format);
}

// The steps of the check of a texture's image, in their order.
TEST(ImageChecks, TextureImagesAreCheckedInOrder) {
  const auto check = [](GLenum inner, const Extent& extent, GLint border, GLenum format, GLenum type) {
    return checkTextureImage(inner, extent, border, format, type);
  };
  EXPECT_EQ(check(99, {1, 1, 1}, 2, 99, 99), static_cast<GLenum>(GL_INVALID_VALUE));
  for (const Extent& extent : {Extent{-1, 1, 1}, {1, -1, 1}, {1, 1, -1}})
    EXPECT_EQ(check(GL_RGBA, extent, 0, 99, 99), static_cast<GLenum>(GL_INVALID_VALUE));
  EXPECT_EQ(check(99, {1, 1, 1}, 1, GL_RGBA, GL_BITMAP), static_cast<GLenum>(GL_INVALID_ENUM));
  EXPECT_EQ(check(99, {1, 1, 1}, -5, GL_RGBA, GL_UNSIGNED_BYTE), static_cast<GLenum>(GL_INVALID_VALUE));
  for (const GLenum depth : {0x1902u, 0x81A5u, 0x81A6u, 0x81A7u, 0x8CACu, 0x84F9u, 0x88F0u, 0x8CADu}) {
    EXPECT_EQ(check(depth, {1, 1, 1}, 0, GL_RGBA, GL_UNSIGNED_BYTE), static_cast<GLenum>(GL_INVALID_OPERATION))
        << std::hex << depth;
    EXPECT_EQ(check(depth, {1, 1, 1}, 0, GL_DEPTH_STENCIL, GL_UNSIGNED_INT_24_8), 0u);
    EXPECT_EQ(check(depth, {1, 1, 1}, 0, GL_DEPTH_COMPONENT, GL_FLOAT), 0u);
  }
  EXPECT_EQ(check(GL_RGBA, {1, 1, 1}, 0, GL_DEPTH_COMPONENT, GL_FLOAT), static_cast<GLenum>(GL_INVALID_OPERATION));
  EXPECT_EQ(check(GL_RGBA, {0, 0, 0}, 1, GL_RGBA, GL_FLOAT), 0u);
}

class Images : public ContextTest {
 protected:
  Images() { std::iota(pixels.begin(), pixels.end(), uint8_t{1}); }
  uint32_t low() const { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pixels.data())); }
  std::vector<uint8_t> first(size_t bytes) const { return {pixels.begin(), pixels.begin() + static_cast<std::ptrdiff_t>(bytes)}; }
  // What the open list has recorded.
  std::vector<uint8_t> recorded() {
    const DisplayListStream& list = *context().recordingList;
    return {list.base, list.cursor};
  }
  void bindPackBuffer() {
    QV_CALL(glBindBuffer)(GL_PIXEL_PACK_BUFFER, 9);
    drop();
  }
  bool hostHasNewer() {
    BufferObject* const buffer = findBuffer(&context(), 9);
    return std::exchange(buffer->hostContentsNewer, uint8_t{0}) != 0;
  }
  std::vector<uint8_t> pixels = std::vector<uint8_t>(4096);
};

// The pixels stand behind the fields, the last of which is their count.
TEST_F(Images, UploadsCarryTheirPixels) {
  QV_CALL(glTexImage2D)(GL_TEXTURE_2D, 0, GL_RGBA, 2, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  std::vector<uint8_t> expected = words({0x3C0B7, 0xDE1, 0, 0x1908, 2, 2, 0, 0x1908, 0x1401, low(), 16});
  expected += first(16);
  expectStream(expected);
}

// Without pixels the command stands alone.
TEST_F(Images, NullPixelsAreNone) {
  QV_CALL(glTexImage2D)(GL_TEXTURE_2D, 0, GL_RGBA, 2, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  expectStream(words({0x2C0B7, 0xDE1, 0, 0x1908, 2, 2, 0, 0x1908, 0x1401, 0, 0}));
}

// A proxy's pixels are not looked at, wherever the pointer points.
TEST_F(Images, ProxiesReadNothing) {
  QV_CALL(glTexImage2D)(GL_PROXY_TEXTURE_2D, 0, GL_RGBA, 2, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE, reinterpret_cast<void*>(64));
  expectStream(words({0x2C0B7, 0x8064, 0, 0x1908, 2, 2, 0, 0x1908, 0x1401, 64, 0}));
}

// With an unpack buffer the pointer is an offset, and no pixel travels.
TEST_F(Images, BufferOffsetsTravelAlone) {
  context().buffers.pixelUnpack = 3;
  QV_CALL(glTexSubImage2D)(GL_TEXTURE_2D, 0, 1, 2, 4, 4, GL_RGBA, GL_UNSIGNED_BYTE, reinterpret_cast<void*>(1024));
  expectStream(words({0x2C145, 0xDE1, 0, 1, 2, 4, 4, 0x1908, 0x1401, 1024, 0}));
  QV_CALL(glPixelMapusv)(GL_PIXEL_MAP_R_TO_R, 4, reinterpret_cast<const GLushort*>(8));
  expectStream(words({0x140FD, 0xC76, 4, 8, 0}));
  QV_CALL(glCompressedTexImage2D)(GL_TEXTURE_2D, 0, 0x83F0, 4, 4, 0, -1, reinterpret_cast<void*>(8));
  expectStream(words({0x2819E, 0xDE1, 0, 0x83F0, 4, 4, 0, 0xFFFFFFFF, 8, 0}));
}

// The padding behind odd pixels is not counted in the header.
TEST_F(Images, OddLengthsArePadded) {
  context().pixelStore.unpack.skipRows = 1;
  QV_CALL(glTexImage2D)(GL_TEXTURE_2D, 0, GL_RGB, 3, 2, 0, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
  std::vector<uint8_t> expected = words({0x4D0B7, 0xDE1, 0, 0x1907, 3, 2, 0, 0x1907, 0x1401, low(), 33});
  expected += first(33);
  const std::vector<uint8_t> written = pending();
  ASSERT_EQ(written.size(), 80u);
  EXPECT_EQ(std::vector<uint8_t>(written.begin(), written.begin() + 77), expected);
}

// A command from 2^20 bytes on has the long header, whose second word is the whole length.
TEST_F(Images, LongImagesAreOneCommand) {
  context().pixelStore.unpack.alignment = 1;
  const std::vector<uint8_t> big(2048 * 2048 * 4, 7);
  QV_CALL(glDrawPixels)(1048547, 1, GL_LUMINANCE, GL_UNSIGNED_BYTE, big.data());
  EXPECT_EQ(get<uint32_t>(pending().data()), 0xFFFFF101u);
  drop();
  QV_CALL(glDrawPixels)(1048548, 1, GL_LUMINANCE, GL_UNSIGNED_BYTE, big.data());
  EXPECT_EQ(get<uint32_t>(pending().data()), 0x101u);
  EXPECT_EQ(get<uint32_t>(pending().data() + 4), 0x100004u);
  drop();
  QV_CALL(glTexImage2D)(GL_TEXTURE_2D, 0, GL_RGBA, 2048, 2048, 0, GL_RGBA, GL_UNSIGNED_BYTE, big.data());
  const std::vector<uint8_t> written = pending();
  EXPECT_EQ(written.size(), 0x1000030u);
  EXPECT_EQ(get<uint32_t>(written.data()), 0xB7u);
  EXPECT_EQ(get<uint32_t>(written.data() + 4), 0x1000030u);
  EXPECT_EQ(written.back(), 7);
}

// A part of a texture without a pixel is a command, too.
TEST_F(Images, EmptyPartsTravel) {
  QV_CALL(glTexSubImage2D)(GL_TEXTURE_2D, 0, 0, 0, 0, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  expectStream(words({0x2C145, 0xDE1, 0, 0, 0, 0, 0, 0x1908, 0x1401, low(), 0}));
}

// An empty bitmap is a command: it moves the raster position.
TEST_F(Images, BitmapsTravel) {
  QV_CALL(glBitmap)(0, 0, 0, 0, 1, 0, nullptr);
  expectStream(words({0x24008, 0, 0, 0, 0, 0x3F800000, 0, 0, 0}));
  QV_CALL(glBitmap)(32, 32, 0, 0, 0, 0, pixels.data());
  std::vector<uint8_t> expected = words({0xA4008, 32, 32, 0, 0, 0, 0, low(), 128});
  expectStream(expected += first(128));
  QV_CALL(glBitmap)(9, 3, 0, 0, 0, 0, pixels.data());
  expected = words({0x2E008, 9, 3, 0, 0, 0, 0, low(), 10});
  expected += first(10);
  const std::vector<uint8_t> written = pending();
  ASSERT_EQ(written.size(), 48u);
  EXPECT_EQ(std::vector<uint8_t>(written.begin(), written.begin() + 46), expected);
}

// The pattern of polygons is sized by the state of packing and kept back by a pack buffer.
TEST_F(Images, StipplesFollowThePackState) {
  QV_CALL(glPolygonStipple)(pixels.data());
  std::vector<uint8_t> expected = words({0x8C0AF, low(), 128});
  expectStream(expected += first(128));
  context().pixelStore.unpack.alignment = 8;
  context().pixelStore.pack.skipRows = 2;
  QV_CALL(glPolygonStipple)(pixels.data());
  expected = words({0x940AF, low(), 136});
  expectStream(expected += first(136));
  context().buffers.pixelPack = 1;
  QV_CALL(glPolygonStipple)(pixels.data());
  expectStream(words({0xC0AF, low(), 0}));
  context().buffers.pixelPack = 0;
  context().buffers.pixelUnpack = 1;
  QV_CALL(glPolygonStipple)(pixels.data());
  EXPECT_EQ(pending().size(), 148u);
}

// Pixel maps count entries, of two bytes or of four.
TEST_F(Images, PixelMapsCountEntries) {
  QV_CALL(glPixelMapusv)(GL_PIXEL_MAP_R_TO_R, 4, reinterpret_cast<const GLushort*>(pixels.data()));
  std::vector<uint8_t> expected = words({0x1C0FD, 0xC76, 4, low(), 4});
  expectStream(expected += first(8));
  QV_CALL(glPixelMapfv)(GL_PIXEL_MAP_R_TO_R, 2, reinterpret_cast<const GLfloat*>(pixels.data()));
  expected = words({0x1C0FB, 0xC76, 2, low(), 2});
  expectStream(expected += first(8));
  QV_CALL(glPixelMapfv)(GL_PIXEL_MAP_R_TO_R, -3, reinterpret_cast<const GLfloat*>(pixels.data()));
  expectStream(words({0x140FB, 0xC76, 0xFFFFFFFD, low(), 0}));
}

// Compressed data is as long as the program says; a negative length is the guest's to refuse for whole images with data alone.
TEST_F(Images, CompressedImagesSayTheirLength) {
  QV_CALL(glCompressedTexSubImage2D)(GL_TEXTURE_2D, 0, 0, 0, 4, 4, 0x83F0, 8, pixels.data());
  std::vector<uint8_t> expected = words({0x341A1, 0xDE1, 0, 0, 0, 4, 4, 0x83F0, 8, low(), 8});
  expectStream(expected += first(8));
  QV_CALL(glCompressedTexSubImage2D)(GL_TEXTURE_2D, 0, 0, 0, 4, 4, 0x83F0, -1, pixels.data());
  expectStream(words({0x2C1A1, 0xDE1, 0, 0, 0, 4, 4, 0x83F0, 0xFFFFFFFF, low(), 0}));
  QV_CALL(glCompressedTexImage2D)(GL_TEXTURE_2D, 0, 0x83F0, 4, 4, 0, -1, pixels.data());
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(context().lastOpcode, 414);
  expectStream(Stream());
  QV_CALL(glCompressedTexImage2D)(GL_TEXTURE_2D, 0, 0x83F0, 4, 4, 0, -1, nullptr);
  expectStream(words({0x2819E, 0xDE1, 0, 0x83F0, 4, 4, 0, 0xFFFFFFFF, 0, 0}));
  EXPECT_EQ(takeError(), 0u);
}

// A count that makes no command travels without its data.
TEST_F(Images, CountsBeyondAnyCommandHaveNoData) {
  QV_CALL(glPixelMapfv)(GL_PIXEL_MAP_R_TO_R, 0x7FFFFFFF, reinterpret_cast<const GLfloat*>(pixels.data()));
  expectStream(words({0x140FB, 0xC76, 0x7FFFFFFF, low(), 0}));
}

// Refused uploads leave their opcode and nothing in either stream, though a list is open; what is checked differs by call.
TEST_F(Images, RefusedUploadsLeaveNothing) {
  QV_CALL(glNewList)(1, GL_COMPILE_AND_EXECUTE);
  drop();
  const auto refused = [&](GLenum error, int32_t opcode, auto&& call) {
    context().lastOpcode = -1;
    call();
    EXPECT_EQ(takeError(), error) << opcode;
    EXPECT_EQ(context().lastOpcode, opcode);
    EXPECT_TRUE(pending().empty()) << opcode;
    EXPECT_TRUE(recorded().empty()) << opcode;
  };
  void* const p = pixels.data();
  constexpr GLenum kValue = GL_INVALID_VALUE, kEnum = GL_INVALID_ENUM, kOperation = GL_INVALID_OPERATION;
  refused(kValue, 182, [&] { QV_CALL(glTexImage1D)(GL_TEXTURE_1D, 0, GL_RGBA, 1, 2, GL_RGBA, GL_UNSIGNED_BYTE, p); });
  refused(kValue, 182, [&] { QV_CALL(glTexImage1D)(GL_TEXTURE_1D, 0, GL_RGBA, -1, 0, GL_RGBA, GL_UNSIGNED_BYTE, p); });
  refused(kOperation, 183, [&] {
    QV_CALL(glTexImage2D)(GL_TEXTURE_2D, 0, GL_RGBA, 1, 1, 0, GL_RGBA, GL_UNSIGNED_SHORT_5_6_5, p);
  });
  refused(kValue, 183, [&] { QV_CALL(glTexImage2D)(GL_TEXTURE_2D, 0, 5, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, p); });
  refused(kValue, 371, [&] { QV_CALL(glTexImage3D)(GL_TEXTURE_3D, 0, GL_RGBA, 1, 1, -1, 0, GL_RGBA, GL_UNSIGNED_BYTE, p); });
  refused(kValue, 324, [&] { QV_CALL(glTexSubImage1D)(GL_TEXTURE_1D, 0, 0, -1, 99, GL_UNSIGNED_BYTE, p); });
  refused(kEnum, 324, [&] { QV_CALL(glTexSubImage1D)(GL_TEXTURE_1D, 0, 0, 1, 99, GL_UNSIGNED_BYTE, p); });
  refused(kValue, 325, [&] { QV_CALL(glTexSubImage2D)(GL_TEXTURE_2D, 0, 0, 0, 1, -1, GL_RGBA, GL_UNSIGNED_BYTE, p); });
  refused(kEnum, 325, [&] { QV_CALL(glTexSubImage2D)(GL_TEXTURE_2D, 0, 0, 0, 1, 1, GL_RGBA, GL_BITMAP, p); });
  refused(kValue, 372, [&] { QV_CALL(glTexSubImage3D)(GL_TEXTURE_3D, 0, 0, 0, 0, 1, 1, -1, GL_RGBA, GL_UNSIGNED_BYTE, p); });
  refused(kEnum, 372, [&] { QV_CALL(glTexSubImage3D)(GL_TEXTURE_3D, 0, 0, 0, 0, 1, 1, 1, GL_RGBA, 1, p); });
  refused(kValue, 415, [&] { QV_CALL(glCompressedTexImage1D)(GL_TEXTURE_1D, 0, 0x83F0, 4, 0, -1, p); });
  refused(kValue, 413, [&] { QV_CALL(glCompressedTexImage3D)(GL_TEXTURE_3D, 0, 0x83F0, 4, 4, 4, 0, -1, p); });
  refused(kEnum, 257, [&] { QV_CALL(glDrawPixels)(1, 1, GL_RGBA, GL_BITMAP, p); });
  EXPECT_EQ(context().recordingList->lastOpcode, -1);
}

// GL_BGRA as an internal format goes out as GL_RGBA8, by an image as by a copy.
TEST_F(Images, InternalFormatsGoOutReplaced) {
  QV_CALL(glTexImage2D)(GL_TEXTURE_2D, 0, GL_BGRA, 2, 2, 0, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
  expectStream(words({0x2C0B7, 0xDE1, 0, 0x8058, 2, 2, 0, 0x80E1, 0x1401, 0, 0}));
  QV_CALL(glTexImage1D)(GL_TEXTURE_1D, 0, 0x80E5, 2, 0, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
  EXPECT_EQ(get<uint32_t>(pending().data() + 12), 0x8058u);
  drop();
  QV_CALL(glTexImage3D)(GL_TEXTURE_3D, 0, 0x80E5, 2, 2, 2, 0, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
  EXPECT_EQ(get<uint32_t>(pending().data() + 12), 0x8058u);
  drop();
  QV_CALL(glCopyTexImage2D)(GL_TEXTURE_2D, 0, GL_BGRA, 1, 2, 3, 4, 0);
  expectStream(words({0x24141, 0xDE1, 0, 0x8058, 1, 2, 3, 4, 0}));
}

// A list has the fields, the true count too; the pixels go to the host alone.
TEST_F(Images, ListsHaveNoPixels) {
  QV_CALL(glNewList)(1, GL_COMPILE);
  drop();
  QV_CALL(glTexImage2D)(GL_TEXTURE_2D, 0, GL_RGBA, 2, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  EXPECT_EQ(recorded(), words({0x2C0B7, 0xDE1, 0, 0x1908, 2, 2, 0, 0x1908, 0x1401, low(), 16}));
  EXPECT_EQ(context().recordingList->lastOpcode, 183);
  EXPECT_EQ(pending().size(), 60u);
  QV_CALL(glPixelMapusv)(GL_PIXEL_MAP_R_TO_R, 4, reinterpret_cast<const GLushort*>(pixels.data()));
  QV_CALL(glPolygonStipple)(pixels.data());
  std::vector<uint8_t> behind = recorded();
  behind.erase(behind.begin(), behind.begin() + 44);
  EXPECT_EQ(behind, words({0x140FD, 0xC76, 4, low(), 4, 0xC0AF, low(), 128}));
}

// Inside glBegin a list keeps what is then refused.
TEST_F(Images, RefusedDrawPixelsIsRecorded) {
  QV_CALL(glNewList)(1, GL_COMPILE_AND_EXECUTE);
  QV_CALL(glBegin)(GL_POINTS);
  drop();
  const size_t before = recorded().size();
  QV_CALL(glDrawPixels)(1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(recorded().size(), before + 28);
  context().insideBegin = 0;
  static_cast<VertexRun&>(context()) = {};
}

// Both filters of a separable one have their own length, and one pointer may be null.
TEST_F(Images, SeparableFiltersCarryTwoLines) {
  QV_CALL(glSeparableFilter2D)
  (GL_SEPARABLE_2D, GL_RGBA, 3, 2, GL_LUMINANCE, GL_UNSIGNED_BYTE, pixels.data(), pixels.data() + 100);
  std::vector<uint8_t> expected = words({(52u << 12) | 360u, 0x8012, 0x1908, 3, 2, 0x1909, 0x1401, low(), low() + 100, 4, 4});
  expected += first(4);
  expected += std::vector<uint8_t>(pixels.begin() + 100, pixels.begin() + 104);
  expectStream(expected);
  QV_CALL(glSeparableFilter2D)(GL_SEPARABLE_2D, GL_RGBA, 3, 2, GL_LUMINANCE, GL_UNSIGNED_BYTE, nullptr, pixels.data() + 100);
  expected = words({(48u << 12) | 360u, 0x8012, 0x1908, 3, 2, 0x1909, 0x1401, 0, low() + 100, 0, 4});
  expectStream(expected += std::vector<uint8_t>(pixels.begin() + 100, pixels.begin() + 104));
  context().buffers.pixelUnpack = 1;
  QV_CALL(glSeparableFilter2D)
  (GL_SEPARABLE_2D, GL_RGBA, 3, 2, GL_LUMINANCE, GL_UNSIGNED_BYTE, pixels.data(), pixels.data() + 100);
  expectStream(words({(44u << 12) | 360u, 0x8012, 0x1908, 3, 2, 0x1909, 0x1401, low(), low() + 100, 0, 0}));
}

// --- reads ---

// A read names its length and waits for it.
TEST_F(Images, ReadPixelsWaits) {
  QV_CALL(glReadPixels)(1, 2, 3, 3, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, words({0x24100, 1, 2, 3, 3, 0x1907, 0x1401, 36, low()}));
  EXPECT_EQ(host.submissions[0].replySize, 36u);
}

// Neither a read of nothing nor one into a buffer waits; one with nowhere to go is silent.
TEST_F(Images, SomeReadsDoNotWait) {
  QV_CALL(glReadPixels)(0, 0, 0, 3, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
  expectStream(words({0x24100, 0, 0, 0, 3, 0x1907, 0x1401, 0, low()}));
  context().lastOpcode = -1;
  QV_CALL(glReadPixels)(0, 0, 3, 3, 99, 99, nullptr);
  expectStream(Stream());
  EXPECT_EQ(context().lastOpcode, 256);
  EXPECT_EQ(takeError(), 0u);
  bindPackBuffer();
  QV_CALL(glReadPixels)(0, 0, 3, 3, GL_RGB, GL_UNSIGNED_BYTE, nullptr);
  expectStream(words({0x24100, 0, 0, 3, 3, 0x1907, 0x1401, 0, 0}));
  EXPECT_TRUE(host.submissions.empty());
  EXPECT_TRUE(hostHasNewer());
  QV_CALL(glReadPixels)(0, 0, 3, 3, GL_RGB, GL_BITMAP, pixels.data());
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_ENUM));
  EXPECT_FALSE(hostHasNewer());
  expectStream(Stream());
}

// glGetTexImage asks for the sizes that its target has, and waits even for nothing.
TEST_F(Images, GetTexImageAsksForItsSize) {
  host.answerAll(std::vector<GLint>{4});
  const auto opcodes = [&](GLenum target) {
    host.submissions.clear();
    QV_CALL(glGetTexImage)(target, 2, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    std::vector<std::pair<uint32_t, uint32_t>> out;
    for (const Submission& submission : host.submissions)
      out.push_back({submission.commands().back().opcode, submission.replySize});
    EXPECT_EQ(context().lastOpcode, 281);
    return out;
  };
  using All = std::vector<std::pair<uint32_t, uint32_t>>;
  EXPECT_EQ(opcodes(GL_TEXTURE_2D), (All{{285, 4}, {285, 4}, {281, 64}}));
  EXPECT_EQ(host.submissions[0].stream, words({0x1011D, 0xDE1, 2, 0x1000}));
  EXPECT_EQ(host.submissions[1].stream, words({0x1011D, 0xDE1, 2, 0x1001}));
  EXPECT_EQ(host.submissions[2].stream, words({0x1C119, 0xDE1, 2, 0x1908, 0x1401, 64, low()}));
  EXPECT_EQ(opcodes(GL_TEXTURE_1D), (All{{285, 4}, {281, 16}}));
  for (const GLenum target : {GL_TEXTURE_3D, GL_TEXTURE_2D_ARRAY, GL_TEXTURE_CUBE_MAP_ARRAY}) {
    EXPECT_EQ(opcodes(target), (All{{285, 4}, {285, 4}, {285, 4}, {281, 256}}));
    EXPECT_EQ(get<uint32_t>(host.submissions[2].stream.data() + 12), 0x8071u);
  }
  host.answerAll(std::vector<GLint>{0});
  EXPECT_EQ(opcodes(GL_TEXTURE_2D), (All{{285, 4}, {285, 4}, {281, 0}}));
}

// Into a buffer no size is needed; without one and without a pointer there is nothing to do. The host checks the format.
TEST_F(Images, GetTexImageIntoABuffer) {
  bindPackBuffer();
  QV_CALL(glGetTexImage)(GL_TEXTURE_2D, 0, 99, 99, reinterpret_cast<void*>(64));
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, words({0x1C119, 0xDE1, 0, 99, 99, 0, 64}));
  EXPECT_TRUE(hostHasNewer());
  context().buffers.pixelPack = 0;
  host.submissions.clear();
  QV_CALL(glGetTexImage)(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  EXPECT_TRUE(host.submissions.empty());
  expectStream(Stream());
}

// A compressed image's length is the host's; a length below zero is none.
TEST_F(Images, GetCompressedTexImageAsksForItsLength) {
  host.answerAll(std::vector<GLint>{32});
  QV_CALL(glGetCompressedTexImage)(GL_TEXTURE_2D, 1, pixels.data());
  ASSERT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(host.submissions[0].stream, words({0x1011D, 0xDE1, 1, 0x86A0}));
  EXPECT_EQ(host.submissions[1].stream, words({0x141A3, 0xDE1, 1, 32, low()}));
  EXPECT_EQ(host.submissions[1].replySize, 32u);
  host.answerAll(std::vector<GLint>{-5});
  QV_CALL(glGetCompressedTexImage)(GL_TEXTURE_2D, 1, pixels.data());
  EXPECT_EQ(host.submissions[3].stream, words({0x141A3, 0xDE1, 1, 0, low()}));
  EXPECT_EQ(host.submissions[3].replySize, 0u);
  host.submissions.clear();
  QV_CALL(glGetCompressedTexImage)(GL_TEXTURE_2D, 1, nullptr);
  EXPECT_EQ(host.submissions.size(), 1u);
  bindPackBuffer();
  QV_CALL(glGetCompressedTexImage)(GL_TEXTURE_2D, 1, pixels.data());
  EXPECT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(host.submissions[1].stream, words({0x141A3, 0xDE1, 1, 0, low()}));
  EXPECT_TRUE(hostHasNewer());
}

// The name of a deleted buffer still keeps pixels back, but no buffer takes them: a read without a pointer is silent.
TEST_F(Images, DeletedPackBuffersTakeNothing) {
  context().buffers.pixelPack = 5;
  QV_CALL(glReadPixels)(0, 0, 3, 3, GL_RGB, GL_UNSIGNED_BYTE, nullptr);
  expectStream(Stream());
  QV_CALL(glReadPixels)(0, 0, 3, 3, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
  expectStream(words({0x24100, 0, 0, 3, 3, 0x1907, 0x1401, 0, low()}));
  EXPECT_TRUE(host.submissions.empty());
}

// The small reads: size, command, flush.
TEST_F(Images, SmallReadsKnowTheirLength) {
  const auto lastIs = [&](const std::vector<uint8_t>& stream, uint32_t reply) {
    EXPECT_EQ(host.submissions.back().stream, stream);
    EXPECT_EQ(host.submissions.back().replySize, reply);
  };
  QV_CALL(glGetPolygonStipple)(pixels.data());
  lastIs(words({0xC112, 128, low()}), 128);
  host.answerAll(std::vector<GLint>{5});
  QV_CALL(glGetPixelMapusv)(GL_PIXEL_MAP_R_TO_R, reinterpret_cast<GLushort*>(pixels.data()));
  lastIs(words({0x10111, 0xC76, 10, low()}), 10);
  QV_CALL(glGetPixelMapfv)(GL_PIXEL_MAP_R_TO_R, reinterpret_cast<GLfloat*>(pixels.data()));
  lastIs(words({0x1010F, 0xC76, 20, low()}), 20);
  QV_CALL(glGetColorTable)(GL_COLOR_TABLE, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
  lastIs(words({0x14157, 0x80D0, 0x1907, 0x1401, 16}), 16);
  QV_CALL(glGetConvolutionFilter)(GL_CONVOLUTION_2D, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
  lastIs(words({0x18164, 0x8011, 0x1907, 0x1401, 16, low()}), 16);
  QV_CALL(glGetHistogram)(GL_HISTOGRAM, GL_TRUE, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
  lastIs(words({0x1C169, 0x8024, 1, 0x1907, 0x1401, 16, low()}), 16);
  QV_CALL(glGetMinmax)(GL_MINMAX, GL_FALSE, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
  lastIs(words({0x1C16C, 0x802E, 0, 0x1907, 0x1401, 8, low()}), 8);
  QV_CALL(glGetColorTableParameteriv)(GL_COLOR_TABLE, GL_COLOR_TABLE_SCALE, reinterpret_cast<GLint*>(pixels.data()));
  lastIs(words({0xC159, 0x80D0, 0x80D6}), 16);
  QV_CALL(glGetColorTableParameterfv)(GL_COLOR_TABLE, GL_COLOR_TABLE_WIDTH, reinterpret_cast<GLfloat*>(pixels.data()));
  lastIs(words({0xC158, 0x80D0, 0x80D9}), 4);
}

// A separable filter comes back in two buffers, its row sized by the width and its column by the height.
TEST_F(Images, SeparableFiltersComeInTwoBuffers) {
  host.answer(0x8012, std::vector<GLint>{7});
  QV_CALL(glGetSeparableFilter)(GL_SEPARABLE_2D, GL_LUMINANCE, GL_UNSIGNED_BYTE, pixels.data(), pixels.data() + 100, nullptr);
  ASSERT_EQ(host.submissions.size(), 3u);
  EXPECT_EQ(host.submissions[0].stream, words({0xC166, 0x8012, 0x8018}));
  EXPECT_EQ(host.submissions[1].stream, words({0xC166, 0x8012, 0x8019}));
  EXPECT_EQ(host.submissions[2].stream, words({0x24167, 0x8012, 0x1909, 0x1401, 0, 8, 8, low(), low() + 100}));
  EXPECT_EQ(host.submissions[2].replySize, 8u);
  EXPECT_EQ(host.submissions[2].reply2Size, 8u);
}

// Every small read into a pack buffer has no reply.
TEST_F(Images, PackBuffersTakeSmallReadsToo) {
  bindPackBuffer();
  host.answerAll(std::vector<GLint>{5});
  QV_CALL(glGetPolygonStipple)(pixels.data());
  EXPECT_EQ(host.submissions.back().stream, words({0xC112, 0, low()}));
  EXPECT_TRUE(hostHasNewer());
  QV_CALL(glGetPixelMapuiv)(GL_PIXEL_MAP_R_TO_R, reinterpret_cast<GLuint*>(pixels.data()));
  EXPECT_EQ(host.submissions.back().stream, words({0x10110, 0xC76, 0, low()}));
  QV_CALL(glGetMinmax)(GL_MINMAX, GL_FALSE, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
  EXPECT_EQ(host.submissions.back().replySize, 0u);
  EXPECT_TRUE(hostHasNewer());
  QV_CALL(glGetColorTable)(GL_COLOR_TABLE, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
  EXPECT_TRUE(hostHasNewer());
}

// All textures are resident when every byte of the answer says so.
TEST_F(Images, ResidenceIsOfAll) {
  const GLuint names[] = {7, 8};
  GLboolean residences[] = {9, 9};
  host.answerAll(std::vector<uint8_t>{1, 1});
  EXPECT_EQ(QV_CALL(glAreTexturesResident)(2, names, residences), GL_TRUE);
  EXPECT_EQ(host.submissions.back().stream, words({0x10146, 2, 7, 8}));
  EXPECT_EQ(host.submissions.back().replySize, 2u);
  host.answerAll(std::vector<uint8_t>{1, 0});
  EXPECT_EQ(QV_CALL(glAreTexturesResident)(2, names, residences), GL_FALSE);
  EXPECT_EQ(residences[1], GL_FALSE);
  EXPECT_EQ(QV_CALL(glAreTexturesResident)(-2, names, residences), GL_FALSE);
  EXPECT_EQ(host.submissions.back().stream, words({0x8146, 0xFFFFFFFE}));
  EXPECT_EQ(QV_CALL(glAreTexturesResident)(0, names, residences), GL_TRUE);
}

// Copies and storage are their arguments in order.
TEST_F(Images, CopiesAndStorageAreFixedCommands) {
  QV_CALL(glCopyTexSubImage2D)(GL_TEXTURE_2D, 0, 1, 2, 3, 4, 5, 6);
  expectStream(words({0x24143, 0xDE1, 0, 1, 2, 3, 4, 5, 6}));
  QV_CALL(glTexStorage2D)(GL_TEXTURE_2D, 1, 0x8058, 4, 4);
  expectStream(words({0x1891E, 0xDE1, 1, 0x8058, 4, 4}));
  QV_CALL(glGenerateMipmap)(GL_TEXTURE_2D);
  expectStream(words({0x860F, 0xDE1}));
}

}  // namespace
}  // namespace qv::test
