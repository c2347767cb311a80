// AttributeList: the zero-terminated list of 16-bit tokens that tells the host the properties of a context or drawable.
#pragma once

#include <cstdint>

namespace qv {

// Words of a list in a packet, its zero included.
inline constexpr uint32_t kAttributeWords = 60;

// GL tokens in any order: GL_DOUBLEBUFFER, GL_FRAMEBUFFER_SRGB, GL_RGBA32F, GL_RGB or GL_RGBA, GL_TEXTURE_2D or
// GL_TEXTURE_CUBE_MAP and GL_GENERATE_MIPMAP stand alone; a value follows GL_SAMPLES, GL_VERSION and GL_CONTEXT_PROFILE_MASK.
class AttributeList {
 public:
  void add(uint32_t token) { words_[count_++] = static_cast<uint16_t>(token); }
  void add(uint32_t token, uint32_t value) {
    add(token);
    add(value);
  }
  const uint16_t* words() const { return words_; }

 private:
  // The longest list has nine words and its zero.
  uint16_t words_[kAttributeWords] = {};
  uint32_t count_ = 0;
};

}  // namespace qv
