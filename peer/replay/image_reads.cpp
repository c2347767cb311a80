// Images read back: OpenGL writes them tightly into memory of the host, and the reply says where their rows belong.
#include <algorithm>
#include <vector>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/images.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "peer/replay/unpacking.h"
#include "peer/replay/window_commands.h"

namespace qv::peer {
namespace {

constexpr uint64_t kLargestRead = uint64_t{1} << 30, kSmallRead = 65536;

constexpr const char* kReadTooLarge = "its image is too large";
constexpr const char* kReadTooSmall = "the guest's buffer is too small for its image";

// Of each byte the lowest bit becomes a bit of the rows at `to`, which is the place of the image's beginning. Bits beside the
// image stay.
void packBits(const uint8_t* values, const CallImage& image, const ImageShape& shape, bool lsbFirst, uint64_t stride,
              uint8_t* to) {
  const auto width = static_cast<uint64_t>(image.extent.width);
  for (uint64_t j = 0; j < shape.rows; ++j) {
    uint8_t* const row = to + j * stride;
    for (uint64_t i = 0; i < width; ++i, ++values) {
      const uint64_t bit = shape.skippedBits + i;
      const auto inByte = static_cast<uint32_t>(bit % 8);
      const auto mask = static_cast<uint8_t>(1u << (lsbFirst ? inByte : 7 - inByte));
      row[bit / 8] = static_cast<uint8_t>((*values & 1) != 0 ? row[bit / 8] | mask : row[bit / 8] & ~mask);
    }
  }
}

// Says where the rows of the reply belong. They lie at `tight`, behind each other.
void placeRows(Replayer& replayer, const ImageShape& shape, const uint8_t* tight) {
  const auto word = [](uint64_t value) { return static_cast<uint32_t>(value); };
  const uint64_t image = (shape.rows - 1) * shape.stride + shape.run;
  const bool imagesOverlap = shape.images > 1 && shape.imageStride < image;
  const bool rowsOverlap = (shape.rows > 1 || imagesOverlap) && shape.stride < shape.run;
  if (!rowsOverlap && !imagesOverlap) {
    ReplyRows rows{word(shape.first), word(shape.run),         word(shape.stride),
                   word(shape.rows),  word(shape.imageStride), word(shape.images)};
    // Rows without gaps are one.
    if (rows.stride == rows.run)
      rows = {rows.first, rows.run * rows.rows, rows.run * rows.rows, 1, rows.imageStride, rows.images};
    return replayer.placeRows(rows);
  }
  // Of places that overlap, each holds what is written last. They make up pieces of equal length with equal gaps: overlapping
  // rows make one of each image, overlapping images make one sequence of rows.
  uint64_t piece = shape.run, pieceStride = shape.stride, pieces = shape.rows;
  if (rowsOverlap) {
    piece = imagesOverlap ? shape.end() - shape.first : image;
    pieceStride = shape.imageStride;
    pieces = imagesOverlap ? 1 : shape.images;
  } else {
    pieces += (shape.images - 1) * (shape.imageStride / shape.stride);
  }
  std::vector<uint8_t> written(piece * pieces);
  for (uint64_t k = 0; k < shape.images; ++k) {
    for (uint64_t j = 0; j < shape.rows; ++j, tight += shape.run) {
      const uint64_t at = k * shape.imageStride + j * shape.stride;
      const uint64_t place = pieces == 1 ? at : at / pieceStride * piece + at % pieceStride;
      std::memcpy(written.data() + place, tight, shape.run);
    }
  }
  replayer.answer(written.data(), word(written.size()));
  replayer.placeRows({word(shape.first), word(piece), word(pieceStride), word(pieces), word(pieceStride * pieces), 1});
}

struct Read {
  uint32_t opcode;
  const char* name;
  CallImage image;
  uint32_t bytes;    // of the guest's memory
  uint32_t pointer;  // or offset into the pack buffer
};

// Where an image is read to.
enum class Into { Buffer, Nothing, Reply };

// Reads bits by `call(pointer, type, into)` into the pack buffer: as bytes into memory of the host first.
template <typename Call>
void readBitsIntoBuffer(Replayer& replayer, const Read& read, const ImageShape& shape, GLuint buffer, Call&& call) {
  GLint size = 0;
  gl.glGetBufferParameteriv(GL_PIXEL_PACK_BUFFER, GL_BUFFER_SIZE, &size);
  const uint64_t bytes = detail::farProduct(static_cast<uint64_t>(read.image.extent.width), shape.rows);
  if (bytes > kLargestRead || read.pointer + shape.end() > static_cast<uint32_t>(size))
    return refuse(replayer, GL_INVALID_OPERATION);
  uint8_t* const values = replayer.scratch(bytes);
  setPacking(replayer.state(), {.alignment = 1});
  holdGlError(replayer);
  gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
  call(values, GL_UNSIGNED_BYTE, Into::Buffer);
  gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
  if (glRefused(replayer)) return;
  std::vector<uint8_t> rows(shape.end() - shape.first);
  const auto offset = static_cast<GLintptr>(read.pointer + shape.first);
  gl.glGetBufferSubData(GL_PIXEL_PACK_BUFFER, offset, static_cast<GLsizeiptr>(rows.size()), rows.data());
  packBits(values, read.image, shape, replayer.state().pixelStore.pack.lsbFirst != 0, shape.stride, rows.data());
  gl.glBufferSubData(GL_PIXEL_PACK_BUFFER, offset, static_cast<GLsizeiptr>(rows.size()), rows.data());
}

// Reads an image by `call(pointer, type, into)`, into the pack buffer or for the reply.
template <typename Call>
void readImage(Replayer& replayer, const Read& read, Call&& call) {
  ReplayState& state = replayer.state();
  GLint buffer = -1;
  gl.glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &buffer);
  if (buffer == -1) {  // a primitive is open: OpenGL refuses the call
    state.errorProvoked = true;
    return replayer.answer(nullptr, 0);
  }
  const CallImage& image = read.image;
  const PixelStoreHalf& store = state.pixelStore.pack;
  const ImageShape shape = image.shape(store);
  if (buffer != 0) {
    if (image.type == GL_BITMAP && !shape.empty()) {
      readBitsIntoBuffer(replayer, read, shape, static_cast<GLuint>(buffer), call);
      return replayer.answer(nullptr, 0);
    }
    setPacking(state, {.alignment = store.alignment,
                       .rowLength = store.rowLength,
                       .imageHeight = image.dimensions == 3 ? store.imageHeight : 0,
                       .swapBytes = store.swapBytes});
    call(reinterpret_cast<void*>(static_cast<uintptr_t>(read.pointer + shape.first)), image.type, Into::Buffer);
    return replayer.answer(nullptr, 0);
  }
  if (shape.empty()) {
    call(nullptr, image.type, Into::Nothing);
    return replayer.answer(nullptr, 0);
  }
  const bool bits = image.type == GL_BITMAP;
  const uint64_t tightBytes =
      bits ? detail::farProduct(static_cast<uint64_t>(image.extent.width), shape.rows * shape.images) : shape.tightBytes();
  if (tightBytes > kLargestRead) {
    replayer.passOver(read.opcode, read.name, kReadTooLarge);
    return replayer.answer(nullptr, 0);
  }
  // A small image is read in any case: OpenGL may refuse it, and the guest then has the error. A large one is not worth that.
  const bool room = shape.end() <= read.bytes && shape.end() <= replayer.replyRoom();
  if (!room && tightBytes > kSmallRead) {
    replayer.passOver(read.opcode, read.name, kReadTooSmall);
    return replayer.answer(nullptr, 0);
  }
  uint8_t* const reply = bits ? nullptr : replayer.answerInPlace(static_cast<uint32_t>(tightBytes));
  uint8_t* const pixels = bits ? replayer.scratch(tightBytes) : reply;
  setPacking(state, {.alignment = 1, .swapBytes = store.swapBytes});
  holdGlError(replayer);
  call(pixels, bits ? GL_UNSIGNED_BYTE : image.type, Into::Reply);
  if (glRefused(replayer)) return replayer.answer(nullptr, 0);
  if (!room) {
    replayer.passOver(read.opcode, read.name, kReadTooSmall);
    return replayer.answer(nullptr, 0);
  }
  if (!bits) return placeRows(replayer, shape, reply);
  uint8_t* const packed = replayer.answerInPlace(static_cast<uint32_t>(shape.tightBytes()));
  packBits(pixels, image, shape, store.lsbFirst != 0, shape.run, packed);
  placeRows(replayer, shape, packed);
}

// Reads a texture's image by `read(pointer)` into `bytes` bytes at `to`, through a buffer, of which OpenGL knows the size: a
// sharing context may have made the image larger meanwhile. No pack buffer is bound.
template <typename Read>
void readThroughBuffer(uint32_t bytes, uint8_t* to, Read&& read) {
  GLuint buffer = 0;
  gl.glGenBuffers(1, &buffer);
  gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
  gl.glBufferData(GL_PIXEL_PACK_BUFFER, static_cast<GLsizeiptr>(bytes), nullptr, GL_STREAM_READ);
  read(nullptr);
  gl.glGetBufferSubData(GL_PIXEL_PACK_BUFFER, 0, static_cast<GLsizeiptr>(bytes), to);
  gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
  gl.glDeleteBuffers(1, &buffer);
}

// Whether colours are read from a drawable. Drawables lie in memory as blue, green, red, alpha, and OpenGLs give them in this
// order much faster than in another one.
bool readsFromDrawable() {
  GLint framebuffer = -1;
  gl.glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &framebuffer);
  return framebuffer == 0;
}

