// The kernel driver's numbering of surface formats.
#pragma once

#include <cstdint>

namespace qv {

inline constexpr uint32_t kD3dFormatX8R8G8B8 = 22;
inline constexpr uint32_t kUnknownFormatId = 142;

// Format id of a D3D format, kUnknownFormatId for one that the table lacks.
uint32_t displayFormatId(uint32_t d3dFormat);

// Bytes per pixel of a format id; 0 for one that no surface of this driver uses.
uint32_t surfaceBytesPerPixel(uint32_t formatId);

}  // namespace qv
