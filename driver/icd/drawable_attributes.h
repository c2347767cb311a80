// The attribute lists of windows, contexts and pbuffers.
#pragma once

#include <cstdint>

#include "wire/attribute_list.h"

namespace qv {

// The list of a window with this pixel format.
AttributeList windowAttributes(int32_t format);
// The list of a context: that of its window with the version and the profile.
AttributeList contextAttributes(int32_t format, uint16_t version, uint8_t compatibility);
// The list of a pbuffer; it has neither samples nor sRGB, whatever the format. `textureFormat` and `textureTarget` are WGL
// values.
AttributeList pbufferAttributes(int32_t format, int32_t textureFormat, int32_t textureTarget, bool mipmaps);

}  // namespace qv
