// Images on the host: what an OpenGL is known to read or write wrongly comes out right, and no image of a guest makes it read or
// write elsewhere.
#include <gtest/gtest.h>

#include <numeric>

#include "peer/host/egl_display.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replayer.h"
#include "tests/peer/test_guest.h"
#include "tests/support/guarded_memory.h"
#include "wire/image_size.h"

namespace qv::peer::test {
namespace {

using V = std::vector<uint8_t>;
constexpr uint32_t kGenerateMipmap = 1551;

// A replayer whose stretches end at memory that cannot be read.
class HostImages : public testing::Test {
 protected:
  void SetUp() override {
    display = EglDisplay::get();
    ASSERT_NE(display, nullptr);
    surface = display->createSurface({}, 64, 64);
    context = display->createContext({}, EGL_NO_CONTEXT);
    ASSERT_TRUE(display->makeCurrent(surface, context));
  }
  void TearDown() override {
    EXPECT_EQ(gl.glGetError(), 0u);
    display->release();
    display->destroyContext(context);
    display->destroySurface(surface);
  }

  Replayer::Outcome replay(const Stream& stream, uint32_t room = ~0u) {
    GuardedMemory memory(stream.data.size());
    std::copy(stream.data.begin(), stream.data.end(), memory.data());
    const auto bytes = static_cast<uint32_t>(stream.data.size());
    replayer.begin(room, room);
    return replayer.replay(memory.data(), bytes, bytes).outcome;
  }
  void run(const Stream& stream) { ASSERT_EQ(replay(stream), Replayer::Outcome::Done) << replayer.complaint(); }
  // What a guest has in `bytes` bytes of 0xAA after a read; nothing beyond them can be written.
  V read(const Stream& stream, uint32_t bytes) {
    EXPECT_EQ(replay(stream, bytes), Replayer::Outcome::Done) << replayer.complaint();
    V out(bytes, 0xAA);
    const V& reply = replayer.reply();
    const ReplyRows rows = replayer.replyRows();
    EXPECT_TRUE(rows.fits(static_cast<uint32_t>(reply.size()), bytes));
    for (uint32_t at = 0; at < reply.size();) {
      const ReplyRows::Place place = rows.isImage() ? rows.placeOf(at) : ReplyRows::Place{0, static_cast<uint32_t>(reply.size())};
      std::copy_n(reply.begin() + at, place.bytes, out.begin() + static_cast<std::ptrdiff_t>(place.offset));
      at += place.bytes;
    }
    return out;
  }
  uint32_t error() {
    EXPECT_EQ(replay(Stream().add(kGetError)), Replayer::Outcome::Done);
    uint32_t value = 0;
    std::memcpy(&value, replayer.reply().data(), sizeof value);
    return value;
  }
  template <typename... T>
  static Stream store(T... namesAndValues) {
    const uint32_t words[] = {static_cast<uint32_t>(namesAndValues)...};
    Stream stream;
    for (size_t i = 0; i < sizeof...(T); i += 2) stream.add(kPixelStorei, words[i], words[i + 1]);
    return stream;
  }
  // A command of words, a pointer that is not null, the count of its bytes, and the bytes.
  static Stream upload(uint32_t opcode, const std::vector<uint32_t>& scalars, const V& data) {
    V payload;
    for (const uint32_t word : scalars) Stream::append(payload, word);
    Stream::append(payload, uint32_t{16});
    Stream::append(payload, static_cast<uint32_t>(data.size()));
    return Stream().large(opcode, payload += data);
  }
  static Stream pixelMap(uint32_t map, const std::vector<float>& values) {
    const auto count = static_cast<uint32_t>(values.size());
    V payload = words({map, count, 16, count});
    return Stream().bytes(kPixelMapfv, payload += floats(values));
  }
  // The red components of the bound texture, a byte each.
  V reds(uint32_t target, uint32_t bytes) {
    run(store(GL_PACK_ALIGNMENT, 1));
    V out = read(Stream().add(kGetTexImage, target, 0, GL_RED, GL_UNSIGNED_BYTE, bytes, 1u), bytes);
    run(store(GL_PACK_ALIGNMENT, 4));
    return out;
  }
  static V counting(size_t bytes) {
    V out(bytes);
    std::iota(out.begin(), out.end(), uint8_t{1});
    return out;
  }

  LogCapture log;
  EglDisplay* display = nullptr;
  EGLSurface surface = EGL_NO_SURFACE;
  EGLContext context = EGL_NO_CONTEXT;
  Replayer replayer;
};

// --- uploads ---

// The image layout comes back with the client attribute stack, if it was saved: uploads behind the pop are read by it again.
TEST_F(HostImages, LayoutComesBackWithTheClientStack) {
  uint8_t last = 0;  // each image has values of its own
  const auto load = [&](bool padded) {
    V data, expected;
    for (int row = 0; row < 2; ++row) {
      for (int i = 0; i < 3; ++i) expected.push_back(++last), data.push_back(last);
      if (padded) data.push_back(0xEE);
    }
    run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_RED, 3, 2, 0, GL_RED, GL_UNSIGNED_BYTE}, data));
    EXPECT_EQ(reds(GL_TEXTURE_2D, 6), expected);
  };
  load(true);
  for (const uint32_t mask : {GL_CLIENT_PIXEL_STORE_BIT, GL_CLIENT_VERTEX_ARRAY_BIT}) {
    run(store(GL_UNPACK_ALIGNMENT, 4));
    run(Stream().add(kPushClientAttrib, mask));
    run(store(GL_UNPACK_ALIGNMENT, 1));
    load(false);
    run(Stream().add(kPopClientAttrib));
    load(mask == GL_CLIENT_PIXEL_STORE_BIT);
  }
  EXPECT_EQ(error(), 0u);
}

// Swapped components come out right from rows with a length and skipped pixels, which some OpenGLs write beyond their memory for.
TEST_F(HostImages, SwappedComponentsWithARowLength) {
  constexpr uint32_t kRow = 5, kPixel = 8;
  V data((1 + 2 * kRow + 3) * kPixel, 0);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 7 + 3);
  run(store(GL_UNPACK_SWAP_BYTES, 1, GL_UNPACK_ROW_LENGTH, kRow, GL_UNPACK_SKIP_PIXELS, 1));
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_RGBA16, 3, 3, 0, GL_RGBA, GL_UNSIGNED_SHORT}, data));
  V expected;
  for (uint32_t y = 0; y < 3; ++y) {
    for (uint32_t i = 0; i < 3 * kPixel; i += 2) {
      const uint8_t* const at = &data[(1 + y * kRow) * kPixel + i];
      expected.insert(expected.end(), {at[1], at[0]});
    }
  }
  EXPECT_EQ(read(Stream().add(kGetTexImage, GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_SHORT, 72u, 1u), 72), expected);
}

