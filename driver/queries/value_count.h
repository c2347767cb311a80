// How many values the answer to a query has.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv {

// Values of `pname` in a context of that version. 0 for an unknown name; the host is then not asked: required oddity 29.
// GL_COMPRESSED_TEXTURE_FORMATS alone asks the host, through glGetIntegerv on the current context, each time; without formats it
// counts as unknown (required oddity 31).
int32_t valueCount(uint16_t contextVersion, GLenum pname);

// Entries of a pixel map, asked of the host; 0 without asking for a bad map.
int32_t pixelMapSize(GLenum map);

// Values of glTexEnv and glGetTexEnv. No pname is unknown: a bad one goes to the host with one value.
int32_t texEnvValueCount(GLenum pname);

}  // namespace qv
