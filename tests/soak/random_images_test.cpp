// Images at random, through the driver and on Mesa directly: the same pixels, the same errors, the same bytes written, and
// nothing read or written beside the program's memory.
//
// QV_IMAGE_CASES is the number of cases, QV_IMAGE_SEED the first seed. A case depends on its own seed alone.
#include <array>
#include <cinttypes>
#include <cstdlib>
#include <memory>

#include "peer/host/egl_display.h"
#include "tests/soak/machine.h"
#include "tests/support/guarded_memory.h"
#include "wire/image_size.h"

namespace qv::test {
namespace {

using Bytes = std::vector<uint8_t>;

class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15u + 1) {}
  uint32_t word() {
    state_ += 0x9E3779B97F4A7C15u;
    uint64_t z = (state_ ^ state_ >> 30) * 0xBF58476D1CE4E5B9u;
    z = (z ^ z >> 27) * 0x94D049BB133111EBu;
    return static_cast<uint32_t>(z >> 32);
  }
  int32_t below(int32_t n) { return static_cast<int32_t>(word() % static_cast<uint32_t>(n)); }
  bool oneIn(int32_t n) { return below(n) == 0; }
  template <typename List>
  auto of(const List& list) {
    return std::data(list)[below(static_cast<int32_t>(std::size(list)))];
  }
  Bytes bytes(size_t count) {
    Bytes out(count);
    for (uint8_t& byte : out) byte = static_cast<uint8_t>(word());
    return out;
  }

 private:
  uint64_t state_;
};

// --- what an image is, by OpenGL's own words ---

struct Image {
  uint32_t dimensions = 2;
  int32_t width = 1, height = 1, depth = 1;
  GLenum format = 0, type = 0;

  bool isBits() const { return type == GL_BITMAP; }
  size_t pixelBytes() const { return isBits() ? 0 : size_t{pixelComponents(format, type)} * pixelTypeSize(type); }
  bool empty() const { return width == 0 || height == 0 || depth == 0; }
};

// Address of a pixel's first byte, and its bit within it.
struct Address {
  size_t byte;
  uint32_t bit;
};
Address addressOf(const PixelStoreHalf& s, const Image& image, int32_t i, int32_t j, int32_t k) {
  const auto rowPixels = static_cast<size_t>(s.rowLength > 0 ? s.rowLength : image.width);
  const auto a = static_cast<size_t>(s.alignment);
  const size_t row = image.isBits() ? a * ((rowPixels + 8 * a - 1) / (8 * a)) : (image.pixelBytes() * rowPixels + a - 1) / a * a;
  const bool deep = image.dimensions == 3;
  const auto rows = static_cast<size_t>(deep && s.imageHeight > 0 ? s.imageHeight : image.height);
  const auto x = static_cast<size_t>(s.skipPixels + i);
  const size_t rowStart = row * (static_cast<size_t>(s.skipRows + j) + rows * static_cast<size_t>((deep ? s.skipImages : 0) + k));
  if (!image.isBits()) return {rowStart + x * image.pixelBytes(), 0};
  return {rowStart + x / 8, static_cast<uint32_t>(s.lsbFirst != 0 ? x % 8 : 7 - x % 8)};
}

// The bytes up to the image's last one.
size_t endOf(const PixelStoreHalf& s, const Image& image) {
  if (image.empty() || (!image.isBits() && image.pixelBytes() == 0)) return 0;
  return addressOf(s, image, image.width - 1, image.height - 1, image.depth - 1).byte + (image.isBits() ? 1 : image.pixelBytes());
}

uint32_t swapUnit(const PixelStoreHalf& s, const Image& image) {
  return s.swapBytes == 0 || image.isBits() ? 1 : std::min(pixelTypeSize(image.type), 4u);
}