// A pixel of two components of four bytes is swapped four bytes at a time.
TEST_F(HostImages, SwappedDepthAndStencil) {
  run(store(GL_UNPACK_SWAP_BYTES, 1, GL_UNPACK_SKIP_ROWS, 1));
  V data(8, 0xEE);
  data += {0x3F, 0x00, 0, 0, 0, 0, 0, 0x55};  // 0.5 and 0x55 behind a skipped row
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_DEPTH32F_STENCIL8, 1, 1, 0, GL_DEPTH_STENCIL, GL_FLOAT_32_UNSIGNED_INT_24_8_REV},
             data));
  const V back =
      read(Stream().add(kGetTexImage, GL_TEXTURE_2D, 0, GL_DEPTH_STENCIL, GL_FLOAT_32_UNSIGNED_INT_24_8_REV, 8u, 1u), 8);
  EXPECT_EQ(V(back.begin(), back.begin() + 5), (V{0, 0, 0, 0x3F, 0x55}));
}

// Colour indices of padded rows go through the pixel maps row by row.
TEST_F(HostImages, IndicesInPaddedRows) {
  run(pixelMap(GL_PIXEL_MAP_I_TO_R, {0, 0.25f, 0.5f, 1}));
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_RGBA8, 3, 2, 0, GL_COLOR_INDEX, GL_UNSIGNED_BYTE}, {0, 1, 2, 9, 3, 2, 1}));
  EXPECT_EQ(reds(GL_TEXTURE_2D, 6), (V{0, 64, 128, 255, 128, 64}));
}

// Bits of colour indices are pixels of the map's first two entries, in rows of whole bytes.
TEST_F(HostImages, BitsAsATexture) {
  run(pixelMap(GL_PIXEL_MAP_I_TO_R, {0, 1}));
  run(store(GL_UNPACK_ALIGNMENT, 1, GL_UNPACK_SKIP_PIXELS, 3, GL_UNPACK_ROW_LENGTH, 20));
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_RGBA8, 6, 2, 0, GL_COLOR_INDEX, GL_BITMAP}, {0x15, 0x40, 0, 0x08, 0x80}));
  EXPECT_EQ(reds(GL_TEXTURE_2D, 12), (V{255, 0, 255, 0, 255, 0, 0, 255, 0, 0, 0, 255}));
  run(store(GL_UNPACK_LSB_FIRST, 1));
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_RGBA8, 6, 2, 0, GL_COLOR_INDEX, GL_BITMAP}, {0xA8, 0x02, 0, 0x10, 0x01}));
  EXPECT_EQ(reds(GL_TEXTURE_2D, 12), (V{255, 0, 255, 0, 255, 0, 0, 255, 0, 0, 0, 255}));
}

// Bits are stencil values as well; some OpenGLs never return from these calls. Bits beside the image stay.
TEST_F(HostImages, StencilBits) {
  run(store(GL_UNPACK_ALIGNMENT, 1, GL_PACK_ALIGNMENT, 1));
  run(Stream().add(kWindowPos2i, 0, 0));
  run(upload(kDrawPixels, {10, 2, GL_STENCIL_INDEX, GL_BITMAP}, {0xA5, 0x40, 0x0F, 0x80}));
  const auto readBits = [&](uint32_t type, uint32_t bytes) {
    return read(Stream().add(kReadPixels, 0, 0, 10, 2, GL_STENCIL_INDEX, type, bytes, 1u), bytes);
  };
  EXPECT_EQ(readBits(GL_UNSIGNED_BYTE, 20), (V{1, 0, 1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 0, 0, 1, 1, 1, 1, 1, 0}));
  EXPECT_EQ(readBits(GL_BITMAP, 4), (V{0xA5, 0x40, 0x0F, 0x80}));
  run(store(GL_PACK_LSB_FIRST, 1, GL_PACK_ROW_LENGTH, 24));
  EXPECT_EQ(readBits(GL_BITMAP, 5), (V{0xA5, 0x02, 0xAA, 0xF0, 0x01}));
}

// Bits are of indices and stencil values alone: OpenGL refuses other formats, uploads and reads.
TEST_F(HostImages, BitsOfColorsAreRefused) {
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_RGBA8, 8, 1, 0, GL_RED, GL_UNSIGNED_BYTE}, counting(8)));
  EXPECT_EQ(error(), uint32_t{GL_NO_ERROR});
  for (const uint32_t format : {GL_RED, GL_LUMINANCE, GL_DEPTH_COMPONENT}) {
    run(upload(kTexSubImage2D, {GL_TEXTURE_2D, 0, 0, 0, 8, 1, format, GL_BITMAP}, {0xFF}));
    EXPECT_NE(error(), uint32_t{GL_NO_ERROR});
    EXPECT_EQ(reds(GL_TEXTURE_2D, 8), counting(8));
    EXPECT_EQ(read(Stream().add(kGetTexImage, GL_TEXTURE_2D, 0, format, GL_BITMAP, 1u, 1u), 1), V{0xAA});
    EXPECT_NE(error(), uint32_t{GL_NO_ERROR});
  }
}

