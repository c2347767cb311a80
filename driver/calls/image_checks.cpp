// The checks of images as tables.
#include "driver/calls/image_checks.h"

#include <algorithm>
#include <iterator>

namespace qv {
namespace {

// --- formats and types ---

// Types that stand for a set of formats, and sets of types that formats take. A bit each.
enum TypeGroup : uint32_t {
  kBasic = 1,         // the integers of 8, 16 and 32 bits
  kReal = 2,          // float and half float
  kBitmap = 4,        // GL_BITMAP
  kRgbPacked = 8,     // 3_3_2 and 5_6_5
  kFourPacked = 16,   // 4_4_4_4 and 8_8_8_8
  kAlphaPacked = 32,  // 5_5_5_1 and 10_10_10_2
  kTenBits = 64,      // 2_10_10_10_REV: of kAlphaPacked, and for GL_RGB
  kDepthStencil = 128,
  kSmallFloats = 256,     // 10F_11F_11F_REV
  kSharedExponent = 512,  // 5_9_9_9_REV
  kYuv = 1024,
};

uint32_t groupOf(GLenum type) {
  switch (type) {
    case GL_BYTE:
    case GL_UNSIGNED_BYTE:
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
    case GL_INT:
    case GL_UNSIGNED_INT:
      return kBasic;
    case GL_FLOAT:
    case GL_HALF_FLOAT:
      return kReal;
    case GL_BITMAP:
      return kBitmap;
    case GL_UNSIGNED_BYTE_3_3_2:
    case GL_UNSIGNED_BYTE_2_3_3_REV:
    case GL_UNSIGNED_SHORT_5_6_5:
    case GL_UNSIGNED_SHORT_5_6_5_REV:
      return kRgbPacked;
    case GL_UNSIGNED_SHORT_4_4_4_4:
    case GL_UNSIGNED_INT_8_8_8_8:
    case GL_UNSIGNED_SHORT_4_4_4_4_REV:
    case GL_UNSIGNED_INT_8_8_8_8_REV:
      return kFourPacked;
    case GL_UNSIGNED_SHORT_5_5_5_1:
    case GL_UNSIGNED_INT_10_10_10_2:
    case GL_UNSIGNED_SHORT_1_5_5_5_REV:
      return kAlphaPacked;
    case GL_UNSIGNED_INT_2_10_10_10_REV:
      return kTenBits;
    case GL_UNSIGNED_INT_24_8:
    case GL_FLOAT_32_UNSIGNED_INT_24_8_REV:
      return kDepthStencil;
    case GL_UNSIGNED_INT_10F_11F_11F_REV:
      return kSmallFloats;
    case GL_UNSIGNED_INT_5_9_9_9_REV:
      return kSharedExponent;
    case GL_UNSIGNED_SHORT_8_8_MESA:
    case GL_UNSIGNED_SHORT_8_8_REV_MESA:
      return kYuv;
    default:
      return 0;
  }
}

// Groups whose types belong to certain formats: any other format is GL_INVALID_OPERATION, known or not.
constexpr uint32_t kOfCertainFormats = kRgbPacked | kFourPacked | kAlphaPacked | kTenBits | kDepthStencil | kSmallFloats;

// The groups that a format takes; 0 for an unknown format.
uint32_t groupsOf(GLenum format) {
  switch (format) {
    case GL_COLOR_INDEX:
    case GL_STENCIL_INDEX:
      return kBasic | kReal | kBitmap;
    case GL_DEPTH_COMPONENT:
    case GL_RED:
    case GL_GREEN:
    case GL_BLUE:
    case GL_ALPHA:
    case GL_LUMINANCE:
    case GL_LUMINANCE_ALPHA:
    case GL_BGR:
    case GL_RG:
      return kBasic | kReal;
    case GL_RGB:
      return kBasic | kReal | kRgbPacked | kSmallFloats | kTenBits | kSharedExponent;
    case GL_RGBA:
    case GL_BGRA:
      return kBasic | kReal | kFourPacked | kAlphaPacked | kTenBits;
    case GL_ABGR_EXT:
      return kBasic | kReal | kFourPacked;
    case GL_DEPTH_STENCIL:
      return kDepthStencil;
    case GL_YCBCR_MESA:
      return kYuv;
    case GL_RED_INTEGER:
    case GL_GREEN_INTEGER:
    case GL_BLUE_INTEGER:
    case GL_ALPHA_INTEGER:
    case GL_RG_INTEGER:
    case GL_BGR_INTEGER:
    case GL_LUMINANCE_INTEGER_EXT:
    case GL_LUMINANCE_ALPHA_INTEGER_EXT:
      return kBasic;
    case GL_RGB_INTEGER:
      return kBasic | kRgbPacked;
    case GL_RGBA_INTEGER:
    case GL_BGRA_INTEGER:
      return kBasic | kFourPacked | kAlphaPacked | kTenBits;
    default:
      return 0;
  }
}

// --- internal formats ---

struct FormatRange {
  uint16_t first, last;
  uint16_t base;
};

// Sorted.
constexpr FormatRange kInternalFormats[] = {
    {0x0001, 0x0001, GL_LUMINANCE},
    {0x0002, 0x0002, GL_LUMINANCE_ALPHA},
    {0x0003, 0x0003, GL_RGB},
    {0x0004, 0x0004, GL_RGBA},
    {0x1901, 0x1901, GL_STENCIL_INDEX},
    {0x1902, 0x1902, GL_DEPTH_COMPONENT},
    {0x1903, 0x1903, GL_RED},
    {0x1906, 0x1906, GL_ALPHA},
    {0x1907, 0x1907, GL_RGB},
    {0x1908, 0x1908, GL_RGBA},
    {0x1909, 0x1909, GL_LUMINANCE},
    {0x190A, 0x190A, GL_LUMINANCE_ALPHA},
    {0x2A10, 0x2A10, GL_RGB},
    {0x803B, 0x803E, GL_ALPHA},
    {0x803F, 0x8042, GL_LUMINANCE},
    {0x8043, 0x8048, GL_LUMINANCE_ALPHA},
    {0x8049, 0x804D, GL_INTENSITY},
    {0x804F, 0x8054, GL_RGB},
    {0x8055, 0x805B, GL_RGBA},
    {0x81A5, 0x81A7, GL_DEPTH_COMPONENT},
    {0x8225, 0x8225, GL_RED},
    {0x8226, 0x8227, GL_RG},
    {0x8229, 0x822A, GL_RED},
    {0x822B, 0x822C, GL_RG},
    {0x822D, 0x822E, GL_RED},
    {0x822F, 0x8230, GL_RG},
    {0x8231, 0x8236, GL_RED},
    {0x8237, 0x823C, GL_RG},
    {0x83A0, 0x83A1, GL_RGB},
    {0x83A2, 0x83A3, GL_RGBA},
    {0x83F0, 0x83F0, GL_RGB},
    {0x83F1, 0x83F3, GL_RGBA},
    {0x84E9, 0x84E9, GL_ALPHA},
    {0x84EA, 0x84EA, GL_LUMINANCE},
    {0x84EB, 0x84EB, GL_LUMINANCE_ALPHA},
    {0x84EC, 0x84EC, GL_INTENSITY},
    {0x84ED, 0x84ED, GL_RGB},
    {0x84EE, 0x84EE, GL_RGBA},
    {0x84F9, 0x84F9, GL_DEPTH_STENCIL},
    {0x86B0, 0x86B0, GL_RGB},
    {0x86B1, 0x86B1, GL_RGBA},
    {0x8757, 0x8757, GL_YCBCR_MESA},
    {0x8814, 0x8814, GL_RGBA},
    {0x8815, 0x8815, GL_RGB},
    {0x8816, 0x8816, GL_ALPHA},
    {0x8817, 0x8817, GL_INTENSITY},
    {0x8818, 0x8818, GL_LUMINANCE},
    {0x8819, 0x8819, GL_LUMINANCE_ALPHA},
    {0x881A, 0x881A, GL_RGBA},
    {0x881B, 0x881B, GL_RGB},
    {0x881C, 0x881C, GL_ALPHA},
    {0x881D, 0x881D, GL_INTENSITY},
    {0x881E, 0x881E, GL_LUMINANCE},
    {0x881F, 0x881F, GL_LUMINANCE_ALPHA},
    {0x88F0, 0x88F0, GL_DEPTH_STENCIL},
    {0x8C3A, 0x8C3A, GL_RGB},
    {0x8C3D, 0x8C3D, GL_RGB},
    {0x8C40, 0x8C41, GL_RGB},
    {0x8C42, 0x8C43, GL_RGBA},
    {0x8C44, 0x8C45, GL_LUMINANCE_ALPHA},
    {0x8C46, 0x8C47, GL_LUMINANCE},
    {0x8C48, 0x8C48, GL_RGB},
    {0x8C49, 0x8C49, GL_RGBA},
    {0x8C4A, 0x8C4A, GL_LUMINANCE},
    {0x8C4B, 0x8C4B, GL_LUMINANCE_ALPHA},
    {0x8C4C, 0x8C4C, GL_RGB},
    {0x8C4D, 0x8C4F, GL_RGBA},
    {0x8C70, 0x8C71, GL_LUMINANCE},
    {0x8C72, 0x8C73, GL_LUMINANCE_ALPHA},
    {0x8CAC, 0x8CAC, GL_DEPTH_COMPONENT},
    {0x8CAD, 0x8CAD, GL_DEPTH_STENCIL},
    {0x8D46, 0x8D49, GL_STENCIL_INDEX},
    {0x8D62, 0x8D62, GL_RGB},
    {0x8D70, 0x8D70, GL_RGBA},
    {0x8D71, 0x8D71, GL_RGB},
    {0x8D72, 0x8D72, GL_ALPHA},
    {0x8D73, 0x8D73, GL_INTENSITY},
    {0x8D74, 0x8D74, GL_LUMINANCE},
    {0x8D75, 0x8D75, GL_LUMINANCE_ALPHA},
    {0x8D76, 0x8D76, GL_RGBA},
    {0x8D77, 0x8D77, GL_RGB},
    {0x8D78, 0x8D78, GL_ALPHA},
    {0x8D79, 0x8D79, GL_INTENSITY},
    {0x8D7A, 0x8D7A, GL_LUMINANCE},
    {0x8D7B, 0x8D7B, GL_LUMINANCE_ALPHA},
    {0x8D7C, 0x8D7C, GL_RGBA},
    {0x8D7D, 0x8D7D, GL_RGB},
    {0x8D7E, 0x8D7E, GL_ALPHA},
    {0x8D7F, 0x8D7F, GL_INTENSITY},
    {0x8D80, 0x8D80, GL_LUMINANCE},
    {0x8D81, 0x8D81, GL_LUMINANCE_ALPHA},
    {0x8D82, 0x8D82, GL_RGBA},
    {0x8D83, 0x8D83, GL_RGB},
    {0x8D84, 0x8D84, GL_ALPHA},
    {0x8D85, 0x8D85, GL_INTENSITY},
    {0x8D86, 0x8D86, GL_LUMINANCE},
    {0x8D87, 0x8D87, GL_LUMINANCE_ALPHA},
    {0x8D88, 0x8D88, GL_RGBA},
    {0x8D89, 0x8D89, GL_RGB},
    {0x8D8A, 0x8D8A, GL_ALPHA},
    {0x8D8B, 0x8D8B, GL_INTENSITY},
    {0x8D8C, 0x8D8C, GL_LUMINANCE},
    {0x8D8D, 0x8D8D, GL_LUMINANCE_ALPHA},
    {0x8D8E, 0x8D8E, GL_RGBA},
    {0x8D8F, 0x8D8F, GL_RGB},
    {0x8D90, 0x8D90, GL_ALPHA},
    {0x8D91, 0x8D91, GL_INTENSITY},
    {0x8D92, 0x8D92, GL_LUMINANCE},
    {0x8D93, 0x8D93, GL_LUMINANCE_ALPHA},
    {0x8DBB, 0x8DBC, GL_RED},
    {0x8DBD, 0x8DBE, GL_RG},
    {0x8E8C, 0x8E8D, GL_RGBA},
    {0x8E8E, 0x8E8F, GL_RGB},
    {0x8F90, 0x8F90, GL_RED},
    {0x8F91, 0x8F91, GL_RG},
    {0x8F92, 0x8F92, GL_RGB},
    {0x8F93, 0x8F93, GL_RGBA},
    {0x8F94, 0x8F94, GL_RED},
    {0x8F95, 0x8F95, GL_RG},
    {0x8F96, 0x8F96, GL_RGB},
    {0x8F97, 0x8F97, GL_RGBA},
    {0x8F98, 0x8F98, GL_RED},
    {0x8F99, 0x8F99, GL_RG},
    {0x8F9A, 0x8F9A, GL_RGB},
    {0x8F9B, 0x8F9B, GL_RGBA},
    {0x8FBD, 0x8FBD, GL_RED},
    {0x9010, 0x9010, GL_ALPHA},
    {0x9011, 0x9011, GL_LUMINANCE},
    {0x9012, 0x9012, GL_LUMINANCE_ALPHA},
    {0x9013, 0x9013, GL_INTENSITY},
    {0x9014, 0x9014, GL_ALPHA},
    {0x9015, 0x9015, GL_LUMINANCE},
    {0x9016, 0x9016, GL_LUMINANCE_ALPHA},
    {0x9017, 0x9017, GL_INTENSITY},
    {0x9018, 0x9018, GL_ALPHA},
    {0x9019, 0x9019, GL_LUMINANCE},
    {0x901A, 0x901A, GL_LUMINANCE_ALPHA},
    {0x901B, 0x901B, GL_INTENSITY},
    {0x906F, 0x906F, GL_RGBA},
    {0x9270, 0x9271, GL_RED},
    {0x9272, 0x9273, GL_RG},
    {0x9274, 0x9275, GL_RGB},
    {0x9276, 0x9279, GL_RGBA},
};

}  // namespace

GLenum checkPixelFormatType(GLenum format, GLenum type) {
  const uint32_t group = groupOf(type);
  if ((groupsOf(format) & group) != 0) return GL_NO_ERROR;
  if ((group & kOfCertainFormats) != 0) return GL_INVALID_OPERATION;
  return format == GL_YCBCR_MESA && group != kBitmap ? GL_INVALID_OPERATION : GL_INVALID_ENUM;
}

int32_t internalFormatBase(GLenum internalFormat) {
  const auto* const at = std::upper_bound(std::begin(kInternalFormats), std::end(kInternalFormats), internalFormat,
                                          [](GLenum format, const FormatRange& range) { return format <= range.last; });
  return at != std::end(kInternalFormats) && at->first <= internalFormat ? at->base : -1;
}

GLenum normalizeInternalFormat(GLenum internalFormat) {
  return internalFormat == GL_BGRA || (internalFormat >= 0x80E2 && internalFormat <= 0x80E7) ? GL_RGBA8 : internalFormat;
}

bool isDepthFormat(GLenum format) {
  return format == GL_DEPTH_COMPONENT || format == GL_DEPTH_COMPONENT16 || format == GL_DEPTH_COMPONENT24 ||
         format == GL_DEPTH_COMPONENT32 || format == GL_DEPTH_COMPONENT32F;
}

bool isDepthStencilFormat(GLenum format) {
  return format == GL_DEPTH_STENCIL || format == GL_DEPTH24_STENCIL8 || format == GL_DEPTH32F_STENCIL8;
}

GLenum checkTextureImage(GLenum internalFormat, const Extent& extent, GLint border, GLenum format, GLenum type) {
  if (border > 1 || extent.width < 0 || extent.height < 0 || extent.depth < 0) return GL_INVALID_VALUE;
  if (const GLenum error = checkPixelFormatType(format, type)) return error;
  if (internalFormatBase(internalFormat) < 0) return GL_INVALID_VALUE;
  const auto hasDepth = [](GLenum one) { return isDepthFormat(one) || isDepthStencilFormat(one); };
  return hasDepth(internalFormat) == hasDepth(format) ? GL_NO_ERROR : GL_INVALID_OPERATION;
}

}  // namespace qv