// The pixels behind each other, without swaps; bits as bytes. Mesa goes wrong over some images that do not lie like this.
Bytes tight(const PixelStoreHalf& s, const Image& image, const uint8_t* from) {
  Bytes out;
  for (int32_t k = 0; k < image.depth; ++k) {
    for (int32_t j = 0; j < image.height; ++j) {
      for (int32_t i = 0; i < image.width; ++i) {
        const Address at = addressOf(s, image, i, j, k);
        if (image.isBits()) {
          out.push_back(from[at.byte] >> at.bit & 1);
          continue;
        }
        const uint32_t unit = swapUnit(s, image);
        for (uint32_t b = 0; b < image.pixelBytes(); b += unit) {
          for (uint32_t c = 0; c < unit; ++c) out.push_back(from[at.byte + b + unit - 1 - c]);
        }
        if (unit == 1)
          std::copy_n(from + at.byte, image.pixelBytes(), out.end() - static_cast<std::ptrdiff_t>(image.pixelBytes()));
      }
    }
  }
  return out;
}

// --- formats ---

struct Kind {
  std::vector<GLenum> internals;
  std::vector<std::pair<GLenum, GLenum>> pixels;
};

std::vector<Kind> kinds() {
  constexpr GLenum kBasic[] = {GL_BYTE, GL_UNSIGNED_BYTE, GL_SHORT, GL_UNSIGNED_SHORT, GL_INT, GL_UNSIGNED_INT};
  Kind colors{{GL_RGBA8,      GL_RGB8,   GL_R8,      GL_RG8,         GL_RGBA16,
               GL_RGBA32F,    GL_RGB565, GL_ALPHA8,  GL_LUMINANCE8,  GL_LUMINANCE8_ALPHA8,
               GL_INTENSITY8, GL_RGBA4,  GL_RGB5_A1, GL_RGB10_A2,    GL_R11F_G11F_B10F,
               GL_RGBA16F,    4,         GL_RGBA,    GL_RGBA8_SNORM, GL_BGRA,
               0x80E2},
              {}};
  for (const GLenum format :
       {GL_RED, GL_GREEN, GL_BLUE, GL_ALPHA, GL_RG, GL_RGB, GL_RGBA, GL_BGR, GL_BGRA, GL_LUMINANCE, GL_LUMINANCE_ALPHA}) {
    for (const GLenum type : kBasic) colors.pixels.emplace_back(format, type);
    for (const GLenum type : {GL_FLOAT, GL_HALF_FLOAT}) colors.pixels.emplace_back(format, type);
  }
  for (const GLenum type : {GL_UNSIGNED_BYTE_3_3_2, GL_UNSIGNED_BYTE_2_3_3_REV, GL_UNSIGNED_SHORT_5_6_5,
                            GL_UNSIGNED_SHORT_5_6_5_REV, GL_UNSIGNED_INT_10F_11F_11F_REV, GL_UNSIGNED_INT_5_9_9_9_REV})
    colors.pixels.emplace_back(GL_RGB, type);
  for (const GLenum format : {GL_RGBA, GL_BGRA}) {
    for (const GLenum type :
         {GL_UNSIGNED_SHORT_4_4_4_4, GL_UNSIGNED_SHORT_4_4_4_4_REV, GL_UNSIGNED_INT_8_8_8_8, GL_UNSIGNED_INT_8_8_8_8_REV,
          GL_UNSIGNED_SHORT_5_5_5_1, GL_UNSIGNED_SHORT_1_5_5_5_REV, GL_UNSIGNED_INT_10_10_10_2, GL_UNSIGNED_INT_2_10_10_10_REV})
      colors.pixels.emplace_back(format, type);
  }
  Kind integers{{GL_RGBA8UI, GL_RGBA16I, GL_R32UI, GL_RG8I, GL_RGB32UI}, {}};
  for (const GLenum format : {GL_RED_INTEGER, GL_RG_INTEGER, GL_RGB_INTEGER, GL_RGBA_INTEGER, GL_BGRA_INTEGER}) {
    for (const GLenum type : kBasic) integers.pixels.emplace_back(format, type);
  }
  Kind depths{{GL_DEPTH_COMPONENT16, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT32F}, {{GL_DEPTH_COMPONENT, GL_FLOAT}}};
  for (const GLenum type : kBasic) depths.pixels.emplace_back(GL_DEPTH_COMPONENT, type);
  const Kind both{{GL_DEPTH24_STENCIL8, GL_DEPTH32F_STENCIL8},
                  {{GL_DEPTH_STENCIL, GL_UNSIGNED_INT_24_8}, {GL_DEPTH_STENCIL, GL_FLOAT_32_UNSIGNED_INT_24_8_REV}}};
  return {colors, colors, colors, integers, depths, both};
}

