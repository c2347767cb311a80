// The length of one pixel value as glClearBufferData takes it.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv {

// The longest value: four components of 32 bits.
inline constexpr uint32_t kLongestClearValue = 16;

// Bytes of a value in the program's memory; 0 for a pair of enums that GL refuses.
constexpr uint32_t clearValueBytes(GLenum format, GLenum type) {
  uint32_t components = 0;
  switch (format) {
    case GL_RED:
    case GL_GREEN:
    case GL_BLUE:
    case GL_ALPHA:
    case GL_RED_INTEGER:
    case GL_GREEN_INTEGER:
    case GL_BLUE_INTEGER:
    case GL_LUMINANCE:
    case GL_STENCIL_INDEX:
    case GL_DEPTH_COMPONENT:
      components = 1;
      break;
    case GL_RG:
    case GL_RG_INTEGER:
    case GL_LUMINANCE_ALPHA:
    case GL_DEPTH_STENCIL:
      components = 2;
      break;
    case GL_RGB:
    case GL_BGR:
    case GL_RGB_INTEGER:
    case GL_BGR_INTEGER:
      components = 3;
      break;
    case GL_RGBA:
    case GL_BGRA:
    case GL_RGBA_INTEGER:
    case GL_BGRA_INTEGER:
      components = 4;
      break;
    default:
      return 0;
  }
  switch (type) {
    case GL_BYTE:
    case GL_UNSIGNED_BYTE:
      return components;
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
    case GL_HALF_FLOAT:
      return 2 * components;
    case GL_INT:
    case GL_UNSIGNED_INT:
    case GL_FLOAT:
      return 4 * components;
    case GL_UNSIGNED_BYTE_3_3_2:
    case GL_UNSIGNED_BYTE_2_3_3_REV:
      return 1;
    case GL_UNSIGNED_SHORT_5_6_5:
    case GL_UNSIGNED_SHORT_5_6_5_REV:
    case GL_UNSIGNED_SHORT_4_4_4_4:
    case GL_UNSIGNED_SHORT_4_4_4_4_REV:
    case GL_UNSIGNED_SHORT_5_5_5_1:
    case GL_UNSIGNED_SHORT_1_5_5_5_REV:
      return 2;
    case GL_UNSIGNED_INT_8_8_8_8:
    case GL_UNSIGNED_INT_8_8_8_8_REV:
    case GL_UNSIGNED_INT_10_10_10_2:
    case GL_UNSIGNED_INT_2_10_10_10_REV:
    case GL_UNSIGNED_INT_10F_11F_11F_REV:
    case GL_UNSIGNED_INT_5_9_9_9_REV:
    case GL_UNSIGNED_INT_24_8:
      return 4;
    case GL_FLOAT_32_UNSIGNED_INT_24_8_REV:
      return 8;
    default:
      return 0;
  }
}

}  // namespace qv