// Changes the first and the third byte of each pixel.
void swapRedAndBlue(uint8_t* pixels, uint64_t count) {
  for (uint64_t i = 0; i < count; ++i) {
    const auto pixel = get<uint32_t>(pixels + 4 * i);
    put(pixels + 4 * i, (pixel & 0xFF00FF00) | (pixel & 0xFF) << 16 | (pixel >> 16 & 0xFF));
  }
}

// While it lives, a read of a multisampled window's colours reads the picture of averaged samples: some OpenGLs give one of the
// samples.
class ResolvedPicture {
 public:
  ResolvedPicture(Replayer& replayer, GLenum format) {
    WindowCommands* const windows = replayer.state().windows;
    if (windows == nullptr || replayer.insideBegin()) return;
    if (format == GL_DEPTH_COMPONENT || format == GL_STENCIL_INDEX || format == GL_DEPTH_STENCIL) return;
    GLint framebuffer = -1, buffer = GL_NONE;
    gl.glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &framebuffer);
    gl.glGetIntegerv(GL_READ_BUFFER, &buffer);
    if (framebuffer != 0 || buffer == GL_NONE) return;
    const WindowCommands::Result result = windows->resolvePicture(picture_);
    if (result.outcome == WindowCommands::Outcome::DrawableLost) {
      replayer.fail("%s", result.why);
      return;
    }
    if (result.outcome != WindowCommands::Outcome::Done || picture_ == 0) return;
    gl.glGenFramebuffers(1, &framebuffer_);
    gl.glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer_);
    gl.glFramebufferRenderbuffer(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, picture_);
  }
  ~ResolvedPicture() {
    if (framebuffer_ != 0) {
      gl.glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
      gl.glDeleteFramebuffers(1, &framebuffer_);
    }
    if (picture_ != 0) gl.glDeleteRenderbuffers(1, &picture_);
  }
  ResolvedPicture(const ResolvedPicture&) = delete;
  ResolvedPicture& operator=(const ResolvedPicture&) = delete;

 private:
  GLuint picture_ = 0, framebuffer_ = 0;
};