constexpr GLenum kIndexTypes[] = {GL_UNSIGNED_BYTE, GL_BYTE, GL_UNSIGNED_SHORT, GL_SHORT,
                                  GL_UNSIGNED_INT,  GL_INT,  GL_FLOAT,          GL_BITMAP};

struct Target {
  GLenum bind, image;
  uint32_t dimensions;
};
constexpr Target kTargets[] = {{GL_TEXTURE_1D, GL_TEXTURE_1D, 1},
                               {GL_TEXTURE_2D, GL_TEXTURE_2D, 2},
                               {GL_TEXTURE_2D, GL_TEXTURE_2D, 2},
                               {GL_TEXTURE_RECTANGLE, GL_TEXTURE_RECTANGLE, 2},
                               {GL_TEXTURE_1D_ARRAY, GL_TEXTURE_1D_ARRAY, 2},
                               {GL_TEXTURE_CUBE_MAP, GL_TEXTURE_CUBE_MAP_POSITIVE_Y, 2},
                               {GL_TEXTURE_3D, GL_TEXTURE_3D, 3},
                               {GL_TEXTURE_2D_ARRAY, GL_TEXTURE_2D_ARRAY, 3},
                               {GL_TEXTURE_CUBE_MAP_ARRAY, GL_TEXTURE_CUBE_MAP_ARRAY, 3}};

// --- the two roads ---

constexpr int kWindow = 48;

// One of the two: OpenGL's functions, and whether Mesa is met without the host in between.
struct Road {
  peer::GlFunctions gl;
  bool direct;

  void store(bool pack, const PixelStoreHalf& s, bool deep) const {
    const auto set = [&](GLenum unpackName, GLenum packName, GLint value) {
      gl.glPixelStorei(pack ? packName : unpackName, value);
    };
    set(GL_UNPACK_ALIGNMENT, GL_PACK_ALIGNMENT, s.alignment);
    set(GL_UNPACK_ROW_LENGTH, GL_PACK_ROW_LENGTH, s.rowLength);
    set(GL_UNPACK_SKIP_PIXELS, GL_PACK_SKIP_PIXELS, s.skipPixels);
    set(GL_UNPACK_SKIP_ROWS, GL_PACK_SKIP_ROWS, s.skipRows);
    // Mesa heeds the image height for one-dimensional arrays when it reads, and writes beyond them.
    set(GL_UNPACK_IMAGE_HEIGHT, GL_PACK_IMAGE_HEIGHT, direct && !deep ? 0 : s.imageHeight);
    set(GL_UNPACK_SKIP_IMAGES, GL_PACK_SKIP_IMAGES, direct && !deep ? 0 : s.skipImages);
    set(GL_UNPACK_SWAP_BYTES, GL_PACK_SWAP_BYTES, s.swapBytes);
    set(GL_UNPACK_LSB_FIRST, GL_PACK_LSB_FIRST, s.lsbFirst);
  }
};

PixelStoreHalf randomStore(Random& random) {
  PixelStoreHalf s{.alignment = 1 << random.below(4)};
  if (random.oneIn(3)) return s;
  if (random.oneIn(2)) s.rowLength = random.below(24);
  if (random.oneIn(3)) s.imageHeight = random.below(12);
  if (random.oneIn(2)) s.skipPixels = random.below(19);
  if (random.oneIn(2)) s.skipRows = random.below(7);
  if (random.oneIn(3)) s.skipImages = random.below(4);
  s.swapBytes = random.oneIn(3);
  s.lsbFirst = random.oneIn(3);
  return s;
}

struct Case {
  explicit Case(uint64_t seed) : random(seed) {}
  Random random;
  std::string story;

  template <typename... T>
  void tell(const char* format, T... values) {
    char text[240];
    std::snprintf(text, sizeof text, format, values...);
    story += text;
  }
  void tell(const char* what, const PixelStoreHalf& s) {
    tell(" %s{align %d row %d height %d skip %d %d %d swap %d lsb %d}", what, s.alignment, s.rowLength, s.imageHeight,
         s.skipPixels, s.skipRows, s.skipImages, s.swapBytes, s.lsbFirst);
  }
};

