// How many values the answer to a query has.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv {

// Bounds of the counts that a host tells, far above any that an OpenGL has: the program's buffer is filled by them.
inline constexpr int32_t kMostFormats = 1024;
inline constexpr int32_t kMostPixelMapEntries = 65536;
inline constexpr int32_t kMostEvaluatorOrder = 256;
// A count of the host's; 0 for one that is none.
constexpr int32_t boundedCount(int32_t count, int32_t most) { return count < 0 || count > most ? 0 : count; }

// Values of `pname` in a context of that version. 0 for an unknown name; the host is then not asked: required oddity 29.
// GL_COMPRESSED_TEXTURE_FORMATS alone asks the host, through glGetIntegerv on the current context, each time; without formats it
// counts as unknown (required oddity 31).
int32_t valueCount(uint16_t contextVersion, GLenum pname);

// Entries of a pixel map, asked of the host; 0 without asking for a bad map.
int32_t pixelMapSize(GLenum map);

// Values of glTexEnv and glGetTexEnv. No pname is unknown: a bad one goes to the host with one value.
int32_t texEnvValueCount(GLenum pname);

}  // namespace qv
