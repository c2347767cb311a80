// Sending a query to the host, which the local answers come before.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "wire/gl_api.h"

namespace qv {

class GlContext;

// Writes the command `opcode` with `words` behind its header, after closing an open vertex run, and flushes with `reply` as
// the answer's place.
void askHost(GlContext* context, uint32_t opcode, std::initializer_list<uint32_t> words, void* reply, uint32_t replySize);

// Forwards a query of the glGet family: the value count of `pname` is appended to `words`, and as many values of `valueSize`
// bytes come back. False, and `out` untouched, for a name without values, which is GL_INVALID_ENUM unless it is the list of
// shader binary formats.
bool forwardGet(GlContext* context, uint32_t opcode, std::initializer_list<uint32_t> words, GLenum pname, void* out,
                uint32_t valueSize);

}  // namespace qv
