// How many values the answer to a query has. A count of 0 makes a name unknown: it then never reaches the host.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv {

// Values of `pname` in a context of that version; 0 when it is unknown there. GL_COMPRESSED_TEXTURE_FORMATS alone asks the
// host, through glGetIntegerv on the current context, each time.
int32_t valueCount(uint16_t contextVersion, GLenum pname);

// Entries of a pixel map, asked of the host; 0 without asking for a bad map.
int32_t pixelMapSize(GLenum map);

// Values of glTexEnv and glGetTexEnv. There is no unknown: the host sees a bad pname as a command of one value.
int32_t texEnvValueCount(GLenum pname);

}  // namespace qv
