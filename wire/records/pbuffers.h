// Records of the private commands on pbuffers.
#pragma once

#include "wire/gl_api.h"
#include "wire/record.h"

namespace qv {

// From now on drawing to the pbuffer goes to this part of it.
struct PbufferAttribRecord {
  uint32_t windowId;
  GLenum face;  // GL_TEXTURE_CUBE_MAP_POSITIVE_X and the five behind it
  uint32_t level;

  static constexpr const char* kWords[] = {"window", "face", "level"};
};

// The pbuffer becomes the image of the bound texture, or ceases to be it.
struct PbufferImageRecord {
  uint32_t windowId;
  GLenum buffer;  // GL_FRONT or GL_BACK

  static constexpr const char* kWords[] = {"window", "buffer"};
};

}  // namespace qv
