// The WGL functions that read the pixel format table by attribute.
#include <limits>

#include "driver/base/pixel_formats.h"
#include "driver/tables/wgl_routines.h"

namespace qv::gl {

namespace {

template <typename Value>
BOOL getAttributes(HDC hdc, int format, UINT count, const int* attributes, Value* values) {
  if (hdc == nullptr) return 0;
  for (UINT i = 0; i < count; ++i) {
    if (attributes[i] == WGL_NUMBER_PIXEL_FORMATS_ARB) {
      values[i] = static_cast<Value>(kPixelFormats);
      continue;
    }
    if (!isPixelFormat(format)) return 0;
    values[i] = static_cast<Value>(pixelFormatAttribute(format, attributes[i]));
  }
  return 1;
}

bool needsEquality(int attribute) {
  switch (attribute) {
    case WGL_ACCELERATION_ARB:
    case WGL_SUPPORT_OPENGL_ARB:
    case WGL_DOUBLE_BUFFER_ARB:
    case WGL_PIXEL_TYPE_ARB:
    case WGL_DRAW_TO_PBUFFER_ARB:
    case WGL_BIND_TO_TEXTURE_RGB_ARB:
    case WGL_BIND_TO_TEXTURE_RGBA_ARB:
      return true;
    default:
      return false;
  }
}

// A set of formats, bit n for format n.
using FormatSet = uint32_t;

template <typename Value>
FormatSet dropOthers(FormatSet candidates, int attribute, Value request) {
  const bool equality = needsEquality(attribute);
  for (int format = 1; format <= kPixelFormats; ++format) {
    const Value value = static_cast<Value>(static_cast<int32_t>(pixelFormatAttribute(format, attribute)));
    const bool fits = equality ? value == request : value >= request;
    if (!fits) candidates &= ~(1u << format);
  }
  return candidates;
}

// Truncates as the processor does: a NaN, or a value beyond the range, becomes the lowest integer.
int truncated(FLOAT key) {
  constexpr FLOAT kLimit = 2147483648.0f;
  return key >= -kLimit && key < kLimit ? static_cast<int>(key) : std::numeric_limits<int>::min();
}

}  // namespace

BOOL WINAPI wglGetPixelFormatAttribivARB(HDC hdc, int format, int, UINT count, const int* attributes, int* values) {
  return getAttributes(hdc, format, count, attributes, values);
}

BOOL WINAPI wglGetPixelFormatAttribfvARB(HDC hdc, int format, int, UINT count, const int* attributes, FLOAT* values) {
  return getAttributes(hdc, format, count, attributes, values);
}

// There is no ranking, the result is in the order of the formats: required oddity 58.
BOOL WINAPI wglChoosePixelFormatARB(HDC hdc, const int* intAttributes, const FLOAT* floatAttributes, UINT maxFormats,
                                    int* formats, UINT* count) {
  if (hdc == nullptr || (maxFormats != 0 && formats == nullptr)) return 0;
  FormatSet candidates = ((1u << kPixelFormats) - 1) << 1;
  if (intAttributes != nullptr) {
    for (; intAttributes[0] != 0; intAttributes += 2) {
      candidates = dropOthers(candidates, intAttributes[0], intAttributes[1]);
    }
  }
  if (floatAttributes != nullptr) {
    // Only a key that equals 0 ends the list; a NaN does not.
    for (; !(floatAttributes[0] == 0.0f); floatAttributes += 2) {
      candidates = dropOthers(candidates, truncated(floatAttributes[0]), floatAttributes[1]);
    }
  }
  UINT found = 0;
  for (int format = 1; format <= kPixelFormats; ++format) {
    if ((candidates >> format & 1) == 0) continue;
    if (found < maxFormats) formats[found] = format;
    ++found;
  }
  if (count != nullptr) *count = found;
  return found != 0 ? 1 : 0;
}

}  // namespace qv::gl
