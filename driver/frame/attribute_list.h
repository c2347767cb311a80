// AttributeList: the zero-terminated list of 16-bit tokens that tells the host the properties of a context or drawable.
#pragma once

#include <cstdint>

#include "driver/host/escape_packets.h"

namespace qv {

class AttributeList {
 public:
  void add(uint32_t word) { words_[count_++] = static_cast<uint16_t>(word); }
  void add(uint32_t token, uint32_t value) {
    add(token);
    add(value);
  }
  const uint16_t* words() const { return words_; }

 private:
  // No list takes more than nine words and its end.
  uint16_t words_[kAttributeWords] = {};
  uint32_t count_ = 0;
};

// The list of a window with this pixel format.
AttributeList windowAttributes(int32_t format);
// The list of a context: that of its window with the version and the profile.
AttributeList contextAttributes(int32_t format, uint16_t version, uint8_t compatibility);
// The list of a pbuffer; it has neither samples nor sRGB, whatever the format. `textureFormat` and `textureTarget` are WGL
// values.
AttributeList pbufferAttributes(int32_t format, int32_t textureFormat, int32_t textureTarget, bool mipmaps);

}  // namespace qv
