// Uploads: checked against the pixel store state of the guest, then handed to OpenGL in a form that it reads right.
#include "peer/replay/images.h"

#include <algorithm>

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
  if (bits) {
    Unpacking unpacking = unpackingOf(image, store);
    unpacking.skipPixels = static_cast<GLint>(shape.skippedBits);
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
  }
  return true;
}

}  // namespace

bool findUpload(Replayer& replayer, uint32_t opcode, const char* name, const CallImage& image, bool bits, uint32_t pointer,
                const Elements<uint8_t>& data, UploadSource& source) {
  ReplayState& state = replayer.state();
  const PixelStoreHalf& store = state.pixelStore.unpack;
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
  if (bits || isPlain(image, store)) {
    Unpacking unpacking = unpackingOf(image, store);
    if (bits) {
      unpacking.skipPixels = static_cast<GLint>(shape.skippedBits);
      unpacking.lsbFirst = store.lsbFirst;
    }
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

void endUpload(const UploadSource& source) {
  if (source.rebind != 0) gl.glBindBuffer(GL_PIXEL_UNPACK_BUFFER, source.rebind);
}

}  // namespace qv::peer