// Offsets and sizes whose sum wraps are errors of OpenGL's.
TEST_F(HostImages, FarPlacesAreRefused) {
  const uint32_t far = 0x7FFFFFFF;
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_RGBA8, 4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE}, V(64)));
  run(upload(kTexImage1D, {GL_TEXTURE_1D, 0, GL_RGBA8, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE}, V(16)));
  run(upload(kTexImage3D, {GL_TEXTURE_3D, 0, GL_RGBA8, 2, 2, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE}, V(32)));
  for (const Stream& one : {
           upload(kTexSubImage2D, {GL_TEXTURE_2D, 0, far, 0, 4, 4, GL_RGBA, GL_UNSIGNED_BYTE}, V(64)),
           upload(kTexSubImage2D, {GL_TEXTURE_2D, 0, 0, far - 1, 4, 4, GL_RGBA, GL_UNSIGNED_BYTE}, V(64)),
           upload(kTexSubImage2D, {GL_TEXTURE_2D, far, 0, 0, 4, 4, GL_RGBA, GL_UNSIGNED_BYTE}, V(64)),
           upload(kTexSubImage1D, {GL_TEXTURE_1D, 0, far, 4, GL_RGBA, GL_UNSIGNED_BYTE}, V(16)),
           upload(kTexSubImage3D, {GL_TEXTURE_3D, 0, 0, 0, far, 2, 2, 2, GL_RGBA, GL_UNSIGNED_BYTE}, V(32)),
           upload(kTexSubImage2D, {GL_TEXTURE_2D, 0, 1, 1, far, far, GL_RGBA, GL_UNSIGNED_BYTE}, {}),
           upload(kCompressedTexSubImage2D, {GL_TEXTURE_2D, 0, far, far, 4, 4, 0x83F1, 8}, V(8)),
           Stream().add(kReadPixels, far, far, far, 1, GL_RGBA, GL_UNSIGNED_BYTE, 16u, 1u),
           Stream().add(kGetTexImage, GL_TEXTURE_2D, far, GL_RGBA, GL_UNSIGNED_BYTE, 16u, 1u),
           Stream().add(kGetCompressedTexImage, GL_TEXTURE_2D, far, 16u, 1u),
       }) {
    run(one);
    if (!log.take().empty()) continue;  // passed over
    EXPECT_NE(error(), uint32_t{GL_NO_ERROR});
  }
}

// A refused size of compressed data is OpenGL's error.
TEST_F(HostImages, NegativeSizesOfCompressedDataAreRefused) {
  run(upload(kCompressedTexImage2D, {GL_TEXTURE_2D, 0, 0x83F1, 4, 4, 0, 8}, V(8)));
  EXPECT_EQ(error(), uint32_t{GL_NO_ERROR});
  run(upload(kCompressedTexSubImage2D, {GL_TEXTURE_2D, 0, 0, 0, 4, 4, 0x83F1, 0xFFFFFFFF}, {}));
  EXPECT_EQ(error(), uint32_t{GL_INVALID_VALUE});
}

// Levels are made of the first one's size, whatever image stands beyond them: some OpenGLs make compressed levels up to that image
// and write behind their memory.
TEST_F(HostImages, GeneratedLevelsEndWithTheirSize) {
  const auto level = [&](uint32_t number, uint32_t name) {
    uint32_t value = 0;
    std::memcpy(&value, read(Stream().add(kGetTexLevelParameteriv, GL_TEXTURE_2D, number, name), 4).data(), 4);
    return value;
  };
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 3, GL_RGBA8, 24, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE}, {}));
  run(Stream().add(kGenerateMipmap, GL_TEXTURE_2D));
  EXPECT_EQ(error(), uint32_t{GL_INVALID_OPERATION});  // there is no first one
  run(upload(kCompressedTexImage2D, {GL_TEXTURE_2D, 0, 0x83F1, 4, 4, 0, 8}, V(8)));
  // In a list the limit would be recorded.
  run(Stream().add(kNewList, 1u, GL_COMPILE_AND_EXECUTE).add(kGenerateMipmap, GL_TEXTURE_2D).add(kEndList));
  EXPECT_EQ(log.take().size(), 1u);
  EXPECT_EQ(level(1, GL_TEXTURE_WIDTH), 0u);
  run(Stream().add(kGenerateMipmap, GL_TEXTURE_2D));
  EXPECT_EQ(error(), uint32_t{GL_NO_ERROR});
  EXPECT_EQ(level(1, GL_TEXTURE_WIDTH), 2u);
  EXPECT_EQ(level(2, GL_TEXTURE_WIDTH), 1u);
  EXPECT_EQ(level(3, GL_TEXTURE_WIDTH), 24u);
  EXPECT_EQ(read(Stream().add(kGetTexParameteriv, GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL), 4), words({1000}));
}

// The same where OpenGL is told to make the levels by itself, whenever the first one is filled.
TEST_F(HostImages, LevelsThatMakeThemselvesEndWithTheirSize) {
  const auto width = [&](uint32_t number) {
    return read(Stream().add(kGetTexLevelParameteriv, GL_TEXTURE_2D, number, GL_TEXTURE_WIDTH), 4)[0];
  };
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 3, GL_RGBA8, 24, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE}, {}));
  run(Stream().add(kTexParameteri, GL_TEXTURE_2D, GL_GENERATE_MIPMAP, 1));
  run(upload(kCompressedTexImage2D, {GL_TEXTURE_2D, 0, 0x83F1, 4, 4, 0, 8}, V(8)));
  EXPECT_EQ(width(1), 2);
  EXPECT_EQ(width(2), 1);
  EXPECT_EQ(width(3), 24);
  // A red block in place of the black one.
  run(upload(kCompressedTexSubImage2D, {GL_TEXTURE_2D, 0, 0, 0, 4, 4, 0x83F1, 8}, {0, 0xF8, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(read(Stream().add(kGetTexImage, GL_TEXTURE_2D, 2, GL_RED, GL_UNSIGNED_BYTE, 1u, 1u), 1), V{255});
  EXPECT_EQ(width(3), 24);
  EXPECT_EQ(read(Stream().add(kGetTexParameteriv, GL_TEXTURE_2D, GL_GENERATE_MIPMAP), 4), words({1}));
  EXPECT_EQ(error(), uint32_t{GL_NO_ERROR});
  // What OpenGL refuses makes no levels.
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_RGBA8, 8, 8, 0, 0x1234, GL_UNSIGNED_BYTE}, {}));
  EXPECT_EQ(error(), uint32_t{GL_INVALID_ENUM});
  EXPECT_EQ(width(0), 4);
}

// Compressed data may be missing: the image has its size all the same.
TEST_F(HostImages, CompressedImagesNeedNoData) {
  run(upload(kCompressedTexImage2D, {GL_TEXTURE_2D, 0, 0x83F1, 4, 4, 0, 8}, {}));
  EXPECT_EQ(read(Stream().add(kGetTexLevelParameteriv, GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH), 4)[0], 4);
  EXPECT_EQ(error(), uint32_t{GL_NO_ERROR});
}

