// How much client memory an image takes, and where its rows lie there: one definition for the guest, which copies the bytes, and
// for the host, which checks them.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"
#include "wire/pixel_store.h"

namespace qv {

// Bytes of a pixel of a packed type, which holds all components; 0 for other types.
constexpr uint32_t packedPixelBytes(GLenum type) {
  switch (type) {
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
    case GL_UNSIGNED_INT_24_8:
    case GL_UNSIGNED_INT_10F_11F_11F_REV:
    case GL_UNSIGNED_INT_5_9_9_9_REV:
    case GL_UNSIGNED_INT_S8_S8_8_8_NV:
    case GL_UNSIGNED_INT_8_8_S8_S8_REV_NV:
      return 4;
    case GL_FLOAT_32_UNSIGNED_INT_24_8_REV:
      return 8;
    default:
      return 0;
  }
}

// Bytes of one component; of the whole pixel for a packed type. 0 for GL_BITMAP and for what is no type.
constexpr uint32_t pixelTypeSize(GLenum type) {
  switch (type) {
    case GL_BYTE:
    case GL_UNSIGNED_BYTE:
      return 1;
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
    case GL_HALF_FLOAT:
      return 2;
    case GL_INT:
    case GL_UNSIGNED_INT:
    case GL_FLOAT:
      return 4;
    default:
      return packedPixelBytes(type);
  }
}

// Components of a pixel that travel apart: 1 for a packed type, 0 for what is no format.
constexpr uint32_t pixelComponents(GLenum format, GLenum type) {
  if (packedPixelBytes(type) != 0) return 1;
  switch (format) {
    case GL_COLOR_INDEX:
    case GL_STENCIL_INDEX:
    case GL_DEPTH_COMPONENT:
    case GL_RED:
    case GL_GREEN:
    case GL_BLUE:
    case GL_ALPHA:
    case GL_LUMINANCE:
    case GL_RED_INTEGER:
    case GL_GREEN_INTEGER:
    case GL_BLUE_INTEGER:
    case GL_ALPHA_INTEGER:
    case GL_LUMINANCE_INTEGER_EXT:
      return 1;
    case GL_LUMINANCE_ALPHA:
    case GL_RG:
    case GL_RG_INTEGER:
    case GL_LUMINANCE_ALPHA_INTEGER_EXT:
    case GL_HILO_NV:
    case GL_DSDT_NV:
    case GL_HILO16_NV:
    case GL_SIGNED_HILO_NV:
    case GL_SIGNED_HILO16_NV:
    case GL_DSDT8_NV:
      return 2;
    case GL_RGB:
    case GL_BGR:
    case GL_RGB_INTEGER:
    case GL_BGR_INTEGER:
    case GL_DSDT_MAG_NV:
    case GL_DSDT8_MAG8_NV:
      return 3;
    case GL_RGBA:
    case GL_BGRA:
    case GL_ABGR_EXT:
    case GL_RGBA_INTEGER:
    case GL_BGRA_INTEGER:
    case GL_DSDT_MAG_INTENSITY_NV:
    case GL_DSDT_MAG_VIB_NV:
    case GL_DSDT8_MAG8_INTENSITY8_NV:
      return 4;
    default:
      return 0;
  }
}

// Targets that only ask whether an image would do: no pixels travel.
constexpr bool isProxyTarget(GLenum target) {
  switch (target) {
    case GL_PROXY_TEXTURE_1D:
    case GL_PROXY_TEXTURE_2D:
    case GL_PROXY_TEXTURE_3D:
    case GL_PROXY_TEXTURE_CUBE_MAP:
    case GL_PROXY_TEXTURE_RECTANGLE:
    case GL_PROXY_HISTOGRAM:
    case GL_PROXY_COLOR_TABLE:
    case GL_PROXY_POST_CONVOLUTION_COLOR_TABLE:
    case GL_PROXY_POST_COLOR_MATRIX_COLOR_TABLE:
    case GL_PROXY_TEXTURE_4D_SGIS:
    case GL_PROXY_TEXTURE_COLOR_TABLE_SGI:
    case GL_PROXY_POST_IMAGE_TRANSFORM_COLOR_TABLE_HP:
      return true;
    default:
      return false;
  }
}

struct Extent {
  int32_t width = 0, height = 1, depth = 1;
};

// --- the guest's count ---

// The bytes that the guest copies for an image: the span that the pixel store state names, in 32-bit arithmetic that wraps.
// `target` is 0 for an image without one. A tight image counts the padding of its last row, any other ends at its last pixel.
// One-dimensional and flat images, too, count skipped images and the image height (required oddity 83).
constexpr uint32_t imageBytes(const PixelStoreHalf& store, GLenum target, GLenum format, GLenum type, const Extent& extent) {
  if (isProxyTarget(target) || extent.width <= 0 || extent.height <= 0 || extent.depth <= 0) return 0;
  const auto aligned = [&](uint32_t bytes) {
    const auto alignment = static_cast<uint32_t>(store.alignment);
    const uint32_t over = bytes & (alignment - 1);
    return over == 0 ? bytes : bytes + alignment - over;
  };
  const auto width = static_cast<uint32_t>(extent.width), height = static_cast<uint32_t>(extent.height),
             depth = static_cast<uint32_t>(extent.depth), skipPixels = static_cast<uint32_t>(store.skipPixels);
  const uint32_t rowPixels = store.rowLength > 0 ? static_cast<uint32_t>(store.rowLength) : width;
  const uint32_t imageRows = store.imageHeight > 0 ? static_cast<uint32_t>(store.imageHeight) : height;
  const uint32_t rowsBefore =
      height - 1 + (depth - 1 + static_cast<uint32_t>(store.skipImages)) * imageRows + static_cast<uint32_t>(store.skipRows);
  if (type == GL_BITMAP) return aligned((rowPixels + 7) / 8) * rowsBefore + (skipPixels + 7 + width) / 8;
  const uint32_t pixelBytes = pixelComponents(format, type) * pixelTypeSize(type);
  const bool tight = (store.rowLength | store.skipPixels | store.skipRows | store.skipImages | store.imageHeight) == 0;
  if (tight) return aligned(pixelBytes * width) * height * depth;
  return pixelBytes * (skipPixels + width) + aligned(rowPixels * pixelBytes) * rowsBefore;
}

// --- where OpenGL looks ---

// Places of an image in memory, in bytes. Every number is exact, or kTooFar where it would not fit.
struct ImageShape {
  static constexpr uint64_t kTooFar = uint64_t{1} << 62;

