// Uploads: checked against the pixel store state of the guest, then handed to OpenGL in a form that it reads right.
#include "peer/replay/images.h"

#include <algorithm>

#include "peer/replay/array_rows.h"
#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "peer/replay/unpacking.h"

namespace qv::peer {
namespace {

constexpr uint64_t kLargestImage = uint64_t{1} << 30;

constexpr const char* kTooShort = "its data is shorter than its image";
constexpr const char* kNotBoth = "it brings data though an unpack buffer is bound";
constexpr const char* kTooLarge = "its image is too large";

// Bytes that are swapped together; 1 where nothing is to be swapped.
uint32_t swapUnit(const PixelStoreHalf& store, GLenum type) {
  return store.swapBytes == 0 || type == GL_BITMAP ? 1 : std::min(pixelTypeSize(type), 4u);
}

// Puts the pixels of the image at `from`, where `shape` holds, behind each other. Bits become bytes.
void repack(const ImageShape& shape, const CallImage& image, const PixelStoreHalf& store, const uint8_t* from, uint8_t* to) {
  const auto width = static_cast<uint64_t>(image.extent.width);
  const uint32_t unit = swapUnit(store, image.type);
  for (uint64_t k = 0; k < shape.images; ++k) {
    for (uint64_t j = 0; j < shape.rows; ++j) {
      const uint8_t* const row = from + shape.first + k * shape.imageStride + j * shape.stride;
      if (image.type == GL_BITMAP) {
        for (uint64_t i = 0; i < width; ++i) {
          const uint64_t bit = shape.skippedBits + i;
          const uint32_t inByte = static_cast<uint32_t>(bit % 8);
          to[i] = row[bit / 8] >> (store.lsbFirst != 0 ? inByte : 7 - inByte) & 1;
        }
        to += width;
        continue;
      }
      std::memcpy(to, row, shape.run);
      if (unit > 1) {
        for (uint64_t i = 0; i < shape.run; i += unit) std::reverse(to + i, to + i + unit);
      }
      to += shape.run;
    }
  }
}

// The same for bits that stay bits, in the order in which they are: some OpenGLs write behind their own memory for skipped bits.
void moveBits(const ImageShape& shape, const CallImage& image, const PixelStoreHalf& store, const uint8_t* from, uint8_t* to) {
  const auto width = static_cast<uint64_t>(image.extent.width);
  const auto mask = [&](uint64_t bit) { return 1u << (store.lsbFirst != 0 ? bit % 8 : 7 - bit % 8); };
  for (uint64_t j = 0; j < shape.rows; ++j, to += (width + 7) / 8) {
    const uint8_t* const row = from + shape.first + j * shape.stride;
    for (uint64_t i = 0; i < width; ++i) {
      const uint64_t bit = shape.skippedBits + i;
      if ((row[bit / 8] & mask(bit)) != 0) to[i / 8] = static_cast<uint8_t>(to[i / 8] | mask(i));
    }
  }
}

// A colour index of any type that OpenGL takes for one, as a whole number.
int64_t indexAt(GLenum type, const uint8_t* at) {
  switch (type) {
    case GL_BYTE:
      return get<int8_t>(at);
    case GL_UNSIGNED_BYTE:
      return *at;
    case GL_SHORT:
      return get<int16_t>(at);
    case GL_UNSIGNED_SHORT:
      return get<uint16_t>(at);
    case GL_INT:
      return get<int32_t>(at);
    case GL_UNSIGNED_INT:
      return get<uint32_t>(at);
    default: {
      const float value = type == GL_HALF_FLOAT ? halfToFloat(get<uint16_t>(at)) : get<float>(at);
      return value >= -2147483648.0f && value < 2147483648.0f ? static_cast<int64_t>(value) : 0;
    }
  }
}

// The table that a component of the colours of indices comes from.
std::vector<uint8_t> indexTable(GLenum map, GLenum sizeName) {
  GLint size = 0;
  gl.glGetIntegerv(sizeName, &size);
  std::vector<GLfloat> values(static_cast<size_t>(std::clamp(size, 1, 1 << 16)));
  gl.glGetPixelMapfv(map, values.data());
  std::vector<uint8_t> bytes;
  for (const GLfloat value : values) bytes.push_back(static_cast<uint8_t>(std::clamp(value, 0.0f, 1.0f) * 255.0f + 0.5f));
  return bytes;
}

// Makes colours of the indices of glDrawPixels, by the maps as they are now: some OpenGLs show memory that is none of the image's
// when an image of indices is cut at the window's edge. What OpenGL does to colours alone is kept off them, but in a list.
bool lookUp(Replayer& replayer, uint32_t opcode, const char* name, uint64_t bytes, UploadSource& source) {
  const uint32_t unit = pixelTypeSize(source.type);
  const bool known = (source.type >= GL_BYTE && source.type <= GL_FLOAT) || source.type == GL_HALF_FLOAT;
  if (!known) {
    // OpenGL refuses other types, or has them from extensions.
    refuse(replayer, GL_INVALID_ENUM);
    return false;
  }
  const uint64_t pixels = bytes / unit;
  if (pixels > kLargestImage / 4) {
    replayer.passOver(opcode, name, kTooLarge);
    return false;
  }
  GLint packBuffer = 0, shift = 0, offset = 0;
  gl.glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &packBuffer);
  gl.glGetIntegerv(GL_INDEX_SHIFT, &shift);
  gl.glGetIntegerv(GL_INDEX_OFFSET, &offset);
  if (packBuffer != 0) gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
  const std::vector<uint8_t> tables[] = {
      indexTable(GL_PIXEL_MAP_I_TO_R, GL_PIXEL_MAP_I_TO_R_SIZE), indexTable(GL_PIXEL_MAP_I_TO_G, GL_PIXEL_MAP_I_TO_G_SIZE),
      indexTable(GL_PIXEL_MAP_I_TO_B, GL_PIXEL_MAP_I_TO_B_SIZE), indexTable(GL_PIXEL_MAP_I_TO_A, GL_PIXEL_MAP_I_TO_A_SIZE)};
  if (packBuffer != 0) gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, static_cast<GLuint>(packBuffer));
  const auto* const from = static_cast<const uint8_t*>(source.pointer);
  source.made.resize(pixels * 4);
  for (uint64_t i = 0; i < pixels; ++i) {
    int64_t index = indexAt(source.type, from + i * unit);
    index = shift >= 0 ? static_cast<int64_t>(static_cast<uint64_t>(index) << std::min(shift, 31))
                       : index >> std::min(-int64_t{shift}, int64_t{31});
    index = static_cast<int64_t>(static_cast<uint64_t>(index) + static_cast<uint64_t>(int64_t{offset}));
    // The tables' sizes are powers of two.
    for (uint32_t k = 0; k < 4; ++k) source.made[4 * i + k] = tables[k][static_cast<uint64_t>(index) & (tables[k].size() - 1)];
  }
  source.pointer = source.made.data();
  source.format = GL_RGBA;
  source.type = GL_UNSIGNED_BYTE;
  if (replayer.state().listOpen) return true;
  GLint depth = 0, most = 0;
  gl.glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &depth);
  gl.glGetIntegerv(GL_MAX_ATTRIB_STACK_DEPTH, &most);
  if (depth >= most) return true;
  gl.glPushAttrib(GL_PIXEL_MODE_BIT);
  source.pushedAttributes = true;
  gl.glPixelTransferi(GL_MAP_COLOR, GL_FALSE);
  for (const GLenum each : {GL_RED_SCALE, GL_GREEN_SCALE, GL_BLUE_SCALE, GL_ALPHA_SCALE}) gl.glPixelTransferf(each, 1);
  for (const GLenum each : {GL_RED_BIAS, GL_GREEN_BIAS, GL_BLUE_BIAS, GL_ALPHA_BIAS}) gl.glPixelTransferf(each, 0);
  return true;
}