using Call = std::function<void(const Road&, GLenum type, const void* pixels)>;

// Runs `call` on both roads with the same image: from memory or from an unpack buffer.
struct Upload {
  Image image;
  PixelStoreHalf store;
  Bytes data;  // as long as the driver reads
  bool fromBuffer = false, ownCopy = false;
  uint32_t offset = 0;
  bool oneShort = false;

  Upload(Case& c, const Image& what, GLenum target) : image(what), store(randomStore(c.random)) {
    const size_t end = endOf(store, image);
    const size_t guest = imageBytes(store, target, image.format, image.type, {image.width, image.height, image.depth});
    data = c.random.bytes(std::max(end, guest));
    // What Mesa goes wrong over. A bitmap or stipple is read right as it is.
    ownCopy = swapUnit(store, image) > 1 || image.format == GL_COLOR_INDEX || image.isBits();
    fromBuffer = end != 0 && c.random.oneIn(5);
    offset = fromBuffer ? static_cast<uint32_t>(c.random.below(3)) * 8 : 0;
    oneShort = fromBuffer && !image.isBits() && c.random.oneIn(8);  // Mesa counts bits loosely
    c.tell(" %dx%dx%d format %x type %x", image.width, image.height, image.depth, image.format, image.type);
    c.tell("unpack", store);
    if (fromBuffer) c.tell(" from a buffer at %u%s", offset, oneShort ? " that is a byte short" : "");
  }
  void run(const Road& road, Random& random, bool bits, const Call& call) const {
    const size_t end = endOf(store, image);
    const bool own = road.direct && ownCopy && !bits;
    const auto against = random.oneIn(2) ? GuardedMemory::Against::Next : GuardedMemory::Against::Previous;
    if (own && !oneShort) {
      const Bytes copy = end == 0 ? Bytes() : tight(store, image, data.data());
      GuardedMemory memory(copy.size(), against);
      std::copy(copy.begin(), copy.end(), memory.data());
      road.store(false, {.alignment = 1}, true);
      return call(road, image.isBits() ? GLenum{GL_UNSIGNED_BYTE} : image.type, memory.data());
    }
    road.store(false, store, image.dimensions == 3);
    if (own) road.gl.glPixelStorei(GL_UNPACK_SWAP_BYTES, 0);
    if (fromBuffer) {
      GLuint buffer = 0;
      road.gl.glGenBuffers(1, &buffer);
      road.gl.glBindBuffer(GL_PIXEL_UNPACK_BUFFER, buffer);
      Bytes contents(offset + end - oneShort);
      std::copy_n(data.begin(), end - oneShort, contents.begin() + offset);
      road.gl.glBufferData(GL_PIXEL_UNPACK_BUFFER, static_cast<GLsizeiptr>(contents.size()), contents.data(), GL_STREAM_DRAW);
      call(road, image.type, reinterpret_cast<const void*>(uintptr_t{offset}));
      road.gl.glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
      return road.gl.glDeleteBuffers(1, &buffer);
    }
    const size_t bytes = road.direct ? end : data.size();
    GuardedMemory memory(bytes, against);
    std::copy_n(data.begin(), bytes, memory.data());
    call(road, image.type, memory.data());
  }
};

using ReadCall = std::function<void(const Road&, void* pixels)>;

// What a read leaves in memory, or in a pack buffer, that was full of other things.
struct Read {
  Image image;
  PixelStoreHalf store;
  Bytes before;
  bool intoBuffer = false;
  uint32_t offset = 0;