GLint levelParameter(GLenum target, GLint level, GLenum pname) {
  GLint value = 0;
  gl.glGetTexLevelParameteriv(target, level, pname, &value);
  return value;
}

// The size of an object of the imaging subset, as OpenGL says.
template <typename Get>
GLint imagingSize(Get get, GLenum target, GLenum pname) {
  GLint size = 0;
  get(target, pname, &size);
  return std::clamp(size, 0, kFarthest);
}

CallImage line(GLint width, GLenum format, GLenum type) {
  return {.dimensions = 1, .extent = {width, 1, 1}, .format = format, .type = type};
}

// glGetPixelMap: `get` is the function, `T` its element.
template <typename T, typename Get>
void getPixelMap(Replayer& replayer, uint32_t opcode, const char* name, const GetPixelMapRecord& command, Get get) {
  GLint buffer = -1, entries = 0;
  gl.glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &buffer);
  if (buffer > 0) {
    get(command.map, reinterpret_cast<T*>(static_cast<uintptr_t>(command.pointer)));
    return replayer.answer(nullptr, 0);
  }
  constexpr GLenum kMaps = GL_PIXEL_MAP_A_TO_A - GL_PIXEL_MAP_I_TO_I;
  if (buffer < 0) replayer.state().errorProvoked = true;
  if (buffer < 0 || command.map - GL_PIXEL_MAP_I_TO_I > kMaps) {
    if (buffer == 0) refuse(replayer, GL_INVALID_ENUM);
    return replayer.answer(nullptr, 0);
  }
  gl.glGetIntegerv(GL_PIXEL_MAP_I_TO_I_SIZE + (command.map - GL_PIXEL_MAP_I_TO_I), &entries);
  const auto bytes = static_cast<uint64_t>(std::clamp(entries, 0, 1 << 16)) * sizeof(T);
  if (bytes > command.bytes || bytes > replayer.replyRoom()) {
    replayer.passOver(opcode, name, kReadTooSmall);
    return replayer.answer(nullptr, 0);
  }
  uint8_t* const values = replayer.scratch(bytes);
  holdGlError(replayer);
  get(command.map, reinterpret_cast<T*>(values));
  replayer.answer(values, glRefused(replayer) ? 0 : static_cast<uint32_t>(bytes));
}

}  // namespace

