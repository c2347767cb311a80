// The length of one pixel value as glClearBufferData takes it.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"
#include "wire/image_size.h"

namespace qv {

// The longest value: four components of 32 bits.
inline constexpr uint32_t kLongestClearValue = 16;

// Bytes of a value in the program's memory: a pixel of an image. 0 for what is no format or type.
constexpr uint32_t clearValueBytes(GLenum format, GLenum type) {
  // In a type that is not packed a depth and a stencil value are two components, which no image has.
  if (format == GL_DEPTH_STENCIL) return (packedPixelBytes(type) != 0 ? 1 : 2) * pixelTypeSize(type);
  if (pixelComponents(format, GL_UNSIGNED_BYTE) == 0) return 0;
  return pixelComponents(format, type) * pixelTypeSize(type);
}

}  // namespace qv
