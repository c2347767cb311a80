// The table of pixel formats and what is computed from a format's number.
#include "driver/base/pixel_formats.h"

#include "driver/base/wgl_api.h"

namespace qv {

namespace {

struct Channel {
  BYTE bits;
  BYTE shift;
};

constexpr PixelFormatRecord row(DWORD flags, BYTE colorBits, Channel red, Channel green, Channel blue, Channel alpha,
                                BYTE depth) {
  PixelFormatRecord record{};
  record.nSize = sizeof(PixelFormatRecord);
  record.nVersion = 1;
  record.dwFlags = flags;
  record.iPixelType = PFD_TYPE_RGBA;
  record.cColorBits = colorBits;
  record.cRedBits = red.bits;
  record.cRedShift = red.shift;
  record.cGreenBits = green.bits;
  record.cGreenShift = green.shift;
  record.cBlueBits = blue.bits;
  record.cBlueShift = blue.shift;
  record.cAlphaBits = alpha.bits;
  record.cAlphaShift = alpha.shift;
  record.cAccumBits = 64;
  record.cAccumRedBits = record.cAccumGreenBits = record.cAccumBlueBits = record.cAccumAlphaBits = 16;
  record.cDepthBits = depth;
  record.cStencilBits = 8;
  record.dwVisibleMask = 65535;
  return record;
}

constexpr PixelFormatRecord color32(DWORD flags, BYTE depth, BYTE redShift = 16) {
  return row(flags, 32, {8, redShift}, {8, 8}, {8, 0}, {8, 24}, depth);
}

constexpr PixelFormatRecord float128(DWORD flags) { return row(flags, 128, {32, 64}, {32, 32}, {32, 0}, {32, 96}, 24); }

// Flag bits: 1 double-buffered, 4 draws to a window, 32 supports OpenGL, 1024 swaps by exchange. 5 and 6 are floating-point
// formats for pbuffers. 7 to 14 are the multisample and sRGB formats. They lack bit 32 (required oddity 56), so that
// ChoosePixelFormat passes them by and only wglChoosePixelFormatARB finds them.
constexpr PixelFormatRecord kRows[kPixelFormats + 1] = {
    {},
    color32(36, 0),
    color32(1061, 0, 10),  // the red shift: required oddity 55
    color32(36, 24),
    color32(1061, 24),
    float128(32),
    float128(1057),
    color32(4, 24),
    color32(1029, 24),
    color32(4, 24),
    color32(1029, 24),
    color32(4, 24),
    color32(1029, 24),
    color32(4, 24),
    color32(1029, 24),
};

constexpr uint8_t kSamples[kPixelFormats + 1] = {0, 0, 0, 0, 0, 0, 0, 2, 2, 4, 4, 8, 8, 8, 8};

}  // namespace

const PixelFormatRecord& pixelFormat(int32_t format) { return kRows[format]; }

uint32_t pixelFormatSamples(int32_t format) { return kSamples[format]; }

bool isSrgbCapable(int32_t format) { return format >= 13; }

uint32_t pixelFormatAttribute(int32_t format, int32_t attribute) {
  const PixelFormatRecord& record = kRows[format];
  switch (attribute) {
    case WGL_DRAW_TO_WINDOW_ARB:
      return (record.dwFlags & PFD_DRAW_TO_WINDOW) != 0;
    case WGL_ACCELERATION_ARB:
      return WGL_FULL_ACCELERATION_ARB;
    case WGL_SWAP_METHOD_ARB:
      return WGL_SWAP_COPY_ARB;  // required oddity 57
    case WGL_SHARE_DEPTH_ARB:
    case WGL_SHARE_STENCIL_ARB:
    case WGL_SHARE_ACCUM_ARB:
    case WGL_SUPPORT_OPENGL_ARB:  // formats 7 to 14 too
      return 1;
    case WGL_DOUBLE_BUFFER_ARB:
      return (record.dwFlags & PFD_DOUBLEBUFFER) != 0;
    case WGL_PIXEL_TYPE_ARB:
      return record.cColorBits < 33 ? WGL_TYPE_RGBA_ARB : WGL_TYPE_RGBA_FLOAT_ARB;
    case WGL_COLOR_BITS_ARB:
      return record.cColorBits;
    case WGL_RED_BITS_ARB:
      return record.cRedBits;
    case WGL_RED_SHIFT_ARB:
      return record.cRedShift;
    case WGL_GREEN_BITS_ARB:
      return record.cGreenBits;
    case WGL_GREEN_SHIFT_ARB:
      return record.cGreenShift;
    case WGL_BLUE_BITS_ARB:
      return record.cBlueBits;
    case WGL_BLUE_SHIFT_ARB:
      return record.cBlueShift;
    case WGL_ALPHA_BITS_ARB:
      return record.cAlphaBits;
    case WGL_ALPHA_SHIFT_ARB:
      return record.cAlphaShift;
    case WGL_ACCUM_BITS_ARB:
      return record.cAccumBits;
    case WGL_ACCUM_RED_BITS_ARB:
      return record.cAccumRedBits;
    case WGL_ACCUM_GREEN_BITS_ARB:
      return record.cAccumGreenBits;
    case WGL_ACCUM_BLUE_BITS_ARB:
      return record.cAccumBlueBits;
    case WGL_ACCUM_ALPHA_BITS_ARB:
      return record.cAccumAlphaBits;
    case WGL_DEPTH_BITS_ARB:
      return record.cDepthBits;
    case WGL_STENCIL_BITS_ARB:
      return record.cStencilBits;
    case WGL_AUX_BUFFERS_ARB:
      return record.cAuxBuffers;
    case WGL_DRAW_TO_PBUFFER_ARB:
    case WGL_BIND_TO_TEXTURE_RGB_ARB:
    case WGL_BIND_TO_TEXTURE_RGBA_ARB:
      return 1;
    case WGL_MAX_PBUFFER_PIXELS_ARB:
      return 4194304;
    case WGL_MAX_PBUFFER_WIDTH_ARB:
    case WGL_MAX_PBUFFER_HEIGHT_ARB:
      return 2048;
    case WGL_SAMPLE_BUFFERS_ARB:
      return kSamples[format] != 0;
    case WGL_SAMPLES_ARB:
      return kSamples[format];
    case WGL_FRAMEBUFFER_SRGB_CAPABLE_ARB:
      return isSrgbCapable(format) ? 1 : 0;
    default:
      return 0;
  }
}

}  // namespace qv