  uint64_t first = 0;        // of the first row
  uint64_t run = 0;          // of a row's pixels
  uint64_t stride = 0;       // from row to row
  uint64_t rows = 0;         // of one image
  uint64_t imageStride = 0;  // from image to image
  uint64_t images = 0;
  uint32_t skippedBits = 0;  // of a bitmap: pixels skipped within its rows' first byte

  bool empty() const { return run == 0 || rows == 0 || images == 0; }
  uint64_t end() const;  // behind the last pixel; 0 for an empty image
  // Bytes of the pixels alone.
  uint64_t tightBytes() const;
};

namespace detail {
// Products and sums that stop at kTooFar.
constexpr uint64_t farProduct(uint64_t a, uint64_t b) {
  return a != 0 && b > ImageShape::kTooFar / a ? ImageShape::kTooFar : a * b;
}
constexpr uint64_t farSum(uint64_t a, uint64_t b) { return a + b > ImageShape::kTooFar ? ImageShape::kTooFar : a + b; }
}  // namespace detail

inline uint64_t ImageShape::end() const {
  if (empty()) return 0;
  using namespace detail;
  return farSum(farSum(first, farProduct(images - 1, imageStride)), farSum(farProduct(rows - 1, stride), run));
}
inline uint64_t ImageShape::tightBytes() const { return detail::farProduct(detail::farProduct(run, rows), images); }

// The places that OpenGL reads or writes for an image of a format and type under the pixel store state. Only images of three
// dimensions heed the image height and skipped images. An unknown format or type, GL_BITMAP with anything but indices and stencil
// values too, takes nothing.
constexpr ImageShape imageShape(const PixelStoreHalf& store, uint32_t dimensions, GLenum format, GLenum type,
                                const Extent& extent) {
  using namespace detail;
  ImageShape shape;
  if (extent.width <= 0 || extent.height <= 0 || extent.depth <= 0) return shape;
  const auto width = static_cast<uint64_t>(extent.width), skipPixels = static_cast<uint64_t>(store.skipPixels);
  const uint64_t rowPixels = store.rowLength > 0 ? static_cast<uint64_t>(store.rowLength) : width;
  const auto alignment = static_cast<uint64_t>(store.alignment);
  const auto aligned = [&](uint64_t bytes) { return (bytes + alignment - 1) & ~(alignment - 1); };
  uint64_t skipped = 0;
  if (type == GL_BITMAP) {
    if (format != GL_COLOR_INDEX && format != GL_STENCIL_INDEX) return shape;
    shape.skippedBits = static_cast<uint32_t>(skipPixels % 8);
    shape.run = (shape.skippedBits + width + 7) / 8;
    shape.stride = aligned((rowPixels + 7) / 8);
    skipped = skipPixels / 8;
  } else {
    const uint64_t pixelBytes = uint64_t{pixelComponents(format, type)} * pixelTypeSize(type);
    if (pixelBytes == 0) return shape;
    shape.run = pixelBytes * width;
    shape.stride = aligned(pixelBytes * rowPixels);
    skipped = pixelBytes * skipPixels;
  }
  shape.rows = static_cast<uint64_t>(extent.height);
  shape.images = static_cast<uint64_t>(extent.depth);
  const bool deep = dimensions == 3;
  const uint64_t imageRows = deep && store.imageHeight > 0 ? static_cast<uint64_t>(store.imageHeight) : shape.rows;
  shape.imageStride = farProduct(shape.stride, imageRows);
  shape.first = farSum(skipped, farProduct(shape.stride, static_cast<uint64_t>(store.skipRows)));
  if (deep) shape.first = farSum(shape.first, farProduct(shape.imageStride, static_cast<uint64_t>(store.skipImages)));
  return shape;
}

// --- which arguments of a call size its image ---

// An image of a call, as its arguments describe it.
struct CallImage {
  uint32_t dimensions = 2;
  GLenum target = 0;
  Extent extent = {};
  GLenum format = 0, type = 0;