  Read(Case& c, const Image& what) : image(what), store(randomStore(c.random)) {
    // Of places that overlap Mesa swaps the bytes twice.
    const bool overlap =
        (store.rowLength > 0 && store.rowLength < image.width) || (store.imageHeight > 0 && store.imageHeight < image.height);
    if (overlap) store.swapBytes = 0;
    before = c.random.bytes(endOf(store, image));
    intoBuffer = !before.empty() && c.random.oneIn(5);
    offset = intoBuffer ? static_cast<uint32_t>(c.random.below(3)) * 8 : 0;
    c.tell(" read %dx%dx%d format %x type %x", image.width, image.height, image.depth, image.format, image.type);
    c.tell("pack", store);
    if (intoBuffer) c.tell(" into a buffer at %u", offset);
  }
  Bytes run(const Road& road, Random& random, const ReadCall& call) const {
    road.store(true, store, image.dimensions == 3);
    if (intoBuffer) {
      GLuint buffer = 0;
      road.gl.glGenBuffers(1, &buffer);
      road.gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
      Bytes contents(offset + before.size());
      std::copy(before.begin(), before.end(), contents.begin() + offset);
      road.gl.glBufferData(GL_PIXEL_PACK_BUFFER, static_cast<GLsizeiptr>(contents.size()), contents.data(), GL_STREAM_READ);
      call(road, reinterpret_cast<void*>(uintptr_t{offset}));
      road.gl.glGetBufferSubData(GL_PIXEL_PACK_BUFFER, 0, static_cast<GLsizeiptr>(contents.size()), contents.data());
      road.gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
      road.gl.glDeleteBuffers(1, &buffer);
      return contents;
    }
    GuardedMemory memory(before.size(), random.oneIn(2) ? GuardedMemory::Against::Next : GuardedMemory::Against::Previous);
    std::copy(before.begin(), before.end(), memory.data());
    call(road, memory.data());
    return Bytes(memory.data(), memory.data() + before.size());
  }
};

class RandomImages : public EndToEndTest {
 protected:
  void SetUp() override {
    start(&screen, true);
    peer::EglDisplay* const display = peer::EglDisplay::get();
    ASSERT_NE(display, nullptr);
    surface = display->createSurface({}, kWindow, kWindow);
    egl = display->createContext({}, EGL_NO_CONTEXT);
    ASSERT_TRUE(display->makeCurrent(surface, egl));
    window = sim::createWindow({.client = {0, 0, kWindow, kWindow}, .frame = {}, .pixelFormat = kDoubleBuffered});
    hdc = GetDC(window);
    context = loader::wglCreateContext(hdc);
    ASSERT_TRUE(loader::wglMakeCurrent(hdc, context));
    roads[0] = {driverFunctions(), false};
    roads[1] = {peer::gl, true};
    const GLfloat ramp[4] = {0.0f, 0.25f, 0.5f, 1.0f}, down[4] = {1.0f, 0.75f, 0.5f, 0.0f};
    for (const Road& road : roads) {
      road.gl.glPixelMapfv(GL_PIXEL_MAP_I_TO_R, 4, ramp);
      road.gl.glPixelMapfv(GL_PIXEL_MAP_I_TO_G, 4, down);
      road.gl.glPixelMapfv(GL_PIXEL_MAP_I_TO_B, 4, ramp);
      road.gl.glViewport(0, 0, kWindow, kWindow);
    }
  }
  void TearDown() override {
    loader::wglMakeCurrent(nullptr, nullptr);
    loader::wglDeleteContext(context);
    ReleaseDC(window, hdc);
    sim::destroyWindow(window);
    peer::EglDisplay* const display = peer::EglDisplay::get();
    display->release();
    display->destroyContext(egl);
    display->destroySurface(surface);
    display->endThread();
    EndToEndTest::TearDown();
  }

  // Both roads have raised the same error.
  void expectSameErrors(const Case& c, const char* when) {
    const GLenum driver = roads[0].gl.glGetError(), direct = roads[1].gl.glGetError();
    EXPECT_EQ(driver, direct) << when << c.story;
    cleanErrors += driver == 0;
  }
  void expectSameRead(Case& c, const Read& read, const ReadCall& call) {
    Random copy = c.random;
    const Bytes driver = read.run(roads[0], c.random, call), direct = read.run(roads[1], copy, call);
    if (driver != direct) {
      const size_t at = static_cast<size_t>(std::mismatch(driver.begin(), driver.end(), direct.begin()).first - driver.begin());
      ADD_FAILURE() << "byte " << at << " of " << driver.size() << " is " << int{driver[at]} << " through the driver, "
                    << int{direct[at]} << " on Mesa:" << c.story;
    }
    bytesCompared += driver.size();
    expectSameErrors(c, "read:");
  }
  void upload(Case& c, const Upload& upload, bool bits, const Call& call) {
    // Mesa is out of memory over an empty image in a list.
    const bool inList = c.random.oneIn(12) && !upload.fromBuffer && !upload.data.empty();
    if (inList) c.tell(" in a list");
    for (const Road& road : roads) {
      Random copy = c.random;
      if (inList) road.gl.glNewList(1, GL_COMPILE);
      upload.run(road, copy, bits, call);
      if (inList) {
        road.gl.glEndList();
        road.gl.glCallList(1);
      }
    }
  }
  void texture(Case& c);
  void compressed(Case& c);
  void pixels(Case& c);
  void stipple(Case& c);