namespace replay {

void glReadPixels(Replayer& replayer, const ReadPixelsRecord& c) {
  const CallImage image{.extent = {c.width, c.height, 1}, .format = c.format, .type = c.type};
  const ResolvedPicture picture(replayer, c.format);
  if (!replayer.sound()) return;
  readImage(
      replayer, {opcodeOf<op::glReadPixels>, "glReadPixels", image, c.bytes, c.pointer}, [&](void* to, GLenum type, Into into) {
        const bool swapped = into == Into::Reply && c.format == GL_RGBA && c.type == GL_UNSIGNED_BYTE && readsFromDrawable();
        gl.glReadPixels(near(c.x), near(c.y), near(c.width), near(c.height), swapped ? GL_BGRA : c.format, type, to);
        if (swapped) swapRedAndBlue(static_cast<uint8_t*>(to), static_cast<uint64_t>(c.width) * static_cast<uint64_t>(c.height));
      });
}

void glGetTexImage(Replayer& replayer, const GetTexImageRecord& c) {
  const bool deep = c.target == GL_TEXTURE_3D || c.target == GL_TEXTURE_2D_ARRAY || c.target == GL_TEXTURE_CUBE_MAP_ARRAY;
  CallImage image{.dimensions = deep ? 3u : 2u, .format = c.format, .type = c.type};
  const GLint level = near(c.level);
  // Some OpenGLs write nonsense for indices, and bytes whatever the type for stencil; neither is an image of OpenGL 4.3.
  if (c.format == GL_COLOR_INDEX || c.format == GL_STENCIL_INDEX) {
    refuse(replayer, GL_INVALID_ENUM);
    return replayer.answer(nullptr, 0);
  }
  if (!replayer.state().insideBegin) {
    // A sharing context may have defined the image anew: what it is now counts.
    holdGlError(replayer);
    image.extent = {levelParameter(c.target, level, GL_TEXTURE_WIDTH), levelParameter(c.target, level, GL_TEXTURE_HEIGHT),
                    levelParameter(c.target, level, GL_TEXTURE_DEPTH)};
    if (!deep) image.extent.depth = std::min(image.extent.depth, 1);
    if (glRefused(replayer)) return replayer.answer(nullptr, 0);
  }
  readImage(replayer, {opcodeOf<op::glGetTexImage>, "glGetTexImage", image, c.bytes, c.pointer},
            [&](void* to, GLenum type, Into into) {
              const auto read = [&](void* pointer) { gl.glGetTexImage(c.target, level, c.format, type, pointer); };
              if (into != Into::Reply) return read(to);
              const auto bytes = static_cast<uint32_t>(image.shape({.alignment = 1}).tightBytes());
              if (ownGl.glGetnTexImageARB != nullptr)
                return ownGl.glGetnTexImageARB(c.target, level, c.format, type, static_cast<GLsizei>(bytes), to);
              readThroughBuffer(bytes, static_cast<uint8_t*>(to), read);
            });
}

void glGetCompressedTexImage(Replayer& replayer, const GetCompressedTexImageRecord& c) {
  GLint buffer = -1;
  gl.glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &buffer);
  if (buffer == -1) {
    replayer.state().errorProvoked = true;
    return replayer.answer(nullptr, 0);
  }
  const GLint level = near(c.level);
  setPacking(replayer.state(), {});
  if (buffer != 0) {
    gl.glGetCompressedTexImage(c.target, level, reinterpret_cast<void*>(static_cast<uintptr_t>(c.pointer)));
    return replayer.answer(nullptr, 0);
  }
  holdGlError(replayer);
  const bool compressed = levelParameter(c.target, level, GL_TEXTURE_COMPRESSED) != 0;
  const GLint size = compressed ? levelParameter(c.target, level, GL_TEXTURE_COMPRESSED_IMAGE_SIZE) : 0;
  if (glRefused(replayer)) return replayer.answer(nullptr, 0);
  if (!compressed) {
    refuse(replayer, GL_INVALID_OPERATION);
    return replayer.answer(nullptr, 0);
  }
  const auto bytes = static_cast<uint32_t>(std::max(size, 0));
  if (bytes > c.bytes || bytes > replayer.replyRoom() || bytes > kLargestRead) {
    replayer.passOver(opcodeOf<op::glGetCompressedTexImage>, "glGetCompressedTexImage", kReadTooSmall);
    return replayer.answer(nullptr, 0);
  }
  if (bytes != 0) {
    readThroughBuffer(bytes, replayer.answerInPlace(bytes), [&](void* to) { gl.glGetCompressedTexImage(c.target, level, to); });
  }
  if (glRefused(replayer)) replayer.answer(nullptr, 0);
}