// What lies in an unpack buffer is swapped as well, and the buffer stays bound.
TEST_F(HostImages, BuffersAreSwapped) {
  V data = words({GL_PIXEL_UNPACK_BUFFER, 8, 1, GL_STREAM_DRAW, 8});
  run(Stream().add(kBindBuffer, GL_PIXEL_UNPACK_BUFFER, 5u).bytes(kBufferData, data += {0, 0, 0x12, 0x34, 0x56, 0x78, 0, 0}));
  run(store(GL_UNPACK_SWAP_BYTES, 1, GL_UNPACK_SKIP_PIXELS, 1));
  const auto image = Stream().bytes(kTexImage2D, words({GL_TEXTURE_2D, 0, GL_R16, 2, 1, 0, GL_RED, GL_UNSIGNED_SHORT, 0, 0}));
  for (int i = 0; i < 2; ++i) {
    run(image);
    const V back = read(Stream().add(kGetTexImage, GL_TEXTURE_2D, 0, GL_RED, GL_UNSIGNED_SHORT, 4u, 1u), 4);
    EXPECT_EQ(back, (V{0x34, 0x12, 0x78, 0x56}));
  }
  EXPECT_EQ(error(), uint32_t{GL_NO_ERROR});
}

// --- pixel store ---

// What is pushed comes back: rows lie again as they did before.
TEST_F(HostImages, PixelStoresAreSaved) {
  const auto redsOf = [&](const V& data) {
    run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_RGB8, 3, 2, 0, GL_RGB, GL_UNSIGNED_BYTE}, data));
    return reds(GL_TEXTURE_2D, 6);
  };
  const V expected = {1, 4, 7, 13, 16, 19};  // rows of 12 bytes
  EXPECT_EQ(redsOf(counting(24)), expected);
  run(Stream().add(kPushClientAttrib, GL_CLIENT_PIXEL_STORE_BIT));
  run(store(GL_UNPACK_ALIGNMENT, 1));
  EXPECT_EQ(redsOf(counting(18)), (V{1, 4, 7, 10, 13, 16}));
  run(Stream().add(kPopClientAttrib));
  EXPECT_EQ(redsOf(counting(24)), expected);
  // A push for other state alone saves nothing of it.
  run(Stream().add(kPushClientAttrib, GL_CLIENT_VERTEX_ARRAY_BIT));
  run(store(GL_UNPACK_ALIGNMENT, 1));
  run(Stream().add(kPopClientAttrib));
  EXPECT_EQ(redsOf(counting(18)), (V{1, 4, 7, 10, 13, 16}));
}

// Numbers that come as reals count as those that come whole; flags are set by negative ones, too.
TEST_F(HostImages, RealPixelStoresCount) {
  const auto swapped = [&](float value) {
    run(Stream().add(kPixelStoref, GL_UNPACK_SWAP_BYTES, value));
    run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_R16, 1, 1, 0, GL_RED, GL_UNSIGNED_SHORT}, {0x12, 0x34}));
    return read(Stream().add(kGetTexImage, GL_TEXTURE_2D, 0, GL_RED, GL_UNSIGNED_SHORT, 2u, 1u), 2) == V{0x34, 0x12};
  };
  EXPECT_TRUE(swapped(1));
  EXPECT_FALSE(swapped(0));
  EXPECT_TRUE(swapped(-1));
  EXPECT_FALSE(swapped(0));
  EXPECT_TRUE(swapped(-2147483648.0f));
  EXPECT_TRUE(swapped(2147483648.0f));  // no number that a guest sends: nothing changes
  EXPECT_FALSE(swapped(0));
  run(Stream().add(kPixelStoref, GL_UNPACK_SKIP_PIXELS, 2.0f).add(kPixelStoref, GL_UNPACK_ALIGNMENT, 1.0f));
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_R8, 3, 1, 0, GL_RED, GL_UNSIGNED_BYTE}, counting(5)));
  EXPECT_EQ(reds(GL_TEXTURE_2D, 3), (V{3, 4, 5}));
}

// --- reads ---

// The layers of a one-dimensional array are rows: the image height moves nothing.
TEST_F(HostImages, OneDimensionalArraysAreFlat) {
  const V data = counting(96);
  run(store(GL_UNPACK_ALIGNMENT, 1, GL_UNPACK_IMAGE_HEIGHT, 16, GL_UNPACK_SKIP_IMAGES, 3));
  run(upload(kTexImage2D, {GL_TEXTURE_1D_ARRAY, 0, GL_R8, 12, 8, 0, GL_RED, GL_UNSIGNED_BYTE}, data));
  run(store(GL_PACK_IMAGE_HEIGHT, 16, GL_PACK_SKIP_IMAGES, 2));
  EXPECT_EQ(reds(GL_TEXTURE_1D_ARRAY, 96), data);
}

// What lies between the rows, before them and between the images stays as it is, rows that overlap included.
TEST_F(HostImages, GapsStay) {
  for (const int32_t height : {4, 1}) {
    const V data = counting(static_cast<size_t>(3 * height * 2));
    run(store(GL_UNPACK_ALIGNMENT, 1));
    run(upload(kTexImage3D, {GL_TEXTURE_3D, 0, GL_R8, 3, static_cast<uint32_t>(height), 2, 0, GL_RED, GL_UNSIGNED_BYTE}, data));
    struct Case {
      int32_t alignment, rowLength, imageHeight, skipPixels, skipRows, skipImages;
    };
    for (const Case& c : {Case{1, 0, 0, 0, 0, 0},
                          {4, 0, 0, 0, 0, 0},
                          {1, 7, 0, 0, 0, 0},
                          {1, 7, 6, 2, 1, 1},
                          {2, 0, 5, 1, 0, 0},
                          {1, 2, 0, 0, 0, 0},
                          {1, 1, 9, 0, 0, 0},
                          {1, 7, 2, 0, 0, 0},
                          {4, 2, 3, 3, 0, 1},
                          {1, 1, 1, 0, 0, 0},
                          {1, 5, 1, 0, 2, 0}}) {
      run(store(GL_PACK_ALIGNMENT, c.alignment, GL_PACK_ROW_LENGTH, c.rowLength, GL_PACK_IMAGE_HEIGHT, c.imageHeight,
                GL_PACK_SKIP_PIXELS, c.skipPixels, GL_PACK_SKIP_ROWS, c.skipRows, GL_PACK_SKIP_IMAGES, c.skipImages));
      const int32_t row = c.rowLength != 0 ? c.rowLength : 3, stride = (row + c.alignment - 1) / c.alignment * c.alignment;
      const int32_t imageStride = stride * (c.imageHeight != 0 ? c.imageHeight : height);
      V expected(400, 0xAA);
      for (int32_t k = 0; k < 2; ++k) {
        for (int32_t j = 0; j < height; ++j) {
          for (int32_t i = 0; i < 3; ++i) {
            expected[static_cast<size_t>((c.skipImages + k) * imageStride + (c.skipRows + j) * stride + c.skipPixels + i)] =
                data[static_cast<size_t>((k * height + j) * 3 + i)];
          }
        }
      }
      EXPECT_EQ(read(Stream().add(kGetTexImage, GL_TEXTURE_3D, 0, GL_RED, GL_UNSIGNED_BYTE, 400u, 1u), 400), expected)
          << "row length " << c.rowLength << ", image height " << c.imageHeight;
    }
  }
}