  Screen screen;
  EGLSurface surface = EGL_NO_SURFACE;
  EGLContext egl = EGL_NO_CONTEXT;
  HWND window = nullptr;
  HDC hdc = nullptr;
  HGLRC context = nullptr;
  std::array<Road, 2> roads;
  uint64_t bytesCompared = 0, cleanErrors = 0;
};

// A texture of random contents, a random part of it replaced, read back in another format.
void RandomImages::texture(Case& c) {
  static const std::vector<Kind> all = kinds();
  Random& random = c.random;
  const Kind& kind = random.of(all);
  Target target = random.of(kTargets);
  const bool colors = kind.internals.front() == GL_RGBA8;
  if (!colors && target.bind == GL_TEXTURE_3D && kind.pixels.front().first != GL_RED_INTEGER) target = kTargets[7];
  const GLenum internal = random.of(kind.internals);
  Image image{.dimensions = target.dimensions, .width = random.below(18), .height = 1, .depth = 1};
  if (target.dimensions >= 2) image.height = random.below(10);
  if (target.dimensions == 3) image.depth = random.below(5);
  if (target.bind == GL_TEXTURE_CUBE_MAP || target.bind == GL_TEXTURE_CUBE_MAP_ARRAY) image.width = image.height;
  if (target.bind == GL_TEXTURE_CUBE_MAP_ARRAY) image.depth = 6 * random.below(3);
  const auto chooseFormat = [&](Image& one) {
    std::tie(one.format, one.type) = random.of(kind.pixels);
    if (colors && random.oneIn(8)) one.format = GL_COLOR_INDEX, one.type = random.of(kIndexTypes);
  };
  chooseFormat(image);
  c.tell("texture %x internal %x", target.image, internal);
  std::array<GLuint, 2> names{};
  for (size_t i = 0; i < 2; ++i) {
    roads[i].gl.glGenTextures(1, &names[i]);
    roads[i].gl.glBindTexture(target.bind, names[i]);
  }
  upload(c, Upload(c, image, target.image), false, [&](const Road& road, GLenum type, const void* data) {
    const auto inner = static_cast<GLint>(internal == GL_BGRA || internal == 0x80E2 ? GL_RGBA8 : internal);
    const GLint given = road.direct ? inner : static_cast<GLint>(internal);
    if (target.dimensions == 1) road.gl.glTexImage1D(target.image, 0, given, image.width, 0, image.format, type, data);
    if (target.dimensions == 2)
      road.gl.glTexImage2D(target.image, 0, given, image.width, image.height, 0, image.format, type, data);
    if (target.dimensions == 3)
      road.gl.glTexImage3D(target.image, 0, given, image.width, image.height, image.depth, 0, image.format, type, data);
  });
  expectSameErrors(c, "image:");
  if (random.oneIn(2)) {
    Image part = image;
    const auto cut = [&](int32_t& size) {
      const int32_t at = size == 0 ? 0 : random.below(size);
      size = size == 0 ? 0 : random.below(size - at + 1);
      return at;
    };
    const int32_t x = cut(part.width), y = target.dimensions >= 2 ? cut(part.height) : 0,
                  z = target.dimensions == 3 ? cut(part.depth) : 0;
    chooseFormat(part);
    c.tell("; part at %d %d %d", x, y, z);
    upload(c, Upload(c, part, target.image), false, [&](const Road& road, GLenum type, const void* data) {
      if (target.dimensions == 1) road.gl.glTexSubImage1D(target.image, 0, x, part.width, part.format, type, data);
      if (target.dimensions == 2)
        road.gl.glTexSubImage2D(target.image, 0, x, y, part.width, part.height, part.format, type, data);
      if (target.dimensions == 3)
        road.gl.glTexSubImage3D(target.image, 0, x, y, z, part.width, part.height, part.depth, part.format, type, data);
    });
    expectSameErrors(c, "part:");
  }
  Image back = image;
  GLint sizes[3] = {};
  roads[1].gl.glGetTexLevelParameteriv(target.image, 0, GL_TEXTURE_WIDTH, &sizes[0]);
  roads[1].gl.glGetTexLevelParameteriv(target.image, 0, GL_TEXTURE_HEIGHT, &sizes[1]);
  roads[1].gl.glGetTexLevelParameteriv(target.image, 0, GL_TEXTURE_DEPTH, &sizes[2]);
  back.width = sizes[0], back.height = sizes[1], back.depth = target.dimensions == 3 ? sizes[2] : std::min(sizes[2], 1);
  std::tie(back.format, back.type) = random.of(kind.pixels);
  expectSameRead(c, Read(c, back),
                 [&](const Road& road, void* to) { road.gl.glGetTexImage(target.image, 0, back.format, back.type, to); });
  for (size_t i = 0; i < 2; ++i) roads[i].gl.glDeleteTextures(1, &names[i]);
}