  ImageShape shape(const PixelStoreHalf& store) const { return imageShape(store, dimensions, format, type, extent); }
};

// The following say of a form Image which data the call has. image(arguments) reads argument I as arguments.at<I>(). dataCount()
// is what the guest's word says: bytes, or elements of the pointer's type.

// An image of D dimensions, the sizes from argument W on, the format at argument F with the type behind it, the target at
// argument 0 unless the width stands there.
template <uint32_t D, uint32_t W, uint32_t F>
struct PixelsAt {
  template <typename Arguments>
  static constexpr CallImage image(const Arguments& arguments) {
    CallImage out{.dimensions = D,
                  .format = static_cast<GLenum>(arguments.template at<F>()),
                  .type = static_cast<GLenum>(arguments.template at<F + 1>())};
    if constexpr (W != 0) out.target = static_cast<GLenum>(arguments.template at<0>());
    out.extent.width = static_cast<int32_t>(arguments.template at<W>());
    if constexpr (D >= 2) out.extent.height = static_cast<int32_t>(arguments.template at<W + 1>());
    if constexpr (D >= 3) out.extent.depth = static_cast<int32_t>(arguments.template at<W + 2>());
    return out;
  }
};

// The bitmap of glBitmap, its sizes first.
struct BitmapAt {
  template <typename Arguments>
  static constexpr CallImage image(const Arguments& arguments) {
    return {.extent = {static_cast<int32_t>(arguments.template at<0>()), static_cast<int32_t>(arguments.template at<1>()), 1},
            .format = GL_COLOR_INDEX,
            .type = GL_BITMAP};
  }
};

// The pattern of glPolygonStipple.
struct Stipple {
  template <typename Arguments>
  static constexpr CallImage image(const Arguments&) {
    return {.extent = {32, 32, 1}, .format = GL_COLOR_INDEX, .type = GL_BITMAP};
  }
};

// As many bytes, or elements, as argument I says; none when it is negative, which OpenGL refuses.
template <uint32_t I>
struct CountAt {
  template <typename Arguments>
  static constexpr uint32_t count(const Arguments& arguments) {
    const auto n = arguments.template at<I>();
    return n < 0 ? 0 : static_cast<uint32_t>(n);
  }
};

template <typename Data>
inline constexpr bool kSizedByPixelStore = true;
template <uint32_t I>
inline constexpr bool kSizedByPixelStore<CountAt<I>> = false;

template <typename Data, typename Arguments>
constexpr uint32_t dataCount(const PixelStoreHalf& store, const Arguments& arguments) {
  if constexpr (kSizedByPixelStore<Data>) {
    const CallImage image = Data::image(arguments);
    return imageBytes(store, image.target, image.format, image.type, image.extent);
  } else {
    return Data::count(arguments);
  }
}

}  // namespace qv