// A read that OpenGL refuses leaves the guest's memory alone, and its error is kept, though the guest has no room.
TEST_F(HostImages, RefusedReadsWriteNothing) {
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_RGBA8, 4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE}, V(64)));
  const V untouched(64, 0xAA);
  EXPECT_EQ(read(Stream().add(kReadPixels, 0, 0, 4, 4, GL_RGBA_INTEGER, GL_UNSIGNED_BYTE, 64u, 1u), 64), untouched);
  EXPECT_EQ(error(), uint32_t{GL_INVALID_OPERATION});
  EXPECT_EQ(read(Stream().add(kGetTexImage, GL_TEXTURE_2D, 0, GL_DEPTH_COMPONENT, GL_FLOAT, 64u, 1u), 64), untouched);
  EXPECT_EQ(error(), uint32_t{GL_INVALID_OPERATION});
  EXPECT_EQ(read(Stream().add(kGetTexImage, GL_TEXTURE_2D, 40, GL_RGBA, GL_UNSIGNED_BYTE, 64u, 1u), 64), untouched);
  EXPECT_EQ(error(), uint32_t{GL_INVALID_VALUE});
  run(upload(kTexImage2D, {GL_PROXY_TEXTURE_2D, 0, GL_RGBA8, 4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE}, {}));
  run(Stream().add(kGetTexImage, GL_PROXY_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, 0u, 1u));
  EXPECT_EQ(error(), uint32_t{GL_INVALID_ENUM});
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

// Bits go into a pack buffer as they go into memory; bits beside them stay, and a buffer that is too short takes nothing.
TEST_F(HostImages, BitsIntoAPackBuffer) {
  run(store(GL_UNPACK_ALIGNMENT, 1, GL_PACK_ALIGNMENT, 2));
  run(Stream().add(kWindowPos2i, 0, 0));
  run(upload(kDrawPixels, {10, 2, GL_STENCIL_INDEX, GL_BITMAP}, {0xA5, 0x40, 0x0F, 0x80}));
  V data = words({GL_PIXEL_PACK_BUFFER, 12, 1, GL_STREAM_READ, 12});
  run(Stream().add(kBindBuffer, GL_PIXEL_PACK_BUFFER, 5u).bytes(kBufferData, data += V(12, 0x33)));
  const auto contents = [&] { return read(Stream().add(kGetBufferSubData, GL_PIXEL_PACK_BUFFER, 0u, 12u), 12); };
  run(store(GL_PACK_SKIP_PIXELS, 3));
  run(Stream().add(kReadPixels, 0, 0, 10, 2, GL_STENCIL_INDEX, GL_BITMAP, 0u, 5u));
  EXPECT_EQ(replayer.reply().size(), 0u);
  EXPECT_EQ(contents(), (V{0x33, 0x33, 0x33, 0x33, 0x33, 0x34, 0xAB, 0x21, 0xF3, 0x33, 0x33, 0x33}));
  run(store(GL_PACK_LSB_FIRST, 1, GL_PACK_SKIP_PIXELS, 0));
  run(Stream().add(kReadPixels, 0, 0, 10, 1, GL_STENCIL_INDEX, GL_BITMAP, 0u, 10u));
  EXPECT_EQ(contents(), (V{0x33, 0x33, 0x33, 0x33, 0x33, 0x34, 0xAB, 0x21, 0xF3, 0x33, 0xA5, 0x32}));
  EXPECT_EQ(error(), uint32_t{GL_NO_ERROR});
  run(Stream().add(kReadPixels, 0, 0, 10, 2, GL_STENCIL_INDEX, GL_BITMAP, 0u, 9u));
  EXPECT_EQ(error(), uint32_t{GL_INVALID_OPERATION});
  run(Stream().add(kGetPolygonStipple, 0u, 0u));
  EXPECT_EQ(error(), uint32_t{GL_INVALID_OPERATION});
  EXPECT_EQ(contents()[11], 0x32);
}

// An image that a sharing context makes larger between the question for its size and the read is not written behind the reply,
// with OpenGL's bounded function and without it.
TEST_F(HostImages, ImagesThatGrowBeforeTheReadAreRefused) {
  static GlFunctions real;
  const OwnGlFunctions own = ownGl;
  ASSERT_NE(own.glGetnTexImageARB, nullptr);
  real = gl;
  for (const bool bounded : {true, false}) {
    ownGl = bounded ? own : OwnGlFunctions{};
    run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_RGBA8, 4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE}, counting(64)));
    const Stream question = Stream().add(kGetTexImage, GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, 64u, 1u);
    EXPECT_EQ(read(question, 64), counting(64));
    gl.glGetTexLevelParameteriv = [](GLenum target, GLint level, GLenum pname, GLint* value) {
      real.glGetTexLevelParameteriv(target, level, pname, value);
      if (pname == GL_TEXTURE_DEPTH) real.glTexImage2D(target, 0, GL_RGBA8, 1024, 1024, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    };
    EXPECT_EQ(read(question, 64), V(64, 0xAA));
    EXPECT_EQ(error(), uint32_t{GL_INVALID_OPERATION});
    gl = real;
    constexpr uint32_t kFormat = 0x83F1;  // blocks of 4 * 4 pixels, eight bytes each
    run(upload(kCompressedTexImage2D, {GL_TEXTURE_2D, 0, kFormat, 4, 4, 0, 8}, counting(8)));
    const Stream compressed = Stream().add(kGetCompressedTexImage, GL_TEXTURE_2D, 0, 8u, 1u);
    EXPECT_EQ(read(compressed, 8), counting(8));
    gl.glGetTexLevelParameteriv = [](GLenum target, GLint level, GLenum pname, GLint* value) {
      real.glGetTexLevelParameteriv(target, level, pname, value);
      static const V blocks(8 * 256 * 256);
      if (pname == GL_TEXTURE_COMPRESSED_IMAGE_SIZE)
        real.glCompressedTexImage2D(target, 0, kFormat, 1024, 1024, 0, static_cast<GLsizei>(blocks.size()), blocks.data());
    };
    EXPECT_EQ(read(compressed, 8), V(8, 0xAA));
    EXPECT_EQ(error(), uint32_t{GL_INVALID_OPERATION});
    gl = real;
  }
  ownGl = own;
}

