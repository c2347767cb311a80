// Sending a query to the host, once the shadow has no answer.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "wire/gl_api.h"

namespace qv {

class GlContext;

// Closes an open run, writes the command `opcode` with `words` behind its header, and flushes with `reply` as the reply buffer.
void askHost(GlContext* context, uint32_t opcode, std::initializer_list<uint32_t> words, void* reply, uint32_t replySize);

// Forwards a query of the glGet family: the value count of `pname` is appended to `words`, and as many values of `valueSize`
// bytes come back, also when the host refuses the query (required oddity 42). False, and `out` untouched, for a name without
// values, which is GL_INVALID_ENUM unless it is the list of shader binary formats.
bool forwardGet(GlContext* context, uint32_t opcode, std::initializer_list<uint32_t> words, GLenum pname, void* out,
                uint32_t valueSize);

}  // namespace qv
