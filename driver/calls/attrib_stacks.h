// The shadow of the attribute stacks.
#pragma once

#include "driver/state/gl_context.h"
#include "wire/entry_table.h"

namespace qv {

// Saves the groups of `mask`, and the mask. A group at its limit stays as it is: the host reports the error.
void pushAttributes(GlContext* context, GLbitfield mask);
// Restores the groups that the last push saved. Of empty stacks the only elements stay in force, and the mask is that of the
// first push (required oddity 130).
void popAttributes(GlContext* context);

inline void shadow(op::glPushAttrib, GlContext* c, GLbitfield mask) { pushAttributes(c, mask); }
inline void shadow(op::glPopAttrib, GlContext* c) { popAttributes(c); }

}  // namespace qv