// Whether OpenGLs read the image right with alignment, row length and image height alone.
bool isPlain(const CallImage& image, const PixelStoreHalf& store) {
  return image.type != GL_BITMAP && image.format != GL_COLOR_INDEX && swapUnit(store, image.type) == 1;
}

Unpacking unpackingOf(const CallImage& image, const PixelStoreHalf& store) {
  return {
      .alignment = store.alignment, .rowLength = store.rowLength, .imageHeight = image.dimensions == 3 ? store.imageHeight : 0};
}

GLuint boundUnpackBuffer(bool& insidePrimitive) {
  GLint buffer = -1;
  gl.glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &buffer);
  insidePrimitive = buffer == -1;
  return insidePrimitive ? 0 : static_cast<GLuint>(buffer);
}

// Where the image lies at `from`, which holds `bytes` bytes from the image's own beginning on.
bool findInMemory(Replayer& replayer, uint32_t opcode, const char* name, const CallImage& image, bool bits,
                  const ImageShape& shape, const uint8_t* from, UploadSource& source) {
  ReplayState& state = replayer.state();
  const PixelStoreHalf& store = state.pixelStore.unpack;
  if (bits && shape.skippedBits != 0) {
    const uint64_t row = (static_cast<uint64_t>(image.extent.width) + 7) / 8;
    source.made.resize(row * shape.rows);  // below the size of what holds the image
    moveBits(shape, image, store, from, source.made.data());
    setUnpacking(state, {.alignment = 1, .lsbFirst = store.lsbFirst});
    source.pointer = source.made.data();
  } else if (bits) {
    Unpacking unpacking = unpackingOf(image, store);
    unpacking.lsbFirst = store.lsbFirst;
    setUnpacking(state, unpacking);
    source.pointer = from + shape.first;
  } else if (isPlain(image, store)) {
    setUnpacking(state, unpackingOf(image, store));
    source.pointer = from + shape.first;
  } else {
    const uint64_t pixelBytes = image.type == GL_BITMAP ? static_cast<uint64_t>(image.extent.width) : shape.run;
    const uint64_t tight =
        pixelBytes * shape.rows * shape.images;  // no wrap: each row takes memory of the command or is a copy of one
    if (shape.rows * shape.images > kLargestImage / std::max<uint64_t>(pixelBytes, 1)) {
      replayer.passOver(opcode, name, kTooLarge);
      return false;
    }
    uint8_t* const copy = replayer.scratch(tight);
    repack(shape, image, store, from, copy);
    setUnpacking(state, {.alignment = 1});
    source.pointer = copy;
    if (image.type == GL_BITMAP) source.type = GL_UNSIGNED_BYTE;
    if (opcode == opcodeOf<op::glDrawPixels> && image.format == GL_COLOR_INDEX && !state.core)
      return lookUp(replayer, opcode, name, pixelBytes * shape.rows * shape.images, source);
  }
  return true;
}

}  // namespace

