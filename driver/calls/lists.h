// The shadow of the list calls.
#pragma once

#include "driver/state/gl_context.h"
#include "wire/entry_table.h"

namespace qv {

inline void shadow(op::glListBase, GlContext* c, GLuint base) { c->list.current().listBase = base; }

}  // namespace qv