// --- pixels ---

// Colour indices that are cut at the window's edges show the colours of the pixel maps and nothing else, in a list, too; what
// OpenGL does to colours alone does not touch them.
TEST_F(HostImages, IndicesAreCutAtTheEdges) {
  run(pixelMap(GL_PIXEL_MAP_I_TO_R, {0, 0.2f, 0.4f, 0.6f, 0.8f, 1, 0, 0}));
  run(store(GL_UNPACK_ALIGNMENT, 1, GL_PACK_ALIGNMENT, 1));
  constexpr uint32_t kSize = 70;
  V indices(kSize * kSize);
  for (uint32_t i = 0; i < indices.size(); ++i) indices[i] = static_cast<uint8_t>((i % kSize * 3 + i / kSize) % 6);
  const Stream pixels = upload(kDrawPixels, {kSize, kSize, GL_COLOR_INDEX, GL_UNSIGNED_BYTE}, indices);
  const Stream move = Stream().add(kWindowPos2i, 0, 0).bytes(kBitmap, words({0, 0, 0, 0, 0xC0400000, 0xC0000000, 0, 0}));  // -3, -2
  V expected;
  for (uint32_t y = 0; y < 64; ++y)
    for (uint32_t x = 0; x < 64; ++x) expected.push_back(static_cast<uint8_t>(51 * (((x + 3) * 3 + y + 2) % 6)));
  const auto picture = [&] {
    return read(Stream().add(kReadPixels, 0, 0, 64, 64, GL_RED, GL_UNSIGNED_BYTE, 4096u, 1u), 4096);
  };
  run(move);
  run(Stream().add(kPixelTransferf, GL_RED_BIAS, 0.5f));
  run(pixels);
  run(Stream().add(kPixelTransferf, GL_RED_BIAS, 0.0f));
  EXPECT_EQ(picture(), expected);
  run(Stream().add(kClear, GL_COLOR_BUFFER_BIT));
  EXPECT_EQ(picture(), V(4096, 0));
  Stream list = Stream().add(kNewList, 1u, GL_COMPILE);
  list.data += pixels.data;
  run(list.add(kEndList));
  run(move);
  run(Stream().add(kCallList, 1u));
  EXPECT_EQ(picture(), expected);
  EXPECT_EQ(error(), uint32_t{GL_NO_ERROR});
}

// Indices of every type are shifted and moved before they are looked up; the guest's transfer state stays.
TEST_F(HostImages, IndicesOfEveryType) {
  run(pixelMap(GL_PIXEL_MAP_I_TO_G, {0, 0.2f, 0.4f, 0.6f, 0.8f, 1, 0, 0}));
  run(Stream().add(kPixelTransferf, GL_INDEX_SHIFT, 1.0f).add(kPixelTransferf, GL_INDEX_OFFSET, -1.0f));
  run(store(GL_UNPACK_ALIGNMENT, 1));
  const std::pair<uint32_t, V> cases[] = {{GL_BYTE, {3}},
                                          {GL_UNSIGNED_BYTE, {3}},
                                          {GL_SHORT, {3, 0}},
                                          {GL_UNSIGNED_SHORT, {3, 0}},
                                          {GL_INT, {3, 0, 0, 0}},
                                          {GL_UNSIGNED_INT, {3, 0, 0, 0}},
                                          {GL_FLOAT, floats({3.5f})},
                                          {GL_HALF_FLOAT, {0x00, 0x42}},
                                          {GL_BITMAP, {0x80}}};
  for (const auto& [type, data] : cases) {
    run(Stream().add(kClear, GL_COLOR_BUFFER_BIT).add(kWindowPos2i, 5, 5).add(kPixelTransferf, GL_GREEN_SCALE, 0.5f));
    run(upload(kDrawPixels, {1, 1, GL_COLOR_INDEX, type}, data));
    EXPECT_EQ(read(Stream().add(kGetFloatv, GL_GREEN_SCALE, 1u), 4), floats({0.5f}));
    run(Stream().add(kPixelTransferf, GL_GREEN_SCALE, 1.0f));
    EXPECT_EQ(read(Stream().add(kReadPixels, 5, 5, 1, 1, GL_GREEN, GL_UNSIGNED_BYTE, 1u, 1u), 1), V{type == GL_BITMAP ? uint8_t{51} : uint8_t{255}})
        << type;
  }
  EXPECT_EQ(error(), uint32_t{GL_NO_ERROR});
}

// Bits of stencil values without data are drawn as nothing; some OpenGLs would never return.
TEST_F(HostImages, BitsWithoutDataEnd) {
  for (const uint32_t format : {GL_STENCIL_INDEX, GL_COLOR_INDEX}) {
    run(upload(kDrawPixels, {4, 4, format, GL_BITMAP}, {}));
    run(Stream().add(kNewList, 1u, GL_COMPILE));
    run(upload(kDrawPixels, {4, 4, format, GL_BITMAP}, {}));
    run(Stream().add(kEndList).add(kCallList, 1u));
  }
  error();
}

// --- stipples ---