void glGetPolygonStipple(Replayer& replayer, const GetPolygonStippleRecord& c) {
  const CallImage image{.extent = {32, 32, 1}, .format = GL_COLOR_INDEX, .type = GL_BITMAP};
  readImage(replayer, {opcodeOf<op::glGetPolygonStipple>, "glGetPolygonStipple", image, c.bytes, c.pointer},
            [&](void* to, GLenum, Into) {
              if (to == nullptr) return gl.glGetPolygonStipple(nullptr);
              // OpenGL gives rows of four bytes, the first pixel in the highest bit.
              uint8_t pattern[128] = {};
              gl.glGetPolygonStipple(pattern);
              auto* const values = static_cast<uint8_t*>(to);
              for (uint32_t i = 0; i < 1024; ++i) values[i] = pattern[i / 8] >> (7 - i % 8) & 1;
            });
}

void glGetPixelMapfv(Replayer& replayer, const GetPixelMapRecord& c) {
  getPixelMap<GLfloat>(replayer, opcodeOf<op::glGetPixelMapfv>, "glGetPixelMapfv", c, gl.glGetPixelMapfv);
}
void glGetPixelMapuiv(Replayer& replayer, const GetPixelMapRecord& c) {
  getPixelMap<GLuint>(replayer, opcodeOf<op::glGetPixelMapuiv>, "glGetPixelMapuiv", c, gl.glGetPixelMapuiv);
}
void glGetPixelMapusv(Replayer& replayer, const GetPixelMapRecord& c) {
  getPixelMap<GLushort>(replayer, opcodeOf<op::glGetPixelMapusv>, "glGetPixelMapusv", c, gl.glGetPixelMapusv);
}

void glGetColorTable(Replayer& replayer, const GetColorTableRecord& c) {
  const GLint width = imagingSize(gl.glGetColorTableParameteriv, c.target, GL_COLOR_TABLE_WIDTH);
  readImage(replayer, {opcodeOf<op::glGetColorTable>, "glGetColorTable", line(width, c.format, c.type), c.bytes, 0},
            [&](void* to, GLenum type, Into) { gl.glGetColorTable(c.target, c.format, type, to); });
}

void glGetColorTableParameterfv(Replayer& replayer, const GetColorTableParameterRecord& c) {
  GLfloat values[4] = {};
  gl.glGetColorTableParameterfv(c.target, c.pname, values);
  replayer.answer(values, sizeof values);
}
void glGetColorTableParameteriv(Replayer& replayer, const GetColorTableParameterRecord& c) {
  GLint values[4] = {};
  gl.glGetColorTableParameteriv(c.target, c.pname, values);
  replayer.answer(values, sizeof values);
}