// Blocks of a compressed format; the pixel store state does not matter.
void RandomImages::compressed(Case& c) {
  Random& random = c.random;
  const std::pair<GLenum, int32_t> formats[] = {{0x83F0, 8}, {0x83F1, 8}, {0x83F3, 16}, {0x8DBB, 8}, {0x8DBD, 16}, {0x8E8C, 16}};
  const auto [format, block] = random.of(formats);
  const int32_t width = 1 + random.below(20), height = 1 + random.below(20);
  const int32_t right = (width + 3) / 4 * ((height + 3) / 4) * block;
  const int32_t size = random.oneIn(6) ? random.below(2 * right) : right;
  const PixelStoreHalf unpack = randomStore(random), pack = randomStore(random);
  const Bytes data = random.bytes(static_cast<size_t>(size));
  c.tell("compressed %x, %dx%d of %d bytes", format, width, height, size);
  std::array<Bytes, 2> results;
  for (size_t i = 0; i < 2; ++i) {
    const Road& road = roads[i];
    GLuint name = 0;
    road.gl.glGenTextures(1, &name);
    road.gl.glBindTexture(GL_TEXTURE_2D, name);
    road.store(false, unpack, true);
    road.store(true, pack, true);
    GuardedMemory memory(data.size());
    std::copy(data.begin(), data.end(), memory.data());
    road.gl.glCompressedTexImage2D(GL_TEXTURE_2D, 0, format, width, height, 0, size, memory.data());
    if (size != right)
      road.gl.glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    if (size != right) road.gl.glCompressedTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, format, size, memory.data());
    GuardedMemory back(static_cast<size_t>(right));
    if (size == right) road.gl.glGetCompressedTexImage(GL_TEXTURE_2D, 0, back.data());
    results[i] = Bytes(back.data(), back.data() + right);
    road.gl.glDeleteTextures(1, &name);
  }
  EXPECT_EQ(results[0], results[1]) << c.story;
  bytesCompared += results[0].size();
  expectSameErrors(c, "compressed:");
}

