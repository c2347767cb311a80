// The fourteen pixel formats, the same on every machine: a format is only a promise about the host's drawable.
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace qv {

// A row, laid out as the system's descriptor.
using PixelFormatRecord = PIXELFORMATDESCRIPTOR;
static_assert(sizeof(PixelFormatRecord) == 40);

inline constexpr int32_t kPixelFormats = 14;

inline constexpr bool isPixelFormat(int32_t format) { return format >= 1 && format <= kPixelFormats; }

// Row of `format`; it must be 0 (a row of zeros) or within 1..14.
const PixelFormatRecord& pixelFormat(int32_t format);

inline bool isDoubleBuffered(int32_t format) { return (pixelFormat(format).dwFlags & PFD_DOUBLEBUFFER) != 0; }

// Samples per pixel: 0, 2, 4 or 8.
uint32_t pixelFormatSamples(int32_t format);
bool isSrgbCapable(int32_t format);

// Value of a WGL_ARB_pixel_format attribute of `format` (1..14); 0 for an attribute that is not known.
uint32_t pixelFormatAttribute(int32_t format, int32_t attribute);

}  // namespace qv