bool findUpload(Replayer& replayer, uint32_t opcode, const char* name, const CallImage& image, bool bits, uint32_t pointer,
                const Elements<uint8_t>& data, UploadSource& source) {
  ReplayState& state = replayer.state();
  const PixelStoreHalf& store = state.pixelStore.unpack;
  source.format = image.format;
  source.type = image.type;
  bool insidePrimitive = false;
  const GLuint buffer = boundUnpackBuffer(insidePrimitive);
  if (insidePrimitive) {
    state.errorProvoked = true;
    return true;  // OpenGL refuses the call
  }
  const ImageShape shape = image.shape(store);
  if (buffer == 0) {
    if (data.size() == 0 || shape.empty()) {
      // Some OpenGLs never return from bits of stencil values, though there are none.
      if (!bits && !shape.empty() && image.type == GL_BITMAP) source.type = GL_UNSIGNED_BYTE;
      setUnpacking(state, {});
      return true;
    }
    if (opcode == opcodeOf<op::glPolygonStipple> && shape.end() <= Replayer::kScratchBytes) {
      // The guest measures the pattern otherwise (required oddity 85): zeros follow what it gives.
      uint8_t* const whole = replayer.scratch(shape.end());
      std::memcpy(whole, data.data(), std::min<uint64_t>(data.size(), shape.end()));
      return findInMemory(replayer, opcode, name, image, bits, shape, whole, source);
    }
    if (shape.end() > data.size()) {
      replayer.passOver(opcode, name, kTooShort);
      return false;
    }
    return findInMemory(replayer, opcode, name, image, bits, shape, data.data(), source);
  }
  if (data.size() != 0) {
    replayer.passOver(opcode, name, kNotBoth);
    return false;
  }
  if (bits ? shape.skippedBits == 0 : isPlain(image, store)) {
    Unpacking unpacking = unpackingOf(image, store);
    if (bits) unpacking.lsbFirst = store.lsbFirst;
    setUnpacking(state, unpacking);
    // OpenGL compares the offset with the buffer's size.
    source.pointer = reinterpret_cast<const void*>(static_cast<uintptr_t>(pointer + shape.first));
    return true;
  }
  // What OpenGL does not read right comes out of the buffer first.
  GLint size = 0;
  gl.glGetBufferParameteriv(GL_PIXEL_UNPACK_BUFFER, GL_BUFFER_SIZE, &size);
  if (shape.empty()) return true;
  if (shape.end() > kLargestImage || pointer + shape.end() > static_cast<uint64_t>(size)) {
    refuse(replayer, GL_INVALID_OPERATION);
    return false;
  }
  std::vector<uint8_t> contents(shape.end());
  gl.glGetBufferSubData(GL_PIXEL_UNPACK_BUFFER, pointer, static_cast<GLsizeiptr>(contents.size()), contents.data());
  if (!findInMemory(replayer, opcode, name, image, bits, shape, contents.data(), source)) return false;
  gl.glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
  source.rebind = buffer;
  return true;
}