// A pixel rectangle or a bitmap in the window, and the window read back.
void RandomImages::pixels(Case& c) {
  static const std::vector<Kind> all = kinds();
  Random& random = c.random;
  Image image{.width = random.below(30), .height = random.below(20)};
  const int32_t choice = random.below(6);
  if (choice <= 1) std::tie(image.format, image.type) = random.of(all[0].pixels);
  if (choice == 2) std::tie(image.format, image.type) = random.of(all[4].pixels);
  if (choice == 3) image.format = GL_STENCIL_INDEX, image.type = random.of(kIndexTypes);
  if (choice == 4) image.format = GL_COLOR_INDEX, image.type = random.of(kIndexTypes);
  // Mesa keeps seven bits of the colours of indices that are signed bytes. The host, which looks colours up itself, keeps eight.
  if (choice == 4 && image.type == GL_BYTE) image.type = GL_UNSIGNED_BYTE;
  const bool bitmap = choice == 5;
  if (bitmap) image.format = GL_COLOR_INDEX, image.type = GL_BITMAP;
  int32_t x = random.below(kWindow);
  const int32_t y = random.below(kWindow);
  // Mesa decodes indices wrongly where it clips rows, and shows memory that nobody has written.
  if (choice == 4) x = random.below(kWindow - image.width + 1);
  c.tell(bitmap ? "bitmap at %d %d" : "rectangle at %d %d", x, y);
  for (const Road& road : roads) {
    road.gl.glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    road.gl.glWindowPos2i(x, y);
  }
  upload(c, Upload(c, image, 0), bitmap, [&](const Road& road, GLenum type, const void* data) {
    if (bitmap) {
      road.gl.glBitmap(image.width, image.height, 0, 0, 1, 2, static_cast<const GLubyte*>(data));
    } else {
      road.gl.glDrawPixels(image.width, image.height, image.format, type, data);
    }
  });
  expectSameErrors(c, "drawn:");
  Image back{.width = random.below(kWindow), .height = random.below(kWindow)};
  std::tie(back.format, back.type) = random.of(choice == 2 ? all[4].pixels : all[0].pixels);
  if (choice == 3) back.format = GL_STENCIL_INDEX, back.type = kIndexTypes[random.below(6)];
  const int32_t fromX = random.below(kWindow - back.width + 1), fromY = random.below(kWindow - back.height + 1);
  expectSameRead(c, Read(c, back), [&](const Road& road, void* to) {
    road.gl.glReadPixels(fromX, fromY, back.width, back.height, back.format, back.type, to);
  });
}

// A polygon stipple there and back. The driver measures it by the pack state, so both states are the same.
void RandomImages::stipple(Case& c) {
  const Image image{.width = 32, .height = 32, .format = GL_COLOR_INDEX, .type = GL_BITMAP};
  PixelStoreHalf store = randomStore(c.random);
  store.skipPixels &= ~7;
  const Bytes pattern = c.random.bytes(imageBytes(store, 0, GL_COLOR_INDEX, GL_BITMAP, {32, 32, 1}));
  const Bytes before = c.random.bytes(endOf(store, image));
  c.tell("stipple");
  c.tell("both", store);
  std::array<Bytes, 2> results;
  for (size_t i = 0; i < 2; ++i) {
    GuardedMemory from(pattern.size()), to(before.size());
    std::copy(pattern.begin(), pattern.end(), from.data());
    roads[i].store(false, store, false);
    roads[i].store(true, store, false);
    roads[i].gl.glPolygonStipple(from.data());
    std::copy(before.begin(), before.end(), to.data());
    roads[i].gl.glGetPolygonStipple(to.data());
    results[i] = Bytes(to.data(), to.data() + before.size());
  }
  EXPECT_EQ(results[0], results[1]) << c.story;
  bytesCompared += before.size();
  expectSameErrors(c, "stipple:");
}

// Images through the driver are what Mesa makes of them.
TEST_F(RandomImages, AreTheSameAsOnMesa) {
  const auto number = [](const char* name, uint64_t otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
  };
  const uint64_t cases = number("QV_IMAGE_CASES", 3000), first = number("QV_IMAGE_SEED", 1);
  for (uint64_t seed = first; seed < first + cases; ++seed) {
    Case c(seed);
    c.tell(" seed %" PRIu64 ": ", seed);
    const int32_t choice = c.random.below(20);
    if (choice < 11) texture(c);
    if (choice == 11) compressed(c);
    if (choice == 12) stipple(c);
    if (choice > 12) pixels(c);
    if (testing::Test::HasFailure()) return;
  }
  std::printf("%" PRIu64 " images, %" PRIu64 " bytes compared\n", cases, bytesCompared);
  EXPECT_GT(bytesCompared, cases * 100);
  EXPECT_GT(cleanErrors, cases);
}

}  // namespace
}  // namespace qv::test