// A stipple that the guest measures by another state than the host reads it by: rows that it does not bring are zero.
TEST_F(HostImages, ShortStipplesAreFilledUp) {
  const auto rowsOfOnes = [&](const V& pattern) {
    std::vector<int> rows;
    for (size_t i = 0; i < pattern.size(); i += 4) {
      if (V(pattern.begin() + static_cast<std::ptrdiff_t>(i), pattern.begin() + static_cast<std::ptrdiff_t>(i) + 4) == V(4, 0xFF))
        rows.push_back(static_cast<int>(i) / 4);
    }
    return rows;
  };
  const auto pattern = [&] { return read(Stream().add(kGetPolygonStipple, 128u, 1u), 128); };
  run(store(GL_UNPACK_ALIGNMENT, 8));
  run(upload(kPolygonStipple, {}, V(128, 0xFF)));  // 252 bytes are wanted
  std::vector<int> firstHalf(16);
  std::iota(firstHalf.begin(), firstHalf.end(), 0);
  EXPECT_EQ(rowsOfOnes(pattern()), firstHalf);
  EXPECT_EQ(rowsOfOnes(pattern()).size(), 16u);
  run(store(GL_UNPACK_SKIP_ROWS, 40));
  run(upload(kPolygonStipple, {}, V(128, 0xFF)));
  EXPECT_EQ(pattern(), V(128, 0));
  EXPECT_EQ(log.take(), std::vector<std::string>{});
  run(store(GL_UNPACK_SKIP_ROWS, 1 << 20));
  run(upload(kPolygonStipple, {}, V(128, 0xFF)));
  EXPECT_EQ(pattern(), V(128, 0));
  EXPECT_EQ(log.take().size(), 1u);
}

// --- hostile guests ---

// An upload of each row, with the image that its numbers describe.
struct UploadRow {
  uint32_t opcode;
  std::vector<uint32_t> scalars;
  CallImage image;
};
std::vector<UploadRow> uploadRows(GLenum format, GLenum type) {
  const CallImage line{.dimensions = 1, .extent = {5, 1, 1}, .format = format, .type = type};
  const CallImage flat{.dimensions = 2, .extent = {5, 3, 1}, .format = format, .type = type};
  const CallImage deep{.dimensions = 3, .extent = {5, 3, 2}, .format = format, .type = type};
  std::vector<UploadRow> rows;
  rows.push_back({kTexImage1D, {GL_TEXTURE_1D, 0, GL_RGBA8, 5, 0, format, type}, line});
  rows.push_back({kTexSubImage1D, {GL_TEXTURE_1D, 0, 0, 5, format, type}, line});
  for (const uint32_t target : {GL_TEXTURE_2D, GL_TEXTURE_1D_ARRAY, GL_TEXTURE_RECTANGLE}) {
    rows.push_back({kTexImage2D, {target, 0, GL_RGBA8, 5, 3, 0, format, type}, flat});
    rows.push_back({kTexSubImage2D, {target, 0, 0, 0, 5, 3, format, type}, flat});
  }
  for (const uint32_t target : {GL_TEXTURE_3D, GL_TEXTURE_2D_ARRAY}) {
    rows.push_back({kTexImage3D, {target, 0, GL_RGBA8, 5, 3, 2, 0, format, type}, deep});
    rows.push_back({kTexSubImage3D, {target, 0, 0, 0, 0, 5, 3, 2, format, type}, deep});
  }
  CallImage face = flat;
  face.extent = {5, 5, 1};
  rows.push_back({kTexImage2D, {GL_TEXTURE_CUBE_MAP_NEGATIVE_Z, 0, GL_RGBA8, 5, 5, 0, format, type}, face});
  rows.push_back({kDrawPixels, {5, 3, format, type}, flat});
  rows.push_back({kColorTable, {GL_COLOR_TABLE, GL_RGBA, 5, format, type}, line});
  rows.push_back({kColorSubTable, {GL_COLOR_TABLE, 0, 5, format, type}, line});
  rows.push_back({kConvolutionFilter1D, {GL_CONVOLUTION_1D, GL_RGBA, 5, format, type}, line});
  rows.push_back({kConvolutionFilter2D, {GL_CONVOLUTION_2D, GL_RGBA, 5, 3, format, type}, flat});
  const CallImage bits{.extent = {37, 3, 1}, .format = GL_COLOR_INDEX, .type = GL_BITMAP};
  rows.push_back({kBitmap, {37, 3, 0, 0, 0, 0}, bits});
  rows.push_back({kPolygonStipple, {}, {.extent = {32, 32, 1}, .format = GL_COLOR_INDEX, .type = GL_BITMAP}});
  return rows;
}
constexpr std::pair<GLenum, GLenum> kFormats[] = {{GL_RGBA, GL_UNSIGNED_BYTE},         {GL_RGB, GL_UNSIGNED_BYTE},
                                                  {GL_RGB, GL_UNSIGNED_SHORT},         {GL_BGRA, GL_UNSIGNED_SHORT_4_4_4_4_REV},
                                                  {GL_LUMINANCE_ALPHA, GL_FLOAT},      {GL_COLOR_INDEX, GL_UNSIGNED_BYTE},
                                                  {GL_COLOR_INDEX, GL_UNSIGNED_SHORT}, {GL_COLOR_INDEX, GL_BITMAP}};

// Data that ends where its image ends is read to its last byte, and nothing behind it; data that is one byte short is passed over
// with a log line, whatever the pixel store state.
TEST_F(HostImages, UploadsEndWhereTheirDataEnds) {
  const std::vector<std::array<int32_t, 8>> states = {
      {0, 0, 0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 1, 0, 0}, {9, 0, 0, 0, 0, 0, 0, 0}, {9, 5, 3, 2, 1, 0, 0, 0},
      {9, 5, 3, 2, 1, 1, 1, 0}, {2, 2, 0, 0, 0, 0, 0, 0}, {0, 0, 1, 0, 0, 1, 0, 0}, {3, 0, 0, 0, 0, 1, 1, 0}};
  size_t cases = 0, passedOver = 0;
  for (const auto& [format, type] : kFormats) {
    for (const int32_t alignment : {1, 2, 4, 8}) {
      for (const auto& s : states) {
        PixelStoreHalf half{.alignment = alignment,
                            .rowLength = s[0],
                            .imageHeight = s[1],
                            .skipPixels = s[2],
                            .skipRows = s[3],
                            .skipImages = s[4]};
        half.swapBytes = static_cast<uint8_t>(s[5]);
        half.lsbFirst = static_cast<uint8_t>(s[6]);
        run(store(GL_UNPACK_ALIGNMENT, alignment, GL_UNPACK_ROW_LENGTH, s[0], GL_UNPACK_IMAGE_HEIGHT, s[1], GL_UNPACK_SKIP_PIXELS,
                  s[2], GL_UNPACK_SKIP_ROWS, s[3], GL_UNPACK_SKIP_IMAGES, s[4], GL_UNPACK_SWAP_BYTES, s[5], GL_UNPACK_LSB_FIRST,
                  s[6]));
        for (const UploadRow& row : uploadRows(format, type)) {
          const auto end = static_cast<size_t>(row.image.shape(half).end());
          for (const size_t bytes : {end, end - 1, end + 1}) {
            run(upload(row.opcode, row.scalars, V(bytes, 0x5A)));
            ++cases;
          }
        }
        passedOver += log.take().size();
      }
    }
  }
  EXPECT_GT(cases, 15000u);
  EXPECT_EQ(passedOver, 12u);  // a line for each row, once; a stipple is filled up
  for (int i = 0; i < 3; ++i) error();
}

