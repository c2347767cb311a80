// PixelStoreState: how images lie in client memory (glPixelStore).
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv {

struct PixelStoreHalf {
  int32_t alignment = 4;  // 1, 2, 4 or 8
  int32_t rowLength = 0;
  int32_t imageHeight = 0;
  int32_t skipPixels = 0;
  int32_t skipRows = 0;
  int32_t skipImages = 0;
  uint8_t swapBytes = 0;
  uint8_t lsbFirst = 0;
};

// Both halves back to back: the client attribute stack saves and restores them as one block.
struct PixelStoreState {
  PixelStoreHalf unpack;
  PixelStoreHalf pack;
};

// Stores `value` for `pname`, which selects the half. Returns 0, or the GL error of a refused value or name; the state then stays.
inline GLenum setPixelStore(PixelStoreState& state, GLenum pname, int32_t value) {
  const auto flag = [&](uint8_t& field) {
    field = value != 0;
    return GLenum{GL_NO_ERROR};
  };
  const auto count = [&](int32_t& field) {
    if (value < 0) return GLenum{GL_INVALID_VALUE};
    field = value;
    return GLenum{GL_NO_ERROR};
  };
  const auto alignment = [&](int32_t& field) {
    if (value != 1 && value != 2 && value != 4 && value != 8) return GLenum{GL_INVALID_VALUE};
    field = value;
    return GLenum{GL_NO_ERROR};
  };
  switch (pname) {
    case GL_UNPACK_SWAP_BYTES:
      return flag(state.unpack.swapBytes);
    case GL_PACK_SWAP_BYTES:
      return flag(state.pack.swapBytes);
    case GL_UNPACK_LSB_FIRST:
      return flag(state.unpack.lsbFirst);
    case GL_PACK_LSB_FIRST:
      return flag(state.pack.lsbFirst);
    case GL_UNPACK_ROW_LENGTH:
      return count(state.unpack.rowLength);
    case GL_PACK_ROW_LENGTH:
      return count(state.pack.rowLength);
    case GL_UNPACK_SKIP_ROWS:
      return count(state.unpack.skipRows);
    case GL_PACK_SKIP_ROWS:
      return count(state.pack.skipRows);
    case GL_UNPACK_SKIP_PIXELS:
      return count(state.unpack.skipPixels);
    case GL_PACK_SKIP_PIXELS:
      return count(state.pack.skipPixels);
    case GL_UNPACK_ALIGNMENT:
      return alignment(state.unpack.alignment);
    case GL_PACK_ALIGNMENT:
      return alignment(state.pack.alignment);
    case GL_UNPACK_IMAGE_HEIGHT:
      return count(state.unpack.imageHeight);
    case GL_PACK_IMAGE_HEIGHT:
      return count(state.pack.imageHeight);
    case GL_UNPACK_SKIP_IMAGES:
      return count(state.unpack.skipImages);
    case GL_PACK_SKIP_IMAGES:
      return count(state.pack.skipImages);
    default:
      return GL_INVALID_ENUM;
  }
}

}  // namespace qv