void glGetConvolutionFilter(Replayer& replayer, const GetConvolutionFilterRecord& c) {
  const GLint width = imagingSize(gl.glGetConvolutionParameteriv, c.target, GL_CONVOLUTION_WIDTH);
  const GLint height =
      c.target == GL_CONVOLUTION_2D ? imagingSize(gl.glGetConvolutionParameteriv, c.target, GL_CONVOLUTION_HEIGHT) : 1;
  CallImage image = line(width, c.format, c.type);
  image.extent.height = height;
  readImage(replayer, {opcodeOf<op::glGetConvolutionFilter>, "glGetConvolutionFilter", image, c.bytes, c.pointer},
            [&](void* to, GLenum type, Into) { gl.glGetConvolutionFilter(c.target, c.format, type, to); });
}

void glGetHistogram(Replayer& replayer, const GetHistogramRecord& c) {
  const GLint width = imagingSize(gl.glGetHistogramParameteriv, c.target, GL_HISTOGRAM_WIDTH);
  readImage(
      replayer, {opcodeOf<op::glGetHistogram>, "glGetHistogram", line(width, c.format, c.type), c.bytes, c.pointer},
      [&](void* to, GLenum type, Into) { gl.glGetHistogram(c.target, static_cast<GLboolean>(c.reset), c.format, type, to); });
}

void glGetMinmax(Replayer& replayer, const GetHistogramRecord& c) {
  readImage(replayer, {opcodeOf<op::glGetMinmax>, "glGetMinmax", line(2, c.format, c.type), c.bytes, c.pointer},
            [&](void* to, GLenum type, Into) { gl.glGetMinmax(c.target, static_cast<GLboolean>(c.reset), c.format, type, to); });
}

// Both filters of a separable one come tightly; an OpenGL with the imaging subset has them, most have not.
void glGetSeparableFilter(Replayer& replayer, const GetSeparableFilterRecord& c) {
  const GLint width = imagingSize(gl.glGetConvolutionParameteriv, c.target, GL_CONVOLUTION_WIDTH);
  const GLint height = imagingSize(gl.glGetConvolutionParameteriv, c.target, GL_CONVOLUTION_HEIGHT);
  const uint64_t row = line(width, c.format, c.type).shape({}).end(), column = line(height, c.format, c.type).shape({}).end();
  GLint buffer = -1;
  gl.glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &buffer);
  const bool fits =
      row <= c.rowBytes && column <= c.columnBytes && row <= replayer.replyRoom() && column <= replayer.reply2Room();
  if (buffer != 0 || !fits) {
    if (buffer == -1) replayer.state().errorProvoked = true;
    replayer.passOver(opcodeOf<op::glGetSeparableFilter>, "glGetSeparableFilter", kReadTooSmall);
    return replayer.answer(nullptr, 0);
  }
  uint8_t* const values = replayer.scratch(row + column + 16);
  setPacking(replayer.state(), {});
  holdGlError(replayer);
  gl.glGetSeparableFilter(c.target, c.format, c.type, values, values + row, values + row + column);
  if (glRefused(replayer)) return replayer.answer(nullptr, 0);
  replayer.answer(values, static_cast<uint32_t>(row), values + row, static_cast<uint32_t>(column));
}

void glSeparableFilter2D(Replayer& replayer, const SeparableFilterRecord& c, Reader& rest) {
  const auto data = rest.rest();
  UploadSource row, column;
  const Elements<uint8_t> rowData(data.data(), c.rowBytes), columnData(data.data() + c.rowBytes, c.columnBytes);
  // Both are given as they are, and so only where no repacking is needed for either.
  const CallImage rowImage = line(c.width, c.format, c.type), columnImage = line(c.height, c.format, c.type);
  constexpr uint32_t kOpcode = opcodeOf<op::glSeparableFilter2D>;
  const PixelStoreHalf& store = replayer.state().pixelStore.unpack;
  if (store.swapBytes != 0 || c.format == GL_COLOR_INDEX || c.type == GL_BITMAP) return refuse(replayer, GL_INVALID_OPERATION);
  if (!findUpload(replayer, kOpcode, "glSeparableFilter2D", rowImage, false, c.row, rowData, row) ||
      !findUpload(replayer, kOpcode, "glSeparableFilter2D", columnImage, false, c.column, columnData, column)) {
    return;
  }
  gl.glSeparableFilter2D(c.target, c.internalFormat, near(c.width), near(c.height), c.format, c.type, row.pointer,
                         column.pointer);
}

}  // namespace replay

}  // namespace qv::peer