bool findPlainUpload(Replayer& replayer, uint32_t opcode, const char* name, uint64_t expected, uint32_t pointer,
                     const Elements<uint8_t>& data, UploadSource& source) {
  bool insidePrimitive = false;
  const GLuint buffer = boundUnpackBuffer(insidePrimitive);
  if (insidePrimitive) {
    replayer.state().errorProvoked = true;
    return true;
  }
  if (data.size() != 0 && (buffer != 0 || data.size() != expected)) {
    replayer.passOver(opcode, name, buffer != 0 ? kNotBoth : kTooShort);
    return false;
  }
  if (buffer != 0) {
    source.pointer = reinterpret_cast<const void*>(static_cast<uintptr_t>(pointer));
  } else if (data.size() != 0) {
    source.pointer = data.data();
  }
  return true;
}

bool mayRecordPixelMap(Replayer& replayer, uint32_t opcode, const char* name, GLsizei entries, uint64_t bytes) {
  const ReplayState& state = replayer.state();
  if (!state.listOpen) return true;
  // An OpenGL copies the entries, whose number it has not looked at, into room for as many as there can be, from the pointer as
  // it is, whatever buffer is bound.
  if (state.insideBegin || bytes == 0) {
    replayer.passOver(opcode, name, "in a list, without its entries or inside a primitive");
    return false;
  }
  GLint most = 0;
  gl.glGetIntegerv(GL_MAX_PIXEL_MAP_TABLE, &most);
  if (entries > 0 && entries <= most) return true;
  refuse(replayer, GL_INVALID_VALUE);
  return false;
}

void endUpload(const UploadSource& source) {
  if (source.pushedAttributes) gl.glPopAttrib();
  if (source.rebind != 0) gl.glBindBuffer(GL_PIXEL_UNPACK_BUFFER, source.rebind);
}

}  // namespace qv::peer