// Numbers of the pixel store state that lead far away reach nothing.
TEST_F(HostImages, FarPixelStoresReachNothing) {
  const int32_t far = INT32_MAX;
  for (const uint32_t name :
       {GL_UNPACK_ROW_LENGTH, GL_UNPACK_IMAGE_HEIGHT, GL_UNPACK_SKIP_PIXELS, GL_UNPACK_SKIP_ROWS, GL_UNPACK_SKIP_IMAGES}) {
    for (const int32_t value : {far, far / 2, 1 << 16, 1}) {
      run(store(name, value));
      for (const auto& [format, type] : kFormats) {
        for (const UploadRow& row : uploadRows(format, type)) run(upload(row.opcode, row.scalars, V(64, 0x5A)));
      }
      run(store(name, 0));
    }
  }
  // Names of compressed blocks are none of the guest's.
  for (uint32_t name = 0x9127; name <= 0x912E; ++name) run(store(name, 64));
  run(upload(kCompressedTexImage2D, {GL_TEXTURE_2D, 0, 0x83F1, 4, 4, 0, 8}, V(8)));
  for (int i = 0; i < 3; ++i) error();
  log.take();
}

// A count of bytes that the command does not have makes the stream malformed.
TEST_F(HostImages, CountsThatAreNotTheDatasAreRefused) {
  for (const UploadRow& row : uploadRows(GL_RGBA, GL_UNSIGNED_BYTE)) {
    for (const int32_t change : {-1, 1, 4, 1 << 30}) {
      V payload;
      for (const uint32_t word : row.scalars) Stream::append(payload, word);
      Stream::append(payload, 16u);
      Stream::append(payload, static_cast<uint32_t>(60 + change));
      Replayer other;
      const Stream stream = Stream().large(row.opcode, payload += V(60, 0));
      const auto bytes = static_cast<uint32_t>(stream.data.size());
      EXPECT_EQ(other.replay(stream.data.data(), bytes, bytes).outcome, Replayer::Outcome::Failed) << row.opcode;
    }
  }
}

// Compressed data that is shorter or longer than the command says, or than the image is, is not read beyond its end.
TEST_F(HostImages, CompressedDataIsNotReadBeyondItsEnd) {
  for (const uint32_t format : {0x83F0u, 0x83F1u, 0x83F3u, 0x8DBBu, 0x8DBDu, 0x8E8Cu, 0x9278u}) {
    for (uint32_t said = 0; said <= 40; ++said) {
      for (const uint32_t bytes : {said, said - 1, said + 1}) {
        if (bytes > 41) continue;
        run(upload(kCompressedTexImage2D, {GL_TEXTURE_2D, 0, format, 8, 4, 0, said}, V(bytes)));
        run(upload(kCompressedTexSubImage2D, {GL_TEXTURE_2D, 0, 0, 0, 8, 4, format, said}, V(bytes)));
        run(upload(kCompressedTexImage3D, {GL_TEXTURE_2D_ARRAY, 0, format, 4, 4, 2, 0, said}, V(bytes)));
        run(upload(kCompressedTexSubImage3D, {GL_TEXTURE_2D_ARRAY, 0, 0, 0, 0, 4, 4, 2, format, said}, V(bytes)));
        run(upload(kCompressedTexImage1D, {GL_TEXTURE_1D, 0, format, 8, 0, said}, V(bytes)));
        run(upload(kCompressedTexSubImage1D, {GL_TEXTURE_1D, 0, 0, 8, format, said}, V(bytes)));
      }
    }
  }
  for (int i = 0; i < 3; ++i) error();
  EXPECT_EQ(log.take().size(), 6u);
}

// A read whose guest has one byte too few writes nothing: no memory of the host's is in its reply.
TEST_F(HostImages, ReadsWithoutRoomWriteNothing) {
  run(upload(kTexImage2D, {GL_TEXTURE_2D, 0, GL_RGBA8, 4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE}, V(64)));
  run(upload(kCompressedTexImage2D, {GL_TEXTURE_CUBE_MAP_POSITIVE_X, 0, 0x83F1, 4, 4, 0, 8}, V(8)));
  const auto expectNothing = [&](const Stream& stream, uint32_t room) {
    EXPECT_EQ(replay(stream, room), Replayer::Outcome::Done);
    EXPECT_EQ(replayer.reply().size(), 0u);
  };
  const auto everyWay = [&](uint32_t opcode, const std::vector<uint32_t>& scalars, uint32_t bytes) {
    const auto command = [&](uint32_t said) {
      V payload;
      for (const uint32_t word : scalars) Stream::append(payload, word);
      Stream::append(payload, said);
      Stream::append(payload, 1u);
      return Stream().bytes(opcode, payload);
    };
    expectNothing(command(bytes - 1), bytes);  // the command says too little
    expectNothing(command(bytes), bytes - 1);  // the request has too little
    expectNothing(command(0), 0);
    EXPECT_EQ(replay(command(bytes), bytes), Replayer::Outcome::Done);
    EXPECT_EQ(replayer.reply().size(), bytes);
  };
  everyWay(kReadPixels, {0, 0, 4, 4, GL_RGBA, GL_UNSIGNED_BYTE}, 64);
  everyWay(kGetTexImage, {GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE}, 64);
  everyWay(kGetCompressedTexImage, {GL_TEXTURE_CUBE_MAP_POSITIVE_X, 0}, 8);
  everyWay(kGetPolygonStipple, {}, 128);
  everyWay(kGetPixelMapfv, {GL_PIXEL_MAP_I_TO_R}, 4);
  everyWay(kGetPixelMapuiv, {GL_PIXEL_MAP_I_TO_R}, 4);
  everyWay(kGetPixelMapusv, {GL_PIXEL_MAP_I_TO_R}, 2);
  EXPECT_EQ(error(), uint32_t{GL_NO_ERROR});
  EXPECT_EQ(log.take().size(), 7u);
}

}  // namespace
}  // namespace qv::peer::test
